#include "numbers/cmathproc.h"

#include <utility>

namespace {
// The greatest common divisor of two magnitudes (what a trial descent from the smaller one
// finds), by Stein's binary algorithm: shifts and subtractions instead of a division a step.
uint64_t ugcd(uint64_t a, uint64_t b) {
  if (a == 0) return b;
  if (b == 0) return a;
  int shift = __builtin_ctzll(a | b);
  a >>= __builtin_ctzll(a);
  do {
    b >>= __builtin_ctzll(b);
    if (a > b) std::swap(a, b);
    b -= a;
  } while (b != 0);
  return a << shift;
}
uint64_t magnitude(long v) {
  return v < 0 ? 0 - static_cast<uint64_t>(v) : static_cast<uint64_t>(v);
}
}  // namespace

long cmathproc::gcd(long a, long b) {
  uint64_t g = ugcd(magnitude(a), magnitude(b));
  return g == 0 ? 1 : static_cast<long>(g);
}

void cmathproc::yakubun(long num, long den, long* outNum, long* outDen) {
  if (num == 0) {
    *outNum = 0;
    *outDen = 1;
    return;
  }
  bool negative = (num < 0 && den > 0) || (num > 0 && den < 0);
  uint64_t n = magnitude(num), d = magnitude(den);
  uint64_t g = ugcd(n, d);
  if (g > 1) {
    n /= g;
    d /= g;
  }
  *outNum = negative ? static_cast<long>(0 - n) : static_cast<long>(n);
  *outDen = static_cast<long>(d);
}

void cmathproc::WaWithTsubun(long num1, long den1, long num2, long den2, long* outNum,
                             long* outDen) {
  yakubun(wadd(wmul(den1, num2), wmul(num1, den2)), wmul(den1, den2), outNum, outDen);
}

uint64_t cmathproc::XorShift() {
  uint64_t t = x_ ^ (x_ << 11);
  x_ = y_;
  y_ = z_;
  z_ = w_;
  w_ = w_ ^ (w_ >> 19) ^ t ^ (t >> 8);
  return w_;
}
