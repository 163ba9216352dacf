#include "top/stack.h"

#include <malloc.h>
#include <pthread.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>

#include "memory/fatal.h"

namespace {
// About a million levels of a simple recursive function (a tenth of that is required).
#if defined(__SANITIZE_ADDRESS__)
constexpr size_t kMaxStack = size_t{3} << 30;  // instrumented frames are much larger
#else
constexpr size_t kMaxStack = size_t{1} << 30;
#endif
constexpr size_t kMiB = size_t{1} << 20;
constexpr size_t kGrain = size_t{64} << 10;  // granularity of the address-space search
constexpr size_t kSmallestMapped = kMiB;     // below this the process's own stack is used
constexpr size_t kHeapFloor = 2 * kMiB;      // the least the heap is left, where possible

// Whether n more bytes of address space can be had now (a reservation that is released
// again at once: it counts against an address-space limit like any other mapping).
bool admits(size_t n) {
  void* p = mmap(nullptr, n, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
  if (p == MAP_FAILED) return false;
  munmap(p, n);
  return true;
}

// The largest amount of address space, up to upTo, that can still be had.
size_t addressRoom(size_t upTo) {
  if (admits(upTo)) return upTo;
  size_t lo = 0, hi = upTo / kGrain;  // lo grains fit, hi grains do not
  while (hi - lo > 1) {
    size_t mid = lo + (hi - lo) / 2;
    if (admits(mid * kGrain))
      lo = mid;
    else
      hi = mid;
  }
  return lo * kGrain;
}

// What the stack may take of the room left: the heap keeps a share, since every call of a
// user function allocates its binding frame there, and a deep recursion should end on the
// depth check rather than on a failed frame allocation.
size_t stackShare(size_t room) {
  size_t heap = std::max(room / 4, kHeapFloor);
  return room > heap ? (room - heap) / kGrain * kGrain : 0;
}

// The depth check stops this far above the end of the stack, leaving room for the calls
// made between two checks and for ending the process.
size_t reserveFor(size_t stack) {
  return std::min(kMiB, stack / 4);
}

void (*threadBody)() = nullptr;
void* runBody(void*) {
  threadBody();
  return nullptr;
}

// Runs body on a stack of its own of the given size; false when that cannot be arranged.
bool runOnMappedStack(void (*body)(), size_t size) {
  void* stack = mmap(nullptr, size, PROT_READ | PROT_WRITE,
                     MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE | MAP_STACK, -1, 0);
  if (stack == MAP_FAILED) return false;
  pthread_attr_t attr;
  pthread_attr_init(&attr);
  pthread_attr_setstack(&attr, stack, size);
  stackLimit = static_cast<char*>(stack) + reserveFor(size);
  threadBody = body;
  pthread_t thread;
  bool started = pthread_create(&thread, &attr, runBody, nullptr) == 0;
  pthread_attr_destroy(&attr);
  if (!started) {
    munmap(stack, size);
    return false;
  }
  pthread_join(thread, nullptr);
  return true;
}

// Touches the stack down to the address target, so that the process's own stack is grown
// now, while the address space for it is known to be free. The access after the call keeps
// the recursion a real one.
__attribute__((noinline)) void growStack(uintptr_t target) {
  volatile char page[4096];
  page[0] = 0;
  if (reinterpret_cast<uintptr_t>(&page[0]) > target) growStack(target);
  page[1] = page[0];
}

// How far below here the stack is already mapped: those pages cost no more address space.
size_t mappedBelow(uintptr_t here, size_t upTo) {
  const uintptr_t page = static_cast<uintptr_t>(sysconf(_SC_PAGESIZE));
  uintptr_t low = here & ~(page - 1);
  unsigned char resident;
  while (here - low < upTo && low >= page &&
         mincore(reinterpret_cast<void*>(low - page), page, &resident) == 0)
    low -= page;
  return here - low;
}

// How far the process's own stack can really go below here: within its size limit and
// the mapping below it (as the system reports them for this thread, less the gap the
// system keeps under a growing stack), and within the address space still free; at least
// as far as it is mapped already.
size_t ownStackRoom(uintptr_t here) {
  size_t room = kMaxStack;
  pthread_attr_t attr;
  if (pthread_getattr_np(pthread_self(), &attr) == 0) {
    void* low = nullptr;
    size_t size = 0;
    if (pthread_attr_getstack(&attr, &low, &size) == 0 && low) {
      uintptr_t bottom = reinterpret_cast<uintptr_t>(low) + kMiB;
      room = here > bottom ? here - bottom : 0;
    }
    pthread_attr_destroy(&attr);
  }
  struct rlimit rl;
  if (getrlimit(RLIMIT_STACK, &rl) == 0 && rl.rlim_cur != RLIM_INFINITY)
    room = std::min(room, static_cast<size_t>(rl.rlim_cur));
  size_t mapped = mappedBelow(here, room);
  return std::max(mapped, std::min(room, mapped + stackShare(addressRoom(room))));
}

// Runs body on the process's own stack, as far as it can really grow.
void runOnOwnStack(void (*body)()) {
  uintptr_t here = reinterpret_cast<uintptr_t>(__builtin_frame_address(0));
  size_t room = ownStackRoom(here);
  growStack(here - room + 2 * 4096);  // its last frame reaches a little lower
  stackLimit = reinterpret_cast<char*>(here - room + reserveFor(room));
  body();
}
}  // namespace

void RunOnLargeStack(void (*body)()) {
  // The interpreter's thread is the only one that allocates: it shares the heap that grows
  // step by step, rather than getting an arena of its own, which is reserved in one large
  // piece and so could not be had at all under a tight address-space limit.
  mallopt(M_ARENA_MAX, 1);
  size_t size = stackShare(addressRoom(kMaxStack + kMaxStack / 4));
  size = std::min(size, kMaxStack);
  if (size >= kSmallestMapped && runOnMappedStack(body, size)) return;
  runOnOwnStack(body);
}
