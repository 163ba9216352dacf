// Stand-ins for the prelude's MEMBER, REMOVE and ASSOC (the contract: eval/fastpaths.h).
//
// MEMBER recurses through itself, one level per cons looked at: each level works out its test
// (the default #'EQL, or the function after :TEST), asks (NULL LST), FUNCALLs the test on
// (CAR LST), and calls (MEMBER ITEM (CDR LST) :TEST TEST). The FUNCALL of a symbol makes the
// call form, one cell; the call's rest list (:TEST test) takes two. Everything else it
// evaluates gives T, NIL, the keyword, the test, or a cell of the list, whose multiple values
// are cleared as evaluating a form (or a constant symbol) clears them.
//
// REMOVE finds :TEST and :COUNT with MEMBER, then LOOPs down B, and keeps an element by
// (SETQ ANS (APPEND ANS (LIST (CAR B)))): APPEND is a macro, so every kept element costs the
// expansion's cells, the cell of LIST and a fresh copy of ANS by APPEND1 (its conses made
// from the last to the first, as the recursion unwinds). Only the last copy stays reachable,
// so the earlier ones are only counted, with burnCells.
#include <vector>

#include "eval/cfunction.h"
#include "eval/fastpaths.h"
#include "eval/macrocosts.h"

namespace {
// Native stack one level of an interpreted recursion (MEMBER's, APPEND1's) may take, with a
// wide margin (instrumented builds have much larger frames).
constexpr long kLevelStack = levelStack(16 * 1024);

// Cells of the macros REMOVE's loop runs (LOOP and RETURN: eval/macrocosts.h): (APPEND X Y)
// makes 4 and copies its expansion (APPEND1 X (APPEND Y)); (APPEND Y) copies Y.
constexpr long kAppendKept = 4 + 9 + 4;  // (APPEND ANS (LIST (CAR B))) and its inner APPEND
constexpr long kAppendRest = 4 + 5;      // (APPEND ANS B); the inner (APPEND B) copies a symbol
constexpr long kReturnAppend = returnCells(3);
constexpr long kReturnAns = returnCells(0);

struct MemberState {
  _cell* eql = nullptr;
  _cell* eq = nullptr;
  _cell* equal = nullptr;
  _cell* testKey = nullptr;
  _cell* countKey = nullptr;
  _cell* assoc = nullptr;
  long removeLoopCells = -1;  // the LOOP of REMOVE's definition, or -1 when not found
  std::vector<_cell*> kept;   // the elements a REMOVE keeps, reused between calls
};
MemberState state;

enum TestKind { kEqlTest, kEqTest, kEqualTest };

// The cells a call of (LOOP f...) takes, found in REMOVE's definition:
// (LAMBDA-LIST (BLOCK REMOVE (LET bindings cond cond (LOOP f...)))).
long removeLoopCells(_cell* def, _cell* loopName) {
  _cell* block = nthForm(def->cdr, 0);
  _cell* let = block ? nthForm(block, 2) : nullptr;
  _cell* loop = let ? nthForm(let, 4) : nullptr;
  if (!loop || !consp(loop) || loop->car != loopName) return -1;
  return loopFormCells(loop);
}
}  // namespace

void cfunction::registerMemberStandIns() {
  state = MemberState{};
  state.eql = getStringCell("EQL");
  state.eq = getStringCell("EQ");
  state.equal = getStringCell("EQUAL");
  state.testKey = getStringCell(":TEST");
  state.countKey = getStringCell(":COUNT");
  state.assoc = getStringCell("ASSOC");
  if (_symval* rec = standInRecords[kStandInRemove]) {
    state.removeLoopCells = removeLoopCells(rec->value, getStringCell("LOOP"));
  }
}

