// The physical memory behind the cell area. The rotating allocator sweeps forward through
// 1.5 GB and only comes back after wrapping round, so fresh memory keeps being touched, and
// the kernel zero-fills every page first. Instead, when the allocator enters a region that
// has no memory yet, the pages of a region behind it in which no cell is in use are moved
// there; a moved-away region reads as zeros again. Which cell the allocator hands out is
// unchanged: only where its memory comes from.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "memory/cell.h"

struct MarkBits;

class CellPages {
 public:
  // Reserves the area (aligned to regions); null when the address space is not there.
  _cell* reserve(long cells);
  // Call before writing cell i when i >= readyEnd.
  void prepare(long i);
  // Cells below readyEnd have memory (until the allocator wraps round).
  long readyEnd = 0;
  // The allocator went back to the start of the area.
  void onWrap() {
    readyEnd = 0;
    donors_.clear();
  }
  // After a collection: the regions behind the cursor with no cell in use become donors.
  void afterCollection(const MarkBits& inUse, long cursor);

 private:
  static constexpr size_t kRegion = size_t{2} << 20;
  _cell* base_ = nullptr;
  long cells_ = 0;
  std::vector<uint8_t> resident_;  // per region: has memory (possibly)
  std::vector<long> donors_;
  bool moving_ = true;  // off when the system cannot move pages
  long firstCell(long region) const { return static_cast<long>(region * kRegion / sizeof(_cell)); }
  long regionOf(long cell) const { return static_cast<long>(cell * sizeof(_cell) / kRegion); }
};
