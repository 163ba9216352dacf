// Stand-ins for the prelude's list and hash-table functions: GETHASH, SETF-HASH,
// HASH-TABLE-COUNT, NTH, NTHCDR, REVERSE and LAST (the contract: eval/fastpaths.h).
//
// Their definitions run LOOP, RETURN and APPEND, macros whose every call allocates: the cells
// the macro body makes, then a copy of the expansion, which is evaluated. Those cells are
// garbage as soon as the call ends, so a stand-in takes them with burnCells, in the order the
// definition takes them, and builds what stays reachable with the very primitives the
// definition reaches. The counts follow from the prelude's code: LOOP's and RETURN's are
// worked out in eval/macrocosts.h; (1- n) on an integer takes one cell and one integer.
#include <algorithm>
#include <unordered_map>
#include <vector>

#include "eval/cfunction.h"
#include "eval/fastpaths.h"
#include "eval/macrocosts.h"

namespace {
// The LOOPs of the definitions (NTH's: eval/macrocosts.h): four forms each, holding this
// many conses.
constexpr long kGethashLoop = loopCells(4, 44);
constexpr long kSetfHashLoop = loopCells(4, 65);
constexpr long kNthcdrLoop = loopCells(4, 24);
// (RETURN (VALUES NIL NIL)), (RETURN (VALUES (CDR (CAR INS)) T)), and (RETURN X),
// (RETURN NIL) or (RETURN VAL).
constexpr long kReturnValuesNil = returnCells(3);
constexpr long kReturnValuesFound = returnCells(7);
constexpr long kReturnVariable = returnCells(0);
// Native stack one level of the interpreted REVERSE or LAST may take, with a wide margin
// (instrumented builds have much larger frames).
constexpr long kLevelStack = levelStack(16 * 1024);
// The room kept for the collector's reserve beyond what a stand-in takes.
constexpr long kReserve = 1000;

// The definitions the stand-ins also stand for: the macros and functions their definitions
// call. A redefinition of any of them leaves the call to the definition.
const char* const kHelpers[] = {"LOOP", "PROG",  "RETURN",   "APPEND1",
                                "NOT",  "ZEROP", "REVERSE1", "APPEND"};
constexpr int kHelperCount = sizeof kHelpers / sizeof kHelpers[0];

struct ListState {
  _cell* helperDefs[kHelperCount] = {};
  _cell* hashTable = nullptr;
  _cell* eql = nullptr;
  _cell* equal = nullptr;
  long checkedEpoch = -1;
  bool helpersHold = false;
  bool equalHolds = false;  // EQUAL is the prelude's, answered by its stand-in
};
ListState state;

// Where the keys of one EQL table of integer keys are, so that GETHASH and SETF-HASH need not
// walk its entries to find out how many steps their definitions' loops take. Trusted while
// no cons has been written into since (an entry's value set by SETF-HASH itself excepted) and
// no collection has run. Every link, entry and key of the table had no multiple values when
// it was made; multiple values are only ever put on cells just made and on symbols, so they
// still have none, and the steps that would clear them clear nothing.
struct HashIndex {
  const _cell* table = nullptr;
  long writes = -1, collections = -1;
  std::vector<_cell*> entries;
  std::unordered_map<long, long> first;  // key -> the place of its first entry
  _cell* last = nullptr;                 // the last link, or the table's second cons
};
HashIndex hashIndex;

// The index of an EQL table whose keys are all integers, made anew when needed; null when
// the table is not one.
const HashIndex* indexOf(_cell* table, long writes, long collections) {
  HashIndex& x = hashIndex;
  if (x.table == table && x.writes == writes && x.collections == collections) return &x;
  x.table = nullptr;
  x.entries.clear();
  x.first.clear();
  x.last = table->cdr;
  _cell* p = table->cdr->cdr;
  for (; consp(p); p = p->cdr) {
    _cell* entry = p->car;
    if (!consp(entry) || entry->car->type != 'i' || p->values || entry->values ||
        entry->car->values || x.entries.size() >= (size_t{1} << 20)) {
      return nullptr;
    }
    x.first.emplace(ival(entry->car), static_cast<long>(x.entries.size()));
    x.entries.push_back(entry);
    x.last = p;
  }
  if (p != NILCell) return nullptr;
  x.table = table;
  x.writes = writes;
  x.collections = collections;
  return &x;
}

// Through the index: how many entries the definitions' loops look at (all of them when none
// has the key), and the entry found.
bool indexedSearch(_cell* table, _cell* key, long writes, long collections, long& calls,
                   _cell*& found) {
  if (key->type != 'i') return false;
  const HashIndex* x = indexOf(table, writes, collections);
  if (!x) return false;
  auto at = x->first.find(ival(key));
  if (at == x->first.end()) {
    calls = static_cast<long>(x->entries.size());
    found = nullptr;
  } else {
    calls = at->second + 1;
    found = x->entries[static_cast<size_t>(at->second)];
  }
  return true;
}

// How a hash table's test is answered: by EQL, by EQUAL, or not at all.
enum TestKind { kOtherTest, kEqlTest, kEqualTest };
}  // namespace

