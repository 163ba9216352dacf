// The native stack the interpreter runs on. Deep recursion in Lisp is deep recursion in
// the evaluator, so the interpreter gets the largest stack the address space allows, and
// the depth check (CheckStackDepth) is set from the stack actually obtained.
#pragma once

// Runs body on that stack, with stackLimit set to match it; returns when body returns.
void RunOnLargeStack(void (*body)());
