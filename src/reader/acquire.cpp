// Collecting the text of one complete expression from the terminal or from a file stream.
#include <cstring>

#include "reader/bracescan.h"
#include "reader/ctextproc.h"
#include "reader/terminal.h"

char lineStr[kLineMax + 3];

namespace {
const char kTooLong[] = "エラー: S式が長過ぎます。";
const char kTooManyClose[] = "エラー: )が多すぎます。";

}  // namespace

const char* ctextproc::SkipDoubleQuote(const char* p) {
  // Only the single previous byte decides whether a quote is escaped.
  char prev = '"';
  for (; *p; prev = *p, p++) {
    if (*p == '"' && prev != '\\') return p + 1;
  }
  return nullptr;
}

int ctextproc::GetOneS() {
  char chunk[256];
  size_t len = std::strlen(lineStr);
  long total = 0;
  for (;;) {
    if (!ReadTerminalLine(chunk, sizeof chunk)) return -1;
    size_t n = std::strlen(chunk);
    total += static_cast<long>(n);
    if (total > kLineMax) {
      std::puts(kTooLong);
      return 0;
    }
    std::memcpy(lineStr + len, chunk, n + 1);
    len += n;
    int r = CheckBrace(lineStr);
    if (r == 1) return 1;
    if (r == -1) {
      std::puts(kTooManyClose);
      return 0;
    }
  }
}

namespace {
// Counts parentheses from p, stepping over strings and character literals: 1 when the depth
// comes back to 0, -1 when it goes below 0, 0 when the text ends first (*ended) or inside a
// string (!*ended).
int countParens(const char* p, bool* ended) {
  int depth = 0;
  *ended = false;
  while (*p) {
    if (*p == '(') {
      depth++;
    } else if (*p == ')') {
      depth--;
      if (depth < 0) return -1;
      if (depth == 0) return 1;
    } else if (*p == '"') {
      p = ctextproc::SkipDoubleQuote(p + 1);
      if (!p) return 0;
      continue;
    } else if (*p == '#' && p[1] == '\\') {
      p = skipCharLiteral(p);
      continue;
    }
    p++;
  }
  *ended = true;
  return 0;
}
}  // namespace

int ctextproc::CheckBrace(const char* text) {
  bool ended;
  int r = countParens(text, &ended);
  if (r != 0 || !ended) return r;
  return CrTabOnly(text) ? 0 : 1;
}

int ctextproc::CrTabOnly(const char* text) {
  const char* p = text;
  while (isPrefixOrSpace(*p)) p++;
  if (*p == 0 || *p == '(' || *p == ')') return 1;
  if (*p == '"') return SkipDoubleQuote(p + 1) ? 0 : 1;
  return 0;
}

int ctextproc::AllBlank(const char* text) {
  for (const char* p = text; *p; p++) {
    if (!isBlankByte(static_cast<unsigned char>(*p))) return 0;
  }
  return 1;
}

void ctextproc::SkipComment(FILE* in) {
  int c;
  while ((c = std::getc(in)) != EOF && c != '\n') {
  }
}

int ctextproc::GetOneSStream(FILE* in) {
  size_t len = std::strlen(lineStr);
  long total = 0;
  bool inString = false;
  int prev1 = 0, prev2 = 0;  // the two bytes appended before the current one
  // The text so far is tested after every byte, as CheckBrace2 would test it.
  BraceScanner scanner;
  for (const char* p = lineStr; *p; p++) scanner.feed(*p);
  for (;;) {
    int c = std::getc(in);
    if (c == EOF) {
      if (total == 0) return 2;
      // A final atom without a line break is delivered; an unfinished list is dropped.
      return isBlankByte(prev1) ? 2 : 1;
    }
    if (c == '"') inString = !inString;
    if (c == ';' && !inString && !(prev2 == '#' && prev1 == '\\')) {
      SkipComment(in);
      continue;
    }
    if (total + 1 > kLineMax) {
      std::puts(kTooLong);
      return 0;
    }
    lineStr[len++] = static_cast<char>(c);
    lineStr[len] = 0;
    total++;
    prev2 = prev1;
    prev1 = c;
    int r = scanner.feed(static_cast<char>(c));
    if (r == 1) return 1;
    if (r == -1) {
      std::puts(kTooManyClose);
      return 0;
    }
  }
}

int ctextproc::CheckBrace2(const char* text) {
  const char* p = text;
  while (isPrefixOrSpace(*p)) p++;
  if (*p == 0) return 0;
  if (*p == ')') return -1;
  if (*p == '(') {
    bool ended;
    return countParens(p, &ended);
  }
  // An atom is complete once a separator follows it.
  for (p++; *p; p++) {
    if (isBlankByte(static_cast<unsigned char>(*p))) return 1;
  }
  return 0;
}

void ctextproc::SkipTerm(char* text) {
  char* p = text;
  while (*p) {
    if (*p == '"') {
      p = SkipDoubleQuote(p + 1);
      if (!p) return;  // an unterminated string: stop at the end of the text
      continue;
    }
    if (*p == '#' && p[1] == '\\') {
      p = skipCharLiteral(p);
      continue;
    }
    if (*p == '\n' || *p == '\r' || *p == '\t') *p = ' ';
    if (*p >= 'a' && *p <= 'z') *p = static_cast<char>(*p - 'a' + 'A');
    p++;
  }
}
