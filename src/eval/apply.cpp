// Parameter binding and the calling of functions, lambdas and closures.
#include "eval/cfunction.h"
#include "top/keywords.h"

bool cfunction::walkLambdaList(_symval* frame, long n, _cell* lambdaList, bool body, long* rest) {
  long i = 0, r = -1;
  _cell* p = lambdaList;
  while (i < n) {
    _cell* e = p->car;
    if (e == AMPREST || (body && e == AMPBODY)) {
      r = i;
      if (!(i + 1 < n)) return false;  // the marker ends the list
      p = p->cdr;
      e = p->car;
    }
    if (e->type != 's') return false;
    frame[i] = _symval{0, e, NILCell};
    p = p->cdr;
    i++;
    if (r >= 0) break;  // the rest parameter ends the walk
  }
  // The room the marker took; a well-formed list with a rest parameter ends right there,
  // so that after a successful walk every record 0 to n-1 has been written.
  if (r >= 0) frame[n - 1] = _symval{0, nullptr, nullptr};
  *rest = r;
  // After the rest parameter (or the last one) only a symbol may stand, normally NIL.
  return p->type == 's';
}

int cfunction::initTemploc(_symval* frame, long n, _cell* lambdaList, _cell* args,
                           _symval* callerFrame, long callerCount, long mark) {
  // A function without parameters takes any arguments and neither evaluates nor checks them.
  if (!frame || n == 0) return 1;
  long r;
  if (!walkLambdaList(frame, n, lambdaList, false, &r)) return 0;
  long v = r >= 0 ? n - 1 : n;
  {
    CellFrame cells(*this);
    cells.protect(args);
    for (long i = 0; i < v; i++) {
      _cell* value;
      if (i != r) {
        if (!consp(args)) return 0;  // too few
        value = eval(args->car, callerFrame, callerCount, mark);
      } else {
        value = MakeRest(args, callerFrame, callerCount, mark);
      }
      if (!value) return -1;
      touchFrame(frame);
      frame[i].value = value;
      cells.protect(value);  // the new frame is not a root yet
      if (i != r) args = args->cdr;
    }
  }
  if (r >= 0) return 1;
  return args->type == 's' ? 1 : 0;  // too many when arguments remain
}

_cell* cfunction::MakeRest(_cell* args, _symval* frame, long count, long mark) {
  if (!consp(args)) return args;
  CellFrame cells(*this);
  cells.protect(args);
  _cell* head = cells.protect(getCell());
  _cell* cell = head;
  for (;;) {
    _cell* v = eval(args->car, frame, count, mark);
    if (!v) {
      cells.release();
      return nullptr;
    }
    touchCell(cell);  // made before the evaluation
    cell->car = v;
    args = args->cdr;
    if (!consp(args)) {
      cell->cdr = args;
      break;
    }
    _cell* next = getCell();
    cell->cdr = next;
    cell = next;
  }
  cells.release();
  return head;
}

_cell* cfunction::MakeQuoteEach(_cell* list) {
  _cell* head = NILCell;
  _cell** slot = &head;
  CycleGuard guard;
  for (; consp(list); list = list->cdr) {
    if (guard.revisits(list)) return nullptr;
    _cell* spine = getCell();
    _cell* quoted = getCell();
    _cell* datum = getCell();
    quoted->car = QUOTE;
    quoted->cdr = datum;
    datum->car = list->car;
    spine->car = quoted;
    *slot = spine;
    slot = &spine->cdr;
  }
  return head;
}

_cell* cfunction::funcall(_cell* form, _cell* argForms, _symval* frame, long count, long mark) {
  CellFrame cells(*this);
  cells.protect(argForms);
  _cell* f = eval(form->car, frame, count, mark);
  _cell* r = nullptr;
  if (!f) {
    r = nullptr;
  } else if (f->type == 's') {
    // (symbol . argForms): the ordinary dispatch evaluates the arguments once.
    _cell* call = cells.protect(getCell());
    call->car = f;
    call->cdr = argForms;
    r = eval(call, frame, count, mark);
  } else if (consp(f) && f->car == LAMBDA) {
    cells.protect(f);
    r = callLambda(f, argForms, frame, count, mark);
  } else {
    cells.release();
    return fail("エラー: FUNCALLの呼び出し方が間違っています", frame, count);
  }
  cells.release();
  return r;
}

