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

TEST(AllBlank, BlanksTabsAndLineEnds) {
  ctextproc t;
  EXPECT_EQ(t.AllBlank(" \t\r\n"), 1);
  EXPECT_EQ(t.AllBlank(""), 1);
  EXPECT_EQ(t.AllBlank(" a "), 0);
}
