// Integer helpers of the numeric tower: fraction reduction and the random generator.
#pragma once

#include <cstdint>

class cmathproc {
 public:
  // Greatest common divisor of two positive values.
  long gcd(long a, long b);
  // Reduces num/den: sign on the numerator, positive denominator, (0, 1) for a zero numerator.
  void yakubun(long num, long den, long* outNum, long* outDen);
  // num1/den1 + num2/den2 over the product of the denominators, reduced.
  void WaWithTsubun(long num1, long den1, long num2, long den2, long* outNum, long* outDen);
  // The process-wide xorshift generator; every run yields the same sequence.
  uint64_t XorShift();
  void ResetXorShift() { x_ = 123456789, y_ = 362436069, z_ = 521288629, w_ = 88675123; }

 private:
  uint64_t x_ = 123456789, y_ = 362436069, z_ = 521288629, w_ = 88675123;
};

// Wrapping 64-bit arithmetic: overflow keeps the two's-complement result.
inline long wadd(long a, long b) {
  return static_cast<long>(static_cast<uint64_t>(a) + static_cast<uint64_t>(b));
}
inline long wsub(long a, long b) {
  return static_cast<long>(static_cast<uint64_t>(a) - static_cast<uint64_t>(b));
}
inline long wmul(long a, long b) {
  return static_cast<long>(static_cast<uint64_t>(a) * static_cast<uint64_t>(b));
}
inline long wneg(long a) {
  return static_cast<long>(0 - static_cast<uint64_t>(a));
}
