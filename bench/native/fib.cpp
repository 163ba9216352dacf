// The physical limit: fib(30) compiled natively.
#include <cstdio>
static long fib(long n) {
  return n < 2 ? n : fib(n - 1) + fib(n - 2);
}
int main() {
  std::printf("RESULT: %ld\n", fib(30));
}
