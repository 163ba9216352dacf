#include "printer/chainspan.h"

long distinctConses(const _cell* p) {
  if (!consp(p)) return 0;
  // Brent's method finds the cycle's length without memory; then a second walk finds where
  // the cycle begins, and every cons up to its end has been met exactly once.
  const _cell* saved = p;
  const _cell* hare = p->cdr;
  long power = 1, cycle = 1, conses = 1;
  while (hare != saved) {
    if (!consp(hare)) return conses;
    if (power == cycle) {
      saved = hare;
      power <<= 1;
      cycle = 0;
    }
    hare = hare->cdr;
    cycle++;
    conses++;
  }
  const _cell* ahead = p;
  for (long i = 0; i < cycle; i++) ahead = ahead->cdr;
  long before = 0;
  for (const _cell* q = p; q != ahead; q = q->cdr, ahead = ahead->cdr) before++;
  return before + cycle;
}
