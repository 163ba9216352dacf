#include "reader/terminal.h"

#include "memory/fatal.h"

#include <unistd.h>

#include <cstdio>
#include <cstdlib>

namespace {
bool interactive = false;
}

void InitTerminal() {
  interactive = isatty(0) || isatty(1);
  // Output to a pipe or a file is buffered in large blocks; exit() flushes it.
  if (!interactive) std::setvbuf(stdout, nullptr, _IOFBF, 1 << 16);
}

void BeforeTerminalRead() {
  if (interactive) std::fflush(stdout);
}

void EndOfInput() {
  std::putchar('\n');
  ExitProcess(0);
}
