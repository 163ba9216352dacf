// The built-in symbols: one process-wide global per row of the keyword table, compared by
// identity everywhere in the evaluator, and the built-in heads among them with everything the
// evaluator needs to know about each.
#pragma once

#include <cstdint>

#include "memory/cell.h"

// How the argument forms of a built-in head reach its handler.
enum HeadArity : int8_t {
  kFormsFirst = -2,  // unevaluated, and taken by eval before the evaluation step begins
  kForms = -1,       // unevaluated: the handler checks and evaluates what it needs
  kEvalsNone = 0,    // ignored
  kEvalsOne = 1,     // the first form is required and evaluated before the handler runs
  kEvalsTwo = 2,     // the first two forms are required and evaluated, left to right
};

// The keyword table in interning order: rows 1 to 7, then (after the cells of NIL and T,
// interned between them) rows 12 to 122. The order decides the symbols' places in the symbol
// table.
//   K(global, name): a symbol the evaluator compares with but does not dispatch on.
//   H(global, name, handler, arity, effects): a built-in head. cfunction::head<handler> runs
//   it, reached through the code h<handler> kept in the symbol's cell; arity is a HeadArity;
//   effects is true when evaluating it can do more than compute a value and allocate (output,
//   input, streams, global assignment, definitions, destructive writes, time, random numbers,
//   interning, exits, errors, collection, capturing closures). Not flagged, because they are
//   noticed where they happen: SETQ's global assignment, a call of a closure whose captured
//   frame it writes back, and the forms EVAL evaluates; and control transfers (GO, THROW,
//   RETURN-FROM), which either end inside the evaluation that made them or end it.
#define TSUMUGI_KEYWORDS_HEAD(K, H)       \
  H(QUOTE, "QUOTE", Quote, kForms, false) \
  H(CAR, "CAR", Car, kEvalsOne, false)    \
  H(CDR, "CDR", Cdr, kEvalsOne, false)    \
  H(CONS, "CONS", Cons, kEvalsTwo, false) \
  H(PRINT, "PRINT", Print, kForms, true)  \
  H(PRIN1, "PRIN1", Prin1, kForms, true)  \
  H(SET, "SET", Set, kEvalsTwo, true)

