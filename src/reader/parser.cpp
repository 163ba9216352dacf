// The parser: normalised text into cells. A list is cut into the text of its first element
// and the text of the rest, and the rest is read again as "(" + rest. The rest of a list is
// always a suffix of the text, so it is followed here by a loop over that suffix instead of
// a fresh copy per element; the cells, their order and the messages are the same.
#include <cstring>
#include <string>

#include "memory/cmemory.h"
#include "top/keywords.h"

namespace {
const char kNoCloseParen[] = "エラー: 右括弧が足りません";
}  // namespace

_cell* cmemory::readFromString(const char* text) {
  CheckStackDepth();
  const char* t = SkipSpc(text);
  if (*t != '(') return readElement(t);
  _cell* result = nullptr;
  _cell** slot = &result;
  const char* body = SkipSpc(t + 1);  // the blanks after "(" are dropped
  for (;;) {
    if (body[0] == ')' || body[0] == 0) {
      // "()" ends the list; a text that stops without its ")" is closed here.
      *slot = NILCell;
      return result;
    }
    if (body[0] == '.' && body[1] == ' ') {
      // "(. x": the tail of a dotted list is the one object x; anything after it is ignored.
      t = SkipSpc(body + 2);
      if (*t != '(') {
        *slot = readElement(t);
        return *slot ? result : nullptr;
      }
      body = SkipSpc(t + 1);
      continue;
    }
    const char *carEnd, *rest;
    if (!splitFirst(body, &carEnd, &rest)) {
      // Neither the first element nor the rest has its ")": both read as empty text.
      std::puts(kNoCloseParen);
      std::puts(kNoCloseParen);
      carEnd = body;
      rest = body + std::strlen(body);
    }
    _cell* cell = getCell();
    *slot = cell;
    std::string carText(body, static_cast<size_t>(carEnd - body));
    _cell* element = readFromString(carText.c_str());
    if (!element) return nullptr;
    cell->car = element;
    slot = &cell->cdr;
    body = SkipSpc(rest);
  }
}

_cell* cmemory::readElement(const char* text) {
  const char *end, *rest;
  splitFirst(text, &end, &rest);  // an atom: always found
  std::string atom(text, static_cast<size_t>(end - text));
  const char* a = atom.c_str();
  switch (AnaType(a)) {
    case kFloat:
      return NumberToCell(myatof(a));
    case kInteger: {
      long v = 0;
      std::sscanf(a, "%ld", &v);
      return IntToCell(v);
    }
    case kFraction: {
      char numText[32], denText[24];
      long num = 0, den = 0;
      getBunshi(a, numText);
      std::sscanf(numText, "%ld", &num);
      if (num == 0) return IntToCell(0);
      getBunbo(a, denText);
      std::sscanf(denText, "%ld", &den);
      if (den == 0) {
        std::puts("エラー: 0で割りました。");
        return nullptr;
      }
      long n, d;
      yakubun(num, den, &n, &d);
      if (d == 1) return IntToCell(n);
      return BunsuToCell(n, d);
    }
    case kString:
      return getMojiretsuCell(a);
    case kCharacter:
      return getMojiCell(a[2], 0);
    default:
      return getStringCell(a);
  }
}

_cell* cmemory::get1char(const char* p) {
  char c = (p[0] == '\\' && p[1] != 0) ? p[1] : p[0];
  return getMojiCell(c, 0);
}

_cell* cmemory::getMojiretsuCell(const char* literal) {
  _cell* arr = newStringShell();
  _cell* tail = arr->cdr;
  for (const char* p = literal + 1; *p && *p != '"'; p = getRestchar(p)) {
    _cell* ch = get1char(p);
    _cell* l = getCell();
    l->car = ch;
    tail->cdr = l;
    tail = l;
  }
  return arr;
}

_cell* cmemory::makeString(const char* bytes, size_t n) {
  _cell* arr = newStringShell();
  _cell* tail = arr->cdr;
  for (size_t i = 0; i < n; i++) {
    _cell* ch = getMojiCell(bytes[i], 0);
    _cell* l = getCell();
    l->car = ch;
    tail->cdr = l;
    tail = l;
  }
  return arr;
}

_cell* cmemory::newStringShell() {
  _cell* one = IntToCell(1);
  _cell* arr = getCell();
  arr->type = 'a';
  arr->car = one;
  _cell* head = getCell();
  head->car = CHARACTER;
  arr->cdr = head;
  return arr;
}
