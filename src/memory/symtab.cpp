#include "memory/symtab.h"

#include <cstdlib>

bool SymbolHash::init() {
  slots_ = static_cast<_cell**>(std::calloc(kSlots, sizeof(_cell*)));
  return slots_ != nullptr;
}

void SymbolHash::insert(_cell* symbol) {
  for (uint64_t i = hash(symname(symbol)) & kMask;; i = (i + 1) & kMask) {
    if (!slots_[i]) {
      slots_[i] = symbol;
      return;
    }
  }
}
