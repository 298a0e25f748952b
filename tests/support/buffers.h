// tests/support/buffers.h - octets in and out of the library's buffers and
// views, octets as text and text as octets, exact-size heap copies, plain
// allocator hooks, and the check of where a read view stands.
//
// Header-only (inline functions in namespace qb_test); a test source takes
// what it uses with using-declarations. It may be included by any number of
// sources of an executable.
#ifndef QBASN_TESTS_SUPPORT_BUFFERS_H
#define QBASN_TESTS_SUPPORT_BUFFERS_H

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "asn1/asnbase.h"

namespace qb_test {

using bytes_t = std::vector<unsigned char>;

// ---- octets out of the library ----

// bytes_of(p, n): the `n` octets at `p`; none when n is 0 or p is null.
inline bytes_t bytes_of(const unsigned char* p, unsigned int n) {
    if (n == 0 || p == nullptr) return {};
    return bytes_t(p, p + n);
}

// bytes_of(buffer): the octets written to a write buffer (data[0, length())).
inline bytes_t bytes_of(const qb_buffer_t& b) { return bytes_of(b.data, b.length()); }

// bytes_of(flat block): the octets of a flat-API block; none when its data is null.
inline bytes_t bytes_of(const qb_asn_buffer_t& b) { return bytes_of(b.data, b.length); }

// rest_of: the octets a read view has left (cursor[0, remaining)).
inline bytes_t rest_of(const qb_r_buffer_t& r) { return bytes_of(r.cursor, r.remaining); }

// ---- octets as text and text as octets ----

// text_of(buffer): the octets written to a write buffer, as text.
inline std::string text_of(const qb_buffer_t& b) {
    if (b.length() == 0) return std::string();
    return std::string(reinterpret_cast<const char*>(b.data), b.length());
}

// text_of(octets): the octets as text (one char each).
inline std::string text_of(const bytes_t& b) { return std::string(b.begin(), b.end()); }

// text_bytes: the octets of the NUL-terminated text `s`, without its 00.
inline bytes_t text_bytes(const char* s) { return bytes_t(s, s + std::strlen(s)); }

// malloc_text: a malloc'ed copy of `s` with its 00, for records that own
// their texts (released with free, as the records' free functions do).
inline char* malloc_text(const char* s) {
    const size_t n = std::strlen(s) + 1;
    auto* p = static_cast<char*>(std::malloc(n));
    if (p != nullptr) std::memcpy(p, s, n);
    return p;
}

// hex32: a 32-bit word (a status) as "0x%08X", for failure messages.
inline std::string hex32(unsigned int v) {
    char text[16];
    std::snprintf(text, sizeof text, "0x%08X", v);
    return text;
}

// ---- octets into the library ----

// put: appends `v` to `out` (nothing for no octets).
inline void put(qb_buffer_t& out, const bytes_t& v) {
    if (!v.empty()) out.append(v.data(), static_cast<unsigned int>(v.size()));
}

// view_of: a read view over all of `v` (which must outlive it).
inline qb_r_buffer_t view_of(bytes_t& v) { return qb_r_buffer_t(v.data(), static_cast<unsigned int>(v.size())); }

// exact_block: a heap copy of some octets in a block of exactly their size
// (new[] of 0 octets still yields a distinct block, so even an empty input
// has a valid, unreadable address): AddressSanitizer reports any octet read
// past the input.
class exact_block {
public:
    explicit exact_block(const unsigned char* p, size_t n)
        : size_(static_cast<unsigned int>(n)), block_(new unsigned char[n]) {
        if (n != 0) std::memcpy(block_.get(), p, n);
    }
    explicit exact_block(const bytes_t& b) : exact_block(b.data(), b.size()) {}

    unsigned char* data() const { return block_.get(); }
    unsigned int size() const { return size_; }
    // bytes: the block's octets as they are now.
    bytes_t bytes() const { return bytes_of(block_.get(), size_); }
    // view: a read view over the whole block.
    qb_r_buffer_t view() const { return qb_r_buffer_t(block_.get(), size_); }
    // offset: how far into the block `p` points.
    size_t offset(const unsigned char* p) const { return static_cast<size_t>(p - block_.get()); }

private:
    unsigned int size_;
    std::unique_ptr<unsigned char[]> block_;
};

// ---- allocator hooks ----

// with_plain_hooks: `base` (by default all zeros, the standard functions) with
// the four plain hooks given switched on; they take priority over any
// context hooks `base` has.
inline qb_memory_funcs_t with_plain_hooks(void* (*malloc_hook)(size_t), void (*free_hook)(void*),
                                          void* (*realloc_hook)(void*, size_t),
                                          void* (*calloc_hook)(size_t, size_t),
                                          qb_memory_funcs_t base = {}) {
    base.use_plain_hooks = 1;
    base.malloc_hook = malloc_hook;
    base.free_hook = free_hook;
    base.realloc_hook = realloc_hook;
    base.calloc_hook = calloc_hook;
    return base;
}

// ---- where a view stands ----

// view_at: the view stands `offset` octets into `v` with the rest remaining.
inline testing::AssertionResult view_at(const qb_r_buffer_t& r, const bytes_t& v, size_t offset) {
    const unsigned char* want = v.data() + offset;
    const unsigned int want_rem = static_cast<unsigned int>(v.size() - offset);
    if (r.cursor == want && r.remaining == want_rem) return testing::AssertionSuccess();
    return testing::AssertionFailure() << "view at offset " << (r.cursor - v.data()) << " with " << r.remaining
                                       << " remaining; expected offset " << offset << " with " << want_rem;
}

// view_in: the view lies inside the `len` octets at `start` (cursor within
// them, cursor plus remaining at their end).
inline testing::AssertionResult view_in(const qb_r_buffer_t& r, const unsigned char* start, size_t len) {
    if (r.cursor >= start && static_cast<size_t>(r.cursor - start) <= len &&
        static_cast<size_t>(r.cursor - start) + r.remaining == len)
        return testing::AssertionSuccess();
    return testing::AssertionFailure() << "view at offset " << (r.cursor - start) << " with " << r.remaining
                                       << " remaining leaves the " << len << " octets it was given";
}

}  // namespace qb_test

#endif
