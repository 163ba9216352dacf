// The reader pipeline on arbitrary bytes: read as a file expression by expression (as READ
// does), and as one terminal expression; every form read is printed back in all styles.
#include <cstring>

#include "harness.h"

namespace {
FILE* sink = nullptr;

void printAll(_cell* form) {
  fuzz::lisp->printS(form);
  fuzz::lisp->princS(form, sink);
  fuzz::lisp->printSStrm(form, sink);
}

void readStream(const uint8_t* data, size_t size) {
  FILE* in = fmemopen(const_cast<uint8_t*>(data), size, "rb");
  if (!in) return;
  for (int k = 0; k < 2000; k++) {
    lineStr[0] = 0;
    int r = fuzz::lisp->GetOneSStream(in);
    if (r == 2) break;
    if (r == 0 || fuzz::lisp->CheckBrace(lineStr) != 1) continue;
    _cell* form = nullptr;
    if (fuzz::lisp->parseLine(&form) && form) printAll(form);
  }
  std::fclose(in);
}

void readText(const uint8_t* data, size_t size) {
  size_t n = size < static_cast<size_t>(kLineMax) ? size : static_cast<size_t>(kLineMax);
  std::memcpy(lineStr, data, n);
  lineStr[n] = 0;
  if (fuzz::lisp->CheckBrace(lineStr) != 1) return;
  _cell* form = nullptr;
  if (fuzz::lisp->parseLine(&form) && form) printAll(form);
}
}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  fuzz::setUp(false);
  sink = std::fopen("/dev/null", "w");
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  clisp& lisp = *fuzz::lisp;
  if (setjmp(fuzz::escape)) {
    // A fatal end (an area full, too deep): start afresh.
    lisp.ResetAreas();
    lisp.IncCellStack(nullptr);
    lisp.IncLocStack(nullptr, 0);
    lisp.SetKeyword();
    return 0;
  }
  readStream(data, size);
  readText(data, size);
  // Nothing read is kept: collect now and then, and start afresh before symbols or their
  // text run out.
  if (lisp.freeCells < kCells - 4000000) lisp.gc();
  if (lisp.symTop - lisp.symBase > 90000 || lisp.strCursor - lisp.strBase > 250000) {
    fuzz::backToTarget(0);
  }
  return 0;
}
