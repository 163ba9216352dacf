// Arbitrary bytes as a whole session on standard input, from a fresh start with the prelude
// loaded; evaluation is cut off after a bounded number of steps, so loops end.
#include <cstdint>

#include "harness.h"

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  fuzz::setUpInDirectory("tsumugi-fuzz");
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  fuzz::runSession(data, size);
  return 0;
}
