// Counting along a chain of cdrs that may come back on itself.
#pragma once

#include "memory/cell.h"

// The number of distinct conses met following the cdrs from p: all of them for a chain that
// ends in an atom, those before the first repetition for one that runs into a cycle.
long distinctConses(const _cell* p);
