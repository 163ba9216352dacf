// The collector stress build (TSUMUGI_STRESS). At the start of evaluation steps it proves
// that everything the evaluator can still reach is rooted: it marks from the roots into a
// shadow bitmap and poisons every cell that is in use but was not reached. A poisoned cell's
// car, cdr and values point into a page that cannot be read, so following them faults (a
// handler reports it), and the readers of numbers and characters test the poisoned flag.
// A later marking that reaches a poisoned cell reports it too: something unrooted was
// stored where the roots see it. Nothing else changes: the allocator's marks, the free
// counters and real collections are those of the normal build, since a poisoned cell is
// garbage that the next collection frees anyway (and the allocator reinitialises).
//
// Affordability: every step is checked for the first kFullSteps steps of a session, and
// afterwards with intervals that double each time kFullSteps more checks have run; a check
// that visits more than kLargeLive roots and conses spaces out the following ones (one check per
// live / kVisitsPerStep steps), so that sessions with huge live data stay affordable.
//
// Every kChecksPerReuse checks, the garbage found is also handed out again at once (see
// cmemory::reuseGarbage), so that a cell used after it lost its last root is soon
// overwritten as well.
#pragma once

#include "memory/cell.h"

#ifdef TSUMUGI_STRESS
constexpr long kFullSteps = 10000;
constexpr long kLongestInterval = 1L << 16;
constexpr long kLargeLive = 20000;
constexpr long kVisitsPerStep = 250;
constexpr long kChecksPerReuse = 32;
// Installs the handler that reports a read through a poisoned pointer.
void InstallPoisonTrap();
// Where a poisoned cell's pointers lead: a page that cannot be read.
_cell* PoisonPointer();
#endif
