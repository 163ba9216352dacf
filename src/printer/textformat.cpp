// Text forms used by the printer: floats and string literals kept as source text.
#include <cstdio>
#include <cstring>

#include "reader/ctextproc.h"

void ctextproc::myftoa(char* buf, long double v) {
  std::sprintf(buf, "%.15Lg", v);
  // A text without a point or an exponent gets ".0" (so "inf.0" and "nan.0" too).
  if (!std::strchr(buf, '.') && !std::strchr(buf, 'e')) std::strcat(buf, ".0");
}

void ctextproc::princMojiretsu(const char* literal, FILE* out) {
  size_t n = std::strlen(literal);
  if (n == 0) return;
  // Between the opening quote and the last byte (the closing quote).
  for (size_t i = 1; i + 1 < n; i++) {
    if (literal[i] == '\\' && (literal[i + 1] == '\\' || literal[i + 1] == '"') && i + 2 < n) i++;
    std::fputc(literal[i], out);
  }
}
