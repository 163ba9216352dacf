// LENGTH and CHAR walk lists: a string's characters are a list, so a loop over a string of
// n characters that asks LENGTH at every turn (as DOTIMES does with its limit) and reads
// CHAR i walks about n * n cells. The last list measured and the last position CHAR reached
// are remembered, and trusted only while no list structure can have changed since:
// - a cons's cdr changes only through RPLACD, and a cons stops being one only through
//   SET-ARRAY (every other write goes to cells not yet handed to the program), and both
//   count as structure writes;
// - a collection may free the list and let its cells be taken again.
// Either forgets everything remembered.
#pragma once

struct _cell;

struct ChainMemo {
  // The stamp the entries were made under: structure writes and collections so far.
  long writes = -1;
  long collections = -1;
  // Last list measured and its length.
  const _cell* measured = nullptr;
  long length = 0;
  // Last list CHAR walked, the index it reached and the cons at that index.
  const _cell* walked = nullptr;
  long index = 0;
  _cell* at = nullptr;

  // Forgets the entries when the stamp has moved, and every time when nothing may be kept
  // (the plain interpreter, with every shortcut off).
  void refresh(long nowWrites, long nowCollections, bool keep) {
    if (keep && nowWrites == writes && nowCollections == collections) return;
    writes = nowWrites;
    collections = nowCollections;
    measured = nullptr;
    walked = nullptr;
  }
};

// NTH and NTHCDR walk the same way, k steps from the head, and a loop that reads element i
// at turn i walks about n * n cells. Their definitions' steps also clear the multiple values
// of each link they follow with CDR, so the last walk is trusted only while, besides the
// list's structure, no cell can have been given multiple values since: every cell on the
// remembered stretch had none after that walk.
struct StepMemo {
  long writes = -1;
  long collections = -1;
  long valueSets = -1;
  const _cell* list = nullptr;
  long index = 0;       // steps taken from the head
  _cell* at = nullptr;  // where they ended

  void refresh(long nowWrites, long nowCollections, long nowValueSets, bool keep) {
    if (keep && nowWrites == writes && nowCollections == collections && nowValueSets == valueSets)
      return;
    writes = nowWrites;
    collections = nowCollections;
    valueSets = nowValueSets;
    list = nullptr;
  }
};
