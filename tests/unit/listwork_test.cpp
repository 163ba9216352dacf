// The small list utilities that no built-in form reaches directly.
#include "fixture.h"

using Utilities = Interp;

TEST_F(Utilities, NthAndTheConsBeforeIt) {
  _cell* l = read("(A B C)");
  EXPECT_EQ(printed(lisp->jnth(1, l)), "B");
  EXPECT_EQ(lisp->jprenth(2, l), l->cdr->cdr);
  EXPECT_EQ(lisp->jnth(3, l), nullptr);
  EXPECT_EQ(lisp->jprenth(3, l), nullptr);
  EXPECT_EQ(printed(lisp->jcons(QUOTE, NILCell)), "(QUOTE)");
}

TEST_F(Utilities, LastCellAndMember) {
  _cell* l = read("(A B C)");
  EXPECT_EQ(lisp->LastCell(l), l->cdr->cdr);
  EXPECT_EQ(lisp->tmember(l->cdr->car, l), l->cdr);
  EXPECT_EQ(lisp->tmember(QUOTE, l), NILCell);
}

TEST_F(Utilities, CopyIsDeepForConsesOnly) {
  _cell* l = read("((A) \"S\" . B)");
  _cell* c = lisp->Copy(l);
  EXPECT_NE(c, l);
  EXPECT_NE(c->car, l->car);
  EXPECT_EQ(c->cdr->car, l->cdr->car);  // a string is an array: shared
  EXPECT_EQ(printed(c), "((A) \"S\" . B)");
}

TEST_F(Utilities, PrintedLengthOfACharacterList) {
  _cell* s = read("\"a\\\"b\\\\c\"");  // a, quote, b, backslash, c
  ASSERT_NE(s, nullptr);
  EXPECT_EQ(lisp->getRealMojiretsuLen(s->cdr->cdr), 7);
  EXPECT_EQ(lisp->getRealMojiretsuLen(read("(#\\a 1)")), -1);
  EXPECT_EQ(lisp->isAllMoji(read("(#\\a #\\b)")), 1);
  EXPECT_EQ(lisp->isAllMoji(NILCell), 1);
  EXPECT_EQ(lisp->isAllMoji(read("(#\\a . #\\b)")), 0);
}

TEST_F(Utilities, CircularChainsAreNoticed) {
  _cell* l = read("(A B C)");
  EXPECT_EQ(lisp->chainLength(l), 3);
  EXPECT_EQ(lisp->chainLength(read("(A . B)")), 1);
  l->cdr->cdr->cdr = l->cdr;  // (A B C B C ...)
  EXPECT_EQ(lisp->chainLength(l), -1);
  EXPECT_EQ(lisp->Copy(l), nullptr);
  EXPECT_EQ(lisp->MakeQuoteEach(l), nullptr);
  _cell* chars = read("(#\\a #\\b)");
  chars->cdr->cdr = chars;
  EXPECT_EQ(lisp->isAllMoji(chars), -1);
}

TEST_F(Utilities, EqualComparesUnfoldings) {
  EXPECT_TRUE(lisp->equalValues(read("(1 (2 \"s\") . 3)"), read("(1 (2 \"s\") . 3)")));
  EXPECT_FALSE(lisp->equalValues(read("(1 (2 \"s\") . 3)"), read("(1 (2 \"t\") . 3)")));
  EXPECT_FALSE(lisp->equalValues(read("(1 2)"), read("(1 2 3)")));
  _cell* a = read("(1 2)");
  a->cdr->cdr = a;
  _cell* b = read("(1 2 1 2)");
  b->cdr->cdr->cdr->cdr = b;
  _cell* c = read("(1 2 1 3)");
  c->cdr->cdr->cdr->cdr = c;
  EXPECT_TRUE(lisp->equalValues(a, b));
  EXPECT_FALSE(lisp->equalValues(a, c));
}

TEST(AllBlank, BlanksTabsAndLineEnds) {
  ctextproc t;
  EXPECT_EQ(t.AllBlank(" \t\r\n"), 1);
  EXPECT_EQ(t.AllBlank(""), 1);
  EXPECT_EQ(t.AllBlank(" a "), 0);
}
