// Cell memory: the fixed areas and their allocators, the symbol table, the root stacks,
// the binding tables, the collector, and the parser that builds cells from text.
#pragma once

#include <algorithm>
#include <cstdio>
#include <vector>

#include "memory/cell.h"
#include "memory/areapages.h"
#include "memory/fatal.h"
#include "memory/frames.h"
#include "memory/markbits.h"
#include "memory/stablemarks.h"
#include "memory/symtab.h"
#include "reader/ctextproc.h"

// Capacities of the areas; they decide when collections run and when memory is full.
constexpr long kCells = 32000000;
constexpr long kStringBytes = 320000;
constexpr long kSymbols = 100000;
constexpr long kNumbers = 1600000;
constexpr long kIntegers = 1600000;
constexpr long kGlobals = 3200;
constexpr long kFunctions = 3200;
constexpr long kCellStack = 32000000;
constexpr long kLocalStack = 32000000;
constexpr long kStaticStack = 32000;
constexpr int kStreams = 10;

extern _cell* NILCell;
extern _cell* TCell;

class cmemory : public ctextproc {
 public:
  // Start-up.
  void Init();
  int AllocMemory();
  void InitCellAndNumber();
  // Returns every area, table and stack to its state right after AllocMemory, keeping the
  // memory (for harnesses that run many sessions in one process).
  void ResetAreas();

  // Allocators. Where an element lies is theirs to decide: all the program can tell is how
  // many were taken. The free counters say that, an area is full when its counter is down to
  // one (the last element of an area is never handed out), and the wrap flag is set by the
  // 31,999,999th cell taken since start-up: before the cursor first wraps round no cell ahead
  // of it is in use, so it moves by exactly one cell per cell taken. So the cursors below
  // only pass over elements really handed out (a rotating search over the marks, which also
  // goes back to fill the holes that a search for garbage found: see reuseGarbage), and the
  // counters alone decide fullness and the flag.
  _cell* getCell() {
    if (freeCells <= 1) Fatal(kCellsFull);
    return takeCell();
  }
  // n cells, as n calls of getCell take them, into out.
  void getCells(_cell** out, long n) {
    if (freeCells - n < 1) {
      for (long k = 0; k < n; k++) out[k] = getCell();  // the one that finds the area full
      return;
    }
    for (long k = 0; k < n; k++) out[k] = takeCell();
  }
  // A cell, once the counter has said there is one.
  __attribute__((always_inline)) _cell* takeCell() {
    long i = takeFree(cellBits, cellCursor, cellWraps, kCells, &cellPages, kCellsFull);
    freeCells--;
    cellsTaken++;
    if (i >= cellPages.readyEnd) cellPages.prepare(i);
#ifdef TSUMUGI_STRESS
    stressFresh.push_back(i);
#endif
    _cell* c = cellBase + i;
    c->type = 'l';
    c->sub = 'u';
    c->mark = 'd';
    c->code = 0;
    c->spare = 0;
    c->car = NILCell;
    c->cdr = NILCell;
    c->values = nullptr;
    c->env = nullptr;
    c->envCount = 0;
    return c;
  }
  NumElem* getNumber(long double v) {
    if (freeNums <= 1) Fatal(kNumbersFull);
    long i = takeFree(numBits, numCursor, numWraps, kNumbers, nullptr, kNumbersFull);
    freeNums--;
    numBase[i].mark = 'd';
    numBase[i].value = v;
    return numBase + i;
  }
  IntElem* getInt(long v) {
    if (freeInts <= 1) Fatal(kIntegersFull);
    long i = takeFree(intBits, intCursor, intWraps, kIntegers, &intPages, kIntegersFull);
    freeInts--;
    if (i >= intPages.readyEnd) intPages.prepare(i);
    intBase[i].mark = 'd';
    intBase[i].value = v;
    return intBase + i;
  }
  // Take n elements as n calls of getCell, getInt or getNumber would, as far as the program
  // can tell (the counters, fullness and the wrap flag), for shortcuts that skip the steps
  // that would have made that garbage (see eval/fastpaths.h). Nothing could reach those
  // elements, so none is handed out: they are only counted.
  void burnCells(long n) {
    burnCount(freeCells, n, kCellsFull);
    cellsTaken += n;
  }
  void burnInts(long n) {
    burnCount(freeInts, n, kIntegersFull);
  }
  void burnNums(long n) {
    burnCount(freeNums, n, kNumbersFull);
  }
  static void burnCount(long& freeCounter, long n, const char* fullMessage) {
    // The calls one by one would stop at the one that finds the counter down to one.
    if (n >= freeCounter) Fatal(fullMessage);
    freeCounter -= n;
  }
  static constexpr const char* kCellsFull = "エラー: セル領域が一杯です。終了します。";
  static constexpr const char* kNumbersFull = "エラー: 数値領域が一杯です。終了します。";
  static constexpr const char* kIntegersFull = "エラー: 整数領域が一杯です。終了します。";
  char* getString(const char* name);
  _cell* CheckStringCell(const char* name);
  _cell* getStringCell(const char* name);
  _cell* getStringCellWide(const char* name);
  _cell* getMojiCell(char c1, char c2);

