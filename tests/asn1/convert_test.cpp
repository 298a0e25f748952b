// tests/asn1/convert_test.cpp - the code-set converters and their tables.
//
// Sources are copied into heap blocks of exactly their length, so a converter
// that read past its view would be caught by AddressSanitizer; tests of the
// filler octet also put known octets just past the view's end, so reading
// them instead of the filler changes the result.
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <functional>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

#include "asn1/asnbase.h"
#include "asn1/asnstrng.h"
#include "support/buffers.h"
#include "support/hex.h"

namespace {

using Bytes = std::vector<unsigned char>;
using qb_test::bytes_of;
using Converter = std::function<unsigned int(const qb_r_buffer_t&, qb_buffer_t&)>;

constexpr unsigned int kFailed = 0x106521AB;

// Source: octets in a heap block of exactly their length (or `view_len` of
// them, the rest lying just past the view).
class Source {
public:
    explicit Source(const Bytes& b, unsigned int view_len)
        : size_(b.size()), block_(new unsigned char[b.empty() ? 1 : b.size()]), view_len_(view_len) {
        if (!b.empty()) std::memcpy(block_.get(), b.data(), b.size());
    }
    explicit Source(const Bytes& b) : Source(b, static_cast<unsigned int>(b.size())) {}
    explicit Source(const char* hex_text) : Source(hex(hex_text)) {}
    qb_r_buffer_t view() const { return qb_r_buffer_t(block_.get(), view_len_); }

private:
    size_t size_;
    std::unique_ptr<unsigned char[]> block_;
    unsigned int view_len_;
};

struct Result {
    unsigned int status;
    Bytes out;
};

// run: converts `in` with `f` into a buffer first holding `prefill`.
Result run(const Converter& f, const qb_r_buffer_t& in, const char* prefill = "") {
    qb_buffer_t out(security_off);
    const Bytes pre = hex(prefill);
    if (!pre.empty()) out.append(pre.data(), static_cast<unsigned int>(pre.size()));
    const unsigned int status = f(in, out);
    return {status, bytes_of(out)};
}

Result run(const Converter& f, const char* in_hex, const char* prefill = "") {
    const Source src(in_hex);
    return run(f, src.view(), prefill);
}

// The converters, each as a Converter (the first six take the view by value).
const Converter kU2UTF8 = [](const qb_r_buffer_t& in, qb_buffer_t& out) { return U2UTF8(in, out); };
const Converter kBMP2UTF8 = [](const qb_r_buffer_t& in, qb_buffer_t& out) { return BMP2UTF8(in, out); };
const Converter kIA52UTF8 = [](const qb_r_buffer_t& in, qb_buffer_t& out) { return IA52UTF8(in, out); };
const Converter kUTF82U = [](const qb_r_buffer_t& in, qb_buffer_t& out) { return UTF82U(in, out); };
const Converter kUTF82BMP = [](const qb_r_buffer_t& in, qb_buffer_t& out) { return UTF82BMP(in, out); };
const Converter kUTF82IA5 = [](const qb_r_buffer_t& in, qb_buffer_t& out) { return UTF82IA5(in, out); };
const Converter kU2BMP = [](const qb_r_buffer_t& in, qb_buffer_t& out) { return U2BMP(in, out); };
const Converter kU2IA5 = [](const qb_r_buffer_t& in, qb_buffer_t& out) { return U2IA5(in, out); };
const Converter kBMP2IA5 = [](const qb_r_buffer_t& in, qb_buffer_t& out) { return BMP2IA5(in, out); };
const Converter kBMP2U = [](const qb_r_buffer_t& in, qb_buffer_t& out) { return BMP2U(in, out); };
const Converter kIA52BMP = [](const qb_r_buffer_t& in, qb_buffer_t& out) { return IA52BMP(in, out); };
const Converter kIA52U = [](const qb_r_buffer_t& in, qb_buffer_t& out) { return IA52U(in, out); };
const Converter kT612IA5 = [](const qb_r_buffer_t& in, qb_buffer_t& out) { return T612IA5(in, out); };
const Converter kT612BMP = [](const qb_r_buffer_t& in, qb_buffer_t& out) { return T612BMP(in, out); };
const Converter kIA52T61 = [](const qb_r_buffer_t& in, qb_buffer_t& out) { return IA52T61(in, out); };
const Converter kP2IA5 = [](const qb_r_buffer_t& in, qb_buffer_t& out) { return P2IA5(in, out); };
const Converter kV2IA5 = [](const qb_r_buffer_t& in, qb_buffer_t& out) { return V2IA5(in, out); };
const Converter kIA52P = [](const qb_r_buffer_t& in, qb_buffer_t& out) { return IA52P(in, out); };
const Converter kIA52V = [](const qb_r_buffer_t& in, qb_buffer_t& out) { return IA52V(in, out); };

// One vector: input, prefilled destination, expected status and destination.
struct Case {
    const char* name;
    const Converter* f;
    const char *in, *prefill;
    unsigned int status;
    const char* out;
};

void check_cases(const Case* cases, size_t n) {
    for (size_t i = 0; i < n; ++i) {
        const Case& c = cases[i];
        SCOPED_TRACE(c.name);
        const Result r = run(*c.f, c.in, c.prefill);
        EXPECT_EQ(c.status, r.status);
        EXPECT_EQ(hex(c.out), r.out);
    }
}

Bytes one(unsigned int o) { return Bytes{static_cast<unsigned char>(o)}; }

// The 73 characters of the Printable and Visible tables, written out.
bool in_printable_set(unsigned int o) {
    return o == 0x20 || (o >= 0x27 && o <= 0x29) || (o >= 0x2B && o <= 0x3A) || o == 0x3F ||
           (o >= 0x41 && o <= 0x5A) || (o >= 0x61 && o <= 0x7A);
}

// ---- character tables ----

TEST(CharacterTables, printable_holds_exactly_the_73_characters) {
    unsigned int count = 0;
    for (unsigned int o = 0; o < 256; ++o) {
        SCOPED_TRACE(o);
        EXPECT_EQ(in_printable_set(o) ? 1u : 0u, printableStringCharacterIA5_table[o]);
        count += printableStringCharacterIA5_table[o];
    }
    EXPECT_EQ(73u, count);
}

TEST(CharacterTables, visible_is_the_same_73_characters_quirk) {
    unsigned int count = 0;
    for (unsigned int o = 0; o < 256; ++o) {
        SCOPED_TRACE(o);
        EXPECT_EQ(in_printable_set(o) ? 1u : 0u, visibleStringCharacterIA5_table[o]);
        count += visibleStringCharacterIA5_table[o];
    }
    EXPECT_EQ(73u, count);
    // Not the standard's sets: no equals sign, and Visible no wider than Printable.
    EXPECT_EQ(0u, printableStringCharacterIA5_table[0x3D]);
    EXPECT_EQ(0u, visibleStringCharacterIA5_table[0x3D]);
    EXPECT_EQ(0u, visibleStringCharacterIA5_table[0x5F]);  // low line
    EXPECT_EQ(0u, visibleStringCharacterIA5_table[0x21]);  // exclamation mark
    EXPECT_EQ(0u, visibleStringCharacterIA5_table[0x7E]);  // tilde
}

TEST(CharacterTables, local_to_ia5_indexed_by_signed_char_plus_128) {
    for (int k = 0; k < 256; ++k) {
        SCOPED_TRACE(k);
        EXPECT_EQ(k >= 128 ? k - 128 : -1, Local2IA5_table[k]);
    }
    // Through the documented index: the octet as a signed char plus 128.
    const char a = 0x41;
    const char e_acute = static_cast<char>(0xE9);
    EXPECT_EQ(0x41, Local2IA5_table[static_cast<signed char>(a) + 128]);
    EXPECT_EQ(-1, Local2IA5_table[static_cast<signed char>(e_acute) + 128]);
    EXPECT_EQ(0x00, Local2IA5_table[128]);
    EXPECT_EQ(0x7F, Local2IA5_table[255]);
}

TEST(CharacterTables, ia5_to_local_indexed_by_unsigned_octet) {
    for (int k = 0; k < 256; ++k) {
        SCOPED_TRACE(k);
        EXPECT_EQ(k < 128 ? k : -1, IA52Local_table[k]);
    }
    EXPECT_EQ(0x7F, IA52Local_table[0x7F]);
    EXPECT_EQ(-1, IA52Local_table[0x80]);
    EXPECT_EQ(-1, IA52Local_table[0xE9]);
}

// ---- IA52P / IA52V / P2IA5 / V2IA5 ----

TEST(IA52P, every_octet_checked_against_the_table) {
    unsigned int accepted = 0;
    for (unsigned int o = 0; o < 256; ++o) {
        SCOPED_TRACE(o);
        const Source src(one(o));
        const Result r = run(kIA52P, src.view(), "58 59");
        if (in_printable_set(o)) {
            ++accepted;
            EXPECT_EQ(0u, r.status);
            EXPECT_EQ(one(o), r.out);  // cleared, then the source
        } else {
            EXPECT_EQ(kFailed, r.status);
            EXPECT_EQ(hex("58 59"), r.out);  // untouched
        }
    }
    EXPECT_EQ(73u, accepted);
}

TEST(IA52V, every_octet_checked_against_the_table) {
    unsigned int accepted = 0;
    for (unsigned int o = 0; o < 256; ++o) {
        SCOPED_TRACE(o);
        const Source src(one(o));
        const Result r = run(kIA52V, src.view(), "58 59");
        if (in_printable_set(o)) {
            ++accepted;
            EXPECT_EQ(0u, r.status);
            EXPECT_EQ(one(o), r.out);
        } else {
            EXPECT_EQ(kFailed, r.status);
            EXPECT_EQ(hex("58 59"), r.out);
        }
    }
    EXPECT_EQ(73u, accepted);
}

TEST(IA52P, edge_cases) {
    const Case cases[] = {
        {"equals sign refused", &kIA52P, "61 3D 62", "", kFailed, ""},
        {"equals sign, destination untouched", &kIA52P, "61 3D 62", "41 42 43", kFailed, "41 42 43"},
        {"Hello, World.", &kIA52P, "48 65 6C 6C 6F 2C 20 57 6F 72 6C 64 2E", "",
         0, "48 65 6C 6C 6F 2C 20 57 6F 72 6C 64 2E"},
        {"success replaces the content", &kIA52P, "61 62", "41 42 43", 0, "61 62"},
        {"refused last octet", &kIA52P, "61 62 E9", "41", kFailed, "41"},
        {"low line refused by Visible", &kIA52V, "61 5F 62", "", kFailed, ""},
        {"low line, destination untouched", &kIA52V, "61 5F 62", "41", kFailed, "41"},
        {"Visible success replaces", &kIA52V, "28 3F 29", "41 42", 0, "28 3F 29"},
    };
    check_cases(cases, std::size(cases));
}

TEST(P2IA5, replaces_destination_without_check_quirk) {
    const Case cases[] = {
        {"into a non-empty destination", &kP2IA5, "61 62", "41 42 43 44", 0, "61 62"},
        {"no character check", &kP2IA5, "3D 5F E9 00 FF", "41", 0, "3D 5F E9 00 FF"},
        {"V2IA5 into a non-empty destination", &kV2IA5, "61 62", "41 42 43 44", 0, "61 62"},
        {"V2IA5 no character check", &kV2IA5, "3D 5F E9 00 FF", "41", 0, "3D 5F E9 00 FF"},
    };
    check_cases(cases, std::size(cases));
}

// ---- empty source ----

TEST(Converters, empty_source_succeeds) {
    struct Named {
        const char* name;
        const Converter* f;
        bool clears;
    };
    const Named all[] = {
        {"U2UTF8", &kU2UTF8, false},     {"BMP2UTF8", &kBMP2UTF8, false}, {"IA52UTF8", &kIA52UTF8, false},
        {"UTF82U", &kUTF82U, false},     {"UTF82BMP", &kUTF82BMP, false}, {"UTF82IA5", &kUTF82IA5, false},
        {"U2BMP", &kU2BMP, false},       {"U2IA5", &kU2IA5, false},       {"BMP2IA5", &kBMP2IA5, false},
        {"BMP2U", &kBMP2U, false},       {"IA52BMP", &kIA52BMP, false},   {"IA52U", &kIA52U, false},
        {"T612IA5", &kT612IA5, false},   {"T612BMP", &kT612BMP, false},   {"IA52T61", &kIA52T61, false},
        {"P2IA5", &kP2IA5, true},        {"V2IA5", &kV2IA5, true},        {"IA52P", &kIA52P, true},
        {"IA52V", &kIA52V, true},
    };
    for (const Named& c : all) {
        SCOPED_TRACE(c.name);
        const Result r = run(*c.f, "", "41 42");
        EXPECT_EQ(0u, r.status);
        EXPECT_EQ(c.clears ? Bytes{} : hex("41 42"), r.out);
        // A default-constructed view (null pointer, length 0) too.
        const Result d = run(*c.f, qb_r_buffer_t(), "41 42");
        EXPECT_EQ(0u, d.status);
        EXPECT_EQ(c.clears ? Bytes{} : hex("41 42"), d.out);
    }
}

// ---- to UTF-8 ----

TEST(U2UTF8, lengths_one_to_six) {
    const Case cases[] = {
        {"0x41", &kU2UTF8, "00 00 00 41", "", 0, "41"},
        {"0x00", &kU2UTF8, "00 00 00 00", "", 0, "00"},
        {"0x7F", &kU2UTF8, "00 00 00 7F", "", 0, "7F"},
        {"0x80", &kU2UTF8, "00 00 00 80", "", 0, "C2 80"},
        {"0xE9", &kU2UTF8, "00 00 00 E9", "", 0, "C3 A9"},
        {"0x7FF", &kU2UTF8, "00 00 07 FF", "", 0, "DF BF"},
        {"0x800", &kU2UTF8, "00 00 08 00", "", 0, "E0 A0 80"},
        {"0x20AC", &kU2UTF8, "00 00 20 AC", "", 0, "E2 82 AC"},
        {"0xFFFF", &kU2UTF8, "00 00 FF FF", "", 0, "EF BF BF"},
        {"0x10000", &kU2UTF8, "00 01 00 00", "", 0, "F0 90 80 80"},
        {"0x1F600", &kU2UTF8, "00 01 F6 00", "", 0, "F0 9F 98 80"},
        {"0x1FFFFF", &kU2UTF8, "00 1F FF FF", "", 0, "F7 BF BF BF"},
        {"0x200000 five octets", &kU2UTF8, "00 20 00 00", "", 0, "F8 88 80 80 80"},
        {"0x3FFFFFF five octets", &kU2UTF8, "03 FF FF FF", "", 0, "FB BF BF BF BF"},
        {"0x4000000 six octets", &kU2UTF8, "04 00 00 00", "", 0, "FC 84 80 80 80 80"},
        {"0x40000000 six octets", &kU2UTF8, "40 00 00 00", "", 0, "FD 80 80 80 80 80"},
        {"0x7FFFFFFF six octets", &kU2UTF8, "7F FF FF FF", "", 0, "FD BF BF BF BF BF"},
        {"several, appended", &kU2UTF8, "00 00 00 41 00 00 00 E9 00 00 20 AC", "58", 0, "58 41 C3 A9 E2 82 AC"},
    };
    check_cases(cases, std::size(cases));
}

TEST(U2UTF8, bit31_value_skipped_quirk) {
    const Case cases[] = {
        {"0x80000000 alone", &kU2UTF8, "80 00 00 00", "", 0, ""},
        {"0xFFFFFFFF alone", &kU2UTF8, "FF FF FF FF", "58", 0, "58"},
        {"between two letters", &kU2UTF8, "00 00 00 41 80 00 00 00 00 00 00 42", "", 0, "41 42"},
        {"0x80000041", &kU2UTF8, "80 00 00 41 00 00 00 43", "", 0, "43"},
    };
    check_cases(cases, std::size(cases));
}

TEST(U2UTF8, short_last_group_completed_with_filler) {
    // The view holds 00 00 41; the octet 42 lies just past it and must not be read.
    const Source src(hex("00 00 41 42"), 3);
    const Result r = run(kU2UTF8, src.view());
    EXPECT_EQ(0u, r.status);
    EXPECT_EQ(hex("E4 84 80"), r.out);  // 0x00004100
    // A set filler is what completes the group.
    qb_r_buffer_t v = src.view();
    v.filler = 0x43;
    const Result f = run(kU2UTF8, v);
    EXPECT_EQ(hex("E4 85 83"), f.out);  // 0x00004143
}

TEST(BMP2UTF8, one_to_three_octets) {
    const Case cases[] = {
        {"0x41", &kBMP2UTF8, "00 41", "", 0, "41"},
        {"0x7F", &kBMP2UTF8, "00 7F", "", 0, "7F"},
        {"0xE9", &kBMP2UTF8, "00 E9", "", 0, "C3 A9"},
        {"0x7FF", &kBMP2UTF8, "07 FF", "", 0, "DF BF"},
        {"0x800", &kBMP2UTF8, "08 00", "", 0, "E0 A0 80"},
        {"0x20AC", &kBMP2UTF8, "20 AC", "", 0, "E2 82 AC"},
        {"0xFFFF", &kBMP2UTF8, "FF FF", "", 0, "EF BF BF"},
        {"surrogates as they are", &kBMP2UTF8, "D8 3D DE 00", "", 0, "ED A0 BD ED B8 80"},
        {"appended", &kBMP2UTF8, "00 41 00 42", "58", 0, "58 41 42"},
    };
    check_cases(cases, std::size(cases));
}

TEST(BMP2UTF8, odd_last_octet_completed_with_filler) {
    const Source src(hex("00 41 20 AC"), 3);
    const Result r = run(kBMP2UTF8, src.view());
    EXPECT_EQ(0u, r.status);
    EXPECT_EQ(hex("41 E2 80 80"), r.out);  // 0x2000, not 0x20AC
}

TEST(IA52UTF8, latin1_code_points) {
    const Case cases[] = {
        {"ASCII", &kIA52UTF8, "41 00 7F", "", 0, "41 00 7F"},
        {"0x80", &kIA52UTF8, "80", "", 0, "C2 80"},
        {"0xE9", &kIA52UTF8, "E9", "", 0, "C3 A9"},
        {"0xFF", &kIA52UTF8, "FF", "", 0, "C3 BF"},
        {"appended", &kIA52UTF8, "41 E9", "58", 0, "58 41 C3 A9"},
    };
    check_cases(cases, std::size(cases));
}

// ---- from UTF-8 ----

TEST(UTF82U, edge_cases) {
    const Case cases[] = {
        {"0x80 alone fails", &kUTF82U, "80", "", kFailed, ""},
        {"0xBF alone fails", &kUTF82U, "BF", "", kFailed, ""},
        {"0xC3 alone: following octet is the filler", &kUTF82U, "C3", "", 0, "00 00 00 40"},
        {"overlong NUL", &kUTF82U, "C0 80", "", 0, "00 00 00 00"},
        {"0xFE fails", &kUTF82U, "FE", "", kFailed, ""},
        {"0xFF fails", &kUTF82U, "FF 41", "", kFailed, ""},
    };
    check_cases(cases, std::size(cases));
}

TEST(UTF82U, one_to_six_octets) {
    const Case cases[] = {
        {"mixed", &kUTF82U, "41 C3 A9 E2 82 AC F0 9F 98 80", "", 0,
         "00 00 00 41 00 00 00 E9 00 00 20 AC 00 01 F6 00"},
        {"0x7F", &kUTF82U, "7F", "", 0, "00 00 00 7F"},
        {"two octets, top", &kUTF82U, "DF BF", "", 0, "00 00 07 FF"},
        {"three octets, top", &kUTF82U, "EF BF BF", "", 0, "00 00 FF FF"},
        {"four octets, top", &kUTF82U, "F7 BF BF BF", "", 0, "00 1F FF FF"},
        {"five octets", &kUTF82U, "F8 88 80 80 80", "", 0, "00 20 00 00"},
        {"five octets, top", &kUTF82U, "FB BF BF BF BF", "", 0, "03 FF FF FF"},
        {"six octets", &kUTF82U, "FC 84 80 80 80 80", "", 0, "04 00 00 00"},
        {"six octets, top", &kUTF82U, "FD BF BF BF BF BF", "", 0, "7F FF FF FF"},
        {"six octets, lead FD gives bit 30", &kUTF82U, "FD 80 80 80 80 80", "", 0, "40 00 00 00"},
        {"six octets, lead FC gives 0", &kUTF82U, "FC 80 80 80 80 81", "", 0, "00 00 00 01"},
        {"appended", &kUTF82U, "41", "58", 0, "58 00 00 00 41"},
    };
    check_cases(cases, std::size(cases));
}

TEST(UTF82U, overlong_and_unchecked_following_octets_quirk) {
    const Case cases[] = {
        {"overlong 'A' in two octets", &kUTF82U, "C1 81", "", 0, "00 00 00 41"},
        {"overlong 'A' in three octets", &kUTF82U, "E0 81 81", "", 0, "00 00 00 41"},
        {"overlong 0 in six octets", &kUTF82U, "FC 80 80 80 80 80", "", 0, "00 00 00 00"},
        // (3 << 6) + (0x41 - 0x80) = 0x81
        {"ASCII as following octet", &kUTF82U, "C3 41", "", 0, "00 00 00 81"},
        // (2 << 6) + (0xFF - 0x80) = 0xFF
        {"0xFF as following octet", &kUTF82U, "C2 FF", "", 0, "00 00 00 FF"},
        // 0 + (0x00 - 0x80): the sum wraps modulo 2^32
        {"below 0x80 wraps", &kUTF82U, "C0 00", "", 0, "FF FF FF 80"},
    };
    check_cases(cases, std::size(cases));
}

TEST(UTF82U, failure_keeps_partial_output_quirk) {
    const Case cases[] = {
        {"bad lead after a letter", &kUTF82U, "41 80", "", kFailed, "00 00 00 41"},
        {"bad lead after two, prefilled", &kUTF82U, "41 C3 A9 FE 42", "58", kFailed,
         "58 00 00 00 41 00 00 00 E9"},
    };
    check_cases(cases, std::size(cases));
}

TEST(UTF82U, reads_past_end_yield_filler) {
    // View E2 82 of E2 82 AC: the third octet is the filler 0, so
    // (2 << 12) + (2 << 6) + (0 - 0x80) = 0x2000.
    const Source src(hex("E2 82 AC"), 2);
    const Result r = run(kUTF82U, src.view());
    EXPECT_EQ(0u, r.status);
    EXPECT_EQ(hex("00 00 20 00"), r.out);
    // A truncated four-octet form: one character only, built with two fillers.
    const Result t = run(kUTF82U, "F0 9F");
    EXPECT_EQ(0u, t.status);
    EXPECT_EQ(hex("00 01 CF 80"), t.out);  // 0x1F000 - 0x2000 - 0x80
    // A set filler completes the character.
    const Source c3(hex("C3"));
    qb_r_buffer_t v = c3.view();
    v.filler = 0xA9;
    const Result f = run(kUTF82U, v);
    EXPECT_EQ(0u, f.status);
    EXPECT_EQ(hex("00 00 00 E9"), f.out);
}

TEST(UTF82BMP, range_and_partial_output) {
    const Case cases[] = {
        {"euro", &kUTF82BMP, "E2 82 AC", "", 0, "20 AC"},
        {"mixed", &kUTF82BMP, "41 C3 A9 EF BF BF", "", 0, "00 41 00 E9 FF FF"},
        {"overlong NUL", &kUTF82BMP, "C0 80", "", 0, "00 00"},
        {"above 0xFFFF fails", &kUTF82BMP, "F0 9F 98 80", "", kFailed, ""},
        {"0x10000 fails", &kUTF82BMP, "F0 90 80 80", "", kFailed, ""},
        {"partial output kept", &kUTF82BMP, "41 F0 9F 98 80 42", "58", kFailed, "58 00 41"},
        {"bad lead, partial output kept", &kUTF82BMP, "41 80", "", kFailed, "00 41"},
        {"0xC3 alone", &kUTF82BMP, "C3", "", 0, "00 40"},
    };
    check_cases(cases, std::size(cases));
}

TEST(UTF82IA5, range_and_partial_output) {
    const Case cases[] = {
        {"e acute", &kUTF82IA5, "C3 A9", "", 0, "E9"},
        {"euro fails", &kUTF82IA5, "E2 82 AC", "", kFailed, ""},
        {"0xFF", &kUTF82IA5, "C3 BF", "", 0, "FF"},
        {"0x100 fails", &kUTF82IA5, "C4 80", "", kFailed, ""},
        {"ASCII", &kUTF82IA5, "48 69", "", 0, "48 69"},
        {"partial output kept", &kUTF82IA5, "41 C3 A9 E2 82 AC 42", "58", kFailed, "58 41 E9"},
        {"bad lead, partial output kept", &kUTF82IA5, "41 BF", "", kFailed, "41"},
        {"five-octet form of 'A'", &kUTF82IA5, "F8 80 80 81 81", "", 0, "41"},
    };
    check_cases(cases, std::size(cases));
}

// ---- narrowing ----

TEST(U2BMP, narrowing_and_restore) {
    const Case cases[] = {
        {"two characters", &kU2BMP, "00 00 00 41 00 00 20 AC", "", 0, "00 41 20 AC"},
        {"appended", &kU2BMP, "00 00 FF FF", "58", 0, "58 FF FF"},
        {"above 0xFFFF fails", &kU2BMP, "00 01 F6 00", "58 59", kFailed, "58 59"},
        {"partial output removed", &kU2BMP, "00 00 00 41 00 00 00 42 01 00 00 43", "58", kFailed, "58"},
        {"top octet set fails", &kU2BMP, "80 00 00 41", "", kFailed, ""},
    };
    check_cases(cases, std::size(cases));
}

TEST(U2IA5, narrowing_and_restore) {
    const Case cases[] = {
        {"edge case: 0x100 fails, destination as before", &kU2IA5, "00 00 00 41 00 00 01 00", "", kFailed, ""},
        {"edge case, prefilled", &kU2IA5, "00 00 00 41 00 00 01 00", "58 59", kFailed, "58 59"},
        {"Latin-1", &kU2IA5, "00 00 00 41 00 00 00 E9 00 00 00 FF", "", 0, "41 E9 FF"},
        {"appended", &kU2IA5, "00 00 00 41", "58", 0, "58 41"},
        {"second octet set fails", &kU2IA5, "00 01 00 41", "58", kFailed, "58"},
    };
    check_cases(cases, std::size(cases));
}

TEST(BMP2IA5, narrowing_and_restore) {
    const Case cases[] = {
        {"Latin-1", &kBMP2IA5, "00 41 00 E9", "", 0, "41 E9"},
        {"appended", &kBMP2IA5, "00 42", "58", 0, "58 42"},
        {"0x100 fails, partial output removed", &kBMP2IA5, "00 41 01 00", "58", kFailed, "58"},
        {"euro fails", &kBMP2IA5, "20 AC", "", kFailed, ""},
    };
    check_cases(cases, std::size(cases));
}

TEST(Narrowing, short_last_character_completed_with_filler) {
    // Octets just past each view are nonzero: reading them would change the result.
    {
        SCOPED_TRACE("U2BMP 00 00 41 | 42");
        const Source src(hex("00 00 41 42"), 3);
        const Result r = run(kU2BMP, src.view());
        EXPECT_EQ(0u, r.status);
        EXPECT_EQ(hex("41 00"), r.out);
    }
    {
        SCOPED_TRACE("U2IA5 00 00 00 | 41");
        const Source src(hex("00 00 00 41"), 3);
        const Result r = run(kU2IA5, src.view());
        EXPECT_EQ(0u, r.status);
        EXPECT_EQ(hex("00"), r.out);
    }
    {
        SCOPED_TRACE("U2IA5 00 00 41 | 00: 0x4100 fails");
        const Source src(hex("00 00 41 00"), 3);
        const Result r = run(kU2IA5, src.view(), "58");
        EXPECT_EQ(kFailed, r.status);
        EXPECT_EQ(hex("58"), r.out);
    }
    {
        SCOPED_TRACE("BMP2IA5 00 41 00 | 42");
        const Source src(hex("00 41 00 42"), 3);
        const Result r = run(kBMP2IA5, src.view());
        EXPECT_EQ(0u, r.status);
        EXPECT_EQ(hex("41 00"), r.out);
    }
    {
        SCOPED_TRACE("BMP2IA5 00 41 41: 0x4100 fails");
        const Result r = run(kBMP2IA5, "00 41 41", "58");
        EXPECT_EQ(kFailed, r.status);
        EXPECT_EQ(hex("58"), r.out);
    }
}

// ---- widening ----

TEST(Widening, never_fail) {
    const Case cases[] = {
        {"BMP2U", &kBMP2U, "00 41 20 AC FF FF", "", 0, "00 00 00 41 00 00 20 AC 00 00 FF FF"},
        {"BMP2U appended", &kBMP2U, "00 41", "58", 0, "58 00 00 00 41"},
        {"IA52BMP", &kIA52BMP, "41 E9 00 FF", "", 0, "00 41 00 E9 00 00 00 FF"},
        {"IA52BMP appended", &kIA52BMP, "41", "58", 0, "58 00 41"},
        {"IA52U", &kIA52U, "41 E9", "", 0, "00 00 00 41 00 00 00 E9"},
        {"IA52U appended", &kIA52U, "FF", "58", 0, "58 00 00 00 FF"},
    };
    check_cases(cases, std::size(cases));
}

TEST(BMP2U, odd_last_octet_completed_with_filler) {
    const Source src(hex("00 41 20 AC"), 3);
    const Result r = run(kBMP2U, src.view());
    EXPECT_EQ(0u, r.status);
    EXPECT_EQ(hex("00 00 00 41 00 00 20 00"), r.out);
}

// ---- T.61 ----

// Latin-1 octets that have no T.61 form.
bool t61_refuses(unsigned int o) {
    if (o <= 0x1F) return o != 0x08 && o != 0x0A && o != 0x0C && o != 0x0D && o != 0x1A;
    return (o >= 0x7F && o <= 0xA0) || o == 0xA6 || (o >= 0xA8 && o <= 0xAA) || (o >= 0xAC && o <= 0xAF) ||
           o == 0xB4 || o == 0xB8 || o == 0xB9;
}

// The T.61 form of each Latin-1 octet 0xA1-0xFF that has one.
struct T61Row {
    unsigned int latin1;
    const char* t61;
};
constexpr T61Row kHighHalf[] = {
    {0xA1, "A1"},    {0xA2, "A2"},    {0xA3, "A3"},    {0xA4, "A8"},    {0xA5, "A5"},    {0xA7, "A7"},
    {0xAB, "AB"},    {0xB0, "B0"},    {0xB1, "B1"},    {0xB2, "B2"},    {0xB3, "B3"},    {0xB5, "B5"},
    {0xB6, "B6"},    {0xB7, "B7"},    {0xBA, "EB"},    {0xBB, "BB"},    {0xBC, "BC"},    {0xBD, "BD"},
    {0xBE, "BE"},    {0xBF, "BF"},    {0xC0, "C1 41"}, {0xC1, "C2 41"}, {0xC2, "C3 41"}, {0xC3, "C4 41"},
    {0xC4, "C8 41"}, {0xC5, "CA 41"}, {0xC6, "E1"},    {0xC7, "CB 43"}, {0xC8, "C1 45"}, {0xC9, "C2 45"},
    {0xCA, "C3 45"}, {0xCB, "C8 45"}, {0xCC, "C1 49"}, {0xCD, "C2 49"}, {0xCE, "C3 49"}, {0xCF, "C8 49"},
    {0xD0, "E2"},    {0xD1, "C4 4E"}, {0xD2, "C1 4F"}, {0xD3, "C2 4F"}, {0xD4, "C3 4F"}, {0xD5, "C4 4F"},
    {0xD6, "C8 4F"}, {0xD7, "B4"},    {0xD8, "E9"},    {0xD9, "C1 55"}, {0xDA, "C2 55"}, {0xDB, "C3 55"},
    {0xDC, "C8 55"}, {0xDD, "C2 59"}, {0xDE, "EC"},    {0xDF, "FB"},    {0xE0, "C1 61"}, {0xE1, "C2 61"},
    {0xE2, "C3 61"}, {0xE3, "C4 61"}, {0xE4, "C8 61"}, {0xE5, "CA 61"}, {0xE6, "F1"},    {0xE7, "CB 63"},
    {0xE8, "C1 65"}, {0xE9, "C2 65"}, {0xEA, "C3 65"}, {0xEB, "C8 65"}, {0xEC, "C1 69"}, {0xED, "C2 69"},
    {0xEE, "C3 69"}, {0xEF, "C8 69"}, {0xF0, "F2"},    {0xF1, "C4 6E"}, {0xF2, "C1 6F"}, {0xF3, "C2 6F"},
    {0xF4, "C3 6F"}, {0xF5, "C4 6F"}, {0xF6, "C8 6F"}, {0xF7, "B8"},    {0xF8, "F9"},    {0xF9, "C1 75"},
    {0xFA, "C2 75"}, {0xFB, "C3 75"}, {0xFC, "C8 75"}, {0xFD, "C2 79"}, {0xFE, "FC"},    {0xFF, "C8 79"},
};

// The expected T.61 octets of a Latin-1 octet that has a form.
Bytes expected_t61(unsigned int o) {
    if (o == 0x23) return hex("A6");
    if (o == 0x24) return hex("A4");
    if (o < 0x80) return one(o);
    for (const T61Row& row : kHighHalf)
        if (row.latin1 == o) return hex(row.t61);
    ADD_FAILURE() << "no expected T.61 form for " << o;
    return {};
}

TEST(IA52T61, edge_cases) {
    const Case cases[] = {
        {"dollar sign and digit", &kIA52T61, "24 35", "", 0, "A4 35"},
        {"e acute", &kIA52T61, "E9", "", 0, "C2 65"},
        {"0x7F fails", &kIA52T61, "7F", "", kFailed, ""},
        {"number sign", &kIA52T61, "23", "", 0, "A6"},
        {"text unchanged", &kIA52T61, "48 65 6C 6C 6F 2C 20 3D 5F 7E", "", 0, "48 65 6C 6C 6F 2C 20 3D 5F 7E"},
        {"appended", &kIA52T61, "41 E9", "58", 0, "58 41 C2 65"},
        {"failure removes partial output", &kIA52T61, "41 C2 65 7F", "58 59", kFailed, "58 59"},
        {"0xA6 fails", &kIA52T61, "A6", "58", kFailed, "58"},
    };
    check_cases(cases, std::size(cases));
}

TEST(IA52T61, all_256_octets_refused_or_round_trip) {
    unsigned int refused = 0;
    for (unsigned int o = 0; o < 256; ++o) {
        SCOPED_TRACE(o);
        const Source src(one(o));
        const Result r = run(kIA52T61, src.view(), "58");
        if (t61_refuses(o)) {
            ++refused;
            EXPECT_EQ(kFailed, r.status);
            EXPECT_EQ(hex("58"), r.out);  // restored to its length at entry
            continue;
        }
        ASSERT_EQ(0u, r.status);
        Bytes t61 = expected_t61(o);
        Bytes want = hex("58");
        want.insert(want.end(), t61.begin(), t61.end());
        EXPECT_EQ(want, r.out);

        // Back through T612BMP: the Latin-1 code point U+00xx.
        const Source t61_src(t61);
        qb_buffer_t bmp(security_off);
        ASSERT_EQ(0u, T612BMP(t61_src.view(), bmp));
        EXPECT_EQ((Bytes{0x00, static_cast<unsigned char>(o)}), bytes_of(bmp));
        // ... then BMP2IA5 gives the octet back.
        qb_buffer_t ia5(security_off);
        EXPECT_EQ(0u, BMP2IA5(bmp, ia5));
        EXPECT_EQ(one(o), bytes_of(ia5));
        // T612IA5 does both at once.
        const Result back = run(kT612IA5, t61_src.view());
        EXPECT_EQ(0u, back.status);
        EXPECT_EQ(one(o), back.out);
    }
    EXPECT_EQ(72u, refused);
}

// The BMP character of a single T.61 octet (not a prefix), or -1 for none.
long expected_t61_single(unsigned int o) {
    if (o == 0x08 || o == 0x0A || o == 0x0C || o == 0x0D || o == 0x1A) return o;
    if (o == 0x24) return 0x00A4;
    if (o >= 0x20 && o <= 0x7E) return o;
    switch (o) {
        case 0xA1: case 0xA2: case 0xA3: case 0xA5: case 0xA7: case 0xAB:
        case 0xB0: case 0xB1: case 0xB2: case 0xB3: case 0xB5: case 0xB6: case 0xB7:
        case 0xBB: case 0xBC: case 0xBD: case 0xBE: case 0xBF:
            return o;
        case 0xA4: return 0x0024;
        case 0xA6: return 0x0023;
        case 0xA8: return 0x00A4;
        case 0xB4: return 0x00D7;
        case 0xB8: return 0x00F7;
        case 0xE0: return 0x2126;
        case 0xE1: return 0x00C6;
        case 0xE2: return 0x00D0;
        case 0xE3: return 0x00AA;
        case 0xE4: return 0x0126;
        case 0xE6: return 0x0132;
        case 0xE7: return 0x013F;
        case 0xE8: return 0x0141;
        case 0xE9: return 0x00D8;
        case 0xEA: return 0x0152;
        case 0xEB: return 0x00BA;
        case 0xEC: return 0x00DE;
        case 0xED: return 0x0166;
        case 0xEE: return 0x014A;
        case 0xEF: return 0x0149;
        case 0xF0: return 0x0138;
        case 0xF1: return 0x00E6;
        case 0xF2: return 0x00F0;
        case 0xF3: return 0x0111;
        case 0xF4: return 0x0127;
        case 0xF5: return 0x0131;
        case 0xF6: return 0x0133;
        case 0xF7: return 0x0140;
        case 0xF8: return 0x0142;
        case 0xF9: return 0x00F8;
        case 0xFA: return 0x0153;
        case 0xFB: return 0x00DF;
        case 0xFC: return 0x00FE;
        case 0xFD: return 0x0167;
        case 0xFE: return 0x014B;
        default: return -1;
    }
}

TEST(T612BMP, every_single_octet) {
    unsigned int mapped = 0;
    for (unsigned int o = 0; o < 256; ++o) {
        if (o >= 0xC1 && o <= 0xCF) continue;  // prefixes: see the composition tests
        SCOPED_TRACE(o);
        const Source src(one(o));
        const Result r = run(kT612BMP, src.view(), "58");
        const long want = expected_t61_single(o);
        if (want < 0) {
            EXPECT_EQ(kFailed, r.status);
            EXPECT_EQ(hex("58"), r.out);
        } else {
            ++mapped;
            EXPECT_EQ(0u, r.status);
            EXPECT_EQ((Bytes{0x58, static_cast<unsigned char>(want >> 8), static_cast<unsigned char>(want)}), r.out);
        }
    }
    EXPECT_EQ(153u, mapped);  // 5 controls, 95 printable, 33 inverse high octets, 20 further letters
}

TEST(T612BMP, compositions_for_every_diacritic) {
    const Case cases[] = {
        {"C1 grave A", &kT612BMP, "C1 41", "", 0, "00 C0"},
        {"C2 acute e", &kT612BMP, "C2 65", "", 0, "00 E9"},
        {"C2 acute C", &kT612BMP, "C2 43", "", 0, "01 06"},
        {"C3 circumflex G", &kT612BMP, "C3 47", "", 0, "01 1C"},
        {"C3 circumflex a", &kT612BMP, "C3 61", "", 0, "00 E2"},
        {"C4 tilde I", &kT612BMP, "C4 49", "", 0, "01 28"},
        {"C4 tilde n", &kT612BMP, "C4 6E", "", 0, "00 F1"},
        {"C5 macron A", &kT612BMP, "C5 41", "", 0, "01 00"},
        {"C5 macron a", &kT612BMP, "C5 61", "", 0, "01 01"},
        {"C6 breve A", &kT612BMP, "C6 41", "", 0, "01 02"},
        {"C6 breve a", &kT612BMP, "C6 61", "", 0, "01 03"},
        {"C7 dot above Z", &kT612BMP, "C7 5A", "", 0, "01 7B"},
        {"C7 dot above C", &kT612BMP, "C7 43", "", 0, "01 0A"},
        {"C7 dot above I", &kT612BMP, "C7 49", "", 0, "01 30"},
        {"C8 diaeresis u", &kT612BMP, "C8 75", "", 0, "00 FC"},
        {"C8 diaeresis Y", &kT612BMP, "C8 59", "", 0, "01 78"},
        {"C9 diaeresis u", &kT612BMP, "C9 75", "", 0, "00 FC"},
        {"C9 diaeresis y", &kT612BMP, "C9 79", "", 0, "00 FF"},
        {"CA ring A", &kT612BMP, "CA 41", "", 0, "00 C5"},
        {"CA ring U", &kT612BMP, "CA 55", "", 0, "01 6E"},
        {"CA ring w", &kT612BMP, "CA 77", "", 0, "1E 98"},
        {"CB cedilla c", &kT612BMP, "CB 63", "", 0, "00 E7"},
        {"CB cedilla S", &kT612BMP, "CB 53", "", 0, "01 5E"},
        {"CD double acute O", &kT612BMP, "CD 4F", "", 0, "01 50"},
        {"CD double acute u", &kT612BMP, "CD 75", "", 0, "01 71"},
        {"CE ogonek a", &kT612BMP, "CE 61", "", 0, "01 05"},
        {"CE ogonek E", &kT612BMP, "CE 45", "", 0, "01 18"},
        {"CF caron c", &kT612BMP, "CF 63", "", 0, "01 0D"},
        {"CF caron S", &kT612BMP, "CF 53", "", 0, "01 60"},
        {"CF caron Z", &kT612BMP, "CF 5A", "", 0, "01 7D"},
        {"CF caron j", &kT612BMP, "CF 6A", "", 0, "01 F0"},
        {"in text", &kT612BMP, "4C C2 65 41", "58", 0, "58 00 4C 00 E9 00 41"},
    };
    check_cases(cases, std::size(cases));
}

TEST(T612BMP, pairs_that_do_not_compose_fail) {
    const Case cases[] = {
        {"prefix before a digit", &kT612BMP, "C2 31", "58", kFailed, "58"},
        {"prefix before a space", &kT612BMP, "C2 20", "58", kFailed, "58"},
        {"prefix before a prefix", &kT612BMP, "C2 C2 65", "58", kFailed, "58"},
        {"grave Q", &kT612BMP, "C1 51", "58", kFailed, "58"},
        {"macron B", &kT612BMP, "C5 42", "58", kFailed, "58"},
        {"dot above i", &kT612BMP, "C7 69", "58", kFailed, "58"},
        {"after good text, output removed", &kT612BMP, "41 C2 65 C2 31", "58", kFailed, "58"},
        {"prefix at the end of input", &kT612BMP, "41 C2", "58", kFailed, "58"},
        {"prefix alone", &kT612BMP, "CF", "", kFailed, ""},
        {"unmapped octet after text", &kT612BMP, "41 FF", "58", kFailed, "58"},
    };
    check_cases(cases, std::size(cases));
}

TEST(T612BMP, prefix_CC_composes_with_no_letter) {
    for (unsigned int l = 0; l < 256; ++l) {
        SCOPED_TRACE(l);
        const Source src(Bytes{0xCC, static_cast<unsigned char>(l)});
        const Result r = run(kT612BMP, src.view(), "58");
        EXPECT_EQ(kFailed, r.status);
        EXPECT_EQ(hex("58"), r.out);
    }
}

TEST(T612BMP, prefixes_C8_and_C9_are_both_diaeresis) {
    for (unsigned int l = 0; l < 256; ++l) {
        SCOPED_TRACE(l);
        const Source c8(Bytes{0xC8, static_cast<unsigned char>(l)});
        const Source c9(Bytes{0xC9, static_cast<unsigned char>(l)});
        const Result a = run(kT612BMP, c8.view());
        const Result b = run(kT612BMP, c9.view());
        EXPECT_EQ(a.status, b.status);
        EXPECT_EQ(a.out, b.out);
    }
    EXPECT_EQ(hex("00 C4"), run(kT612BMP, "C9 41").out);
}

TEST(T612BMP, only_letters_follow_a_prefix) {
    // Whatever follows a prefix, only a letter A-Z or a-z can compose.
    for (unsigned int p = 0xC1; p <= 0xCF; ++p) {
        for (unsigned int l = 0; l < 256; ++l) {
            const bool letter = (l >= 0x41 && l <= 0x5A) || (l >= 0x61 && l <= 0x7A);
            if (letter) continue;
            SCOPED_TRACE(p * 256 + l);
            const Source src(Bytes{static_cast<unsigned char>(p), static_cast<unsigned char>(l)});
            EXPECT_EQ(kFailed, run(kT612BMP, src.view()).status);
        }
    }
}

TEST(T612BMP, prefix_at_end_reads_filler) {
    // The view ends after C2; the 65 behind it must not be read.
    const Source src(hex("C2 65"), 1);
    const Result r = run(kT612BMP, src.view(), "58");
    EXPECT_EQ(kFailed, r.status);
    EXPECT_EQ(hex("58"), r.out);
    // With a letter as the filler, the letter completes the pair.
    qb_r_buffer_t v = src.view();
    v.filler = 0x65;
    const Result f = run(kT612BMP, v);
    EXPECT_EQ(0u, f.status);
    EXPECT_EQ(hex("00 E9"), f.out);
}

TEST(T612IA5, through_bmp) {
    const Case cases[] = {
        {"e acute and A", &kT612IA5, "C2 65 41", "", 0, "E9 41"},
        {"currency sign", &kT612IA5, "24", "", 0, "A4"},
        {"appended", &kT612IA5, "A6 A4", "58", 0, "58 23 24"},
        {"ohm sign does not fit IA5", &kT612IA5, "41 E0", "58", kFailed, "58"},
        {"A macron does not fit IA5", &kT612IA5, "C5 41", "58", kFailed, "58"},
        {"T.61 failure", &kT612IA5, "41 C2 31", "58", kFailed, "58"},
        {"unmapped octet", &kT612IA5, "FF", "", kFailed, ""},
        {"ordinal indicator", &kT612IA5, "E3", "", 0, "AA"},
    };
    check_cases(cases, std::size(cases));
}

// ---- destination safety ----

TEST(Converters, source_inside_destination_is_read_before_growth) {
    // The destination is full (128 of 128 octets), so converting it into
    // itself must grow, and reallocate, the block the source lies in.
    qb_buffer_t out(security_off);
    for (int i = 0; i < 128; ++i) out.append(static_cast<unsigned char>(0xE9));
    ASSERT_EQ(out.capacity, out.length());
    const qb_r_buffer_t self = out;  // a view of its own octets
    EXPECT_EQ(0u, IA52UTF8(self, out));
    ASSERT_EQ(128u + 256u, out.length());
    for (unsigned int i = 0; i < 128; ++i) EXPECT_EQ(0xE9, out.data[i]);
    for (unsigned int i = 128; i < out.length(); i += 2) {
        EXPECT_EQ(0xC3, out.data[i]);
        EXPECT_EQ(0xA9, out.data[i + 1]);
    }
}

TEST(Converters, copy_of_itself_keeps_content) {
    qb_buffer_t out(security_off);
    out.append(reinterpret_cast<const unsigned char*>("abc"), 3);
    EXPECT_EQ(0u, P2IA5(out, out));
    EXPECT_EQ(hex("61 62 63"), bytes_of(out));
    EXPECT_EQ(0u, IA52P(out, out));
    EXPECT_EQ(hex("61 62 63"), bytes_of(out));
}

TEST(Converters, wiping_destination_zeroes_removed_output) {
    qb_buffer_t out(security_on);
    out.append(static_cast<unsigned char>(0x58));
    const Source src("41 42 43 7F");
    EXPECT_EQ(kFailed, IA52T61(src.view(), out));
    ASSERT_EQ(1u, out.length());
    EXPECT_EQ(0x58, out.data[0]);
    EXPECT_EQ(0, out.data[1]);
    EXPECT_EQ(0, out.data[2]);
    EXPECT_EQ(0, out.data[3]);
}

// Allocation hooks whose realloc fails while g_fail_realloc is set.
bool g_fail_realloc = false;
void* test_malloc(size_t n) { return std::malloc(n); }
void test_free(void* p) { std::free(p); }
void* test_realloc(void* p, size_t n) { return g_fail_realloc ? nullptr : std::realloc(p, n); }
void* test_calloc(size_t c, size_t n) { return std::calloc(c, n); }

qb_memory_funcs_t failing_hooks() {
    return qb_test::with_plain_hooks(test_malloc, test_free, test_realloc, test_calloc);
}

TEST(Converters, out_of_memory_restores_where_failure_restores) {
    const Bytes text(200, 0x41);
    const Source src(text);
    qb_buffer_t out(failing_hooks());
    out.append(static_cast<unsigned char>(0x58));  // capacity 128
    g_fail_realloc = true;
    unsigned int code = 0;
    try {
        (void)IA52T61(src.view(), out);
    } catch (const qb_asn_memexception& e) {
        code = e.code;
    }
    g_fail_realloc = false;
    EXPECT_EQ(0x10652065u, code);
    EXPECT_EQ(hex("58"), bytes_of(out));
}

}  // namespace
