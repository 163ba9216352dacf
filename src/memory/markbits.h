#pragma once

#include <cstdint>

// A bitmap of "in use" marks kept beside an area: zero-filled memory means free.
struct MarkBits {
  uint64_t* words = nullptr;
  long size = 0;  // elements
  bool get(long i) const { return (words[i >> 6] >> (i & 63)) & 1; }
  void set(long i) { words[i >> 6] |= uint64_t{1} << (i & 63); }
  // First clear (set) bit in [from, to), or -1.
  long nextClear(long from, long to) const;
  long nextSet(long from, long to) const;
  // Set bits among the first `below` elements (all of them by default); clearing likewise.
  long count(long below = -1) const;
  void clear(long below = -1);
};

// The number of set bits of x, in line (without the processor's instruction, the compiler's
// own count is a library call).
inline long bitCount(uint64_t x) {
  x = x - ((x >> 1) & 0x5555555555555555ull);
  x = (x & 0x3333333333333333ull) + ((x >> 2) & 0x3333333333333333ull);
  x = (x + (x >> 4)) & 0x0f0f0f0f0f0f0f0full;
  return static_cast<long>((x * 0x0101010101010101ull) >> 56);
}

// Zero-filled bits for n elements; false when the memory cannot be had.
bool allocBits(MarkBits& b, long n);
