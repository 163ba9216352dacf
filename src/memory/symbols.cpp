// The symbol table: names in the string text area, one registered cell per interned name.
#include <cstring>

#include "memory/cmemory.h"

namespace {
// The string address area holds at most 99,999 symbols.
constexpr long kMaxRegistered = 99999;
}  // namespace

char* cmemory::getString(const char* name) {
  long n = static_cast<long>(std::strlen(name));
  if (strCursor + n + 2 - strBase >= kStringBytes)
    Fatal("エラー: ストリング領域が一杯です。終了します。");
  char* copy = strCursor;
  std::memcpy(copy, name, static_cast<size_t>(n) + 1);
  strCursor += n + 1;
  return copy;
}

_cell* cmemory::CheckStringCell(const char* name) {
  return symHash.find(name);
}

_cell* cmemory::getStringCell(const char* name) {
  if (_cell* found = CheckStringCell(name)) return found;
  return newSymbol(name, name[0] == ':' ? 'c' : 'u');
}

_cell* cmemory::getStringCellWide(const char* name) {
  return newSymbol(name, 'g');
}

_cell* cmemory::newSymbol(const char* name, char sub) {
  char* copy = getString(name);
  _cell* c = getCell();
  c->type = 's';
  c->sub = sub;
  c->car = reinterpret_cast<_cell*>(copy);
  allSymbols.push_back(static_cast<uint32_t>(c - cellBase));
  if (symTop - symBase >= kMaxRegistered) {
    // Refused: the text and the cell stay used, the symbol is never registered.
    std::puts("エラー: ストリングの数が多すぎます");
    return nullptr;
  }
  *symTop++ = c;
  if (sub != 'g') symHash.insert(c);  // uninterned symbols count but are never found by name
  return c;
}

_cell* cmemory::getMojiCell(char c1, char c2) {
  _cell* c = getCell();
  c->type = 'm';
  c->car = reinterpret_cast<_cell*>(static_cast<long>(c1));
  c->cdr = reinterpret_cast<_cell*>(
      isKanji(reinterpret_cast<const unsigned char*>(&c1)) ? static_cast<long>(c2) : 0L);
  return c;
}
