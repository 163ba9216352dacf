// One walk for every style and destination. Lists are followed along their cdr with a loop
// (never recursion). Meeting again a cons or an array that is on the way down to the current
// point means the object is circular, and "..." is printed in place of the repetition. Meeting
// again one printed earlier elsewhere is sharing: an object without a cycle prints every
// shared part in full, as often as it occurs; in one with a cycle, each cons and array is
// printed once and every later meeting is a repetition too, so that however many ways lead
// through the knots the print stays as long as the object.
#include "printer/cprint.h"
#include "printer/knotscan.h"
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
  Walk w{s, out, x};
  (this->*part)(w, x);
}

void cprint::startElement(_cell* x, int last, Style s, FILE* out) {
  Walk w{s, out, x};
  element(w, x, last);
}

void cprint::startElements(_cell* list, int last, Style s, FILE* out) {
  Walk w{s, out, list};
  elements(w, list, last);
}

bool cprint::repeats(Walk& w, _cell* x) {
  if (x->type != 'l' && !generalArray(x)) return false;
  if (PrintMarks::onPath(x)) return true;
  if (!PrintMarks::seen(x)) return false;
  // Sharing: whether the object has a cycle is asked the first time it matters.
  if (w.knotted < 0) {
    KnotScan scan;
    w.knotted = scan.cyclic(w.root);
  }
  return w.knotted;
}

bool cprint::refusesArray(Walk& w, _cell* x) {
  if (w.style != kStream || !generalArray(x)) return false;
  std::puts(kArrayToFile);
  return true;
}

void cprint::print(Walk& w, _cell* x) {
  if (refusesArray(w, x)) return;
  object(w, x, true);
}

void cprint::element(Walk& w, _cell* x, int last) {
  if (refusesArray(w, x)) return;  // not even the separating blank reaches the stream
  object(w, x, false);
  if (!last) std::fputc(' ', w.out);
}

void cprint::object(Walk& w, _cell* x, bool topLevel) {
  if (repeats(w, x)) {
    std::fputs(kRepetition, w.out);
  } else if (x->type == 'l') {
    list(w, x);
  } else if (generalArray(x)) {
    array(w, x);
    if (topLevel) std::fputc(' ', w.out);  // the blank after an array at top level
  } else {
    atom(w, x);
  }
}

void cprint::elements(Walk& w, _cell* list, int last) {
  element(w, list->car, last);
  tail(w, list->cdr);
}

// The conses of the tail join the path of the list they belong to; that list takes them off.
void cprint::tail(Walk& w, _cell* rest) {
  while (rest->type == 'l') {
    if (repeats(w, rest)) {
      std::fputs(kRepetition, w.out);
      return;
    }
    w.marks.enter(rest);
    element(w, rest->car, rest->cdr == NILCell);
    rest = rest->cdr;
  }
  if (rest == NILCell) return;
  if (refusesArray(w, rest)) return;
  std::fputs(". ", w.out);
  if (generalArray(rest)) {
    if (repeats(w, rest)) {
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
  size_t mark = w.marks.mark();
  std::fputc('(', w.out);
  w.marks.enter(x);
  elements(w, x, x->cdr == NILCell);
  std::fputc(')', w.out);
  w.marks.leaveTo(mark);
}

void cprint::array(Walk& w, _cell* x) {
  CheckStackDepth();
  size_t mark = w.marks.mark();
  w.marks.enter(x);
  std::fputc('#', w.out);
  _cell* rank = x->car;
  if (!(rank->type == 'i' && ival(rank) == 1)) print(w, rank);
  std::fputc('A', w.out);
  print(w, x->cdr->type == 'l' ? x->cdr->cdr : x->cdr);
  w.marks.leaveTo(mark);
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
