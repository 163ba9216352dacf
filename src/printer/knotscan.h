// Whether an object, followed the way the printer follows it, comes back on itself.
#pragma once

#include <vector>

#include "memory/cell.h"

class KnotScan {
 public:
  KnotScan() = default;
  KnotScan(const KnotScan&) = delete;
  KnotScan& operator=(const KnotScan&) = delete;
  ~KnotScan();
  // True when some cons or array can be reached again from itself through the parts the
  // printer shows: cars and cdrs of conses, the rank and the element list of a general
  // array. Strings count as atoms: their character lists are walked on their own.
  bool cyclic(_cell* x);

 private:
  void visit(_cell* x);
  void open(_cell* c);
  std::vector<_cell*> touched_;  // every cell flagged, to clear the flags at the end
  std::vector<_cell*> open_;     // the cells on the scan's path, innermost last
  bool found_ = false;
};
