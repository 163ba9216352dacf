// Large areas that a cursor sweeps through are backed by 2 MB pages where the system
// offers them: the kernel then takes one fault and zero-fills one block per 2 MB instead
// of one fault per 4 KB page, which was a third of the time of allocation-heavy programs.
// The beginning of such an area (a lead that ends on a 2 MB boundary) stays in small pages,
// so that start-up, which touches only the beginning of each area, stays small in memory.
// A read of an untouched small page maps a shared zero page and the write after it faults
// again: bitmaps that the allocators read before they set a bit took two faults per 4 KB.
#pragma once

#include <cstddef>

constexpr size_t kLargePage = size_t{2} << 20;

// Zero-filled memory of `bytes` whose first `lead` bytes stay in small pages and end on a
// 2 MB boundary, so that everything past them is in large pages where the system offers
// them. Null when the memory cannot be had.
void* mapWithSmallLead(size_t bytes, size_t lead);
