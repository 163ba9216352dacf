// The printer's cycle scan: what counts as coming back, and what it leaves behind.
#include "fixture.h"
#include "printer/knotscan.h"

namespace {
bool cyclic(_cell* x) {
  KnotScan scan;
  return scan.cyclic(x);
}
}  // namespace

using KnotScanTest = Interp;

TEST_F(KnotScanTest, AtomsTreesAndSharedPartsHaveNoCycle) {
  EXPECT_FALSE(cyclic(NILCell));
  EXPECT_FALSE(cyclic(read("(1 (2 3) (4 . 5))")));
  _cell* shared = read("(A B)");
  _cell* l = read("(X X X)");
  l->car = l->cdr->car = l->cdr->cdr->car = shared;
  l->cdr->cdr->cdr = shared;
  EXPECT_FALSE(cyclic(l));
}

TEST_F(KnotScanTest, CyclesThroughCdrsCarsAndArraysAreFound) {
  _cell* cdrCycle = read("(1 2 3)");
  cdrCycle->cdr->cdr->cdr = cdrCycle->cdr;
  EXPECT_TRUE(cyclic(cdrCycle));
  _cell* carCycle = read("(1 (2 3))");
  carCycle->cdr->car->cdr->car = carCycle;
  EXPECT_TRUE(cyclic(carCycle));
  _cell* ownRank = read("(NIL ALL 1)");
  ownRank->car = ownRank;
  ownRank->type = 'a';
  EXPECT_TRUE(cyclic(ownRank));
  _cell* dottedTail = read("(1 ALL 1 2)");
  dottedTail->type = 'a';
  dottedTail->cdr->cdr->cdr->cdr = dottedTail;
  EXPECT_TRUE(cyclic(dottedTail));
}

TEST_F(KnotScanTest, AStringsCharacterCycleIsNotThePrintersConcern) {
  _cell* s = read("\"ab\"");
  s->cdr->cdr->cdr->cdr = s->cdr->cdr;
  EXPECT_FALSE(cyclic(s));
  EXPECT_FALSE(cyclic(read("(\"ab\" \"ab\")")));
}

TEST_F(KnotScanTest, NoFlagStaysBehind) {
  _cell* l = read("(1 (2 3) 4)");
  l->cdr->car->cdr->cdr = l;
  EXPECT_TRUE(cyclic(l));
  for (_cell* c : {l, l->cdr, l->cdr->car, l->cdr->car->cdr, l->cdr->cdr}) EXPECT_EQ(c->spare, 0u);
}