#define TSUMUGI_KEYWORDS_TAIL(K, H)                                                \
  H(BACKQUOTE, "BACKQUOTE", Backquote, kForms, false)                              \
  K(BACK_QUOTE, "`")                                                               \
  K(COMMA, ",")                                                                    \
  K(AST, "@")                                                                      \
  H(DEFUN, "DEFUN", Defun, kForms, true)                                           \
  K(AMPREST, "&REST")                                                              \
  H(LET, "LET", Let, kForms, false)                                                \
  H(LETAST, "LET*", LetAst, kForms, false)                                         \
  H(SETQ, "SETQ", Setq, kForms, false)                                             \
  H(PROG, "PROG**", Prog, kForms, false)                                           \
  H(GO, "GO", Go, kForms, false)                                                    \
  K(RETURN, "RETURN")                                                              \
  H(AND, "AND", And, kForms, false)                                                \
  H(OR, "OR", Or, kForms, false)                                                   \
  H(ONEPLUS, "1+", OnePlus, kForms, false)                                         \
  H(ONEMINUS, "1-", OneMinus, kForms, false)                                       \
  H(COND, "COND", Cond, kForms, false)                                             \
  H(NUMBEREQUAL, "=", NumberEqual, kEvalsTwo, false)                               \
  H(DEFMACRO, "DEFMACRO", Defmacro, kForms, true)                                  \
  K(AMPBODY, "&BODY")                                                              \
  H(ATOM, "ATOM", Atom, kEvalsOne, false)                                          \
  H(LIST, "LIST", List, kForms, false)                                             \
  H(EQ, "EQ", Eq, kEvalsTwo, false)                                                \
  H(EVAL, "EVAL", Eval, kEvalsOne, false)                                           \
  H(NULLP, "NULL", Null, kEvalsOne, false)                                         \
  H(PROGN, "PROGN", Progn, kForms, false)                                          \
  H(IF, "IF", If, kForms, false)                                                   \
  H(TREAD, "READ", Read, kForms, true)                                             \
  H(TOPEN, "OPEN", Open, kForms, true)                                             \
  K(COLDIRECTION, ":DIRECTION")                                                    \
  K(COLINPUT, ":INPUT")                                                            \
  K(COLOUTPUT, ":OUTPUT")                                                          \
  H(TCLOSE, "CLOSE", Close, kForms, true)                                          \
  H(PROG1, "PROG1", Prog1, kForms, false)                                          \
  H(PLUS, "+", Plus, kForms, false)                                                \
  H(MINUS, "-", Minus, kForms, false)                                              \
  H(MINUSP, "MINUSP", Minusp, kEvalsOne, false)                                    \
  H(EQL, "EQL", Eql, kEvalsTwo, false)                                             \
  H(CHAR, "CHAR", Char, kForms, false)                                             \
  H(STRINGP, "STRINGP", Stringp, kEvalsOne, false)                                 \
  H(LENGTH, "LENGTH", Length, kEvalsOne, false)                                    \
  H(COERCE, "COERCE", Coerce, kForms, false)                                       \
  K(STRING, "STRING")                                                              \
  H(PRINC, "PRINC", Princ, kForms, true)                                           \
  H(FUNCTION, "FUNCTION", Function, kForms, true)                                  \
  K(LAMBDA, "LAMBDA")                                                              \
  H(SPACES, "SPACES", Spaces, kForms, true)                                        \
  H(TERPRI, "TERPRI", Terpri, kForms, true)                                        \
  H(STRINGEQUAL, "STRING-EQUAL", StringEqual, kEvalsTwo, false)                    \
  H(READLINE, "READ-LINE", ReadLine, kFormsFirst, true)                            \
  H(GC, "GC", Gc, kEvalsNone, true)                                                \
  H(BYE, "BYE", Bye, kForms, true)                                                 \
  H(QUIT, "QUIT", Quit, kForms, true)                                              \
  H(EXIT, "EXIT", Exit, kForms, true)                                              \
  H(DEFPARAMETER, "DEFPARAMETER", Defparameter, kForms, true)                      \
  H(DEFVAR, "DEFVAR", Defvar, kForms, true)                                        \
  H(CONSP, "CONSP", Consp, kEvalsOne, false)                                       \
  H(NUMBERP, "NUMBERP", Numberp, kEvalsOne, false)                                 \
  H(TIMES, "*", Times, kForms, false)                                              \
  H(DIVIDE, "/", Divide, kForms, false)                                            \
  H(VALUES, "VALUES", Values, kFormsFirst, false)                                  \
  H(MULTIPLEVALUELIST, "MULTIPLE-VALUE-LIST", MultipleValueList, kEvalsOne, false) \
  H(EVAL1, "EVAL1", Eval1, kFormsFirst, false)                                      \
  H(APPLY, "APPLY", Apply, kForms, false)                                           \
  H(FUNCALL, "FUNCALL", Funcall, kForms, false)                                     \
  H(RPLACA, "RPLACA", Rplaca, kEvalsTwo, true)                                     \
  H(RPLACD, "RPLACD", Rplacd, kEvalsTwo, true)                                     \
  H(SYMBOLP, "SYMBOLP", Symbolp, kEvalsOne, false)                                 \
  H(CHARACTERP, "CHARACTERP", Characterp, kEvalsOne, false)                        \
  H(CHAREQUAL, "CHAR-EQUAL", CharEqual, kEvalsTwo, false)                          \
  H(CHARLESS, "CHAR<", CharLess, kEvalsTwo, false)                                 \
  H(MACROEXPAND, "MACROEXPAND", Macroexpand, kEvalsOne, false)                     \
  H(INTEGERP, "INTEGERP", Integerp, kEvalsOne, false)                              \
  H(SETARRAY, "SET-ARRAY", SetArray, kForms, true)                                 \
  K(CHARACTER, "CHARACTER")                                                        \
  H(ARRAYCAR, "ARRAY-CAR", ArrayCar, kEvalsOne, false)                             \
  H(ARRAYCDR, "ARRAY-CDR", ArrayCdr, kEvalsOne, false)                             \
  H(ARRAYP, "ARRAYP", Arrayp, kEvalsOne, false)                                    \
  H(RANDOM, "RANDOM", Random, kForms, true)                                        \
  H(SQRT, "SQRT", Sqrt, kForms, false)                                             \
  H(EXPT, "EXPT", Expt, kForms, false)                                             \
  H(EXP, "EXP", Exp, kForms, false)                                                \
  H(LOG, "LOG", Log, kForms, false)                                                \
  H(SIN, "SIN", Sin, kForms, false)                                                \
  H(COS, "COS", Cos, kForms, false)                                                \
  H(TAN, "TAN", Tan, kForms, false)                                                \
  H(ASIN, "ASIN", Asin, kForms, false)                                             \
  H(ACOS, "ACOS", Acos, kForms, false)                                             \
  H(ATAN, "ATAN", Atan, kForms, false)                                             \
  H(EVENP, "EVENP", Evenp, kForms, false)                                          \
  H(FLOOR, "FLOOR", Floor, kForms, false)                                          \
  H(NOW, "NOW", Now, kEvalsNone, true)                                             \
  H(LOCALTIME, "LOCAL-TIME", LocalTime, kForms, true)                              \
  H(MAKETIME, "MAKE-TIME", MakeTime, kForms, true)                                 \
  H(CHARCODE, "CHAR-CODE", CharCode, kForms, false)                                \
  H(CODECHAR, "CODE-CHAR", CodeChar, kForms, false)                                \
  H(CATCHLISP, "CATCH", Catch, kForms, false)                                      \
  H(THROWLISP, "THROW", Throw, kForms, false)                                       \
  H(UNWINDPROTECT, "UNWIND-PROTECT", UnwindProtect, kForms, false)                 \
  K(ABORT, "ABORT")                                                                \
  H(ERRORLISP, "ERROR", Error, kForms, true)                                       \
  H(BREAKLISP, "BREAK", Break, kEvalsNone, true)                                   \
  K(CONTINUELISP, "CONTINUE")                                                      \
  H(SYMBOLNAME, "SYMBOL-NAME", SymbolName, kForms, false)                          \
  H(TINTERN, "INTERN", Intern, kForms, true)                                       \
  K(TINTERNAL, ":INTERNAL")                                                        \
  H(TINTERNWIDE, "INTERN-WIDE", InternWide, kForms, true)                          \
  H(SYMBOLFUNCTION, "SYMBOL-FUNCTION", SymbolFunction, kForms, true)               \
  K(MACRO, "MACRO")                                                                \
  H(BLOCKLISP, "BLOCK", Block, kForms, false)                                      \
  H(RETURNFROMLISP, "RETURN-FROM", ReturnFrom, kForms, false)