  // Converters.
  _cell* NumberToCell(long double v) {
    _cell* c = getCell();
    c->type = 'n';
    c->car = reinterpret_cast<_cell*>(getNumber(v));
    return c;
  }
  _cell* IntToCell(long v) {
    _cell* c = getCell();
    c->type = 'i';
    c->car = reinterpret_cast<_cell*>(getInt(v));
    return c;
  }
  _cell* BunsuToCell(long num, long den) {
    _cell* c = getCell();
    c->type = 'b';
    c->car = reinterpret_cast<_cell*>(getInt(num));
    c->cdr = reinterpret_cast<_cell*>(getInt(den));
    return c;
  }
  // The two-element list (a b); its second cons is taken first.
  _cell* list2(_cell* a, _cell* b) {
    _cell* second = getCell();
    second->car = b;
    _cell* first = getCell();
    first->car = a;
    first->cdr = second;
    return first;
  }
  long CellToInt(const _cell* c) {
    return c->type == 'i' ? ival(c) : 0;
  }
  long CellToBunshi(const _cell* c) {
    return c->type == 'b' ? bunshi(c) : 0;
  }
  long CellToBunbo(const _cell* c) {
    return c->type == 'b' ? bunbo(c) : 0;
  }

  // Root stacks. What must stay reachable, and from where, is the rooting contract written
  // above forEachRoot (memory/roots.h): protect with CellFrame and LocalFrame guards.
  _cell* IncCellStack(_cell* c) {
    if (csTop - csBase > kCellStack - 2) Fatal("エラー: セルスタックが一杯です。終了します");
    *csTop++ = c;
    return c;
  }
  void PopCellStack() {
    do {
      --csTop;
    } while (*csTop != nullptr);
    if (csTop < csLow) csLow = csTop;
  }
  void IncLocStack(_symval* frame, long count);
  void PopLocStack() {
    do {
      --lsTop;
    } while (*lsTop != nullptr);
    if (lsTop < lsLow) lsLow = lsTop;
  }
  // Sets the stack tops back to where an evaluation began.
  void restoreStacks(_cell** cellTop, _symval** localTop) {
    setCellTop(cellTop);
    setLocalTop(localTop);
  }
  // Every lowering of a stack top goes through these (the collector watches how low).
  void setCellTop(_cell** top) {
    csTop = top;
    if (top < csLow) csLow = top;
  }
  void setLocalTop(_symval** top) {
    lsTop = top;
    if (top < lsLow) lsLow = top;
  }
  void IncStaticStack(_symval* frame, long count);

