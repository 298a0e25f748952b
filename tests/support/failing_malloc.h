// tests/support/failing_malloc.h - a malloc interposer that fails a chosen allocation.
//
// Include this header in exactly ONE source file of a test executable. It
// defines malloc, calloc, realloc and free for the whole process, so the
// library's allocations (made from libqbasn.so through the dynamic linker)
// pass through it too. Each definition forwards to the allocator that would
// have served the call anyway:
//   - plain builds: the C library's own entry points (__libc_malloc, ...);
//   - AddressSanitizer (and the other sanitizers that replace malloc): the
//     sanitizer's interceptors (__interceptor_malloc, ...), which the runtime
//     exports as strong symbols next to its weak malloc, so its checks and
//     leak tracking stay in force.
// It must never go into a support library: an archive member that defines
// malloc is pulled into every executable linked against the archive.
//
// Use:
//   { qb_test::fail_after guard(0); rc = qbAsnGetOctetstringValue(...); }
// fails the first allocation made while `guard` lives (fail_after(n) lets n
// allocations succeed and fails the next one, then disarms). Arm it only
// around the call under test: gtest allocates too.
//   { qb_test::record_allocations rec; ...; rec.sizes(); rec.freed(); }
// lists the sizes requested, the blocks handed out (rec.results()) and the
// blocks released meanwhile (this thread).
//   qb_test::fail_nth(n, taken, f) runs f with the (n+1)-th allocation
// failed and tells whether it was reached; qb_test::freed_during(f) lists
// the blocks f released.
//
// It also replaces the global operator new and delete (the non-aligned
// forms) so that they allocate through malloc and free, in every build: see
// "operator new through malloc" at the end. An executable that must keep the
// C++ runtime's own operator new defines QB_TEST_KEEP_OPERATOR_NEW before
// including this header.
//
// support/record_test.h builds its allocation-failure sweeps on this header,
// so this one must come first.
#ifndef QBASN_TESTS_SUPPORT_FAILING_MALLOC_H
#define QBASN_TESTS_SUPPORT_FAILING_MALLOC_H

#if defined(QBASN_TESTS_SUPPORT_RECORD_TEST_H)
#error "include support/failing_malloc.h before support/record_test.h (its sweeps need this header)"
#endif

#include <cstddef>
#include <cstdlib>
#include <new>
#include <vector>

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define QB_TEST_SANITIZER_MALLOC 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(memory_sanitizer) || \
    __has_feature(thread_sanitizer)
#define QB_TEST_SANITIZER_MALLOC 1
#endif
#endif

#if defined(QB_TEST_SANITIZER_MALLOC)
#define QB_TEST_REAL(name) __interceptor_##name
#else
#define QB_TEST_REAL(name) __libc_##name
#endif

// The interposer runs before a sanitizer runtime has set up its shadow memory
// (the runtime's own start-up allocates), so none of its code is instrumented.
#if defined(__clang__)
#define QB_TEST_UNINSTRUMENTED \
    __attribute__((no_sanitize("address", "undefined", "thread", "memory")))
#elif defined(__GNUC__)
#define QB_TEST_UNINSTRUMENTED __attribute__((no_sanitize("address", "undefined", "thread")))
#else
#define QB_TEST_UNINSTRUMENTED
#endif

extern "C" {
void* QB_TEST_REAL(malloc)(std::size_t n);
void* QB_TEST_REAL(calloc)(std::size_t count, std::size_t n);
void* QB_TEST_REAL(realloc)(void* block, std::size_t n);
void QB_TEST_REAL(free)(void* block);
}

namespace qb_test {

namespace detail {

// Countdown of allocations still allowed to succeed; negative means disarmed.
inline constinit thread_local long countdown = -1;

// Allocation log, written by the interposer without allocating itself.
constexpr std::size_t kLogSlots = 64;
struct allocation_log {
    bool on;
    std::size_t size_count;
    std::size_t sizes[kLogSlots];
    void* results[kLogSlots];  // what each logged request returned (null when failed)
    std::size_t freed_count;
    void* freed[kLogSlots];
};
inline constinit thread_local allocation_log alloc_log{};

// take_failure: true when this allocation is the one to fail (which disarms).
QB_TEST_UNINSTRUMENTED inline bool take_failure() {
    if (countdown < 0) return false;
    if (countdown == 0) {
        countdown = -1;
        return true;
    }
    --countdown;
    return false;
}

QB_TEST_UNINSTRUMENTED inline void* note_request(std::size_t n, void* result) {
    if (alloc_log.on && alloc_log.size_count < kLogSlots) {
        alloc_log.sizes[alloc_log.size_count] = n;
        alloc_log.results[alloc_log.size_count] = result;
        ++alloc_log.size_count;
    }
    return result;
}

QB_TEST_UNINSTRUMENTED inline void note_free(void* block) {
    if (alloc_log.on && block != nullptr && alloc_log.freed_count < kLogSlots) {
        alloc_log.freed[alloc_log.freed_count++] = block;
    }
}

}  // namespace detail

// fail_after: while alive, lets n allocations succeed and fails the next one.
class fail_after {
public:
    explicit fail_after(long n) { detail::countdown = n; }
    ~fail_after() { detail::countdown = -1; }
    fail_after(const fail_after&) = delete;
    fail_after& operator=(const fail_after&) = delete;
    // armed: true while the failure has not happened yet.
    static bool armed() { return detail::countdown >= 0; }
};

// record_allocations: while alive, logs requested sizes and released blocks.
class record_allocations {
public:
    record_allocations() {
        detail::alloc_log.size_count = 0;
        detail::alloc_log.freed_count = 0;
        detail::alloc_log.on = true;
    }
    ~record_allocations() { detail::alloc_log.on = false; }
    record_allocations(const record_allocations&) = delete;
    record_allocations& operator=(const record_allocations&) = delete;

