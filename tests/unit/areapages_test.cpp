// The physical memory behind the cell and integer areas: which regions give their memory
// away, where it goes, and what the search bitmap is cleared over.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>

#include "memory/areapages.h"
#include "memory/markbits.h"

namespace {
constexpr long kElemsPerRegion = (2L << 20) / 16;  // 16-byte elements, 2 MB regions

struct Area {
  AreaPages pages;
  int64_t* base = nullptr;
  MarkBits inUse;
  explicit Area(long regions, long extra = 0, size_t lead = 0) {
    long n = regions * kElemsPerRegion + extra;
    base = static_cast<int64_t*>(pages.reserve(n, 16, false, lead));
    allocBits(inUse, n);
  }
  // Writes v into element i as an allocator would.
  void write(long i, int64_t v) {
    if (i >= pages.readyEnd) pages.prepare(i);
    base[2 * i] = v;
  }
};
}  // namespace

TEST(AreaPages, ARegionWithNothingInUseGivesItsMemoryToTheNextFreshOne) {
  Area a(12);
  for (long r = 0; r < 9; r++) a.write(r * kElemsPerRegion, 100 + r);
  a.inUse.set(0);                    // region 0 holds something in use
  a.inUse.set(2 * kElemsPerRegion);  // and so does region 2
  a.pages.afterCollection(a.inUse, 9 * kElemsPerRegion, 0);
  a.write(10 * kElemsPerRegion + 5, 7);
  // The pages came from a region with nothing in use: they still hold what it held.
  int64_t moved = a.base[2 * 10 * kElemsPerRegion];
  EXPECT_TRUE(moved == 101 || (moved >= 103 && moved <= 108)) << moved;
  EXPECT_EQ(a.base[2 * (moved - 100) * kElemsPerRegion], 0);  // the donor reads as zeros
  EXPECT_EQ(a.base[0], 100);
  EXPECT_EQ(a.base[2 * 2 * kElemsPerRegion], 102);
}

TEST(AreaPages, TheRegionsBeingFilledAreNeverDonors) {
  Area a(12);
  for (long r = 0; r < 9; r++) a.write(r * kElemsPerRegion, 100 + r);
  // Nothing in use at all, but the cursor is in region 8.
  a.pages.afterCollection(a.inUse, 8 * kElemsPerRegion + 3, 0);
  for (long r = 9; r < 12; r++) a.write(r * kElemsPerRegion, 0);
  EXPECT_EQ(a.base[2 * 8 * kElemsPerRegion], 108);
}

TEST(AreaPages, ThePartialLastRegionNeitherGivesNorReceives) {
  Area a(9, kElemsPerRegion / 2);  // nine whole regions and half of a tenth
  for (long r = 0; r < 8; r++) a.write(r * kElemsPerRegion, 100 + r);
  a.pages.afterCollection(a.inUse, 8 * kElemsPerRegion, 0);
  // A whole region gets a donor's memory.
  a.write(8 * kElemsPerRegion + 1, 1);
  EXPECT_EQ(a.base[2 * 8 * kElemsPerRegion], 107);
  // Donors are still at hand, but the partial region gets memory of its own.
  a.write(9 * kElemsPerRegion + 1, 1);
  EXPECT_EQ(a.base[2 * 9 * kElemsPerRegion], 0);
}

TEST(AreaPages, ClearingResidentRegionsClearsEveryMarkAReachableElementCanHave) {
  Area a(6);
  a.write(0, 1);
  a.write(3 * kElemsPerRegion + 10, 1);
  MarkBits bits;
  allocBits(bits, 6 * kElemsPerRegion);
  bits.set(5);
  bits.set(kElemsPerRegion - 1);
  bits.set(3 * kElemsPerRegion + 10);
  bits.set(4 * kElemsPerRegion - 1);
  a.pages.clearResident(bits);
  EXPECT_EQ(bits.nextSet(0, 6 * kElemsPerRegion), -1);
}

TEST(AreaPages, WithALeadTheRegionsLieOnBoundariesAfterIt) {
  constexpr long kLeadElems = 4096;  // 64 KB of 16-byte elements
  Area a(9, kLeadElems, 16 * kLeadElems);
  // The lead ends on a 2 MB boundary.
  EXPECT_EQ(reinterpret_cast<uintptr_t>(a.base + 2 * kLeadElems) % (2 << 20), 0u);
  auto regionStart = [&](long r) { return kLeadElems + (r - 1) * kElemsPerRegion; };
  a.write(0, 99);  // the lead
  for (long r = 1; r < 8; r++) a.write(regionStart(r), 100 + r);
  a.pages.afterCollection(a.inUse, regionStart(7) + 1, 0);
  // Region 8 gets the memory of a region with nothing in use, but never the lead's.
  a.write(regionStart(8) + 5, 1);
  int64_t moved = a.base[2 * regionStart(8)];
  EXPECT_TRUE(moved >= 101 && moved <= 106) << moved;
  EXPECT_EQ(a.base[2 * regionStart(moved - 100)], 0);
  EXPECT_EQ(a.base[0], 99);
  // The bitmap is cleared over the lead and the resident regions alike.
  MarkBits bits;
  allocBits(bits, 10 * kElemsPerRegion);
  bits.set(kLeadElems - 1);
  bits.set(regionStart(8) + 3);
  a.pages.clearResident(bits);
  EXPECT_EQ(bits.nextSet(0, 10 * kElemsPerRegion), -1);
}
