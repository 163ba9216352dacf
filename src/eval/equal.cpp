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
