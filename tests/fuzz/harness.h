// What the fuzz targets share: one interpreter in the process, whose exits come back to the
// target instead of ending the process, with its output thrown away.
#pragma once

#include <csetjmp>
#include <cstdio>
#include <cstdlib>

#include "memory/fatal.h"
#include "top/clisp.h"

namespace fuzz {

inline jmp_buf escape;
inline clisp* lisp = nullptr;

[[noreturn]] inline void backToTarget(int) {
  longjmp(escape, 1);
}

// Areas, keyword table and (when asked) the prelude; output to /dev/null.
inline void setUp(bool prelude) {
  static clisp theInterpreter;
  lisp = &theInterpreter;
  if (!std::freopen("/dev/null", "w", stdout)) std::abort();
  lisp->Init();
  if (!lisp->AllocMemory()) std::abort();
  exitHook = backToTarget;
  // The target runs on the process's own stack (8 MB): keep well inside it.
  stackLimit = static_cast<char*>(__builtin_frame_address(0)) - (size_t{5} << 20);
  if (prelude) {
    if (!lisp->StartSession()) std::abort();
  } else {
    lisp->IncCellStack(nullptr);
    lisp->IncLocStack(nullptr, 0);
    lisp->SetKeyword();
  }
}

}  // namespace fuzz
