// tests/support/scanners.h - the input a BER scanner (qbAsnGet*) is handed,
// outputs preset to a marker, and the four readers of integer octets behind
// one call.
//
// Header-only (inline functions in namespace qb_test); a test source takes
// what it uses with using-declarations. It may be included by any number of
// sources of an executable.
#ifndef QBASN_TESTS_SUPPORT_SCANNERS_H
#define QBASN_TESTS_SUPPORT_SCANNERS_H

#include <gtest/gtest.h>

#include <string>

#include "asn1/asn1.h"
#include "support/buffers.h"
#include "support/hex.h"

namespace qb_test {

// kUntouched: the value outputs a call must not write start with.
inline constexpr unsigned int kUntouched = 0xA5A5A5A5U;

// scan_input: octets in an exact-size heap block, and the cursor and count a
// scanner is handed: the cursor `offset` octets in, the count `count`
// (all octets from the cursor on when not given).
class scan_input {
public:
    explicit scan_input(const bytes_t& b) : scan_input(b, 0, static_cast<unsigned int>(b.size())) {}
    explicit scan_input(const char* hex_text) : scan_input(hex(hex_text)) {}
    scan_input(const char* hex_text, unsigned int count) : scan_input(hex(hex_text), 0, count) {}
    scan_input(const bytes_t& b, unsigned int offset, unsigned int count)
        : block_(b), cur(block_.data() + offset), rem(count), start_(cur), start_rem_(count) {}
    scan_input(const scan_input&) = delete;
    scan_input& operator=(const scan_input&) = delete;

    unsigned char* data() const { return block_.data(); }
    unsigned int size() const { return block_.size(); }
    // bytes: the input's octets as they are now (scanners may write into it).
    bytes_t bytes() const { return block_.bytes(); }

    // moved: the cursor stands `used` octets past where it started and the
    // count is lower by as many (used 0: nothing consumed).
    testing::AssertionResult moved(unsigned int used) const {
        if (cur == start_ + used && rem == start_rem_ - used) return testing::AssertionSuccess();
        return testing::AssertionFailure() << "cursor moved by " << (cur - start_) << ", count " << rem
                                           << "; expected " << used << " and " << (start_rem_ - used);
    }

private:
    exact_block block_;

public:
    unsigned char* cur;  // handed to the scanner as &cur
    unsigned int rem;    // handed to the scanner as &rem

private:
    unsigned char* start_;
    unsigned int start_rem_;
};

// marked_block: a pointer and a count a scanner may write, preset to a
// marker and kUntouched, so a test can tell whether they were written.
struct marked_block {
    unsigned char marker = 0;
    unsigned char* p = &marker;
    unsigned int n = kUntouched;

    marked_block() = default;
    marked_block(const marked_block&) = delete;
    marked_block& operator=(const marked_block&) = delete;
    // untouched: neither was written.
    bool untouched() const { return p == &marker && n == kUntouched; }
};

// byte_reader: the four readers that copy integer content octets: the
// direct reader in order and reversed, and the two "long" readers.
enum class byte_reader { direct_big, direct_little, big_endian, little_endian };

inline constexpr byte_reader kByteReaders[] = {byte_reader::direct_big, byte_reader::direct_little,
                                               byte_reader::big_endian, byte_reader::little_endian};

// scan_integer_bytes: the reader `r` over (p, rem, len) into (bytes, count).
inline unsigned int scan_integer_bytes(byte_reader r, unsigned char** p, unsigned int* rem, unsigned int len,
                                       unsigned char** bytes, unsigned int* count) {
    switch (r) {
        case byte_reader::direct_big: return qbAsnGetIntegerValue(p, rem, len, bytes, count, 0);
        case byte_reader::direct_little: return qbAsnGetIntegerValue(p, rem, len, bytes, count, 1);
        case byte_reader::big_endian: return qbAsnGetLongIntegerValueBigEndian(p, rem, len, bytes, count);
        case byte_reader::little_endian: return qbAsnGetLongIntegerValueLittleEndian(p, rem, len, bytes, count);
    }
    return 0xFFFFFFFFU;
}

// is_little: whether the reader gives the octets reversed.
inline bool is_little(byte_reader r) { return r == byte_reader::direct_little || r == byte_reader::little_endian; }

// reader_name: the reader, for traces.
inline std::string reader_name(byte_reader r) {
    switch (r) {
        case byte_reader::direct_big: return "direct, in order";
        case byte_reader::direct_little: return "direct, reversed";
        case byte_reader::big_endian: return "long, big-endian";
        case byte_reader::little_endian: return "long, little-endian";
    }
    return "?";
}

}  // namespace qb_test

#endif
