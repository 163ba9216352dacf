// The conses and arrays on the way from the object being printed down to the current point.
// Meeting one of them again means the object is circular there. Membership is a flag in the
// cell, so that it costs nothing to test; every flag set is recorded and cleared when its
// part of the print is complete, so once a print returns no cell carries a flag, however
// the knots ran, and one print never changes how a later one looks.
#pragma once

#include <cstddef>
#include <vector>

#include "memory/cell.h"

class PrintPath {
 public:
  PrintPath() = default;
  PrintPath(const PrintPath&) = delete;
  PrintPath& operator=(const PrintPath&) = delete;
  ~PrintPath() { leaveTo(0); }

  static bool contains(const _cell* c) { return (c->spare & kOnPrintPath) != 0; }
  // Only a cell not yet on the path enters it.
  void enter(_cell* c) {
    c->spare |= kOnPrintPath;
    order_.push_back(c);
  }
  // A mark to leave back to: everything entered after it leaves the path together.
  size_t mark() const { return order_.size(); }
  void leaveTo(size_t mark) {
    while (order_.size() > mark) {
      order_.back()->spare &= ~kOnPrintPath;
      order_.pop_back();
    }
  }

 private:
  std::vector<_cell*> order_;
};
