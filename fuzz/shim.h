// fuzz/shim.h - what every fuzz target shares.
//
// Each target defines fuzz_one(input): it runs the code under test on one
// input, checks its properties with FUZZ_CHECK and frees everything it got.
// shim.cpp supplies LLVMFuzzerTestOneInput, which caps the input size and
// calls fuzz_one; the same target source is linked either with libFuzzer
// (the fuzzing build) or with replay_main.cpp (an ordinary program that feeds
// every file of a corpus directory to it, run by ctest).
#ifndef QBASN_FUZZ_SHIM_H
#define QBASN_FUZZ_SHIM_H

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <cstdio>
#include <span>

namespace qb_fuzz {

// Inputs longer than this are cut: the properties do not need more, and
// small inputs keep the executions fast.
constexpr std::size_t kMaxInput = 1 << 16;

// fail: prints the broken property and aborts, so libFuzzer (or the replay
// program) reports the input as a crash.
[[noreturn]] void fail(const char* file, int line, const char* what);

// heap_copy: an exact-size malloc'ed copy of some octets, so AddressSanitizer
// reports any access just past them (new[] of 0 octets still yields a
// distinct block, so even an empty copy has a valid, unreadable address).
// null_sink: /dev/null, opened once and kept for the life of the program,
// for what a target writes but does not check.
std::FILE* null_sink();

class heap_copy {
public:
    explicit heap_copy(std::span<const unsigned char> bytes);
    ~heap_copy() { delete[] data_; }
    heap_copy(const heap_copy&) = delete;
    heap_copy& operator=(const heap_copy&) = delete;

    unsigned char* data() const { return data_; }
    unsigned int size() const { return size_; }

private:
    unsigned char* data_;
    unsigned int size_;
};

// same_bytes: two octet blocks of the same length and content.
inline bool same_bytes(const unsigned char* a, unsigned int na, const unsigned char* b, unsigned int nb) {
    return na == nb && (na == 0 || std::memcmp(a, b, na) == 0);
}

}  // namespace qb_fuzz

// FUZZ_CHECK(cond): aborts with the condition's text when it does not hold.
#define FUZZ_CHECK(cond) \
    ((cond) ? static_cast<void>(0) : ::qb_fuzz::fail(__FILE__, __LINE__, #cond))

// fuzz_one: the target's work on one input (defined by each target).
void fuzz_one(std::span<const unsigned char> input);

#endif
