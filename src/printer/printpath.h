// The conses and arrays on the way from the object being printed down to the current point.
// Meeting one of them again means the object is circular there. The path belongs to one
// printing call and nothing of it is kept in the cells, so one print never changes how a later
// one looks, however the earlier one ended.
#pragma once

#include <cstddef>
#include <unordered_set>
#include <vector>

#include "memory/cell.h"

class PrintPath {
 public:
  bool contains(const _cell* c) const { return members_.count(c) != 0; }
  void enter(const _cell* c) {
    members_.insert(c);
    order_.push_back(c);
  }
  // A mark to leave back to: everything entered after it leaves the path together.
  size_t mark() const { return order_.size(); }
  void leaveTo(size_t mark) {
    while (order_.size() > mark) {
      members_.erase(order_.back());
      order_.pop_back();
    }
  }

 private:
  std::unordered_set<const _cell*> members_;
  std::vector<const _cell*> order_;
};