  // Bindings.
  long getLocal(_symval* frame, long count, _cell* symbol, long) {
    for (long i = 0; i < count; i++) {
      if (frame[i].symbol == symbol && symbol) return i;
    }
    return -1;
  }
  long getSymVal(_cell* symbol);
  long getSymVal2(_cell* symbol);
  _symval* getFuncval(_cell* symbol);
  _symval* getFuncval2(_cell* symbol);

  // Collector.
  // Every root of the collector, one call of visit(_cell*) each (memory/roots.h).
  template <typename Visit>
  void forEachRoot(Visit&& visit);
  // Which roots: the cell and local stack entries in [from, to); with `tables`, the static
  // stack and the global variable and function tables; with `exits`, the values of pending
  // exits; and the symbols of allSymbols in [symbolsFrom, symbolsTo) that carry values.
  struct RootSpan {
    long cellFrom, cellTo, localFrom, localTo;
    bool tables, exits;
    size_t symbolsFrom, symbolsTo;
  };
  static constexpr size_t kAllSymbols = ~size_t{0};
  RootSpan allRoots() const {
    return {0, csTop - csBase, 0, lsTop - lsBase, true, true, 0, kAllSymbols};
  }
  // The roots above the stable part (see StableMarks).
  RootSpan upperRoots() const {
    return {stable.cellDepth, csTop - csBase, stable.localDepth, lsTop - lsBase, false, true, 0, 0};
  }
  template <typename Visit>
  void forEachRoot(const RootSpan& span, Visit&& visit);
  void gc();
  void Disable(_cell* c);
  // Write barriers: call before changing a field of an existing cell (car, cdr, values, env,
  // type), a record of an existing frame, or the root tables (global variables, functions,
  // the static stack). They tell the collector that the marks it kept may be out of date.
  void touchCell(const _cell* c) {
    if (stable.valid && isCellInArea(c) && stable.cells.bits.get(c - cellBase)) stable.dirty = true;
  }
  void touchFrame(_symval* f) {
    if (stable.valid && f && frames.covered(f, stable.epoch)) stable.dirty = true;
  }
  void touchRoots() {
    stable.dirty = true;
  }
  // Self-check build: the kept marks still are what the stable roots reach.
  void checkStableMarks();
  // Writes to a cell that may be older than the last evaluation step.
  void setCar(_cell* c, _cell* v) {
    touchCell(c);
    c->car = v;
  }
  void setCdr(_cell* c, _cell* v) {
    touchCell(c);
    c->cdr = v;
  }
  // At a point where a collection could run: marks into a scratch bitmap when the areas'
  // memory wants regions to reuse (see AreaPages), and hands the garbage it finds out again
  // (reuseGarbage); changes nothing visible. True when it ran.
  bool findFreeRegions();
  bool searchForced = false;  // the next search runs however recently the last one did
  // What the last search for free regions found reachable (cells).
  const MarkBits& searchReached() const {
    return regionBits;
  }
  // Whether the last search for free regions found c reachable.
  bool foundReachable(const _cell* c) const {
    return regionBits.words && regionBits.get(c - cellBase);
  }

  // Parser.
  _cell* readFromString(const char* text);
  _cell* get1char(const char* p);
  _cell* getMojiretsuCell(const char* literal);
  // A string cell from raw bytes (no escapes interpreted).
  _cell* makeString(const char* bytes, size_t n);
  // The shell of a string: the rank cell 1, the array cell and the CHARACTER head.
  _cell* newStringShell();

  // Lines for READ-LINE.
  _cell* ReadLine();
  _cell* ReadLineStrm(FILE* in);
  // A line read as a string with its two values (the string itself, flag).
  _cell* lineResult(_cell* str, _cell* flag);

