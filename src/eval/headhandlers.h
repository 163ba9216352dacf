// The handlers of the built-in heads, in the order of the keyword table. Included by
// eval/eval.cpp alone, so that the dispatch switch can inline them.
//
// A handler sees its head's argument list unevaluated in c.args, or, when the head's arity
// says so, the values the dispatch already obtained in c.a and c.b. "A syntax error" below
// means the message, the debug loop and a null result (syntaxError).
#pragma once

#include <cstdio>

#include "eval/cfunction.h"
#include "top/keywords.h"
#include "top/runmode.h"

// Every handler is inlined into its case of the dispatch switch, as if written there: the
// compiler's choices for the rest of the evaluator then stay what they were with one body.
// Unoptimised builds keep each a function of its own: there the dispatch's frame would hold
// every handler's locals apart, and deep recursions would run out of stack long before.
#ifdef __OPTIMIZE__
#define TSUMUGI_HEAD_HANDLER __attribute__((always_inline)) inline
#else
#define TSUMUGI_HEAD_HANDLER inline
#endif

namespace {
TSUMUGI_HEAD_HANDLER _cell* boolCell(bool b) {
  return b ? TCell : NILCell;
}
}  // namespace

TSUMUGI_HEAD_HANDLER _cell* cfunction::headQuote(HeadCall& c) {
  if (!consp(c.args)) return syntaxError(c.frame, c.count);
  return c.args->car;
}

TSUMUGI_HEAD_HANDLER _cell* cfunction::headCar(HeadCall& c) {
  if (!consp(c.a)) return syntaxError(c.frame, c.count);
  return c.a->car;
}

TSUMUGI_HEAD_HANDLER _cell* cfunction::headCdr(HeadCall& c) {
  if (!consp(c.a)) return syntaxError(c.frame, c.count);
  return c.a->cdr;
}

TSUMUGI_HEAD_HANDLER _cell* cfunction::headCons(HeadCall& c) {
  _cell* cell = getCell();
  cell->car = c.a;
  cell->cdr = c.b;
  return cell;
}

// PRINT, PRIN1 and PRINC: one value, then an optional stream.
TSUMUGI_HEAD_HANDLER _cell* cfunction::printHead(HeadCall& c, Head kind) {
  if (!consp(c.args)) return syntaxError(c.frame, c.count);
  CellFrame cells(*this);
  cells.protect(c.args);
  _cell* x = eval(c.args->car, c.frame, c.count, c.mark);
  FILE* out = programOut;
  if (x) cells.protect(x);
  bool ok = x && outputStream(c.args->cdr, c.frame, c.count, c.mark, &out);
  cells.release();
  if (!ok) return nullptr;
  bool toStream = consp(c.args->cdr);
  if (kind == hPrinc) {
    princS(x, out);
  } else {
    if (kind == hPrint) std::fputc('\n', out);
    if (toStream) {
      printSStrm(x, out);
    } else {
      printSTo(x, out);
    }
    if (kind == hPrint) std::fputc(' ', out);
  }
  return x;
}

TSUMUGI_HEAD_HANDLER _cell* cfunction::headPrint(HeadCall& c) {
  return printHead(c, hPrint);
}

TSUMUGI_HEAD_HANDLER _cell* cfunction::headPrin1(HeadCall& c) {
  return printHead(c, hPrin1);
}

TSUMUGI_HEAD_HANDLER _cell* cfunction::headSet(HeadCall& c) {
  if (c.a->type != 's' || c.a->sub == 'c') return syntaxError(c.frame, c.count);
  touchRoots();
  gvBase[getSymVal2(c.a)].value = c.b;
  return c.b;
}

TSUMUGI_HEAD_HANDLER _cell* cfunction::headBackquote(HeadCall& c) {
  return backquote(c.args, c.frame, c.count, c.mark);
}

