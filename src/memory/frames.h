// Binding frames: zero-filled arrays of _symval records. A frame lives while the form that
// made it runs, and after that for as long as a closure cons still refers to it (so no
// closure ever reads freed memory); frames of closures that escape a binding form are kept
// for good, as roots on the static stack.
#pragma once

#include <cstdint>
#include <vector>

#include "memory/cell.h"

class FrameKeeper {
 public:
  // n records, zero-filled; null when the memory cannot be had.
  _symval* alloc(long n);
  void release(_symval* f) {
    if (!f) return;
    Head* h = head(f);
    h->state = kReleased;
    if (h->refs == 0) dispose(h);
  }
  void makeStatic(_symval* f) {
    if (f) head(f)->state = kStatic;
  }
  void incref(_symval* f) {
    if (f) head(f)->refs++;
  }
  void decref(_symval* f) {
    if (!f) return;
    Head* h = head(f);
    if (--h->refs == 0 && h->state == kReleased) dispose(h);
  }

 private:
  enum : int32_t { kActive = 0, kReleased = 1, kStatic = 2 };
  struct Head {
    int32_t refs;
    int32_t state;
    long n;
    long pad;
  };
  static_assert(sizeof(Head) % 8 == 0, "records after the head stay aligned");
  static Head* head(_symval* f) { return reinterpret_cast<Head*>(f) - 1; }
  void dispose(Head* h);
  // Frames are mostly short and freed in nesting order: small ones are recycled by size.
  static constexpr long kPooled = 32;
  std::vector<Head*> pool_[kPooled + 1];
};