void cfunction::registerListStandIns() {
  state = ListState{};
  for (int i = 0; i < kHelperCount; i++) {
    _symval* rec = getFuncval2(getStringCell(kHelpers[i]));
    state.helperDefs[i] = rec ? rec->value : nullptr;
  }
  state.hashTable = getStringCell("HASH-TABLE");
  state.eql = getStringCell("EQL");
  state.equal = getStringCell("EQUAL");
}

// Checked again only after a definition has changed.
bool cfunction::listStandInsHold() {
  if (state.checkedEpoch != codeEpoch) {
    state.checkedEpoch = codeEpoch;
    state.helpersHold = true;
    for (int i = 0; i < kHelperCount; i++) {
      _symval* rec = getFuncval2(getStringCell(kHelpers[i]));
      if (!rec || !state.helperDefs[i] || rec->value != state.helperDefs[i]) {
        state.helpersHold = false;
      }
    }
    _symval* rec = getFuncval2(state.equal);
    state.equalHolds = rec && rec->tag == 'f' && standInOf(rec->value) == kStandInEqual;
  }
  return state.helpersHold;
}

namespace {
// EQL with its most frequent cases in line: the same cell, two integers.
inline bool eqlKey(const _cell* a, const _cell* b) {
  if (a == b) return true;
  if (a->type == 'i' && b->type == 'i') return ival(a) == ival(b);
  return cfunction::eqlValues(a, b);
}

TestKind testKind(_cell* test) {
  if (test == state.eql) return kEqlTest;
  if (test == state.equal && state.equalHolds) return kEqualTest;
  return kOtherTest;
}
}  // namespace

// (GETHASH key table): the entries after (HASH-TABLE test) are searched with FUNCALL of the
// test, one cell for the call form each; the answer is (VALUES value T) or (VALUES NIL NIL).
_cell* cfunction::gethashStandIn(_symval* frame, long n) {
  if (n != 2 || !listStandInsHold()) return kDeclined;
  _cell* key = frame[0].value;
  _cell* table = frame[1].value;
  if (!consp(table) || table->car != state.hashTable || !consp(table->cdr) ||
      consp(table->cdr->car)) {
    return kDeclined;
  }
  TestKind kind = testKind(table->cdr->car);
  if (kind == kOtherTest) return kDeclined;
  long calls = 0;
  long limit = freeCells - kReserve - kGethashLoop - kReturnValuesFound - 3;
  _cell* found = nullptr;
  bool valued = false;  // some cell on the way has values to clear
  if (kind == kEqlTest && indexedSearch(table, key, writes.all, collections, calls, found)) {
    if (calls > limit) return kDeclined;
  } else {
    for (_cell* p = table->cdr->cdr; p != NILCell; p = p->cdr) {
      if (!consp(p) || !consp(p->car) || ++calls > limit) return kDeclined;
      _cell* stored = p->car->car;
      valued |= p->values || p->car->values || stored->values;
      if (kind == kEqlTest ? eqlKey(key, stored) : equalAsDefined(key, stored)) {
        found = p->car;
        break;
      }
    }
  }
  long taken = kGethashLoop + calls + (found ? kReturnValuesFound : kReturnValuesNil);
  if (!shortcutMayRun(taken + 3, 0, 0)) return kDeclined;
  // The cells whose values the steps clear: the table's head, every entry and key looked at,
  // and the links followed.
  dropValues(table->car);
  dropValues(table->cdr);
  dropValues(table->cdr->car);
  dropValues(table->cdr->cdr);
  if (valued) {
    for (_cell* p = table->cdr->cdr; p != NILCell; p = p->cdr) {
      dropValues(p->car);
      dropValues(p->car->car);
      if (p->car == found) break;
      dropValues(p->cdr);
    }
  } else if (!found) {
    dropValues(NILCell);
  }
  burnCells(taken);
  GoSymbol = nullptr;
  // VALUES takes its result cell, then the list of the values.
  _cell* result = getCell();
  _cell* first = getCell();
  _cell* second = getCell();
  if (found) {
    dropValues(found->cdr);
    first->car = found->cdr;
    second->car = TCell;
  }
  first->cdr = second;
  return becomeValues(result, first);
}

