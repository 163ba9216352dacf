// The stand-in for the prelude's SORT on a list of integers under #'< (the contract:
// eval/fastpaths.h).
//
// The definition is a quicksort. Each level binds (LENGTH LST) and the :KEY option (MEMBER
// :KEY C), and a list shorter than two is its own answer. Otherwise a LOOP tries pivots in
// turn: the K-th element (NTH K LST) splits the list, in an inner LOOP, into S (the elements
// below it) and L (the others), each consed on in list order. When one side is empty, K goes
// up by one (1+ K); when K reaches the length, the list is the answer as it is. Otherwise
//   (RETURN (REPLACE-DESTROY KEP (APPEND (APPLY #'SORT (CONS (REVERSE S) (CONS TEST C)))
//                                        (APPLY #'SORT (CONS (REVERSE L) (CONS TEST C))))))
// sorts both sides one level down, copies the sorted S with APPEND1 (from its last cons to its
// first, as the recursion unwinds) in front of the sorted L, and moves that list into the
// level's first cons.
//
// Everything the levels make is garbage when SORT returns but the copies that end up in the
// answer and the answers of the levels on the L side (their reversed lists), so the stand-in
// works the sort out on the elements, counts the garbage with burnCells, and makes only those
// cells, in the order the definition makes them.
// The cells each step takes:
//  - (LENGTH LST): a cell and an integer; (< A B) on integers: (MINUSP (- A B)), a cell and
//    an integer; (1+ K) likewise; (MEMBER :KEY NIL) none;
//  - LOOP and RETURN: see eval/macrocosts.h;
//  - (NTH K LST): as its stand-in takes (eval/standins_lists.cpp): its LOOP, K cells and K
//    integers, and (RETURN (CAR X));
//  - (FUNCALL TEST V M) of a symbol: its call form, one cell, then the call;
//  - (APPEND X Y) makes 4 cells and copies (APPEND1 X (APPEND Y)); (APPEND Y) copies Y;
//  - (APPLY #'SORT list): #'SORT is the symbol; the argument list made by the two CONSes, then
//    (QUOTE arg) for each argument, 3 cells each, and the call form, one cell;
//  - (REVERSE S) on q conses: reverseGarbage(q) cells of garbage, then its q conses, the last
//    element's first;
//  - (APPEND1 X Y) on p conses: p conses; REPLACE-DESTROY: none.
#include <vector>

#include "eval/cfunction.h"
#include "eval/fastpaths.h"
#include "eval/macrocosts.h"

namespace {
// Native stack a level of the interpreted definition may take, with a wide margin
// (instrumented builds have much larger frames).
constexpr long kSortLevelStack = levelStack(128 * 1024);

constexpr long kLengthCells = 1;
constexpr long kLessCells = 1;
constexpr long kOnePlusCells = 1;
constexpr long kNthFixedCells = kNthLoop + kReturnCar;
constexpr long kApplyCells = 2 + 2 * 3 + 1;  // the two CONSes, the quoted arguments, the call
// Room kept beyond what the levels take.
constexpr long kShortcutCellMargin = 1000;

struct SortState {
  _cell* less = nullptr;
  _cell* keyKeyword = nullptr;
  _cell* replaceDestroyName = nullptr;
  _cell* replaceDestroy = nullptr;  // its definition when registered
  // What the definition's forms take, or -1 when the definition is not the one expected.
  long outerLoop = -1, innerLoop = -1, returnSorted = -1, appendCopies = -1, appendRest = -1;
};
SortState state;
}  // namespace

// Finds the definition's LOOPs and its RETURN of the sorted halves:
// (LAMBDA-LIST (BLOCK SORT (LET bindings cond (COND ((< LEN 2) LST) (T (LOOP f...)))))),
// whose sixth form is the inner LOOP and whose seventh ends (RETURN (REPLACE-DESTROY KEP
// (APPEND a b))).
void cfunction::registerSortStandIn() {
  state = SortState{};
  state.less = getStringCell("<");
  state.keyKeyword = getStringCell(":KEY");
  state.replaceDestroyName = getStringCell("REPLACE-DESTROY");
  _symval* rd = getFuncval2(state.replaceDestroyName);
  state.replaceDestroy = rd ? rd->value : nullptr;
  _symval* rec = standInRecords[kStandInSort];
  if (!rec) return;
  _cell* block = nthForm(rec->value->cdr, 0);
  _cell* let = block ? nthForm(block, 2) : nullptr;
  _cell* cond = let ? nthForm(let, 3) : nullptr;
  _cell* clause = cond ? nthForm(cond, 2) : nullptr;
  _cell* outer = clause ? nthForm(clause, 1) : nullptr;
  _cell* inner = outer ? nthForm(outer, 6) : nullptr;
  _cell* last = outer ? nthForm(outer, 7) : nullptr;
  _cell* ret = last ? nthForm(last, 3) : nullptr;
  _cell* replace = ret ? nthForm(ret, 1) : nullptr;
  _cell* append = replace ? nthForm(replace, 2) : nullptr;
  if (!append || !consp(append) || !consp(outer) || !consp(inner)) return;
  _cell* a = nthForm(append, 1);
  _cell* b = nthForm(append, 2);
  if (!a || !b) return;
  state.outerLoop = loopFormCells(outer);
  state.innerLoop = loopFormCells(inner);
  state.returnSorted = returnCells(treeConses(replace));
  state.appendCopies = 4 + (3 + treeConses(a) + 2 + treeConses(b));
  state.appendRest = treeConses(b);
}

