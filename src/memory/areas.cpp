// The fixed areas: obtained once at start-up, zero-filled memory meaning "free", so that
// start-up touches none of them and resident memory grows only with what is used.
#include <sys/mman.h>

#include <cstdlib>
#include <cstring>

#include "memory/cmemory.h"
#include "memory/largepages.h"
#include "memory/stress.h"

#if defined(__SANITIZE_ADDRESS__)
// Frames and objects kept alive on purpose are referred to only from the mapped areas, which
// the leak checker does not scan, and the areas themselves are never released: its reports
// would all be false.
extern "C" const char* __asan_default_options() {
  return "detect_leaks=0";
}
#endif

_cell* NILCell = nullptr;
_cell* TCell = nullptr;

namespace {
// The first bit in [from, to) equal to `wanted`, or -1.
long nextBit(const uint64_t* words, long from, long to, bool wanted) {
  if (from >= to) return -1;
  const uint64_t flip = wanted ? 0 : ~uint64_t{0};
  long w = from >> 6;
  uint64_t bits = (words[w] ^ flip) & (~uint64_t{0} << (from & 63));
  const long lastWord = (to - 1) >> 6;
  for (;;) {
    if (bits) {
      long i = (w << 6) + __builtin_ctzll(bits);
      return i < to ? i : -1;
    }
    if (++w > lastWord) return -1;
    bits = words[w] ^ flip;
  }
}
}  // namespace

long MarkBits::nextClear(long from, long to) const {
  return nextBit(words, from, to, false);
}
long MarkBits::nextSet(long from, long to) const {
  return nextBit(words, from, to, true);
}

namespace {
// The processor's population count where it has one.
__attribute__((target("popcnt"))) long countWithInstruction(const uint64_t* w, long n) {
  long c = 0;
  for (long i = 0; i < n; i++) c += __builtin_popcountll(w[i]);
  return c;
}
long countPortably(const uint64_t* w, long n) {
  long c = 0;
  for (long i = 0; i < n; i++) c += __builtin_popcountll(w[i]);
  return c;
}
const bool hasPopcnt = __builtin_cpu_supports("popcnt");
}  // namespace

namespace {
long wordsBelow(long below, long size) {
  return ((below < 0 || below > size ? size : below) + 63) >> 6;
}
}  // namespace

long MarkBits::count(long below) const {
  long n = wordsBelow(below, size);
  return hasPopcnt ? countWithInstruction(words, n) : countPortably(words, n);
}

void MarkBits::clear(long below) {
  std::memset(words, 0, sizeof(uint64_t) * static_cast<size_t>(wordsBelow(below, size)));
}

