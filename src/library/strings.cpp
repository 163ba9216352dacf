// Strings, characters and symbol names. Strings are character arrays; counts and indices are
// in bytes, so a UTF-8 character is several characters here.
#include <string>

#include "eval/cfunction.h"
#include "top/keywords.h"

namespace {
const char kCharUsage[] = "エラー: 文法が間違っています。";
const char kCoerceUsage[] = "エラー: COERCE: 文法が間違っています。";
const char kNoArgument[] = "引数が足りません";
const char kBrokenArray[] = "エラー: 配列が壊れています";
}  // namespace

_cell* cfunction::lengthOfChain(_cell* chain, _symval* frame, long count) {
  chainMemo.refresh(structureWrites, collections, fastPathsOn);
  if (chain == chainMemo.measured) return IntToCell(chainMemo.length);
  long n = chainLength(chain);
  if (n < 0) return circularList(frame, count);
  chainMemo.measured = chain;
  chainMemo.length = n;
  return IntToCell(n);
}

// The cons at index k of the chain, or the first non-cons before it; a walk on from the last
// position reached in the same chain when k is not before it.
_cell* cfunction::chainAt(_cell* chain, long k) {
  chainMemo.refresh(structureWrites, collections, fastPathsOn);
  _cell* p = chain;
  long from = 0;
  if (chain == chainMemo.walked && k >= chainMemo.index) {
    p = chainMemo.at;
    from = chainMemo.index;
  }
  for (long i = from; i < k && consp(p); i++) p = p->cdr;
  if (consp(p)) {
    chainMemo.walked = chain;
    chainMemo.index = k;
    chainMemo.at = p;
  }
  return p;
}

_cell* cfunction::jlength(_cell* v, _symval* frame, long count) {
  if (v == NILCell || consp(v)) return lengthOfChain(v, frame, count);
  if (v->type == 'a') {
    if (v->car->type != 'i') {
      std::puts(kBrokenArray);
      return nullptr;
    }
    if (ival(v->car) != 1) {
      std::puts("エラー: 一次元配列ではありません");
      return nullptr;
    }
    if (!consp(v->cdr)) {
      std::puts(kBrokenArray);
      return nullptr;
    }
    return lengthOfChain(v->cdr->cdr, frame, count);
  }
  if (v->type == 'r') {
    // Characters between the quotes; an escaped quote or backslash is one character.
    const char* p = symname(v) + 1;
    long n = 0;
    while (*p && !(*p == '"' && p[1] == 0)) {
      p += (p[0] == '\\' && (p[1] == '"' || p[1] == '\\')) ? 2 : 1;
      n++;
    }
    return IntToCell(n);
  }
  std::puts("エラー: 対象はリストか文字列でなくてはなりません。");
  return nullptr;
}

_cell* cfunction::tchar(_cell* args, _symval* frame, long count, long mark) {
  if (!consp(args)) return fail(kCharUsage, frame, count);
  CellFrame cells(*this);
  cells.protect(args);
  _cell* str = eval(args->car, frame, count, mark);
  if (!str) {
    cells.release();
    return nullptr;
  }
  if (!consp(args->cdr)) {
    cells.release();
    return fail(kCharUsage, frame, count);
  }
  cells.protect(str);
  _cell* index = eval(args->cdr->car, frame, count, mark);
  cells.release();
  if (!index) return nullptr;
  if (!isString(str) || index->type != 'i' || ival(index) < 0)
    return fail(kCharUsage, frame, count);
  _cell* p = chainAt(str->cdr->cdr, ival(index));
  return consp(p) ? p->car : NILCell;  // past the end: NIL, without a message
}

_cell* cfunction::coerce(_cell* args, _symval* frame, long count, long mark) {
  if (!consp(args)) return fail(kCoerceUsage, frame, count);
  CellFrame cells(*this);
  cells.protect(args);
  _cell* obj = eval(args->car, frame, count, mark);
  if (!obj) {
    cells.release();
    return nullptr;
  }
  if (!consp(args->cdr)) {
    cells.release();
    return fail(kCoerceUsage, frame, count);
  }
  cells.protect(obj);
  _cell* spec = eval(args->cdr->car, frame, count, mark);
  cells.release();
  if (!spec) return nullptr;
  int chars = (spec == STRING && (obj == NILCell || consp(obj))) ? isAllMoji(obj) : 0;
  if (chars < 0) return circularList(frame, count);
  if (chars) {
    // The characters are atoms: the copy cannot meet a cycle.
    _cell* arr = newStringShell();
    arr->cdr->cdr = Copy(obj);
    return arr;
  }
  if (spec == LIST && isString(obj)) {
    _cell* list = Copy(obj->cdr->cdr);
    return list ? list : circularList(frame, count);
  }
  if (spec == FUNCTION) return obj;
  return fail(kCoerceUsage, frame, count);
}

