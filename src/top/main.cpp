// Start-up. The interpreter runs on the largest stack that can be had (see top/stack.h);
// evalu checks the remaining room and ends the process cleanly before it would run out.
#include <cstdio>

#include "reader/terminal.h"
#include "memory/fatal.h"
#include "top/clisp.h"
#include "eval/fastpaths.h"
#include "top/commandline.h"
#include "top/interrupt.h"
#include "top/runmode.h"
#include "top/stack.h"

namespace {
clisp* interp = nullptr;  // the single interpreter object

CommandLine commandLine;
FILE* program = nullptr;  // the script's file, in script mode

void run() {
  clisp& lisp = *interp;
  if (!lisp.StartSession()) ExitProcess(1);
  // Ctrl-C during start-up waits until there is something of the user's to interrupt.
  AcceptInterrupts();
  if (commandLine.script) {
    lisp.SetArguments(commandLine.args);
    lisp.RunScript(program);
  }
  lisp.DispMessage();
  lisp.ReadEvalPrintLoop();
  ExitProcess(0);
}
}  // namespace

int main(int argc, char** argv) {
  commandLine = ParseCommandLine(argc, argv);
  fastPathsOn = !commandLine.plain;
  if (commandLine.script) program = OpenScript(commandLine.program);
  InitTerminal();
  if (commandLine.script) EnterScriptMode();
  InstallInterruptHandler();
  static clisp theInterpreter;
  interp = &theInterpreter;
  interp->Init();
  if (!interp->AllocMemory()) return 1;
  RunOnLargeStack(run);
  return 0;
}