// (SETF-HASH key table value): the entry of an equal key gets the value, else a new entry
// ((key . value)) goes at the end.
_cell* cfunction::setfHashStandIn(_symval* frame, long n) {
  if (n != 3 || !listStandInsHold()) return kDeclined;
  _cell* key = frame[0].value;
  _cell* table = frame[1].value;
  _cell* value = frame[2].value;
  // A closure as the value would keep the frame of the definition's LET alive.
  if (value->envCount != 0) return kDeclined;
  if (!consp(table) || table->car != state.hashTable || !consp(table->cdr)) return kDeclined;
  TestKind kind = testKind(table->cdr->car);
  if (kind == kOtherTest) return kDeclined;
  long calls = 0;
  long limit = freeCells - kReserve - kSetfHashLoop - kReturnVariable - 2;
  _cell* p = table->cdr;
  _cell* found = nullptr;
  bool valued = false;  // some cell on the way has values to clear
  bool indexed =
      kind == kEqlTest && indexedSearch(table, key, writes.all, collections, calls, found);
  if (indexed) {
    if (calls > limit) return kDeclined;
    if (!found) p = hashIndex.last;
  } else {
    for (; consp(p->cdr); p = p->cdr) {
      _cell* entry = p->cdr->car;
      if (!consp(entry) || ++calls > limit) return kDeclined;
      valued |= p->cdr->values || entry->values || entry->car->values;
      if (kind == kEqlTest ? eqlKey(key, entry->car) : equalAsDefined(key, entry->car)) {
        found = entry;
        break;
      }
    }
  }
  long taken = kSetfHashLoop + calls + kReturnVariable + (found ? 0 : 2);
  if (!shortcutMayRun(taken, 0, 0)) return kDeclined;
  dropValues(table->car);
  dropValues(table->cdr);
  dropValues(table->cdr->car);
  if (valued) {
    for (_cell* q = table->cdr;; q = q->cdr) {
      dropValues(q->cdr);
      if (!consp(q->cdr)) break;
      dropValues(q->cdr->car);
      dropValues(q->cdr->car->car);
      if (q->cdr->car == found) break;
    }
  } else if (!found) {
    dropValues(p->cdr);
  }
  GoSymbol = nullptr;
  if (found) {
    burnCells(taken);
    dropValues(rplacd(found, value, frame, n));
    // An entry's value is no part of the index.
    if (indexed) hashIndex.writes = writes.all;
    return value;
  }
  burnCells(taken - 2 - kReturnVariable);
  _cell* entry = jcons(key, value);
  _cell* link = getCell();
  link->car = entry;
  dropValues(rplacd(p, link, frame, n));
  burnCells(kReturnVariable);
  return value;
}

// (HASH-TABLE-COUNT table): the LENGTH of the entries.
_cell* cfunction::hashTableCountStandIn(_symval* frame, long n) {
  if (n != 1) return kDeclined;
  _cell* table = frame[0].value;
  if (!consp(table) || !consp(table->cdr)) return kDeclined;
  _cell* entries = table->cdr->cdr;
  if ((entries != NILCell && !consp(entries)) || chainLength(entries) < 0) return kDeclined;
  if (!shortcutMayRun(1, 0, 1)) return kDeclined;
  dropValues(table->cdr);
  dropValues(entries);
  return lengthOfChain(entries, frame, n);
}

// The loops of NTH and NTHCDR: k steps down the list (to its end when k is negative or the
// list is shorter), each taking a cell and an integer besides the loop's fixed cells; null
// when the free elements could not pay for them. The walk starts where the last one on the
// same list ended when it did not go past k (see library/chainmemo.h); `from` is where it
// started.
_cell* cfunction::stepDown(_cell* list, long k, long fixedCells, long& steps, _cell*& from) {
  long limit = std::min(freeCells - kReserve - fixedCells, freeInts - kReserve);
  stepMemo.refresh(structureWrites, collections, valueSets, fastPathsOn);
  _cell* p = list;
  if (list == stepMemo.list && (k < 0 || k >= stepMemo.index)) {
    p = stepMemo.at;
    steps = stepMemo.index;
  }
  from = p;
  for (; consp(p) && !(k >= 0 && steps == k); p = p->cdr) {
    if (++steps > limit) return nullptr;
  }
  return p;
}

