// CATCH/THROW, BLOCK/RETURN-FROM and UNWIND-PROTECT. An exit returns null, the same null as a
// failure, with a pending flag set; the receiver recognises its tag (by identity) and takes it.
#include "eval/cfunction.h"
#include "top/keywords.h"

_cell* cfunction::catch_lisp(_cell* args, _symval* frame, long count) {
  if (!consp(args)) return fail("エラー: CATCHの引数が異常です\n", frame, count);
  _cell* tag = eval(args->car, frame, count, 0);
  if (!tag) {
    std::puts("エラー: CATCHのタグの名前の評価に失敗しました\n");
    return nullptr;
  }
  StackTops start(*this);
  CellFrame cells(*this);
  cells.protect(tag);
  cells.protect(args);
  _cell* r = NILCell;
  for (_cell* p = args->cdr; consp(p); p = p->cdr) {
    r = eval(p->car, frame, count, 0);
    if (!r) {
      if (throwFlag && throwTag == tag) {
        throwFlag = 0;
        r = throwValue;
      }
      break;
    }
  }
  return r;
}

_cell* cfunction::throw_lisp(_cell* args, _symval* frame, long count) {
  const char kBadArgs[] = "エラー: THROWの引数が異常です\n";
  if (!consp(args)) return fail(kBadArgs, frame, count);
  throwTag = eval(args->car, frame, count, 0);
  if (!throwTag) {
    std::puts("エラー: THROWのタグの名前の評価に失敗しました\n");
    return nullptr;
  }
  if (!consp(args->cdr)) return fail(kBadArgs, frame, count);
  {
    CellFrame cells(*this);
    cells.protect(throwTag);
    throwValue = eval(args->cdr->car, frame, count, 0);  // a failed value travels as it is
  }
  throwFlag = 1;
  return nullptr;
}

_cell* cfunction::block_lisp(_cell* args, _symval* frame, long count) {
  if (!consp(args)) return fail("エラー: BLOCKの引数が異常です\n", frame, count);
  _cell* name = args->car;
  if (name->type != 's') return fail("エラー: BLOCKの名前が異常です", frame, count);
  StackTops start(*this);
  CellFrame cells(*this);
  cells.protect(args);
  _cell* r = NILCell;
  for (_cell* p = args->cdr; consp(p); p = p->cdr) {
    r = eval(p->car, frame, count, 0);
    if (!r) {
      // A RETURN-FROM that crossed a function call arrives without its value.
      if (returnFromFlag && returnFromName == name && returnFromValue) {
        returnFromFlag = 0;
        r = returnFromValue;
      }
      break;
    }
  }
  return r;
}

_cell* cfunction::return_from_lisp(_cell* args, _symval* frame, long count) {
  if (!consp(args)) return fail("エラー: RETURN-FROMの引数が異常です\n", frame, count);
  returnFromName = args->car;
  if (returnFromName->type != 's') return fail("エラー: RETURN-FROMの名前が異常です", frame, count);
  _cell* value = NILCell;
  if (consp(args->cdr)) {
    value = eval(args->cdr->car, frame, count, 0);
    if (!value) return nullptr;  // no exit is set off
  }
  returnFromValue = value;
  returnFromFlag = 1;
  return nullptr;
}

_cell* cfunction::unwind_protect(_cell* args, _symval* frame, long count) {
  if (!consp(args) || !(consp(args->cdr) || args->cdr == NILCell)) {
    return fail("エラー: UNWIND-PROTECTの引数が異常です\n", frame, count);
  }
  _cell* protectedValue;
  _cell* cleanup;
  {
    CellFrame cells(*this);
    cells.protect(args);
    protectedValue = eval(args->car, frame, count, 0);
    if (protectedValue) cells.protect(protectedValue);
    // The cleanup runs whatever happened; a pending exit stays pending (and its value a
    // root) meanwhile.
    cleanup = tprogn(args->cdr, frame, count, 0);
  }
  if (cleanup) return protectedValue;
  throwFlag = 0;  // a failing cleanup cancels a pending THROW (not a RETURN-FROM)
  return nullptr;
}
