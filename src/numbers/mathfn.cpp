// Mathematical functions: exact where the result is representable, long double otherwise
// (double precision for the integer arguments of EXP, LOG, SIN, COS, TAN and SQRT).
#include <climits>
#include <cmath>
#include <math.h>

#include "eval/cfunction.h"
#include "top/keywords.h"

namespace {
const char kExponentNotNumber[] = "エラー: 指数部は数値でなければなりません";
const char kNegativeSqrt[] = "エラー: 負数は平方根はとれません";
const char kNeedPositive[] = "エラー: 正数が必要です";

long double fractionValue(const _cell* c) {
  return static_cast<long double>(bunshi(c)) / static_cast<long double>(bunbo(c));
}

// A floating value truncated to 64 bits; outside the range (and for NaN) the result is the
// most negative integer, as the processor's own conversion gives.
long truncToLong(long double v) {
  if (!(v > -9223372036854775808.0L - 1.0L && v < 9223372036854775808.0L)) return LONG_MIN;
  return static_cast<long>(v);
}

// b to the power e with 64-bit wrap-around, as repeated multiplication would give.
uint64_t wrapPow(uint64_t b, uint64_t e) {
  uint64_t r = 1;
  while (e) {
    if (e & 1) r *= b;
    b *= b;
    e >>= 1;
  }
  return r;
}

// The exact q-th root of b among floor and ceil of approx, or -1.
long exactRoot(long b, long q, long double approx) {
  long lo = truncToLong(std::floor(approx));
  long hi = truncToLong(std::ceil(approx));
  uint64_t uq = static_cast<uint64_t>(q);
  if (static_cast<long>(wrapPow(static_cast<uint64_t>(lo), uq)) == b) return lo;
  if (static_cast<long>(wrapPow(static_cast<uint64_t>(hi), uq)) == b) return hi;
  return -1;
}

// The exact square root of v by the double-precision estimate, or -1; *s gets the estimate.
long exactSqrt(long v, double* s) {
  *s = std::sqrt(static_cast<double>(v));
  long lo = static_cast<long>(std::floor(*s));
  long hi = static_cast<long>(std::ceil(*s));
  if (wmul(lo, lo) == v) return lo;
  if (wmul(hi, hi) == v) return hi;
  return -1;
}
}  // namespace

int cmemory::isPlus(const _cell* c) {
  switch (c->type) {
    case 'i':
      return ival(c) >= 0;
    case 'b':
      return bunshi(c) >= 0;
    case 'n':
      return !(nval(c) < 0.0L);  // NaN counts as not negative
    default:
      return 0;
  }
}

int cmemory::isPlusExceptZero(const _cell* c) {
  switch (c->type) {
    case 'i':
      return ival(c) >= 1;
    case 'b':
      return bunshi(c) >= 1;
    case 'n':
      return nval(c) > 0.0L;
    default:
      return 0;
  }
}

int cmemory::isInRange(const _cell* c) {
  long double v;
  switch (c->type) {
    case 'i':
      return ival(c) >= -1 && ival(c) <= 1;
    case 'b':
      v = fractionValue(c);
      break;
    case 'n':
      v = nval(c);
      break;
    default:
      return 0;
  }
  return v >= -1.0L && v <= 1.0L;
}

_cell* cmemory::jAbs(const _cell* c) {
  switch (c->type) {
    case 'i':
      return IntToCell(wneg(ival(c)));
    case 'n':
      return NumberToCell(-nval(c));
    case 'b':
      return BunsuToCell(wneg(bunshi(c)), bunbo(c));  // not reduced again
    default:
      std::puts(kExponentNotNumber);
      return nullptr;
  }
}

namespace {
// a := b^e by repeated multiplication, refused as soon as a reaches LONG_MAX / b (a test
// made before each multiplication and deliberately conservative). False on overflow.
bool powWithLimit(long b, long e, long* out) {
  long limit = b == 0 ? LONG_MAX : LONG_MAX / b;
  long a = 1;
  if (b == 0 || b == 1) {
    // The loop would keep a at 0 or 1: its result without running it e times.
    *out = e <= 0 ? 1 : b;
    return true;
  }
  for (long i = 0; i < e; i++) {
    if (a >= limit) return false;
    a = wmul(a, b);
  }
  *out = a;
  return true;
}
}  // namespace

_cell* cmemory::ijExpt(long b, _cell* e) {
  const char kOverflow[] = "エラー: 整数値がオーバーフローしました";
  long a;
  switch (e->type) {
    case 'i':
      if (!powWithLimit(b, ival(e), &a)) break;
      return IntToCell(a);
    case 'n':
      return NumberToCell(std::pow(static_cast<long double>(b), nval(e)));
    case 'b': {
      long p = bunshi(e), q = bunbo(e);
      long root = exactRoot(b, q, std::pow(static_cast<long double>(b), 1.0L / q));
      if (root < 0) {
        return NumberToCell(std::pow(static_cast<long double>(b),
                                     static_cast<long double>(p) / static_cast<long double>(q)));
      }
      if (!powWithLimit(root, p, &a)) break;
      return IntToCell(a);
    }
    default:
      std::puts(kExponentNotNumber);
      return nullptr;
  }
  std::puts(kOverflow);
  return nullptr;
}

