// The roots of the collector, enumerated in one place.
//
// Rooting contract. The collector may run at the start of any evaluation step, and in the
// stress build every such step checks that nothing the evaluator still holds is garbage.
// An object the evaluator will read after an evaluation step must therefore be reachable
// from one of these roots when that step starts:
//   1. the cell stack: cells under construction or evaluation, protected for the length of
//      an inner evaluation through a CellFrame guard (which also pins the definition of a
//      running function or macro, so that a redefinition during the call cannot free it);
//   2. the local stack: the frames in use (function and closure calls, macro expansions,
//      LET, LET* and PROG** from the moment their frame exists, before the init forms run);
//   3. the static stack: frames of closures returned out of LET and LET*, kept for good;
//   4. the global variable table and 5. the function table (their values);
//   6. the value and tag of a pending THROW, the value of a pending RETURN-FROM (while its
//      flag is set: cleanup forms of UNWIND-PROTECT run while an exit travels);
//   7. the multiple-values list left on any symbol (symbols are never reclaimed).
// Marking follows from each root: the car, cdr and whole multiple-values list of a cons or
// array, and the records of the frame a closure captured (a lambda cons with an env). Such
// a frame's memory stays allocated while any closure cons refers to it (see FrameKeeper).
#pragma once

#include "memory/cmemory.h"

// Calls visit(cell) for every root cell, in the collector's order. The order does not
// change what is reached, only the order of the walk.
template <typename Visit>
void cmemory::forEachRoot(Visit&& visit) {
  for (_cell** p = csBase; p < csTop; p++) {
    if (*p) visit(*p);
  }
  for (_symval** p = lsBase; p < lsTop; p++) {
    if (*p && (*p)->symbol) visit((*p)->value);
  }
  for (_symval** p = ssBase; p < ssTop; p++) {
    if (*p && (*p)->symbol) visit((*p)->value);
  }
  for (long i = 0; i < gvTop; i++) visit(gvBase[i].value);
  for (long i = 0; i < fnTop; i++) visit(fnBase[i].value);
  if (throwFlag) {
    if (throwTag) visit(throwTag);
    if (throwValue) visit(throwValue);
  }
  if (returnFromFlag && returnFromValue) visit(returnFromValue);
  for (uint32_t i : allSymbols) {
    if (cellBase[i].values) visit(cellBase + i);
  }
}
