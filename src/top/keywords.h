// The built-in symbols: one process-wide global per row of the keyword table, compared by
// identity everywhere in the evaluator.
#pragma once

#include "memory/cell.h"

// Rows 1 to 7 and 12 to 122 of the keyword table, in interning order (rows 8 to 11 are the
// cells of NIL and T, interned between them).
#define TSUMUGI_KEYWORDS_HEAD(X) \
  X(QUOTE, "QUOTE")              \
  X(CAR, "CAR")                  \
  X(CDR, "CDR")                  \
  X(CONS, "CONS")                \
  X(PRINT, "PRINT")              \
  X(PRIN1, "PRIN1")              \
  X(SET, "SET")

#define TSUMUGI_KEYWORDS_TAIL(X)              \
  X(BACKQUOTE, "BACKQUOTE")                   \
  X(BACK_QUOTE, "`")                          \
  X(COMMA, ",")                               \
  X(AST, "@")                                 \
  X(DEFUN, "DEFUN")                           \
  X(AMPREST, "&REST")                         \
  X(LET, "LET")                               \
  X(LETAST, "LET*")                           \
  X(SETQ, "SETQ")                             \
  X(PROG, "PROG**")                           \
  X(GO, "GO")                                 \
  X(RETURN, "RETURN")                         \
  X(AND, "AND")                               \
  X(OR, "OR")                                 \
  X(ONEPLUS, "1+")                            \
  X(ONEMINUS, "1-")                           \
  X(COND, "COND")                             \
  X(NUMBEREQUAL, "=")                         \
  X(DEFMACRO, "DEFMACRO")                     \
  X(AMPBODY, "&BODY")                         \
  X(ATOM, "ATOM")                             \
  X(LIST, "LIST")                             \
  X(EQ, "EQ")                                 \
  X(EVAL, "EVAL")                             \
  X(NULLP, "NULL")                            \
  X(PROGN, "PROGN")                           \
  X(IF, "IF")                                 \
  X(TREAD, "READ")                            \
  X(TOPEN, "OPEN")                            \
  X(COLDIRECTION, ":DIRECTION")               \
  X(COLINPUT, ":INPUT")                       \
  X(COLOUTPUT, ":OUTPUT")                     \
  X(TCLOSE, "CLOSE")                          \
  X(PROG1, "PROG1")                           \
  X(PLUS, "+")                                \
  X(MINUS, "-")                               \
  X(MINUSP, "MINUSP")                         \
  X(EQL, "EQL")                               \
  X(CHAR, "CHAR")                             \
  X(STRINGP, "STRINGP")                       \
  X(LENGTH, "LENGTH")                         \
  X(COERCE, "COERCE")                         \
  X(STRING, "STRING")                         \
  X(PRINC, "PRINC")                           \
  X(FUNCTION, "FUNCTION")                     \
  X(LAMBDA, "LAMBDA")                         \
  X(SPACES, "SPACES")                         \
  X(TERPRI, "TERPRI")                         \
  X(STRINGEQUAL, "STRING-EQUAL")              \
  X(READLINE, "READ-LINE")                    \
  X(GC, "GC")                                 \
  X(BYE, "BYE")                               \
  X(QUIT, "QUIT")                             \
  X(EXIT, "EXIT")                             \
  X(DEFPARAMETER, "DEFPARAMETER")             \
  X(DEFVAR, "DEFVAR")                         \
  X(CONSP, "CONSP")                           \
  X(NUMBERP, "NUMBERP")                       \
  X(TIMES, "*")                               \
  X(DIVIDE, "/")                              \
  X(VALUES, "VALUES")                         \
  X(MULTIPLEVALUELIST, "MULTIPLE-VALUE-LIST") \
  X(EVAL1, "EVAL1")                           \
  X(APPLY, "APPLY")                           \
  X(FUNCALL, "FUNCALL")                       \
  X(RPLACA, "RPLACA")                         \
  X(RPLACD, "RPLACD")                         \
  X(SYMBOLP, "SYMBOLP")                       \
  X(CHARACTERP, "CHARACTERP")                 \
  X(CHAREQUAL, "CHAR-EQUAL")                  \
  X(CHARLESS, "CHAR<")                        \
  X(MACROEXPAND, "MACROEXPAND")               \
  X(INTEGERP, "INTEGERP")                     \
  X(SETARRAY, "SET-ARRAY")                    \
  X(CHARACTER, "CHARACTER")                   \
  X(ARRAYCAR, "ARRAY-CAR")                    \
  X(ARRAYCDR, "ARRAY-CDR")                    \
  X(ARRAYP, "ARRAYP")                         \
  X(RANDOM, "RANDOM")                         \
  X(SQRT, "SQRT")                             \
  X(EXPT, "EXPT")                             \
  X(EXP, "EXP")                               \
  X(LOG, "LOG")                               \
  X(SIN, "SIN")                               \
  X(COS, "COS")                               \
  X(TAN, "TAN")                               \
  X(ASIN, "ASIN")                             \
  X(ACOS, "ACOS")                             \
  X(ATAN, "ATAN")                             \
  X(EVENP, "EVENP")                           \
  X(FLOOR, "FLOOR")                           \
  X(NOW, "NOW")                               \
  X(LOCALTIME, "LOCAL-TIME")                  \
  X(MAKETIME, "MAKE-TIME")                    \
  X(CHARCODE, "CHAR-CODE")                    \
  X(CODECHAR, "CODE-CHAR")                    \
  X(CATCHLISP, "CATCH")                       \
  X(THROWLISP, "THROW")                       \
  X(UNWINDPROTECT, "UNWIND-PROTECT")          \
  X(ABORT, "ABORT")                           \
  X(ERRORLISP, "ERROR")                       \
  X(BREAKLISP, "BREAK")                       \
  X(CONTINUELISP, "CONTINUE")                 \
  X(SYMBOLNAME, "SYMBOL-NAME")                \
  X(TINTERN, "INTERN")                        \
  X(TINTERNAL, ":INTERNAL")                   \
  X(TINTERNWIDE, "INTERN-WIDE")               \
  X(SYMBOLFUNCTION, "SYMBOL-FUNCTION")        \
  X(MACRO, "MACRO")                           \
  X(BLOCKLISP, "BLOCK")                       \
  X(RETURNFROMLISP, "RETURN-FROM")

