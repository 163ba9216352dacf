// File streams: ten numbered slots; OPEN, CLOSE, READ and READ-LINE.
#include <cstring>

#include "eval/cfunction.h"
#include "reader/terminal.h"
#include "top/keywords.h"
#include "top/runmode.h"

FILE* cfunction::getStream(_cell* s) {
  if (s->type != 'i') return nullptr;
  long n = ival(s);
  return (n >= 1 && n <= kStreams) ? streams[n - 1] : nullptr;
}

FILE* cfunction::getStream2(_cell* s) {
  FILE* f = getStream(s);
  if (f) streams[ival(s) - 1] = nullptr;
  return f;
}

_cell* cfunction::SetFilePointer(FILE* f) {
  for (int i = 0; i < kStreams; i++) {
    if (!streams[i]) {
      _cell* s = IntToCell(i + 1);
      s->sub = 's';
      streams[i] = f;
      return s;
    }
  }
  return NILCell;
}

int cfunction::toPathMojiretsu(_cell* str, unsigned char* buf, int size) {
  if (!isString(str)) return 0;
  int n = 0;
  _cell* p = str->cdr->cdr;
  if (!consp(p)) return 0;  // empty
  for (; consp(p); p = p->cdr) {
    if (p->car->type != 'm' || n >= size - 1) return 0;
    buf[n++] = static_cast<unsigned char>(chval(p->car));
  }
  buf[n] = 0;
  return 1;
}

_cell* cfunction::topen(_cell* args, _symval* frame, long count, long mark) {
  if (!consp(args)) {
    errorlisp(frame, count);
    return nullptr;
  }
  CellFrame cells(*this);
  cells.protect(args);
  _cell* name = eval(args->car, frame, count, mark);
  char path[256];
  bool named = false;
  if (name && name->type == 's') {
    // A symbol's name is the path, cut to fit.
    std::strncpy(path, symname(name), sizeof path - 1);
    path[sizeof path - 1] = 0;
    named = true;
  } else if (name) {
    named = toPathMojiretsu(name, reinterpret_cast<unsigned char*>(path), sizeof path);
  }
  if (!named) {
    cells.release();
    errorlisp(frame, count);
    return nullptr;
  }
  const char* mode = "rb";
  _cell* rest = args->cdr;
  if (consp(rest) && rest->car == COLDIRECTION && consp(rest->cdr)) {
    _cell* direction = eval(rest->cdr->car, frame, count, mark);
    if (!direction) {
      cells.release();
      errorlisp(frame, count);
      return nullptr;
    }
    if (direction == COLOUTPUT) mode = "wb";
  }
  cells.release();
  FILE* f = std::fopen(path, mode);
  if (!f) return fail("エラー: ファイルを開くことができません。", frame, count);
  _cell* s = SetFilePointer(f);
  if (s == NILCell) {
    std::fclose(f);  // no slot for it: nothing else could ever close it
    return fail("エラー: ファイルの数が多すぎます", frame, count);
  }
  return s;
}

_cell* cfunction::tclose(_cell* form, _symval* frame, long count, long mark) {
  _cell* s = eval(form, frame, count, mark);
  if (!s) return nullptr;
  if (s->type == 'i' && s->sub == 's') {
    if (FILE* f = getStream2(s)) {
      std::fclose(f);
      return TCell;
    }
  }
  return fail("エラー: ファイルをクローズできません", frame, count);
}