namespace {
bool testKindOf(const _cell* fn, bool equalStands, TestKind& kind) {
  if (fn == state.eql) {
    kind = kEqlTest;
  } else if (fn == state.eq) {
    kind = kEqTest;
  } else if (fn == state.equal && equalStands) {
    kind = kEqualTest;
  } else {
    return false;
  }
  return true;
}

// At most the cells (MEMBER ...) takes when it answers after levels levels.
long memberCells(long levels) {
  return 3 * levels;
}

// The proper list's length, or -1 for a circular or dotted one.
long properLength(cfunction& f, _cell* list) {
  long m = f.chainLength(list);
  if (m < 0) return -1;
  _cell* p = list;
  while (consp(p)) p = p->cdr;
  return p == NILCell ? m : -1;
}
}  // namespace

bool cfunction::memberTest(int kind, _cell* x, _cell* y) {
  switch (kind) {
    case kEqTest:
      // EQ compares symbols, conses and arrays by identity, integers by value; any other
      // atom is never EQ, not even to itself.
      switch (x->type) {
        case 's':
        case 'l':
        case 'a':
          return x == y;
        case 'i':
          return y->type == 'i' && ival(x) == ival(y);
        default:
          return false;
      }
    case kEqlTest:
      return x == y || eqlValues(x, y);
    default:
      return equalAsDefined(x, y);
  }
}

// The levels of (MEMBER item list :TEST fn) down to the answer, without effects: the levels
// the recursion goes through (an upper bound for EQUAL, whose answers come with effects), or
// -1 when the list is circular or dotted.
long cfunction::memberLevels(_cell* item, _cell* list, int kind) {
  long m = properLength(*this, list);
  if (m < 0 || kind == kEqualTest) return m;
  long k = 0;
  for (_cell* p = list; consp(p); p = p->cdr) {
    k++;
    if (memberTest(kind, item, p->car)) break;
  }
  return k;
}

// The effects of MEMBER's levels after the first has found its test fn: the cells each level
// takes, and the values the steps clear. Gives the answer.
_cell* cfunction::memberSteps(_cell* item, _cell* list, _cell* fn, int kind) {
  dropValues(TCell);
  dropValues(NILCell);
  long cells = 0;
  for (_cell* p = list; consp(p); p = p->cdr) {
    dropValues(p->car);
    cells++;  // the FUNCALL's call form
    if (memberTest(kind, item, p->car)) {
      burnCells(cells);
      return p;
    }
    // (MEMBER ITEM (CDR LST) :TEST TEST): the next level's test is (CAR (CDR A)).
    dropValues(p->cdr);
    dropValues(state.testKey);
    dropValues(fn);
    cells += 2;
  }
  burnCells(cells);
  return NILCell;
}

bool cfunction::membersMayRun(long cells, long ints, long levels) {
  return !watching && shortcutMayRun(cells, 0, ints) &&
         StackRoomAtLeast(kShortcutStackMargin + levels * kLevelStack);
}

// (MEMBER item list) or (MEMBER item list :TEST fn) with fn EQL, EQ or EQUAL. The entry
// points here stay out of line: inlined into the dispatch, they would crowd out the stand-ins
// inlined there.
__attribute__((noinline)) _cell* cfunction::memberStandIn(_symval* frame, long n) {
  if (n != 4 || !standing(kStandInMember) || !standing(kStandInNot)) return kDeclined;
  _cell* item = frame[0].value;
  _cell* list = frame[1].value;
  _cell* rest = frame[2].value;
  _cell* fn = state.eql;
  if (rest != NILCell) {
    if (!consp(rest) || rest->car != state.testKey || !consp(rest->cdr)) return kDeclined;
    fn = rest->cdr->car;
  }
  TestKind kind;
  if (!testKindOf(fn, standing(kStandInEqual), kind)) return kDeclined;
  long levels = memberLevels(item, list, kind);
  if (levels < 0 || !membersMayRun(memberCells(levels), 0, levels)) return kDeclined;
  // A closure as the answer would keep the frame of every level alive.
  for (_cell* p = list; consp(p); p = p->cdr) {
    if (p->envCount != 0) return kDeclined;
  }
  // The first level's test: (NOT (NULL A)), then (EQ :TEST (CAR A)), (CDR A) and
  // (CAR (CDR A)) when there are arguments, else #'EQL.
  if (rest != NILCell) {
    dropValues(state.testKey);
    dropValues(rest->car);
    dropValues(rest->cdr);
  }
  dropValues(fn);
  return memberSteps(item, list, fn, kind);
}

