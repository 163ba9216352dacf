// The debug loop entered on errors, the break loop of BREAK, and what the loops share with
// the top level: reading a form, evaluating it, printing the result.
#include "eval/cfunction.h"
#include "memory/fatal.h"
#include "top/interrupt.h"
#include "top/keywords.h"
#include "top/runmode.h"

namespace {
const char kThrowLost[] = "エラー: THROWされましたが受け取り先のタグが見つかりません\n";
const char kReturnFromLost[] = "エラー: RETURN-FROMの受け取り先が見つかりません\n";
const char kAbortLine[] = "ABORTと入力すれば抜けられます。";
}  // namespace

int cfunction::parseLine(_cell** form) {
  SkipTerm(lineStr);
  if (!RewriteAll(lineStr)) return 0;
  *form = readFromString(lineStr);
  return 1;
}

_cell* cfunction::evalTopForm(_cell* form, _symval* frame, long count) {
  // A failure may leave entries on the stacks (SETQ's, a failed macro expansion's frame):
  // each loop resets them after every evaluation.
  _cell** cellTop = csTop;
  _symval** localTop = lsTop;
  IncCellStack(nullptr);
  IncCellStack(form);
  _cell* r = eval(form, frame, count, 0);
  restoreStacks(cellTop, localTop);
  return r;
}

void cfunction::reportResult(_cell* r) {
  if (!r) {
    if (throwFlag) {
      std::puts(kThrowLost);
      throwFlag = 0;
    } else if (returnFromFlag) {
      std::puts(kReturnFromLost);
      returnFromFlag = 0;
    }
    return;
  }
  if (r->values) {
    MultiPrintS(r->values);
  } else {
    printS(r);
    std::putchar('\n');
  }
}

void cfunction::MultiPrintS(_cell* values) {
  for (_cell* p = values; consp(p); p = p->cdr) {
    printS(p->car);
    std::fputs(consp(p->cdr) ? " ;\n" : "\n", stdout);
  }
}

_cell* cfunction::debugLoop(_symval* frame, long count, bool isBreak) {
  CheckStackDepth();
  errorDepth++;
  int prompt = 1;
  _cell* result = nullptr;
  for (;;) {
    for (int i = 0; i < errorDepth; i++) std::putchar('*');
    std::printf("[%d]", prompt++);
    lineStr[0] = 0;
    int got = GetOneS();
    if (got < 0) {
      dropInterruptedLine();
      continue;
    }
    if (!got) {
      errorlisp(frame, count);
      continue;
    }
    _cell* form = nullptr;
    if (!parseLine(&form)) break;
    if (!form) {
      std::puts("不測なエラー、ABORTします\n");
      break;
    }
    if (form == ABORT) break;
    if (isBreak && form == CONTINUELISP) {
      result = NILCell;
      break;
    }
    reportResult(evalTopForm(form, frame, count));
  }
  errorDepth--;
  return result;
}

void cfunction::dropInterruptedLine() {
  ClearInterrupt();
  std::putchar('\n');
}

void cfunction::errorlisp(_symval* frame, long count) {
  effectsSeen++;
  // A script's standard input is the program's: the message already printed is the end.
  if (scriptMode) ExitProcess(1);
  std::puts("デバッグモードに入りました。");
  std::puts(kAbortLine);
  debugLoop(frame, count, false);
}

_cell* cfunction::breaklisp(_symval* frame, long count) {
  std::puts("中断しました。");
  if (scriptMode) ExitProcess(1);
  std::puts("CONTINUEと入力すれば続行します。");
  std::puts(kAbortLine);
  return debugLoop(frame, count, true);
}