#define TSUMUGI_DECLARE_KEYWORD(global, name) extern _cell* global;
TSUMUGI_KEYWORDS_HEAD(TSUMUGI_DECLARE_KEYWORD)
TSUMUGI_KEYWORDS_TAIL(TSUMUGI_DECLARE_KEYWORD)
#undef TSUMUGI_DECLARE_KEYWORD
extern _cell* NIL;
extern _cell* T;
extern _cell* NILCell;
extern _cell* TCell;

// What a built-in head is, kept in its symbol cell (_cell::code) so that the dispatch
// needs no chain of comparisons; 0 for every other symbol.
enum Head : uint8_t {
  hNone = 0,
  hValues,
  hReadLine,
  hEval1,
  hQuote,
  hCar,
  hCdr,
  hCons,
  hBackquote,
  hPrint,
  hPrin1,
  hPrinc,
  hSet,
  hDefparameter,
  hDefvar,
  hSetq,
  hAnd,
  hOr,
  hOnePlus,
  hOneMinus,
  hAtom,
  hConsp,
  hNumberp,
  hIntegerp,
  hEval,
  hTimes,
  hPlus,
  hMinus,
  hDivide,
  hNumberEqual,
  hEq,
  hEql,
  hNull,
  hProgn,
  hProg1,
  hMinusp,
  hCond,
  hIf,
  hDefun,
  hDefmacro,
  hLet,
  hLetAst,
  hProg,
  hGo,
  hApply,
  hFuncall,
  hList,
  hOpen,
  hClose,
  hRead,
  hChar,
  hStringp,
  hLength,
  hCoerce,
  hFunction,
  hSpaces,
  hTerpri,
  hStringEqual,
  hCharEqual,
  hCharLess,
  hGc,
  hMultipleValueList,
  hRplaca,
  hRplacd,
  hSymbolp,
  hCharacterp,
  hBye,
  hMacroexpand,
  hSetArray,
  hArrayCar,
  hArrayCdr,
  hArrayp,
  hRandom,
  hSqrt,
  hExpt,
  hExp,
  hLog,
  hSin,
  hCos,
  hTan,
  hAsin,
  hAcos,
  hAtan,
  hEvenp,
  hFloor,
  hNow,
  hLocalTime,
  hMakeTime,
  hCharCode,
  hCodeChar,
  hCatch,
  hThrow,
  hBlock,
  hReturnFrom,
  hUnwindProtect,
  hError,
  hBreak,
  hSymbolName,
  hIntern,
  hInternWide,
  hSymbolFunction,
};
