// The object model: every Lisp object is a _cell taken from the fixed cell area.
#pragma once

#include <cstdint>
#include <utility>

struct _symval;

struct _cell {
  char type;       // l list, s symbol, i integer (or stream), n float, b fraction,
                   // m character, a array, r string in source-text form
  char sub;        // u plain, c keyword, g uninterned, s stream handle
  char mark;       // kept for layout only: the collector's marks live in bitmaps
  uint8_t code;    // built-in symbols: their row in the evaluator's dispatch
  uint32_t spare;  // internal flags, never observable
  _cell* car;
  _cell* cdr;     // symbols: hint to their global variable record (see bindings)
  _cell* values;  // multiple-values list, or null
  _symval* env;   // closures: captured frame; symbols: hint to their function record
  long envCount;
};
static_assert(sizeof(_cell) == 48, "the cell area holds 48-byte elements");

// One binding: in local frames, the global variable table and the function table.
struct _symval {
  char tag;
  _cell* symbol;
  _cell* value;
};
static_assert(sizeof(_symval) == 24, "binding records are 24 bytes");

// Elements of the number and integer areas: a mark byte then the value.
struct IntElem {
  char mark;
  long value;
};
struct NumElem {
  char mark;
  long double value;
};
static_assert(sizeof(IntElem) == 16, "integer elements are 16 bytes");
static_assert(sizeof(NumElem) == 32, "number elements are 32 bytes");

// Flags kept in _cell::spare.
enum : uint32_t {
  kEnvHolder = 1u,    // a closure cons registered with the frame keeper
  kOnPrintPath = 2u,  // on the path of the print under way (see printer/printmarks.h)
  kPrintSeen = 4u,    // printed by it at least once
  kScanOpen = 8u,     // on the path of the printer's cycle scan (see printer/knotscan.h)
  kScanDone = 16u,    // fully scanned by it
  kPoisoned = 32u,    // stress build: no root reached it at a check (see memory/stress.h)
  kCodeCell = 64u,    // part of a function or macro definition (see eval/fastpaths.h)
  kKeyWalk = 128u,    // visited while a macro call's forms are made a key (eval/expansioncache.h)
  kPreludeCode = 1u << 16,  // code flagged while the prelude was loaded
  kCopyCell = 1u << 17,     // of an expansion's copy whose macro calls are linked (see
                            // eval/expansioncache.h)
};

#ifdef TSUMUGI_STRESS
// Ends the process loudly: the evaluator read a cell that no root reached.
[[noreturn]] void PoisonedRead(const _cell* c);
inline const _cell* live(const _cell* c) {
  if (c->spare & kPoisoned) PoisonedRead(c);
  return c;
}
#else
inline const _cell* live(const _cell* c) {
  return c;
}
#endif

// The readers of atoms' contents (lists fault on their own: see memory/stress.h).
inline long ival(const _cell* c) {
  return reinterpret_cast<const IntElem*>(live(c)->car)->value;
}
inline long double nval(const _cell* c) {
  return reinterpret_cast<const NumElem*>(live(c)->car)->value;
}
inline long bunshi(const _cell* c) {
  return reinterpret_cast<const IntElem*>(live(c)->car)->value;
}
inline long bunbo(const _cell* c) {
  return reinterpret_cast<const IntElem*>(live(c)->cdr)->value;
}
inline long chval(const _cell* c) {
  return reinterpret_cast<long>(live(c)->car);
}
inline long ch2val(const _cell* c) {
  return reinterpret_cast<long>(live(c)->cdr);
}
inline const char* symname(const _cell* c) {
  return reinterpret_cast<const char*>(c->car);
}

// A cons is a cell of type l; arrays (type a) are not conses.
inline bool consp(const _cell* c) {
  return c->type == 'l';
}

// Notices when a walk along a cdr chain comes back to a cons it has passed (Brent's method):
// a circular list has no end to reach. Call revisits() with every cons of the walk.
template <typename Position>
class RepeatGuard {
 public:
  bool revisits(const Position& p) {
    if (p == saved_) return true;
    if (++steps_ == power_) {
      saved_ = p;
      power_ <<= 1;
      steps_ = 0;
    }
    return false;
  }

 private:
  Position saved_{};
  long power_ = 1, steps_ = 0;
};
using CycleGuard = RepeatGuard<const _cell*>;

// The same for a walk along two chains in step: notices when the pair of positions comes
// back to a pair it has passed.
class PairGuard {
 public:
  bool revisits(const _cell* p, const _cell* q) { return guard_.revisits({p, q}); }

 private:
  RepeatGuard<std::pair<const _cell*, const _cell*>> guard_;
};
