#include "reader/bracescan.h"

#include "reader/ctextproc.h"

int BraceScanner::feed(char c) {
  if (phase_ == kFrozen || result_ != 0) return result_;
  if (c == 0) {
    // The text ends at a NUL: nothing appended after it is ever seen.
    phase_ = kFrozen;
    return result_;
  }
  switch (phase_) {
    case kLeading:
      if (isPrefixOrSpace(c)) return 0;
      if (c == ')') return result_ = -1;
      if (c == '(') {
        phase_ = kList;
        return inList(c);
      }
      phase_ = kAtom;
      return 0;
    case kAtom:
      // An atom is complete once a separator follows it.
      if (isBlankByte(static_cast<unsigned char>(c))) result_ = 1;
      return result_;
    case kString:
      // A double quote ends the string unless the byte before it is a backslash.
      if (c == '"' && prev_ != '\\') {
        phase_ = kList;
      } else {
        prev_ = c;
      }
      return 0;
    case kHash:
      // "#" and a backslash: the next byte belongs to the character literal.
      if (c == '\\') {
        phase_ = kCharByte;
        return 0;
      }
      phase_ = kList;
      return inList(c);
    case kCharByte:
      phase_ = kList;
      return 0;
    default:
      return inList(c);
  }
}

int BraceScanner::inList(char c) {
  switch (c) {
    case '(':
      depth_++;
      break;
    case ')':
      depth_--;
      if (depth_ < 0) return result_ = -1;
      if (depth_ == 0) return result_ = 1;
      break;
    case '"':
      phase_ = kString;
      prev_ = '"';
      break;
    case '#':
      phase_ = kHash;
      break;
    default:
      break;
  }
  return 0;
}
