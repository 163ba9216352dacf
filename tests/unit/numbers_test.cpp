// Arithmetic kernels and the integer helpers.
#include <climits>
#include <numeric>
#include <random>

#include "fixture.h"

TEST(Gcd, MatchesTheTrialDescent) {
  cmathproc m;
  // The trial descent from the smaller operand finds the greatest common divisor.
  for (long a = 1; a < 60; a++) {
    for (long b = 1; b < 60; b++) {
      long expected = 1;
      for (long c = a < b ? a : b; c > 1; c--) {
        if (a % c == 0 && b % c == 0) {
          expected = c;
          break;
        }
      }
      EXPECT_EQ(m.gcd(a, b), expected) << a << " " << b;
    }
  }
  EXPECT_EQ(m.gcd(9223372036854775807L, 7), 7);
}

TEST(Gcd, MatchesEuclidOnLargeAndSignedOperands) {
  cmathproc m;
  std::mt19937_64 random(11);
  for (int i = 0; i < 20000; i++) {
    // Below 2^63 (so that negating fits), and b below 2^60 (so that six times it fits).
    long a = static_cast<long>(random() >> (1 + random() % 63));
    long b = static_cast<long>(random() >> (4 + random() % 60)) * (i % 3 == 0 ? 6 : 1);
    if (i % 2) a = -a;
    long expected = std::gcd(a, b);
    EXPECT_EQ(m.gcd(a, b), expected == 0 ? 1 : expected) << a << " " << b;
  }
  EXPECT_EQ(m.gcd(0, 12), 12);
  EXPECT_EQ(m.gcd(-12, 0), 12);
  EXPECT_EQ(m.gcd(0, 0), 1);
}

TEST(Yakubun, ReducesWithTheSignOnTheNumerator) {
  cmathproc m;
  long n, d;
  m.yakubun(6, -4, &n, &d);
  EXPECT_EQ(n, -3);
  EXPECT_EQ(d, 2);
  m.yakubun(-6, -4, &n, &d);
  EXPECT_EQ(n, 3);
  EXPECT_EQ(d, 2);
  m.yakubun(0, -4, &n, &d);
  EXPECT_EQ(n, 0);
  EXPECT_EQ(d, 1);
  // The most negative numerator wraps instead of trapping.
  m.yakubun(LONG_MIN, -1, &n, &d);
  EXPECT_EQ(n, LONG_MIN);
  EXPECT_EQ(d, 1);
}

TEST(WaWithTsubun, AddsOverTheProductOfTheDenominators) {
  cmathproc m;
  long n, d;
  m.WaWithTsubun(1, 2, 1, 3, &n, &d);
  EXPECT_EQ(n, 5);
  EXPECT_EQ(d, 6);
  m.WaWithTsubun(1, 2, 1, 2, &n, &d);
  EXPECT_EQ(n, 1);
  EXPECT_EQ(d, 1);
}

TEST(XorShift, StartsFromTheFixedSeeds) {
  cmathproc m;
  uint64_t x = 123456789, y = 362436069, z = 521288629, w = 88675123;
  for (int i = 0; i < 5; i++) {
    uint64_t t = x ^ (x << 11);
    x = y;
    y = z;
    z = w;
    w = w ^ (w >> 19) ^ t ^ (t >> 8);
    EXPECT_EQ(m.XorShift(), w);
  }
}

using Kernels = Interp;

TEST_F(Kernels, ResultKindsFollowTheOperands) {
  _cell* two = lisp->IntToCell(2);
  _cell* half = lisp->BunsuToCell(1, 2);
  _cell* f = lisp->NumberToCell(0.5L);
  _cell* zero = lisp->IntToCell(0);
  EXPECT_EQ(printed(lisp->Wa(half, half)), "1");
  EXPECT_EQ(printed(lisp->Sa(two, half)), "3/2");
  EXPECT_EQ(printed(lisp->Wa(two, f)), "2.5");
  EXPECT_EQ(printed(lisp->Seki(zero, f)), "0");
  EXPECT_EQ(printed(lisp->Seki(f, zero)), "0");
  EXPECT_EQ(printed(lisp->Seki(half, zero)), "0");
  EXPECT_EQ(printed(lisp->Seki(lisp->NumberToCell(0.0L), two)), "0.0");
  EXPECT_EQ(printed(lisp->Sho(lisp->IntToCell(6), lisp->IntToCell(-4))), "-3/2");
  EXPECT_EQ(printed(lisp->Sho(zero, lisp->NumberToCell(2.0L))), "0");
  EXPECT_EQ(printed(lisp->Sho(two, half)), "4");
}

TEST_F(Kernels, DivisionByZeroAndNonNumbersAreReported) {
  ::testing::internal::CaptureStdout();
  EXPECT_EQ(lisp->Sho(lisp->IntToCell(5), lisp->IntToCell(0)), nullptr);
  EXPECT_EQ(lisp->Sho(lisp->NumberToCell(1.5L), lisp->NumberToCell(-0.0L)), nullptr);
  EXPECT_EQ(lisp->Wa(lisp->IntToCell(5), QUOTE), nullptr);
  EXPECT_EQ(lisp->Sho(lisp->IntToCell(5), QUOTE), nullptr);
  EXPECT_EQ(::testing::internal::GetCapturedStdout(),
            "エラー: 0で除算しました。\nエラー: 0で除算しました。\n"
            "エラー: それは数値ではありません。\nエラー: それは数値ではありません。\n");
}

TEST_F(Kernels, IntegerArithmeticWraps) {
  EXPECT_EQ(printed(lisp->Wa(lisp->IntToCell(LONG_MAX), lisp->IntToCell(1))),
            "-9223372036854775808");
  EXPECT_EQ(printed(lisp->Sho(lisp->IntToCell(LONG_MIN), lisp->IntToCell(-1))),
            "-9223372036854775808");
}

TEST_F(Kernels, ADenominatorThatWrapsToZeroIsADivisionByZero) {
  _cell* tiny = lisp->BunsuToCell(1, 4294967296L);
  ::testing::internal::CaptureStdout();
  EXPECT_EQ(lisp->Seki(tiny, tiny), nullptr);
  EXPECT_EQ(::testing::internal::GetCapturedStdout(), "エラー: 0で除算しました。\n");
}
