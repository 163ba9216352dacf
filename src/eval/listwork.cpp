// The small list workers that the special forms share.
#include <unordered_map>
#include <utility>
#include <vector>

#include "eval/cfunction.h"
#include "top/keywords.h"

namespace {
inline bool variableSymbol(const _cell* c) {
  return c->type == 's' && c->sub != 'c';
}
}  // namespace

int cfunction::CheckFunc(_cell* args) {
  if (!consp(args) || !variableSymbol(args->car) || !consp(args->cdr)) return 0;
  _cell* lambdaList = args->cdr->car;
  if (lambdaList != NILCell && !consp(lambdaList)) return 0;
  for (_cell* p = lambdaList; consp(p); p = p->cdr) {
    if (!variableSymbol(p->car)) return 0;
  }
  return 1;
}

_cell* cfunction::condition(_cell* clauses, _symval* frame, long count, long mark) {
  CellFrame cells(*this);
  cells.protect(clauses);
  for (_cell* p = clauses; consp(p); p = p->cdr) {
    _cell* clause = p->car;
    if (!consp(clause)) break;
    _cell* test = eval(clause->car, frame, count, mark);
    if (!test) {
      cells.release();
      return nullptr;
    }
    if (test != NILCell) {
      // A clause with a test only gives NIL, not the test's value.
      _cell* r = tprogn(clause->cdr, frame, count, mark);
      cells.release();
      return r;
    }
  }
  cells.release();
  return NILCell;
}

_cell* cfunction::IfClause(_cell* args, _symval* frame, long count, long mark) {
  if (!consp(args)) return fail("エラー: 文法が違います。", frame, count);
  CellFrame cells(*this);
  cells.protect(args);
  _cell* test = eval(args->car, frame, count, mark);
  _cell* r = nullptr;
  if (!test) {
    r = nullptr;
  } else if (test != NILCell) {
    if (!consp(args->cdr)) {
      cells.release();
      return fail("エラー: 文法が違います。", frame, count);
    }
    r = eval(args->cdr->car, frame, count, mark);
  } else if (consp(args->cdr) && consp(args->cdr->cdr)) {
    r = eval(args->cdr->cdr->car, frame, count, mark);
  } else {
    r = NILCell;
  }
  cells.release();
  return r;
}

_cell* cfunction::tand(_cell* args, _symval* frame, long count, long mark) {
  _cell* r = TCell;  // (AND) is T
  for (_cell* p = args; consp(p); p = p->cdr) {
    r = eval(p->car, frame, count, mark);
    if (!r || r == NILCell) return r;
  }
  return r;
}

_cell* cfunction::tor(_cell* args, _symval* frame, long count, long mark) {
  for (_cell* p = args; consp(p); p = p->cdr) {
    _cell* r = eval(p->car, frame, count, mark);
    if (!r || r != NILCell) return r;
  }
  return NILCell;
}

_cell* cfunction::tprogn(_cell* forms, _symval* frame, long count, long mark) {
  _cell* r = NILCell;
  for (_cell* p = forms; consp(p); p = p->cdr) {
    r = eval(p->car, frame, count, mark);
    if (!r) return nullptr;
  }
  return r;
}

_cell* cfunction::tprog1(_cell* forms, _symval* frame, long count, long mark) {
  if (!consp(forms)) return NILCell;
  CellFrame cells(*this);
  cells.protect(forms);
  _cell* first = eval(forms->car, frame, count, mark);
  if (first) {
    cells.protect(first);
    for (_cell* p = forms->cdr; consp(p); p = p->cdr) {
      if (!eval(p->car, frame, count, mark)) {
        first = nullptr;
        break;
      }
    }
  }
  cells.release();
  return first;
}

_cell* cfunction::tlist(_cell* args, _symval* frame, long count, long mark) {
  _cell* first;
  return tlist2(args, frame, count, &first, mark);
}

_cell* cfunction::tlist2(_cell* args, _symval* frame, long count, _cell** firstOut, long mark) {
  *firstOut = nullptr;
  if (!consp(args)) return NILCell;
  CellFrame cells(*this);
  cells.protect(args);
  _cell* head = nullptr;
  _cell* tail = nullptr;
  for (_cell* p = args; consp(p); p = p->cdr) {
    _cell* v = eval(p->car, frame, count, mark);
    if (!v) {
      cells.release();
      return nullptr;
    }
    _cell* c = getCell();
    c->car = v;
    if (tail) {
      touchCell(tail);  // made before the evaluation
      tail->cdr = c;
    } else {
      head = c;
      *firstOut = v;
      cells.protect(head);  // the list so far, and with it the first value
    }
    tail = c;
  }
  cells.release();
  return head;
}

