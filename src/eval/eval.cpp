// eval and evalu: atoms, variables, the built-in heads and user functions.
#include <cmath>
#include <cstdlib>

#include "eval/cfunction.h"
#include "eval/fastpaths.h"
#include "eval/headhandlers.h"
#include "top/interrupt.h"
#include "top/keywords.h"
#include "top/runmode.h"

bool cfunction::outputStream(_cell* rest, _symval* frame, long count, long mark, FILE** out) {
  *out = programOut;
  if (!consp(rest)) return true;
  _cell* s = eval(rest->car, frame, count, mark);
  if (!s) return false;
  *out = openStream(s);
  if (*out) return true;
  syntaxError(frame, count);
  return false;
}

_cell* cfunction::syntaxError(_symval* frame, long count) {
  return fail("エラー: 文法エラー", frame, count);
}

_cell* cfunction::fail(const char* message, _symval* frame, long count) {
  std::puts(message);
  errorlisp(frame, count);
  return nullptr;
}

// The rare work at the start of a step: a collection or a search for free regions, and a
// pending interrupt. False when the interrupt ends the evaluation.
__attribute__((noinline, cold)) bool cfunction::stepChores(_symval* frame, long count) {
  if (freeCells <= 999 || freeNums <= 999 || freeInts <= 999) {
    gc();
  } else if (wantsDonors() && findFreeRegions()) {
    // Remembered expansions that hold nothing the reuse can have handed out stay.
    expansions.keepReached(searchReached(), cellBase, kCells, collections);
  }
  return !InterruptRequested() || answerInterrupt(frame, count);
}

// Every evaluation step starts here: the stack depth guard, then the chores when any is due.
inline bool cfunction::startStep(_symval* frame, long count) {
  CheckStackDepth();
#ifdef TSUMUGI_FUZZ
  // Fuzzing: a session ends after a bounded number of evaluation steps.
  if (++fuzzSteps > kFuzzStepBudget) ExitProcess(3);
#endif
#ifdef TSUMUGI_STRESS
  stressStep();
#endif
  if (__builtin_expect(freeCells <= 999 || freeNums <= 999 || freeInts <= 999 || wantsDonors() ||
                           InterruptRequested(),
                       0)) {
    if (!stepChores(frame, count)) return false;
  }
#ifdef TSUMUGI_GC_CHECK
  checkStableMarks();
#endif
  return true;
}

// Atoms are evaluated by evalAtom and forms by evalForm, which is large: keeping them apart
// spares the many atom evaluations its entry and exit costs, and eval itself is two jumps.
_cell* cfunction::eval(_cell* form, _symval* frame, long count, long mark) {
  if (form->type == 'l') return evalForm(form, frame, count, mark);
  return evalAtom(form, frame, count);
}

__attribute__((noinline)) _cell* cfunction::evalAtom(_cell* form, _symval* frame, long count) {
  if (!startStep(frame, count)) return nullptr;
  if (form->type != 's') return form;  // self-evaluating; its values are kept
  if (form->sub == 'c') {
    if (__builtin_expect(watching != 0, 0)) noteClearable(form);
    if (form->values) {
      touchCell(form);
      form->values = nullptr;
    }
    return form;
  }
  for (long i = 0; i < count; i++) {
    if (frame[i].symbol == form) return frame[i].value;
  }
  if (long g = getSymVal(form); g >= 0) {
    if (__builtin_expect(watching != 0, 0)) noteGlobalRead(g);
    return gvBase[g].value;
  }
  return fail("エラー: その変数には代入されていません", frame, count);
}

__attribute__((noinline)) _cell* cfunction::evalForm(_cell* form, _symval* frame, long count,
                                                     long mark) {
  if (__builtin_expect(watching != 0, 0)) noteWatchedForm(form);
  // Only built-in symbols carry a code, so this test needs no type test.
  if (__builtin_expect(headArity(form->car->code) == kFormsFirst, 0)) {
    return evalFirstHead(form, frame, count, mark);
  }
  int passThrough;
  _cell* r = evalu(form, frame, count, passThrough, mark);
  if (r && !passThrough) {
    if (__builtin_expect(watching != 0, 0)) noteClearable(r);
    if (r->values) {
      touchCell(r);
      r->values = nullptr;
    }
  }
  return r;
}

// VALUES, READ-LINE and EVAL1: their results keep their multiple values as they are.
_cell* cfunction::evalFirstHead(_cell* form, _symval* frame, long count, long mark) {
  int passThrough = 0;
  HeadCall call{form, form->cdr, frame, count, mark, passThrough};
  switch (form->car->code) {
#define TSUMUGI_FIRST_HEAD_CASE(global, name, handler, arity, effects) \
  case h##handler:                                                     \
    if constexpr (arity == kFormsFirst) return head##handler(call);    \
    break;
    TSUMUGI_HEAD_ROWS(TSUMUGI_FIRST_HEAD_CASE)
#undef TSUMUGI_FIRST_HEAD_CASE
    default:
      break;
  }
  return nullptr;  // not reached: evalForm sends the heads of arity kFormsFirst only
}

