// The global variable table and the function table. Both only grow and records never move,
// so a symbol remembers where its first record is (a hint checked on every use).
#include "memory/cmemory.h"

namespace {
// 3,199 records at most: adding one more ends the process.
constexpr long kTableBytesLimit = 76752;
}  // namespace

_symval* cmemory::findGlobal(_cell* symbol) {
  if (symbol->type != 's') return nullptr;
  _symval* hint = reinterpret_cast<_symval*>(symbol->cdr);
  if (hint >= gvBase && hint < gvBase + gvTop && hint->symbol == symbol) return hint;
  for (long i = 0; i < gvTop; i++) {
    if (gvBase[i].symbol == symbol) {
      symbol->cdr = reinterpret_cast<_cell*>(gvBase + i);
      return gvBase + i;
    }
  }
  return nullptr;
}

_symval* cmemory::findFunc(_cell* symbol) {
  if (symbol->type != 's') return nullptr;
  _symval* hint = symbol->env;
  if (hint >= fnBase && hint < fnBase + fnTop && hint->symbol == symbol) return hint;
  for (long i = 0; i < fnTop; i++) {
    if (fnBase[i].symbol == symbol) {
      symbol->env = fnBase + i;
      return fnBase + i;
    }
  }
  return nullptr;
}

long cmemory::getSymVal(_cell* symbol) {
  _symval* r = findGlobal(symbol);
  return r ? r - gvBase : -1;
}

long cmemory::getSymVal2(_cell* symbol) {
  if (_symval* r = findGlobal(symbol)) return r - gvBase;
  if (gvTop * static_cast<long>(sizeof(_symval)) > kTableBytesLimit)
    Fatal("エラー: グローバル変数領域が不足しています。終了します。");
  touchRoots();  // a new root
  _symval* r = gvBase + gvTop++;
  r->tag = 0;
  r->symbol = symbol;
  r->value = nullptr;
  if (symbol && symbol->type == 's') symbol->cdr = reinterpret_cast<_cell*>(r);
  return r - gvBase;
}

_symval* cmemory::getFuncval(_cell* symbol) {
  if (_symval* r = findFunc(symbol)) return r;
  if (fnTop * static_cast<long>(sizeof(_symval)) > kTableBytesLimit)
    Fatal("エラー: 関数領域が一杯になりました。終了します。");
  touchRoots();
  return fnBase + fnTop++;  // reserved for the caller to fill
}

_symval* cmemory::getFuncval2(_cell* symbol) {
  return findFunc(symbol);
}
