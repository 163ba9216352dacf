// The printer: readable style (PRINT, PRIN1, results) and plain style (PRINC, ERROR), to the
// terminal or to a file stream. All entry points share one walk.
#pragma once

#include <cstdio>

#include "memory/cmemory.h"
#include "printer/printmarks.h"

class cprint : public cmemory {
 public:
  // Readable style on standard output.
  void printS(_cell* x) { start(x, kTerminal, stdout, &cprint::print); }
  void printS0(_cell* x, int last) { startElement(x, last, kTerminal, stdout); }
  void printS2(_cell* list, int last) { startElements(list, last, kTerminal, stdout); }
  void printS3(_cell* rest) { start(rest, kTerminal, stdout, &cprint::tail); }
  // The same to another destination (the program output of a script).
  void printSTo(_cell* x, FILE* out) { start(x, kTerminal, out, &cprint::print); }
  // Readable style on a stream: general arrays are refused there.
  void printSStrm(_cell* x, FILE* out) { start(x, kStream, out, &cprint::print); }
  void printS0Strm(_cell* x, int last, FILE* out) { startElement(x, last, kStream, out); }
  void printS2Strm(_cell* list, int last, FILE* out) { startElements(list, last, kStream, out); }
  void printS3Strm(_cell* rest, FILE* out) { start(rest, kStream, out, &cprint::tail); }
  // Plain style.
  void princS(_cell* x, FILE* out) { start(x, kPlain, out, &cprint::print); }
  void princS0(_cell* x, int last, FILE* out) { startElement(x, last, kPlain, out); }
  void princS2(_cell* list, int last, FILE* out) { startElements(list, last, kPlain, out); }
  void princS3(_cell* rest, FILE* out) { start(rest, kPlain, out, &cprint::tail); }

  void PutString(_cell* chars, FILE* out);
  void PutStringC(_cell* chars, FILE* out);
  // Copies a string's bytes into buf (which the caller sizes with stringByteLength).
  void GetStringC(_cell* chars, char* buf);
  // The number of bytes GetStringC writes before its NUL.
  long stringByteLength(_cell* chars);
  long jnlength(_cell* x);

  // True for an array of rank 1 whose element type is CHARACTER.
  static bool isString(const _cell* x);

 private:
  enum Style { kTerminal, kStream, kPlain };
  // One printing call: its style, its destination, the object it started from, what it has
  // met, and whether that object has a cycle (-1 until asked).
  struct Walk {
    Walk(Style s, FILE* o, _cell* r) : style(s), out(o), root(r) {}
    Style style;
    FILE* out;
    _cell* root;
    PrintMarks marks;
    int knotted = -1;
  };
  void start(_cell* x, Style s, FILE* out, void (cprint::*part)(Walk&, _cell*));
  void startElement(_cell* x, int last, Style s, FILE* out);
  void startElements(_cell* list, int last, Style s, FILE* out);
  // True when x is a cons or general array met again as a repetition, printed as "...".
  bool repeats(Walk& w, _cell* x);

  void print(Walk& w, _cell* x);
  void element(Walk& w, _cell* x, int last);
  // One object of either kind; an array at top level is followed by a blank.
  void object(Walk& w, _cell* x, bool topLevel);
  void elements(Walk& w, _cell* list, int last);
  void tail(Walk& w, _cell* rest);
  void list(Walk& w, _cell* x);
  void array(Walk& w, _cell* x);
  void atom(Walk& w, _cell* x);
  void character(Walk& w, _cell* x);
  bool refusesArray(Walk& w, _cell* x);
  // Where a string's bytes end: the first cons that is no character's, or that repeats.
  long stringSpan(_cell* chars);
};
