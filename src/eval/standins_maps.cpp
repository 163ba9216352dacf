// MAPCAR over one list, answered by a loop instead of the prelude's recursion. The loop
// evaluates, for each element, the very FUNCALL form of the prelude's definition in the
// definition's own frame (with A bound to the element's sublist), so everything the mapped
// function does, allocates or prints happens as it would; what is skipped is the recursion's
// own steps, which allocate nothing. The result conses are then taken from the last to the
// first, as the unwinding recursion takes them. The contract is in eval/fastpaths.h.
//
// The loop needs no stack per element where the recursion needs some: a mapping the
// recursion could not finish for want of stack (a very long list, or a mapped function
// that goes deep) can finish here.
#include "eval/cfunction.h"
#include "eval/fastpaths.h"
#include "top/keywords.h"

namespace {
_cell* nth(_cell* list, int k) {
  for (; k > 0 && consp(list); k--) list = list->cdr;
  return consp(list) ? list->car : nullptr;
}
}  // namespace

bool cfunction::learnMapcar(_cell* def) {
  // (LAMBDA-LIST (BLOCK MAPCAR (COND c1 c2 ((ATOM B) (CONS (FUNCALL ...) (MAPCAR ...))) c4)))
  _cell* block = nth(def->cdr, 0);
  _cell* cond = block ? nth(block, 2) : nullptr;
  _cell* clause = cond ? nth(cond, 3) : nullptr;
  _cell* consForm = clause ? nth(clause, 1) : nullptr;
  if (!consForm || !consp(consForm) || consForm->car != CONS) return false;
  mapcar.name = nth(block, 1);
  mapcar.funcallForm = nth(consForm, 1);
  mapcar.recurForm = nth(consForm, 2);
  mapcar.rec = mapcar.name ? getFuncval2(mapcar.name) : nullptr;
  mapcar.notRec = getFuncval2(getStringCell("NOT"));
  mapcar.def = def;
  mapcar.notDef = mapcar.notRec ? mapcar.notRec->value : nullptr;
  return mapcar.funcallForm && mapcar.recurForm && mapcar.rec && mapcar.notRec;
}

// The prelude's MAPCAR and the NOT it calls still stand (a table slot, once made, stays).
bool cfunction::mapcarStands() const {
  return standInsTrusted && mapcar.rec->value == mapcar.def &&
         mapcar.notRec->value == mapcar.notDef;
}

void cfunction::keepLevelFrame(const _symval* frame, long n) {
  _symval* f = allocCallFrame(n);
  if (!f) return;
  for (long i = 0; i < n; i++) f[i] = frame[i];
  keepFrame(f, n);
}

_cell* cfunction::mapcarStandIn(_symval* frame, long n) {
  _cell* list = frame[1].value;
  if (n != 4 || frame[2].value != NILCell || mapcar.plainBelow || !mapcarStands()) {
    return kDeclined;
  }
  CellFrame cells(*this);
  cells.protect(list);
  _cell** results = csTop;
  _cell* tail = NILCell;
  long done = 0;
  bool toTheEnd = true;
  CycleGuard guard;
  _cell* before = list;
  // The first call's first step: a collection may be due after the arguments were made.
  if (!startStep(frame, n)) return nullptr;
  for (_cell* p = list; consp(p); before = p, p = p->cdr) {
    touchFrame(frame);
    frame[1].value = p;
    if (guard.revisits(p)) {
      // A circular list: the recursion (from this element on) goes on until the stack ends.
      frame[1].value = before;
      mapcar.plainBelow = true;
      tail = eval(mapcar.recurForm, frame, n, 0);
      mapcar.plainBelow = false;
      if (!tail) return nullptr;
      toTheEnd = false;
      break;
    }
    // The tests before the FUNCALL give T and NIL: (ATOM A), (ATOM B), NOT's (NULL X), (ATOM B).
    dropValues(NILCell);
    dropValues(TCell);
    _cell* r = eval(mapcar.funcallForm, frame, n, 0);
    if (!r) {
      // The BLOCK of this element's call catches a RETURN-FROM MAPCAR, and its value is that
      // call's result; anything else leaves every call without a value.
      if (!(returnFromFlag && returnFromName == mapcar.name && returnFromValue)) return nullptr;
      returnFromFlag = 0;
      tail = returnFromValue;
      returnFromValue = nullptr;
      toTheEnd = false;
      // That call's frame, kept when the value carries a captured frame.
      if (tail->envCount != 0) keepLevelFrame(frame, n);
      break;
    }
    cells.protect(r);
    done++;
    if (!mapcarStands()) {
      // Redefined meanwhile: the rest is the new definition's business.
      tail = eval(mapcar.recurForm, frame, n, 0);
      if (!tail) return nullptr;
      toTheEnd = false;
      break;
    }
    // The steps toward the next call, where a collection may be due, then its (CDR A).
    if (!startStep(frame, n)) return nullptr;
    dropValues(p->cdr);
  }
  if (toTheEnd) dropValues(TCell);  // the last call's (ATOM A)
  touchFrame(frame);
  frame[1].value = list;
  return listOnto(results, done, tail);
}
