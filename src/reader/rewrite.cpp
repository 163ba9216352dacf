// Rewriting the reader-macro characters into plain list text, in place.
#include <cstring>

#include "reader/ctextproc.h"

namespace {
const char kTooLong[] = "エラー: Ｓ式が長すぎます";
}  // namespace

void ctextproc::slide(char* p, int n) {
  std::memmove(p + n, p, std::strlen(p) + 1);
}

char* ctextproc::taiou(char* p) {
  p = SkipSpc(p);
  while (*p == '\'' || *p == '`' || *p == ',' || *p == '@') p++;
  if (*p == '(') {
    int depth = 0;
    while (*p) {
      if (*p == '(') {
        depth++;
      } else if (*p == ')') {
        if (--depth == 0) return p + 1;
      } else if (*p == '"') {
        char* q = SkipDoubleQuote(p + 1);
        if (!q) return p + std::strlen(p);
        p = q;
        continue;
      } else if (*p == '#' && p[1] == '\\') {
        p = skipCharLiteral(p);
        continue;
      }
      p++;
    }
    return p;  // an unclosed list ends with the text
  }
  while (*p && *p != ')' && *p != ' ' && *p != '(') {
    if (*p == '"') {
      char* q = SkipDoubleQuote(p + 1);
      if (!q) return p + std::strlen(p);
      p = q;
      continue;
    }
    if (*p == '#' && p[1] == '\\') {
      p = skipCharLiteral(p);
      continue;
    }
    p++;
  }
  return p;
}

int ctextproc::rewrite(char* text, int limit, Rewrite kind) {
  long len = static_cast<long>(std::strlen(text));
  if (len >= limit) {
    std::puts(kTooLong);
    return 0;
  }
  char* p = text;
  for (;;) {
    if (*p == 0) return 1;
    if (*p == '"') {
      p = SkipDoubleQuote(p + 1);
      if (!p) return 0;
      continue;
    }
    if (*p == '#' && p[1] == '\\') {
      p = skipCharLiteral(p);
      continue;
    }
    const char* head = nullptr;  // the head written by a wrapping step
    int inserted = 0;
    switch (kind) {
      case Rewrite::Function:
        if (p[0] == '#' && p[1] == '\'') head = "FUNCTION ", inserted = 8;
        break;
      case Rewrite::Quote:
        if (*p == '\'') head = "QUOTE ", inserted = 6;
        break;
      case Rewrite::BackQuote:
        if (*p == '`') head = "BACKQUOTE ", inserted = 10;
        break;
      case Rewrite::Comma:
      case Rewrite::Ast:
        if (*p == (kind == Rewrite::Comma ? ',' : '@')) {
          if (++len >= limit) {
            std::puts(kTooLong);
            return 0;
          }
          slide(p + 1, 1);
          p[1] = ' ';
          p += 2;
          continue;
        }
        break;
    }
    if (!head) {
      p++;
      continue;
    }
    *p = '(';
    len += inserted;
    if (len >= limit) {
      std::puts(kTooLong);
      return 0;
    }
    slide(p + 1, inserted);
    size_t headLen = std::strlen(head);
    std::memcpy(p + 1, head, headLen);
    char* blank = p + headLen;
    char* end = taiou(blank);
    if (++len >= limit) {
      std::puts(kTooLong);
      return 0;
    }
    slide(end, 1);
    *end = ')';
    p = blank;  // macros inside the wrapped expression are rewritten by the same pass
  }
}

int ctextproc::MakeFunctionText(char* text, int limit) {
  return rewrite(text, limit, Rewrite::Function);
}
int ctextproc::MakeQuoteText(char* text, int limit) {
  return rewrite(text, limit, Rewrite::Quote);
}
int ctextproc::MakeBackQuoteText(char* text, int limit) {
  return rewrite(text, limit, Rewrite::BackQuote);
}
int ctextproc::MakeCommaText(char* text, int limit) {
  return rewrite(text, limit, Rewrite::Comma);
}
int ctextproc::MakeAstText(char* text, int limit) {
  return rewrite(text, limit, Rewrite::Ast);
}

int ctextproc::RewriteAll(char* text) {
  return MakeFunctionText(text, kLineMax) && MakeQuoteText(text, kLineMax) &&
         MakeBackQuoteText(text, kLineMax) && MakeCommaText(text, kLineMax) &&
         MakeAstText(text, kLineMax);
}
