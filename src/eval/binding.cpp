// LET, LET* and PROG**: new frames that copy the enclosing one and write it back.
#include "eval/cfunction.h"
#include "top/keywords.h"

namespace {
const char kBadForm[] = "エラー: 文法が違います。";
const char kNoFrame[] = "エラー: 局所変数域の確保に失敗しました。";
// The outer records, copied after the k new ones.
void copyEnclosing(_symval* f, long k, _symval* frame, long count) {
  for (long i = 0; i < count; i++) f[k + i] = frame[i];
}
}  // namespace

_cell* cfunction::Let(_cell* args, _symval* frame, long count, long mark) {
  if (!consp(args)) return fail(kBadForm, frame, count);
  long k = tlength(args->car);
  if (k == 0) return tprogn(args->cdr, frame, count, moveMark(mark, k));
  return bindAndRun(args, k, frame, count, mark, false);
}

_cell* cfunction::LetAst(_cell* args, _symval* frame, long count, long mark) {
  if (!consp(args)) return fail(kBadForm, frame, count);
  long k = tlength(args->car);
  if (k == 0) return fail(kBadForm, frame, count);  // (LET* () ...) is refused, unlike LET
  return bindAndRun(args, k, frame, count, mark, true);
}

_cell* cfunction::bindAndRun(_cell* args, long k, _symval* frame, long count, long mark,
                             bool sequential) {
  long moved = moveMark(mark, k);
  _symval* f = allocFrame(k + count);
  if (!f) return fail(kNoFrame, frame, count);
  copyEnclosing(f, k, frame, count);
  _cell* r = nullptr;
  bool bound = true;
  {
    // The frame is a root from here on: an init form may assign a variable of it (LET*) or
    // an outer variable whose old value only the copy still holds.
    LocalFrame local(*this, f, k + count);
    {
      CellFrame cells(*this);
      cells.protect(args);
      _cell* b = args->car;
      for (long i = 0; i < k; i++, b = b->cdr) {
        _cell* binding = b->car;
        // (var) or (var init): a bare symbol or any other shape is malformed.
        bool wellFormed =
            consp(binding) && binding->car->type == 's' &&
            (binding->cdr == NILCell || (consp(binding->cdr) && binding->cdr->cdr == NILCell));
        if (!wellFormed) {
          bound = false;
          fail(kBadForm, frame, count);
          break;
        }
        _cell* value = NILCell;
        if (consp(binding->cdr)) {
          // LET runs every init form in the enclosing frame (parallel binding); LET* runs
          // each in the new frame, where the variables bound before it are visible.
          value = sequential ? eval(binding->cdr->car, f, k + count, moved)
                             : eval(binding->cdr->car, frame, count, 0);
          if (!value) {
            bound = false;
            break;
          }
          cells.protect(value);
        }
        f[i].symbol = binding->car;
        f[i].value = value;
      }
    }
    if (bound) r = tprogn(args->cdr, f, k + count, moved);
  }
  if (!bound) {
    releaseFrame(f);
    return nullptr;
  }
  SetOrgLoc(frame, count, f, k, k + count);
  endFrame(f, k + count, r);
  return r;
}

_cell* cfunction::prog(_cell* args, _symval* frame, long count, long mark) {
  if (!consp(args)) return fail(kBadForm, frame, count);
  _cell* vars = args->car;
  long k = tlength(vars);
  if (k == 0) return progBody(args->cdr, frame, count, mark);
  _symval* f = allocFrame(k + count);
  if (!f) return fail(kNoFrame, frame, count);
  copyEnclosing(f, k, frame, count);
  _cell* p = vars;
  for (long i = 0; i < k; i++, p = p->cdr) {
    if (p->car->type != 's') {
      releaseFrame(f);
      return fail(kBadForm, frame, count);  // PROG** has no init forms
    }
    f[i].symbol = p->car;
    f[i].value = NILCell;
  }
  _cell* r;
  {
    LocalFrame local(*this, f, k + count);
    r = progBody(args->cdr, f, k + count, moveMark(mark, k));
    SetOrgLoc(frame, count, f, k, k + count);
  }
  releaseFrame(f);  // a PROG** frame never goes to the static stack
  return r;
}

_cell* cfunction::progBody(_cell* body, _symval* frame, long count, long mark) {
  GoSymbol = nullptr;
  for (;;) {
    _cell* start = body;
    if (GoSymbol) {
      // GO jumps to a label among the body's own top-level statements.
      start = tmember(GoSymbol, body);
      if (start == NILCell) return fail("エラー: ラベルが見つかりません。", frame, count);
      GoSymbol = nullptr;
    }
    CellFrame cells(*this);
    cells.protect(body);
    int r = progBody2(start, frame, count, mark);
    cells.release();
    if (r == 1 || r == 3) return ReturnValue;
    if (r == 2) return nullptr;
  }
}

int cfunction::progBody2(_cell* statements, _symval* frame, long count, long mark) {
  for (_cell* p = statements; consp(p); p = p->cdr) {
    _cell* s = p->car;
    if (s->type == 's') continue;  // a label
    ReturnFlag = 'u';
    if (!eval(s, frame, count, mark)) return 2;
    if (ReturnFlag != 'u') {
      ReturnFlag = 'u';
      return 3;
    }
    // A GO takes effect when the statement that contains it has ended.
    if (GoSymbol) return 0;
  }
  // Running off the end gives NIL, never the value of the last statement.
  ReturnValue = NILCell;
  return 1;
}