// The effects of REMOVE's (SETQ var (MEMBER key C)) and the COND after it, for its :TEST and
// :COUNT; gives the value the variable ends with (the default is given).
_cell* cfunction::removeOption(_cell* key, _cell* rest, _cell* absent) {
  dropValues(key);
  _cell* found = memberSteps(key, rest, state.eql, kEqlTest);
  dropValues(state.eql);  // the default test of that MEMBER
  dropValues(found);
  _cell* value = absent;
  if (found != NILCell && consp(found->cdr)) {
    dropValues(found->cdr);  // (ATOM (CDR var)), then CADR
    value = found->cdr->car;
  } else if (found != NILCell) {
    dropValues(found->cdr);
  }
  dropValues(value);
  return value;
}

// (REMOVE a b), with :TEST EQL, EQ or EQUAL and :COUNT an integer or NIL.
__attribute__((noinline)) _cell* cfunction::removeStandIn(_symval* frame, long n) {
  if (n != 4 || state.removeLoopCells < 0 || !listStandInsHold() || !standing(kStandInRemove) ||
      !standing(kStandInMember) || !standing(kStandInNot) || !standing(kStandInCadr)) {
    return kDeclined;
  }
  _cell* a = frame[0].value;
  _cell* b = frame[1].value;
  _cell* rest = frame[2].value;
  long restLength = properLength(*this, rest);
  if (restLength < 0) return kDeclined;
  // The options as MEMBER finds them.
  long testLevels = memberLevels(state.testKey, rest, kEqlTest);
  long countLevels = memberLevels(state.countKey, rest, kEqlTest);
  _cell* fn = state.eql;
  _cell* count = NILCell;
  for (_cell* p = rest; consp(p); p = p->cdr) {
    if (p->car == state.testKey) {
      if (consp(p->cdr)) fn = p->cdr->car;
      break;
    }
  }
  for (_cell* p = rest; consp(p); p = p->cdr) {
    if (p->car == state.countKey) {
      if (consp(p->cdr)) count = p->cdr->car;
      break;
    }
  }
  TestKind kind;
  if (!testKindOf(fn, standing(kStandInEqual), kind)) return kDeclined;
  if (count != NILCell && count->type != 'i') return kDeclined;
  long m = chainLength(b);
  if (m < 0) return kDeclined;  // circular: the loop would not end
  // Every element kept, the last copy of ANS made whole: an upper bound of the cells.
  long bound = memberCells(testLevels) + memberCells(countLevels) + state.removeLoopCells +
               m * (1 + kAppendKept + 1) + m * (m + 1) / 2 + kReturnAppend + kAppendRest + m;
  if (m > (1L << 16) || !membersMayRun(bound, m, m)) return kDeclined;
  // The result's conses are new, or b's own cells; a closure among them would keep frames.
  for (_cell* p = b; consp(p); p = p->cdr) {
    if (p->envCount != 0) return kDeclined;
  }

  dropValues(NILCell);  // (ANS NIL)
  fn = removeOption(state.testKey, rest, state.eql);
  removeOption(state.countKey, rest, NILCell);
  bool counted = count != NILCell;
  long left = counted ? ival(count) : 0;

  // Cells taken before the last copy of ANS, and after it.
  long before = state.removeLoopCells;
  long after = 0;
  long ints = 0;
  std::vector<_cell*>& kept = state.kept;
  kept.clear();
  long lastCopy = 0;  // the conses of the last copy of ANS (not made yet)
  _cell* p = b;
  bool countedOut = false;
  for (;;) {
    if (counted && left == 0) {
      countedOut = true;
      break;
    }
    if (!consp(p)) break;
    after++;  // the FUNCALL's call form
    dropValues(p->car);
    if (memberTest(kind, a, p->car)) {
      if (counted) {
        left--;
        after++;  // (1- COUNT)
        ints++;
      }
    } else {
      // The copy before this one turns to garbage; LIST's cell and APPEND1's copy follow.
      before += lastCopy + after + kAppendKept;
      after = 0;
      kept.push_back(p->car);
      lastCopy = static_cast<long>(kept.size());
    }
    dropValues(p->cdr);
    p = p->cdr;
  }
  GoSymbol = nullptr;
  burnInts(ints);
  if (!countedOut) {
    // (RETURN ANS)
    burnCells(before);
    _cell* ans = makeKept(kept, NILCell, true);
    burnCells(after + kReturnAns);
    return ans;
  }
  // (RETURN (APPEND ANS B)): APPEND1 copies the last ANS onto what is left of B.
  burnCells(before + lastCopy + after + kReturnAppend + kAppendRest);
  return makeKept(kept, p, false);
}