// DEFUN and DEFMACRO: the definition (lambda-list (BLOCK name . body)) under the kind tag.
TSUMUGI_HEAD_HANDLER _cell* cfunction::defineFunction(HeadCall& c, char tag) {
  _cell* args = c.args;
  if (!CheckFunc(args)) return syntaxError(c.frame, c.count);
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
  rec->tag = tag;
  return name;
}

TSUMUGI_HEAD_HANDLER _cell* cfunction::headDefun(HeadCall& c) {
  return defineFunction(c, 'f');
}

TSUMUGI_HEAD_HANDLER _cell* cfunction::headLet(HeadCall& c) {
  c.passThrough = 1;
  return Let(c.args, c.frame, c.count, c.mark);
}

TSUMUGI_HEAD_HANDLER _cell* cfunction::headLetAst(HeadCall& c) {
  c.passThrough = 1;
  return LetAst(c.args, c.frame, c.count, c.mark);
}

TSUMUGI_HEAD_HANDLER _cell* cfunction::headSetq(HeadCall& c) {
  if (!consp(c.args) || !consp(c.args->cdr)) return syntaxError(c.frame, c.count);
  _cell* sym = c.args->car;
  if (sym->type == 's' && sym->sub == 'c') return syntaxError(c.frame, c.count);
  _cell* v = evalProtected(c.args->cdr->car, c.frame, c.count, c.mark);
  if (!v) return nullptr;
  if (sym->type != 's') return syntaxError(c.frame, c.count);
  long i = getLocal(c.frame, c.count, sym, 0);
  if (i >= 0) {
    touchFrame(c.frame);
    c.frame[i].value = v;
  } else {
    if (watching) effectsSeen++;
    touchRoots();
    gvBase[getSymVal2(sym)].value = v;
  }
  return v;
}

TSUMUGI_HEAD_HANDLER _cell* cfunction::headProg(HeadCall& c) {
  c.passThrough = 1;
  return prog(c.args, c.frame, c.count, c.mark);
}

TSUMUGI_HEAD_HANDLER _cell* cfunction::headGo(HeadCall& c) {
  if (!consp(c.args)) return syntaxError(c.frame, c.count);
  if (c.args->car->type != 's') return syntaxError(c.frame, c.count);
  GoSymbol = c.args->car;
  return TCell;
}

TSUMUGI_HEAD_HANDLER _cell* cfunction::headAnd(HeadCall& c) {
  c.passThrough = 1;
  return tand(c.args, c.frame, c.count, c.mark);
}

TSUMUGI_HEAD_HANDLER _cell* cfunction::headOr(HeadCall& c) {
  c.passThrough = 1;
  return tor(c.args, c.frame, c.count, c.mark);
}

// The heads whose primitive takes the one argument form unevaluated.
#define TSUMUGI_ONE_FORM_HEAD(handler, primitive)                     \
  TSUMUGI_HEAD_HANDLER _cell* cfunction::head##handler(HeadCall& c) { \
    if (!consp(c.args)) return syntaxError(c.frame, c.count);         \
    return primitive(c.args->car, c.frame, c.count, c.mark);          \
  }
TSUMUGI_ONE_FORM_HEAD(OnePlus, OnePlus)
TSUMUGI_ONE_FORM_HEAD(OneMinus, OneMinus)
TSUMUGI_ONE_FORM_HEAD(Close, tclose)
TSUMUGI_ONE_FORM_HEAD(Function, function)
TSUMUGI_ONE_FORM_HEAD(Random, Random)
TSUMUGI_ONE_FORM_HEAD(Sqrt, jSqrt)
TSUMUGI_ONE_FORM_HEAD(Exp, jExp)
TSUMUGI_ONE_FORM_HEAD(Log, jLog)
TSUMUGI_ONE_FORM_HEAD(Sin, jSin)
TSUMUGI_ONE_FORM_HEAD(Cos, jCos)
TSUMUGI_ONE_FORM_HEAD(Tan, jTan)
TSUMUGI_ONE_FORM_HEAD(Asin, jAsin)
TSUMUGI_ONE_FORM_HEAD(Acos, jAcos)
TSUMUGI_ONE_FORM_HEAD(Atan, jAtan)
TSUMUGI_ONE_FORM_HEAD(Evenp, jEvenp)
TSUMUGI_ONE_FORM_HEAD(LocalTime, LocalTime)
TSUMUGI_ONE_FORM_HEAD(MakeTime, MakeTime)
#undef TSUMUGI_ONE_FORM_HEAD

