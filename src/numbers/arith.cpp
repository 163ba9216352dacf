// The numeric tower: integers wrap at 64 bits, fractions stay reduced, floats are long double.
#include "eval/cfunction.h"
#include "top/keywords.h"

namespace {
const char kNotNumber[] = "エラー: それは数値ではありません。";
const char kDivideByZero[] = "エラー: 0で除算しました。";

long double toFloat(const _cell* c) {
  switch (c->type) {
    case 'i':
      return static_cast<long double>(ival(c));
    case 'b':
      return static_cast<long double>(bunshi(c)) / static_cast<long double>(bunbo(c));
    default:
      return nval(c);
  }
}
// Integers seen as fractions over 1.
long numOf(const _cell* c) {
  return c->type == 'b' ? bunshi(c) : ival(c);
}
long denOf(const _cell* c) {
  return c->type == 'b' ? bunbo(c) : 1;
}
}  // namespace

_cell* cfunction::exactResult(long num, long den) {
  long n, d;
  yakubun(num, den, &n, &d);
  if (d == 0) {
    std::puts(kDivideByZero);  // a denominator that wrapped round to zero
    return nullptr;
  }
  return d == 1 ? IntToCell(n) : BunsuToCell(n, d);
}

_cell* cfunction::Wa(_cell* x, _cell* y) {
  if (!isNumberCell(x) || !isNumberCell(y)) {
    std::puts(kNotNumber);
    return nullptr;
  }
  if (x->type == 'n' || y->type == 'n') return NumberToCell(toFloat(x) + toFloat(y));
  if (x->type == 'i' && y->type == 'i') return IntToCell(wadd(ival(x), ival(y)));
  long n, d;
  WaWithTsubun(numOf(x), denOf(x), numOf(y), denOf(y), &n, &d);
  return exactResult(n, d);
}

_cell* cfunction::Sa(_cell* x, _cell* y) {
  if (!isNumberCell(x) || !isNumberCell(y)) {
    std::puts(kNotNumber);
    return nullptr;
  }
  if (x->type == 'n' || y->type == 'n') return NumberToCell(toFloat(x) - toFloat(y));
  if (x->type == 'i' && y->type == 'i') return IntToCell(wsub(ival(x), ival(y)));
  long n, d;
  WaWithTsubun(numOf(x), denOf(x), wneg(numOf(y)), denOf(y), &n, &d);
  return exactResult(n, d);
}

_cell* cfunction::Seki(_cell* x, _cell* y) {
  if (!isNumberCell(x) || !isNumberCell(y)) {
    std::puts(kNotNumber);
    return nullptr;
  }
  // An exact integer zero makes the product the integer 0, even against a float.
  if ((x->type == 'i' && ival(x) == 0 && y->type != 'i') ||
      (y->type == 'i' && ival(y) == 0 && x->type != 'i')) {
    return IntToCell(0);
  }
  if (x->type == 'n' || y->type == 'n') return NumberToCell(toFloat(x) * toFloat(y));
  if (x->type == 'i' && y->type == 'i') return IntToCell(wmul(ival(x), ival(y)));
  return exactResult(wmul(numOf(x), numOf(y)), wmul(denOf(x), denOf(y)));
}

_cell* cfunction::Sho(_cell* x, _cell* y) {
  // The divisor tests come first: integer 0, or a float equal to 0.0 (so -0.0 but no NaN).
  if ((y->type == 'i' && ival(y) == 0) || (y->type == 'n' && nval(y) == 0.0L)) {
    if (isNumberCell(x)) {
      std::puts(kDivideByZero);
      return nullptr;
    }
  }
  if (!isNumberCell(x) || !isNumberCell(y)) {
    std::puts(kNotNumber);
    return nullptr;
  }
  if (x->type == 'i' && ival(x) == 0) return IntToCell(0);
  if (x->type == 'n' || y->type == 'n') return NumberToCell(toFloat(x) / toFloat(y));
  return exactResult(wmul(numOf(x), denOf(y)), wmul(denOf(x), numOf(y)));
}

