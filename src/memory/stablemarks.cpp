// Collections that start from the marks the previous one kept (see stablemarks.h).
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "memory/cmemory.h"

namespace {
// Copies the words of `from` that hold the bits [first, last) into `to`.
void copyWords(MarkBits& to, const MarkBits& from, long first, long last) {
  if (first >= last) return;
  long w0 = first >> 6;
  long w1 = (last + 63) >> 6;
  std::memcpy(to.words + w0, from.words + w0, sizeof(uint64_t) * static_cast<size_t>(w1 - w0));
}
}  // namespace

void cmemory::collectFully() {
  stable.shadow = false;
  stable.valid = false;
  clearMarks(cellBits, &numBits, &intBits);
  stable.overflow = false;
  if (!keepStableMarks()) {
    markRoots(allRoots());
  } else {
    long cellTop = csTop - csBase;
    long localTop = lsTop - lsBase;
    stable.cellDepth = std::max(0L, cellTop - stable.margin);
    stable.localDepth = std::max(0L, localTop - stable.margin);
    stable.cells.upper.clear();
    stable.nums.upper.clear();
    stable.ints.upper.clear();
    stable.epoch++;
    coverEnvs = true;
    markRoots({0, stable.cellDepth, 0, stable.localDepth, true, false, 0, kAllSymbols});
    coverEnvs = false;
    // Past the extents both bitmaps are clear: the kept ones only ever copy these.
    copyWords(stable.cells.bits, cellBits, 0, cellExtent());
    copyWords(stable.nums.bits, numBits, 0, numExtent());
    copyWords(stable.ints.bits, intBits, 0, intExtent());
    stable.cells.count = cellBits.count(cellExtent());
    stable.nums.count = numBits.count(numExtent());
    stable.ints.count = intBits.count(intExtent());
    for (_symval** p = ssBase; p < ssTop; p++) {
      if (!*p && p + 1 < ssTop && p[1]) frames.cover(p[1], stable.epoch);
    }
    coverFrames(0, stable.localDepth);
    logging = true;
    markRoots(upperRoots());
    logging = false;
    // When too much lies above the stable part to be noted, the marking is right all the
    // same, but the next collection starts afresh.
    stable.valid = !stable.overflow;
  }
  sweepEnvHolders(cellBits, 0);
  if (stable.valid) {
    // The closures the kept marks reach come first: later sweeps need not look at them.
    auto firstOther = std::stable_partition(envHolders.begin(), envHolders.end(), [&](_cell* c) {
      return stable.cells.bits.get(c - cellBase);
    });
    stable.holders = static_cast<size_t>(firstOther - envHolders.begin());
  }
  cellPages.afterCollection(cellBits, cellCursor, markedConses);
  intPages.afterCollection(intBits, intCursor, markedConses);
}

bool cmemory::keepStableMarks() {
  if (stable.cells.bits.words) return true;
  return allocBits(stable.cells.bits, kCells) && allocBits(stable.nums.bits, kNumbers) &&
         allocBits(stable.ints.bits, kIntegers);
}

bool cmemory::collectFromStableMarks() {
  if (!stable.valid || stable.dirty || stable.shadow) return false;
  if (csLow < csBase + stable.cellDepth || lsLow < lsBase + stable.localDepth) {
    // The stacks went deeper down than the stable part allowed for.
    stable.margin = std::min(stable.margin * 2, 1L << 20);
    return false;
  }
  restoreArea(cellBits, stable.cells, cellCursor, cellWraps);
  restoreArea(numBits, stable.nums, numCursor, numWraps);
  restoreArea(intBits, stable.ints, intCursor, intWraps);
  // Symbols made since are in use for good.
  for (size_t i = stable.symbols; i < allSymbols.size(); i++) {
    long idx = allSymbols[i];
    if (!stable.cells.bits.get(idx)) {
      stable.cells.bits.set(idx);
      stable.cells.count++;
    }
    cellBits.set(idx);
  }
  stable.overflow = false;
  markedConses = 0;
  long cellTop = csTop - csBase;
  long localTop = lsTop - lsBase;
  extendStableMarks(std::max(stable.cellDepth, cellTop - stable.margin),
                    std::max(stable.localDepth, localTop - stable.margin));
  if (stable.overflow) return false;
  logging = true;
  markRoots(upperRoots());
  logging = false;
  if (stable.overflow) return false;
  sweepEnvHolders(cellBits, stable.holders);
  return true;
}

