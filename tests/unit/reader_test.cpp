// The reader's text stage: completeness tests, normalisation, rewriting, classification.
#include <cstring>

#include "fixture.h"
#include "reader/bracescan.h"

namespace {
ctextproc text;

std::string rewritten(const std::string& s) {
  std::snprintf(lineStr, sizeof lineStr, "%s", s.c_str());
  text.SkipTerm(lineStr);
  if (!text.RewriteAll(lineStr)) return "<failed>";
  return lineStr;
}
}  // namespace

TEST(AnaType, ClassifiesEveryRule) {
  EXPECT_EQ(text.AnaType("1+"), kSymbol);
  EXPECT_EQ(text.AnaType("1-"), kSymbol);
  EXPECT_EQ(text.AnaType(".5"), kFloat);
  EXPECT_EQ(text.AnaType("-.5"), kFloat);
  EXPECT_EQ(text.AnaType("12.5"), kFloat);
  EXPECT_EQ(text.AnaType("-12.5"), kFloat);
  EXPECT_EQ(text.AnaType("1E5"), kFloat);
  EXPECT_EQ(text.AnaType("1E+5"), kFloat);
  EXPECT_EQ(text.AnaType("-2E-3"), kFloat);
  EXPECT_EQ(text.AnaType("1E"), kInteger);
  EXPECT_EQ(text.AnaType("1."), kInteger);
  EXPECT_EQ(text.AnaType("12ABC"), kInteger);
  EXPECT_EQ(text.AnaType("1+2"), kInteger);
  EXPECT_EQ(text.AnaType("-5"), kInteger);
  EXPECT_EQ(text.AnaType("2/4"), kFraction);
  EXPECT_EQ(text.AnaType("-2/4"), kFraction);
  EXPECT_EQ(text.AnaType("1/-2"), kInteger);
  EXPECT_EQ(text.AnaType("\"abc\""), kString);
  EXPECT_EQ(text.AnaType("#\\a"), kCharacter);
  EXPECT_EQ(text.AnaType("#\\"), kSymbol);
  EXPECT_EQ(text.AnaType("+5"), kSymbol);
  EXPECT_EQ(text.AnaType("+.5"), kSymbol);
  EXPECT_EQ(text.AnaType("-"), kSymbol);
  EXPECT_EQ(text.AnaType(".B"), kSymbol);
  EXPECT_EQ(text.AnaType(""), kSymbol);
}

TEST(CheckBrace, TerminalCompleteness) {
  EXPECT_EQ(text.CheckBrace("(+ 1\n"), 0);
  EXPECT_EQ(text.CheckBrace("(+ 1\n2)\n"), 1);
  EXPECT_EQ(text.CheckBrace("A B\n"), 1);
  EXPECT_EQ(text.CheckBrace("\n"), 0);
  EXPECT_EQ(text.CheckBrace(")\n"), -1);
  EXPECT_EQ(text.CheckBrace("(A) (B\n"), 1);
  EXPECT_EQ(text.CheckBrace("(\")\"\n"), 0);
  EXPECT_EQ(text.CheckBrace("(#\\)\n"), 0);
  EXPECT_EQ(text.CheckBrace("\"abc\n"), 0);
  EXPECT_EQ(text.CheckBrace("\"abc\"\n"), 1);
  EXPECT_EQ(text.CheckBrace("'\n"), 0);
}

TEST(CheckBrace2, StreamCompleteness) {
  EXPECT_EQ(text.CheckBrace2("ABC"), 0);  // an atom needs a separator after it
  EXPECT_EQ(text.CheckBrace2("ABC "), 1);
  EXPECT_EQ(text.CheckBrace2("  \n"), 0);
  EXPECT_EQ(text.CheckBrace2(")"), -1);
  EXPECT_EQ(text.CheckBrace2("'(A"), 0);
  EXPECT_EQ(text.CheckBrace2("'(A)"), 1);
  EXPECT_EQ(text.CheckBrace2("(A))"), 1);
  EXPECT_EQ(text.CheckBrace2("(\"(\")"), 1);
}

