// The evaluator's shortcuts, and the contract that keeps them invisible.
//
// Only these are observable: what is printed (results, messages, every collector report with
// its counts and its place in the output, the "*" flag), the files written, and where and how
// the process ends. Between two of them a shortcut may skip evaluation steps, provided that
// at the next one the free counters, the count of cells taken (which decides the "*" flag)
// and everything reachable are exactly what the plain evaluator would have left. Where the
// allocators put an element is not among them (see memory/cmemory.h). So every fast path:
//  1. runs only when no collection and no exhaustion can fall inside the steps it skips (the
//     free counters stay above 999 after everything it takes; otherwise the plain path runs);
//  2. leaves the same allocation effects: as many cells, numbers and integers taken (the
//     garbage it does not make is burned: counted, not handed out), and the same values and
//     structure wherever anything can reach them;
//  3. notices whatever would change the plain result: a redefinition, an assignment to a
//     global it depends on, a destructive change to the code it stands for.
// `--plain` turns every shortcut off. Each has a test that runs one program both ways and
// expects the same output, collector reports included, across a collection.
//
// Stand-ins: a prelude function whose definition still stands is answered by C++ code with
// the same effects (the stand-in's number is kept in the definition's first cons, so a
// redefinition, which makes a new one, ends it). A destructive change to the cells of any of the
// prelude's definitions ends all stand-ins for the rest of the session.
#pragma once

#include <cstdint>

#include "memory/cell.h"

// False under --plain.
extern bool fastPathsOn;

enum StandIn : uint8_t {
  kNoStandIn = 0,
  kStandInEqual,    // eval/equal.cpp
  kStandInMapcar,   // eval/standins_maps.cpp
  kStandInGethash,  // eval/standins_lists.cpp, as the six below
  kStandInSetfHash,
  kStandInHashTableCount,
  kStandInNth,
  kStandInNthcdr,
  kStandInReverse,
  kStandInLast,
  // Comparisons, predicates and MOD (eval/standins_numbers.cpp).
  kStandInLess,
  kStandInGreater,
  kStandInLessEqual,
  kStandInGreaterEqual,
  kStandInNot,
  kStandInZerop,
  kStandInOddp,
  kStandInListp,
  kStandInCharEqual,
  kStandInCharNotEqual,
  kStandInCharGreater,
  kStandInCharLessEqual,
  kStandInCharGreaterEqual,
  kStandInMod,
  kStandInFirst,
  kStandInRest,
  // The CAR/CDR compositions, in the order of the table of eval/standins_numbers.cpp.
  kStandInCaar,
  kStandInCadr,
  kStandInCdar,
  kStandInCddr,
  kStandInCaaar,
  kStandInCaadr,
  kStandInCadar,
  kStandInCaddr,
  kStandInCdaar,
  kStandInCdadr,
  kStandInCddar,
  kStandInCdddr,
  kStandInCaaaar,
  kStandInCaaadr,
  kStandInCaadar,
  kStandInCaaddr,
  kStandInCadaar,
  kStandInCadadr,
  kStandInCaddar,
  kStandInCadddr,
  kStandInCdaaar,
  kStandInCdaadr,
  kStandInCdadar,
  kStandInCdaddr,
  kStandInCddaar,
  kStandInCddadr,
  kStandInCdddar,
  kStandInCddddr,
  kStandInMember,  // eval/standins_members.cpp, as REMOVE and ASSOC
  kStandInRemove,
  kStandInAssoc,
  kStandInSort,  // eval/standins_sort.cpp
  kStandInCount
};

// The stand-in number kept in a definition's first cons.
constexpr uint32_t kStandInShift = 8;
constexpr uint32_t kStandInMask = 0xffu << kStandInShift;
inline unsigned standInOf(const _cell* def) {
  return (def->spare & kStandInMask) >> kStandInShift;
}

// Native stack one level of an interpreted recursion may take, given its size in a plain
// build: instrumented builds have much larger frames.
constexpr long levelStack(long plainBytes) {
#if defined(__SANITIZE_ADDRESS__)
  return 8 * plainBytes;
#else
  return plainBytes;
#endif
}

// What a stand-in returns when it leaves the call to the definition itself.
extern _cell* const kDeclined;
