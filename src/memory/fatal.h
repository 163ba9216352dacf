// Ends the process after a fatal message; stdio flushes standard output and every open
// file stream on the way out, so nothing already written is lost.
#pragma once

[[noreturn]] void Fatal(const char* message);
// Ends the process when the native stack is nearly exhausted.
[[noreturn]] void FatalTooDeep();
// Every end of the process while the interpreter runs goes through here.
[[noreturn]] void ExitProcess(int status);
// For test harnesses that run many sessions in one process: when set, called by
// ExitProcess instead of ending the process (it must not return).
extern void (*exitHook)(int status);

// The lowest address the evaluator's recursion may reach before it gives up.
extern char* stackLimit;
// The bytes of stack left before the depth check would fire.
inline long StackRoom() {
  return static_cast<long>(static_cast<char*>(__builtin_frame_address(0)) - stackLimit);
}
// True when at least bytes of stack are left before the depth check would fire.
inline bool StackRoomAtLeast(long bytes) {
  return StackRoom() > bytes;
}
inline void CheckStackDepth() {
  if (static_cast<char*>(__builtin_frame_address(0)) < stackLimit) FatalTooDeep();
}
