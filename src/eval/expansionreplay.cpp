// Watching a macro body run, remembering its expansion, and replaying it (see
// eval/expansioncache.h for what a remembered expansion rests on, and eval/fastpaths.h for
// the contract).
#include <algorithm>
#include <unordered_map>
#include <unordered_set>

#include "eval/cfunction.h"
#include "eval/fastpaths.h"
#include "top/keywords.h"

namespace {
// A body that goes deeper than this into the native stack is not remembered.
constexpr long kMaxStackUse = 256 * 1024;
constexpr size_t kMaxGlobals = 64;

char* stackPointer() {
  return static_cast<char*>(__builtin_frame_address(0));
}

// Heads whose evaluation does more than compute a value and allocate; FUNCTION only when it
// captures a frame into a lambda form.
bool hasEffects(uint8_t code, const _cell* args) {
  if (code == hFunction) return consp(args) && consp(args->car);
  return headHasEffects(code);
}
}  // namespace

// The state when the watching of a macro body began.
struct cfunction::WatchStart {
  long freeCells, freeNums, freeInts;
  long cursor, wraps;
  long collections, effects, epoch;
  size_t reads;
  char* sp;
  size_t clearables;
};

// What the body took: the garbage it left, and how deep it went down the native stack.
struct cfunction::BodyTook {
  long cells, nums, ints;
  long stackBytes;
};

void cfunction::noteWatchedForm(_cell* form) {
  char* sp = stackPointer();
  if (sp < watchLowSp) watchLowSp = sp;
  if (uint8_t code = form->car->code; code && hasEffects(code, form->cdr)) effectsSeen++;
}

void cfunction::noteGlobalRead(long slot) {
  _cell* v = gvBase[slot].value;
  // Values that cannot change in place: a later call can tell by identity whether it holds.
  switch (v->type) {
    case 's':
    case 'i':
    case 'n':
    case 'b':
    case 'm':
      globalReads.emplace_back(slot, v);
      return;
    default:
      effectsSeen++;  // not an effect, but nothing to rest a remembered expansion on
  }
}

_cell* cfunction::expandWatched(std::vector<uintptr_t>&& key, _cell* args, _symval* record,
                                _symval* callerFrame, long callerCount) {
  char* outerLow = watchLowSp;
  WatchStart w{freeCells,          freeNums,       freeInts,         cellCursor,
               cellWraps,          collections,    effectsSeen,      codeEpoch,
               globalReads.size(), stackPointer(), clearables.size()};
  watchLowSp = w.sp;
  watching++;
  Expansion x = expand(args, record, callerFrame, callerCount, 0);
  watching--;
  char* low = watchLowSp;
  watchLowSp = std::min(outerLow ? outerLow : low, low);
  if (x.outcome != kExpanded) {
    if (!watching) {
      globalReads.clear();
      clearables.clear();
    }
    return x.form;
  }
  bool keep = collections == w.collections && effectsSeen == w.effects && codeEpoch == w.epoch &&
              w.sp - low <= kMaxStackUse && globalReads.size() - w.reads <= kMaxGlobals;
  // The garbage the body made, taken before the copy.
  BodyTook took{w.freeCells - freeCells, w.freeNums - freeNums, w.freeInts - freeInts,
                static_cast<long>(w.sp - low)};
  std::vector<_cell*> order;
  copyOrder = keep ? &order : nullptr;
  _cell* copy = Copy(x.form);
  copyOrder = nullptr;
  if (keep && copy) {
    // This copy's macro calls get linked as a replayed copy's do.
    if (RememberedExpansion* e = remember(std::move(key), args, w, took, copy, order)) {
      for (_cell* c : order) c->spare |= ExpansionCache::copyFlag(*e);
      expansions.noteCallSites(*e, order, writes);
    }
  }
  if (!watching) {
    globalReads.clear();
    clearables.clear();
  }
  _cell* r = copy ? evalProtected(copy, callerFrame, callerCount, 0)
                  : circularList(callerFrame, callerCount);
  PopLocStack();
  releaseFrame(x.frame);
  return r;
}

// Whether a cell may have been taken by the allocator while the body ran: it lies in the
// stretch the cell cursor swept.
bool cfunction::madeWhileWatched(const _cell* atom, const WatchStart& w) const {
  long i = atom - cellBase;
  long end = cellCursor;
  long laps = cellWraps - w.wraps;
  if (laps == 0) return i >= w.cursor && i < end;
  if (laps == 1) return i >= w.cursor || i < end;
  return true;
}

// Every cell reachable from x (conses and arrays followed), x included.
static void collectCells(_cell* x, std::unordered_set<const _cell*>& into) {
  std::vector<_cell*> work{x};
  while (!work.empty()) {
    _cell* c = work.back();
    work.pop_back();
    if (!into.insert(c).second) continue;
    if (c->type == 'l' || c->type == 'a') {
      work.push_back(c->car);
      work.push_back(c->cdr);
    }
  }
}

