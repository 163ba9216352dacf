#include "memory/symtab.h"

bool SymbolHash::init() {
  slots_.assign(4096, nullptr);
  mask_ = slots_.size() - 1;
  used_ = 0;
  return true;
}

void SymbolHash::place(_cell* symbol) {
  for (uint64_t i = hash(symname(symbol)) & mask_;; i = (i + 1) & mask_) {
    if (!slots_[i]) {
      slots_[i] = symbol;
      return;
    }
  }
}

void SymbolHash::insert(_cell* symbol) {
  if (2 * (used_ + 1) > slots_.size()) {
    std::vector<_cell*> old;
    old.swap(slots_);
    slots_.assign(old.size() * 2, nullptr);
    mask_ = slots_.size() - 1;
    for (_cell* c : old) {
      if (c) place(c);
    }
  }
  place(symbol);
  used_++;
}