  // Exact powers used by EXPT, and the sign and range predicates of the numeric functions.
  _cell* ijExpt(long b, _cell* e);
  _cell* bjExpt(long num, long den, _cell* e);
  _cell* njExpt(long double x, _cell* e);
  int isPlus(const _cell* c);
  int isPlusExceptZero(const _cell* c);
  int isInRange(const _cell* c);
  _cell* jAbs(const _cell* c);
  _cell* now();
  _cell* timePair(long t);

#ifdef TSUMUGI_STRESS
  // At the start of an evaluation step: the check of memory/stress.h, when one is due.
  void stressStep();
  [[noreturn]] void ReachedPoisoned();
  long stressCountdown = 0;
  long stressChecks = 0;
  MarkBits stressBits;
  bool stressRecording = false;
  std::vector<long> stressReached;  // cells (not symbols) the last check reached
  std::vector<long> stressFresh;    // cells handed out since the last check
#endif

  bool isCellInArea(const _cell* c) const {
    return c >= cellBase && c < cellBase + kCells;
  }

  // State.
  _cell* cellBase = nullptr;
  AreaPages cellPages;
  AreaPages intPages;
  // A search for free regions is due at the next safe point.
  bool wantsDonors() const {
    return cellPages.wantsDonors || intPages.wantsDonors;
  }
  long cellCursor = 0;
  long cellWraps = 0;  // how often cellCursor went round (not what the flag shows)
  MarkBits cellBits;
  int wrapped = 0;      // brought up to date by the collector, the only one to show it
  long cellsTaken = 0;  // since start-up, burned ones included
  static constexpr long kTakenToWrap = kCells - 1;
  // Collections run so far, and reuses of garbage between them: at each, what is
  // remembered by address is forgotten.
  long collections = 0;
  long valueSets = 0;  // times multiple values were put on a cell (see library/chainmemo.h)
  // The prelude's cells: those below this index when it had been loaded (or -1). While
  // nothing made since hangs off them (by multiple values, a captured frame or a write into
  // its code), everything reachable from the prelude's code is in the prelude's own regions,
  // and the search for free regions need not go through it.
  long preludeCells = -1;
  bool preludeCodeAlone = true;
  void notePreludeLoaded();
  void notePreludeCell(const _cell* c) {
    if (c - cellBase < preludeCells) preludeCodeAlone = false;
  }
  // Before multiple values are put on c.
  void notePutValues(const _cell* c) {
    valueSets++;
    notePreludeCell(c);
  }
  // The same, when c existed before the operation that puts them (INTERN's symbol). Every
  // other operation puts them on a result it made itself.
  void notePutValuesOnOld(const _cell* c) {
    notePutValues(c);
    oldValueSets++;
  }
  long oldValueSets = 0;
  long freeCells = 0;

  char* strBase = nullptr;
  char* strCursor = nullptr;

  _cell** symBase = nullptr;
  _cell** symTop = nullptr;
  SymbolHash symHash;
  std::vector<uint32_t> allSymbols;  // every symbol cell ever made: never reclaimed

  NumElem* numBase = nullptr;
  long numCursor = 0;
  long numWraps = 0;
  MarkBits numBits;
  long freeNums = 0;

  IntElem* intBase = nullptr;
  long intCursor = 0;
  long intWraps = 0;
  MarkBits intBits;
  long freeInts = 0;

  _symval* gvBase = nullptr;
  long gvTop = 0;
  _symval* fnBase = nullptr;
  long fnTop = 0;

  // The root stacks. Anything the evaluator reads after an evaluation step must be reachable
  // from them or from the other roots of forEachRoot (memory/roots.h, the rooting contract):
  // protect cells with a CellFrame guard and frames with a LocalFrame guard, which put the
  // tops back on every path out of the protecting function.
  _cell** csBase = nullptr;
  _cell** csTop = nullptr;
  _symval** lsBase = nullptr;
  _symval** lsTop = nullptr;
  _symval** ssBase = nullptr;
  _symval** ssTop = nullptr;
  // The lowest the stack tops have been since the last collection.
  _cell** csLow = nullptr;
  _symval** lsLow = nullptr;