TEST(CrTabOnly, LooksAtTheFirstSignificantByte) {
  EXPECT_EQ(text.CrTabOnly(" '`,@"), 1);
  EXPECT_EQ(text.CrTabOnly("  (A"), 1);
  EXPECT_EQ(text.CrTabOnly("\"A"), 1);
  EXPECT_EQ(text.CrTabOnly("\"A\""), 0);
  EXPECT_EQ(text.CrTabOnly("A"), 0);
}

TEST(SkipTerm, UpperCasesOutsideStringsAndCharacters) {
  char buf[64] = "(a \"b\tc\" #\\d\te)\n";
  text.SkipTerm(buf);
  EXPECT_STREQ(buf, "(A \"b\tc\" #\\d E) ");
}

TEST(SkipTerm, StopsAtAnUnterminatedString) {
  char buf[64] = "(a) \"b c";
  text.SkipTerm(buf);
  EXPECT_STREQ(buf, "(A) \"b c");
}

TEST(Rewrite, WrapsQuoteFunctionAndBackquote) {
  EXPECT_EQ(rewritten("'A"), "(QUOTE A)");
  EXPECT_EQ(rewritten("'(A B)"), "(QUOTE (A B))");
  EXPECT_EQ(rewritten("#'CAR"), "(FUNCTION CAR)");
  EXPECT_EQ(rewritten("''A"), "(QUOTE (QUOTE A))");
  EXPECT_EQ(rewritten("'#'F"), "(QUOTE (FUNCTION F))");
  EXPECT_EQ(rewritten("`(A ,B ,@Z)"), "(BACKQUOTE (A , B , @ Z))");
  EXPECT_EQ(rewritten("`'A"), "(BACKQUOTE (QUOTE A))");
  EXPECT_EQ(rewritten("'`A"), "(QUOTE (BACKQUOTE A))");
  EXPECT_EQ(rewritten("'"), "(QUOTE )");
  EXPECT_EQ(rewritten("A,B"), "A, B");
  EXPECT_EQ(rewritten("A@B"), "A@ B");
}

TEST(Rewrite, LeavesStringsAndCharacterLiteralsAlone) {
  EXPECT_EQ(rewritten("(\"'a\" #\\' #\\,)"), "(\"'a\" #\\' #\\,)");
}

TEST(Rewrite, RefusesTextAtTheLimit) {
  std::string longText(19995, 'A');
  ::testing::internal::CaptureStdout();
  EXPECT_EQ(rewritten("'" + longText), "<failed>");
  EXPECT_EQ(::testing::internal::GetCapturedStdout(), "エラー: Ｓ式が長すぎます\n");
}

TEST(Rewrite, AnUnterminatedStringFailsSilently) {
  ::testing::internal::CaptureStdout();
  EXPECT_EQ(rewritten("(A) \"B"), "<failed>");
  EXPECT_EQ(::testing::internal::GetCapturedStdout(), "");
}

TEST(Taiou, FindsTheEndOfAnExpression) {
  char buf[] = " '(A (B) \")\" #\\)) C";
  EXPECT_STREQ(text.taiou(buf), " C");
  char atom[] = "ABC)";
  EXPECT_STREQ(text.taiou(atom), ")");
  char unclosed[] = "(A (B";
  EXPECT_STREQ(text.taiou(unclosed), "");
}

TEST(CarAndCdrText, CutTheFirstElement) {
  char car[64], cdr[64];
  text.getCarString(car, "A(B))");
  text.getCdrString(cdr, "A(B))");
  EXPECT_STREQ(car, "A");
  EXPECT_STREQ(cdr, "(B))");
  text.getCarString(car, "#\\  B)");
  EXPECT_STREQ(car, "#\\ ");
  text.getCarString(car, "#\\abc)");
  EXPECT_STREQ(car, "#\\abc");
  text.getCarString(car, "(A \")\") B)");
  text.getCdrString(cdr, "(A \")\") B)");
  EXPECT_STREQ(car, "(A \")\")");
  EXPECT_STREQ(cdr, " B)");
  text.getCdrString(cdr, "A B");
  EXPECT_STREQ(cdr, "B");
  text.getCdrString(cdr, "A");
  EXPECT_STREQ(cdr, "");
}

