// Remembered macro expansions. A macro call makes garbage while its body runs, then a fresh
// copy of the expansion, which is evaluated. When the same macro is called again with argument
// forms of the same shape, and nothing the body depended on has changed, the body need not
// run: taking as many cells, numbers and integers as it took leaves the allocators where the
// body would have left them, and the copy is rebuilt from the remembered shape, cell for cell
// in the order the copying takes them. The contract this keeps is in eval/fastpaths.h.
//
// What a remembered expansion rests on, and how each is checked:
//  - the macro's definition and every definition the body called: any definition or
//    destructive write into one changes the code epoch, which empties the cache;
//  - the argument forms: their whole shape (conses, arrays) and the identity of every atom is
//    the key; forms that share a cons with themselves are not remembered (the body could
//    tell them apart with EQ). Code (a definition's cells, flagged as such) is keyed by its
//    identity alone: whatever is reachable from it is code too, and writing into code empties
//    the cache;
//  - the globals the body read: each must still hold the very value (only atoms that cannot
//    be changed in place are accepted);
//  - no effect but allocation: a body that reached a head with effects (output, assignment
//    of a global, a destructive write, interning, an error, ...) is not remembered;
//  - the atoms of the expansion: symbols, or atoms that existed before the body ran (taken
//    from the argument forms or from definitions), never atoms the body made;
//  - the body's steps clear the multiple values of what they return: a replay clears them on
//    the same cells (those that existed before the body ran; the others are garbage);
//  - cells are only ever reused after a collection: every collection empties the cache, so
//    no remembered pointer can come to mean another object.
//
// A macro call inside a replayed copy has argument forms that are fresh cells, so its key
// would be walked anew at every replay. Yet they have the shape the remembered copy gives
// them, as long as nothing has been written into them since the copy was made. So each
// replay notes where its copy holds macro calls, and the expansion such a call found is
// linked to that place: the next copy's call goes to it without a key. A replayed copy is
// made of its own cells (flagged kCopyCell) and atoms: unless an atom is an array, whose
// elements are conses of the program's, only a write into a flagged cell can change the
// forms, and writes into the program's data (a hash table's entries, say) leave the links be.
#pragma once

#include <cstddef>
#include <cstdint>
#include <unordered_map>
#include <utility>
#include <vector>

#include "memory/cell.h"
#include "memory/markbits.h"

struct RememberedExpansion;

// Destructive writes (RPLACA, RPLACD, SET-ARRAY) so far: into any cons, and into the cells of
// replayed copies.
struct WriteCounts {
  long all = 0;
  long copies = 0;
};

// From a macro call in a remembered copy (the index of its argument forms' cell) to the
// expansion that call found, for the macro definition def.
struct NestedLink {
  uint32_t index;
  const _cell* def;
  RememberedExpansion* target;
  long generation;  // of the cache when linked
};

struct RememberedExpansion {
  std::vector<uintptr_t> key;
  // Globals read by the body: (slot in the global table, value it held).
  std::vector<std::pair<long, _cell*>> globals;
  // The copy, one entry per cell in the order the copying takes them: car and cdr, each
  // either an atom's address or a reference (2 * index + 1) to an earlier or later cell.
  std::vector<std::pair<uintptr_t, uintptr_t>> cells;
  uintptr_t root = 0;  // the copy itself: a reference, or an atom when the expansion is one
  // Cells that existed before the body ran and that its steps returned: the steps clear their
  // multiple values, and so does a replay.
  std::vector<_cell*> cleared;
  // The count of multiple values put on cells that existed before (cmemory::oldValueSets)
  // when a replay last cleared them: while it stays the same, they are all still clear, since
  // other operations put values only on cells they make.
  long clearedAt = -1;
  long garbageCells = 0, garbageNums = 0, garbageInts = 0;
  long stackUse = 0;  // bytes of native stack the body went down
  // The copy's cells that hold the argument forms of a call of a macro, and the expansions
  // those calls found.
  std::vector<uint32_t> callSites;
  std::vector<NestedLink> links;
  bool holdsArrays = false;  // an atom of the copy is an array
};

class ExpansionCache {
 public:
  // The argument forms of a call of def, as a key; false when they cannot be remembered (too
  // large, circular, or sharing structure).
  bool makeKey(_cell* def, _cell* args, std::vector<uintptr_t>& key);
  RememberedExpansion* find(const std::vector<uintptr_t>& key, long epoch, long collections);
  RememberedExpansion& add(std::vector<uintptr_t>&& key);
  size_t size() const { return entries_.size(); }

  // A replay made `copy` (the cells of e in order): its macro calls' argument cells are
  // noted, as of the destructive writes so far. The caller has flagged the copy's cells
  // with copyFlag(e): the forms of the calls are made of them and of atoms, so writes into
  // them are the ones that can change the forms.
  void noteCallSites(RememberedExpansion& e, const std::vector<_cell*>& copy, WriteCounts writes);
  // The expansion linked to a call of def with these argument forms, when they are a noted
  // place of a copy and nothing has been written into what they reach since; else null.
  RememberedExpansion* linked(const _cell* args, const _cell* def, long epoch, long collections,
                              WriteCounts writes);
  // Links such a place to the expansion its call found.
  void link(const _cell* args, const _cell* def, RememberedExpansion* target, WriteCounts writes);

  // After garbage was handed out again (cmemory::reuseGarbage) with `collections` moved on:
  // keeps the expansions whose every cell is among those a marking reached (so none of
  // their addresses can have come to mean another object), with the links and noted call
  // places between them, and forgets the rest.
  void keepReached(const MarkBits& reached, const _cell* base, long size, long collections);

  static uint32_t copyFlag(const RememberedExpansion& e) {
    return e.callSites.empty() ? 0u : uint32_t{kCopyCell};
  }
  static uintptr_t cellRef(long index) { return static_cast<uintptr_t>(index) * 2 + 1; }
  static bool isCellRef(uintptr_t r) { return r & 1; }
  static long indexOf(uintptr_t r) { return static_cast<long>(r >> 1); }

 private:
  static uint64_t hashOf(const std::vector<uintptr_t>& key);
  void clearIfStale(long epoch, long collections);
  struct CallSite {
    const _cell* args = nullptr;
    RememberedExpansion* from = nullptr;
    uint32_t index = 0;
    long writes = -1;      // of the count that tells whether the forms changed
    bool anyCons = false;  // that count is of writes into any cons (the copy holds arrays)
    long generation = -1;
  };
  static long countFor(bool anyCons, WriteCounts w) { return anyCons ? w.all : w.copies; }
  CallSite* siteOf(const _cell* args, WriteCounts writes);
  std::unordered_multimap<uint64_t, RememberedExpansion> entries_;
  long epoch_ = -1;
  long collections_ = -1;
  // Changes whenever a remembered expansion is dropped or replaced: links and noted places
  // made before then point at nothing.
  long generation_ = 0;
  static constexpr size_t kSites = 1024;
  CallSite sites_[kSites];
  std::vector<_cell*> walk_;
  std::vector<_cell*> visited_;
  static constexpr size_t kMaxKey = 4096;
  static constexpr size_t kMaxEntries = 20000;
};