// Applies K to the marker rows and H to the heads, in interning order.
#define TSUMUGI_KEYWORDS(K, H) TSUMUGI_KEYWORDS_HEAD(K, H) TSUMUGI_KEYWORDS_TAIL(K, H)
// Applies H to the heads only.
#define TSUMUGI_HEAD_ROWS(H) TSUMUGI_KEYWORDS(TSUMUGI_SKIP_ROW, H)
#define TSUMUGI_SKIP_ROW(...)

#define TSUMUGI_DECLARE_KEYWORD(global, name, ...) extern _cell* global;
TSUMUGI_KEYWORDS(TSUMUGI_DECLARE_KEYWORD, TSUMUGI_DECLARE_KEYWORD)
#undef TSUMUGI_DECLARE_KEYWORD
extern _cell* NIL;
extern _cell* T;
extern _cell* NILCell;
extern _cell* TCell;

// What a built-in head is, kept in its symbol cell (_cell::code) so that the dispatch needs no
// chain of comparisons; 0 for every other symbol.
#define TSUMUGI_HEAD_CODE(global, name, handler, arity, effects) h##handler,
enum Head : uint8_t { hNone = 0, TSUMUGI_HEAD_ROWS(TSUMUGI_HEAD_CODE) kHeadCount };
#undef TSUMUGI_HEAD_CODE
static_assert(kHeadCount <= 256, "a head's code fits the byte of its symbol cell");

// The columns of the heads' rows, indexed by code (row 0 stands for hNone).
#define TSUMUGI_HEAD_COLUMN(column) TSUMUGI_HEAD_ROWS(TSUMUGI_HEAD_COLUMN_##column)
#define TSUMUGI_HEAD_COLUMN_name(global, name, handler, arity, effects) name,
#define TSUMUGI_HEAD_COLUMN_global(global, name, handler, arity, effects) &global,
#define TSUMUGI_HEAD_COLUMN_arity(global, name, handler, arity, effects) arity,
#define TSUMUGI_HEAD_COLUMN_effects(global, name, handler, arity, effects) effects,
inline constexpr const char* kHeadNames[kHeadCount] = {"", TSUMUGI_HEAD_COLUMN(name)};
inline constexpr _cell** kHeadSymbols[kHeadCount] = {nullptr, TSUMUGI_HEAD_COLUMN(global)};
inline constexpr HeadArity kHeadArities[kHeadCount] = {kForms, TSUMUGI_HEAD_COLUMN(arity)};
inline constexpr bool kHeadEffects[kHeadCount] = {false, TSUMUGI_HEAD_COLUMN(effects)};

constexpr HeadArity headArity(uint8_t code) {
  return code < kHeadCount ? kHeadArities[code] : kForms;
}
// True for the heads whose evaluation can do more than compute a value and allocate (see the
// effects column above); false for every other code.
constexpr bool headHasEffects(uint8_t code) {
  return code < kHeadCount && kHeadEffects[code];
}
