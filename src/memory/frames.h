// Binding frames: zero-filled arrays of _symval records. A frame lives while the form that
// made it runs, and after that for as long as a closure cons still refers to it (so no
// closure ever reads freed memory); frames of closures that escape a binding form are kept
// for good, as roots on the static stack.
#pragma once

#include <cstdint>
#include <cstring>

#include "memory/cell.h"

class FrameKeeper {
 public:
  // n records, zero-filled; null when the memory cannot be had.
  _symval* alloc(long n) {
    _symval* f = allocUnfilled(n);
    if (f) std::memset(static_cast<void*>(f), 0, sizeof(_symval) * static_cast<size_t>(n));
    return f;
  }
  // n records whose contents are left over from an earlier frame, for a caller that writes
  // every record before the frame is used or becomes a root.
  _symval* allocUnfilled(long n) {
    if (n <= kPooled && free_[n]) {
      Head* h = free_[n];
      free_[n] = h->next;
      h->refs = 0;
      h->state = kActive;
      h->epoch = 0;
      return reinterpret_cast<_symval*>(h + 1);
    }
    return allocFresh(n);
  }
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
  // Frees every frame ever made (for harnesses that start a new session in the process).
  void releaseAll();
  // The collector's record of which frames its kept marks were taken from (see StableMarks).
  void cover(_symval* f, uint64_t epoch) { head(f)->epoch = epoch; }
  bool covered(_symval* f, uint64_t epoch) const { return head(f)->epoch == epoch; }
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
    Head* next;      // in a list of free frames
    Head* allNext;   // in the list of every pooled frame, for releaseAll
    uint64_t epoch;  // see cover()
  };
  static_assert(sizeof(Head) % 8 == 0, "records after the head stay aligned");
  static Head* head(_symval* f) { return reinterpret_cast<Head*>(f) - 1; }
  _symval* allocFresh(long n);
  void dispose(Head* h) {
    if (h->n <= kPooled) {
      h->next = free_[h->n];
      free_[h->n] = h;
    } else {
      disposeLarge(h);
    }
  }
  void disposeLarge(Head* h);
  // Frames are mostly short and freed in nesting order: small ones are recycled by size.
  static constexpr long kPooled = 32;
  Head* free_[kPooled + 1] = {};
  // Every pooled frame obtained from the heap, linked through the frames themselves: a
  // growing array would need ever larger contiguous blocks, which a deep recursion under a
  // tight address-space limit cannot get.
  Head* all_ = nullptr;
};