// A list of the kept elements ending in tail, its conses taken as APPEND1 takes them, from
// the last to the first; when listed, the last element's cons is LIST's, made before them.
_cell* cfunction::makeKept(const std::vector<_cell*>& kept, _cell* tail, bool listed) {
  long k = static_cast<long>(kept.size());
  if (k == 0) return tail;
  if (listed) tail = listOnto(&kept[--k], 1, NILCell);
  return listOnto(kept.data(), k, tail);
}

// ASSOC recurses through itself with APPLY, one level per entry looked at. With no test
// given, each level binds TEST to #'EQ, asks (>= (LENGTH R) 2), which makes the length and
// the difference (a cell and an integer each), asks (ATOM ALIST), then APPLYs the test to
// (LIST X (CAAR ALIST)): the list's 2 cells, the 6 of its quoted copy and the call form's 1;
// the (QUOTE X) there clears X's values. A level that goes on asks (>= (LENGTH R) 2) again
// and APPLYs #'ASSOC to (LIST X (CDR ALIST)), 9 cells more.
namespace {
constexpr long kAssocLength = 2;  // (>= (LENGTH R) 2): cells, and as many integers
constexpr long kAssocApply = 9;
}  // namespace

// (ASSOC x alist) with the default test.
__attribute__((noinline)) _cell* cfunction::assocStandIn(_symval* frame, long n) {
  if (n != 4 || frame[2].value != NILCell || !standing(kStandInAssoc) ||
      !standing(kStandInGreaterEqual) || !standing(kStandInNot)) {
    return kDeclined;
  }
  _cell* x = frame[0].value;
  _cell* alist = frame[1].value;
  // The entries looked at: each must be a cons, for its CAR.
  long levels = 0;
  _cell* found = nullptr;
  CycleGuard guard;
  _cell* p = alist;
  for (; consp(p); p = p->cdr) {
    if (guard.revisits(p) || !consp(p->car)) return kDeclined;
    levels++;
    if (memberTest(kEqTest, x, p->car->car)) {
      found = p->car;
      break;
    }
  }
  // A closure as the answer would keep the frame of every level alive.
  if (found && found->envCount != 0) return kDeclined;
  long misses = found ? levels - 1 : levels;
  long cells = misses * 2 * (kAssocLength + kAssocApply) +
               (found ? kAssocLength + kAssocApply : kAssocLength);
  long ints = (2 * misses + 1) * kAssocLength;
  if (!membersMayRun(cells, ints, levels + 1)) return kDeclined;
  dropValues(state.eq);  // #'EQ
  dropValues(TCell);
  dropValues(NILCell);
  if (consp(alist)) dropValues(x);  // (QUOTE X)
  for (_cell* q = alist; consp(q); q = q->cdr) {
    dropValues(q->car);
    dropValues(q->car->car);
    if (q->car == found) break;
    dropValues(q->cdr);
    dropValues(state.assoc);  // #'ASSOC
  }
  burnCells(cells);
  burnInts(ints);
  return found ? found : NILCell;
}