TSUMUGI_HEAD_HANDLER _cell* cfunction::headCond(HeadCall& c) {
  c.passThrough = 1;
  return condition(c.args, c.frame, c.count, c.mark);
}

TSUMUGI_HEAD_HANDLER _cell* cfunction::headNumberEqual(HeadCall& c) {
  _cell* r = numberEqual(c.a, c.b);
  return r ? r : syntaxError(c.frame, c.count);
}

TSUMUGI_HEAD_HANDLER _cell* cfunction::headDefmacro(HeadCall& c) {
  return defineFunction(c, 'm');
}

TSUMUGI_HEAD_HANDLER _cell* cfunction::headAtom(HeadCall& c) {
  return boolCell(!consp(c.a));
}

TSUMUGI_HEAD_HANDLER _cell* cfunction::headList(HeadCall& c) {
  return tlist(c.args, c.frame, c.count, c.mark);
}

TSUMUGI_HEAD_HANDLER _cell* cfunction::headEq(HeadCall& c) {
  _cell* a = c.a;
  _cell* b = c.b;
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

TSUMUGI_HEAD_HANDLER _cell* cfunction::headEval(HeadCall& c) {
  return evalProtected(c.a, c.frame, c.count, c.mark < 0 ? -c.mark : c.mark);
}

TSUMUGI_HEAD_HANDLER _cell* cfunction::headNull(HeadCall& c) {
  return boolCell(c.a == NILCell);
}

TSUMUGI_HEAD_HANDLER _cell* cfunction::headProgn(HeadCall& c) {
  c.passThrough = 1;
  return tprogn(c.args, c.frame, c.count, c.mark);
}

TSUMUGI_HEAD_HANDLER _cell* cfunction::headIf(HeadCall& c) {
  c.passThrough = 1;
  return IfClause(c.args, c.frame, c.count, c.mark);
}

TSUMUGI_HEAD_HANDLER _cell* cfunction::headRead(HeadCall& c) {
  return tread(c.args, c.frame, c.count, c.mark);
}

TSUMUGI_HEAD_HANDLER _cell* cfunction::headOpen(HeadCall& c) {
  return topen(c.args, c.frame, c.count, c.mark);
}

TSUMUGI_HEAD_HANDLER _cell* cfunction::headProg1(HeadCall& c) {
  c.passThrough = 1;
  return tprog1(c.args, c.frame, c.count, c.mark);
}

TSUMUGI_HEAD_HANDLER _cell* cfunction::headPlus(HeadCall& c) {
  return plus(c.args, c.frame, c.count, c.mark);
}

TSUMUGI_HEAD_HANDLER _cell* cfunction::headMinus(HeadCall& c) {
  return minus(c.args, c.frame, c.count, c.mark);
}

TSUMUGI_HEAD_HANDLER _cell* cfunction::headMinusp(HeadCall& c) {
  return minusp(c.a);
}

TSUMUGI_HEAD_HANDLER _cell* cfunction::headEql(HeadCall& c) {
  return boolCell(eqlValues(c.a, c.b));
}

TSUMUGI_HEAD_HANDLER _cell* cfunction::headChar(HeadCall& c) {
  return tchar(c.args, c.frame, c.count, c.mark);
}

TSUMUGI_HEAD_HANDLER _cell* cfunction::headStringp(HeadCall& c) {
  return boolCell(isString(c.a));
}

TSUMUGI_HEAD_HANDLER _cell* cfunction::headLength(HeadCall& c) {
  return jlength(c.a, c.frame, c.count);
}

TSUMUGI_HEAD_HANDLER _cell* cfunction::headCoerce(HeadCall& c) {
  return coerce(c.args, c.frame, c.count, c.mark);
}

TSUMUGI_HEAD_HANDLER _cell* cfunction::headPrinc(HeadCall& c) {
  return printHead(c, hPrinc);
}

TSUMUGI_HEAD_HANDLER _cell* cfunction::headSpaces(HeadCall& c) {
  if (!consp(c.args)) return syntaxError(c.frame, c.count);
  CellFrame cells(*this);
  cells.protect(c.args);
  _cell* n = eval(c.args->car, c.frame, c.count, c.mark);
  if (n && (n->type != 'i' || ival(n) < 0)) {
    cells.release();
    return syntaxError(c.frame, c.count);
  }
  FILE* out = programOut;
  if (n) cells.protect(n);
  bool ok = n && outputStream(c.args->cdr, c.frame, c.count, c.mark, &out);
  cells.release();
  if (!ok) return nullptr;
  for (long i = ival(n); i > 0; i--) std::fputc(' ', out);
  return TCell;
}

TSUMUGI_HEAD_HANDLER _cell* cfunction::headTerpri(HeadCall& c) {
  FILE* out;
  if (!outputStream(c.args, c.frame, c.count, c.mark, &out)) return nullptr;
  std::fputc('\n', out);
  return TCell;
}

TSUMUGI_HEAD_HANDLER _cell* cfunction::headStringEqual(HeadCall& c) {
  return StringEqual(c.a, c.b);
}

TSUMUGI_HEAD_HANDLER _cell* cfunction::headReadLine(HeadCall& c) {
  return readLineForm(c.args, c.frame, c.count, c.mark);
}

TSUMUGI_HEAD_HANDLER _cell* cfunction::headGc(HeadCall&) {
  gc();
  return TCell;
}

TSUMUGI_HEAD_HANDLER _cell* cfunction::headBye(HeadCall& c) {
  return endSession(c.args, c.frame, c.count, c.mark);
}

TSUMUGI_HEAD_HANDLER _cell* cfunction::headQuit(HeadCall& c) {
  return endSession(c.args, c.frame, c.count, c.mark);
}

TSUMUGI_HEAD_HANDLER _cell* cfunction::headExit(HeadCall& c) {
  return endSession(c.args, c.frame, c.count, c.mark);
}

// DEFPARAMETER, and DEFVAR (always false: a symbol that has a global value keeps it).
TSUMUGI_HEAD_HANDLER _cell* cfunction::defineGlobal(HeadCall& c, bool always) {
  if (!consp(c.args) || !consp(c.args->cdr)) return syntaxError(c.frame, c.count);
  _cell* sym = c.args->car;
  _cell* v = evalProtected(c.args->cdr->car, c.frame, c.count, c.mark);
  if (!v) return nullptr;
  if (sym->type != 's' || sym->sub == 'c') return syntaxError(c.frame, c.count);
  touchCell(v);
  v->values = nullptr;
  if (always || getSymVal(sym) < 0) {
    touchRoots();
    gvBase[getSymVal2(sym)].value = v;
  }
  return sym;
}

TSUMUGI_HEAD_HANDLER _cell* cfunction::headDefparameter(HeadCall& c) {
  return defineGlobal(c, true);
}

TSUMUGI_HEAD_HANDLER _cell* cfunction::headDefvar(HeadCall& c) {
  return defineGlobal(c, false);
}

TSUMUGI_HEAD_HANDLER _cell* cfunction::headConsp(HeadCall& c) {
  return boolCell(consp(c.a));
}

TSUMUGI_HEAD_HANDLER _cell* cfunction::headNumberp(HeadCall& c) {
  return boolCell(isNumberCell(c.a));
}

TSUMUGI_HEAD_HANDLER _cell* cfunction::headTimes(HeadCall& c) {
  return times(c.args, c.frame, c.count, c.mark);
}

TSUMUGI_HEAD_HANDLER _cell* cfunction::headDivide(HeadCall& c) {
  return divide(c.args, c.frame, c.count, c.mark);
}

TSUMUGI_HEAD_HANDLER _cell* cfunction::headValues(HeadCall& c) {
  return values(c.args, c.frame, c.count, c.mark);
}

TSUMUGI_HEAD_HANDLER _cell* cfunction::headMultipleValueList(HeadCall& c) {
  if (c.a->values) return c.a->values;
  _cell* cell = getCell();
  cell->car = c.a;
  return cell;
}

TSUMUGI_HEAD_HANDLER _cell* cfunction::headEval1(HeadCall& c) {
  if (!consp(c.args)) return fail("エラー: 文法が違います。", c.frame, c.count);
  _cell* v = eval(c.args->car, c.frame, c.count, c.mark);
  if (!v) return nullptr;
  return evalProtected(v, c.frame, c.count, c.mark < 0 ? -c.mark : c.mark);
}

TSUMUGI_HEAD_HANDLER _cell* cfunction::headApply(HeadCall& c) {
  if (!consp(c.args)) return syntaxError(c.frame, c.count);
  c.passThrough = 1;
  return apply(c.args, c.args->cdr, c.frame, c.count, c.mark);
}

TSUMUGI_HEAD_HANDLER _cell* cfunction::headFuncall(HeadCall& c) {
  if (!consp(c.args)) return syntaxError(c.frame, c.count);
  c.passThrough = 1;
  return funcall(c.args, c.args->cdr, c.frame, c.count, c.mark);
}

TSUMUGI_HEAD_HANDLER _cell* cfunction::headRplaca(HeadCall& c) {
  return rplaca(c.a, c.b, c.frame, c.count);
}

TSUMUGI_HEAD_HANDLER _cell* cfunction::headRplacd(HeadCall& c) {
  return rplacd(c.a, c.b, c.frame, c.count);
}

TSUMUGI_HEAD_HANDLER _cell* cfunction::headSymbolp(HeadCall& c) {
  return boolCell(c.a->type == 's');
}

TSUMUGI_HEAD_HANDLER _cell* cfunction::headCharacterp(HeadCall& c) {
  return boolCell(c.a->type == 'm');
}

TSUMUGI_HEAD_HANDLER _cell* cfunction::headCharEqual(HeadCall& c) {
  if (c.a->type != 'm' || c.b->type != 'm') return syntaxError(c.frame, c.count);
  return boolCell(chval(c.a) == chval(c.b) && ch2val(c.a) == ch2val(c.b));
}

TSUMUGI_HEAD_HANDLER _cell* cfunction::headCharLess(HeadCall& c) {
  if (c.a->type != 'm' || c.b->type != 'm') return syntaxError(c.frame, c.count);
  // Every character is one byte: the lead bytes decide, as unsigned values.
  return boolCell(static_cast<unsigned char>(chval(c.a)) < static_cast<unsigned char>(chval(c.b)));
}

TSUMUGI_HEAD_HANDLER _cell* cfunction::headMacroexpand(HeadCall& c) {
  _cell* v = c.a;
  _symval* rec = consp(v) ? getFuncval2(v->car) : nullptr;
  if (!rec || rec->tag != 'm') {
    std::puts("エラー: 未定義のマクロです");
    return nullptr;
  }
  return MacroExec2(v->cdr, rec, c.frame, c.count, c.mark);
}

TSUMUGI_HEAD_HANDLER _cell* cfunction::headIntegerp(HeadCall& c) {
  return boolCell(c.a->type == 'i');
}

TSUMUGI_HEAD_HANDLER _cell* cfunction::headSetArray(HeadCall& c) {
  return SetArray(c.form, c.frame, c.count, c.mark);
}

TSUMUGI_HEAD_HANDLER _cell* cfunction::headArrayCar(HeadCall& c) {
  return ArrayCar(c.a);
}

TSUMUGI_HEAD_HANDLER _cell* cfunction::headArrayCdr(HeadCall& c) {
  return ArrayCdr(c.a);
}

TSUMUGI_HEAD_HANDLER _cell* cfunction::headArrayp(HeadCall& c) {
  return boolCell(c.a->type == 'a');
}

TSUMUGI_HEAD_HANDLER _cell* cfunction::headExpt(HeadCall& c) {
  if (!consp(c.args) || !consp(c.args->cdr)) return syntaxError(c.frame, c.count);
  return jExpt(c.args->car, c.args->cdr->car, c.frame, c.count, c.mark);
}

TSUMUGI_HEAD_HANDLER _cell* cfunction::headFloor(HeadCall& c) {
  if (!consp(c.args)) return syntaxError(c.frame, c.count);
  _cell* r = tfloor(c.args->car, c.frame, c.count, c.mark);
  if (r) c.passThrough = 1;
  return r;
}

TSUMUGI_HEAD_HANDLER _cell* cfunction::headNow(HeadCall&) {
  return now();
}

TSUMUGI_HEAD_HANDLER _cell* cfunction::headCharCode(HeadCall& c) {
  return char_to_code(c.args, c.frame, c.count, c.mark);
}

TSUMUGI_HEAD_HANDLER _cell* cfunction::headCodeChar(HeadCall& c) {
  return code_to_char(c.args, c.frame, c.count, c.mark);
}

TSUMUGI_HEAD_HANDLER _cell* cfunction::headCatch(HeadCall& c) {
  c.passThrough = 1;
  return catch_lisp(c.args, c.frame, c.count);
}

TSUMUGI_HEAD_HANDLER _cell* cfunction::headThrow(HeadCall& c) {
  return throw_lisp(c.args, c.frame, c.count);
}

TSUMUGI_HEAD_HANDLER _cell* cfunction::headUnwindProtect(HeadCall& c) {
  return unwind_protect(c.args, c.frame, c.count);
}

TSUMUGI_HEAD_HANDLER _cell* cfunction::headError(HeadCall& c) {
  if (!consp(c.args)) return syntaxError(c.frame, c.count);
  _cell* v = eval(c.args->car, c.frame, c.count, 0);
  if (!v) return nullptr;
  princS(v, stdout);
  std::putchar('\n');
  errorlisp(c.frame, c.count);
  return nullptr;
}

TSUMUGI_HEAD_HANDLER _cell* cfunction::headBreak(HeadCall& c) {
  return breaklisp(c.frame, c.count);
}

TSUMUGI_HEAD_HANDLER _cell* cfunction::headSymbolName(HeadCall& c) {
  return symbolname(c.args, c.frame, c.count, c.mark);
}

TSUMUGI_HEAD_HANDLER _cell* cfunction::headIntern(HeadCall& c) {
  _cell* r = t_intern(c.args, c.frame, c.count, c.mark);
  if (r) c.passThrough = 1;
  return r;
}

TSUMUGI_HEAD_HANDLER _cell* cfunction::headInternWide(HeadCall& c) {
  _cell* r = t_intern_wide(c.args, c.frame, c.count, c.mark);
  if (r) c.passThrough = 1;
  return r;
}

TSUMUGI_HEAD_HANDLER _cell* cfunction::headSymbolFunction(HeadCall& c) {
  return symbol_function(c.args, c.frame, c.count);
}

TSUMUGI_HEAD_HANDLER _cell* cfunction::headBlock(HeadCall& c) {
  c.passThrough = 1;
  return block_lisp(c.args, c.frame, c.count);
}

TSUMUGI_HEAD_HANDLER _cell* cfunction::headReturnFrom(HeadCall& c) {
  return return_from_lisp(c.args, c.frame, c.count);
}
