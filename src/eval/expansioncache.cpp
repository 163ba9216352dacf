#include "eval/expansioncache.h"

#include <algorithm>
#include <unordered_set>

namespace {
// Key words for conses and arrays; atoms are their addresses, never this small.
constexpr uintptr_t kConsWord = 2;
constexpr uintptr_t kArrayWord = 6;
}  // namespace

bool ExpansionCache::makeKey(_cell* def, _cell* args, std::vector<uintptr_t>& key) {
  key.clear();
  key.push_back(reinterpret_cast<uintptr_t>(def));
  walk_.clear();
  visited_.clear();
  walk_.push_back(args);
  bool ok = true;
  while (!walk_.empty()) {
    _cell* x = walk_.back();
    walk_.pop_back();
    if (key.size() > kMaxKey) {
      ok = false;
      break;
    }
    if ((x->type != 'l' && x->type != 'a') || (x->spare & kCodeCell)) {
      // An atom, or code: code changes only by writes that empty the cache, so its identity
      // stands for all it holds.
      key.push_back(reinterpret_cast<uintptr_t>(x));
      continue;
    }
    if (x->spare & kKeyWalk) {
      ok = false;  // shared structure (or a circle)
      break;
    }
    x->spare |= kKeyWalk;
    visited_.push_back(x);
    key.push_back(x->type == 'l' ? kConsWord : kArrayWord);
    walk_.push_back(x->cdr);
    walk_.push_back(x->car);
  }
  for (_cell* c : visited_) c->spare &= ~kKeyWalk;
  return ok;
}

uint64_t ExpansionCache::hashOf(const std::vector<uintptr_t>& key) {
  uint64_t h = 1469598103934665603ull;
  for (uintptr_t w : key) h = (h ^ w) * 1099511628211ull;
  return h;
}

void ExpansionCache::clearIfStale(long epoch, long collections) {
  if (epoch == epoch_ && collections == collections_) return;
  entries_.clear();
  generation_++;
  epoch_ = epoch;
  collections_ = collections;
}

RememberedExpansion* ExpansionCache::find(const std::vector<uintptr_t>& key, long epoch,
                                          long collections) {
  clearIfStale(epoch, collections);
  auto range = entries_.equal_range(hashOf(key));
  for (auto it = range.first; it != range.second; ++it) {
    if (it->second.key == key) return &it->second;
  }
  return nullptr;
}

RememberedExpansion& ExpansionCache::add(std::vector<uintptr_t>&& key) {
  if (entries_.size() >= kMaxEntries) {
    entries_.clear();
    generation_++;
  }
  uint64_t h = hashOf(key);
  auto range = entries_.equal_range(h);
  for (auto it = range.first; it != range.second; ++it) {
    if (it->second.key == key) {
      generation_++;  // its copy's shape may change
      it->second = RememberedExpansion{};
      it->second.key = std::move(key);
      return it->second;
    }
  }
  auto it = entries_.emplace(h, RememberedExpansion{});
  it->second.key = std::move(key);
  return it->second;
}

void ExpansionCache::keepReached(const MarkBits& reached, const _cell* base, long size,
                                 long collections) {
  auto isReached = [&](uintptr_t p) {
    long i = reinterpret_cast<const _cell*>(p) - base;
    return i >= 0 && i < size && reached.get(i);
  };
  auto atomReached = [&](uintptr_t r) { return isCellRef(r) || isReached(r); };
  auto allReached = [&](const RememberedExpansion& e) {
    for (uintptr_t w : e.key) {
      if (w != kConsWord && w != kArrayWord && !isReached(w)) return false;
    }
    for (const auto& [car, cdr] : e.cells) {
      if (!atomReached(car) || !atomReached(cdr)) return false;
    }
    for (const _cell* c : e.cleared) {
      if (!isReached(reinterpret_cast<uintptr_t>(c))) return false;
    }
    for (const auto& g : e.globals) {
      if (!isReached(reinterpret_cast<uintptr_t>(g.second))) return false;
    }
    return atomReached(e.root);
  };
  std::unordered_set<const RememberedExpansion*> dropped;
  for (auto it = entries_.begin(); it != entries_.end();) {
    if (allReached(it->second)) {
      ++it;
    } else {
      dropped.insert(&it->second);
      it = entries_.erase(it);
    }
  }
  if (!dropped.empty()) {
    for (auto& [h, e] : entries_) {
      auto& links = e.links;
      links.erase(std::remove_if(links.begin(), links.end(),
                                 [&](const NestedLink& l) { return dropped.count(l.target); }),
                  links.end());
    }
  }
  for (CallSite& site : sites_) {
    if (site.args &&
        (dropped.count(site.from) || !isReached(reinterpret_cast<uintptr_t>(site.args)))) {
      site = CallSite{};
    }
  }
  collections_ = collections;
}

void ExpansionCache::noteCallSites(RememberedExpansion& e, const std::vector<_cell*>& copy,
                                   WriteCounts writes) {
  for (uint32_t k : e.callSites) {
    const _cell* args = copy[k];
    CallSite& site = sites_[(reinterpret_cast<uintptr_t>(args) / sizeof(_cell)) % kSites];
    site = {args, &e, k, countFor(e.holdsArrays, writes), e.holdsArrays, generation_};
  }
}

ExpansionCache::CallSite* ExpansionCache::siteOf(const _cell* args, WriteCounts writes) {
  CallSite& site = sites_[(reinterpret_cast<uintptr_t>(args) / sizeof(_cell)) % kSites];
  if (site.args != args || site.writes != countFor(site.anyCons, writes) ||
      site.generation != generation_) {
    return nullptr;
  }
  return &site;
}

RememberedExpansion* ExpansionCache::linked(const _cell* args, const _cell* def, long epoch,
                                            long collections, WriteCounts writes) {
  clearIfStale(epoch, collections);
  CallSite* site = siteOf(args, writes);
  if (!site) return nullptr;
  for (const NestedLink& l : site->from->links) {
    if (l.index == site->index && l.def == def && l.generation == generation_) return l.target;
  }
  return nullptr;
}

void ExpansionCache::link(const _cell* args, const _cell* def, RememberedExpansion* target,
                          WriteCounts writes) {
  CallSite* site = siteOf(args, writes);
  if (!site) return;
  for (NestedLink& l : site->from->links) {
    if (l.index == site->index && l.def == def) {
      l.target = target;
      l.generation = generation_;
      return;
    }
  }
  site->from->links.push_back({site->index, def, target, generation_});
}
