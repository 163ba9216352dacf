// One walk for every style and destination. Lists are followed along their cdr with a loop
// (never recursion), and the conses on the path being printed carry a flag: meeting one again
// means the object is circular, and "..." is printed in place of the repetition.
#include "printer/cprint.h"
#include "top/keywords.h"

namespace {
const char kArrayToFile[] = "エラー: 配列はファイルに出力できません";

void unflagSpine(_cell* x) {
  for (_cell* p = x; p->type == 'l' && (p->spare & kPrinting); p = p->cdr) p->spare &= ~kPrinting;
}
}  // namespace

bool cprint::isString(const _cell* x) {
  return x->type == 'a' && x->car->type == 'i' && ival(x->car) == 1 && x->cdr->type == 'l' &&
         x->cdr->car == CHARACTER;
}

bool cprint::refusesArray(_cell* x, Style s) {
  if (s != kStream || x->type != 'a' || isString(x)) return false;
  std::puts(kArrayToFile);
  return true;
}

void cprint::print(_cell* x, Style s, FILE* out) {
  if (x->type == 'l') {
    list(x, s, out);
  } else if (x->type == 'a' && !isString(x)) {
    if (refusesArray(x, s)) return;
    array(x, s, out);
    std::fputc(' ', out);  // the blank after an array at top level
  } else {
    atom(x, s, out);
  }
}

void cprint::element(_cell* x, int last, Style s, FILE* out) {
  if (x->type == 'l') {
    if (x->spare & kPrinting) {
      std::fputs("...", out);
    } else {
      list(x, s, out);
    }
  } else if (x->type == 'a' && !isString(x)) {
    if (refusesArray(x, s)) return;  // not even the separating blank reaches the stream
    array(x, s, out);
  } else {
    atom(x, s, out);
  }
  if (!last) std::fputc(' ', out);
}

void cprint::elements(_cell* list, int last, Style s, FILE* out) {
  element(list->car, last, s, out);
  tail(list->cdr, s, out);
}

void cprint::tail(_cell* rest, Style s, FILE* out) {
  while (rest->type == 'l') {
    if (rest->spare & kPrinting) {
      std::fputs("...", out);
      return;
    }
    rest->spare |= kPrinting;
    element(rest->car, rest->cdr == NILCell, s, out);
    rest = rest->cdr;
  }
  if (rest == NILCell) return;
  if (rest->type == 'a' && !isString(rest)) {
    if (refusesArray(rest, s)) return;
    std::fputs(". ", out);
    array(rest, s, out);
    std::fputc(' ', out);
    return;
  }
  std::fputs(". ", out);
  atom(rest, s, out);
}

void cprint::list(_cell* x, Style s, FILE* out) {
  CheckStackDepth();
  std::fputc('(', out);
  x->spare |= kPrinting;
  elements(x, x->cdr == NILCell, s, out);
  std::fputc(')', out);
  unflagSpine(x);
}

void cprint::array(_cell* x, Style s, FILE* out) {
  std::fputc('#', out);
  _cell* rank = x->car;
  if (!(rank->type == 'i' && ival(rank) == 1)) print(rank, s, out);
  std::fputc('A', out);
  print(x->cdr->type == 'l' ? x->cdr->cdr : x->cdr, s, out);
}

void cprint::character(_cell* x, Style s, FILE* out) {
  if (s != kPlain) std::fputs("#\\", out);
  std::fputc(static_cast<char>(chval(x)), out);
  if (ch2val(x) != 0) {
    // The second byte of a two-byte character (never formed: every character is one byte).
    if (s == kPlain) {
      std::fputc(static_cast<char>(ch2val(x)), out);
    } else {
      std::putchar(static_cast<char>(ch2val(x)));
    }
  }
}

void cprint::atom(_cell* x, Style s, FILE* out) {
  switch (x->type) {
    case 's':
      std::fputs(symname(x), out);
      break;
    case 'n': {
      char buf[64];
      myftoa(buf, nval(x));
      std::fputs(buf, out);
      break;
    }
    case 'i':
      std::fprintf(out, "%ld", ival(x));
      break;
    case 'b':
      std::fprintf(out, "%ld/%ld", bunshi(x), bunbo(x));
      break;
    case 'r':
      if (s == kPlain) {
        princMojiretsu(symname(x), out);
      } else {
        std::fputs(symname(x), out);
      }
      break;
    case 'm':
      character(x, s, out);
      break;
    case 'a':
      if (s == kPlain) {
        PutStringC(x->cdr->cdr, out);
      } else {
        PutString(x->cdr->cdr, out);
      }
      break;
    default:
      break;
  }
}

void cprint::PutString(_cell* chars, FILE* out) {
  std::fputc('"', out);
  bool closed = false;
  _cell* p = chars;
  for (; p != NILCell; p = p->cdr) {
    if (p->type != 'l' || (p->spare & kPrinting) || p->car->type != 'm') break;
    p->spare |= kPrinting;
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
  // A chain that stops anywhere but at NIL shows as an unterminated literal.
  if (p == NILCell) closed = true;
  unflagSpine(chars);
  if (closed) std::fputc('"', out);
}

void cprint::PutStringC(_cell* chars, FILE* out) {
  for (_cell* p = chars; p != NILCell; p = p->cdr) {
    if (p->type != 'l' || (p->spare & kPrinting) || p->car->type != 'm') break;
    p->spare |= kPrinting;
    std::fputc(static_cast<char>(chval(p->car)), out);
    if (ch2val(p->car) != 0) std::fputc(static_cast<char>(ch2val(p->car)), out);
  }
  unflagSpine(chars);
}

long cprint::stringByteLength(_cell* chars) {
  long n = 0;
  for (_cell* p = chars; p->type == 'l' && !(p->spare & kPrinting) && p->car->type == 'm';
       p = p->cdr) {
    p->spare |= kPrinting;
    n += ch2val(p->car) != 0 ? 2 : 1;
  }
  unflagSpine(chars);
  return n;
}

void cprint::GetStringC(_cell* chars, char* buf) {
  for (_cell* p = chars; p->type == 'l' && !(p->spare & kPrinting) && p->car->type == 'm';
       p = p->cdr) {
    p->spare |= kPrinting;
    *buf++ = static_cast<char>(chval(p->car));
    if (ch2val(p->car) != 0) *buf++ = static_cast<char>(ch2val(p->car));
  }
  *buf = 0;
  unflagSpine(chars);
}

long cprint::jnlength(_cell* x) {
  long n = 0;
  for (_cell* p = x; p->type == 'l' && !(p->spare & kPrinting); p = p->cdr) {
    p->spare |= kPrinting;
    n++;
  }
  unflagSpine(x);
  return n;
}
