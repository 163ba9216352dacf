// What the print under way has met: the conses and arrays on the way from the object down to
// the current point (the path), and all those printed so far (seen). Both are flags in the
// cells, so that testing costs nothing; every flag set is recorded and cleared when its part
// of the print is complete or, at the latest, when the print returns, so no cell keeps one
// and a print never changes how a later one looks.
#pragma once

#include <cstddef>
#include <vector>

#include "memory/cell.h"

class PrintMarks {
 public:
  PrintMarks() = default;
  PrintMarks(const PrintMarks&) = delete;
  PrintMarks& operator=(const PrintMarks&) = delete;
  ~PrintMarks() {
    leaveTo(0);
    for (_cell* c : seen_) c->spare &= ~kPrintSeen;
  }

  static bool onPath(const _cell* c) { return (c->spare & kOnPrintPath) != 0; }
  static bool seen(const _cell* c) { return (c->spare & kPrintSeen) != 0; }
  // Only a cell not on the path enters it.
  void enter(_cell* c) {
    if (!seen(c)) seen_.push_back(c);
    c->spare |= kOnPrintPath | kPrintSeen;
    path_.push_back(c);
  }
  // A mark to leave back to: everything entered after it leaves the path together.
  size_t mark() const { return path_.size(); }
  void leaveTo(size_t mark) {
    while (path_.size() > mark) {
      path_.back()->spare &= ~kOnPrintPath;
      path_.pop_back();
    }
  }

 private:
  std::vector<_cell*> path_;
  std::vector<_cell*> seen_;
};
