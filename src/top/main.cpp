// Start-up. The interpreter runs on a thread of its own whose stack is large enough for
// deep recursion; evalu checks the remaining room and ends the process cleanly before it
// would run out.
#include <pthread.h>
#include <sys/mman.h>

#include <cstdio>
#include <cstdlib>

#include "reader/terminal.h"
#include "top/clisp.h"
#include "top/commandline.h"
#include "top/interrupt.h"
#include "top/runmode.h"

namespace {
clisp* interp = nullptr;  // the single interpreter object

// About a million levels of a simple recursive function (a tenth of that is required).
#if defined(__SANITIZE_ADDRESS__)
constexpr size_t kStackBytes = size_t{3} << 30;  // instrumented frames are much larger
#else
constexpr size_t kStackBytes = size_t{1} << 30;
#endif
constexpr size_t kStackReserve = size_t{1} << 20;  // room kept for the last calls and exit()

CommandLine commandLine;
FILE* program = nullptr;  // the script's file, in script mode

void* run(void*) {
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
  if (commandLine.script) program = OpenScript(commandLine.program);
  InitTerminal();
  if (commandLine.script) EnterScriptMode();
  InstallInterruptHandler();
  static clisp theInterpreter;
  interp = &theInterpreter;
  interp->Init();
  if (!interp->AllocMemory()) return 1;
  // The largest stack the address space allows, reserved but only touched as it is used.
  void* stack = MAP_FAILED;
  size_t size = kStackBytes;
  for (; size >= (size_t{8} << 20); size /= 2) {
    stack = mmap(nullptr, size, PROT_READ | PROT_WRITE,
                 MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE | MAP_STACK, -1, 0);
    if (stack != MAP_FAILED) break;
  }
  pthread_t thread;
  pthread_attr_t attr;
  pthread_attr_init(&attr);
  if (stack != MAP_FAILED) {
    stackLimit = static_cast<char*>(stack) + kStackReserve;
    pthread_attr_setstack(&attr, stack, size);
    if (pthread_create(&thread, &attr, run, nullptr) == 0) {
      pthread_join(thread, nullptr);
      return 0;
    }
  }
  // No room for a large stack: run on this one, within the limit the system gives it.
  uintptr_t here = reinterpret_cast<uintptr_t>(__builtin_frame_address(0));
  stackLimit = reinterpret_cast<char*>(here - (uintptr_t{7} << 20));
  run(nullptr);
  return 0;
}
