// A fresh interpreter with its areas and keyword symbols, for tests of internals.
#pragma once

#include <gtest/gtest.h>

#include <cstdio>
#include <memory>
#include <string>

#include "top/clisp.h"
#include "top/keywords.h"

class Interp : public ::testing::Test {
 protected:
  void SetUp() override {
    lisp = std::make_unique<clisp>();
    lisp->Init();
    ASSERT_EQ(lisp->AllocMemory(), 1);
    lisp->IncCellStack(nullptr);
    lisp->IncLocStack(nullptr, 0);
    lisp->SetKeyword();
  }
  // Parses text after the reader's normalisation and rewriting, as the loop does.
  _cell* read(const std::string& text) {
    std::snprintf(lineStr, sizeof lineStr, "%s", text.c_str());
    _cell* form = nullptr;
    if (!lisp->parseLine(&form)) return nullptr;
    return form;
  }
  // What printing x in the readable terminal style writes.
  std::string printed(_cell* x) {
    ::testing::internal::CaptureStdout();
    lisp->printS(x);
    std::fflush(stdout);
    return ::testing::internal::GetCapturedStdout();
  }
  std::unique_ptr<clisp> lisp;
};

// An interpreter that has loaded the prelude, and evaluates text as the loop does.
class PreludeSession : public Interp {
 protected:
  void SetUp() override {
    Interp::SetUp();
    ::testing::internal::CaptureStdout();
    lisp->StartSession();
    ::testing::internal::GetCapturedStdout();
  }
  _cell* evaluate(const std::string& text) { return lisp->evalTopForm(read(text), nullptr, 0); }
};

// Runs body with standard output sent to standard error, for death tests that check a
// message the interpreter prints on standard output.
#define STDOUT_TO_STDERR(body) \
  do {                         \
    std::fflush(stdout);       \
    dup2(2, 1);                \
    body;                      \
  } while (0)
