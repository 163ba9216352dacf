// Text side of the reader: collecting one expression, normalising and rewriting its text,
// cutting it into elements for the parser; also the float formatter of the printer.
#pragma once

#include <cstdio>

#include "numbers/cmathproc.h"

// The text of the expression being read, rewritten and parsed (19999 bytes and a NUL;
// the two spare bytes only guard against off-by-one slips).
constexpr int kLineMax = 19999;
extern char lineStr[kLineMax + 3];

// Kind codes of AnaType.
enum AtomKind { kSymbol = 0, kFloat = 1, kInteger = 2, kFraction = 3, kString = 4, kCharacter = 5 };

class ctextproc : public cmathproc {
 public:
  // Acquisition. GetOneS gives -1 when Ctrl-C cut the read short.
  int GetOneS();
  int GetOneSStream(FILE* in);
  int CheckBrace(const char* text);
  int CheckBrace2(const char* text);
  int CrTabOnly(const char* text);
  int AllBlank(const char* text);
  void SkipComment(FILE* in);
  void SkipTerm(char* text);

  // Reader-macro rewriting.
  int MakeFunctionText(char* text, int limit);
  int MakeQuoteText(char* text, int limit);
  int MakeBackQuoteText(char* text, int limit);
  int MakeCommaText(char* text, int limit);
  int MakeAstText(char* text, int limit);
  // The five steps in their fixed order; 0 as soon as one fails.
  int RewriteAll(char* text);
  char* taiou(char* p);
  void slide(char* p, int n);

  // Cutting text for the parser.
  void NewString(char* dst, const char* src);
  int isListString(const char* text) { return text[0] == '('; }
  const char* SkipSpc(const char* p) {
    while (*p == ' ') p++;
    return p;
  }
  char* SkipSpc(char* p) {
    while (*p == ' ') p++;
    return p;
  }
  void getCarString(char* dst, const char* text);
  void getCdrString(char* dst, const char* text);
  // The end of the first element of text and where the rest begins; false (after the
  // missing-parenthesis message) when a list element is not closed.
  bool splitFirst(const char* text, const char** carEnd, const char** rest);
  int AnaType(const char* atom);
  long double myatof(const char* atom);
  void getBunshi(const char* atom, char* dst);
  void getBunbo(const char* atom, char* dst);
  static const char* SkipDoubleQuote(const char* p);
  static char* SkipDoubleQuote(char* p) {
    return const_cast<char*>(SkipDoubleQuote(static_cast<const char*>(p)));
  }
  const char* SkipDoubleQuote2(const char* p) { return SkipDoubleQuote(p); }
  int isKanji(const unsigned char*) { return 0; }
  const char* getRestchar(const char* p) { return (p[0] == '\\' && p[1] != 0) ? p + 2 : p + 1; }

  // Printer helpers.
  void myftoa(char* buf, long double v);
  void princMojiretsu(const char* literal, FILE* out);

 private:
  enum class Rewrite { Function, Quote, BackQuote, Comma, Ast };
  int rewrite(char* text, int limit, Rewrite kind);
};

// The bytes the completeness tests skip before an expression: blanks and the reader-macro
// characters that may prefix it.
inline bool isPrefixOrSpace(char c) {
  return c == '\n' || c == '\r' || c == '\t' || c == ' ' || c == '\'' || c == '`' || c == ',' ||
         c == '@';
}
// Blank in the sense of the stream reader: blank, tab, carriage return or line feed.
inline bool isBlankByte(int c) {
  return c == ' ' || c == '\t' || c == '\r' || c == '\n';
}
inline bool isDigitByte(char c) {
  return c >= '0' && c <= '9';
}
// Steps over "#", a backslash and the byte after them (if the text has one).
inline const char* skipCharLiteral(const char* p) {
  p += 2;
  return *p ? p + 1 : p;
}
inline char* skipCharLiteral(char* p) {
  return const_cast<char*>(skipCharLiteral(static_cast<const char*>(p)));
}
