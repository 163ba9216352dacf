// The collector: what survives, what is counted, and the report line.
#include "fixture.h"

namespace {
// Runs a collection and returns its report line.
std::string collect(clisp& lisp) {
  ::testing::internal::CaptureStdout();
  lisp.gc();
  return ::testing::internal::GetCapturedStdout();
}
long markedCells(clisp& lisp) {
  return lisp.cellBits.count();
}
}  // namespace

using Collector = Interp;

TEST_F(Collector, ReportsCountsInUseAndASpaceBeforeTheAreaWraps) {
  std::string line = collect(*lisp);
  char expected[200];
  std::snprintf(expected, sizeof expected,
                "gc: セル %ld個 浮動小数点数 %ld個 整数 %ld個 使用中  \n", kCells - lisp->freeCells,
                kNumbers - lisp->freeNums, kIntegers - lisp->freeInts);
  EXPECT_EQ(line, expected);
}

TEST_F(Collector, ShowsAStarOnceTheCellCursorHasWrapped) {
  lisp->wrapped = 1;
  std::string line = collect(*lisp);
  EXPECT_EQ(line.substr(line.size() - 3), " *\n");
}

TEST_F(Collector, UnreachableCellsAndNumbersAreFreed) {
  collect(*lisp);
  long cells = markedCells(*lisp);
  long ints = lisp->intBits.count();
  lisp->IntToCell(5);
  lisp->NumberToCell(2.5L);
  lisp->BunsuToCell(1, 3);
  collect(*lisp);
  EXPECT_EQ(markedCells(*lisp), cells);
  EXPECT_EQ(lisp->intBits.count(), ints);
  EXPECT_EQ(lisp->freeCells, kCells - cells);
}

TEST_F(Collector, CellsOnTheCellStackSurviveWithWhatTheyReach) {
  collect(*lisp);
  long cells = markedCells(*lisp);
  long ints = lisp->intBits.count();
  _cell* list = lisp->getCell();
  list->car = lisp->BunsuToCell(1, 3);
  list->cdr = lisp->getCell();
  list->cdr->car = lisp->IntToCell(7);
  lisp->IncCellStack(nullptr);
  lisp->IncCellStack(list);
  collect(*lisp);
  EXPECT_EQ(markedCells(*lisp), cells + 4);
  EXPECT_EQ(lisp->intBits.count(), ints + 3);
  lisp->PopCellStack();
}

TEST_F(Collector, SymbolsAreNeverReclaimed) {
  collect(*lisp);
  long cells = markedCells(*lisp);
  lisp->getStringCell("UNREFERENCED");
  lisp->getStringCellWide("ALSO-UNREFERENCED");
  collect(*lisp);
  EXPECT_EQ(markedCells(*lisp), cells + 2);
}

TEST_F(Collector, CircularListsAreMarkedOnce) {
  collect(*lisp);
  long cells = markedCells(*lisp);
  _cell* a = lisp->getCell();
  _cell* b = lisp->getCell();
  a->cdr = b;
  b->cdr = a;
  b->car = a;
  lisp->IncCellStack(nullptr);
  lisp->IncCellStack(a);
  collect(*lisp);
  EXPECT_EQ(markedCells(*lisp), cells + 2);
  lisp->PopCellStack();
}

TEST_F(Collector, TenMillionConsesSurviveWithoutDeepRecursion) {
  _cell* head = NILCell;
  for (int i = 0; i < 10000000; i++) {
    _cell* c = lisp->getCell();
    c->cdr = head;
    head = c;
  }
  lisp->IncCellStack(nullptr);
  lisp->IncCellStack(head);
  collect(*lisp);
  EXPECT_GE(markedCells(*lisp), 10000000);
  lisp->PopCellStack();
}

TEST_F(Collector, AValuesListIsFollowedWholeFirstValueIncluded) {
  collect(*lisp);
  long cells = markedCells(*lisp);
  // result carries the values list (original 2); original is a fresh cons whose car is a
  // cons that nothing else reaches.
  _cell* inner = lisp->getCell();
  _cell* original = lisp->getCell();
  original->car = inner;
  _cell* second = lisp->getCell();
  second->car = lisp->IntToCell(2);
  _cell* values = lisp->getCell();
  values->car = original;
  values->cdr = second;
  _cell* result = lisp->getCell();
  result->values = values;
  lisp->IncCellStack(nullptr);
  lisp->IncCellStack(result);
  collect(*lisp);
  // result, both conses of the values list, the integer 2, and the original first value
  // with what it reaches: printing the values later reads those very cells.
  EXPECT_EQ(markedCells(*lisp), cells + 6);
  EXPECT_TRUE(lisp->cellBits.get(original - lisp->cellBase));
  EXPECT_TRUE(lisp->cellBits.get(inner - lisp->cellBase));
  lisp->PopCellStack();
}