_cell* cmemory::bjExpt(long num, long den, _cell* e) {
  long double ratio = static_cast<long double>(num) / static_cast<long double>(den);
  switch (e->type) {
    case 'i': {
      long n, d;
      if (!powWithLimit(num, ival(e), &n)) {
        std::puts("エラー: 分子がオーバーフローしました");
        return nullptr;
      }
      if (!powWithLimit(den, ival(e), &d)) {
        std::puts("エラー: 分母がオーバーフローしました");
        return nullptr;
      }
      if (d == 0) {
        std::puts("エラー: 分母が０です");
        return nullptr;
      }
      return BunsuToCell(n, d);  // neither reduced nor collapsed: 2/3 to the 0 is 1/1
    }
    case 'n':
      return NumberToCell(std::pow(ratio, nval(e)));
    case 'b': {
      long p = bunshi(e), q = bunbo(e);
      long double inv = static_cast<long double>(1.0 / static_cast<double>(q));
      long rn = exactRoot(num, q, std::pow(static_cast<long double>(num), inv));
      long rd = exactRoot(den, q, std::pow(static_cast<long double>(den), inv));
      if (rn >= 0 && rd >= 0) {
        uint64_t up = static_cast<uint64_t>(p);
        return BunsuToCell(static_cast<long>(wrapPow(static_cast<uint64_t>(rn), up)),
                           static_cast<long>(wrapPow(static_cast<uint64_t>(rd), up)));
      }
      return NumberToCell(
          std::pow(ratio, static_cast<long double>(p) / static_cast<long double>(q)));
    }
    default:
      std::puts(kExponentNotNumber);
      return nullptr;
  }
}

_cell* cmemory::njExpt(long double x, _cell* e) {
  switch (e->type) {
    case 'i':
      return NumberToCell(std::pow(x, static_cast<long double>(ival(e))));
    case 'n':
      return NumberToCell(std::pow(x, nval(e)));
    case 'b':
      return NumberToCell(std::pow(x, fractionValue(e)));
    default:
      std::puts(kExponentNotNumber);
      return nullptr;
  }
}

_cell* cfunction::jSqrt(_cell* form, _symval* frame, long count, long mark) {
  _cell* v = eval(form, frame, count, mark);
  if (!v) return nullptr;
  double s;
  switch (v->type) {
    case 'n':
      if (nval(v) < 0.0L) break;  // -0.0 is not negative: its root is -0.0
      return NumberToCell(static_cast<long double>(std::sqrt(static_cast<double>(nval(v)))));
    case 'i': {
      if (ival(v) < 0) break;
      long r = exactSqrt(ival(v), &s);
      return r >= 0 ? IntToCell(r) : NumberToCell(static_cast<long double>(s));
    }
    case 'b': {
      if (bunshi(v) < 0) break;
      long r = exactSqrt(bunshi(v), &s);
      if (r < 0) return NumberToCell(std::sqrt(fractionValue(v)));
      if (r == 0) return IntToCell(0);
      if (bunbo(v) < 1) break;
      long t = exactSqrt(bunbo(v), &s);
      if (t >= 0) return BunsuToCell(r, t);
      return NumberToCell(static_cast<long double>(r) / static_cast<long double>(s));
    }
    default:
      return fail("エラー: 数値以外の平方根はとれません", frame, count);
  }
  return fail(kNegativeSqrt, frame, count);
}

_cell* cfunction::jExpt(_cell* base, _cell* power, _symval* frame, long count, long mark) {
  CellFrame cells(*this);
  _cell* b = eval(base, frame, count, mark);
  if (!b) {
    cells.release();
    return nullptr;
  }
  cells.protect(b);
  _cell* e = eval(power, frame, count, mark);
  cells.release();
  if (!e) return nullptr;
  // Negative bases are refused, deliberately.
  if (!isPlus(b)) return fail(kNeedPositive, frame, count);
  switch (b->type) {
    case 'i':
      if (isPlus(e)) return ijExpt(ival(b), e);
      if (_cell* a = jAbs(e)) return bjExpt(1, ival(b), a);
      return nullptr;
    case 'n':
      return njExpt(nval(b), e);
    case 'b':
      if (isPlus(e)) return bjExpt(bunshi(b), bunbo(b), e);
      if (_cell* a = jAbs(e)) {
        // The reciprocal raised to the absolute value of the exponent.
        return bunshi(b) == 1 ? ijExpt(bunbo(b), a) : bjExpt(bunbo(b), bunshi(b), a);
      }
      return nullptr;
    default:
      return fail("エラー: 数値のべき乗ではありません", frame, count);
  }
}

