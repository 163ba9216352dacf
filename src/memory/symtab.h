// Name lookup for the symbol table: interned symbols by their exact bytes.
#pragma once

#include <cstdint>
#include <cstring>

#include "memory/cell.h"

class SymbolHash {
 public:
  bool init();  // allocates the (lazily zero-filled) slot array
  _cell* find(const char* name) const {
    uint64_t h = hash(name);
    for (uint64_t i = h & kMask;; i = (i + 1) & kMask) {
      _cell* c = slots_[i];
      if (!c) return nullptr;
      if (std::strcmp(symname(c), name) == 0) return c;
    }
  }
  void insert(_cell* symbol);

 private:
  static constexpr uint64_t kSlots = 1u << 18;  // more than twice the symbol table's capacity
  static constexpr uint64_t kMask = kSlots - 1;
  static uint64_t hash(const char* s) {
    uint64_t h = 1469598103934665603ull;
    for (; *s; s++) h = (h ^ static_cast<unsigned char>(*s)) * 1099511628211ull;
    return h;
  }
  _cell** slots_ = nullptr;
};
