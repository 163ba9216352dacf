// The physical memory behind the cell and integer areas. Their rotating allocators sweep
// forward and would keep touching fresh memory, which the kernel zero-fills first. Two
// things keep them on memory already touched, both after a marking that finds what is
// reachable (a search, asked for through wantsDonors): the allocator goes back and fills
// the holes of the stretch it has been through (see cmemory::reuseGarbage), and when it
// must enter a region that has no memory yet, the pages of a region in which no element is
// in use are moved there; a moved-away region reads as zeros again.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

struct MarkBits;

class AreaPages {
 public:
  // Reserves an area of n elements of elemSize bytes; null when the address space is not
  // there. Regions lie on 2 MB boundaries of the address space. With a lead, the area's
  // first `lead` bytes (what start-up fills) end on a boundary and form a partial first
  // region of small pages; the whole regions after it get large pages. Padded, the area's
  // last region is mapped whole; otherwise it is partial. Partial regions never give or
  // receive memory.
  void* reserve(long n, size_t elemSize, bool pad, size_t lead = 0);
  // Call before writing element i when i >= readyEnd.
  void prepare(long i);
  // Elements below readyEnd have memory (until the allocator wraps round).
  long readyEnd = 0;
  // The allocator goes back to `from` to reuse what is free below `high`, where `inUse`
  // elements are in use. While most of that stretch is free, the next search is asked for
  // before the allocator leaves it for fresh memory.
  void restart(long from, long high, long inUse) {
    readyEnd = 0;
    searchAt_ = high - from > 4 * inUse ? high - (high - from) / 8 : -1;
  }
  // The allocator went back to the start of the area (possibly just before preparing the
  // last element it took at the end).
  void onWrap() {
    readyEnd = 0;
    wrapPending_ = true;
  }
  // After a marking that reached `reached` cells: the regions with no element in use, but
  // for those the allocator is about to fill, become donors.
  void afterCollection(const MarkBits& inUse, long cursor, long reached);
  // The regions that hold any of the first n elements never give their memory away.
  void keepRegionsBelow(long n) { keptBelow_ = n; }
  // Clears the bits of every region that has memory. Only these can hold a reachable
  // element (a region gives its memory away only when none of its elements is reachable,
  // and elements are only taken where memory was prepared), so a bitmap that only ever
  // marked reachable elements is all clear afterwards, at a fraction of the cost of clearing all.
  void clearResident(MarkBits& bits) const;
  // Set when fresh regions keep being entered with no donor at hand: a marking pass at the
  // next safe point would find some.
  bool wantsDonors = false;
  void stopAsking() {
    wantsDonors = false;
    moving_ = false;
  }

 private:
  static constexpr size_t kRegion = size_t{2} << 20;
  char* base_ = nullptr;
  long elems_ = 0;
  size_t offset_ = 0;                 // of the area's start past the boundary before it
  long wholeFrom_ = 0, wholeTo_ = 0;  // the regions that lie wholly in the mapping
  size_t elemSize_ = 1;
  std::vector<uint8_t> resident_;  // per region: has memory (possibly)
  std::vector<uint8_t> donor_;     // per region: may give its memory away
  std::vector<long> donors_;
  // Donors are looked for again when they have run low and some regions had to be filled
  // fresh: as many as a marking pass costs in zero-filling (about one region for every
  // 20,000 reachable cells), and twice as many after each search that found nothing.
  long freshSinceMark_ = 0;
  long freshBeforeMark_ = 1;
  static constexpr size_t kLowWater = 4;
  // With only a few regions in use there is nothing worth a marking pass.
  long residentCount_ = 0;
  static constexpr long kFewRegions = 3;
  static constexpr long kCellsPerRegionOfZeroing = 20000;
  static constexpr long kMaxPatience = 256;
  long keptBelow_ = 0;
  bool searchPaid_ = false;  // the last search found more than its marking cost
  bool moving_ = true;       // off when the system cannot move pages
  bool wrapPending_ = false;
  long searchAt_ = -1;  // the element at which a search is asked for
  char* regionStart(long r) const { return base_ - offset_ + r * kRegion; }
  bool whole(long r) const { return r >= wholeFrom_ && r < wholeTo_; }
  // The element that holds the first byte of a region.
  long firstElem(long region) const {
    return region == 0 ? 0 : static_cast<long>((region * kRegion - offset_) / elemSize_);
  }
  long regionOf(long i) const { return static_cast<long>((i * elemSize_ + offset_) / kRegion); }
  // The region that holds the last byte of element i.
  long lastRegionOf(long i) const {
    return static_cast<long>(((i + 1) * elemSize_ + offset_ - 1) / kRegion);
  }
};
