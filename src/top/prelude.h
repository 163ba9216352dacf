// The prelude: Lisp source evaluated at start-up, one top-level form per entry.
#pragma once

constexpr int kPreludeEntries = 123;
extern const char* const ReadEvalData[kPreludeEntries];