namespace {
// Zero-filled memory of n elements; large areas are mapped directly, and only the pages
// that are used ever become resident.
template <typename Elem>
Elem* zeroed(long n) {
  size_t bytes = static_cast<size_t>(n) * sizeof(Elem);
  if (bytes < (size_t{64} << 10))
    return static_cast<Elem*>(std::calloc(static_cast<size_t>(n), sizeof(Elem)));
  void* p = mmap(nullptr, bytes, PROT_READ | PROT_WRITE,
                 MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
  if (p == MAP_FAILED) return nullptr;
  return static_cast<Elem*>(p);
}
}  // namespace

bool allocBits(MarkBits& b, long n) {
  b.size = n;
  size_t bytes = sizeof(uint64_t) * static_cast<size_t>((n + 63) >> 6);
  // The marks of the first four million elements stay in small pages, touched only as far as
  // the cursor goes: start-up and most programs never reach the large pages, which pay off
  // only for programs that sweep further (fresh memory is costly on this kind of machine
  // even in large pages, when the host has taken it back).
  constexpr size_t kLead = size_t{512} << 10;
  if (bytes > kLead + kLargePage) {
    b.words = static_cast<uint64_t*>(mapWithSmallLead(bytes, kLead));
    return b.words != nullptr;
  }
  b.words = zeroed<uint64_t>((n + 63) >> 6);
  return b.words != nullptr;
}

void cmemory::Init() {
  wrapped = 0;
  errorDepth = 0;
}

namespace {
constexpr size_t kCellLead = size_t{512} << 10;
constexpr size_t kIntLead = size_t{64} << 10;
}  // namespace

int cmemory::AllocMemory() {
  // The leads hold what start-up takes (about 7,000 cells and 60 integers) with room to
  // spare; past them the regions are in large pages.
  cellBase = static_cast<_cell*>(cellPages.reserve(kCells, sizeof(_cell), true, kCellLead));
  if (!cellBase || !allocBits(cellBits, kCells)) {
    std::puts("エラー: セル領域の獲得に失敗しました。");
    return 0;
  }
  cellCursor = 0;
  freeCells = kCells;
  strBase = static_cast<char*>(std::malloc(kStringBytes));
  if (!strBase) {
    std::printf("エラー: ストリング領域の獲得に失敗しました");
    return 0;
  }
  strCursor = strBase;
  symBase = zeroed<_cell*>(kSymbols);
  if (!symBase || !symHash.init()) {
    std::printf("エラー: ストリングアドレス領域の獲得に失敗しました");
    return 0;
  }
  symTop = symBase;
  // Start-up takes one number: only the area's first 2 MB stay in small pages.
  numBase = static_cast<NumElem*>(mapWithSmallLead(sizeof(NumElem) * kNumbers, kLargePage));
  if (!numBase || !allocBits(numBits, kNumbers)) {
    std::puts("エラー: 数値領域の獲得に失敗しました");
    return 0;
  }
  numCursor = 0;
  freeNums = kNumbers;
  intBase = static_cast<IntElem*>(intPages.reserve(kIntegers, sizeof(IntElem), false, kIntLead));
  if (!intBase || !allocBits(intBits, kIntegers)) {
    std::puts("エラー: 整数領域の獲得に失敗しました");
    return 0;
  }
  intCursor = 0;
  freeInts = kIntegers;
  gvBase = zeroed<_symval>(kGlobals);
  if (!gvBase) {
    std::puts("エラー: グローバル変数領域の獲得に失敗しました");
    return 0;
  }
  gvTop = 0;
  fnBase = zeroed<_symval>(kFunctions);
  if (!fnBase) {
    std::puts("エラー: 関数領域の獲得に失敗しました");
    return 0;
  }
  fnTop = 0;
  csBase = csTop = csLow = zeroed<_cell*>(kCellStack);
  if (!csBase) {
    std::puts("エラー: セルスタック領域の獲得に失敗しました");
    return 0;
  }
  lsBase = lsTop = lsLow = zeroed<_symval*>(kLocalStack);
  if (!lsBase) {
    std::puts("エラー: ローカルスタック領域の獲得に失敗しました");
    return 0;
  }
  ssBase = ssTop = zeroed<_symval*>(kStaticStack);
  if (!ssBase) {
    std::puts("エラー: スタティックスタック領域の獲得に失敗しました");
    return 0;
  }
  InitCellAndNumber();
#ifdef TSUMUGI_STRESS
  InstallPoisonTrap();
#endif
  return 1;
}

void cmemory::InitCellAndNumber() {
  // Every element is already free: the areas were obtained zero-filled.
  for (FILE*& s : streams) s = nullptr;
  throwFlag = 0;
  returnFromFlag = 0;
}

void cmemory::IncLocStack(_symval* frame, long count) {
  if (lsTop - lsBase > kLocalStack - 2 - count)
    Fatal("エラー: ローカルスタックが一杯です。終了します");
  *lsTop++ = nullptr;
  for (long i = 0; i < count; i++) *lsTop++ = frame + i;
}

void cmemory::IncStaticStack(_symval* frame, long count) {
  touchRoots();
  for (long i = -1; i < count; i++) {
    if (ssTop - ssBase > kStaticStack - 2)
      Fatal("エラー: スタティックスタックが一杯です。終了します");
    *ssTop++ = i < 0 ? nullptr : frame + i;
  }
}

void cmemory::ResetAreas() {
  collections++;  // every element is free again: what is remembered by address is forgotten
  preludeCells = -1;
  preludeCodeAlone = true;
  cellPages.keepRegionsBelow(0);
  intPages.keepRegionsBelow(0);
  cellBits.clear();
  cellCursor = 0;
  wrapped = 0;
  cellsTaken = 0;
  freeCells = kCells;
  cellPages.onWrap();
  intPages.onWrap();
  strCursor = strBase;
  symTop = symBase;
  symHash.init();
  allSymbols.clear();
  numBits.clear();
  numCursor = 0;
  freeNums = kNumbers;
  intBits.clear();
  // The other bitmaps are only cleared up to the extents, which start again from nothing.
  for (MarkBits* b : {&stable.cells.bits, &stable.nums.bits, &stable.ints.bits, &scratchBits,
                      &checkNums, &checkInts}) {
    if (b->words) b->clear();
  }
  intCursor = 0;
  freeInts = kIntegers;
  std::memset(static_cast<void*>(gvBase), 0, sizeof(_symval) * static_cast<size_t>(gvTop));
  gvTop = 0;
  std::memset(static_cast<void*>(fnBase), 0, sizeof(_symval) * static_cast<size_t>(fnTop));
  fnTop = 0;
  csTop = csLow = csBase;
  lsTop = lsLow = lsBase;
  ssTop = ssBase;
  cellWraps = numWraps = intWraps = 0;
  cellHigh = intHigh = 0;
  preludeInts = 0;
  takenAtSearch = reachedAtSearch = 0;
  searchForced = false;
  stable.valid = false;
  stable.holders = 0;
  for (FILE*& s : streams) {
    if (s) std::fclose(s);
  }
  InitCellAndNumber();
  errorDepth = 0;
  envHolders.clear();
  frames.releaseAll();
#ifdef TSUMUGI_STRESS
  stressReached.clear();
  stressFresh.clear();
  if (stressBits.words) stressBits.clear();
  stressCountdown = 0;
  stressChecks = 0;
#endif
}
