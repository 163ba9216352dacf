// The prelude loader, the banner and the read-eval-print loop.
#include <cstring>

#include "top/clisp.h"
#include "top/prelude.h"

int clisp::ReadEvalLoop() {
  loadingPrelude = true;
  for (const char* entry : ReadEvalData) {
    std::strcpy(lineStr, entry);
    _cell* form = nullptr;
    if (!parseLine(&form) || !form) return 0;
    if (!evalTopForm(form, nullptr, 0)) return 0;
  }
  loadingPrelude = false;
  notePreludeLoaded();
  registerStandIns();
  return 1;
}

void clisp::DispMessage() {
  std::puts("Tsumugi for Linux version2.21\nCopyright (C) 2026 The Tsumugi Project");
}

void clisp::ReadEvalPrintLoop() {
  int prompt = 1;
  for (;;) {
    std::printf("[%d]", prompt++);
    lineStr[0] = 0;
    int got = GetOneS();
    if (got < 0) {
      dropInterruptedLine();
      continue;
    }
    if (!got) {
      errorlisp(nullptr, 0);
      continue;
    }
    _cell* form = nullptr;
    // Input that cannot be rewritten or parsed ends the session.
    if (!parseLine(&form) || !form) return;
    reportResult(evalTopForm(form, nullptr, 0));
  }
}

int clisp::StartSession() {
  IncCellStack(nullptr);
  IncLocStack(nullptr, 0);
  SetKeyword();
  return ReadEvalLoop();
}

int clisp::RestartSession() {
  ResetAreas();
  ResetXorShift();
  GoSymbol = nullptr;
  ReturnFlag = 0;
  ReturnValue = throwTag = throwValue = returnFromName = returnFromValue = nullptr;
  return StartSession();
}