void cmemory::extendStableMarks(long cellDepth, long localDepth) {
  // The stacks grew: the part that is now deep enough joins the stable roots, and so do the
  // symbols made since (their multiple-values lists are roots for good).
  if (cellDepth == stable.cellDepth && localDepth == stable.localDepth &&
      stable.symbols == allSymbols.size())
    return;
  logging = true;
  coverEnvs = true;
  markRoots({stable.cellDepth, cellDepth, stable.localDepth, localDepth, false, false,
             stable.symbols, kAllSymbols});
  coverEnvs = false;
  logging = false;
  if (stable.overflow) return;  // the caller falls back to a full collection
  auto fold = [](AreaMarks& area) {
    for (uint32_t i : area.upper) area.bits.set(i);
    area.count += static_cast<long>(area.upper.size());
    area.upper.clear();
  };
  fold(stable.cells);
  fold(stable.nums);
  fold(stable.ints);
  coverFrames(stable.localDepth, localDepth);
  stable.cellDepth = cellDepth;
  stable.localDepth = localDepth;
}

void cmemory::restoreArea(MarkBits& bits, AreaMarks& kept, long cursor, long wraps) {
  // The bits set since the last collection: those of its marking beyond the kept ones, and
  // the allocator's, all between the cursor then and the cursor now.
  for (uint32_t i : kept.upper) bits.words[i >> 6] &= ~(uint64_t{1} << (i & 63));
  kept.upper.clear();
  if (wraps == kept.wraps && cursor >= kept.cursor) {
    copyWords(bits, kept.bits, kept.cursor, cursor);
  } else if (wraps == kept.wraps + 1 && cursor < kept.cursor) {
    copyWords(bits, kept.bits, kept.cursor, bits.size);
    copyWords(bits, kept.bits, 0, cursor);
  } else {
    copyWords(bits, kept.bits, 0, bits.size);
  }
}

void cmemory::coverFrames(long from, long to) {
  // A frame's records follow the null entry that IncLocStack puts before them; the frame a
  // span starts inside of is covered too.
  if (from >= to) return;
  long i = from;
  while (i > 0 && lsBase[i - 1]) i--;
  if (i > 0 && lsBase[i]) frames.cover(lsBase[i], stable.epoch);
  for (; i < to; i++) {
    if (!lsBase[i] && i + 1 < lsTop - lsBase && lsBase[i + 1])
      frames.cover(lsBase[i + 1], stable.epoch);
  }
}

void cmemory::startInterval() {
  stable.dirty = false;
  stable.symbols = allSymbols.size();
  stable.cells.cursor = cellCursor;
  stable.cells.wraps = cellWraps;
  stable.nums.cursor = numCursor;
  stable.nums.wraps = numWraps;
  stable.ints.cursor = intCursor;
  stable.ints.wraps = intWraps;
  csLow = csTop;
  lsLow = lsTop;
}

#ifdef TSUMUGI_GC_CHECK
// Self-check build: collections are compared with a full marking over all the roots; a
// difference ends the process at once.
void cmemory::checkAgainstFullMarking() {
  // A full marking costs as much as is reachable: with much in use (the storms near a full
  // cell area) only one collection in every (cells in use / 100,000) is checked.
  static long collections = 0, due = 0;
  if (++collections < due) return;
  due = collections + 1 + cellBits.count() / 100000;
  if (!scratchBits.words && !allocBits(scratchBits, kCells)) return;
  if (!checkNums.words && !allocBits(checkNums, kNumbers)) return;
  if (!checkInts.words && !allocBits(checkInts, kIntegers)) return;
  bool wasLogging = logging;
  logging = false;
  long conses = markedConses;
  clearMarks(scratchBits, &checkNums, &checkInts);
  markCells = &scratchBits;
  markNums = &checkNums;
  markInts = &checkInts;
  markRoots(allRoots());
  markCells = &cellBits;
  markNums = &numBits;
  markInts = &intBits;
  markedConses = conses;
  logging = wasLogging;
  auto same = [](const MarkBits& a, const MarkBits& b) {
    return std::memcmp(a.words, b.words,
                       sizeof(uint64_t) * static_cast<size_t>((a.size + 63) >> 6)) == 0;
  };
  bool ok = same(scratchBits, cellBits) && same(checkNums, numBits) && same(checkInts, intBits);
  if (ok && stable.valid) {
    ok = stable.cells.count + static_cast<long>(stable.cells.upper.size()) == cellBits.count() &&
         stable.nums.count + static_cast<long>(stable.nums.upper.size()) == numBits.count() &&
         stable.ints.count + static_cast<long>(stable.ints.upper.size()) == intBits.count();
  }
  if (!ok) {
    std::fputs("gc check: the collection differs from a full marking\n", stderr);
    std::abort();
  }
}

