// Stand-ins for prelude functions, and the marks that tell them (and the expansion cache)
// when code has changed. The contract they keep is written in eval/fastpaths.h.
#include <vector>

#include "eval/cfunction.h"
#include "eval/fastpaths.h"

bool fastPathsOn = true;

namespace {
_cell declinedCell;

struct StandInName {
  const char* name;
  StandIn id;
};

// The prelude functions that have a stand-in.
const StandInName kStandIns[] = {
    {"EQUAL", kStandInEqual},
    {"MAPCAR", kStandInMapcar},
    {"GETHASH", kStandInGethash},
    {"SETF-HASH", kStandInSetfHash},
    {"HASH-TABLE-COUNT", kStandInHashTableCount},
    {"NTH", kStandInNth},
    {"NTHCDR", kStandInNthcdr},
    {"REVERSE", kStandInReverse},
    {"LAST", kStandInLast},
};
}  // namespace

_cell* const kDeclined = &declinedCell;

void cfunction::registerStandIns() {
  for (const StandInName& s : kStandIns) {
    _symval* rec = getFuncval2(getStringCell(s.name));
    if (!rec || rec->tag != 'f') continue;
    if (s.id == kStandInMapcar && !learnMapcar(rec->value)) continue;
    rec->value->spare = (rec->value->spare & ~kStandInMask) | (uint32_t{s.id} << kStandInShift);
  }
  registerListStandIns();
}

_cell* cfunction::runStandIn(unsigned id, _symval* frame, long n) {
  if (!fastPathsOn || !standInsTrusted) return kDeclined;
  switch (id) {
    case kStandInEqual:
      // The prelude's EQUAL allocates nothing, so skipping its steps is invisible unless one
      // of them would have started a collection or answered an interrupt.
      if (n != 2 || !equalMayBeAnswered()) return kDeclined;
      return equalAsDefined(frame[0].value, frame[1].value) ? TCell : NILCell;
    case kStandInMapcar:
      return mapcarStandIn(frame, n);
    case kStandInGethash:
      return gethashStandIn(frame, n);
    case kStandInSetfHash:
      return setfHashStandIn(frame, n);
    case kStandInHashTableCount:
      return hashTableCountStandIn(frame, n);
    case kStandInNth:
      return nthStandIn(frame, n);
    case kStandInNthcdr:
      return nthcdrStandIn(frame, n);
    case kStandInReverse:
      return reverseStandIn(frame, n);
    case kStandInLast:
      return lastStandIn(frame, n);
    default:
      return kDeclined;
  }
}

// Flags every cons and array of a definition (the flag doubles as the visited mark, so
// shared and circular structure is walked once). The prelude's own code carries a second flag:
// the stand-ins rest on it alone.
void cfunction::markDefinition(_cell* def) {
  const uint32_t flags = loadingPrelude ? kCodeCell | kPreludeCode : kCodeCell;
  std::vector<_cell*> work{def};
  while (!work.empty()) {
    _cell* c = work.back();
    work.pop_back();
    while ((c->type == 'l' || c->type == 'a') && !(c->spare & kCodeCell)) {
      c->spare |= flags;
      work.push_back(c->car);
      c = c->cdr;
    }
  }
  codeEpoch++;
}

void cfunction::noteCodeWrite(const _cell* target, _cell* value) {
  if (target->spare & kPreludeCode) standInsTrusted = false;
  // What is written into code becomes code.
  markDefinition(value);
}
