// The search for free regions does not go through the prelude's code, whose regions are
// kept anyway, for as long as nothing made since hangs off that code.
#include "fixture.h"

namespace {
class PreludeRegions : public PreludeSession {
 protected:
  // A search now, however recently the last one ran.
  void search() {
    lisp->searchForced = true;
    lisp->findFreeRegions();
  }
  // Moves the cell cursor well past the prelude's regions, then makes a list there.
  _cell* listFarAway(const char* name) {
    for (int i = 0; i < 200000; i++) lisp->getCell();
    return evaluate(std::string("(setq ") + name + " (list 'kept 'in 'the 'code))");
  }
};

TEST_F(PreludeRegions, ListsHeldByVariablesAreFoundReachable) {
  _cell* list = listFarAway("x");
  search();
  EXPECT_TRUE(lisp->foundReachable(list));
  EXPECT_TRUE(lisp->foundReachable(list->cdr->cdr->cdr));
}

TEST_F(PreludeRegions, WhatIsWrittenIntoThePreludesCodeIsFoundReachable) {
  _cell* list = listFarAway("x");
  evaluate("(rplaca (cdr (cdr (symbol-function 'replace-destroy))) x)");
  evaluate("(setq x nil)");
  search();
  EXPECT_TRUE(lisp->foundReachable(list));
  EXPECT_TRUE(lisp->foundReachable(list->cdr->cdr->cdr));
}

}  // namespace
