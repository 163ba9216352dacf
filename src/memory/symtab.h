// Name lookup for the symbol table: interned symbols by their exact bytes.
#pragma once

#include <cstdint>
#include <cstring>
#include <vector>

#include "memory/cell.h"

class SymbolHash {
 public:
  bool init();
  _cell* find(const char* name) const {
    for (uint64_t i = hash(name) & mask_;; i = (i + 1) & mask_) {
      _cell* c = slots_[i];
      if (!c) return nullptr;
      if (std::strcmp(symname(c), name) == 0) return c;
    }
  }
  void insert(_cell* symbol);

 private:
  static uint64_t hash(const char* s) {
    uint64_t h = 1469598103934665603ull;
    for (; *s; s++) h = (h ^ static_cast<unsigned char>(*s)) * 1099511628211ull;
    return h;
  }
  void place(_cell* symbol);
  // Kept at most half full, growing from a small table so that start-up touches little.
  std::vector<_cell*> slots_;
  uint64_t mask_ = 0;
  uint64_t used_ = 0;
};
