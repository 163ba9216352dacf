// Stand-ins for the prelude's numeric comparisons, ZEROP, NOT, ODDP, LISTP, the character
// comparisons, FIRST, REST, the CAR/CDR compositions and MOD. Each one takes what its
// definition's body takes, in the same order, through the primitives the body reaches or the
// very allocators they call, so that the same cells and elements are in use afterwards; and
// where a built-in form of the body would hand on its value without a values list, so does the
// stand-in (see plain below). The contract is in eval/fastpaths.h.
#include <cstring>

#include "eval/cfunction.h"

namespace {
inline _cell* boolCell(bool b) {
  return b ? TCell : NILCell;
}

// The value of a built-in form, as the evaluator passes it on: without a values list.
_cell* plain(cfunction& m, _cell* r) {
  if (r->values) {
    m.touchCell(r);
    r->values = nullptr;
  }
  return r;
}

// The arithmetic below handles integers and floats; fractions (whose arithmetic may wrap into
// a message) are left to the definitions.
inline bool intOrFloat(const _cell* c) {
  return c->type == 'i' || c->type == 'n';
}

// (= x 0) on a number.
bool isZero(const _cell* x) {
  switch (x->type) {
    case 'i':
      return ival(x) == 0;
    case 'n':
      return nval(x) == 0.0L;  // false for NaN
    default:
      return false;  // a fraction is never an integer
  }
}

// What (- x y) makes of an integer or float x and y (one cell, and one integer or one float
// element, as the subtraction of - takes them), and the two tests the comparisons make of it:
// MINUSP and (= d 0). A NaN is neither.
struct Sign {
  bool negative, zero;
};
Sign difference(cfunction& m, const _cell* x, const _cell* y) {
  if (x->type == 'i' && y->type == 'i') {
    long d = wsub(ival(x), ival(y));
    m.IntToCell(d);
    return {d < 0, d == 0};
  }
  long double a = x->type == 'i' ? static_cast<long double>(ival(x)) : nval(x);
  long double b = y->type == 'i' ? static_cast<long double>(ival(y)) : nval(y);
  long double d = a - b;
  m.NumberToCell(d);
  return {d < 0.0L, d == 0.0L};
}

// A divisor that makes / report a division by zero.
bool zeroDivisor(const _cell* y) {
  return (y->type == 'i' && ival(y) == 0) || (y->type == 'n' && nval(y) == 0.0L);
}

// CHAR< on two characters: the lead bytes decide, as unsigned values.
bool charLess(const _cell* a, const _cell* b) {
  return static_cast<unsigned char>(chval(a)) < static_cast<unsigned char>(chval(b));
}

bool charEqual(const _cell* a, const _cell* b) {
  return chval(a) == chval(b) && ch2val(a) == ch2val(b);
}

// The CAR/CDR compositions, in the order of their StandIn values: the letters between C and
// R (applied from the last to the first), and the composition the definition calls for all
// but the first letter (its definition is (car (cXr x)) or (cdr (cXr x))), or -1.
struct Composition {
  const char* letters;
  int inner;
};
const Composition kCompositions[] = {
    {"AA", -1},  {"AD", -1},  {"DA", -1},  {"DD", -1},  {"AAA", 0},   {"AAD", 1},   {"ADA", 2},
    {"ADD", 3},  {"DAA", 0},  {"DAD", 1},  {"DDA", 2},  {"DDD", 3},   {"AAAA", 4},  {"AAAD", 5},
    {"AADA", 6}, {"AADD", 7}, {"ADAA", 8}, {"ADAD", 9}, {"ADDA", 10}, {"ADDD", 11}, {"DAAA", 4},
    {"DAAD", 5}, {"DADA", 6}, {"DADD", 7}, {"DDAA", 8}, {"DDAD", 9},  {"DDDA", 10}, {"DDDD", 11},
};
static_assert(sizeof(kCompositions) / sizeof(kCompositions[0]) == kStandInCddddr - kStandInCaar + 1,
              "one composition per StandIn value");

// True when every step of the composition meets a cons.
bool composable(_cell* x, const char* letters, size_t k) {
  for (size_t i = k; i-- > 0;) {
    if (!consp(x)) return false;  // CAR and CDR refuse anything but a cons
    x = letters[i] == 'A' ? x->car : x->cdr;
  }
  return true;
}
}  // namespace

