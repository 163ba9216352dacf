// The stream's completeness test taken one byte at a time: after each byte appended to the
// text, the same answer as the whole-text test CheckBrace2 on the text so far, without
// scanning the text again from its start.
#pragma once

class BraceScanner {
 public:
  // Appends one byte; returns 1 complete, 0 incomplete, -1 too many ")".
  int feed(char c);

 private:
  enum Phase { kLeading, kAtom, kList, kString, kHash, kCharByte, kFrozen };
  Phase phase_ = kLeading;
  int depth_ = 0;
  char prev_ = 0;  // in a string: the byte before, which decides if a quote is escaped
  int result_ = 0;
  int inList(char c);
};
