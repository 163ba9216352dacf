#include "reader/terminal.h"

#include <unistd.h>

#include <cerrno>
#include <cstdio>

#include "memory/fatal.h"
#include "top/interrupt.h"
#include "top/runmode.h"

void InitTerminal() {
  // Output to a pipe or a file is buffered in large blocks; every read from standard input
  // flushes it first (so prompts show), and exit() flushes what is left.
  if (!isatty(1)) std::setvbuf(stdout, nullptr, _IOFBF, 1 << 16);
}

void BeforeTerminalRead() {
  std::fflush(stdout);
  if (programOut != stdout) std::fflush(programOut);
}

TerminalRead ReadStandardInput(char* buf, int size) {
  for (;;) {
    BeforeTerminalRead();
    if (std::fgets(buf, size, stdin)) return kReadLine;
    bool cut = std::ferror(stdin) && errno == EINTR;
    std::clearerr(stdin);
    if (InterruptRequested()) return kReadCut;
    if (!cut) return kReadEnded;
  }
}

bool ReadTerminalLine(char* buf, int size) {
  TerminalRead got = ReadStandardInput(buf, size);
  if (got == kReadEnded) EndOfInput();
  return got == kReadLine;
}

void EndOfInput() {
  std::putchar('\n');
  ExitProcess(0);
}
