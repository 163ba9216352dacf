// Calls of prelude functions that have a stand-in. The arguments are evaluated into records on
// the C++ stack; a frame from the keeper is made only when the stand-in leaves the call to the
// definition, or when its value is a closure (whose frame then stays alive, as after any
// call). Everything observable happens as on the general path of evalu: the same evaluation
// steps in the same order, the same roots while they run, the same messages.
#include "eval/cfunction.h"
#include "top/keywords.h"

namespace {
constexpr long kMaxParameters = 2;

// The number of parameters of a lambda list of one or two parameters and no &REST, or 0 for
// any other. (Stand-ins run only while no definition has been changed, so their lambda lists
// are the prelude's own lists of symbols.)
long plainParameters(_cell* lambdaList) {
  if (!consp(lambdaList) || lambdaList->car == AMPREST) return 0;
  _cell* more = lambdaList->cdr;
  if (!consp(more)) return more->type == 's' ? 1 : 0;
  return more->car != AMPREST && more->cdr->type == 's' ? 2 : 0;
}
}  // namespace

_cell* cfunction::callStandIn(unsigned id, _cell* def, _cell* args, _symval* frame, long count,
                              long mark) {
  if (!fastPathsOn || !standInsTrusted) return kDeclined;
  _cell* lambdaList = def->car;
  long n = plainParameters(lambdaList);
  if (n == 0) return kDeclined;
  _symval bound[kMaxParameters];
  // The definition stays alive while the call runs, even if an argument form redefines it;
  // the argument values are protected until a frame holds them (the records are no root).
  CellFrame cells(*this);
  cells.protect(def);
  _cell** defOnly = csTop;
  cells.protect(args);
  _cell* p = lambdaList;
  for (long i = 0; i < n; i++, p = p->cdr) {
    if (!consp(args)) {
      setCellTop(defOnly);
      return fail("エラー: 引数の数が違います", frame, count);  // too few
    }
    _cell* value = eval(args->car, frame, count, mark);
    if (!value) return nullptr;
    bound[i] = _symval{0, p->car, value};
    cells.protect(value);
    args = args->cdr;
  }
  if (args->type != 's') {
    setCellTop(defOnly);
    return fail("エラー: 引数の数が違います", frame, count);  // too many
  }
  _cell* r = runStandIn(id, bound, n);
  if (r != kDeclined && r->envCount == 0) {
    returnFromValue = nullptr;
    return r;
  }
  _symval* f = allocCallFrame(n);
  if (!f) return fail("エラー: ローカル変数領域の確保に失敗しました", frame, count);
  for (long i = 0; i < n; i++) f[i] = bound[i];
  setCellTop(defOnly);  // the frame holds the values from here on, as on the general path
  if (r == kDeclined) {
    LocalFrame local(*this, f, n);
    r = tprogn(def->cdr, f, n, 0);
  }
  cells.release();
  returnFromValue = nullptr;
  endFrame(f, n, r);
  return r;
}