TEST_F(Collector, BindingsOnTheLocalStackAreRoots) {
  collect(*lisp);
  long cells = markedCells(*lisp);
  _symval frame[2] = {{0, QUOTE, lisp->IntToCell(1)}, {0, nullptr, lisp->IntToCell(2)}};
  lisp->IncLocStack(frame, 2);
  collect(*lisp);
  // The record without a symbol is ignored.
  EXPECT_EQ(markedCells(*lisp), cells + 1);
  lisp->PopLocStack();
}

TEST_F(Collector, RecycledMemoryLeavesLiveCellsIntact) {
  // A live list spread thinly over the area, then garbage enough to sweep far ahead:
  // regions with no live cell give their memory to the regions the cursor enters.
  _cell* keep = NILCell;
  lisp->IncCellStack(nullptr);
  _cell** slot = lisp->csTop;
  lisp->IncCellStack(keep);
  for (int round = 0; round < 40; round++) {
    _cell* c = lisp->getCell();
    c->car = lisp->IntToCell(round);
    c->cdr = *slot;
    *slot = c;
    for (int i = 0; i < 200000; i++) lisp->getCell();
    if (round % 5 == 4) collect(*lisp);
  }
  long n = 39;
  for (_cell* p = *slot; p != NILCell; p = p->cdr, n--) {
    ASSERT_EQ(p->type, 'l');
    ASSERT_EQ(p->car->type, 'i');
    ASSERT_EQ(ival(p->car), n);
  }
  EXPECT_EQ(n, -1);
  lisp->PopCellStack();
}

TEST_F(Collector, AllocationGoesOnAfterTheCursorWrapsRound) {
  lisp->IncCellStack(nullptr);
  _cell* survivor = lisp->IncCellStack(lisp->IntToCell(12345));
  long rounds = 0;
  while (!lisp->wrapped) {
    for (int i = 0; i < 1000000; i++) lisp->getCell();
    collect(*lisp);
    rounds++;
  }
  std::string line = collect(*lisp);
  EXPECT_EQ(line.substr(line.size() - 3), " *\n");
  for (int i = 0; i < 3000000; i++) {
    _cell* c = lisp->getCell();
    c->car = survivor;
  }
  EXPECT_EQ(ival(survivor), 12345);
  EXPECT_GE(rounds, 31);
  lisp->PopCellStack();
}

TEST_F(Collector, AClosureConsKeepsItsCapturedRecordsAlive) {
  collect(*lisp);
  long cells = markedCells(*lisp);
  long ints = lisp->intBits.count();
  _cell* lambda = lisp->getCell();
  _symval captured[2] = {{0, QUOTE, lisp->IntToCell(1)}, {0, nullptr, lisp->IntToCell(2)}};
  lambda->env = captured;
  lambda->envCount = 2;
  lisp->IncCellStack(nullptr);
  lisp->IncCellStack(lambda);
  collect(*lisp);
  // The cons and the value of the record with a symbol; a record without one is ignored.
  EXPECT_EQ(markedCells(*lisp), cells + 2);
  EXPECT_EQ(lisp->intBits.count(), ints + 1);
  lambda->env = nullptr;
  lambda->envCount = 0;
  lisp->PopCellStack();
}

TEST_F(Collector, PendingExitValuesAreRootsOnlyWhileTheirFlagsAreSet) {
  collect(*lisp);
  long cells = markedCells(*lisp);
  lisp->throwValue = lisp->IntToCell(3);
  lisp->returnFromValue = lisp->IntToCell(4);
  collect(*lisp);
  EXPECT_EQ(markedCells(*lisp), cells);
  lisp->throwValue = lisp->IntToCell(3);
  lisp->returnFromValue = lisp->IntToCell(4);
  lisp->throwFlag = 1;
  lisp->returnFromFlag = 1;
  collect(*lisp);
  EXPECT_EQ(markedCells(*lisp), cells + 2);
  lisp->throwFlag = 0;
  lisp->returnFromFlag = 0;
}

TEST_F(Collector, TheValuesListOnASymbolIsARootOfItsOwn) {
  collect(*lisp);
  long cells = markedCells(*lisp);
  _cell* sym = lisp->getStringCell("UNREFERENCED-SYMBOL");
  sym->values = lisp->list2(sym, NILCell);
  collect(*lisp);
  EXPECT_EQ(markedCells(*lisp), cells + 3);  // the symbol and the two conses
}
