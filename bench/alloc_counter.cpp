// bench/alloc_counter.cpp - the malloc interposer of alloc_counter.h.
#include "bench/alloc_counter.h"

#include <malloc.h>

#include <cerrno>
#include <cstddef>
#include <cstdlib>

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#error "alloc_counter.cpp replaces malloc and cannot be built with a sanitizer (bench/CMakeLists.txt leaves it out)"
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer) || __has_feature(memory_sanitizer)
#error "alloc_counter.cpp replaces malloc and cannot be built with a sanitizer (bench/CMakeLists.txt leaves it out)"
#endif
#endif

extern "C" {
void* __libc_malloc(std::size_t n);
void* __libc_calloc(std::size_t count, std::size_t n);
void* __libc_realloc(void* block, std::size_t n);
void __libc_free(void* block);
void* __libc_memalign(std::size_t alignment, std::size_t n);
void* __libc_valloc(std::size_t n);
void* __libc_pvalloc(std::size_t n);
}

namespace {

// Per-thread state; constant-initialised and trivially destructible, so
// reaching it from inside malloc never allocates.
struct counting_state {
    bool on;
    std::uint64_t allocations;
    std::uint64_t reallocs;
    std::uint64_t frees;
    std::int64_t live;
    std::int64_t peak;
};
constinit thread_local counting_state t_state{};

inline void note_allocation(void* block) {
    counting_state& s = t_state;
    if (!s.on || block == nullptr) return;
    ++s.allocations;
    s.live += static_cast<std::int64_t>(malloc_usable_size(block));
    if (s.live > s.peak) s.peak = s.live;
}

inline void note_free(void* block) {
    counting_state& s = t_state;
    if (!s.on || block == nullptr) return;
    ++s.frees;
    s.live -= static_cast<std::int64_t>(malloc_usable_size(block));
}

}  // namespace

namespace alloc_counter {

void start() { t_state = counting_state{true, 0, 0, 0, 0, 0}; }

totals stop() {
    counting_state& s = t_state;
    s.on = false;
    return totals{s.allocations, s.reallocs, s.frees, s.peak, s.live};
}

}  // namespace alloc_counter

// ---- the interposer ----

extern "C" void* malloc(std::size_t n) noexcept {
    void* p = __libc_malloc(n);
    note_allocation(p);
    return p;
}

extern "C" void* calloc(std::size_t count, std::size_t n) noexcept {
    void* p = __libc_calloc(count, n);
    note_allocation(p);
    return p;
}

extern "C" void* realloc(void* block, std::size_t n) noexcept {
    // The old block's size is taken before the call: afterwards it may be gone.
    const std::size_t old_size = (t_state.on && block != nullptr) ? malloc_usable_size(block) : 0;
    void* p = __libc_realloc(block, n);
    counting_state& s = t_state;
    if (s.on) {
        if (p != nullptr) {
            s.live -= static_cast<std::int64_t>(old_size);
            ++s.allocations;
            ++s.reallocs;
            s.live += static_cast<std::int64_t>(malloc_usable_size(p));
            if (s.live > s.peak) s.peak = s.live;
        } else if (block != nullptr && n == 0) {
            // realloc(block, 0) released the block.
            s.live -= static_cast<std::int64_t>(old_size);
            ++s.frees;
        }
    }
    return p;
}

extern "C" void* reallocarray(void* block, std::size_t count, std::size_t n) noexcept {
    std::size_t total = 0;
    if (__builtin_mul_overflow(count, n, &total)) {
        errno = ENOMEM;
        return nullptr;
    }
    return realloc(block, total);
}

extern "C" void free(void* block) noexcept {
    note_free(block);
    __libc_free(block);
}

extern "C" void* memalign(std::size_t alignment, std::size_t n) noexcept {
    void* p = __libc_memalign(alignment, n);
    note_allocation(p);
    return p;
}

extern "C" void* aligned_alloc(std::size_t alignment, std::size_t n) noexcept {
    return memalign(alignment, n);
}

extern "C" int posix_memalign(void** result, std::size_t alignment, std::size_t n) noexcept {
    // The alignment must be a power of two multiple of sizeof(void*).
    if (alignment % sizeof(void*) != 0 || (alignment & (alignment - 1)) != 0 || alignment == 0) return EINVAL;
    void* p = __libc_memalign(alignment, n);
    if (p == nullptr) return ENOMEM;
    note_allocation(p);
    *result = p;
    return 0;
}

extern "C" void* valloc(std::size_t n) noexcept {
    void* p = __libc_valloc(n);
    note_allocation(p);
    return p;
}

extern "C" void* pvalloc(std::size_t n) noexcept {
    void* p = __libc_pvalloc(n);
    note_allocation(p);
    return p;
}