TEST(NewString, DropsLeadingBlanksAndThoseAfterTheParenthesis) {
  char buf[32];
  text.NewString(buf, "  (  a b)");
  EXPECT_STREQ(buf, "(a b)");
  text.NewString(buf, "  a b");
  EXPECT_STREQ(buf, "a b");
}

TEST(FractionText, IsCutToItsBuffers) {
  char num[32], den[24];
  text.getBunshi("123456789012345678901234567890123456789/7", num);
  EXPECT_EQ(std::strlen(num), 31u);
  text.getBunbo("1/123456789012345678901234567890", den);
  EXPECT_EQ(std::strlen(den), 23u);
}

using Parser = Interp;

TEST_F(Parser, ReadsListsPairsAndAtoms) {
  EXPECT_EQ(printed(read("()")), "NIL");
  EXPECT_EQ(printed(read("( )")), "NIL");
  EXPECT_EQ(printed(read("(A . B)")), "(A . B)");
  EXPECT_EQ(printed(read("(A . (B Z))")), "(A B Z)");
  EXPECT_EQ(printed(read("(A . B Z)")), "(A . B)");
  EXPECT_EQ(printed(read("( . B)")), "B");
  EXPECT_EQ(printed(read("(A .B)")), "(A .B)");
  EXPECT_EQ(printed(read("2/4")), "1/2");
  EXPECT_EQ(printed(read("4/2")), "2");
  EXPECT_EQ(printed(read("0/7")), "0");
  EXPECT_EQ(printed(read("99999999999999999999")), "9223372036854775807");
  EXPECT_EQ(printed(read("#\\a")), "#\\a");
  EXPECT_EQ(printed(read("#\\abc")), "#\\a");
  EXPECT_EQ(printed(read("\"A\\\"B\"")), "\"A\\\"B\"");
  EXPECT_EQ(read("KEY"), read("KEY"));
  EXPECT_EQ(read(":INPUT"), COLINPUT);
}

TEST_F(Parser, AZeroDenominatorIsReported) {
  ::testing::internal::CaptureStdout();
  EXPECT_EQ(read("3/0"), nullptr);
  EXPECT_EQ(::testing::internal::GetCapturedStdout(), "エラー: 0で割りました。\n");
}

TEST_F(Parser, StringsHoldOneCharacterPerByte) {
  _cell* s = read("\"日\"");
  ASSERT_EQ(s->type, 'a');
  EXPECT_EQ(ival(s->car), 1);
  EXPECT_EQ(s->cdr->car, CHARACTER);
  EXPECT_EQ(lisp->tlength(s->cdr->cdr), 3);
  EXPECT_EQ(chval(s->cdr->cdr->car), static_cast<char>(0xE6));
}

TEST(BraceScanner, AgreesWithTheWholeTextTestOnEveryPrefix) {
  const char alphabet[] = "()\"\\#;' `,@\nab1\0";  // the last byte is a NUL too
  unsigned seed = 12345;
  for (int trial = 0; trial < 20000; trial++) {
    std::string t;
    int n = 1 + static_cast<int>((seed = seed * 1103515245 + 12345) >> 16) % 24;
    BraceScanner scanner;
    for (int i = 0; i < n; i++) {
      seed = seed * 1103515245 + 12345;
      char c = alphabet[(seed >> 16) % sizeof alphabet];
      t += c;
      int incremental = scanner.feed(c);
      int whole = text.CheckBrace2(t.c_str());
      ASSERT_EQ(incremental, whole) << "text: " << t;
      if (whole != 0) break;  // the reader stops there
    }
  }
}
