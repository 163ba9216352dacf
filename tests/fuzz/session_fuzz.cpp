// Arbitrary bytes as a whole session on standard input, from a fresh start with the prelude
// loaded; evaluation is cut off after a bounded number of steps, so loops end.
#include <unistd.h>

#include <cstdlib>

#include "harness.h"

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  // Files the session may create go to a directory of their own.
  char dir[] = "/tmp/tsumugi-fuzz-XXXXXX";
  if (!mkdtemp(dir) || chdir(dir) != 0) std::abort();
  fuzz::setUp(true);
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  clisp& lisp = *fuzz::lisp;
  static FILE* input = nullptr;
  if (setjmp(fuzz::escape)) {
    // The session ended (end of input, BYE, a fatal end or the step budget).
    if (input) std::fclose(input);
    input = nullptr;
    return 0;
  }
  lisp.fuzzSteps = 0;  // the prelude counts too
  if (!lisp.RestartSession()) std::abort();
  static const uint8_t empty = 0;
  input = fmemopen(const_cast<uint8_t*>(size ? data : &empty), size ? size : 1, "rb");
  if (!input) return 0;
  stdin = input;
  lisp.ReadEvalPrintLoop();  // returns when input cannot be rewritten or parsed
  std::fclose(input);
  input = nullptr;
  return 0;
}