_cell* cfunction::apply(_cell* form, _cell* argForms, _symval* frame, long count, long mark) {
  CellFrame cells(*this);
  cells.protect(argForms);
  _cell* f = eval(form->car, frame, count, mark);
  if (!f) {
    cells.release();
    return nullptr;
  }
  cells.protect(f);
  // Exactly one list of arguments: further forms are ignored.
  _cell* list = NILCell;
  if (consp(argForms)) {
    list = eval(argForms->car, frame, count, mark);
    if (!list) {
      cells.release();
      return nullptr;
    }
  }
  _cell* quoted = MakeQuoteEach(list);
  if (!quoted) {
    cells.release();
    return circularList(frame, count);
  }
  cells.protect(quoted);
  _cell* r;
  if (f->type == 's') {
    _cell* call = cells.protect(getCell());
    call->car = f;
    call->cdr = quoted;
    r = eval(call, frame, count, mark);
  } else if (consp(f) && f->car == LAMBDA) {
    r = callLambda(f, quoted, frame, count, mark);
  } else {
    cells.release();
    return fail("エラー: APPLYの呼び出し方が間違っています", frame, count);
  }
  cells.release();
  return r;
}

_cell* cfunction::callLambda(_cell* lambda, _cell* args, _symval* callerFrame, long callerCount,
                             long mark) {
  if (!consp(lambda->cdr)) return syntaxError(callerFrame, callerCount);
  _cell* lambdaList = lambda->cdr->car;
  long n = shortLength(lambdaList);
  long m = lambda->envCount;
  _symval* env = lambda->env;
  if (m > 0 && watching) effectsSeen++;  // it writes into the frame it captured
  _symval* f = allocCallFrame(n + m);
  if (n + m > 0 && !f) {
    return fail("エラー: ローカル変数領域の確保に失敗しました", callerFrame, callerCount);
  }
  CellFrame cells(*this);
  cells.protect(lambda);
  int bound = initTemploc(f, n, lambdaList, args, callerFrame, callerCount, mark);
  if (bound <= 0) {
    releaseFrame(f);
    cells.release();
    if (bound == 0) return fail("エラー: 引数が多すぎます", callerFrame, callerCount);
    return nullptr;
  }
  // The lambda sees its parameters, the captured frame and the globals.
  for (long i = 0; i < m; i++) f[n + i] = _symval{0, env[i].symbol, env[i].value};
  frames.incref(env);  // the captured frame outlives this call even if recaptured meanwhile
  _cell* r;
  {
    LocalFrame local(*this, f, n + m);
    cells.protect(lambda);
    r = tprogn(lambda->cdr->cdr, f, n + m, moveMark(mark, n + m));
  }
  cells.release();
  // Assignments to captured variables reach the frame the closure came from.
  SetOrgLoc(env, m, f, n, n + m);
  frames.decref(env);
  endFrame(f, n + m, r);
  return r;
}

_cell* cfunction::function(_cell* x, _symval* frame, long count, long) {
  if (x->type == 's') return x;
  if (consp(x) && x->car == LAMBDA && consp(x->cdr) &&
      (x->cdr->car == NILCell || consp(x->cdr->car))) {
    captureFrame(x, frame, count);
    return x;
  }
  return fail("エラー: FUNCTIONの使い方が間違っています", frame, count);
}

_cell* cfunction::symbol_function(_cell* args, _symval* frame, long count) {
  if (!consp(args)) return fail("エラー: SYMBOL-FUNCTIONの引数が異常です\n", frame, count);
  _cell* v = eval(args->car, frame, count, 0);
  if (!v) return nullptr;
  _symval* rec = getFuncval2(v);
  if (!rec) return fail("エラー: システム関数、または未定義の関数またはマクロです\n", frame, count);
  _cell* c = getCell();
  c->car = rec->tag == 'f' ? FUNCTION : MACRO;
  c->cdr = rec->value;
  return c;
}

_cell* cfunction::rplaca(_cell* cons, _cell* value, _symval* frame, long count) {
  if (!consp(cons)) return fail("エラー: コンスではありません", frame, count);
  guardCodeWrite(cons, value);
  touchCell(cons);
  countWrite(cons);
  cons->car = value;
  return cons;
}

_cell* cfunction::rplacd(_cell* cons, _cell* value, _symval* frame, long count) {
  if (!consp(cons)) return fail("エラー: コンスではありません", frame, count);
  guardCodeWrite(cons, value);
  touchCell(cons);
  structureWrites++;
  countWrite(cons);
  cons->cdr = value;
  return cons;
}

void cfunction::SetOrgLoc(_symval* dst, long dstCount, _symval* src, long from, long to) {
  for (long i = to - 1; i >= from; i--) {
    _cell* s = src[i].symbol;
    if (!s) continue;
    for (long j = 0; j < dstCount; j++) {
      if (dst[j].symbol == s) {
        if (dst[j].value != src[i].value) touchFrame(dst);
        dst[j].tag = src[i].tag;
        dst[j].value = src[i].value;
        break;
      }
    }
  }
}
