// tests/base_idls/pobj_asn_test.cpp - protected objects, protected-object
// spaces and the internal form of a protected object: wire bytes, round trips
// in the plain and local-code-set forms, null texts, empty lists, the nested
// record, the 16-character type name, and allocation failures during encoding
// and decoding.
//
// This executable replaces malloc for the whole process (support/
// failing_malloc.h) so that the sweeps at the end can fail a chosen
// allocation; everything else runs with every allocation granted.

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <new>
#include <string>
#include <vector>

#include "asn1/asn1.h"
#include "asn1/asnbase.h"
#include "base_idls/pobj_asn.h"
#include "support/failing_malloc.h"
#include "support/hex.h"

#if defined(__SANITIZE_ADDRESS__)
#define QB_POBJ_LSAN 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define QB_POBJ_LSAN 1
#endif
#endif

#if defined(QB_POBJ_LSAN)
#include <sanitizer/lsan_interface.h>
#endif

// ---- operator new through malloc ----
// Record elements are created with new (std::nothrow); routing new through
// malloc lets the sweeps fail those allocations too, in every build.

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

namespace {

using bytes_t = std::vector<unsigned char>;

// ---- helpers ----

// encode: the bytes of qbAsnEncodeObj (or the LCS form); the buffer is freed.
template <class Flat>
bytes_t encode(Flat& r, bool lcs = false) {
    qb_asn_buffer_t out{0, nullptr};
    const unsigned int rc = lcs ? qbAsnEncodeObjLCS(out, r) : qbAsnEncodeObj(out, r);
    EXPECT_EQ(rc, 0x00000000U);
    bytes_t b;
    if (out.data != nullptr) b.assign(out.data, out.data + out.length);
    qb_asn_buffer_free(out);
    return b;
}

// decode: qbAsnDecodeObj (or the LCS form) of `b` into the zeroed record `r`.
template <class Flat>
unsigned int decode(const bytes_t& b, Flat& r, bool lcs = false) {
    std::memset(&r, 0, sizeof r);
    bytes_t copy = b;
    qb_asn_buffer_t in{static_cast<unsigned int>(copy.size()), copy.data()};
    return lcs ? qbAsnDecodeObjLCS(in, r) : qbAsnDecodeObj(in, r);
}

// dump_names: the type name at the start of each line of display_state_flags,
// with its indentation kept ("  INTEGER").
std::vector<std::string> dump_names(const qb_asn_object& o) {
    qb_buffer_t b(security_off);
    o.display_state_flags(b, 0);
    const std::string text(reinterpret_cast<const char*>(b.data), b.length());
    std::vector<std::string> names;
    size_t start = 0;
    while (start < text.size()) {
        size_t end = text.find('\n', start);
        if (end == std::string::npos) end = text.size();
        const std::string line = text.substr(start, end - start);
        names.push_back(line.substr(0, line.find('(')));
        start = end + 1;
    }
    return names;
}

// A buffer that is not an envelope of version 2 never reaches get_value.
constexpr int kSentinel = 0x5A5A5A5A;

// ---- leak check per test ----

// In the sanitizer build every test ends with a leak check, so a leak is
// charged to the test that made it (after the first finding the check stops;
// the check at exit still reports everything).
class LeakChecked : public ::testing::Test {
protected:
    void TearDown() override {
#if defined(QB_POBJ_LSAN)
        static bool leaked_before = false;
        if (leaked_before) return;
        leaked_before = __lsan_do_recoverable_leak_check() != 0;
        EXPECT_FALSE(leaked_before) << "blocks leaked in this test (report above)";
#endif
    }
};

class AsnPobj : public LeakChecked {};
class AsnPobjspace : public LeakChecked {};
class AsnAznInternalPobj : public LeakChecked {};
class PobjOutOfMemory : public LeakChecked {};

// ---- asn_pobj_t ----

// integers 7 and -7, name "po", an attribute list with one attribute "z"
// holding the value (1, "w", FF).
constexpr const char* kPobj =
    "04 02 AC DC"
    " 30 20"
    "   02 01 07 02 01 F9"
    "   0C 02 70 6F"
    "   30 14 30 12 30 10 0C 01 7A 30 0B 30 09 02 01 01 0C 01 77 04 01 FF";

struct pobj_fixture {
    char name[3] = "po", z[2] = "z", w[2] = "w";
    unsigned char ff[1] = {0xFF};
    value_s_t values[1] = {{1, w, 1, ff}};
    attr_s_t attrs[1] = {{z, 1, values}};
    pobj_s_t rec{7, -7, name, {1, attrs}};
};

void expect_pobj_fields(const pobj_s_t& r) {
    EXPECT_EQ(r.number1, 7);
    EXPECT_EQ(r.number2, -7);
    EXPECT_STREQ(r.name, "po");
    ASSERT_EQ(r.attrs.count, 1U);
    ASSERT_NE(r.attrs.attrs, nullptr);
    EXPECT_STREQ(r.attrs.attrs[0].name, "z");
    ASSERT_EQ(r.attrs.attrs[0].count, 1U);
    const value_s_t& v = r.attrs.attrs[0].values[0];
    EXPECT_EQ(v.number, 1);
    EXPECT_STREQ(v.text, "w");
    ASSERT_EQ(v.length, 1U);
    EXPECT_EQ(v.bytes[0], 0xFF);
}

TEST_F(AsnPobj, encodes_integers_name_and_attributes) {
    pobj_fixture f;
    EXPECT_EQ(encode(f.rec), hex(kPobj));
}

TEST_F(AsnPobj, decodes_integers_name_and_attributes) {
    pobj_s_t r;
    ASSERT_EQ(decode(hex(kPobj), r), 0x00000000U);
    expect_pobj_fields(r);
    qbAsnFreeObj(r);
}

TEST_F(AsnPobj, lcs_form_gives_the_same_bytes_and_fields) {
    pobj_fixture f;
    EXPECT_EQ(encode(f.rec, true), hex(kPobj));
    pobj_s_t r;
    ASSERT_EQ(decode(hex(kPobj), r, true), 0x00000000U);
    expect_pobj_fields(r);
    qbAsnFreeObj(r);
}

TEST_F(AsnPobj, decoded_record_encodes_to_the_same_bytes) {
    pobj_s_t r;
    ASSERT_EQ(decode(hex(kPobj), r), 0x00000000U);
    EXPECT_EQ(encode(r), hex(kPobj));
    qbAsnFreeObj(r);
}

TEST_F(AsnPobj, null_name_and_empty_attribute_list) {
    pobj_s_t r{0, 0, nullptr, {0, nullptr}};
    const bytes_t expected = hex("04 02 AC DC 30 0C 02 01 00 02 01 00 0C 00 30 02 30 00");
    EXPECT_EQ(encode(r), expected);
    pobj_s_t d;
    ASSERT_EQ(decode(expected, d), 0x00000000U);
    EXPECT_EQ(d.number1, 0);
    EXPECT_EQ(d.number2, 0);
    ASSERT_NE(d.name, nullptr);  // an allocated empty name
    EXPECT_STREQ(d.name, "");
    EXPECT_EQ(d.attrs.count, 0U);
    EXPECT_EQ(d.attrs.attrs, nullptr);
    qbAsnFreeObj(d);
}

TEST_F(AsnPobj, no_envelope_or_other_version_is_refused_before_get_value) {
    pobj_s_t r{kSentinel, 0, nullptr, {0, nullptr}};
    bytes_t b = hex(kPobj);
    b[2] = 0xAD;  // not the envelope's AC DC signature
    qb_asn_buffer_t in{static_cast<unsigned int>(b.size()), b.data()};
    EXPECT_EQ(qbAsnDecodeObj(in, r), 0x10652196U);
    b = hex(kPobj);
    b[1] = 0x03;
    in = {static_cast<unsigned int>(b.size()), b.data()};
    EXPECT_EQ(qbAsnDecodeObj(in, r), 0x10652196U);
    EXPECT_EQ(r.number1, kSentinel);
    EXPECT_EQ(r.name, nullptr);
}

TEST_F(AsnPobj, type_names) {
    asn_pobj_t rec(security_off);
    EXPECT_STREQ(rec.get_type_name(), "pobj_t");
    const std::vector<std::string> expected = {"pobj_t", "  INTEGER", "  INTEGER", "  qbUTF8string", "  attrlist_t",
                                               "    SEQUENCEOF"};
    EXPECT_EQ(dump_names(rec), expected);
    EXPECT_STREQ(asn_pobj_t::reflect().name, "pobj_t");
    EXPECT_STREQ(asn_pobj_t::reflect().flat_name, "pobj_s_t");
}

TEST_F(AsnPobj, reflection_lists_the_fields_in_wire_order) {
    const qb_record_info& info = asn_pobj_t::reflect();
    EXPECT_EQ(info.flat_size, sizeof(pobj_s_t));
    ASSERT_EQ(info.field_count, 4U);
    EXPECT_EQ(info.fields[0].kind, qb_field_int);
    EXPECT_EQ(info.fields[0].offset, offsetof(pobj_s_t, number1));
    EXPECT_EQ(info.fields[1].kind, qb_field_int);
    EXPECT_EQ(info.fields[1].offset, offsetof(pobj_s_t, number2));
    EXPECT_EQ(info.fields[2].kind, qb_field_text);
    EXPECT_STREQ(info.fields[2].name, "name");
    EXPECT_EQ(info.fields[3].kind, qb_field_record);
    EXPECT_EQ(info.fields[3].offset, offsetof(pobj_s_t, attrs));
    ASSERT_NE(info.fields[3].element, nullptr);
    EXPECT_EQ(info.fields[3].element(), &asn_attrlist_t::reflect());
}

// ---- asn_pobjspace_t ----

// names "/a" and "/b/c", empty attribute list.
constexpr const char* kSpace =
    "04 02 AC DC"
    " 30 10"
    "   30 0A 0C 02 2F 61 0C 04 2F 62 2F 63"
    "   30 02 30 00";

TEST_F(AsnPobjspace, encodes_names_then_attributes) {
    char a[] = "/a", bc[] = "/b/c";
    char* names[] = {a, bc};
    pobjspace_s_t r{2, names, {0, nullptr}};
    EXPECT_EQ(encode(r), hex(kSpace));
    EXPECT_EQ(encode(r, true), hex(kSpace));
}

TEST_F(AsnPobjspace, decodes_names_then_attributes) {
    for (bool lcs : {false, true}) {
        SCOPED_TRACE(lcs ? "LCS form" : "plain form");
        pobjspace_s_t r;
        ASSERT_EQ(decode(hex(kSpace), r, lcs), 0x00000000U);
        ASSERT_EQ(r.count, 2U);
        ASSERT_NE(r.names, nullptr);
        EXPECT_STREQ(r.names[0], "/a");
        EXPECT_STREQ(r.names[1], "/b/c");
        EXPECT_EQ(r.attrs.count, 0U);
        EXPECT_EQ(r.attrs.attrs, nullptr);
        EXPECT_EQ(encode(r), hex(kSpace));
        qbAsnFreeObj(r);
    }
}

TEST_F(AsnPobjspace, count_zero_decodes_to_count_zero_and_null_array) {
    pobjspace_s_t r{0, nullptr, {0, nullptr}};
    const bytes_t expected = hex("04 02 AC DC 30 06 30 00 30 02 30 00");
    EXPECT_EQ(encode(r), expected);
    pobjspace_s_t d;
    ASSERT_EQ(decode(expected, d), 0x00000000U);
    EXPECT_EQ(d.count, 0U);
    EXPECT_EQ(d.names, nullptr);
    EXPECT_EQ(d.attrs.count, 0U);
    EXPECT_EQ(d.attrs.attrs, nullptr);
    qbAsnFreeObj(d);
}

TEST_F(AsnPobjspace, null_name_travels_as_an_empty_text) {
    char* names[] = {nullptr};
    pobjspace_s_t r{1, names, {0, nullptr}};
    const bytes_t expected = hex("04 02 AC DC 30 08 30 02 0C 00 30 02 30 00");
    EXPECT_EQ(encode(r), expected);
    pobjspace_s_t d;
    ASSERT_EQ(decode(expected, d), 0x00000000U);
    ASSERT_EQ(d.count, 1U);
    ASSERT_NE(d.names[0], nullptr);
    EXPECT_STREQ(d.names[0], "");
    qbAsnFreeObj(d);
}

TEST_F(AsnPobjspace, indefinite_length_list_is_read) {
    // The names list with an indefinite length (30 80 ... 00 00).
    const bytes_t b = hex("04 02 AC DC 30 0C 30 80 0C 02 2F 61 00 00 30 02 30 00");
    pobjspace_s_t d;
    ASSERT_EQ(decode(b, d), 0x00000000U);
    ASSERT_EQ(d.count, 1U);
    EXPECT_STREQ(d.names[0], "/a");
    qbAsnFreeObj(d);
}

TEST_F(AsnPobjspace, type_names) {
    asn_pobjspace_t rec(security_off);
    EXPECT_STREQ(rec.get_type_name(), "pobjspace_t");
    const std::vector<std::string> expected = {"pobjspace_t", "  SEQUENCEOF", "  attrlist_t", "    SEQUENCEOF"};
    EXPECT_EQ(dump_names(rec), expected);
    EXPECT_STREQ(asn_pobjspace_t::reflect().name, "pobjspace_t");
    EXPECT_STREQ(asn_pobjspace_t::reflect().flat_name, "pobjspace_s_t");
}

TEST_F(AsnPobjspace, reflection_lists_the_fields_in_wire_order) {
    const qb_record_info& info = asn_pobjspace_t::reflect();
    EXPECT_EQ(info.flat_size, sizeof(pobjspace_s_t));
    ASSERT_EQ(info.field_count, 2U);
    EXPECT_EQ(info.fields[0].kind, qb_field_text_list);
    EXPECT_STREQ(info.fields[0].name, "names");
    EXPECT_EQ(info.fields[0].offset, offsetof(pobjspace_s_t, count));
    EXPECT_EQ(info.fields[0].offset2, offsetof(pobjspace_s_t, names));
    EXPECT_EQ(info.fields[1].kind, qb_field_record);
    EXPECT_EQ(info.fields[1].offset, offsetof(pobjspace_s_t, attrs));
}

// ---- asn_azn_internal_pobj_t ----

// The protected object of kPobj as its own SEQUENCE, then the text "ext".
constexpr const char* kInternal =
    "04 02 AC DC"
    " 30 27"
    "   30 20"
    "     02 01 07 02 01 F9"
    "     0C 02 70 6F"
    "     30 14 30 12 30 10 0C 01 7A 30 0B 30 09 02 01 01 0C 01 77 04 01 FF"
    "   0C 03 65 78 74";

struct internal_fixture {
    pobj_fixture p;
    char ext[4] = "ext";
    azn_internal_pobj_s_t rec{p.rec, ext};
};

TEST_F(AsnAznInternalPobj, encodes_nested_pobj_then_text) {
    internal_fixture f;
    EXPECT_EQ(encode(f.rec), hex(kInternal));
    EXPECT_EQ(encode(f.rec, true), hex(kInternal));
}

TEST_F(AsnAznInternalPobj, decodes_nested_pobj_then_text) {
    for (bool lcs : {false, true}) {
        SCOPED_TRACE(lcs ? "LCS form" : "plain form");
        azn_internal_pobj_s_t r;
        ASSERT_EQ(decode(hex(kInternal), r, lcs), 0x00000000U);
        expect_pobj_fields(r.pobj);
        EXPECT_STREQ(r.text, "ext");
        EXPECT_EQ(encode(r), hex(kInternal));
        qbAsnFreeObj(r);
    }
}

TEST_F(AsnAznInternalPobj, first_words_equal_the_nested_part_decoded_alone) {
    azn_internal_pobj_s_t whole;
    ASSERT_EQ(decode(hex(kInternal), whole), 0x00000000U);
    pobj_s_t alone;
    ASSERT_EQ(decode(hex(kPobj), alone), 0x00000000U);

    // The record begins with its pobj_s_t: a pointer to it serves as one.
    EXPECT_EQ(offsetof(azn_internal_pobj_s_t, pobj), 0U);
    const pobj_s_t& head = *reinterpret_cast<const pobj_s_t*>(&whole);
    EXPECT_EQ(head.number1, alone.number1);
    EXPECT_EQ(head.number2, alone.number2);
    EXPECT_STREQ(head.name, alone.name);
    ASSERT_EQ(head.attrs.count, alone.attrs.count);
    for (unsigned int i = 0; i < alone.attrs.count; ++i) {
        const attr_s_t& x = head.attrs.attrs[i];
        const attr_s_t& y = alone.attrs.attrs[i];
        EXPECT_STREQ(x.name, y.name);
        ASSERT_EQ(x.count, y.count);
        for (unsigned int k = 0; k < y.count; ++k) {
            EXPECT_EQ(x.values[k].number, y.values[k].number);
            EXPECT_STREQ(x.values[k].text, y.values[k].text);
            ASSERT_EQ(x.values[k].length, y.values[k].length);
            EXPECT_EQ(std::memcmp(x.values[k].bytes, y.values[k].bytes, y.values[k].length), 0);
        }
    }
    qbAsnFreeObj(alone);
    qbAsnFreeObj(whole);
}

TEST_F(AsnAznInternalPobj, null_texts_and_empty_attribute_list) {
    azn_internal_pobj_s_t r{{0, 0, nullptr, {0, nullptr}}, nullptr};
    const bytes_t expected = hex("04 02 AC DC 30 10 30 0C 02 01 00 02 01 00 0C 00 30 02 30 00 0C 00");
    EXPECT_EQ(encode(r), expected);
    azn_internal_pobj_s_t d;
    ASSERT_EQ(decode(expected, d), 0x00000000U);
    ASSERT_NE(d.pobj.name, nullptr);
    EXPECT_STREQ(d.pobj.name, "");
    EXPECT_EQ(d.pobj.attrs.count, 0U);
    EXPECT_EQ(d.pobj.attrs.attrs, nullptr);
    ASSERT_NE(d.text, nullptr);
    EXPECT_STREQ(d.text, "");
    qbAsnFreeObj(d);
}

TEST_F(AsnAznInternalPobj, pobj_members_without_their_own_sequence_are_refused) {
    // The pobj_t members written straight into the outer SEQUENCE: the
    // nested SEQUENCE finds an INTEGER identifier (0x106521A4).
    const bytes_t b = hex("04 02 AC DC 30 0E 02 01 00 02 01 00 0C 00 30 02 30 00 0C 00");
    azn_internal_pobj_s_t d;
    EXPECT_EQ(decode(b, d), 0x106521A4U);
    qbAsnFreeObj(d);
}

TEST_F(AsnAznInternalPobj, type_name_is_cut_to_16_characters) {
    asn_azn_internal_pobj_t rec(security_off);
    EXPECT_STREQ(rec.get_type_name(), "azn_internal_pob");
    const std::vector<std::string> expected = {
        "azn_internal_pob", "  pobj_t",       "    INTEGER",       "    INTEGER",
        "    qbUTF8string", "    attrlist_t", "      SEQUENCEOF", "  qbUTF8string"};
    EXPECT_EQ(dump_names(rec), expected);
    EXPECT_STREQ(asn_azn_internal_pobj_t::reflect().name, "azn_internal_pobj_t");
    EXPECT_STREQ(asn_azn_internal_pobj_t::reflect().flat_name, "azn_internal_pobj_s_t");
}

TEST_F(AsnAznInternalPobj, reflection_lists_the_fields_in_wire_order) {
    const qb_record_info& info = asn_azn_internal_pobj_t::reflect();
    EXPECT_EQ(info.flat_size, sizeof(azn_internal_pobj_s_t));
    ASSERT_EQ(info.field_count, 2U);
    EXPECT_EQ(info.fields[0].kind, qb_field_record);
    EXPECT_EQ(info.fields[0].offset, 0U);
    ASSERT_NE(info.fields[0].element, nullptr);
    EXPECT_EQ(info.fields[0].element(), &asn_pobj_t::reflect());
    EXPECT_EQ(info.fields[1].kind, qb_field_text);
    EXPECT_EQ(info.fields[1].offset, offsetof(azn_internal_pobj_s_t, text));
}

// ---- allocation failures ----

// A sweep that has not completed after this many failing runs is broken.
constexpr long kSweepLimit = 2000;

// sweep_encode: encodes `r` with the 1st, 2nd, ... allocation failed until
// the encoding completes. Each run that takes the failure reports 0x10652065
// on standard error and as its status and hands out no buffer; the run that
// completes gives `expected`. True when some failure named `file`.
template <class Flat>
bool sweep_encode(Flat& r, const bytes_t& expected, const char* file) {
    const std::string where = std::string(" in ") + file + " at line ";
    bool file_seen = false;
    long n = 0;
    for (; n < kSweepLimit; ++n) {
        SCOPED_TRACE(::testing::Message() << "allocation #" << n + 1 << " failed");
        qb_asn_buffer_t out{0, nullptr};
        unsigned int rc;
        bool injected;
        ::testing::internal::CaptureStderr();
        {
            qb_test::fail_after guard(n);
            rc = qbAsnEncodeObj(out, r);
            injected = !qb_test::fail_after::armed();
        }
        const std::string err = ::testing::internal::GetCapturedStderr();
        if (!injected) {
            EXPECT_EQ(rc, 0x00000000U);
            EXPECT_EQ(out.data != nullptr ? bytes_t(out.data, out.data + out.length) : bytes_t{}, expected);
            qb_asn_buffer_free(out);
            break;
        }
        EXPECT_EQ(rc, 0x10652065U);
        EXPECT_EQ(out.data, nullptr);
        EXPECT_NE(err.find("Exception: "), std::string::npos) << err;
        EXPECT_NE(err.find(" [10652065] in "), std::string::npos) << err;
        if (err.find(where) != std::string::npos) file_seen = true;
        qb_asn_buffer_free(out);
    }
    EXPECT_GT(n, 0);
    EXPECT_LT(n, kSweepLimit);
    return file_seen;
}

// sweep_decode: decodes `b` with the 1st, 2nd, ... allocation failed until
// the decoding completes. Each run that takes the failure reports 0x10652065,
// and its partly filled record is freed (the leak check of the test covers
// it); the run that completes is handed to `check`. True when some failure
// named `file`.
template <class Flat, class Check>
bool sweep_decode(const bytes_t& b, const char* file, Check check) {
    const std::string where = std::string(" in ") + file + " at line ";
    bool file_seen = false;
    long n = 0;
    for (; n < kSweepLimit; ++n) {
        SCOPED_TRACE(::testing::Message() << "allocation #" << n + 1 << " failed");
        Flat r;
        std::memset(&r, 0, sizeof r);
        bytes_t copy = b;
        qb_asn_buffer_t in{static_cast<unsigned int>(copy.size()), copy.data()};
        unsigned int rc;
        bool injected;
        ::testing::internal::CaptureStderr();
        {
            qb_test::fail_after guard(n);
            rc = qbAsnDecodeObj(in, r);
            injected = !qb_test::fail_after::armed();
        }
        const std::string err = ::testing::internal::GetCapturedStderr();
        if (!injected) {
            EXPECT_EQ(rc, 0x00000000U);
            check(r);
            qbAsnFreeObj(r);
            break;
        }
        EXPECT_EQ(rc, 0x10652065U);
        EXPECT_NE(err.find(" [10652065] in "), std::string::npos) << err;
        if (err.find(where) != std::string::npos) file_seen = true;
        qbAsnFreeObj(r);
    }
    EXPECT_GT(n, 0);
    EXPECT_LT(n, kSweepLimit);
    return file_seen;
}

// Element creation in set_value (the names) names this group.
TEST_F(PobjOutOfMemory, encode_space_reports_memory_status) {
    char a[] = "/a", bc[] = "/b/c";
    char* names[] = {a, bc};
    pobjspace_s_t r{2, names, {0, nullptr}};
    EXPECT_TRUE(sweep_encode(r, hex(kSpace), "base_idls/pobj_asn"));
}

// Records without a list of their own fail only in the runtime and in the
// attribute list; each failure still reports 0x10652065 and leaks nothing.
TEST_F(PobjOutOfMemory, encode_pobj_and_internal_form_report_memory_status) {
    internal_fixture f;
    sweep_encode(f.p.rec, hex(kPobj), "base_idls/pobj_asn");
    sweep_encode(f.rec, hex(kInternal), "base_idls/pobj_asn");
}

// The flat name array of get_value names this group; a partly filled record is freeable.
TEST_F(PobjOutOfMemory, decode_space_reports_memory_status_and_stays_freeable) {
    EXPECT_TRUE(sweep_decode<pobjspace_s_t>(hex(kSpace), "base_idls/pobj_asn", [](const pobjspace_s_t& r) {
        ASSERT_EQ(r.count, 2U);
        EXPECT_STREQ(r.names[1], "/b/c");
    }));
}

// A text that cannot be allocated is reported by this group ("ASN: Out of memory").
TEST_F(PobjOutOfMemory, decode_internal_form_reports_memory_status_and_stays_freeable) {
    EXPECT_TRUE(sweep_decode<azn_internal_pobj_s_t>(hex(kInternal), "base_idls/pobj_asn",
                                                    [](const azn_internal_pobj_s_t& r) {
                                                        expect_pobj_fields(r.pobj);
                                                        EXPECT_STREQ(r.text, "ext");
                                                    }));
}

}  // namespace
