// The physical memory behind the cell area. The rotating allocator sweeps forward through
// 1.5 GB and only comes back after wrapping round, so fresh memory keeps being touched, and
// the kernel zero-fills every page first. Instead, when the allocator enters a region that
// has no memory yet, the pages of another region in which no cell is in use are moved
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
  // The allocator went back to the start of the area (possibly just before preparing the
  // last cell it took at the end).
  void onWrap() {
    readyEnd = 0;
    wrapPending_ = true;
  }
  // After a marking that reached `reached` cells: the regions with no cell in use, but for
  // those the allocator is about to fill, become donors.
  void afterCollection(const MarkBits& inUse, long cursor, long reached);
  // Clears the bits of every region that has memory. Only these can hold a reachable cell
  // (a region gives its memory away only when none of its cells is reachable, and cells
  // are only taken where memory was prepared), so a bitmap that only ever marked
  // reachable cells is all clear afterwards, at a fraction of the cost of clearing all.
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
  _cell* base_ = nullptr;
  long cells_ = 0;
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
  static constexpr long kFewRegions = 8;
  static constexpr long kCellsPerRegionOfZeroing = 20000;
  static constexpr long kMaxPatience = 256;
  bool searchPaid_ = false;  // the last search found more than its marking cost
  bool moving_ = true;       // off when the system cannot move pages
  bool wrapPending_ = false;
  long firstCell(long region) const { return static_cast<long>(region * kRegion / sizeof(_cell)); }
  long regionOf(long cell) const { return static_cast<long>(cell * sizeof(_cell) / kRegion); }
};
