// The bytes of a string's character list: printed, copied and counted. A chain that runs
// into a cycle gives each of its characters once; like a chain that meets anything but a
// character, it has no proper end, so its readable form lacks the closing quote.
#include "printer/chainspan.h"
#include "printer/cprint.h"

long cprint::stringSpan(_cell* chars) {
  long limit = distinctConses(chars);
  long n = 0;
  for (_cell* p = chars; n < limit && p->car->type == 'm'; p = p->cdr) n++;
  return n;
}

void cprint::PutString(_cell* chars, FILE* out) {
  std::fputc('"', out);
  long n = stringSpan(chars);
  _cell* p = chars;
  for (; n > 0; n--, p = p->cdr) {
    _cell* c = p->car;
    char b = static_cast<char>(chval(c));
    if (ch2val(c) != 0) {
      std::fputc(b, out);
      std::fputc(static_cast<char>(ch2val(c)), out);
    } else {
      if (b == '"' || b == '\\') std::fputc('\\', out);
      std::fputc(b, out);
    }
  }
  if (p == NILCell) std::fputc('"', out);
}

void cprint::PutStringC(_cell* chars, FILE* out) {
  _cell* p = chars;
  for (long n = stringSpan(chars); n > 0; n--, p = p->cdr) {
    std::fputc(static_cast<char>(chval(p->car)), out);
    if (ch2val(p->car) != 0) std::fputc(static_cast<char>(ch2val(p->car)), out);
  }
}

long cprint::stringByteLength(_cell* chars) {
  long bytes = 0;
  _cell* p = chars;
  for (long n = stringSpan(chars); n > 0; n--, p = p->cdr) bytes += ch2val(p->car) != 0 ? 2 : 1;
  return bytes;
}

void cprint::GetStringC(_cell* chars, char* buf) {
  _cell* p = chars;
  for (long n = stringSpan(chars); n > 0; n--, p = p->cdr) {
    *buf++ = static_cast<char>(chval(p->car));
    if (ch2val(p->car) != 0) *buf++ = static_cast<char>(ch2val(p->car));
  }
  *buf = 0;
}

long cprint::jnlength(_cell* x) {
  return distinctConses(x);
}
