// Cell memory: the areas, their allocators and limits, symbols, converters, stacks, tables.
#include <unistd.h>

#include <vector>

#include "fixture.h"

using Memory = Interp;

TEST_F(Memory, InterningTheSameNameGivesTheSameCell) {
  EXPECT_EQ(lisp->getStringCell("NIL"), NILCell);
  EXPECT_EQ(lisp->getStringCell("FOO"), lisp->getStringCell("FOO"));
}

TEST_F(Memory, NamesBeginningWithColonAreKeywords) {
  _cell* k = lisp->getStringCell(":TEST");
  EXPECT_EQ(k->type, 's');
  EXPECT_EQ(k->sub, 'c');
  EXPECT_EQ(lisp->getStringCell("TEST")->sub, 'u');
}

TEST_F(Memory, UninternedSymbolsAreDistinctAndNeverFound) {
  _cell* a = lisp->getStringCellWide("WIDE");
  _cell* b = lisp->getStringCellWide("WIDE");
  EXPECT_NE(a, b);
  EXPECT_EQ(a->sub, 'g');
  EXPECT_EQ(lisp->CheckStringCell("WIDE"), nullptr);
  EXPECT_EQ(lisp->getStringCellWide(":K")->sub, 'g');
}

TEST_F(Memory, KeywordTableRowsHoldTheirSymbols) {
  EXPECT_STREQ(symname(COLINPUT), ":INPUT");
  EXPECT_EQ(COLINPUT->sub, 'c');
  EXPECT_STREQ(symname(PROG), "PROG**");
  EXPECT_STREQ(symname(LETAST), "LET*");
  EXPECT_STREQ(symname(BACK_QUOTE), "`");
  EXPECT_EQ(NIL, NILCell);
  EXPECT_EQ(T, TCell);
  // NIL and T are bound to themselves in the global variable table.
  EXPECT_EQ(lisp->gvBase[lisp->getSymVal(NIL)].value, NILCell);
  EXPECT_EQ(lisp->gvBase[lisp->getSymVal(T)].value, TCell);
  // 120 distinct symbols, interned first.
  EXPECT_EQ(lisp->symTop - lisp->symBase, 120);
  EXPECT_EQ(lisp->symBase[0], QUOTE);
  EXPECT_EQ(lisp->symBase[119], RETURNFROMLISP);
}

TEST_F(Memory, CharacterCellsSignExtendTheirByte) {
  _cell* c = lisp->getMojiCell(static_cast<char>(0xE3), 0);
  EXPECT_EQ(c->type, 'm');
  EXPECT_EQ(chval(c), -29);
  EXPECT_EQ(ch2val(c), 0);
}

TEST_F(Memory, ConvertersLookOnlyAtTheTypeLetter) {
  _cell* i = lisp->IntToCell(42);
  EXPECT_EQ(CellToNumber(i), 0.0L);
  EXPECT_EQ(lisp->CellToInt(i), 42);
  EXPECT_EQ(lisp->CellToInt(lisp->NumberToCell(1.5L)), 0);
  _cell* stream = lisp->SetFilePointer(stdin);
  EXPECT_EQ(lisp->CellToInt(stream), 1);  // slot number plus one
  lisp->getStream2(stream);
  _cell* f = lisp->BunsuToCell(2, 4);
  EXPECT_EQ(lisp->CellToBunshi(f), 2);  // not reduced
  EXPECT_EQ(lisp->CellToBunbo(f), 4);
  EXPECT_EQ(lisp->CellToBunbo(i), 0);
}

TEST_F(Memory, NewCellsAreEmptyLists) {
  _cell* c = lisp->getCell();
  EXPECT_EQ(c->type, 'l');
  EXPECT_EQ(c->sub, 'u');
  EXPECT_EQ(c->car, NILCell);
  EXPECT_EQ(c->cdr, NILCell);
  EXPECT_EQ(c->values, nullptr);
  EXPECT_EQ(c->env, nullptr);
  EXPECT_EQ(c->envCount, 0);
}

TEST_F(Memory, EachAllocationCountsDown) {
  long cells = lisp->freeCells, ints = lisp->freeInts, nums = lisp->freeNums;
  lisp->IntToCell(1);
  lisp->NumberToCell(1.0L);
  EXPECT_EQ(lisp->freeCells, cells - 2);
  EXPECT_EQ(lisp->freeInts, ints - 1);
  EXPECT_EQ(lisp->freeNums, nums - 1);
}

TEST_F(Memory, TheCellAreaHoldsOneCellFewerThanItsSize) {
  EXPECT_EXIT(STDOUT_TO_STDERR({
                long n = lisp->freeCells;  // cells still free after start-up
                for (long i = 0; i < n - 1; i++) lisp->getCell();
                // The last element is never handed out: this one is one too many.
                std::fprintf(stderr, "taken %ld\n", lisp->cellsTaken);
                lisp->getCell();
              }),
              ::testing::ExitedWithCode(1),
              "taken 31999999\nエラー: セル領域が一杯です。終了します。");
}