  FILE* streams[kStreams] = {};
  // Exits travelling upward: their values are roots while the flags are set.
  int throwFlag = 0;
  int returnFromFlag = 0;
  _cell* throwTag = nullptr;
  _cell* throwValue = nullptr;
  _cell* returnFromName = nullptr;
  _cell* returnFromValue = nullptr;
  int errorDepth = 0;

 protected:
  // Binding frames: zero-filled arrays of records; null for a count of 0 or when the
  // memory cannot be had (the caller reports it).
  _symval* allocFrame(long n) {
    return n > 0 ? frames.alloc(n) : nullptr;
  }
  // The same without the zero-filling, for frames of calls: the lambda-list walk writes
  // every record of them (see cfunction::walkLambdaList).
  _symval* allocCallFrame(long n) {
    return n > 0 ? frames.allocUnfilled(n) : nullptr;
  }
  // The form that made a frame has ended with it.
  void releaseFrame(_symval* f) {
    frames.release(f);
  }
  // A frame whose value is a closure stays alive, a root on the static stack.
  void keepFrame(_symval* f, long count) {
    IncStaticStack(f, count);
    frames.makeStatic(f);
  }
  // FUNCTION of a lambda form: the cons refers to the frame (count records) from now on.
  void captureFrame(_cell* lambda, _symval* f, long count);
  FrameKeeper frames;

 private:
  // Closure conses whose env points at a frame; the collector drops the dead ones.
  std::vector<_cell*> envHolders;
  // Drops the frames of the closures from index `from` on that `reached` does not hold.
  void sweepEnvHolders(const MarkBits& reached, size_t from);
  // The marking alone, into bitmaps the caller has cleared; the number of roots visited and
  // conses reached.
  long markFromRoots(MarkBits& cells, MarkBits* nums, MarkBits* ints);
  void markRoots(const RootSpan& span);
  void clearMarks(MarkBits& cells, MarkBits* nums, MarkBits* ints);
  // No bit of an area's bitmaps lies at or past its extent: until its cursor first wraps
  // round, elements are only taken below the cursor or below where it stood before it went
  // back to reuse garbage, and only taken elements are marked. Clearing, counting and
  // copying bitmaps stop there.
  long cellExtent() const {
    return std::max(cellCursor, cellHigh);
  }
  long numExtent() const {
    return numWraps ? kNumbers : numCursor;
  }
  long intExtent() const {
    return std::max(intCursor, intHigh);
  }
  long cellHigh = 0, intHigh = 0;  // the furthest the cursors went before going back
  // Reuses the garbage that a search for free regions found: see memory/gc.cpp.
  void reuseGarbage(bool preludeSkipped);
  void reuseArea(MarkBits& bits, const MarkBits& reached, long keptBelow, long& cursor, long& high,
                 long& wraps, AreaPages& pages);
  long preludeInts = 0;  // the integers taken while the prelude loaded
  // At the last search: cellsTaken, and what its marking reached.
  long takenAtSearch = 0, reachedAtSearch = 0;
  // The collection itself, from the kept marks when they can be used, else in full.
  bool collectFromStableMarks();
  void collectFully();
  bool keepStableMarks();
  void extendStableMarks(long cellDepth, long localDepth);
  void restoreArea(MarkBits& bits, AreaMarks& kept, long cursor, long wraps);
  void coverFrames(long from, long to);
  void startInterval();
  void checkAgainstFullMarking();
  StableMarks stable;
  // While set, every bit the marking sets is also noted here (see StableMarks).
  bool logging = false;
  // While set, the frames of the closures the marking meets are covered (see StableMarks).
  bool coverEnvs = false;
  bool skipPreludeCode = false;  // the marking does not go into the prelude's code
  void markCell(long i) {
    if (logging) {
      if (markCells->get(i)) return;
      note(stable.cells, i);
    }
#ifdef TSUMUGI_STRESS
    if (stressRecording && !markCells->get(i)) stressReached.push_back(i);
#endif
    markCells->set(i);
  }
  void markElem(MarkBits* bits, AreaMarks& kept, long e) {
    if (logging) {
      if (bits->get(e)) return;
      note(kept, e);
    }
    bits->set(e);
  }
  void note(AreaMarks& kept, long i) {
    kept.upper.push_back(static_cast<uint32_t>(i));
    if (kept.upper.size() > kMaxNoted) {
      stable.overflow = true;
      logging = false;
    }
  }
  static constexpr size_t kMaxNoted = size_t{1} << 22;
  MarkBits checkNums, checkInts;
  MarkBits* markCells = &cellBits;
  MarkBits* markNums = &numBits;
  MarkBits* markInts = &intBits;
  MarkBits scratchBits;
  MarkBits regionBits, regionIntBits;  // what is reachable, for the search for free regions
  long markedConses = 0;               // conses and arrays reached by the last marking

