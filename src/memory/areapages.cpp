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

void* AreaPages::reserve(long n, size_t elemSize, bool pad, size_t lead) {
  size_t bytes = static_cast<size_t>(n) * elemSize;
  // Without a lead the area starts on a boundary, and its first region stays small.
  size_t offset = (kRegion - lead % kRegion) % kRegion;
  size_t span = offset + bytes;
  size_t mapped = pad ? (span + kRegion - 1) / kRegion * kRegion - offset : bytes;
  // Large pages for the whole regions past the lead (see memory/largepages.h).
  base_ = static_cast<char*>(mapWithSmallLead(mapped, lead ? lead : kRegion));
  if (!base_) return nullptr;
  offset_ = offset;
  elems_ = n;
  elemSize_ = elemSize;
  long regions = static_cast<long>((span + kRegion - 1) / kRegion);
  wholeFrom_ = offset_ ? 1 : 0;
  wholeTo_ = static_cast<long>((offset_ + mapped) / kRegion);
  resident_.assign(static_cast<size_t>(regions), 0);
  donor_.assign(static_cast<size_t>(regions), 0);
  return base_;
}

void AreaPages::prepare(long i) {
  if (searchAt_ >= 0 && i >= searchAt_) {
    wantsDonors = true;
    searchAt_ = -1;
  }
  long first = regionOf(i);
  long last = lastRegionOf(i);
  for (long r = first; r <= last; r++) {
    donor_[r] = 0;  // the allocator needs this one now
    if (resident_[r]) continue;
    bool moved = false;
    while (moving_ && whole(r) && !donors_.empty()) {
      long d = donors_.back();
      donors_.pop_back();
      if (!donor_[d] || !resident_[d]) continue;
      donor_[d] = 0;
      char* from = regionStart(d);
      char* to = regionStart(r);
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
  long end = firstElem(last + 1);
  readyEnd = end < elems_ ? end : elems_;
  if (searchAt_ > i && searchAt_ < readyEnd) readyEnd = searchAt_;
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
    if (!resident_[r] || !whole(r) || (r >= busyFrom && r <= busyTo) || firstElem(r) < keptBelow_) {
      continue;
    }
    // Every element that has a byte in the region must be free.
    long from = firstElem(r);
    long to = static_cast<long>(((r + 1) * kRegion - offset_ - 1) / elemSize_) + 1;
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
