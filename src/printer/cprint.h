// The printer: readable style (PRINT, PRIN1, results) and plain style (PRINC, ERROR), to the
// terminal or to a file stream. All entry points share one walk.
#pragma once

#include <cstdio>

#include "memory/cmemory.h"

class cprint : public cmemory {
 public:
  // Readable style on standard output.
  void printS(_cell* x) { print(x, kTerminal, stdout); }
  void printS0(_cell* x, int last) { element(x, last, kTerminal, stdout); }
  void printS2(_cell* list, int last) { elements(list, last, kTerminal, stdout); }
  void printS3(_cell* rest) { tail(rest, kTerminal, stdout); }
  void printSTo(_cell* x, FILE* out) { print(x, kTerminal, out); }
  // Readable style on a stream: general arrays are refused there.
  void printSStrm(_cell* x, FILE* out) { print(x, kStream, out); }
  void printS0Strm(_cell* x, int last, FILE* out) { element(x, last, kStream, out); }
  void printS2Strm(_cell* list, int last, FILE* out) { elements(list, last, kStream, out); }
  void printS3Strm(_cell* rest, FILE* out) { tail(rest, kStream, out); }
  // Plain style.
  void princS(_cell* x, FILE* out) { print(x, kPlain, out); }
  void princS0(_cell* x, int last, FILE* out) { element(x, last, kPlain, out); }
  void princS2(_cell* list, int last, FILE* out) { elements(list, last, kPlain, out); }
  void princS3(_cell* rest, FILE* out) { tail(rest, kPlain, out); }

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
  void print(_cell* x, Style s, FILE* out);
  void element(_cell* x, int last, Style s, FILE* out);
  void elements(_cell* list, int last, Style s, FILE* out);
  void tail(_cell* rest, Style s, FILE* out);
  void list(_cell* x, Style s, FILE* out);
  void atom(_cell* x, Style s, FILE* out);
  void array(_cell* x, Style s, FILE* out);
  void character(_cell* x, Style s, FILE* out);
  bool refusesArray(_cell* x, Style s);
};
