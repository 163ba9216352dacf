// Ends the process after a fatal message; stdio flushes standard output and every open
// file stream on the way out, so nothing already written is lost.
#pragma once

[[noreturn]] void Fatal(const char* message);
// Ends the process when the native stack is nearly exhausted.
[[noreturn]] void FatalTooDeep();

// The lowest address the evaluator's recursion may reach before it gives up.
extern char* stackLimit;
inline void CheckStackDepth() {
  char probe;
  if (&probe < stackLimit) FatalTooDeep();
}