// EXP, LOG, SIN, COS, TAN, ASIN, ACOS and ATAN share one shape.
struct cfunction::Transcendental {
  enum Guard { kNumber, kPositive, kUnitRange };
  long exactArg;        // the integer argument with an exact result...
  long exactResult;     // ...and that result
  bool integersDouble;  // other integers in double precision (else long double)
  double (*dfn)(double);
  long double (*lfn)(long double);
  Guard guard;
  const char* message;
};

_cell* cfunction::transcendental(const Transcendental& f, _cell* form, _symval* frame, long count,
                                 long mark) {
  _cell* v = eval(form, frame, count, mark);
  if (!v) return nullptr;
  bool ok = f.guard == Transcendental::kNumber     ? isNumberCell(v)
            : f.guard == Transcendental::kPositive ? isPlusExceptZero(v) != 0
                                                   : isInRange(v) != 0;
  if (!ok) return fail(f.message, frame, count);
  switch (v->type) {
    case 'i':
      if (ival(v) == f.exactArg) return IntToCell(f.exactResult);
      if (f.integersDouble) {
        return NumberToCell(static_cast<long double>(f.dfn(static_cast<double>(ival(v)))));
      }
      return NumberToCell(f.lfn(static_cast<long double>(ival(v))));
    case 'n':
      return NumberToCell(f.lfn(nval(v)));
    default:
      return NumberToCell(f.lfn(fractionValue(v)));
  }
}

namespace {
using Fn = cfunction::Transcendental;
const Fn kExp{0, 1, true, ::exp, ::expl, Fn::kNumber, "エラー: EXP 数値の引数が必要です"};
const Fn kLog{1, 0, true, ::log, ::logl, Fn::kPositive, kNeedPositive};
const Fn kSin{0, 0, true, ::sin, ::sinl, Fn::kNumber, "エラー: SIN 数値の引数が必要です"};
const Fn kCos{0, 1, true, ::cos, ::cosl, Fn::kNumber, "エラー: COS 数値の引数が必要です"};
const Fn kTan{0, 0, true, ::tan, ::tanl, Fn::kNumber, "エラー: TAN 数値の引数が必要です"};
const Fn kAsin{0, 0, false, ::asin, ::asinl, Fn::kUnitRange, "エラー: 範囲外です"};
const Fn kAcos{1, 0, false, ::acos, ::acosl, Fn::kUnitRange, "エラー: 範囲外です"};
const Fn kAtan{0, 0, false, ::atan, ::atanl, Fn::kNumber, "エラー: 数値ではありません"};
}  // namespace

_cell* cfunction::jExp(_cell* f, _symval* fr, long c, long m) {
  return transcendental(kExp, f, fr, c, m);
}
_cell* cfunction::jLog(_cell* f, _symval* fr, long c, long m) {
  return transcendental(kLog, f, fr, c, m);
}
_cell* cfunction::jSin(_cell* f, _symval* fr, long c, long m) {
  return transcendental(kSin, f, fr, c, m);
}
_cell* cfunction::jCos(_cell* f, _symval* fr, long c, long m) {
  return transcendental(kCos, f, fr, c, m);
}
_cell* cfunction::jTan(_cell* f, _symval* fr, long c, long m) {
  return transcendental(kTan, f, fr, c, m);
}
_cell* cfunction::jAsin(_cell* f, _symval* fr, long c, long m) {
  return transcendental(kAsin, f, fr, c, m);
}
_cell* cfunction::jAcos(_cell* f, _symval* fr, long c, long m) {
  return transcendental(kAcos, f, fr, c, m);
}
_cell* cfunction::jAtan(_cell* f, _symval* fr, long c, long m) {
  return transcendental(kAtan, f, fr, c, m);
}

_cell* cfunction::jEvenp(_cell* form, _symval* frame, long count, long mark) {
  _cell* v = eval(form, frame, count, mark);
  if (!v) return nullptr;
  if (v->type != 'i') return fail("エラー: 整数ではありません", frame, count);
  long r = ival(v) % 2;
  return (r != 1 && r != -1) ? TCell : NILCell;
}

_cell* cfunction::tfloor(_cell* form, _symval* frame, long count, long mark) {
  _cell* v = eval(form, frame, count, mark);
  if (!v) return nullptr;
  if (!isNumberCell(v)) return fail("エラー: 数値ではありません", frame, count);
  _cell* q = floorValues(v);
  if (!q) errorlisp(frame, count);
  return q;
}

_cell* cfunction::floorValues(_cell* v) {
  _cell *q, *r;
  switch (v->type) {
    case 'i':
      q = IntToCell(ival(v));
      r = IntToCell(0);
      break;
    case 'n':
      q = IntToCell(truncToLong(std::floor(static_cast<double>(nval(v)))));
      r = NumberToCell(nval(v) - static_cast<long double>(ival(q)));
      break;
    default:  // a fraction
      q = IntToCell(
          truncToLong(std::floor(static_cast<double>(bunshi(v)) / static_cast<double>(bunbo(v)))));
      r = Sa(v, q);
      if (!r) return nullptr;
      break;
  }
  touchCell(q);
  notePutValues(q);
  q->values = list2(q, r);
  return q;
}
