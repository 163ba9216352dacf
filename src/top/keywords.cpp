// Interning the built-in symbols at start-up, in the order of the keyword table.
#include "top/keywords.h"

#include "top/clisp.h"

#define TSUMUGI_DEFINE_KEYWORD(global, name) _cell* global = nullptr;
TSUMUGI_KEYWORDS_HEAD(TSUMUGI_DEFINE_KEYWORD)
TSUMUGI_KEYWORDS_TAIL(TSUMUGI_DEFINE_KEYWORD)
#undef TSUMUGI_DEFINE_KEYWORD
_cell* NIL = nullptr;
_cell* T = nullptr;

namespace {
struct HeadCode {
  _cell** symbol;
  Head code;
};
}  // namespace

void clisp::SetKeyword() {
#define TSUMUGI_INTERN_KEYWORD(global, name) global = getStringCell(name);
  TSUMUGI_KEYWORDS_HEAD(TSUMUGI_INTERN_KEYWORD)
  NILCell = getStringCell("NIL");
  TCell = getStringCell("T");
  NIL = getStringCell("NIL");
  long g = getSymVal2(NIL);
  gvBase[g].symbol = NIL;
  gvBase[g].value = NILCell;
  T = getStringCell("T");
  g = getSymVal2(T);
  gvBase[g].symbol = T;
  gvBase[g].value = TCell;
  TSUMUGI_KEYWORDS_TAIL(TSUMUGI_INTERN_KEYWORD)
#undef TSUMUGI_INTERN_KEYWORD

  const HeadCode heads[] = {
      {&VALUES, hValues},
      {&READLINE, hReadLine},
      {&EVAL1, hEval1},
      {&QUOTE, hQuote},
      {&CAR, hCar},
      {&CDR, hCdr},
      {&CONS, hCons},
      {&BACKQUOTE, hBackquote},
      {&PRINT, hPrint},
      {&PRIN1, hPrin1},
      {&PRINC, hPrinc},
      {&SET, hSet},
      {&DEFPARAMETER, hDefparameter},
      {&DEFVAR, hDefvar},
      {&SETQ, hSetq},
      {&AND, hAnd},
      {&OR, hOr},
      {&ONEPLUS, hOnePlus},
      {&ONEMINUS, hOneMinus},
      {&ATOM, hAtom},
      {&CONSP, hConsp},
      {&NUMBERP, hNumberp},
      {&INTEGERP, hIntegerp},
      {&EVAL, hEval},
      {&TIMES, hTimes},
      {&PLUS, hPlus},
      {&MINUS, hMinus},
      {&DIVIDE, hDivide},
      {&NUMBEREQUAL, hNumberEqual},
      {&EQ, hEq},
      {&EQL, hEql},
      {&NULLP, hNull},
      {&PROGN, hProgn},
      {&PROG1, hProg1},
      {&MINUSP, hMinusp},
      {&COND, hCond},
      {&IF, hIf},
      {&DEFUN, hDefun},
      {&DEFMACRO, hDefmacro},
      {&LET, hLet},
      {&LETAST, hLetAst},
      {&PROG, hProg},
      {&GO, hGo},
      {&APPLY, hApply},
      {&FUNCALL, hFuncall},
      {&LIST, hList},
      {&TOPEN, hOpen},
      {&TCLOSE, hClose},
      {&TREAD, hRead},
      {&CHAR, hChar},
      {&STRINGP, hStringp},
      {&LENGTH, hLength},
      {&COERCE, hCoerce},
      {&FUNCTION, hFunction},
      {&SPACES, hSpaces},
      {&TERPRI, hTerpri},
      {&STRINGEQUAL, hStringEqual},
      {&CHAREQUAL, hCharEqual},
      {&CHARLESS, hCharLess},
      {&GC, hGc},
      {&MULTIPLEVALUELIST, hMultipleValueList},
      {&RPLACA, hRplaca},
      {&RPLACD, hRplacd},
      {&SYMBOLP, hSymbolp},
      {&CHARACTERP, hCharacterp},
      {&BYE, hBye},
      {&QUIT, hBye},
      {&EXIT, hBye},
      {&MACROEXPAND, hMacroexpand},
      {&SETARRAY, hSetArray},
      {&ARRAYCAR, hArrayCar},
      {&ARRAYCDR, hArrayCdr},
      {&ARRAYP, hArrayp},
      {&RANDOM, hRandom},
      {&SQRT, hSqrt},
      {&EXPT, hExpt},
      {&EXP, hExp},
      {&LOG, hLog},
      {&SIN, hSin},
      {&COS, hCos},
      {&TAN, hTan},
      {&ASIN, hAsin},
      {&ACOS, hAcos},
      {&ATAN, hAtan},
      {&EVENP, hEvenp},
      {&FLOOR, hFloor},
      {&NOW, hNow},
      {&LOCALTIME, hLocalTime},
      {&MAKETIME, hMakeTime},
      {&CHARCODE, hCharCode},
      {&CODECHAR, hCodeChar},
      {&CATCHLISP, hCatch},
      {&THROWLISP, hThrow},
      {&BLOCKLISP, hBlock},
      {&RETURNFROMLISP, hReturnFrom},
      {&UNWINDPROTECT, hUnwindProtect},
      {&ERRORLISP, hError},
      {&BREAKLISP, hBreak},
      {&SYMBOLNAME, hSymbolName},
      {&TINTERN, hIntern},
      {&TINTERNWIDE, hInternWide},
      {&SYMBOLFUNCTION, hSymbolFunction},
  };
  for (const HeadCode& h : heads) {
    if (*h.symbol) (*h.symbol)->code = h.code;
  }
}