template <cfunction::Kernel kernel>
_cell* cfunction::accumulate(_cell* acc, _cell* args, _symval* frame, long count, long mark) {
  for (_cell* p = args; consp(p); p = p->cdr) {
    _cell* v = evalArith(acc, p, frame, count, mark);
    if (!v) return nullptr;
    acc = (this->*kernel)(acc, v);
    if (!acc) {
      errorlisp(frame, count);
      return nullptr;
    }
  }
  return acc;
}

// The accumulator of + and * starts as a fresh integer cell.
_cell* cfunction::plus(_cell* args, _symval* frame, long count, long mark) {
  return accumulate<&cfunction::Wa>(IntToCell(0), args, frame, count, mark);
}

_cell* cfunction::times(_cell* args, _symval* frame, long count, long mark) {
  return accumulate<&cfunction::Seki>(IntToCell(1), args, frame, count, mark);
}

_cell* cfunction::minus(_cell* args, _symval* frame, long count, long mark) {
  return subtractOrDivide(args, frame, count, mark, false);
}

_cell* cfunction::divide(_cell* args, _symval* frame, long count, long mark) {
  return subtractOrDivide(args, frame, count, mark, true);
}

_cell* cfunction::subtractOrDivide(_cell* args, _symval* frame, long count, long mark,
                                   bool dividing) {
  if (!consp(args)) return fail("エラー: 引数が足りません", frame, count);
  _cell* first = evalArith(nullptr, args, frame, count, mark);
  if (!first) return nullptr;
  if (!isNumberCell(first)) return fail("エラー: 数値ではありません", frame, count);
  // With one argument its value is the result: there is no negation and no reciprocal.
  return dividing ? accumulate<&cfunction::Sho>(first, args->cdr, frame, count, mark)
                  : accumulate<&cfunction::Sa>(first, args->cdr, frame, count, mark);
}

_cell* cfunction::evalArith(_cell* acc, _cell* rest, _symval* frame, long count, long mark) {
  CellFrame cells(*this);
  if (acc) cells.protect(acc);
  cells.protect(rest);
  _cell* v = eval(rest->car, frame, count, mark);
  cells.release();
  return v;
}

_cell* cfunction::OnePlus(_cell* form, _symval* frame, long count, long mark) {
  return addOne(form, frame, count, mark, 1);
}

_cell* cfunction::OneMinus(_cell* form, _symval* frame, long count, long mark) {
  return addOne(form, frame, count, mark, -1);
}

_cell* cfunction::addOne(_cell* form, _symval* frame, long count, long mark, long delta) {
  _cell* v = eval(form, frame, count, mark);
  if (!v) return nullptr;
  switch (v->type) {
    case 'i':
      return IntToCell(wadd(ival(v), delta));
    case 'n':
      return NumberToCell(nval(v) + static_cast<long double>(delta));
    case 'b': {
      long n, d;
      WaWithTsubun(delta, 1, bunshi(v), bunbo(v), &n, &d);
      _cell* r = exactResult(n, d);
      if (!r) errorlisp(frame, count);
      return r;
    }
    default:
      return fail("エラー: 対象が数値ではありません。", frame, count);
  }
}

_cell* cfunction::minusp(_cell* value) {
  if (!value) return nullptr;
  switch (value->type) {
    case 'i':
      return ival(value) < 0 ? TCell : NILCell;
    case 'n':
      return nval(value) < 0.0L ? TCell : NILCell;
    case 'b':
      return bunshi(value) < 0 ? TCell : NILCell;
    default:
      std::puts("エラー: 数値ではありません");
      return nullptr;
  }
}

_cell* cfunction::numberEqual(_cell* x, _cell* y) {
  if (!isNumberCell(x) || !isNumberCell(y)) return nullptr;
  if (x->type == 'i' && y->type == 'i') return ival(x) == ival(y) ? TCell : NILCell;
  if (x->type == 'b' && y->type == 'b') {
    return bunshi(x) == bunshi(y) && bunbo(x) == bunbo(y) ? TCell : NILCell;
  }
  if (x->type != 'n' && y->type != 'n') return NILCell;  // a fraction is never an integer
  long double a = toFloat(x), b = toFloat(y);
  if (a != a || b != b) return NILCell;
  return (a < b || a > b) ? NILCell : TCell;
}