_cell* cfunction::tread(_cell* args, _symval* frame, long count, long mark) {
  _cell* form = nullptr;
  if (!consp(args)) {
    int got;
    do {
      lineStr[0] = 0;
      got = GetOneS();
      // Ctrl-C while waiting for the expression: as during an evaluation, then read anew.
      if (got < 0 && !answerInterrupt(frame, count)) return nullptr;
    } while (got < 0);
    if (!got) {
      errorlisp(frame, count);
      return nullptr;
    }
    return parseLine(&form) ? form : nullptr;
  }
  CellFrame cells(*this);
  cells.protect(args);
  _cell* s = eval(args->car, frame, count, mark);
  if (!s) {
    cells.release();
    return nullptr;
  }
  if (s->sub != 's') {
    cells.release();
    return fail("エラー: ストリームではありません", frame, count);
  }
  FILE* in = getStream(s);
  if (!in) {
    cells.release();
    return fail("エラー: そのストリームは無効です", frame, count);
  }
  cells.protect(s);
  bool eofIsError = true;
  _cell* eofValue = NILCell;
  if (consp(args->cdr)) {
    _cell* flag = eval(args->cdr->car, frame, count, mark);
    if (!flag) {
      cells.release();
      return nullptr;
    }
    eofIsError = flag != NILCell;
    if (consp(args->cdr->cdr)) {
      cells.protect(flag);
      eofValue = eval(args->cdr->cdr->car, frame, count, mark);
      if (!eofValue) {
        cells.release();
        return nullptr;
      }
    }
  }
  cells.release();
  lineStr[0] = 0;
  int r = GetOneSStream(in);
  if (r == 1) {
    if (CheckBrace(lineStr) != 1) return fail("エラー: 括弧の数が合いません。", frame, count);
    return parseLine(&form) ? form : nullptr;
  }
  if (eofIsError) return fail("エラー: 読み込み中にエラーを生じました。", frame, count);
  if (r == 2) return eofValue;
  errorlisp(frame, count);
  return nullptr;
}

_cell* cfunction::readLineForm(_cell* args, _symval* frame, long count, long mark) {
  if (!consp(args)) {
    _cell* line;
    // Ctrl-C while waiting for the line: as during an evaluation, then read anew.
    while (!(line = ReadLine())) {
      if (!answerInterrupt(frame, count)) return nullptr;
    }
    return line;
  }
  _cell* s = eval(args->car, frame, count, mark);
  if (!s) return nullptr;
  if (s->sub == 's') {
    if (FILE* in = getStream(s)) return ReadLineStrm(in);
    return fail("エラー: 無効なストリームです", frame, count);
  }
  return fail("エラー: ストリームではありません", frame, count);
}

namespace {
// The line in lineStr from position 1: its length up to the terminator, and whether it had
// one (a line feed; from a file a carriage return too).
size_t lineLength(bool crEnds, bool* terminated) {
  size_t n = 0;
  const char* p = lineStr + 1;
  while (p[n] && p[n] != '\n' && !(crEnds && p[n] == '\r')) n++;
  *terminated = p[n] != 0;
  return n;
}
}  // namespace

_cell* cmemory::lineResult(_cell* str, _cell* flag) {
  touchCell(str);
  notePutValues(str);
  str->values = list2(str, flag);
  return str;
}

_cell* cmemory::ReadLine() {
  // One line of at most 19998 bytes; the rest of a longer line is left for the next read.
  // A script reads its standard input as a stream is read: a carriage return ends a line
  // too, and the end of the input gives the empty string and T.
  TerminalRead got = ReadStandardInput(lineStr + 1, kLineMax);
  if (got == kReadCut) return nullptr;
  if (got == kReadEnded) {
    if (!scriptMode) EndOfInput();
    return lineResult(makeString("", 0), TCell);
  }
  bool terminated;
  size_t n = lineLength(scriptMode, &terminated);
  return lineResult(makeString(lineStr + 1, n), scriptMode && !terminated ? TCell : NILCell);
}

_cell* cmemory::ReadLineStrm(FILE* in) {
  if (!std::fgets(lineStr + 1, kLineMax, in)) return lineResult(makeString("", 0), TCell);
  bool terminated;
  size_t n = lineLength(true, &terminated);
  return lineResult(makeString(lineStr + 1, n), terminated ? NILCell : TCell);
}
