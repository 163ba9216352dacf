// Cutting normalised text into elements and classifying atoms for the parser.
#include <cstring>

#include "reader/ctextproc.h"

void ctextproc::NewString(char* dst, const char* src) {
  src = SkipSpc(src);
  if (*src == '(') {
    *dst++ = '(';
    src = SkipSpc(src + 1);
  }
  std::strcpy(dst, src);
}

bool ctextproc::splitFirst(const char* text, const char** carEnd, const char** rest) {
  const char* p = text;
  if (*p != '(') {
    // An atom ends at a blank or a parenthesis outside string and character literals.
    while (*p && *p != ' ' && *p != '(' && *p != ')') {
      if (p[0] == '#' && p[1] == '\\' && p[2]) {
        p += 3;
      } else if (*p == '"') {
        const char* q = SkipDoubleQuote(p + 1);
        p = q ? q : p + std::strlen(p);
      } else {
        p++;
      }
    }
    *carEnd = p;
    *rest = (*p == ' ') ? p + 1 : p;
    return true;
  }
  int depth = 0;
  while (*p) {
    if (*p == '(') {
      depth++;
    } else if (*p == ')') {
      if (--depth == 0) {
        *carEnd = *rest = p + 1;
        return true;
      }
    } else if (p[0] == '#' && p[1] == '\\' && p[2]) {
      p += 3;
      continue;
    } else if (*p == '"') {
      const char* q = SkipDoubleQuote(p + 1);
      p = q ? q : p + std::strlen(p);
      continue;
    }
    p++;
  }
  *carEnd = *rest = p;
  return false;
}

namespace {
const char kNoCloseParen[] = "エラー: 右括弧が足りません";
}

void ctextproc::getCarString(char* dst, const char* text) {
  const char *end, *rest;
  if (!splitFirst(text, &end, &rest)) {
    std::puts(kNoCloseParen);
    dst[0] = 0;
    return;
  }
  size_t n = static_cast<size_t>(end - text);
  std::memcpy(dst, text, n);
  dst[n] = 0;
}

void ctextproc::getCdrString(char* dst, const char* text) {
  const char *end, *rest;
  if (!splitFirst(text, &end, &rest)) {
    std::puts(kNoCloseParen);
    dst[0] = 0;
    return;
  }
  std::strcpy(dst, rest);
}

namespace {
// Digits from p on; returns the first byte after them.
inline const char* skipDigits(const char* p) {
  while (isDigitByte(*p)) p++;
  return p;
}
// A run of digits starting at p, then "." and a digit.
bool digitsThenPoint(const char* p) {
  if (!isDigitByte(*p)) return false;
  p = skipDigits(p);
  return p[0] == '.' && isDigitByte(p[1]);
}
// A run of digits starting at p, then "E" and a digit or sign.
bool digitsThenExponent(const char* p) {
  if (!isDigitByte(*p)) return false;
  p = skipDigits(p);
  return p[0] == 'E' && (isDigitByte(p[1]) || p[1] == '+' || p[1] == '-');
}
// A run of digits starting at p: a fraction when "/" and a digit follow, else an integer.
int integerOrFraction(const char* p) {
  p = skipDigits(p);
  return (p[0] == '/' && isDigitByte(p[1])) ? kFraction : kInteger;
}
}  // namespace

int ctextproc::AnaType(const char* a) {
  if (std::strcmp(a, "1+") == 0 || std::strcmp(a, "1-") == 0) return kSymbol;
  if (a[0] == '.' && isDigitByte(a[1])) return kFloat;
  if (a[0] == '-' && a[1] == '.' && isDigitByte(a[2])) return kFloat;
  if (digitsThenPoint(a)) return kFloat;
  if (a[0] == '-' && digitsThenPoint(a + 1)) return kFloat;
  if (digitsThenExponent(a)) return kFloat;
  if (a[0] == '-' && digitsThenExponent(a + 1)) return kFloat;
  if (isDigitByte(a[0])) return integerOrFraction(a + 1);
  if (a[0] == '-' && isDigitByte(a[1])) return integerOrFraction(a + 2);
  if (a[0] == '"') return kString;
  if (a[0] == '#' && a[1] == '\\' && a[2]) return kCharacter;
  return kSymbol;
}

long double ctextproc::myatof(const char* atom) {
  long double v = 0;
  std::sscanf(atom, "%Lg", &v);
  return v;
}

void ctextproc::getBunshi(const char* atom, char* dst) {
  // The numerator text goes into a 32-byte buffer: longer digit strings are cut.
  size_t n = std::strcspn(atom, "/");
  if (n > 31) n = 31;
  std::memcpy(dst, atom, n);
  dst[n] = 0;
}

void ctextproc::getBunbo(const char* atom, char* dst) {
  // The denominator text goes into a 24-byte buffer: longer digit strings are cut.
  const char* slash = std::strchr(atom, '/');
  const char* src = slash ? slash + 1 : atom + std::strlen(atom);
  size_t n = std::strlen(src);
  if (n > 23) n = 23;
  std::memcpy(dst, src, n);
  dst[n] = 0;
}