// Kept out of evalForm, whose every call would otherwise carry its frame guard.
__attribute__((noinline)) _cell* cfunction::values(_cell* args, _symval* frame, long count,
                                                   long mark) {
  _cell* result = getCell();
  CellFrame cells(*this);
  cells.protect(result);
  _cell* first;
  _cell* list = tlist2(args, frame, count, &first, mark);
  cells.release();
  if (!list) return nullptr;
  if (list == NILCell) {
    // (VALUES) is NIL, a plain value.
    touchCell(NILCell);
    if (watching) noteClearable(NILCell);
    NILCell->values = nullptr;
    return NILCell;
  }
  return becomeValues(result, list);
}

_cell* cfunction::becomeValues(_cell* result, _cell* list) {
  _cell* first = list->car;
  touchCell(result);  // made before the evaluation
  notePutValues(result);
  result->values = list;
  result->type = first->type;
  result->sub = first->sub;
  result->car = first->car;
  result->cdr = first->cdr;
  // A copied symbol is a symbol cell too, and symbol cells are never reclaimed.
  if (result->type == 's') allSymbols.push_back(static_cast<uint32_t>(result - cellBase));
  return result;
}

_cell* cfunction::LastCell(_cell* list) {
  CycleGuard guard;
  while (consp(list->cdr)) {
    if (guard.revisits(list)) FatalTooDeep();
    list = list->cdr;
  }
  return list;
}

_cell* cfunction::circularList(_symval* frame, long count) {
  return fail("エラー: 循環したリストです。", frame, count);
}

namespace {
// Conses copied before the copy asks whether the source leads back into itself through its
// cars: smaller copies never pay for the question.
constexpr long kUncheckedCopies = 1L << 20;

// Whether some cons reachable from x through cars and cdrs leads back to itself: a walk in
// depth that meets a cons still on its own path.
bool knotted(const _cell* x) {
  std::unordered_map<const _cell*, bool> onPath;  // false once every way out is explored
  std::vector<std::pair<const _cell*, int>> path{{x, 0}};
  onPath[x] = true;
  while (!path.empty()) {
    auto& [c, next] = path.back();
    if (next == 2) {
      onPath[c] = false;
      path.pop_back();
      continue;
    }
    const _cell* child = next++ == 0 ? c->car : c->cdr;
    if (!consp(child)) continue;
    auto it = onPath.find(child);
    if (it != onPath.end()) {
      if (it->second) return true;
      continue;
    }
    onPath.emplace(child, true);
    path.emplace_back(child, 0);
  }
  return false;
}
}  // namespace

_cell* cfunction::Copy(_cell* x) {
  if (!consp(x)) return x;
  // Spines are copied with a loop; the conses found in car position wait on a work list.
  _cell* result = nullptr;
  copyWork.clear();
  copyWork.emplace_back(&result, x);
  long copied = 0;
  while (!copyWork.empty()) {
    auto [slot, src] = copyWork.back();
    copyWork.pop_back();
    CycleGuard guard;
    for (; consp(src); src = src->cdr) {
      // A knot through the cars would make the copy grow without end; a large structure
      // without one (shared parts are copied each time they are met) is copied in full.
      if (guard.revisits(src) || (++copied == kUncheckedCopies && knotted(x))) {
        copyWork.clear();
        return nullptr;
      }
      _cell* c = getCell();
      if (copyOrder) copyOrder->push_back(c);
      *slot = c;
      if (consp(src->car)) {
        copyWork.emplace_back(&c->car, src->car);
      } else {
        c->car = src->car;
      }
      slot = &c->cdr;
    }
    *slot = src;
  }
  return result;
}

_cell* cfunction::tmember(_cell* x, _cell* list) {
  CycleGuard guard;
  for (; consp(list); list = list->cdr) {
    if (list->car == x) return list;
    if (guard.revisits(list)) FatalTooDeep();
  }
  return NILCell;
}

_cell* cfunction::listOnto(_cell* const* items, long n, _cell* tail) {
  for (long k = n - 1; k >= 0; k--) tail = jcons(items[k], tail);
  return tail;
}

_cell* cfunction::jcons(_cell* a, _cell* d) {
  _cell* c = getCell();
  c->car = a;
  c->cdr = d;
  return c;
}

_cell* cfunction::jprenth(long n, _cell* list) {
  for (; consp(list); list = list->cdr, n--) {
    if (n == 0) return list;
  }
  return nullptr;
}

_cell* cfunction::jnth(long n, _cell* list) {
  _cell* c = jprenth(n, list);
  return c ? c->car : nullptr;
}
