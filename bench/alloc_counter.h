// bench/alloc_counter.h - counts the heap traffic of one operation.
//
// alloc_counter.cpp defines malloc, calloc, realloc, reallocarray, free,
// aligned_alloc, posix_memalign, memalign, valloc and pvalloc for the whole
// process (the library's allocations, and operator new of the C++ runtime,
// reach them through the dynamic linker). Each forwards to the C library's
// own allocator (__libc_malloc, ...). Counting happens only on the thread
// that called start(), between start() and stop(); at every other time the
// definitions only forward, so the benchmark framework is left alone.
//
// Live bytes are counted as malloc_usable_size of each block (what the
// allocator actually set aside), so a block released meanwhile that was
// allocated before start() lowers the live count; `peak` is the highest live
// count reached above the level at start().
//
// Compile alloc_counter.cpp into one executable only, never into a library,
// and not in a sanitizer build (the sanitizers bring their own malloc).
#ifndef QBASN_BENCH_ALLOC_COUNTER_H
#define QBASN_BENCH_ALLOC_COUNTER_H

#include <cstdint>

namespace alloc_counter {

struct totals {
    std::uint64_t allocations;  // blocks handed out: malloc, calloc, realloc, aligned forms
    std::uint64_t reallocs;     // of those, by realloc (which also gives up the old block)
    std::uint64_t frees;        // non-null blocks released by free (or realloc to 0 octets)
    std::int64_t peak;          // highest live octets above the level at start()
    std::int64_t net;           // live octets at stop() minus those at start()
};

// start: zeroes the counts and starts counting on this thread.
void start();
// stop: stops counting and returns what was counted.
totals stop();

}  // namespace alloc_counter

#endif
