// tests/support/small_stack.h - runs a piece of code on a thread with a small
// stack of the test's own, below which lies an inaccessible guard page, and
// measures how much of that stack the code used.
//
// The stack is mapped by the helper and painted with a pattern before the
// thread starts; after the thread ends, the lowest octet that no longer holds
// the pattern tells the deepest point the thread reached. Running past the
// bottom touches the guard page and kills the test program, so a test that
// finishes has shown that the code fits.
#ifndef QBASN_TESTS_SUPPORT_SMALL_STACK_H
#define QBASN_TESTS_SUPPORT_SMALL_STACK_H

#include <gtest/gtest.h>
#include <pthread.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstddef>
#include <cstring>
#include <functional>

namespace qb_test {

// stack_run: what run_on_small_stack observed.
struct stack_run {
    bool started = false;   // the thread was created and joined
    size_t used = 0;        // octets of the stack the thread touched (its deepest point)
};

// run_on_small_stack: runs `body` on a new thread whose stack is `size` octets
// (a multiple of the page size) with a guard page below it; returns when the
// thread has ended. The stack also holds the thread's own bookkeeping
// (descriptor, static thread-local storage), which counts as used.
inline stack_run run_on_small_stack(size_t size, const std::function<void()>& body) {
    constexpr unsigned char kPaint = 0xA5;
    stack_run run;
    const size_t page = static_cast<size_t>(sysconf(_SC_PAGESIZE));
    void* map = mmap(nullptr, size + page, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE,
                     -1, 0);
    if (map == MAP_FAILED) {
        ADD_FAILURE() << "mmap of a " << size << "-octet stack failed";
        return run;
    }
    unsigned char* const guard = static_cast<unsigned char*>(map);
    unsigned char* const stack = guard + page;
    if (mprotect(guard, page, PROT_NONE) != 0) {
        ADD_FAILURE() << "mprotect of the guard page failed";
        munmap(map, size + page);
        return run;
    }
    std::memset(stack, kPaint, size);

    pthread_attr_t attr;
    pthread_attr_init(&attr);
    pthread_attr_setstack(&attr, stack, size);
    pthread_t thread;
    auto entry = [](void* arg) -> void* {
        (*static_cast<const std::function<void()>*>(arg))();
        return nullptr;
    };
    const int created = pthread_create(&thread, &attr, entry, const_cast<std::function<void()>*>(&body));
    pthread_attr_destroy(&attr);
    if (created != 0) {
        ADD_FAILURE() << "pthread_create on a " << size << "-octet stack failed: " << created;
    } else {
        pthread_join(thread, nullptr);
        run.started = true;
        size_t untouched = 0;
        while (untouched < size && stack[untouched] == kPaint) ++untouched;
        run.used = size - untouched;
    }
    munmap(map, size + page);
    return run;
}

}  // namespace qb_test

#endif
