#include "memory/areapages.h"

#include <sys/mman.h>

#include <algorithm>
#include <cstdint>
#include <cstring>

#include "memory/largepages.h"
#include "memory/markbits.h"

#ifndef MREMAP_DONTUNMAP
#define MREMAP_DONTUNMAP 4
#endif

namespace {
void* mapAnonymous(size_t bytes) {
  void* p = mmap(nullptr, bytes, PROT_READ | PROT_WRITE,
                 MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
  return p == MAP_FAILED ? nullptr : p;
}

char* alignUp(void* p, size_t to) {
  return reinterpret_cast<char*>((reinterpret_cast<uintptr_t>(p) + to - 1) & ~(uintptr_t{to} - 1));
}

// Exactly `bytes` of address space, starting on a boundary of `to` when a stretch that much
// longer can be had for a moment (the excess is given back at once); else anywhere.
char* mapExactAligned(size_t bytes, size_t to) {
  if (void* p = mapAnonymous(bytes + to)) {
    char* start = alignUp(p, to);
    char* end = static_cast<char*>(p) + bytes + to;
    if (start > p) munmap(p, static_cast<size_t>(start - static_cast<char*>(p)));
    if (end > start + bytes) munmap(start + bytes, static_cast<size_t>(end - (start + bytes)));
    return start;
  }
  return static_cast<char*>(mapAnonymous(bytes));
}
}  // namespace

void* AreaPages::reserve(long n, size_t elemSize, bool align) {
  size_t bytes = static_cast<size_t>(n) * elemSize;
  size_t regions = (bytes + kRegion - 1) / kRegion;
  if (align) {
    // With one region more, the area starts on a region boundary.
    void* p = mapAnonymous((regions + 1) * kRegion);
    if (!p) return nullptr;
    base_ = alignUp(p, kRegion);
    wholeRegions_ = static_cast<long>(regions);
  } else {
    base_ = mapExactAligned(bytes, kRegion);
    if (!base_) return nullptr;
    wholeRegions_ = static_cast<long>(bytes / kRegion);
  }
  elems_ = n;
  elemSize_ = elemSize;
  // Large pages fit where the regions lie on boundaries of their size.
  if ((reinterpret_cast<uintptr_t>(base_) & (kRegion - 1)) == 0) {
    adviseLargePages(base_, static_cast<size_t>(wholeRegions_) * kRegion);
  }
  resident_.assign(regions, 0);
  donor_.assign(regions, 0);
  return base_;
}

void AreaPages::prepare(long i) {
  long first = regionOf(i);
  long last = static_cast<long>(((i + 1) * elemSize_ - 1) / kRegion);
  for (long r = first; r <= last; r++) {
    donor_[r] = 0;  // the allocator needs this one now
    if (resident_[r]) continue;
    bool moved = false;
    while (moving_ && r < wholeRegions_ && !donors_.empty()) {
      long d = donors_.back();
      donors_.pop_back();
      if (!donor_[d] || !resident_[d]) continue;
      donor_[d] = 0;
      char* from = base_ + d * kRegion;
      char* to = base_ + r * kRegion;
      // The donor's pages move here; the donor stays mapped and reads as zeros again.
      if (mremap(from, kRegion, kRegion, MREMAP_MAYMOVE | MREMAP_FIXED | MREMAP_DONTUNMAP, to) ==
          MAP_FAILED) {
        moving_ = false;
        break;
      }
      resident_[d] = 0;
      moved = true;
      // The last search paid for itself: look again as soon as the donors run out, rather
      // than after a region had to be filled fresh.
      if (searchPaid_ && donors_.empty()) wantsDonors = true;
      break;
    }
    if (!moved) {
      freshSinceMark_++;
      residentCount_++;
    }
    if (moving_ && residentCount_ >= kFewRegions && donors_.size() < kLowWater &&
        freshSinceMark_ >= freshBeforeMark_) {
      wantsDonors = true;
    }
    resident_[r] = 1;
  }
  long end = static_cast<long>((last + 1) * kRegion / elemSize_);
  readyEnd = end < elems_ ? end : elems_;
  if (wrapPending_) {
    readyEnd = 0;  // the next element is at the start of the area again
    wrapPending_ = false;
  }
}

void AreaPages::clearResident(MarkBits& bits) const {
  long n = static_cast<long>(resident_.size());
  for (long r = 0; r < n; r++) {
    if (!resident_[r]) continue;
    long last = r;
    while (last + 1 < n && resident_[last + 1]) last++;
    long from = firstElem(r) >> 6;
    long to = (std::min(firstElem(last + 1), elems_) + 63) >> 6;
    std::memset(bits.words + from, 0, sizeof(uint64_t) * static_cast<size_t>(to - from));
    r = last;
  }
}

void AreaPages::afterCollection(const MarkBits& inUse, long cursor, long reached) {
  for (long d : donors_) donor_[d] = 0;
  donors_.clear();
  wantsDonors = false;
  freshSinceMark_ = 0;
  if (!moving_) return;
  // The regions from the cursor to the end of the prepared ones are being filled.
  long busyFrom = regionOf(cursor);
  long busyTo = readyEnd > cursor ? regionOf(readyEnd - 1) : busyFrom;
  for (long r = 0; r < static_cast<long>(resident_.size()); r++) {
    if (!resident_[r] || r >= wholeRegions_ || (r >= busyFrom && r <= busyTo) ||
        firstElem(r) < keptBelow_) {
      continue;
    }
    // Every element that has a byte in the region must be free.
    long from = firstElem(r);
    long to = static_cast<long>(((r + 1) * kRegion - 1) / elemSize_) + 1;
    if (to > elems_) to = elems_;
    if (inUse.nextSet(from, to) < 0) {
      donor_[r] = 1;
      donors_.push_back(r);
    }
  }
  searchPaid_ =
      !donors_.empty() && reached < static_cast<long>(donors_.size()) * kCellsPerRegionOfZeroing;
  long patience = donors_.empty() ? freshBeforeMark_ * 2 : reached / kCellsPerRegionOfZeroing;
  freshBeforeMark_ = patience < 1 ? 1 : (patience > kMaxPatience ? kMaxPatience : patience);
}
