// RANDOM on the xorshift generator, and time as (hours since the epoch . seconds in the hour).
#include <climits>
#include <cstdint>
#include <ctime>

#include "eval/cfunction.h"
#include "top/keywords.h"

namespace {
// 2^64 / 10, truncated: the largest value of r / 10.
constexpr long double kRandomScale = 1844674407370955161.0L;

long toLongTruncated(long double v) {
  if (!(v > -9223372036854775809.0L && v < 9223372036854775808.0L)) return LONG_MIN;
  return static_cast<long>(v);
}
}  // namespace

_cell* cfunction::Random(_cell* form, _symval* frame, long count, long mark) {
  _cell* v = eval(form, frame, count, mark);
  if (!v) return nullptr;
  const char kNegative[] = "エラー: 負数は指定できません";
  switch (v->type) {
    case 'i': {
      if (ival(v) < 0) return fail(kNegative, frame, count);
      long double q = static_cast<long double>(XorShift() / 10);
      return IntToCell(toLongTruncated(q * (static_cast<long double>(ival(v)) / kRandomScale)));
    }
    case 'n': {
      if (nval(v) < 0.0L) return fail(kNegative, frame, count);
      long double q = static_cast<long double>(XorShift() / 10);
      return NumberToCell(q * (nval(v) / kRandomScale));
    }
    default:
      std::puts("エラー: 数値ではありません");
      return nullptr;
  }
}

// The time pair of t: a dotted pair of two integers.
_cell* cmemory::timePair(long t) {
  _cell* h = IntToCell(t / 3600);
  _cell* s = IntToCell(t % 3600);
  _cell* pair = getCell();
  pair->car = h;
  pair->cdr = s;
  return pair;
}

_cell* cmemory::now() {
  return timePair(static_cast<long>(std::time(nullptr)));
}

_cell* cfunction::LocalTime(_cell* form, _symval* frame, long count, long mark) {
  const char kBad[] = "エラー: LOCAL-TIMEの引数にエラーがあります。";
  _cell* v = eval(form, frame, count, mark);
  if (!v || !consp(v) || v->car->type != 'i' || v->cdr->type != 'i')
    return fail(kBad, frame, count);
  time_t t = static_cast<time_t>(wadd(ival(v->cdr), wmul(ival(v->car), 3600)));
  struct tm tmv;
  if (!localtime_r(&t, &tmv)) return fail(kBad, frame, count);
  // (second minute hour day month year . weekday)
  const long fields[] = {tmv.tm_sec,  tmv.tm_min,     tmv.tm_hour,
                         tmv.tm_mday, tmv.tm_mon + 1, static_cast<long>(tmv.tm_year) + 1900};
  _cell* list = IntToCell(tmv.tm_wday);
  for (int i = 5; i >= 0; i--) {
    _cell* c = getCell();
    c->cdr = list;
    c->car = IntToCell(fields[i]);
    list = c;
  }
  return list;
}

_cell* cfunction::MakeTime(_cell* form, _symval* frame, long count, long mark) {
  const char kBad[] = "エラー: MAKE-TIMEの引数にエラーがあります。";
  _cell* v = eval(form, frame, count, mark);
  if (!v) return fail(kBad, frame, count);
  int32_t f[6];
  _cell* p = v;
  for (int i = 0; i < 6; i++, p = p->cdr) {
    if (!consp(p) || p->car->type != 'i') return fail(kBad, frame, count);
    f[i] = static_cast<int32_t>(static_cast<uint32_t>(ival(p->car)));  // two's-complement
  }
  struct tm tmv = {};
  tmv.tm_sec = f[0];
  tmv.tm_min = f[1];
  tmv.tm_hour = f[2];
  tmv.tm_mday = f[3];
  tmv.tm_mon = static_cast<int32_t>(static_cast<uint32_t>(f[4]) - 1u);
  tmv.tm_year = static_cast<int32_t>(static_cast<uint32_t>(f[5]) - 1900u);
  tmv.tm_isdst = -1;
  time_t t = std::mktime(&tmv);
  if (t == static_cast<time_t>(-1)) return fail(kBad, frame, count);
  return timePair(static_cast<long>(t));
}
