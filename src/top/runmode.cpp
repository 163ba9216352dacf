#include "top/runmode.h"

#include <unistd.h>

bool scriptMode = false;
FILE* programOut = stdout;

void EnterScriptMode() {
  scriptMode = true;
  int programFd = dup(1);
  FILE* out = programFd >= 0 ? fdopen(programFd, "w") : nullptr;
  if (!out) return;  // standard output is closed: everything stays where it was
  // Large blocks for a pipe or a file, whole lines for a terminal, as stdio would choose.
  std::setvbuf(out, nullptr, isatty(programFd) ? _IOLBF : _IOFBF, 1 << 16);
  programOut = out;
  dup2(2, 1);
  // Messages show as soon as they are complete, as on standard error.
  std::setvbuf(stdout, nullptr, _IOLBF, 1 << 12);
}
