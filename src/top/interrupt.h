// Ctrl-C. The signal only raises a flag; the interpreter answers it at the next evaluation
// step, or where a read from standard input was cut short.
#pragma once

#include <csignal>

extern volatile std::sig_atomic_t interruptFlag;

inline bool InterruptRequested() {
  return interruptFlag != 0;
}
inline void ClearInterrupt() {
  interruptFlag = 0;
}

// Installs the handler and keeps the signal away from the calling thread, which only waits
// for the interpreter's thread.
void InstallInterruptHandler();
// Lets the calling thread, the one that evaluates, receive the signal.
void AcceptInterrupts();
