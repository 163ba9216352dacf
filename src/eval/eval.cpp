// eval and evalu: atoms, variables, the built-in heads and user functions.
#include <cmath>
#include <cstdlib>

#include "eval/cfunction.h"
#include "eval/fastpaths.h"
#include "top/interrupt.h"
#include "top/keywords.h"
#include "top/runmode.h"

namespace {
inline _cell* boolCell(bool b) {
  return b ? TCell : NILCell;
}
}  // namespace

cfunction::FormPrimitive cfunction::oneFormPrimitive(uint8_t code) {
  switch (code) {
    case hOnePlus:
      return &cfunction::OnePlus;
    case hOneMinus:
      return &cfunction::OneMinus;
    case hRandom:
      return &cfunction::Random;
    case hSqrt:
      return &cfunction::jSqrt;
    case hExp:
      return &cfunction::jExp;
    case hLog:
      return &cfunction::jLog;
    case hSin:
      return &cfunction::jSin;
    case hCos:
      return &cfunction::jCos;
    case hTan:
      return &cfunction::jTan;
    case hAsin:
      return &cfunction::jAsin;
    case hAcos:
      return &cfunction::jAcos;
    case hAtan:
      return &cfunction::jAtan;
    case hEvenp:
      return &cfunction::jEvenp;
    case hLocalTime:
      return &cfunction::LocalTime;
    case hMakeTime:
      return &cfunction::MakeTime;
    case hClose:
      return &cfunction::tclose;
    default:
      return &cfunction::function;
  }
}

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
  } else if (cellPages.wantsDonors) {
    findFreeRegions();
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
  if (__builtin_expect(freeCells <= 999 || freeNums <= 999 || freeInts <= 999 ||
                           cellPages.wantsDonors || InterruptRequested(),
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
  // Only built-in symbols carry a code, so these three tests need no type test.
  switch (form->car->code) {
    case hValues:
      return values(form->cdr, frame, count, mark);
    case hReadLine:
      return readLineForm(form->cdr, frame, count, mark);
    case hEval1: {
      if (!consp(form->cdr)) return fail("エラー: 文法が違います。", frame, count);
      _cell* v = eval(form->cdr->car, frame, count, mark);
      if (!v) return nullptr;
      return evalProtected(v, frame, count, mark < 0 ? -mark : mark);
    }
    default:
      break;
  }
  int passThrough;
  _cell* r = evalu(form, frame, count, passThrough, mark);
  if (r && !passThrough && r->values) {
    touchCell(r);
    r->values = nullptr;
  }
  return r;
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

  // The checks of one- and two-argument heads.
#define NEED1 \
  if (!consp(args)) return syntaxError(frame, count)
#define NEED2 \
  if (!consp(args) || !consp(args->cdr)) return syntaxError(frame, count)
#define EVAL1ARG(v)                               \
  NEED1;                                          \
  _cell* v = eval(args->car, frame, count, mark); \
  if (!v) return nullptr
#define EVAL2ARGS(a, b)                                \
  NEED2;                                               \
  CellFrame cells(*this);                              \
  cells.protect(args);                                 \
  _cell* a = eval(args->car, frame, count, mark);      \
  if (!a) return nullptr;                              \
  cells.protect(a);                                    \
  _cell* b = eval(args->cdr->car, frame, count, mark); \
  cells.release();                                     \
  if (!b) return nullptr

  switch (head->code) {
    case hOnePlus:
    case hOneMinus:
    case hRandom:
    case hSqrt:
    case hExp:
    case hLog:
    case hSin:
    case hCos:
    case hTan:
    case hAsin:
    case hAcos:
    case hAtan:
    case hEvenp:
    case hLocalTime:
    case hMakeTime:
    case hClose:
    case hFunction:
      // Heads that take their one argument form unevaluated and leave the rest to a primitive.
      NEED1;
      return (this->*oneFormPrimitive(head->code))(args->car, frame, count, mark);
    case hQuote:
      NEED1;
      return args->car;
    case hCar: {
      EVAL1ARG(v);
      if (!consp(v)) return syntaxError(frame, count);
      return v->car;
    }
    case hCdr: {
      EVAL1ARG(v);
      if (!consp(v)) return syntaxError(frame, count);
      return v->cdr;
    }
    case hCons: {
      EVAL2ARGS(a, b);
      _cell* c = getCell();
      c->car = a;
      c->cdr = b;
      return c;
    }
    case hBackquote:
      return backquote(args, frame, count, mark);
    case hPrint:
    case hPrin1:
    case hPrinc: {
      NEED1;
      CellFrame cells(*this);
      cells.protect(args);
      _cell* x = eval(args->car, frame, count, mark);
      FILE* out = programOut;
      if (x) cells.protect(x);
      bool ok = x && outputStream(args->cdr, frame, count, mark, &out);
      cells.release();
      if (!ok) return nullptr;
      bool toStream = consp(args->cdr);
      if (head->code == hPrinc) {
        princS(x, out);
      } else {
        if (head->code == hPrint) std::fputc('\n', out);
        if (toStream) {
          printSStrm(x, out);
        } else {
          printSTo(x, out);
        }
        if (head->code == hPrint) std::fputc(' ', out);
      }
      return x;
    }
    case hSet: {
      EVAL2ARGS(a, b);
      if (a->type != 's' || a->sub == 'c') return syntaxError(frame, count);
      touchRoots();
      gvBase[getSymVal2(a)].value = b;
      return b;
    }
    case hDefparameter:
    case hDefvar: {
      NEED2;
      _cell* sym = args->car;
      _cell* v = evalProtected(args->cdr->car, frame, count, mark);
      if (!v) return nullptr;
      if (sym->type != 's' || sym->sub == 'c') return syntaxError(frame, count);
      touchCell(v);
      v->values = nullptr;
      if (head->code == hDefparameter || getSymVal(sym) < 0) {
        touchRoots();
        gvBase[getSymVal2(sym)].value = v;
      }
      return sym;
    }
    case hSetq: {
      NEED2;
      _cell* sym = args->car;
      if (sym->type == 's' && sym->sub == 'c') return syntaxError(frame, count);
      _cell* v = evalProtected(args->cdr->car, frame, count, mark);
      if (!v) return nullptr;
      if (sym->type != 's') return syntaxError(frame, count);
      long i = getLocal(frame, count, sym, 0);
      if (i >= 0) {
        touchFrame(frame);
        frame[i].value = v;
      } else {
        if (watching) effectsSeen++;
        touchRoots();
        gvBase[getSymVal2(sym)].value = v;
      }
      return v;
    }
    case hAnd:
      pt = 1;
      return tand(args, frame, count, mark);
    case hOr:
      pt = 1;
      return tor(args, frame, count, mark);
    case hAtom: {
      EVAL1ARG(v);
      return boolCell(!consp(v));
    }
    case hConsp: {
      EVAL1ARG(v);
      return boolCell(consp(v));
    }
    case hNumberp: {
      EVAL1ARG(v);
      return boolCell(isNumberCell(v));
    }
    case hIntegerp: {
      EVAL1ARG(v);
      return boolCell(v->type == 'i');
    }
    case hEval: {
      EVAL1ARG(v);
      return evalProtected(v, frame, count, mark < 0 ? -mark : mark);
    }
    case hTimes:
      return times(args, frame, count, mark);
    case hPlus:
      return plus(args, frame, count, mark);
    case hMinus:
      return minus(args, frame, count, mark);
    case hDivide:
      return divide(args, frame, count, mark);
    case hNumberEqual: {
      EVAL2ARGS(a, b);
      _cell* r = numberEqual(a, b);
      return r ? r : syntaxError(frame, count);
    }
    case hEq: {
      EVAL2ARGS(a, b);
      switch (a->type) {
        case 's':
        case 'l':
        case 'a':
          return boolCell(a == b);
        case 'i':
          return boolCell(b->type == 'i' && ival(a) == ival(b));
        default:
          return NILCell;  // floats, fractions and characters are never EQ
      }
    }
    case hEql: {
      EVAL2ARGS(a, b);
      return boolCell(eqlValues(a, b));
    }
    case hNull: {
      EVAL1ARG(v);
      return boolCell(v == NILCell);
    }
    case hProgn:
      pt = 1;
      return tprogn(args, frame, count, mark);
    case hProg1:
      pt = 1;
      return tprog1(args, frame, count, mark);
    case hMinusp: {
      NEED1;
      return minusp(eval(args->car, frame, count, mark));
    }
    case hCond:
      pt = 1;
      return condition(args, frame, count, mark);
    case hIf:
      pt = 1;
      return IfClause(args, frame, count, mark);
    case hDefun:
    case hDefmacro: {
      if (!CheckFunc(args)) return syntaxError(frame, count);
      _cell* name = args->car;
      _symval* rec = getFuncval(name);
      rec->symbol = getStringCell(symname(name));
      _cell* c1 = getCell();
      _cell* c2 = getCell();
      _cell* c3 = getCell();
      _cell* c4 = getCell();
      c1->car = args->cdr->car;  // the lambda list
      c1->cdr = c2;
      c2->car = c3;
      c3->car = BLOCKLISP;
      c3->cdr = c4;
      c4->car = name;
      c4->cdr = args->cdr->cdr;  // the body
      touchRoots();
      markDefinition(c1);
      rec->value = c1;
      rec->tag = head->code == hDefun ? 'f' : 'm';
      return name;
    }
    case hLet:
      pt = 1;
      return Let(args, frame, count, mark);
    case hLetAst:
      pt = 1;
      return LetAst(args, frame, count, mark);
    case hProg:
      pt = 1;
      return prog(args, frame, count, mark);
    case hGo:
      NEED1;
      if (args->car->type != 's') return syntaxError(frame, count);
      GoSymbol = args->car;
      return TCell;
    case hApply:
      NEED1;
      pt = 1;
      return apply(args, args->cdr, frame, count, mark);
    case hFuncall:
      NEED1;
      pt = 1;
      return funcall(args, args->cdr, frame, count, mark);
    case hList:
      return tlist(args, frame, count, mark);
    case hOpen:
      return topen(args, frame, count, mark);
    case hRead:
      return tread(args, frame, count, mark);
    case hChar:
      return tchar(args, frame, count, mark);
    case hStringp: {
      EVAL1ARG(v);
      return boolCell(isString(v));
    }
    case hLength: {
      NEED1;
      _cell* v = eval(args->car, frame, count, mark);
      return v ? jlength(v, frame, count) : nullptr;
    }
    case hCoerce:
      return coerce(args, frame, count, mark);
    case hSpaces: {
      NEED1;
      CellFrame cells(*this);
      cells.protect(args);
      _cell* n = eval(args->car, frame, count, mark);
      if (n && (n->type != 'i' || ival(n) < 0)) {
        cells.release();
        return syntaxError(frame, count);
      }
      FILE* out = programOut;
      if (n) cells.protect(n);
      bool ok = n && outputStream(args->cdr, frame, count, mark, &out);
      cells.release();
      if (!ok) return nullptr;
      for (long i = ival(n); i > 0; i--) std::fputc(' ', out);
      return TCell;
    }
    case hTerpri: {
      FILE* out;
      if (!outputStream(args, frame, count, mark, &out)) return nullptr;
      std::fputc('\n', out);
      return TCell;
    }
    case hStringEqual: {
      EVAL2ARGS(a, b);
      return StringEqual(a, b);
    }
    case hCharEqual:
    case hCharLess: {
      EVAL2ARGS(a, b);
      if (a->type != 'm' || b->type != 'm') return syntaxError(frame, count);
      if (head->code == hCharEqual) return boolCell(chval(a) == chval(b) && ch2val(a) == ch2val(b));
      // Every character is one byte: the lead bytes decide, as unsigned values.
      return boolCell(static_cast<unsigned char>(chval(a)) < static_cast<unsigned char>(chval(b)));
    }
    case hGc:
      gc();
      return TCell;
    case hMultipleValueList: {
      EVAL1ARG(v);
      if (v->values) return v->values;
      _cell* c = getCell();
      c->car = v;
      return c;
    }
    case hRplaca: {
      EVAL2ARGS(a, b);
      return rplaca(a, b, frame, count);
    }
    case hRplacd: {
      EVAL2ARGS(a, b);
      return rplacd(a, b, frame, count);
    }
    case hSymbolp: {
      EVAL1ARG(v);
      return boolCell(v->type == 's');
    }
    case hCharacterp: {
      EVAL1ARG(v);
      return boolCell(v->type == 'm');
    }
    case hBye:
      return endSession(args, frame, count, mark);
    case hMacroexpand: {
      EVAL1ARG(v);
      _symval* rec = consp(v) ? getFuncval2(v->car) : nullptr;
      if (!rec || rec->tag != 'm') {
        std::puts("エラー: 未定義のマクロです");
        return nullptr;
      }
      return MacroExec2(v->cdr, rec, frame, count, mark);
    }
    case hSetArray:
      return SetArray(form, frame, count, mark);
    case hArrayCar: {
      EVAL1ARG(v);
      return ArrayCar(v);
    }
    case hArrayCdr: {
      EVAL1ARG(v);
      return ArrayCdr(v);
    }
    case hArrayp: {
      EVAL1ARG(v);
      return boolCell(v->type == 'a');
    }
    case hExpt:
      NEED2;
      return jExpt(args->car, args->cdr->car, frame, count, mark);
    case hFloor: {
      NEED1;
      _cell* r = tfloor(args->car, frame, count, mark);
      if (r) pt = 1;
      return r;
    }
    case hNow:
      return now();
    case hCharCode:
      return char_to_code(args, frame, count, mark);
    case hCodeChar:
      return code_to_char(args, frame, count, mark);
    case hCatch:
      pt = 1;
      return catch_lisp(args, frame, count);
    case hThrow:
      return throw_lisp(args, frame, count);
    case hBlock:
      pt = 1;
      return block_lisp(args, frame, count);
    case hReturnFrom:
      return return_from_lisp(args, frame, count);
    case hUnwindProtect:
      return unwind_protect(args, frame, count);
    case hError: {
      NEED1;
      _cell* v = eval(args->car, frame, count, 0);
      if (!v) return nullptr;
      princS(v, stdout);
      std::putchar('\n');
      errorlisp(frame, count);
      return nullptr;
    }
    case hBreak:
      return breaklisp(frame, count);
    case hSymbolName:
      return symbolname(args, frame, count, mark);
    case hIntern:
    case hInternWide: {
      _cell* r = head->code == hIntern ? t_intern(args, frame, count, mark)
                                       : t_intern_wide(args, frame, count, mark);
      if (r) pt = 1;
      return r;
    }
    case hSymbolFunction:
      return symbol_function(args, frame, count);
    default:
      break;
  }
#undef NEED1
#undef NEED2
#undef EVAL1ARG
#undef EVAL2ARGS

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