template <HeadArity arity, _cell* (cfunction::*handler)(HeadCall&)>
TSUMUGI_HEAD_HANDLER _cell* cfunction::runHead(_cell* form, _symval* frame, long count, long mark,
                                               int& pt) {
  // The call is made here, in the head's own case, so that the other cases pay nothing for it.
  HeadCall c{form, form->cdr, frame, count, mark, pt};
  if constexpr (arity == kEvalsOne) {
    if (!consp(c.args)) return syntaxError(c.frame, c.count);
    c.a = eval(c.args->car, c.frame, c.count, c.mark);
    if (!c.a) return nullptr;
  } else if constexpr (arity == kEvalsTwo) {
    if (!consp(c.args) || !consp(c.args->cdr)) return syntaxError(c.frame, c.count);
    CellFrame cells(*this);
    cells.protect(c.args);
    c.a = eval(c.args->car, c.frame, c.count, c.mark);
    if (!c.a) return nullptr;
    cells.protect(c.a);
    c.b = eval(c.args->cdr->car, c.frame, c.count, c.mark);
    cells.release();
    if (!c.b) return nullptr;
  }
  return (this->*handler)(c);
}

// A form (a cons): the built-in heads, then user functions and macros.
__attribute__((always_inline)) inline _cell* cfunction::evalu(_cell* form, _symval* frame,
                                                              long count, int& pt, long mark) {
  pt = 0;
  if (!startStep(frame, count)) return nullptr;

  _cell* head = form->car;
  _cell* args = form->cdr;
  if (head->type != 's') {
    if (consp(head) && head->car == LAMBDA) {
      // ((LAMBDA ...) . args) is evaluated as (FUNCALL (FUNCTION (LAMBDA ...)) . args).
      _cell* c1 = getCell();
      _cell* c2 = getCell();
      _cell* c3 = getCell();
      _cell* c4 = getCell();
      c1->car = FUNCALL;
      c1->cdr = c2;
      c2->car = c3;
      c2->cdr = args;
      c3->car = FUNCTION;
      c3->cdr = c4;
      c4->car = head;
      pt = 1;
      return evalProtected(c1, frame, count, mark);
    }
    return syntaxError(frame, count);
  }

  switch (head->code) {
#define TSUMUGI_HEAD_CASE(global, name, handler, arity, effects) \
  case h##handler:                                               \
    return runHead<arity, &cfunction::head##handler>(form, frame, count, mark, pt);
    TSUMUGI_HEAD_ROWS(TSUMUGI_HEAD_CASE)
#undef TSUMUGI_HEAD_CASE
    default:
      break;
  }

  // A user function or macro.
  _symval* rec = getFuncval2(head);
  if (!rec) {
    std::fputs("エラー: 未定義の関数またはマクロです", stdout);
    std::fputs("--", stdout);
    std::putchar('\n');
    printS(head);
    std::putchar(' ');
    std::putchar('\n');
    errorlisp(frame, count);
    return nullptr;
  }
  pt = 1;
  if (rec->tag == 'm') return MacroExec(args, rec, frame, count);
  _cell* def = rec->value;
  if (unsigned id = standInOf(def)) {
    _cell* r = callStandIn(id, def, args, frame, count, mark);
    if (r != kDeclined) return r;
  }
  _cell* lambdaList = def->car;
  long n = shortLength(lambdaList);
  _symval* newFrame = allocCallFrame(n);
  if (n > 0 && !newFrame) return fail("エラー: ローカル変数領域の確保に失敗しました", frame, count);
  _cell* r;
  {
    // The definition stays alive while the call runs, even if an argument form or the body
    // redefines the function.
    CellFrame running(*this);
    running.protect(def);
    int bound = initTemploc(newFrame, n, lambdaList, args, frame, count, mark);
    if (bound <= 0) {
      releaseFrame(newFrame);
      if (bound == 0) return fail("エラー: 引数の数が違います", frame, count);
      return nullptr;
    }
    LocalFrame local(*this, newFrame, n);
    r = kDeclined;
    if (unsigned id = standInOf(def)) r = runStandIn(id, newFrame, n);
    if (r == kDeclined) r = tprogn(def->cdr, newFrame, n, 0);
  }
  returnFromValue = nullptr;
  endFrame(newFrame, n, r);
  return r;
}
