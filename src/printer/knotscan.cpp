// A depth-first scan with the usual three colours: a cell on the scan's path is open, one
// whose every part has been scanned is done, and meeting an open cell again is a cycle. Done
// cells are not scanned again, so the scan is as long as the object. Like the printer, it
// follows cdrs with a loop and recurses only into cars and arrays.
#include "printer/knotscan.h"

#include "memory/fatal.h"
#include "printer/cprint.h"

namespace {
bool followed(const _cell* x) {
  return x->type == 'l' || (x->type == 'a' && !cprint::isString(x));
}
}  // namespace

KnotScan::~KnotScan() {
  for (_cell* c : touched_) c->spare &= ~(kScanOpen | kScanDone);
}

bool KnotScan::cyclic(_cell* x) {
  visit(x);
  return found_;
}

void KnotScan::open(_cell* c) {
  c->spare |= kScanOpen;
  touched_.push_back(c);
  open_.push_back(c);
}

void KnotScan::visit(_cell* x) {
  if (found_ || !followed(x) || (x->spare & kScanDone)) return;
  if (x->spare & kScanOpen) {
    found_ = true;
    return;
  }
  CheckStackDepth();
  size_t mark = open_.size();
  if (x->type == 'a') {
    open(x);
    _cell* rank = x->car;
    if (!(rank->type == 'i' && ival(rank) == 1)) visit(rank);
    visit(x->cdr->type == 'l' ? x->cdr->cdr : x->cdr);
  } else {
    _cell* p = x;
    for (; p->type == 'l' && !(p->spare & kScanDone); p = p->cdr) {
      if (p->spare & kScanOpen) {
        found_ = true;
        return;
      }
      open(p);
      visit(p->car);
      if (found_) return;
    }
    if (p->type == 'a') visit(p);
  }
  while (open_.size() > mark) {
    open_.back()->spare = (open_.back()->spare & ~kScanOpen) | kScanDone;
    open_.pop_back();
  }
}
