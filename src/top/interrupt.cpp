#include "top/interrupt.h"

#include <pthread.h>

#include "eval/cfunction.h"
#include "memory/fatal.h"
#include "top/runmode.h"

volatile std::sig_atomic_t interruptFlag = 0;

namespace {
extern "C" void onInterrupt(int) {
  interruptFlag = 1;
}

void setBlocked(bool blocked) {
  sigset_t set;
  sigemptyset(&set);
  sigaddset(&set, SIGINT);
  pthread_sigmask(blocked ? SIG_BLOCK : SIG_UNBLOCK, &set, nullptr);
}
}  // namespace

void InstallInterruptHandler() {
  struct sigaction action = {};
  action.sa_handler = onInterrupt;
  sigemptyset(&action.sa_mask);
  // No SA_RESTART: a read from the terminal returns, so that the prompt can be renewed.
  action.sa_flags = 0;
  sigaction(SIGINT, &action, nullptr);
  setBlocked(true);
}

void AcceptInterrupts() {
  setBlocked(false);
}

bool cfunction::answerInterrupt(_symval* frame, long count) {
  effectsSeen++;
  ClearInterrupt();
  if (scriptMode) ExitProcess(130);
  return breaklisp(frame, count) != nullptr;
}