TEST_F(Memory, TheIntegerAreaHoldsOneElementFewerThanItsSize) {
  EXPECT_EXIT(STDOUT_TO_STDERR({
                long n = lisp->freeInts;
                for (long i = 0; i < n - 1; i++) lisp->getInt(i);
                lisp->getInt(0);
              }),
              ::testing::ExitedWithCode(1), "エラー: 整数領域が一杯です。終了します。");
}

TEST_F(Memory, TheNumberAreaHoldsOneElementFewerThanItsSize) {
  EXPECT_EXIT(STDOUT_TO_STDERR({
                long n = lisp->freeNums;
                for (long i = 0; i < n - 1; i++) lisp->getNumber(i);
                lisp->getNumber(0);
              }),
              ::testing::ExitedWithCode(1), "エラー: 数値領域が一杯です。終了します。");
}

TEST_F(Memory, TheSymbolTableRefusesThe100000thName) {
  // Uninterned symbols with one-letter names count as well and spare the string text area.
  for (int i = 0; i < 500; i++) {
    char name[8];
    std::snprintf(name, sizeof name, "S%d", i);
    ASSERT_NE(lisp->getStringCell(name), nullptr);
  }
  while (lisp->symTop - lisp->symBase < 99999) ASSERT_NE(lisp->getStringCellWide("W"), nullptr);
  ::testing::internal::CaptureStdout();
  _cell* refused = lisp->getStringCell("ONE-TOO-MANY");
  std::string out = ::testing::internal::GetCapturedStdout();
  EXPECT_EQ(refused, nullptr);
  EXPECT_EQ(out, "エラー: ストリングの数が多すぎます\n");
  // Existing names are still found; the refused one never is.
  EXPECT_NE(lisp->CheckStringCell("S400"), nullptr);
  EXPECT_EQ(lisp->CheckStringCell("ONE-TOO-MANY"), nullptr);
}

TEST_F(Memory, TheStringTextAreaEndsTheProcessWhenFull) {
  EXPECT_EXIT(STDOUT_TO_STDERR({
                std::string big(1000, 'X');
                for (int i = 0; i < 400; i++) lisp->getString(big.c_str());
              }),
              ::testing::ExitedWithCode(1), "エラー: ストリング領域が一杯です。終了します。");
}

TEST_F(Memory, The3199thGlobalCanBeCreatedButNotThe3200th) {
  long have = lisp->gvTop;
  char name[32];
  for (long i = have; i < 3199; i++) {
    std::snprintf(name, sizeof name, "G%ld", i);
    lisp->getSymVal2(lisp->getStringCell(name));
  }
  EXPECT_EQ(lisp->gvTop, 3199);
  EXPECT_EXIT(STDOUT_TO_STDERR(lisp->getSymVal2(lisp->getStringCell("LAST-ONE"))),
              ::testing::ExitedWithCode(1),
              "エラー: グローバル変数領域が不足しています。終了します。");
}

TEST_F(Memory, The3199thFunctionCanBeCreatedButNotThe3200th) {
  long have = lisp->fnTop;
  char name[32];
  for (long i = have; i < 3199; i++) {
    std::snprintf(name, sizeof name, "F%ld", i);
    _symval* r = lisp->getFuncval(lisp->getStringCell(name));
    r->symbol = lisp->getStringCell(name);
  }
  EXPECT_EQ(lisp->fnTop, 3199);
  EXPECT_EXIT(STDOUT_TO_STDERR(lisp->getFuncval(lisp->getStringCell("LAST-ONE"))),
              ::testing::ExitedWithCode(1), "エラー: 関数領域が一杯になりました。終了します。");
}

TEST_F(Memory, TheStaticStackHolds31999Entries) {
  long used = lisp->ssTop - lisp->ssBase;
  for (long i = used; i < 31999; i++) lisp->IncStaticStack(nullptr, 0);
  EXPECT_EQ(lisp->ssTop - lisp->ssBase, 31999);
  EXPECT_EXIT(STDOUT_TO_STDERR(lisp->IncStaticStack(nullptr, 0)), ::testing::ExitedWithCode(1),
              "エラー: スタティックスタックが一杯です。終了します");
}

TEST_F(Memory, TheCellStackHolds31999999Entries) {
  EXPECT_EXIT(STDOUT_TO_STDERR({
                while (lisp->csTop - lisp->csBase < 31999999) lisp->IncCellStack(nullptr);
                std::fprintf(stderr, "full\n");
                lisp->IncCellStack(nullptr);
              }),
              ::testing::ExitedWithCode(1), "full\nエラー: セルスタックが一杯です。終了します");
}