_cell* cfunction::StringEqual(_cell* a, _cell* b) {
  if (!isString(a) || !isString(b)) return NILCell;
  _cell* p = a->cdr->cdr;
  _cell* q = b->cdr->cdr;
  // Byte-exact, so case-sensitive. The pair of positions goes round a cycle only when both
  // strings are circular: coming back to a pair already compared, the rest repeats what has
  // been found equal, so the strings are equal without end.
  PairGuard guard;
  for (; consp(p) && consp(q); p = p->cdr, q = q->cdr) {
    if (guard.revisits(p, q)) return TCell;
    if (p->car->type != 'm' || q->car->type != 'm') return NILCell;
    if (static_cast<unsigned char>(chval(p->car)) != static_cast<unsigned char>(chval(q->car)) ||
        static_cast<unsigned char>(ch2val(p->car)) != static_cast<unsigned char>(ch2val(q->car))) {
      return NILCell;
    }
  }
  return (!consp(p) && !consp(q)) ? TCell : NILCell;
}

_cell* cfunction::char_to_code(_cell* args, _symval* frame, long count, long mark) {
  const char kUsage[] = "エラー: CHAR-CODEの使い方が間違っています。";
  if (!consp(args)) return fail(kUsage, frame, count);
  _cell* v = eval(args->car, frame, count, mark);
  if (!v) return nullptr;
  if (v->type != 'm') return fail(kUsage, frame, count);
  return IntToCell(chval(v) & 0xff);
}

_cell* cfunction::code_to_char(_cell* args, _symval* frame, long count, long mark) {
  const char kUsage[] = "エラー: CODE-CHARの使い方が間違っています。";
  if (!consp(args)) return fail(kUsage, frame, count);
  _cell* v = eval(args->car, frame, count, mark);
  if (!v) return nullptr;
  if (v->type != 'i' || ival(v) < 0) return fail(kUsage, frame, count);
  // The low byte, not sign-extended (codes above 255 wrap silently).
  _cell* c = getCell();
  c->type = 'm';
  c->car = reinterpret_cast<_cell*>(ival(v) & 0xff);
  c->cdr = nullptr;
  return c;
}

_cell* cfunction::symbolname(_cell* args, _symval* frame, long count, long mark) {
  if (!consp(args)) return fail(kNoArgument, frame, count);
  _cell* v = eval(args->car, frame, count, mark);
  if (!v) return nullptr;
  if (v->type != 's') return fail("シンボルではありません", frame, count);
  const char* name = symname(v);
  if (name[0] == ':') name++;
  // The name between double quotes is read as a string literal.
  std::string literal = "\"";
  literal += name;
  literal += '"';
  return getMojiretsuCell(literal.c_str());
}

_cell* cfunction::internName(_cell* args, _symval* frame, long count, long mark, bool wide) {
  if (!consp(args)) return fail(kNoArgument, frame, count);
  _cell* v = eval(args->car, frame, count, mark);
  if (!v) return nullptr;
  if (!isString(v)) return fail("文字列ではありません", frame, count);
  std::string name(static_cast<size_t>(stringByteLength(v->cdr->cdr)) + 1, '\0');
  GetStringC(v->cdr->cdr, &name[0]);
  const char* prefix = wide ? "エラー: INTERN-WIDEは現在のところ" : "エラー: INTERNは現在のところ";
  for (const char* p = name.c_str(); *p; p++) {
    const char* problem = nullptr;
    if (*p >= 'a' && *p <= 'z') {
      problem = "小文字を含む文字列には対応していません";
    } else if (*p == ' ' || *p == '@' || *p == ',' || *p == '\'' || *p == ';' || *p == ':' ||
               *p == '"') {
      problem = "その文字を含む文字列には対応していません";
    }
    if (problem) return fail((std::string(prefix) + problem).c_str(), frame, count);
  }
  if (name[0] == 0) {
    return fail((std::string(prefix) + "空文字列には対応していません").c_str(), frame, count);
  }
  _cell* second = NILCell;
  _cell* sym;
  if (wide) {
    sym = getStringCellWide(name.c_str());
  } else {
    if (CheckStringCell(name.c_str())) second = TINTERNAL;
    sym = getStringCell(name.c_str());
  }
  if (!sym) return nullptr;
  touchCell(sym);
  notePutValuesOnOld(sym);
  sym->values = list2(sym, second);  // stays on the symbol afterwards
  return sym;
}

_cell* cfunction::t_intern(_cell* args, _symval* frame, long count, long mark) {
  return internName(args, frame, count, mark, false);
}

_cell* cfunction::t_intern_wide(_cell* args, _symval* frame, long count, long mark) {
  return internName(args, frame, count, mark, true);
}

int cfunction::isAllMoji(_cell* list) {
  CycleGuard guard;
  for (; consp(list); list = list->cdr) {
    if (list->car->type != 'm') return 0;
    if (guard.revisits(list)) return -1;
  }
  return list == NILCell;
}

long cfunction::getRealMojiretsuLen(_cell* list) {
  long n = 0;
  CycleGuard guard;
  for (; consp(list); list = list->cdr) {
    if (guard.revisits(list)) FatalTooDeep();
    if (list->car->type != 'm') return -1;
    char b = static_cast<char>(chval(list->car));
    n += (b == '\\' || b == '"') ? 2 : 1;
  }
  return n;
}
