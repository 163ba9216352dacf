// What a collection keeps for the next one. When an area runs low, the collector runs at
// every evaluation step, and consecutive collections differ by one step: the deep part of the
// stacks, the tables and everything they reach are the same each time. So a collection
// remembers the marks reached from those stable roots (the bottom of the cell and local
// stacks, the static stack, the global variable and function tables, the symbols); the
// next one starts from them and marks only from the roots above, as long as nothing the
// kept marks were taken from has changed meanwhile: the stacks stayed above the stable
// depth, and no cell among the kept marks, no frame the stable roots point into and no table
// entry was written. Every such write goes through a barrier that sets `dirty`.
//
// The marking is a closure (a cons or array is followed whole the first time it is met, an
// atom every time), so the order of the roots does not change what it reaches: starting from
// the kept marks gives exactly the marks of a full collection.
#pragma once

#include <cstdint>
#include <vector>

#include "memory/markbits.h"

// The kept marks of one area and what happened to the area since the last collection.
struct AreaMarks {
  MarkBits bits;                // marks reached from the stable roots
  long count = 0;               // bits set in them
  long cursor = 0;              // the allocation cursor at the last collection
  long wraps = 0;               // how often the cursor had wrapped by then
  std::vector<uint32_t> upper;  // bits the last collection set beyond the kept ones
};

struct StableMarks {
  bool valid = false;     // the kept marks may be used
  bool dirty = false;     // something they were taken from has changed
  bool shadow = false;    // self-check build: taken between collections, only to be checked
  long cellDepth = 0;     // cell stack entries below this are stable roots
  long localDepth = 0;    // the same for the local stack
  size_t symbols = 0;     // symbols made before the last collection
  size_t holders = 0;     // leading closures in the holder list that the kept marks reach
  uint64_t epoch = 0;     // frames covered by the stable roots carry it
  bool overflow = false;  // more marks beyond the kept ones than are worth noting
  // How far below the stack tops the stable part ends; grows when the stacks go deeper
  // down between two collections than it allowed for.
  long margin = 64;
  AreaMarks cells, nums, ints;
};