RememberedExpansion* cfunction::remember(std::vector<uintptr_t>&& key, _cell* args,
                                         const WatchStart& w, const BodyTook& took,
                                         _cell* expansion, const std::vector<_cell*>& order) {
  // The cursor has moved on by the copy since the body ran, which madeWhileWatched counts
  // in: harmless, the copy's cells are never atoms here.
  std::unordered_map<const _cell*, long> index;
  for (size_t i = 0; i < order.size(); i++) index.emplace(order[i], static_cast<long>(i));
  bool ok = true;
  RememberedExpansion e;
  auto ref = [&](_cell* x) -> uintptr_t {
    auto it = index.find(x);
    if (it != index.end()) return ExpansionCache::cellRef(it->second);
    if (x->type != 's' && madeWhileWatched(x, w)) ok = false;
    if (x->type == 'a') e.holdsArrays = true;
    return reinterpret_cast<uintptr_t>(x);
  };
  e.root = ref(expansion);
  e.cells.reserve(order.size());
  for (_cell* c : order) e.cells.emplace_back(ref(c->car), ref(c->cdr));
  if (!ok) return nullptr;
  // The copy's macro calls: a cons whose car names a macro, with a cons of forms after it.
  for (const auto& [car, cdr] : e.cells) {
    if (ExpansionCache::isCellRef(car) || !ExpansionCache::isCellRef(cdr)) continue;
    _cell* head = reinterpret_cast<_cell*>(car);
    if (head->type != 's') continue;
    _symval* rec = getFuncval2(head);
    if (rec && rec->tag == 'm') {
      e.callSites.push_back(static_cast<uint32_t>(ExpansionCache::indexOf(cdr)));
    }
  }
  e.garbageCells = took.cells;
  e.garbageNums = took.nums;
  e.garbageInts = took.ints;
  e.stackUse = took.stackBytes;
  // Of the results whose values the steps cleared, those that existed before: symbols, code,
  // and the argument forms' own cells (a body without effects can reach nothing else that
  // existed; the rest it made itself, and they are garbage now).
  std::unordered_set<const _cell*> argCells;
  bool argsWalked = false;
  for (size_t i = w.clearables; i < clearables.size(); i++) {
    _cell* c = clearables[i];
    if (c->type != 's' && !(c->spare & kCodeCell)) {
      if (!argsWalked) {
        collectCells(args, argCells);
        argsWalked = true;
      }
      if (!argCells.count(c)) continue;
    }
    if (std::find(e.cleared.begin(), e.cleared.end(), c) == e.cleared.end()) e.cleared.push_back(c);
  }
  for (size_t i = w.reads; i < globalReads.size(); i++) {
    auto g = globalReads[i];
    if (std::find(e.globals.begin(), e.globals.end(), g) == e.globals.end()) e.globals.push_back(g);
  }
  RememberedExpansion& slot = expansions.add(std::move(key));
  e.key = std::move(slot.key);
  slot = std::move(e);
  return &slot;
}

_cell* cfunction::rebuild(RememberedExpansion& e) {
  rebuilt.resize(e.cells.size());
  const uint32_t flag = ExpansionCache::copyFlag(e);  // set as the cells are taken
  getCells(rebuilt.data(), static_cast<long>(rebuilt.size()));
  for (_cell* c : rebuilt) c->spare = flag;
  auto resolve = [&](uintptr_t r) {
    return ExpansionCache::isCellRef(r) ? rebuilt[ExpansionCache::indexOf(r)]
                                        : reinterpret_cast<_cell*>(r);
  };
  for (size_t i = 0; i < rebuilt.size(); i++) {
    rebuilt[i]->car = resolve(e.cells[i].first);
    rebuilt[i]->cdr = resolve(e.cells[i].second);
  }
  expansions.noteCallSites(e, rebuilt, writes);
  return resolve(e.root);
}

_cell* cfunction::replayExpansion(RememberedExpansion& e, _cell* args, _symval* record,
                                  _symval* callerFrame, long callerCount) {
  if (!shortcutMayRun(e.garbageCells + static_cast<long>(e.cells.size()), e.garbageNums,
                      e.garbageInts) ||
      !StackRoomAtLeast(e.stackUse + kShortcutStackMargin)) {
    return kDeclined;
  }
  for (const auto& [slot, value] : e.globals) {
    if (gvBase[slot].value != value) return kDeclined;
  }
  _cell* def = record->value;
  long n = shortLength(def->car);
  _symval* f = allocCallFrame(n);
  if (n > 0 && !f) return kDeclined;
  if (!initTemplocForMacro(f, n, def->car, args)) {
    releaseFrame(f);
    return kDeclined;
  }
  IncLocStack(f, n);
  burnInts(e.garbageInts);
  burnNums(e.garbageNums);
  burnCells(e.garbageCells);
  if (e.clearedAt != oldValueSets) {
    for (_cell* c : e.cleared) {
      if (c->values) {
        touchCell(c);
        c->values = nullptr;
      }
    }
    e.clearedAt = oldValueSets;
  }
  _cell* copy = rebuild(e);
  if (watching) {
    globalReads.insert(globalReads.end(), e.globals.begin(), e.globals.end());
    clearables.insert(clearables.end(), e.cleared.begin(), e.cleared.end());
  }
  _cell* r = evalProtected(copy, callerFrame, callerCount, 0);
  PopLocStack();
  releaseFrame(f);
  return r;
}