// What the loop's steps from `from` to p leave (those before `from` left it last time):
// the links they took with CDR lose their values, cells and one integer a step are taken,
// and the loop's GO is spent.
void cfunction::takeSteps(_cell* list, _cell* from, _cell* p, long cells, long steps) {
  for (_cell* q = from; q != p; q = q->cdr) dropValues(q->cdr);
  burnCells(cells);
  burnInts(steps);
  GoSymbol = nullptr;
  stepMemo.list = list;
  stepMemo.index = steps;
  stepMemo.at = p;
}

// (NTH n list): n steps down the list, each with a (1- N).
_cell* cfunction::nthStandIn(_symval* frame, long n) {
  if (n != 2 || !listStandInsHold()) return kDeclined;
  _cell* index = frame[0].value;
  _cell* list = frame[1].value;
  if (index->type != 'i') return kDeclined;
  long k = ival(index);
  long steps = 0;
  _cell* from = nullptr;
  _cell* p = stepDown(list, k, kNthLoop + kReturnCar, steps, from);
  if (!p || !shortcutMayRun(kNthLoop + steps + kReturnCar, 0, steps)) return kDeclined;
  bool inRange = consp(p);
  takeSteps(list, from, p, kNthLoop + steps + (inRange ? kReturnCar : kReturnVariable), steps);
  if (!inRange) return NILCell;
  dropValues(p->car);
  return p->car;
}

// (NTHCDR n list): n steps down the list, each with a (1- N); NIL when it ends first.
_cell* cfunction::nthcdrStandIn(_symval* frame, long n) {
  if (n != 2 || !listStandInsHold()) return kDeclined;
  _cell* index = frame[0].value;
  _cell* list = frame[1].value;
  if (index->type != 'i') return kDeclined;
  long k = ival(index);
  if (k < 0) return NILCell;
  long steps = 0;
  _cell* from = nullptr;
  _cell* p = stepDown(list, k, kNthcdrLoop + kReturnVariable, steps, from);
  if (!p || !shortcutMayRun(kNthcdrLoop + steps + kReturnVariable, 0, steps)) return kDeclined;
  takeSteps(list, from, p, kNthcdrLoop + steps + kReturnVariable, steps);
  return steps == k ? p : NILCell;
}

// (REVERSE list) on a list (not a string): each level of the definition's recursion appends
// the reversed rest to a new last cons with APPEND1, so a list of m elements takes
// 23m + m(m-1)/2 cells of garbage, then the m conses of the answer, the last one first.
_cell* cfunction::reverseStandIn(_symval* frame, long n) {
  if (n != 1 || !listStandInsHold()) return kDeclined;
  _cell* list = frame[0].value;
  if (isString(list)) return kDeclined;
  if (!consp(list)) return list;
  long m = chainLength(list);
  if (m < 0 || LastCell(list)->cdr != NILCell) return kDeclined;
  if (m > (1L << 20)) return kDeclined;
  long garbage = reverseGarbage(m);
  if (!shortcutMayRun(garbage + m, 0, 0) ||
      !StackRoomAtLeast(kShortcutStackMargin + m * kLevelStack)) {
    return kDeclined;
  }
  for (_cell* p = list; consp(p); p = p->cdr) {
    dropValues(p->cdr);
    dropValues(p->car);
  }
  burnCells(garbage);
  _cell* r = NILCell;
  for (_cell* p = list; consp(p); p = p->cdr) r = jcons(p->car, r);
  return r;
}

// (LAST list): one LENGTH per cons down to the last one.
_cell* cfunction::lastStandIn(_symval* frame, long n) {
  if (n != 1) return kDeclined;
  _cell* list = frame[0].value;
  if (!consp(list)) return list;
  long m = chainLength(list);
  if (m < 0) return kDeclined;
  if (!shortcutMayRun(m, 0, m) || !StackRoomAtLeast(kShortcutStackMargin + m * kLevelStack)) {
    return kDeclined;
  }
  _cell* p = list;
  while (consp(p->cdr)) p = p->cdr;
  // A closure as the answer would keep the frame of every level alive.
  if (p->envCount != 0) return kDeclined;
  for (p = list; consp(p->cdr); p = p->cdr) dropValues(p->cdr);
  burnCells(m);
  burnInts(m);
  return p;
}
