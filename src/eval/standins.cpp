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
    {"<", kStandInLess},
    {">", kStandInGreater},
    {"<=", kStandInLessEqual},
    {">=", kStandInGreaterEqual},
    {"NOT", kStandInNot},
    {"ZEROP", kStandInZerop},
    {"ODDP", kStandInOddp},
    {"LISTP", kStandInListp},
    {"CHAR=", kStandInCharEqual},
    {"CHAR/=", kStandInCharNotEqual},
    {"CHAR>", kStandInCharGreater},
    {"CHAR<=", kStandInCharLessEqual},
    {"CHAR>=", kStandInCharGreaterEqual},
    {"MOD", kStandInMod},
    {"FIRST", kStandInFirst},
    {"REST", kStandInRest},
    {"CAAR", kStandInCaar},
    {"CADR", kStandInCadr},
    {"CDAR", kStandInCdar},
    {"CDDR", kStandInCddr},
    {"CAAAR", kStandInCaaar},
    {"CAADR", kStandInCaadr},
    {"CADAR", kStandInCadar},
    {"CADDR", kStandInCaddr},
    {"CDAAR", kStandInCdaar},
    {"CDADR", kStandInCdadr},
    {"CDDAR", kStandInCddar},
    {"CDDDR", kStandInCdddr},
    {"CAAAAR", kStandInCaaaar},
    {"CAAADR", kStandInCaaadr},
    {"CAADAR", kStandInCaadar},
    {"CAADDR", kStandInCaaddr},
    {"CADAAR", kStandInCadaar},
    {"CADADR", kStandInCadadr},
    {"CADDAR", kStandInCaddar},
    {"CADDDR", kStandInCadddr},
    {"CDAAAR", kStandInCdaaar},
    {"CDAADR", kStandInCdaadr},
    {"CDADAR", kStandInCdadar},
    {"CDADDR", kStandInCdaddr},
    {"CDDAAR", kStandInCddaar},
    {"CDDADR", kStandInCddadr},
    {"CDDDAR", kStandInCdddar},
    {"CDDDDR", kStandInCddddr},
    {"MAPCAR", kStandInMapcar},
    {"GETHASH", kStandInGethash},
    {"SETF-HASH", kStandInSetfHash},
    {"HASH-TABLE-COUNT", kStandInHashTableCount},
    {"NTH", kStandInNth},
    {"NTHCDR", kStandInNthcdr},
    {"REVERSE", kStandInReverse},
    {"LAST", kStandInLast},
    {"MEMBER", kStandInMember},
    {"REMOVE", kStandInRemove},
    {"ASSOC", kStandInAssoc},
    {"SORT", kStandInSort},
};
}  // namespace

_cell* const kDeclined = &declinedCell;

void cfunction::registerStandIns() {
  for (_symval*& rec : standInRecords) rec = nullptr;
  for (const StandInName& s : kStandIns) {
    _symval* rec = getFuncval2(getStringCell(s.name));
    if (!rec || rec->tag != 'f') continue;
    if (s.id == kStandInMapcar && !learnMapcar(rec->value)) continue;
    rec->value->spare = (rec->value->spare & ~kStandInMask) | (uint32_t{s.id} << kStandInShift);
    standInRecords[s.id] = rec;
  }
  registerListStandIns();
  registerMemberStandIns();
  registerSortStandIn();
}

_cell* cfunction::runStandIn(unsigned id, _symval* frame, long n) {
  if (!fastPathsOn || !standInsTrusted) return kDeclined;
  switch (id) {
    case kStandInEqual:
      // The prelude's EQUAL allocates nothing, so skipping its steps is invisible unless one
      // of them would have started a collection or answered an interrupt.
      if (n != 2 || !equalMayBeAnswered()) return kDeclined;
      return equalAsDefined(frame[0].value, frame[1].value) ? TCell : NILCell;
    case kStandInLess:
    case kStandInGreater:
    case kStandInLessEqual:
    case kStandInGreaterEqual:
    case kStandInNot:
    case kStandInZerop:
    case kStandInOddp:
    case kStandInListp:
    case kStandInCharEqual:
    case kStandInCharNotEqual:
    case kStandInCharGreater:
    case kStandInCharLessEqual:
    case kStandInCharGreaterEqual:
    case kStandInMod:
    case kStandInFirst:
    case kStandInRest:
    case kStandInCaar:
    case kStandInCadr:
    case kStandInCdar:
    case kStandInCddr:
    case kStandInCaaar:
    case kStandInCaadr:
    case kStandInCadar:
    case kStandInCaddr:
    case kStandInCdaar:
    case kStandInCdadr:
    case kStandInCddar:
    case kStandInCdddr:
    case kStandInCaaaar:
    case kStandInCaaadr:
    case kStandInCaadar:
    case kStandInCaaddr:
    case kStandInCadaar:
    case kStandInCadadr:
    case kStandInCaddar:
    case kStandInCadddr:
    case kStandInCdaaar:
    case kStandInCdaadr:
    case kStandInCdadar:
    case kStandInCdaddr:
    case kStandInCddaar:
    case kStandInCddadr:
    case kStandInCdddar:
    case kStandInCddddr:
      return runNumberStandIn(id, frame, n);
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
    case kStandInMember:
      return memberStandIn(frame, n);
    case kStandInRemove:
      return removeStandIn(frame, n);
    case kStandInAssoc:
      return assocStandIn(frame, n);
    case kStandInSort:
      return sortStandIn(frame, n);
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
  if (target->spare & kPreludeCode) {
    standInsTrusted = false;
    preludeCodeAlone = false;
  }
  // What is written into code becomes code.
  markDefinition(value);
}