    // stop: ends the log; sizes(), results() and freed() stop it first
    // themselves, since the vectors they return allocate.
    void stop() { detail::alloc_log.on = false; }
    std::vector<std::size_t> sizes() {
        stop();
        return std::vector<std::size_t>(detail::alloc_log.sizes,
                                        detail::alloc_log.sizes + detail::alloc_log.size_count);
    }
    std::vector<void*> results() {
        stop();
        return std::vector<void*>(detail::alloc_log.results,
                                  detail::alloc_log.results + detail::alloc_log.size_count);
    }
    std::vector<void*> freed() {
        stop();
        return std::vector<void*>(detail::alloc_log.freed,
                                  detail::alloc_log.freed + detail::alloc_log.freed_count);
    }
};

// fail_nth: runs f() with the (n+1)-th allocation failed and stores in
// `taken` whether that allocation was asked for, also when f throws (the
// exception passes on; the probe below runs before the guard disarms).
template <class F>
void fail_nth(long n, bool& taken, F&& f) {
    struct probe {
        bool& taken;
        ~probe() { taken = !fail_after::armed(); }
    };
    fail_after guard(n);
    probe p{taken};
    f();
}

// freed_during: the blocks released (this thread) while f() runs.
template <class F>
std::vector<void*> freed_during(F&& f) {
    record_allocations log;
    f();
    return log.freed();
}

}  // namespace qb_test

// ---- the interposer ----

extern "C" QB_TEST_UNINSTRUMENTED void* malloc(std::size_t n) noexcept {
    void* result = qb_test::detail::take_failure() ? nullptr : QB_TEST_REAL(malloc)(n);
    return qb_test::detail::note_request(n, result);
}

extern "C" QB_TEST_UNINSTRUMENTED void* calloc(std::size_t count, std::size_t n) noexcept {
    void* result = qb_test::detail::take_failure() ? nullptr : QB_TEST_REAL(calloc)(count, n);
    return qb_test::detail::note_request(count * n, result);
}

extern "C" QB_TEST_UNINSTRUMENTED void* realloc(void* block, std::size_t n) noexcept {
    void* result = qb_test::detail::take_failure() ? nullptr : QB_TEST_REAL(realloc)(block, n);
    return qb_test::detail::note_request(n, result);
}

extern "C" QB_TEST_UNINSTRUMENTED void free(void* block) noexcept {
    qb_test::detail::note_free(block);
    QB_TEST_REAL(free)(block);
}

// ---- operator new through malloc ----
//
// The library creates its objects and record elements with new
// (std::nothrow). In a plain build the C++ library serves new from malloc, so
// those allocations already pass through the interposer; a sanitizer runtime
// serves new on its own, bypassing it. Replacing the non-aligned forms here
// routes them through malloc in every build, so they can be failed (and
// logged) in the sanitizer build too, and the sanitizer still tracks them,
// through its malloc. The price, in the sanitizer build of an executable that
// includes this header: new and malloc blocks are no longer told apart, so a
// block allocated with new and released with free (or the reverse) is not
// reported here; the executables without this header still report it.
//
// Replacement allocation functions cannot be inline, which is one more reason
// this header belongs to exactly one source file of an executable.
#if !defined(QB_TEST_KEEP_OPERATOR_NEW)

void* operator new(std::size_t n) {
    void* p = std::malloc(n != 0 ? n : 1);
    if (p == nullptr) throw std::bad_alloc();
    return p;
}
void* operator new[](std::size_t n) { return ::operator new(n); }
void* operator new(std::size_t n, const std::nothrow_t&) noexcept { return std::malloc(n != 0 ? n : 1); }
void* operator new[](std::size_t n, const std::nothrow_t&) noexcept { return std::malloc(n != 0 ? n : 1); }
void operator delete(void* p) noexcept { std::free(p); }
void operator delete[](void* p) noexcept { std::free(p); }
void operator delete(void* p, std::size_t) noexcept { std::free(p); }
void operator delete[](void* p, std::size_t) noexcept { std::free(p); }
void operator delete(void* p, const std::nothrow_t&) noexcept { std::free(p); }
void operator delete[](void* p, const std::nothrow_t&) noexcept { std::free(p); }

#endif

#endif
