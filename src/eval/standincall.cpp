// Calls of prelude functions that have a stand-in. The arguments are evaluated into records on
// the C++ stack; a frame from the keeper is made only when the stand-in leaves the call to the
// definition, or when its value is a closure (whose frame then stays alive, as after any
// call). Everything observable happens as on the general path of evalu: the same evaluation
// steps in the same order, the same roots while they run, the same messages.
#include "eval/cfunction.h"
#include "top/keywords.h"

namespace {
constexpr long kMaxParameters = 2;

// The number of parameters of a lambda list of at most kMaxParameters plain symbols (the
// list may end in any symbol, as a lambda list may), or 0 for any other list.
long plainParameters(_cell* lambdaList) {
  long n = 0;
  _cell* p = lambdaList;
  for (; consp(p); p = p->cdr) {
    if (p->car->type != 's' || p->car == AMPREST || ++n > kMaxParameters) return 0;
  }
  return p->type == 's' ? n : 0;
}
}  // namespace

_cell* cfunction::callStandIn(unsigned id, _cell* def, _cell* args, _symval* frame, long count,
                              long mark) {
  if (!fastPathsOn || !standInsTrusted) return kDeclined;
  _cell* lambdaList = def->car;
  long n = plainParameters(lambdaList);
  if (n == 0) return kDeclined;
  _symval bound[kMaxParameters];
  // The definition stays alive while the call runs, even if an argument form redefines it.
  CellFrame running(*this);
  running.protect(def);
  {
    CellFrame cells(*this);
    cells.protect(args);
    _cell* p = lambdaList;
    for (long i = 0; i < n; i++, p = p->cdr) {
      if (!consp(args)) {
        cells.release();
        return fail("エラー: 引数の数が違います", frame, count);  // too few
      }
      _cell* value = eval(args->car, frame, count, mark);
      if (!value) return nullptr;
      bound[i] = _symval{0, p->car, value};
      cells.protect(value);  // the records are no root
      args = args->cdr;
    }
    if (args->type != 's') {
      cells.release();
      return fail("エラー: 引数の数が違います", frame, count);  // too many
    }
  }
  _cell* r = runStandIn(id, bound, n);
  _symval* f = nullptr;
  if (r == kDeclined || r->envCount != 0) {
    f = allocCallFrame(n);
    if (!f) return fail("エラー: ローカル変数領域の確保に失敗しました", frame, count);
    for (long i = 0; i < n; i++) f[i] = bound[i];
  }
  if (r == kDeclined) {
    LocalFrame local(*this, f, n);
    r = tprogn(def->cdr, f, n, 0);
  }
  running.release();
  returnFromValue = nullptr;
  endFrame(f, n, r);
  return r;
}
