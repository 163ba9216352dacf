#include "memory/frames.h"

#include <cstdlib>

_symval* FrameKeeper::allocFresh(long n) {
  if (n < 0 || static_cast<unsigned long>(n) > (SIZE_MAX - sizeof(Head)) / sizeof(_symval))
    return nullptr;
  Head* h =
      static_cast<Head*>(std::calloc(1, sizeof(Head) + sizeof(_symval) * static_cast<size_t>(n)));
  if (!h) return nullptr;
  h->refs = 0;
  h->state = kActive;
  h->n = n;
  h->epoch = 0;
  if (n <= kPooled) {  // large ones go back to the heap when disposed
    h->allNext = all_;
    all_ = h;
  }
  return reinterpret_cast<_symval*>(h + 1);
}

void FrameKeeper::disposeLarge(Head* h) {
  std::free(h);
}

void FrameKeeper::releaseAll() {
  while (all_) {
    Head* h = all_;
    all_ = h->allNext;
    std::free(h);
  }
  for (Head*& f : free_) f = nullptr;
}
