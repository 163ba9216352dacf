// Counting the distinct conses of a cdr chain, with and without a cycle.
#include "fixture.h"
#include "printer/chainspan.h"

namespace {
// A chain of n conses; when loopTo is not negative, the last cdr goes back to that cons.
std::vector<_cell*> chain(clisp& lisp, int n, int loopTo) {
  std::vector<_cell*> c;
  for (int i = 0; i < n; i++) c.push_back(lisp.getCell());
  for (int i = 0; i + 1 < n; i++) c[i]->cdr = c[i + 1];
  if (loopTo >= 0) c[n - 1]->cdr = c[loopTo];
  return c;
}
}  // namespace

using ChainSpan = Interp;

TEST_F(ChainSpan, AnAtomHasNoConses) {
  EXPECT_EQ(distinctConses(NILCell), 0);
  EXPECT_EQ(distinctConses(TCell), 0);
}

TEST_F(ChainSpan, AChainEndingInAnAtomCountsEveryCons) {
  for (int n = 1; n <= 40; n++) EXPECT_EQ(distinctConses(chain(*lisp, n, -1)[0]), n) << n;
}

TEST_F(ChainSpan, ACycleCountsTheConsesBeforeTheFirstRepetition) {
  for (int n = 1; n <= 40; n++) {
    for (int loopTo = 0; loopTo < n; loopTo++) {
      EXPECT_EQ(distinctConses(chain(*lisp, n, loopTo)[0]), n) << n << " " << loopTo;
    }
  }
}

TEST_F(ChainSpan, StartingInsideTheCycleCountsTheCycle) {
  std::vector<_cell*> c = chain(*lisp, 10, 3);
  EXPECT_EQ(distinctConses(c[5]), 7);
}
