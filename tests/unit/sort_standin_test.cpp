// SORT's stand-in against its definition: from the same start, (SORT list #'<) must leave the
// same cells and integers taken (garbage included: the same marks over the stretch the cursors
// swept), the same free counters, and the answer's conses in the very places the definition
// puts them.
#include <random>
#include <sstream>
#include <vector>

#include "eval/fastpaths.h"
#include "fixture.h"

namespace {
struct Outcome {
  long cells, ints, freeCells, freeInts;
  std::vector<long> places;  // of the answer's conses, from the cursor at the start; -1: the first
  std::vector<long> values;
  std::vector<uint64_t> cellMarks, intMarks;
  bool operator==(const Outcome& o) const {
    return cells == o.cells && ints == o.ints && freeCells == o.freeCells &&
           freeInts == o.freeInts && places == o.places && values == o.values &&
           cellMarks == o.cellMarks && intMarks == o.intMarks;
  }
};

std::ostream& operator<<(std::ostream& out, const Outcome& o) {
  out << "cells " << o.cells << " ints " << o.ints << " places";
  for (long p : o.places) out << ' ' << p;
  return out;
}

class SortStandIn : public PreludeSession {
 protected:
  std::vector<uint64_t> words(const MarkBits& bits, long from, long to) {
    return std::vector<uint64_t>(bits.words + (from >> 6), bits.words + (to >> 6) + 1);
  }

  // Sorts a new list of these elements, with the shortcuts on or off, in a fresh session.
  Outcome sortOnce(const std::string& elements, bool shortcuts) {
    ::testing::internal::CaptureStdout();
    lisp->RestartSession();
    evaluate("(setq lst0 (list " + elements + "))");
    _cell* first = evaluate("lst0");
    long c0 = lisp->cellCursor, i0 = lisp->intCursor;
    long f0 = lisp->freeCells, fi0 = lisp->freeInts;
    fastPathsOn = shortcuts;
    _cell* r = evaluate("(sort lst0 #'<)");
    fastPathsOn = true;
    ::testing::internal::GetCapturedStdout();
    Outcome o{lisp->cellCursor - c0,
              lisp->intCursor - i0,
              f0 - lisp->freeCells,
              fi0 - lisp->freeInts,
              {},
              {},
              {},
              {}};
    for (_cell* p = r; consp(p); p = p->cdr) {
      o.places.push_back(p == first ? -1 : (p - lisp->cellBase) - c0);
      o.values.push_back(ival(p->car));
    }
    o.cellMarks = words(lisp->cellBits, c0, lisp->cellCursor);
    o.intMarks = words(lisp->intBits, i0, lisp->intCursor);
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