// One level of the definition on the elements `in` (in list order), whose first cons is kep.
// Counting, it only adds up what the level takes; else it takes it. When the level's answer
// stays reachable (live), the cells that end up in it are made, and the answer is returned;
// `sorted` gets the elements in order.
_cell* cfunction::sortLevel(SortRun& run, const std::vector<_cell*>& in, _cell* kep, bool live,
                            std::vector<_cell*>& sorted, long depth) {
  if (run.outOfRoom(depth)) {
    sorted = in;
    return kep;
  }
  long m = static_cast<long>(in.size());
  run.ints += 2;  // (LENGTH LST) and (< LEN 2)
  run.garbage(kLengthCells + kLessCells);
  if (m < 2) {
    sorted = in;
    return kep;
  }
  run.garbage(state.outerLoop);
  std::vector<_cell*> below, above;
  for (long k = 0;; k++) {
    if (k == m) {
      // Every pivot left a side empty: the list is its own answer.
      run.garbage(returnCells(0));
      sorted = in;
      return kep;
    }
    _cell* pivot = in[static_cast<size_t>(k)];
    run.garbage(kNthFixedCells + k);
    run.ints += k;
    run.garbage(state.innerLoop);
    below.clear();
    above.clear();
    for (_cell* v : in) {
      (ival(v) < ival(pivot) ? below : above).push_back(v);
    }
    // Per element: the FUNCALL's call form, the comparison and the CONS; then (RETURN).
    run.garbage(m * (1 + kLessCells + 1) + kReturnNothing);
    run.ints += m;
    if (below.empty() || above.empty()) {
      run.garbage(kOnePlusCells);
      run.ints++;
      if (run.outOfRoom(depth)) {
        sorted = in;
        return kep;
      }
      continue;
    }
    break;
  }
  run.garbage(state.returnSorted + state.appendCopies);
  // The S side: nothing of it stays but the order of its elements, which APPEND1 copies.
  long q = static_cast<long>(below.size());
  run.garbage(reverseGarbage(q) + q + kApplyCells);
  std::vector<_cell*> sortedBelow, sortedAbove;
  sortLevel(run, below, nullptr, false, sortedBelow, depth + 1);
  // The L side: its reversed list may become (part of) the answer.
  run.garbage(state.appendRest);
  long r = static_cast<long>(above.size());
  run.garbage(reverseGarbage(r));
  _cell* reversed = NILCell;
  if (live && run.taking) {
    run.flush(*this);
    for (auto v = above.rbegin(); v != above.rend(); ++v) reversed = jcons(*v, reversed);
  } else {
    run.garbage(r);
  }
  run.garbage(kApplyCells);
  _cell* rest = sortLevel(run, above, reversed, live, sortedAbove, depth + 1);
  // APPEND1 copies the sorted S, its last element first, in front of the sorted L; the copy
  // of the first element is garbage once REPLACE-DESTROY has moved it into KEP.
  if (live && run.taking) {
    run.flush(*this);
    _cell* copy = rest;
    for (size_t i = sortedBelow.size(); i-- > 1;) copy = jcons(sortedBelow[i], copy);
    run.garbage(1);
    run.flush(*this);
    rplaca(kep, sortedBelow[0], nullptr, 0);
    rplacd(kep, copy, nullptr, 0);
  } else {
    run.garbage(q);
  }
  sorted = std::move(sortedBelow);
  sorted.insert(sorted.end(), sortedAbove.begin(), sortedAbove.end());
  return kep;
}

// (SORT list #'<) on a proper list of integers.
_cell* cfunction::sortStandIn(_symval* frame, long n) {
  if (n != 4 || state.outerLoop < 0 || !listStandInsHold() || !standing(kStandInLess) ||
      !standing(kStandInNth) || !standing(kStandInReverse) || !standing(kStandInMember) ||
      !standing(kStandInNot)) {
    return kDeclined;
  }
  _symval* rd = getFuncval2(state.replaceDestroyName);
  if (!rd || rd->tag != 'f' || rd->value != state.replaceDestroy) return kDeclined;
  _cell* list = frame[0].value;
  _cell* test = frame[1].value;
  _cell* rest = frame[2].value;
  if (test != state.less || rest != NILCell || !consp(list)) return kDeclined;
  // The steps clear the multiple values of what they return: here there must be none.
  if (TCell->values || NILCell->values || state.less->values || state.keyKeyword->values) {
    return kDeclined;
  }
  std::vector<_cell*> elements;
  long m = chainLength(list);
  if (m < 0 || m > (1L << 20)) return kDeclined;
  _cell* p = list;
  for (; consp(p); p = p->cdr) {
    if (p->values || p->car->type != 'i' || p->car->values) return kDeclined;
    elements.push_back(p->car);
  }
  if (p != NILCell) return kDeclined;
  // The plain levels must fit in the stack and their garbage in the free cells and integers;
  // the count stops as soon as they cannot (a sorted list of thousands goes that deep).
  SortRun count;
  count.maxCells = freeCells - 999 - kShortcutCellMargin;
  count.maxInts = freeInts - 999 - kShortcutCellMargin;
  count.maxDepth = (StackRoom() - kShortcutStackMargin) / kSortLevelStack;
  std::vector<_cell*> sorted;
  sortLevel(count, elements, list, true, sorted, 1);
  if (count.gaveUp || !shortcutMayRun(count.cells, 0, count.ints)) return kDeclined;
  SortRun take;
  take.taking = true;
  _cell* r = sortLevel(take, elements, list, true, sorted, 1);
  take.flush(*this);
  burnInts(take.ints);
  GoSymbol = nullptr;
  return r;
}
