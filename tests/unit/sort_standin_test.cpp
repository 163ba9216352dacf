// SORT's stand-in against its definition: from the same start, (SORT list #'<) must take as
// many cells and integers (garbage included) and answer with the same structure: each cons
// of the answer the same cons of the argument list as the definition's, or a new one where
// the definition's is new.
#include <algorithm>
#include <random>
#include <sstream>
#include <vector>

#include "eval/fastpaths.h"
#include "fixture.h"

namespace {
struct Outcome {
  long cells, freeCells, freeInts;
  std::vector<long> places;  // of the answer's conses in the argument list; -1: a new cons
  std::vector<long> values;
  bool operator==(const Outcome& o) const {
    return cells == o.cells && freeCells == o.freeCells && freeInts == o.freeInts &&
           places == o.places && values == o.values;
  }
};

std::ostream& operator<<(std::ostream& out, const Outcome& o) {
  out << "cells " << o.cells << " ints " << o.freeInts << " places";
  for (long p : o.places) out << ' ' << p;
  return out;
}

class SortStandIn : public PreludeSession {
 protected:
  // Sorts a new list of these elements, with the shortcuts on or off, in a fresh session.
  Outcome sortOnce(const std::string& elements, bool shortcuts) {
    ::testing::internal::CaptureStdout();
    lisp->RestartSession();
    evaluate("(setq lst0 (list " + elements + "))");
    std::vector<_cell*> argument;
    for (_cell* p = evaluate("lst0"); consp(p); p = p->cdr) argument.push_back(p);
    long t0 = lisp->cellsTaken;
    long f0 = lisp->freeCells, fi0 = lisp->freeInts;
    fastPathsOn = shortcuts;
    _cell* r = evaluate("(sort lst0 #'<)");
    fastPathsOn = true;
    ::testing::internal::GetCapturedStdout();
    Outcome o{lisp->cellsTaken - t0, f0 - lisp->freeCells, fi0 - lisp->freeInts, {}, {}};
    for (_cell* p = r; consp(p); p = p->cdr) {
      auto at = std::find(argument.begin(), argument.end(), p);
      o.places.push_back(at == argument.end() ? -1 : at - argument.begin());
      o.values.push_back(ival(p->car));
    }
    return o;
  }
};

// Random lists of up to 25 integers, with few or many distinct values, some in order.
TEST_F(SortStandIn, TakesWhatTheDefinitionTakesAndPutsTheAnswerInItsPlaces) {
  std::mt19937 random(7);
  for (int round = 0; round < 120; round++) {
    int n = static_cast<int>(random() % 26);
    long range = round % 3 == 0 ? 3 : (round % 3 == 1 ? 100 : 1000000);
    std::vector<long> v;
    for (int i = 0; i < n; i++) v.push_back(static_cast<long>(random() % range) - range / 3);
    if (round % 10 == 0) std::sort(v.begin(), v.end());
    if (round % 10 == 1) std::sort(v.rbegin(), v.rend());
    std::ostringstream text;
    for (long x : v) text << x << ' ';
    Outcome plain = sortOnce(text.str(), false);
    Outcome fast = sortOnce(text.str(), true);
    EXPECT_EQ(fast, plain) << "(" << text.str() << ")";
  }
}
}  // namespace
