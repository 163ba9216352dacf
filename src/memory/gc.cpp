// The mark collector. Marks live in bitmaps beside the areas, so a collection costs a pass
// over the bitmaps and over what is reachable, never over the 1.5 GB cell area itself.
#include <cstring>

#include "memory/cmemory.h"
#include "memory/roots.h"

void cmemory::gc() {
  collections++;
  if (!collectFromStableMarks()) collectFully();
#ifdef TSUMUGI_GC_CHECK
  checkAgainstFullMarking();
#endif
  long cells, nums, ints;
  if (stable.valid) {
    // The same numbers without a pass over the bitmaps.
    cells = stable.cells.count + static_cast<long>(stable.cells.upper.size());
    nums = stable.nums.count + static_cast<long>(stable.nums.upper.size());
    ints = stable.ints.count + static_cast<long>(stable.ints.upper.size());
  } else {
    cells = cellBits.count(cellExtent());
    nums = numBits.count(numExtent());
    ints = intBits.count(intExtent());
  }
  freeCells = kCells - cells;
  freeNums = kNumbers - nums;
  freeInts = kIntegers - ints;
  if (cellsTaken >= kTakenToWrap) wrapped = 1;
  std::printf("gc: セル %ld個 浮動小数点数 %ld個 整数 %ld個 使用中 %c\n", cells, nums, ints,
              wrapped ? '*' : ' ');
  startInterval();
}

bool cmemory::findFreeRegions() {
  // The collector's marking, into bitmaps of its own: nothing the program can see changes
  // (the counters, the cells taken and the report stay as they are). It tells which elements
  // are garbage, so that they are handed out again (reuseGarbage), and which regions hold
  // nothing reachable, so that their memory can be moved. These bitmaps only ever hold marks
  // of reachable elements, so clearing the regions that have memory clears them.
  // A search costs a marking of all that is reachable: it waits until the program has taken
  // at least as many cells since the last one (the areas ask again later).
  if (cellsTaken - takenAtSearch < reachedAtSearch && !searchForced) {
    cellPages.wantsDonors = intPages.wantsDonors = false;
    return false;
  }
  searchForced = false;
  if ((!regionBits.words && !allocBits(regionBits, kCells)) ||
      (!regionIntBits.words && !allocBits(regionIntBits, kIntegers))) {
    cellPages.stopAsking();
    intPages.stopAsking();
    return false;
  }
  cellPages.clearResident(regionBits);
  intPages.clearResident(regionIntBits);
  bool preludeSkipped = skipPreludeCode = preludeCodeAlone && preludeCells > 0;
  reachedAtSearch = markFromRoots(regionBits, nullptr, &regionIntBits);
  takenAtSearch = cellsTaken;
  skipPreludeCode = false;
  sweepEnvHolders(regionBits, 0);
  stable.holders = 0;  // the sweep may have moved closures into the kept prefix
  reuseGarbage(preludeSkipped);
  cellPages.afterCollection(regionBits, cellCursor, markedConses);
  intPages.afterCollection(regionIntBits, intCursor, markedConses);
  return true;
}

// Where an element lies is the allocator's business (see memory/cmemory.h), so once a
// marking has found what is reachable, the rest can be handed out again before the
// collection that will count it free: the cursors go back and fill the holes, and the
// memory already touched is used again instead of fresh pages. What may not see an element
// reused is what remembers elements by address: the shortcuts' caches forget everything
// when `collections` changes, the kept marks of the collector are dropped, and the cursor
// counts as having wrapped round (so the watch of a macro body still knows what it made).
void cmemory::reuseGarbage(bool preludeSkipped) {
  // A marking that did not go into the prelude's code left out what it reaches, all of
  // which lies below where the prelude's loading left the cursors: those marks stay.
  reuseArea(cellBits, regionBits, preludeSkipped ? preludeCells : 0, cellCursor, cellHigh,
            cellWraps, cellPages);
  reuseArea(intBits, regionIntBits, preludeSkipped ? preludeInts : 0, intCursor, intHigh, intWraps,
            intPages);
  collections++;
  stable.valid = false;
}

void cmemory::reuseArea(MarkBits& bits, const MarkBits& reached, long keptBelow, long& cursor,
                        long& high, long& wraps, AreaPages& pages) {
  long end = std::max(cursor, high);
  if (keptBelow >= end) return;
  long first = keptBelow >> 6;
  uint64_t kept = (uint64_t{1} << (keptBelow & 63)) - 1;
  bits.words[first] = (bits.words[first] & kept) | (reached.words[first] & ~kept);
  long last = (end + 63) >> 6;
  std::copy(reached.words + first + 1, reached.words + last, bits.words + first + 1);
  high = end;
  cursor = keptBelow;
  wraps++;
  pages.restart(keptBelow, end, bits.count(end) - bits.count(keptBelow));
}

