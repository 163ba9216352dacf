// Interning the built-in symbols at start-up, in the order of the keyword table.
#include "top/keywords.h"

#include "top/clisp.h"

#define TSUMUGI_DEFINE_KEYWORD(global, name, ...) _cell* global = nullptr;
TSUMUGI_KEYWORDS(TSUMUGI_DEFINE_KEYWORD, TSUMUGI_DEFINE_KEYWORD)
#undef TSUMUGI_DEFINE_KEYWORD
_cell* NIL = nullptr;
_cell* T = nullptr;

void clisp::SetKeyword() {
#define TSUMUGI_INTERN_KEYWORD(global, name, ...) global = getStringCell(name);
  TSUMUGI_KEYWORDS_HEAD(TSUMUGI_INTERN_KEYWORD, TSUMUGI_INTERN_KEYWORD)
  NILCell = getStringCell("NIL");
  TCell = getStringCell("T");
  NIL = getStringCell("NIL");
  long g = getSymVal2(NIL);
  gvBase[g].symbol = NIL;
  gvBase[g].value = NILCell;
  T = getStringCell("T");
  g = getSymVal2(T);
  gvBase[g].symbol = T;
  gvBase[g].value = TCell;
  TSUMUGI_KEYWORDS_TAIL(TSUMUGI_INTERN_KEYWORD, TSUMUGI_INTERN_KEYWORD)
#undef TSUMUGI_INTERN_KEYWORD

  for (uint8_t code = 1; code < kHeadCount; code++) {
    if (_cell* symbol = *kHeadSymbols[code]) symbol->code = code;
  }
}
