// The printer: float texts, the three styles, strings, arrays and circular data.
#include "fixture.h"

namespace {
std::string ftoa(long double v) {
  ctextproc t;
  char buf[64];
  t.myftoa(buf, v);
  return buf;
}
}  // namespace

TEST(Myftoa, AddsPointZeroOnlyWhenThereIsNoPointOrExponent) {
  EXPECT_EQ(ftoa(100.0L), "100.0");
  EXPECT_EQ(ftoa(0.5L), "0.5");
  EXPECT_EQ(ftoa(1e20L), "1e+20");
  EXPECT_EQ(ftoa(123456789012345678.0L), "1.23456789012346e+17");
  EXPECT_EQ(ftoa(3.0L), "3.0");
  EXPECT_EQ(ftoa(1.0L / 0.0L), "inf.0");
}

using Printer = Interp;

TEST_F(Printer, NilPrintsAsNilExceptInTailPosition) {
  EXPECT_EQ(printed(NILCell), "NIL");
  EXPECT_EQ(printed(read("(NIL A)")), "(NIL A)");
  EXPECT_EQ(printed(read("(A)")), "(A)");
  EXPECT_EQ(printed(read("(A B . C)")), "(A B . C)");
}

TEST_F(Printer, StringsInReadableAndPlainStyle) {
  _cell* s = read("\"a\\\"b\\\\c\"");
  EXPECT_EQ(printed(s), "\"a\\\"b\\\\c\"");
  ::testing::internal::CaptureStdout();
  lisp->princS(s, stdout);
  EXPECT_EQ(::testing::internal::GetCapturedStdout(), "a\"b\\c");
}

TEST_F(Printer, CharactersHaveNoNames) {
  EXPECT_EQ(printed(read("#\\a")), "#\\a");
  EXPECT_EQ(printed(read("#\\ ")), "#\\ ");
  ::testing::internal::CaptureStdout();
  lisp->princS(read("#\\a"), stdout);
  EXPECT_EQ(::testing::internal::GetCapturedStdout(), "a");
}

TEST_F(Printer, ArraysPrintWithTheirRankAndATrailingBlank) {
  _cell* a = read("(1 ALL 1 2 3)");
  a->type = 'a';
  EXPECT_EQ(printed(a), "#A(1 2 3) ");
  _cell* b = read("(2 ALL (1 2) (3 4))");
  b->type = 'a';
  EXPECT_EQ(printed(b), "#2A((1 2) (3 4)) ");
  _cell* list = lisp->getCell();
  list->car = a;
  list->cdr = lisp->getCell();
  list->cdr->car = QUOTE;
  EXPECT_EQ(printed(list), "(#A(1 2 3) QUOTE)");
}

TEST_F(Printer, TheStreamFamilyRefusesGeneralArrays) {
  _cell* a = read("(1 ALL 1 2 3)");
  a->type = 'a';
  _cell* list = read("(X Y)");
  list->car = a;
  char* buf = nullptr;
  size_t size = 0;
  FILE* f = open_memstream(&buf, &size);
  ::testing::internal::CaptureStdout();
  lisp->printSStrm(list, f);
  std::string out = ::testing::internal::GetCapturedStdout();
  std::fclose(f);
  EXPECT_EQ(out, "エラー: 配列はファイルに出力できません\n");
  EXPECT_EQ(std::string(buf, size), "(Y)");
  std::free(buf);
}

TEST_F(Printer, ADamagedStringShowsAsAnUnterminatedLiteral) {
  _cell* s = read("\"ab\"");
  s->cdr->cdr->cdr->car = QUOTE;  // the second element is no character
  EXPECT_EQ(printed(s), "\"a");
}

TEST_F(Printer, ACycleAlongTheCdrIsPrintedOnce) {
  _cell* l = read("(1 2 3)");
  l->cdr->cdr->cdr = l;
  EXPECT_EQ(printed(l), "(1 2 3 ...)");
  EXPECT_EQ(printed(l), "(1 2 3 ...)");  // the walk leaves no trace behind
}

TEST_F(Printer, ACycleThroughTheCarIsCutWhereItRepeats) {
  _cell* l = read("(1 2)");
  l->cdr->car = l;
  EXPECT_EQ(printed(l), "(1 ...)");
}

TEST_F(Printer, SharedStructurePrintsInFull) {
  _cell* shared = read("(A B)");
  _cell* l = read("(X X)");
  l->car = shared;
  l->cdr->car = shared;
  EXPECT_EQ(printed(l), "((A B) (A B))");
}

TEST_F(Printer, TenMillionConsesPrintWithoutDeepRecursion) {
  _cell* head = NILCell;
  for (int i = 0; i < 10000000; i++) {
    _cell* c = lisp->getCell();
    c->car = NILCell;
    c->cdr = head;
    head = c;
  }
  FILE* f = std::fopen("/dev/null", "w");
  lisp->printSStrm(head, f);
  std::fclose(f);
  EXPECT_EQ(lisp->jnlength(head), 10000000);
}

TEST_F(Printer, NoCellKeepsAFlagAfterAKnotIsPrinted) {
  // A cdr cycle whose element is a list running back into the middle of the cycle.
  _cell* l = read("(1 2 3 4 5)");
  _cell* inner = read("(X)");
  inner->cdr = l->cdr;
  l->cdr->cdr->cdr->car = inner;
  l->cdr->cdr->cdr->cdr->cdr = l;
  EXPECT_EQ(printed(l), "(1 2 3 (X ...) 5 ...)");
  std::vector<_cell*> cells{inner};
  for (_cell* p = l; cells.size() < 6; p = p->cdr) cells.push_back(p);
  for (_cell* c : cells) EXPECT_EQ(c->spare, 0u);
}

TEST_F(Printer, ArraysOnThePathPrintAsDots) {
  _cell* a = read("(NIL ALL 1 2)");
  a->car = a;
  a->type = 'a';
  EXPECT_EQ(printed(a), "#...A(1 2) ");
  _cell* b = read("(1 ALL NIL)");
  b->type = 'a';
  b->cdr->cdr->car = b;
  EXPECT_EQ(printed(b), "#A(...) ");
  EXPECT_EQ(a->spare | b->spare, 0u);
}

TEST_F(Printer, JnlengthCountsTheConsesOfACycleOnce) {
  _cell* l = read("(1 2 3 4)");
  l->cdr->cdr->cdr->cdr = l->cdr;
  EXPECT_EQ(lisp->jnlength(l), 4);
  EXPECT_EQ(lisp->jnlength(NILCell), 0);
}

TEST_F(Printer, AKnotWithManyWaysThroughItPrintsEachConsOnce) {
  // Every car holds the rest of the list and the last cdr goes back to the start: without a
  // record of what was printed, the ways through it would double with every cons.
  _cell* l = read(
      "(1 2 3 4 5 6 7 8 9 10 11 12 13 14 15 16 17 18 19 20 21 22 23 24 25 26 27 28 29 30 31 32 33 "
      "34 35 36 37 38 39 40 41 42 43 44 45 46 47 48 49 50 51 52 53 54 55 56 57 58 59 60)");
  _cell* p = l;
  for (; consp(p->cdr); p = p->cdr) p->car = p->cdr;
  p->cdr = l;
  std::string expected = "(60 ...)";
  for (int i = 0; i < 59; i++) expected = "(" + expected + " ...)";
  EXPECT_EQ(printed(l), expected);
}