void cmemory::notePreludeLoaded() {
  preludeCells = cellWraps ? kCells : cellCursor;
  // What the prelude's code reaches (its conses, and the integers it holds) stays in the
  // regions the prelude filled.
  cellPages.keepRegionsBelow(preludeCells);
  preludeInts = intWraps ? kIntegers : intCursor;
  intPages.keepRegionsBelow(preludeInts);
  // A closure made while it loaded holds a frame whose variables may later be set to
  // anything made since.
  for (const _cell* c : envHolders) notePreludeCell(c);
}

void cmemory::clearMarks(MarkBits& cells, MarkBits* nums, MarkBits* ints) {
  // Everything free but the symbol cells, which are never reclaimed.
  cells.clear(cellExtent());
  for (uint32_t i : allSymbols) cells.set(i);
  if (nums) nums->clear(numExtent());
  if (ints) ints->clear(intExtent());
  markedConses = 0;
}

long cmemory::markFromRoots(MarkBits& cells, MarkBits* nums, MarkBits* ints) {
  // Symbol cells are never reclaimed.
  for (uint32_t i : allSymbols) cells.set(i);
  markCells = &cells;
  markNums = nums;
  markInts = ints;
  markedConses = 0;
  long roots = 0;
  forEachRoot([this, &roots](_cell* c) {
    roots++;
    Disable(c);
  });
  markCells = &cellBits;
  markNums = &numBits;
  markInts = &intBits;
  return markedConses + roots;
}

void cmemory::markRoots(const RootSpan& span) {
  forEachRoot(span, [this](_cell* c) { Disable(c); });
}

void cmemory::Disable(_cell* root) {
  // Depth first, car before cdr, with an explicit stack so that no list is too long or too
  // deep. A multiple-values list is marked whole, its first value included: the values
  // printed later read those very cells. A closure's captured records belong to its cons.
  markStack.clear();
  _cell* x = root;
  for (;;) {
    if (x && isCellInArea(x)) {
      long idx = x - cellBase;
#ifdef TSUMUGI_STRESS
      if (x->spare & kPoisoned) ReachedPoisoned();
#endif
      switch (x->type) {
        case 's':
        case 'm':
          markCell(idx);
          break;
        case 'i':
        case 'n':
        case 'b':
          markCell(idx);
          if (x->type == 'n') {
            long e = reinterpret_cast<NumElem*>(x->car) - numBase;
            if (markNums && e >= 0 && e < kNumbers) markElem(markNums, stable.nums, e);
          } else if (markInts) {
            long e = reinterpret_cast<IntElem*>(x->car) - intBase;
            if (e >= 0 && e < kIntegers) markElem(markInts, stable.ints, e);
            if (x->type == 'b') {
              e = reinterpret_cast<IntElem*>(x->cdr) - intBase;
              if (e >= 0 && e < kIntegers) markElem(markInts, stable.ints, e);
            }
          }
          break;
        case 'l':
        case 'a':
          if (markCells->get(idx)) break;
          markCell(idx);
          markedConses++;
          if (skipPreludeCode && (x->spare & kPreludeCode)) {
            x = nullptr;  // all it reaches lies in regions that are kept anyway
            break;
          }
          if (x->values) markStack.push_back(x->values);
          if (coverEnvs && x->env) frames.cover(x->env, stable.epoch);
          for (long i = x->env ? x->envCount - 1 : -1; i >= 0; i--) {
            if (x->env[i].symbol) markStack.push_back(x->env[i].value);
          }
          markStack.push_back(x->cdr);
          x = x->car;
          continue;
        default:
          x = nullptr;
          break;
      }
      if (x && x->type != 'l' && x->type != 'a' && x->values) {
        x = x->values;
        continue;
      }
    }
    if (markStack.empty()) return;
    x = markStack.back();
    markStack.pop_back();
  }
}

void cmemory::captureFrame(_cell* lambda, _symval* f, long count) {
  touchCell(lambda);
  if (f) notePreludeCell(lambda);
  if (lambda->env != f) {
    frames.incref(f);
    frames.decref(lambda->env);
    lambda->env = f;
  }
  lambda->envCount = count;
  if (f && !(lambda->spare & kEnvHolder)) {
    lambda->spare |= kEnvHolder;
    envHolders.push_back(lambda);
  }
}

void cmemory::sweepEnvHolders(const MarkBits& reached, size_t from) {
  // A closure cons nothing reaches any more lets go of its frame.
  size_t kept = from;
  for (size_t i = from; i < envHolders.size(); i++) {
    _cell* c = envHolders[i];
    if (reached.get(c - cellBase) && c->env) {
      envHolders[kept++] = c;
    } else {
      frames.decref(c->env);
      c->env = nullptr;
      c->envCount = 0;
      c->spare &= ~kEnvHolder;
    }
  }
  envHolders.resize(kept);
}