TEST_F(Memory, TheLocalStackChecksEveryPushIncludingTheMarker) {
  EXPECT_EXIT(STDOUT_TO_STDERR({
                while (lisp->lsTop - lisp->lsBase < 31999999) lisp->IncLocStack(nullptr, 0);
                std::fprintf(stderr, "full\n");
                lisp->IncLocStack(nullptr, 0);
              }),
              ::testing::ExitedWithCode(1), "full\nエラー: ローカルスタックが一杯です。終了します");
}

TEST_F(Memory, PopGoesBackToTheNearestMarkerAndRemovesIt) {
  _cell** before = lisp->csTop;
  lisp->IncCellStack(nullptr);
  lisp->IncCellStack(NILCell);
  lisp->IncCellStack(TCell);
  lisp->PopCellStack();
  EXPECT_EQ(lisp->csTop, before);
}

TEST_F(Memory, LocalLookupSkipsRecordsWithoutSymbols) {
  _symval frame[3] = {{0, nullptr, TCell}, {0, QUOTE, NILCell}, {0, QUOTE, TCell}};
  EXPECT_EQ(lisp->getLocal(frame, 3, QUOTE, 0), 1);  // the first match wins
  EXPECT_EQ(lisp->getLocal(frame, 3, nullptr, 0), -1);
  EXPECT_EQ(lisp->getLocal(frame, 3, CAR, 0), -1);
}

TEST_F(Memory, WriteBackCopiesOnlyTheOuterRecords) {
  _cell* a = lisp->getStringCell("A");
  _cell* b = lisp->getStringCell("B");
  _symval outer[2] = {{0, a, NILCell}, {0, b, NILCell}};
  // An inner frame: one new binding of A, then copies of the outer records.
  _symval inner[3] = {{0, a, QUOTE}, {0, a, CAR}, {0, b, CDR}};
  lisp->SetOrgLoc(outer, 2, inner, 1, 3);
  EXPECT_EQ(outer[0].value, CAR);
  EXPECT_EQ(outer[1].value, CDR);
}

TEST_F(Memory, UnboundGlobalsAreNotFound) {
  EXPECT_EQ(lisp->getSymVal(lisp->getStringCell("NEVER-BOUND")), -1);
  EXPECT_EQ(lisp->getFuncval2(lisp->getStringCell("NEVER-DEFINED")), nullptr);
}

// Burned elements are counted as taken and take no place: the cursor and the marks stay.
TEST_F(Memory, BurningCountsCellsAndTakesNoPlace) {
  long free = lisp->freeCells, taken = lisp->cellsTaken, cursor = lisp->cellCursor;
  long inUse = lisp->cellBits.count(kCells);
  lisp->burnCells(5000);
  EXPECT_EQ(lisp->freeCells, free - 5000);
  EXPECT_EQ(lisp->cellsTaken, taken + 5000);
  EXPECT_EQ(lisp->cellCursor, cursor);
  EXPECT_EQ(lisp->cellBits.count(kCells), inUse);
  EXPECT_EQ(lisp->getCell(), lisp->cellBase + cursor);
}

TEST_F(Memory, BurningCountsIntegersAndNumbersAndTakesNoPlace) {
  long ints = lisp->freeInts, nums = lisp->freeNums;
  long intCursor = lisp->intCursor, numCursor = lisp->numCursor;
  lisp->burnInts(300);
  lisp->burnNums(40);
  EXPECT_EQ(lisp->freeInts, ints - 300);
  EXPECT_EQ(lisp->freeNums, nums - 40);
  EXPECT_EQ(lisp->intCursor, intCursor);
  EXPECT_EQ(lisp->numCursor, numCursor);
}

// The area is full for the allocator when the counter says so, burned cells included.
TEST_F(Memory, BurnedCellsFillTheAreaAsTakenOnesDo) {
  EXPECT_EXIT(STDOUT_TO_STDERR({
                lisp->burnCells(lisp->freeCells - 2);
                lisp->getCell();
                std::fprintf(stderr, "free %ld\n", lisp->freeCells);
                lisp->getCell();
              }),
              ::testing::ExitedWithCode(1), "free 1\nエラー: セル領域が一杯です。終了します。");
}

TEST_F(Memory, ABurnPastTheLastFreeElementEndsTheProcess) {
  EXPECT_EXIT(STDOUT_TO_STDERR(lisp->burnInts(lisp->freeInts)), ::testing::ExitedWithCode(1),
              "エラー: 整数領域が一杯です。終了します。");
}

// The collector shows the wrap flag from the 31,999,999th cell taken since start-up on,
// whether the cells were handed out or burned.
TEST_F(Memory, TheWrapFlagFollowsTheCellsTaken) {
  ::testing::internal::CaptureStdout();
  lisp->burnCells(kCells - 2 - lisp->cellsTaken);
  lisp->gc();
  lisp->getCell();
  lisp->gc();
  std::string out = ::testing::internal::GetCapturedStdout();
  size_t first = out.find('\n');
  ASSERT_NE(first, std::string::npos);
  EXPECT_EQ(out.substr(first - 1, 2), " \n");
  EXPECT_EQ(out.substr(out.size() - 2), "*\n");
}
