// Garbage found by a search for free regions is handed out again before the collection that
// will count it free; nothing the program can see changes.
#include <set>
#include <string>

#include "fixture.h"

namespace {
class GarbageReuse : public PreludeSession {
 protected:
  // A search now, however recently the last one ran.
  void search() {
    lisp->searchForced = true;
    lisp->findFreeRegions();
  }
  // The conses of a list and the cells of its elements.
  std::set<const _cell*> cellsOf(const _cell* list) {
    std::set<const _cell*> cells;
    for (const _cell* p = list; consp(p); p = p->cdr) {
      cells.insert(p);
      cells.insert(p->car);
    }
    return cells;
  }
  // The collector's report after the given garbage, with or without a search before it.
  std::string reportAfter(bool withSearch) {
    ::testing::internal::CaptureStdout();
    lisp->RestartSession();
    evaluate("(setq kept (list 10 20 30))");
    evaluate("(dotimes (i 3000) (list i i i))");
    if (withSearch) search();
    evaluate("(dotimes (i 3000) (list i i i))");
    evaluate("(gc)");
    return ::testing::internal::GetCapturedStdout();
  }
};

TEST_F(GarbageReuse, TheCursorsGoBackAndLeaveTheCountersAsTheyAre) {
  evaluate("(setq kept (list 10 20 30))");
  long madeAt = lisp->cellCursor;
  for (int i = 0; i < 100000; i++) lisp->getCell();
  for (int i = 0; i < 1000; i++) lisp->getInt(i);
  long freeCells = lisp->freeCells, freeInts = lisp->freeInts, taken = lisp->cellsTaken;
  long collections = lisp->collections;
  search();
  EXPECT_LT(lisp->cellCursor, madeAt);
  EXPECT_EQ(lisp->freeCells, freeCells);
  EXPECT_EQ(lisp->freeInts, freeInts);
  EXPECT_EQ(lisp->cellsTaken, taken);
  EXPECT_EQ(lisp->collections, collections + 1);  // what is remembered by address goes
}

TEST_F(GarbageReuse, WhatIsReachableIsNeverHandedOutAgain) {
  _cell* kept = evaluate("(setq kept (list 10 20 30))");
  for (int i = 0; i < 100000; i++) lisp->getCell();
  for (int i = 0; i < 1000; i++) lisp->getInt(i);
  search();
  std::set<const _cell*> reachable = cellsOf(kept);
  for (int i = 0; i < 150000; i++) ASSERT_EQ(reachable.count(lisp->getCell()), 0u);
  for (int i = 0; i < 2000; i++) lisp->getInt(-1);
  EXPECT_EQ(ival(kept->car), 10);
  EXPECT_EQ(ival(kept->cdr->car), 20);
  EXPECT_EQ(ival(kept->cdr->cdr->car), 30);
}

TEST_F(GarbageReuse, TheCollectorCountsTheSameAfterAReuse) {
  EXPECT_EQ(reportAfter(true), reportAfter(false));
}
// A reuse forgets the expansions of forms nothing reaches any more (their cells may be handed
// out again), and keeps those of code that is still reachable.
TEST_F(GarbageReuse, ExpansionsOfReachableCodeStayRememberedAcrossAReuse) {
  evaluate("(defmacro twice (x) (list 'progn x x))");
  evaluate("(defun f (a) (twice (setq a (1+ a))))");
  evaluate("(f 1)");
  evaluate("(f 1)");
  evaluate("(twice 5)");
  size_t before = lisp->expansions.size();
  ASSERT_GE(before, 2u);
  lisp->searchForced = true;
  lisp->cellPages.wantsDonors = true;  // the search runs at the next evaluation step
  evaluate("(+ 1 2)");
  EXPECT_EQ(lisp->expansions.size(), before - 1);
  evaluate("(f 1)");  // replayed, not remembered anew
  EXPECT_EQ(lisp->expansions.size(), before - 1);
}
}  // namespace
