// What the fuzz targets share: one interpreter in the process, whose exits come back to the
// target instead of ending the process, with its output thrown away.
#pragma once

#include <unistd.h>

#include <csetjmp>
#include <cstdio>
#include <cstdlib>

#include "memory/fatal.h"
#include "top/clisp.h"

namespace fuzz {

inline jmp_buf escape;
inline clisp* lisp = nullptr;

[[noreturn]] inline void backToTarget(int) {
  longjmp(escape, 1);
}

// Areas, keyword table and (when asked) the prelude; output to /dev/null.
inline void setUp(bool prelude) {
  static clisp theInterpreter;
  lisp = &theInterpreter;
  if (!std::freopen("/dev/null", "w", stdout)) std::abort();
  lisp->Init();
  if (!lisp->AllocMemory()) std::abort();
  exitHook = backToTarget;
  // The target runs on the process's own stack (8 MB): keep well inside it.
  stackLimit = static_cast<char*>(__builtin_frame_address(0)) - (size_t{5} << 20);
  if (prelude) {
    if (!lisp->StartSession()) std::abort();
  } else {
    lisp->IncCellStack(nullptr);
    lisp->IncLocStack(nullptr, 0);
    lisp->SetKeyword();
  }
}

// setUp with the prelude, in a fresh directory of its own for the files sessions create.
inline void setUpInDirectory(const char* prefix) {
  char dir[64];
  std::snprintf(dir, sizeof dir, "/tmp/%s-XXXXXX", prefix);
  if (!mkdtemp(dir) || chdir(dir) != 0) std::abort();
  setUp(true);
}

// Runs text as a whole session on standard input, from a fresh start; returns when the
// session ends (end of input, BYE, a fatal end or the step budget).
inline void runSession(const void* text, size_t size) {
  static FILE* input = nullptr;
  if (setjmp(escape)) {
    if (input) std::fclose(input);
    input = nullptr;
    return;
  }
  lisp->fuzzSteps = 0;  // the prelude counts too
  if (!lisp->RestartSession()) std::abort();
  static const char empty = 0;
  input = fmemopen(const_cast<void*>(size ? text : &empty), size ? size : 1, "rb");
  if (!input) return;
  stdin = input;
  lisp->ReadEvalPrintLoop();  // returns when input cannot be rewritten or parsed
  std::fclose(input);
  input = nullptr;
}

}  // namespace fuzz
