// One walk for every style and destination. Lists are followed along their cdr with a loop
// (never recursion). Every cons and array being printed stays on the walk's path until its
// form is complete: meeting one of them again means the object is circular, and "..." is
// printed in place of the repetition.
#include "printer/cprint.h"
#include "top/keywords.h"

namespace {
const char kArrayToFile[] = "エラー: 配列はファイルに出力できません";
const char kRepetition[] = "...";

bool generalArray(const _cell* x) {
  return x->type == 'a' && !cprint::isString(x);
}
}  // namespace

bool cprint::isString(const _cell* x) {
  return x->type == 'a' && x->car->type == 'i' && ival(x->car) == 1 && x->cdr->type == 'l' &&
         x->cdr->car == CHARACTER;
}

void cprint::start(_cell* x, Style s, FILE* out, void (cprint::*part)(Walk&, _cell*)) {
  Walk w{s, out, {}};
  (this->*part)(w, x);
}

void cprint::startElement(_cell* x, int last, Style s, FILE* out) {
  Walk w{s, out, {}};
  element(w, x, last);
}

void cprint::startElements(_cell* list, int last, Style s, FILE* out) {
  Walk w{s, out, {}};
  elements(w, list, last);
}

bool cprint::refusesArray(Walk& w, _cell* x) {
  if (w.style != kStream || !generalArray(x)) return false;
  std::puts(kArrayToFile);
  return true;
}

void cprint::print(Walk& w, _cell* x) {
  if (refusesArray(w, x)) return;
  if ((x->type == 'l' || generalArray(x)) && w.path.contains(x)) {
    std::fputs(kRepetition, w.out);
  } else if (x->type == 'l') {
    list(w, x);
  } else if (generalArray(x)) {
    array(w, x);
    std::fputc(' ', w.out);  // the blank after an array at top level
  } else {
    atom(w, x);
  }
}

void cprint::element(Walk& w, _cell* x, int last) {
  if (refusesArray(w, x)) return;  // not even the separating blank reaches the stream
  if ((x->type == 'l' || generalArray(x)) && w.path.contains(x)) {
    std::fputs(kRepetition, w.out);
  } else if (x->type == 'l') {
    list(w, x);
  } else if (generalArray(x)) {
    array(w, x);
  } else {
    atom(w, x);
  }
  if (!last) std::fputc(' ', w.out);
}

void cprint::elements(Walk& w, _cell* list, int last) {
  element(w, list->car, last);
  tail(w, list->cdr);
}

// The conses of the tail join the path of the list they belong to; that list takes them off.
void cprint::tail(Walk& w, _cell* rest) {
  while (rest->type == 'l') {
    if (w.path.contains(rest)) {
      std::fputs(kRepetition, w.out);
      return;
    }
    w.path.enter(rest);
    element(w, rest->car, rest->cdr == NILCell);
    rest = rest->cdr;
  }
  if (rest == NILCell) return;
  if (refusesArray(w, rest)) return;
  std::fputs(". ", w.out);
  if (generalArray(rest)) {
    if (w.path.contains(rest)) {
      std::fputs(kRepetition, w.out);
      return;
    }
    array(w, rest);
    std::fputc(' ', w.out);
    return;
  }
  atom(w, rest);
}

void cprint::list(Walk& w, _cell* x) {
  CheckStackDepth();
  size_t mark = w.path.mark();
  std::fputc('(', w.out);
  w.path.enter(x);
  elements(w, x, x->cdr == NILCell);
  std::fputc(')', w.out);
  w.path.leaveTo(mark);
}

void cprint::array(Walk& w, _cell* x) {
  CheckStackDepth();
  size_t mark = w.path.mark();
  w.path.enter(x);
  std::fputc('#', w.out);
  _cell* rank = x->car;
  if (!(rank->type == 'i' && ival(rank) == 1)) print(w, rank);
  std::fputc('A', w.out);
  print(w, x->cdr->type == 'l' ? x->cdr->cdr : x->cdr);
  w.path.leaveTo(mark);
}

void cprint::character(Walk& w, _cell* x) {
  if (w.style != kPlain) std::fputs("#\\", w.out);
  std::fputc(static_cast<char>(chval(x)), w.out);
  if (ch2val(x) != 0) {
    // The second byte of a two-byte character (never formed: every character is one byte).
    if (w.style == kPlain) {
      std::fputc(static_cast<char>(ch2val(x)), w.out);
    } else {
      std::putchar(static_cast<char>(ch2val(x)));
    }
  }
}

void cprint::atom(Walk& w, _cell* x) {
  switch (x->type) {
    case 's':
      std::fputs(symname(x), w.out);
      break;
    case 'n': {
      char buf[64];
      myftoa(buf, nval(x));
      std::fputs(buf, w.out);
      break;
    }
    case 'i':
      std::fprintf(w.out, "%ld", ival(x));
      break;
    case 'b':
      std::fprintf(w.out, "%ld/%ld", bunshi(x), bunbo(x));
      break;
    case 'r':
      if (w.style == kPlain) {
        princMojiretsu(symname(x), w.out);
      } else {
        std::fputs(symname(x), w.out);
      }
      break;
    case 'm':
      character(w, x);
      break;
    case 'a':
      if (w.style == kPlain) {
        PutStringC(x->cdr->cdr, w.out);
      } else {
        PutString(x->cdr->cdr, w.out);
      }
      break;
    default:
      break;
  }
}