void cmemory::checkStableMarks() {
  // Between collections, whenever the next one would start from the kept marks, they must
  // be exactly what the stable roots reach now: a write that missed its barrier shows here.
  // When there are no such marks, some are taken now (without a collection) to be checked
  // later on.
  // A check costs a marking of the stable part: checks come rarer as the run goes on and
  // when the stacks are deep.
  static long steps = 0, due = 0;
  if (++steps < due) return;
  due = steps + 7 + steps / 1000 + ((csTop - csBase) + (lsTop - lsBase)) / 16;
  if (!scratchBits.words && !allocBits(scratchBits, kCells)) return;
  if (!checkNums.words && !allocBits(checkNums, kNumbers)) return;
  if (!checkInts.words && !allocBits(checkInts, kIntegers)) return;
  if (!keepStableMarks()) return;
  long conses = markedConses;
  auto markStable = [&](MarkBits& cells, MarkBits& nums, MarkBits& ints) {
    clearMarks(cells, &nums, &ints);
    markCells = &cells;
    markNums = &nums;
    markInts = &ints;
    markRoots({0, stable.cellDepth, 0, stable.localDepth, true, false, 0, stable.symbols});
    markCells = &cellBits;
    markNums = &numBits;
    markInts = &intBits;
    markedConses = conses;
  };
  if (!stable.valid || stable.dirty || csLow < csBase + stable.cellDepth ||
      lsLow < lsBase + stable.localDepth) {
    if (stable.valid && !stable.shadow) return;  // the next collection is a full one
    stable.cellDepth = std::max(0L, (csTop - csBase) - steps % 100);
    stable.localDepth = std::max(0L, (lsTop - lsBase) - steps % 100);
    stable.symbols = allSymbols.size();
    stable.epoch++;
    coverEnvs = true;
    markStable(stable.cells.bits, stable.nums.bits, stable.ints.bits);
    coverEnvs = false;
    for (_symval** p = ssBase; p < ssTop; p++) {
      if (!*p && p + 1 < ssTop && p[1]) frames.cover(p[1], stable.epoch);
    }
    coverFrames(0, stable.localDepth);
    stable.valid = stable.shadow = true;
    stable.dirty = false;
    csLow = csTop;
    lsLow = lsTop;
    return;
  }
  markStable(scratchBits, checkNums, checkInts);
  // Symbols made since the last collection join the kept marks at the next one.
  for (size_t i = stable.symbols; i < allSymbols.size(); i++) {
    if (!stable.cells.bits.get(allSymbols[i])) {
      scratchBits.words[allSymbols[i] >> 6] &= ~(uint64_t{1} << (allSymbols[i] & 63));
    }
  }
  auto same = [](const MarkBits& a, const MarkBits& b) {
    return std::memcmp(a.words, b.words,
                       sizeof(uint64_t) * static_cast<size_t>((a.size + 63) >> 6)) == 0;
  };
  if (!same(scratchBits, stable.cells.bits) || !same(checkNums, stable.nums.bits) ||
      !same(checkInts, stable.ints.bits)) {
    std::fputs("gc check: a write changed the kept marks without its barrier\n", stderr);
    std::abort();
  }
}
#else
void cmemory::checkAgainstFullMarking() {}
void cmemory::checkStableMarks() {}
#endif