_cell* cfunction::runNumberStandIn(unsigned id, _symval* frame, long n) {
  // Every stand-in here takes at most what MOD takes.
  if (!shortcutMayRun(9, 5, 9)) return kDeclined;
  _cell* x = n > 0 ? frame[0].value : nullptr;
  _cell* y = n > 1 ? frame[1].value : nullptr;
  switch (id) {
    case kStandInLess:  // (minusp (- x y))
      if (n != 2 || !intOrFloat(x) || !intOrFloat(y)) return kDeclined;
      return plain(*this, boolCell(difference(*this, x, y).negative));
    case kStandInGreater: {
      // (cond ((minusp (- x y)) nil) ((zerop (- x y)) nil) (t t)): the difference is made
      // again for the second test; NIL and T are read as the variables they are.
      if (n != 2 || !intOrFloat(x) || !intOrFloat(y) || !standing(kStandInZerop)) return kDeclined;
      long nilVar = getSymVal(NILCell), tVar = getSymVal(TCell);
      if (nilVar < 0 || tVar < 0 || gvBase[nilVar].value != NILCell ||
          gvBase[tVar].value != TCell) {
        return kDeclined;
      }
      if (plain(*this, boolCell(difference(*this, x, y).negative)) != NILCell) return NILCell;
      if (plain(*this, boolCell(difference(*this, x, y).zero)) != NILCell) return NILCell;
      return TCell;
    }
    case kStandInLessEqual:  // (or (minusp (- x y)) (zerop (- x y)))
      if (n != 2 || !intOrFloat(x) || !intOrFloat(y) || !standing(kStandInZerop)) return kDeclined;
      if (plain(*this, boolCell(difference(*this, x, y).negative)) != NILCell) return TCell;
      return plain(*this, boolCell(difference(*this, x, y).zero));
    case kStandInGreaterEqual: {  // (not (minusp (- x y)))
      if (n != 2 || !intOrFloat(x) || !intOrFloat(y) || !standing(kStandInNot)) return kDeclined;
      _cell* negative = plain(*this, boolCell(difference(*this, x, y).negative));
      return plain(*this, boolCell(negative == NILCell));
    }
    case kStandInNot:  // (null x)
      if (n != 1) return kDeclined;
      return plain(*this, boolCell(x == NILCell));
    case kStandInZerop:  // (= x 0)
      if (n != 1 || !isNumberCell(x)) return kDeclined;
      return plain(*this, boolCell(isZero(x)));
    case kStandInOddp: {  // (not (evenp n))
      if (n != 1 || x->type != 'i' || !standing(kStandInNot)) return kDeclined;
      long r = ival(x) % 2;
      _cell* even = plain(*this, boolCell(r != 1 && r != -1));
      return plain(*this, boolCell(even == NILCell));
    }
    case kStandInListp:  // (or (null x) (consp x))
      if (n != 1) return kDeclined;
      if (plain(*this, boolCell(x == NILCell)) != NILCell) return TCell;
      return plain(*this, boolCell(consp(x)));
    case kStandInCharEqual:  // (char-equal a b)
      if (n != 2 || x->type != 'm' || y->type != 'm') return kDeclined;
      return plain(*this, boolCell(charEqual(x, y)));
    case kStandInCharNotEqual: {  // (not (char-equal a b))
      if (n != 2 || x->type != 'm' || y->type != 'm' || !standing(kStandInNot)) return kDeclined;
      _cell* same = plain(*this, boolCell(charEqual(x, y)));
      return plain(*this, boolCell(same == NILCell));
    }
    case kStandInCharGreater:  // (char< b a)
      if (n != 2 || x->type != 'm' || y->type != 'm') return kDeclined;
      return plain(*this, boolCell(charLess(y, x)));
    case kStandInCharLessEqual:     // (not (char< b a))
    case kStandInCharGreaterEqual:  // (not (char< a b))
    {
      if (n != 2 || x->type != 'm' || y->type != 'm' || !standing(kStandInNot)) return kDeclined;
      bool less = id == kStandInCharLessEqual ? charLess(y, x) : charLess(x, y);
      _cell* r = plain(*this, boolCell(less));
      return plain(*this, boolCell(r == NILCell));
    }
    case kStandInMod: {  // (let ((n (floor (/ x y)))) (- x (* n y)))
      if (n != 2 || !intOrFloat(x) || !intOrFloat(y) || zeroDivisor(y)) return kDeclined;
      // From integers and floats, / gives an integer, a float or a fraction whose
      // denominator is not 0, so neither FLOOR nor the rest can fail.
      _cell* q = floorValues(Sho(x, y));  // the quotient keeps its values list
      _cell* product = Seki(Seki(IntToCell(1), q), y);
      return Sa(x, product);
    }
    case kStandInFirst:  // (car x)
    case kStandInRest:   // (cdr x)
      if (n != 1 || !consp(x)) return kDeclined;
      return plain(*this, id == kStandInFirst ? x->car : x->cdr);
    default:
      break;
  }
  if (id < kStandInCaar || id > kStandInCddddr || n != 1) return kDeclined;
  int i = static_cast<int>(id - kStandInCaar);
  const char* letters = kCompositions[i].letters;
  size_t k = std::strlen(letters);
  if (!composable(x, letters, k)) return kDeclined;
  for (int j = kCompositions[i].inner; j >= 0; j = kCompositions[j].inner) {
    if (!standing(kStandInCaar + j)) return kDeclined;
  }
  // Each step is a CAR or CDR form of some definition: each value loses its values list.
  for (size_t j = k; j-- > 0;) x = plain(*this, letters[j] == 'A' ? x->car : x->cdr);
  return x;
}
