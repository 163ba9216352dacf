// Macro expansion and the backquote template walker.
#include "eval/cfunction.h"
#include "eval/fastpaths.h"
#include "top/keywords.h"

namespace {
// The tail after an unquote is taken even when it failed (its error is already reported);
// a failed tail ends the list.
inline _cell* tailOrNil(_cell* t) {
  return t ? t : NILCell;
}
}  // namespace

int cfunction::initTemplocForMacro(_symval* frame, long n, _cell* lambdaList, _cell* args) {
  long r = -1;
  if (n > 0 && !walkLambdaList(frame, n, lambdaList, true, &r)) return 0;
  if (n == 0 && lambdaList->type != 's') return 0;
  long v = r >= 0 ? n - 1 : n;
  for (long i = 0; i < v; i++) {
    if (i == r) {
      frame[i].value = args;  // the remaining argument forms themselves, shared
    } else {
      if (!consp(args)) return 0;  // too few
      frame[i].value = args->car;
      args = args->cdr;
    }
  }
  if (r >= 0) return 1;
  // Without parameters no argument is accepted at all.
  return args->type == 's' ? 1 : 0;
}

// Binds the argument forms and evaluates the macro body in its own frame, which is left on
// the local stack when the expansion is had (kExpanded). A failed expansion takes it off and
// releases it, so that exits caught around failing expansions cost no memory.
cfunction::Expansion cfunction::expand(_cell* args, _symval* record, _symval* callerFrame,
                                       long callerCount, long mark) {
  _cell* def = record->value;
  long n = shortLength(def->car);
  _symval* f = allocCallFrame(n);
  if (n > 0 && !f) {
    fail("エラー: ローカル変数領域の確保に失敗しました", callerFrame, callerCount);
    return {kFailed, nullptr, nullptr};
  }
  if (!initTemplocForMacro(f, n, def->car, args)) {
    releaseFrame(f);
    fail("エラー: 引数の数が違います", callerFrame, callerCount);
    return {kFailed, nullptr, nullptr};
  }
  if (!consp(def->cdr)) {
    releaseFrame(f);
    return {kNoBody, NILCell, nullptr};  // a definition without a body form expands to NIL
  }
  _symval** localTop = lsTop;
  IncLocStack(f, n);
  _cell* e;
  {
    CellFrame running(*this);  // the definition, even if the body redefines the macro
    running.protect(def);
    e = eval(def->cdr->car, f, n, mark);
  }
  if (!e) {
    setLocalTop(localTop);
    releaseFrame(f);
    return {kFailed, nullptr, nullptr};
  }
  return {kExpanded, e, f};
}

_cell* cfunction::MacroExec(_cell* args, _symval* record, _symval* callerFrame, long callerCount) {
  if (fastPathsOn) {
    if (RememberedExpansion* e =
            expansions.linked(args, record->value, codeEpoch, collections, writes)) {
      _cell* r = replayExpansion(*e, args, record, callerFrame, callerCount);
      if (r != kDeclined) return r;
    }
  }
  if (fastPathsOn && expansions.makeKey(record->value, args, keyScratch)) {
    RememberedExpansion* e = expansions.find(keyScratch, codeEpoch, collections);
    if (e) {
      expansions.link(args, record->value, e, writes);
      _cell* r = replayExpansion(*e, args, record, callerFrame, callerCount);
      if (r != kDeclined) return r;
    }
    return expandWatched(std::vector<uintptr_t>(keyScratch), args, record, callerFrame,
                         callerCount);
  }
  Expansion x = expand(args, record, callerFrame, callerCount, 0);
  if (x.outcome != kExpanded) return x.form;
  // The copy is evaluated, since evaluation may write into lambda forms of the expansion;
  // the macro frame stays on the local stack meanwhile.
  _cell* copy = Copy(x.form);
  _cell* r = copy ? evalProtected(copy, callerFrame, callerCount, 0)
                  : circularList(callerFrame, callerCount);
  PopLocStack();
  releaseFrame(x.frame);
  return r;
}

_cell* cfunction::MacroExec2(_cell* args, _symval* record, _symval* callerFrame, long callerCount,
                             long mark) {
  Expansion x = expand(args, record, callerFrame, callerCount, mark);
  if (x.outcome != kExpanded) return x.form;
  _cell* copy = Copy(x.form);
  PopLocStack();
  releaseFrame(x.frame);
  return copy ? copy : circularList(callerFrame, callerCount);
}

_cell* cfunction::backquote(_cell* args, _symval* frame, long count, long mark) {
  if (consp(args) && args->car == COMMA) {
    if (consp(args->cdr) && args->cdr->car == AST) {
      return fail("エラー: 文法が違います。", frame, count);  // ",@" directly under the backquote
    }
    if (consp(args->cdr) && args->cdr->cdr->type == 's') {
      return eval(args->cdr->car, frame, count, mark);  // a backquoted ,x is the value of x
    }
  }
  if (consp(args)) return backquote2(args->car, frame, count, mark);
  return fail("エラー: 文法が違います。", frame, count);
}

_cell* cfunction::backquote2(_cell* t, _symval* frame, long count, long mark) {
  CheckStackDepth();
  if (!consp(t)) return t;
  CellFrame cells(*this);
  cells.protect(t);
  _cell* r = nullptr;
  if (t->car == COMMA && consp(t->cdr) && t->cdr->car == AST) {
    // ",@form": splice a copy of the value.
    _cell* formCell = t->cdr->cdr;
    if (!consp(formCell)) {
      cells.release();
      return fail("エラー: ,の後に値がありません。", frame, count);
    }
    _cell* v = eval(formCell->car, frame, count, mark);
    if (!v) {
      r = nullptr;
    } else if (v == NILCell) {
      r = backquote2(formCell->cdr, frame, count, mark);
    } else if (!consp(v)) {
      cells.release();
      return fail("エラー: リストでないものは連結できません。", frame, count);
    } else {
      r = Copy(v);
      if (!r) {
        cells.release();
        return circularList(frame, count);
      }
      cells.protect(r);
      _cell* rest = tailOrNil(backquote2(formCell->cdr, frame, count, mark));
      setCdr(LastCell(r), rest);
    }
  } else if (t->car == COMMA) {
    if (!consp(t->cdr)) {
      cells.release();
      return fail("エラー: ,の後に値がありません。", frame, count);
    }
    _cell* c = cells.protect(getCell());
    _cell* v = eval(t->cdr->car, frame, count, mark);
    if (v) {
      setCar(c, v);
      setCdr(c, tailOrNil(backquote2(t->cdr->cdr, frame, count, mark)));
      r = c;
    }
  } else {
    _cell* c = cells.protect(getCell());
    _cell* a = backquote2(t->car, frame, count, mark);
    if (a) {
      setCar(c, a);
      _cell* d = backquote2(t->cdr, frame, count, mark);
      if (d) {
        setCdr(c, d);
        r = c;
      }
    }
  }
  cells.release();
  return r;
}
