// The physical limit: tak(22, 16, 8) compiled natively.
#include <cstdio>
static long tak(long x, long y, long z) {
  return y < x ? tak(tak(x - 1, y, z), tak(y - 1, z, x), tak(z - 1, x, y)) : z;
}
int main() {
  std::printf("RESULT: %ld\n", tak(22, 16, 8));
}
