// What the prelude's LOOP and RETURN take, for the stand-ins of definitions that run them
// (see eval/standins_lists.cpp for the derivation), and the walks that read their forms
// off a definition.
//  - (LOOP f...), n forms holding S conses: LOOP's own work (its LIST and two APPEND1 calls),
//    10 + n cells, and the copy of (PROG () LABEL f... (GO LABEL)), 6 + n + S; PROG makes
//    (BLOCK NIL (PROG** () LABEL f... (GO LABEL))), 9 + n + S cells for the work and as many
//    for the copy: 34 + 4n + 3S in all.
//  - (RETURN form) where form holds s conses: (RETURN-FROM NIL form) built, 3 + s cells, then
//    copied; (RETURN) builds and copies (RETURN-FROM NIL), 4 cells.
#pragma once

#include "eval/cfunction.h"

constexpr long loopCells(long forms, long conses) {
  return 34 + 4 * forms + 3 * conses;
}
constexpr long returnCells(long formConses) {
  return 2 * (3 + formConses);
}
constexpr long kReturnNothing = 4;

// NTH's LOOP: (IF (ATOM X) (RETURN NIL)) (IF (= N 0) (RETURN (CAR X))) (SETQ X (CDR X))
// (SETQ N (1- N)), four forms holding 27 conses; it answers with (RETURN (CAR X)).
constexpr long kNthLoop = loopCells(4, 27);
constexpr long kReturnCar = returnCells(2);

// The garbage (REVERSE list) leaves on a list of m conses before making the m of its answer:
// at each level, (APPEND (REVERSE (CDR X)) (CONS (CAR X) NIL)) makes 4 cells and its copy
// 14, the inner (APPEND (CONS (CAR X) NIL)) copies its argument, 5; and APPEND1 copies the
// reversed rest, 0 + 1 + ... + (m - 1) conses in all.
constexpr long reverseGarbage(long m) {
  return (4 + 14 + 5) * m + m * (m - 1) / 2;
}

// The k-th element of a list, or null.
inline _cell* nthForm(_cell* list, int k) {
  for (; k > 0 && consp(list); k--) list = list->cdr;
  return consp(list) ? list->car : nullptr;
}

// The conses of a tree (the prelude's code is neither shared nor circular).
inline long treeConses(const _cell* x) {
  long n = 0;
  for (; consp(x); x = x->cdr) n += 1 + treeConses(x->car);
  return n;
}

// The cells a call of this (LOOP f...) form takes.
inline long loopFormCells(const _cell* loop) {
  long forms = 0, conses = 0;
  for (const _cell* f = loop->cdr; consp(f); f = f->cdr) {
    forms++;
    conses += treeConses(f->car);
  }
  return loopCells(forms, conses);
}