  // `pages` is the area's physical memory when it is managed (cells and integers).
  long takeFree(MarkBits& bits, long& cursor, long& wraps, long n, AreaPages* pages,
                const char* fullMessage) {
    // Most of the time the element under the cursor is free.
    long i = bits.get(cursor) ? bits.nextClear(cursor, n - 1) : cursor;
    if (i < 0) {
      // The cursor passes the last element and starts again.
      wraps++;
      if (pages) areaWrapped(pages);
      i = bits.nextClear(0, cursor);
      if (i < 0) Fatal(fullMessage);
    }
    bits.set(i);
    cursor = i + 1;
    if (cursor == n - 1) {
      cursor = 0;
      wraps++;
      if (pages) areaWrapped(pages);
    }
    return i;
  }
  void areaWrapped(AreaPages* pages) {
    if (pages == &cellPages) cellHigh = kCells;
    if (pages == &intPages) intHigh = kIntegers;
    pages->onWrap();
  }
  _cell* newSymbol(const char* name, char sub);
  _symval* findGlobal(_cell* symbol);
  _symval* findFunc(_cell* symbol);
  _cell* readElement(const char* text);
  std::vector<_cell*> markStack;
};

// Protects cells across inner evaluations: pushes a frame marker on the cell stack and puts
// the top back where it was when the guard goes out of scope, on every path.
class CellFrame {
 public:
  explicit CellFrame(cmemory& m) : m_(m), top_(m.csTop) { m.IncCellStack(nullptr); }
  ~CellFrame() { release(); }
  CellFrame(const CellFrame&) = delete;
  CellFrame& operator=(const CellFrame&) = delete;
  _cell* protect(_cell* c) { return m_.IncCellStack(c); }
  // Ends the protection early (where the cells are no longer needed).
  void release() {
    if (top_) m_.setCellTop(top_);
    top_ = nullptr;
  }

 private:
  cmemory& m_;
  _cell** top_;
};

// Keeps a binding frame on the local stack (a root) until the guard goes out of scope.
class LocalFrame {
 public:
  LocalFrame(cmemory& m, _symval* frame, long count) : m_(m), top_(m.lsTop) {
    m.IncLocStack(frame, count);
  }
  ~LocalFrame() { m_.setLocalTop(top_); }
  LocalFrame(const LocalFrame&) = delete;
  LocalFrame& operator=(const LocalFrame&) = delete;

 private:
  cmemory& m_;
  _symval** top_;
};

// The cell and local stack tops when a form that receives exits started: whatever the
// forms it ran left behind (an exit stops them before their pops) goes when it ends.
class StackTops {
 public:
  explicit StackTops(cmemory& m) : m_(m), cells_(m.csTop), locals_(m.lsTop) {}
  ~StackTops() { m_.restoreStacks(cells_, locals_); }
  StackTops(const StackTops&) = delete;
  StackTops& operator=(const StackTops&) = delete;

 private:
  cmemory& m_;
  _cell** cells_;
  _symval** locals_;
};

inline long double CellToNumber(const _cell* c) {
  return c->type == 'n' ? nval(c) : 0.0L;
}
