// The collector stress build: see memory/stress.h.
#ifdef TSUMUGI_STRESS
#include "memory/stress.h"

#include <signal.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "memory/cmemory.h"

namespace {
char* poisonPage = nullptr;
constexpr size_t kPoisonBytes = size_t{1} << 20;  // room for any field offset of a cell

[[noreturn]] void report(const char* what) {
  std::fflush(stdout);
  const char* head = "tsumugi stress check: ";
  ssize_t ignored = write(2, head, std::strlen(head));
  ignored = write(2, what, std::strlen(what));
  ignored = write(2, "\n", 1);
  (void)ignored;
  _exit(70);
}

void onFault(int sig, siginfo_t* info, void*) {
  char* at = static_cast<char*>(info->si_addr);
  if (poisonPage && at >= poisonPage && at < poisonPage + kPoisonBytes) {
    report("a cell that no root reached was read after an evaluation step");
  }
  signal(sig, SIG_DFL);
  raise(sig);
}
}  // namespace

void InstallPoisonTrap() {
  void* p =
      mmap(nullptr, kPoisonBytes, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
  if (p == MAP_FAILED) report("no page for poisoned pointers");
  poisonPage = static_cast<char*>(p);
  // The handler needs a stack of its own when the fault comes from deep recursion.
  static char altStack[1 << 16];
  stack_t ss{};
  ss.ss_sp = altStack;
  ss.ss_size = sizeof altStack;
  sigaltstack(&ss, nullptr);
  struct sigaction sa {};
  sa.sa_sigaction = onFault;
  sa.sa_flags = SA_SIGINFO | SA_ONSTACK;
  sigemptyset(&sa.sa_mask);
  sigaction(SIGSEGV, &sa, nullptr);
  sigaction(SIGBUS, &sa, nullptr);
}

_cell* PoisonPointer() {
  return reinterpret_cast<_cell*>(poisonPage);
}

void PoisonedRead(const _cell*) {
  report("the value of a cell that no root reached was read after an evaluation step");
}

void cmemory::ReachedPoisoned() {
  report("a cell that no root reached at an earlier step is reachable again");
}

void cmemory::stressStep() {
  if (--stressCountdown > 0) return;
  stressChecks++;
  long interval = 1;
  for (long n = stressChecks; n > kFullSteps && interval < kLongestInterval; n -= kFullSteps) {
    interval *= 2;
  }
  if (!stressBits.words && !allocBits(stressBits, kCells)) report("no memory for the check");
  // Only the cells reached last time and those handed out since can have lost their last
  // root: every other cell in use was poisoned by an earlier check.
  std::vector<long> candidates;
  candidates.swap(stressReached);
  for (long i : candidates) stressBits.words[i >> 6] = 0;
  stressRecording = true;
  long conses = markedConses;  // the collector's own figure, used after its next run
  long visited = markFromRoots(stressBits, nullptr, nullptr);
  markedConses = conses;
  stressRecording = false;
  long spacing = visited > kLargeLive ? visited / kVisitsPerStep : 1;
  stressCountdown = interval > spacing ? interval : spacing;
  _cell* poison = PoisonPointer();
  auto poisonIfUnreached = [&](long i) {
    _cell* c = cellBase + i;
    if (!cellBits.get(i) || stressBits.get(i) || (c->spare & kPoisoned)) return;
    c->spare |= kPoisoned;
    c->car = poison;
    c->cdr = poison;
    c->values = poison;
  };
  for (long i : candidates) poisonIfUnreached(i);
  for (long i : stressFresh) poisonIfUnreached(i);
  stressFresh.clear();
  // Garbage is reused far more often than normal runs do, so that anything still held
  // without a root is handed out again and overwritten soon.
  if (stressChecks % kChecksPerReuse == 0) cellPages.wantsDonors = searchForced = true;
}
#endif
