// EQL and EQUAL on values already evaluated. EQUAL gives the prelude's answer on every finite
// structure without the interpreter's recursion, and also ends on structures tied into knots.
#include <unordered_set>
#include <utility>
#include <vector>

#include "eval/cfunction.h"

namespace {
using CellPair = std::pair<const _cell*, const _cell*>;

struct CellPairHash {
  size_t operator()(const CellPair& p) const {
    std::hash<const void*> h;
    return h(p.first) * 31 + h(p.second);
  }
};

// Pairs of conses opened before any is remembered: a finite structure of this size never
// pays for the set, and a knotted one comes back to a remembered pair soon after.
constexpr long kUnrememberedPairs = 1L << 20;
}  // namespace

bool cfunction::eqlValues(const _cell* a, const _cell* b) {
  if (a == b) return true;
  if (a->type != b->type) return false;
  switch (a->type) {
    case 'i':
      return ival(a) == ival(b);
    case 'n':
      return nval(a) == nval(b);
    case 'b':
      return bunshi(a) == bunshi(b) && bunbo(a) == bunbo(b);
    case 'm':
      return chval(a) == chval(b) && ch2val(a) == ch2val(b);
    default:
      return false;
  }
}

bool cfunction::sameAtom(_cell* a, _cell* b) {
  return eqlValues(a, b) || (isString(a) && isString(b) && StringEqual(a, b) == TCell);
}

bool cfunction::equalValues(_cell* x, _cell* y) {
  // Two conses are equal unless a difference shows below them. A pair of conses met again
  // adds nothing new, so remembering the opened pairs ends the walk on any structure; when no
  // difference is found the two structures unfold alike for ever.
  std::vector<std::pair<_cell*, _cell*>> work{{x, y}};
  std::unordered_set<CellPair, CellPairHash> opened;
  long pairs = 0;
  while (!work.empty()) {
    auto [a, b] = work.back();
    work.pop_back();
    for (;;) {  // along the cdrs; the cars that are conses wait on the work list
      if (!consp(a)) {
        if (!sameAtom(a, b)) return false;
        break;
      }
      if (!consp(b)) return false;
      if (++pairs > kUnrememberedPairs && !opened.insert({a, b}).second) break;
      if (consp(a->car)) {
        work.emplace_back(a->car, b->car);
      } else if (!sameAtom(a->car, b->car)) {
        return false;
      }
      a = a->cdr;
      b = b->cdr;
    }
  }
  return true;
}

namespace {
// Pairs walked the way the prelude's EQUAL walks them before the walk hands over to
// equalValues: the definition itself would have run out of stack long before.
constexpr long kDefinedWalkPairs = 1L << 20;
}  // namespace

// The prelude's EQUAL, step by step as it evaluates: (ATOM X), EQL, STRINGP and STRING-EQUAL
// give T or NIL, and (CAR X), (CAR Y), (CDR X), (CDR Y) give the elements; every such result
// has its multiple values cleared, as evaluating a form clears them. The cars are compared
// first, then the cdrs, and the first difference ends the walk, so exactly the cells the
// definition would touch are touched.
bool cfunction::equalAsDefined(_cell* x, _cell* y) {
  _cell* const rootX = x;
  _cell* const rootY = y;
  auto clear = [this](_cell* c) {
    if (c->values) {
      touchCell(c);
      c->values = nullptr;
    }
  };
  auto answer = [&](bool b) {
    clear(b ? TCell : NILCell);
    return b;
  };
  equalPath.clear();  // conses whose cdrs are still to be compared
  long pairs = 0;
  for (;;) {
    bool r;
    if (!consp(x)) {
      answer(true);  // (ATOM X)
      r = answer(eqlValues(x, y));
      if (!r && answer(isString(x)) && answer(isString(y))) r = answer(StringEqual(x, y) == TCell);
    } else {
      answer(false);            // (ATOM X)
      if (answer(!consp(y))) {  // (ATOM Y)
        r = false;
      } else {
        if (++pairs > kDefinedWalkPairs) return equalValues(rootX, rootY);
        clear(x->car);
        clear(y->car);
        equalPath.emplace_back(x, y);
        x = x->car;
        y = y->car;
        continue;
      }
    }
    // r answers the innermost pending (EQUAL (CAR X) (CAR Y)): equal cars go on to the cdrs,
    // whose answer is the pair's own; a difference answers every pair up the path.
    if (!r) return false;
    if (equalPath.empty()) return true;
    auto [px, py] = equalPath.back();
    equalPath.pop_back();
    clear(px->cdr);
    clear(py->cdr);
    x = px->cdr;
    y = py->cdr;
  }
}
