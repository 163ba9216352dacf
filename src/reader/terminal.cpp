#include "reader/terminal.h"

#include <unistd.h>

#include <cstdio>

#include "memory/fatal.h"

void InitTerminal() {
  // Output to a pipe or a file is buffered in large blocks; every read from standard input
  // flushes it first (so prompts show), and exit() flushes what is left.
  if (!isatty(1)) std::setvbuf(stdout, nullptr, _IOFBF, 1 << 16);
}

void BeforeTerminalRead() {
  std::fflush(stdout);
}

void EndOfInput() {
  std::putchar('\n');
  ExitProcess(0);
}
