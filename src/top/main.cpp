// Start-up. The interpreter runs on the largest stack that can be had (see top/stack.h);
// evalu checks the remaining room and ends the process cleanly before it would run out.
#include "reader/terminal.h"
#include "memory/fatal.h"
#include "top/clisp.h"
#include "top/stack.h"

namespace {
clisp* interp = nullptr;  // the single interpreter object

void run() {
  clisp& lisp = *interp;
  if (!lisp.StartSession()) ExitProcess(1);
  lisp.DispMessage();
  lisp.ReadEvalPrintLoop();
  ExitProcess(0);
}
}  // namespace

int main() {
  InitTerminal();
  static clisp theInterpreter;
  interp = &theInterpreter;
  interp->Init();
  if (!interp->AllocMemory()) return 1;
  RunOnLargeStack(run);
  return 0;
}
