// tests/asn1/asnutils_test.cpp - the text and byte helpers and the record
// member types qbasn_integer and qbasn_octetstring.
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "asn1/asnbase.h"
#include "asn1/asnutils.h"
#include "support/defaults.h"
#include "support/frames.h"
#include "support/hex.h"
#include "support/probes.h"

namespace {

using qb_test::expect_default_installed, qb_test::expect_default_object_taken, qb_test::expect_default_takes_tag_and_class,
    qb_test::expect_equal_to_default_left_out, qb_test::expect_null_default_clears;
using qb_test::integer_octets, qb_test::read_frame, qb_test::set_hex, qb_test::value_of, qb_test::write_bytes;

// fill_heap_strings: v[0] .. v[n - 1] become heap strings "text" of 8
// octets each.
void fill_heap_strings(char** v, int n) {
    for (int i = 0; i < n; ++i) {
        v[i] = static_cast<char*>(std::malloc(8));
        ASSERT_NE(nullptr, v[i]);
        std::strcpy(v[i], "text");
    }
}

// strvalue_text_case: a qb_asn_octetstring filled by `fill` (which returns
// its status), whether it is then present, and the text qb_get_strvalue
// gives for it.
struct strvalue_text_case {
    const char* name;
    unsigned int (*fill)(qb_asn_octetstring&);
    bool present;
    const char* want;
};

// qbasn_octets_case: a qbasn_octetstring filled by `fill` and what one of
// its readers gives for it (text, or octets in hex).
struct qbasn_octets_case {
    const char* name;
    void (*fill)(qbasn_octetstring&);
    const char* want;
};

// obj_body_case: a qb_asn_octetstring filled by `fill` (which returns its
// status) and the octets get_obj_body gives for it, in hex; nullptr: no
// octets at all (a null pointer and length 0).
struct obj_body_case {
    const char* name;
    unsigned int (*fill)(qb_asn_octetstring&);
    const char* want;
};

// n_dest_case: get_value(n, dest) on a qbasn_octetstring filled by `fill`,
// into `dest_size` octets preset to EE, and the octets dest then holds.
struct n_dest_case {
    const char* name;
    void (*fill)(qbasn_octetstring&);
    unsigned long n;
    size_t dest_size;
    const char* want;
};

}  // namespace

// ---- qb_set_strvalue ----

TEST(SetStrvalue, stores_text_with_terminator) {
    qb_asn_octetstring o(security_off);
    EXPECT_EQ(0u, qb_set_strvalue(o, "abc"));
    EXPECT_TRUE(o.is_present());
    EXPECT_EQ(hex("61 62 63 00"), value_of(o));
}

TEST(SetStrvalue, unsigned_form_stores_text_with_terminator) {
    qb_asn_octetstring o(security_off);
    const unsigned char text[] = {0x68, 0x69, 0x00};
    EXPECT_EQ(0u, qb_set_strvalue(o, text));
    EXPECT_EQ(hex("68 69 00"), value_of(o));
}

TEST(SetStrvalue, stops_at_first_zero) {
    qb_asn_octetstring o(security_off);
    const char text[] = {'a', 0, 'b', 0};
    EXPECT_EQ(0u, qb_set_strvalue(o, text));
    EXPECT_EQ(hex("61 00"), value_of(o));
}

TEST(SetStrvalue, empty_text_stores_single_zero) {
    qb_asn_octetstring o(security_off);
    EXPECT_EQ(0u, qb_set_strvalue(o, ""));
    EXPECT_TRUE(o.is_present());
    EXPECT_EQ(hex("00"), value_of(o));
    const unsigned char empty[] = {0};
    qb_asn_octetstring u(security_off);
    EXPECT_EQ(0u, qb_set_strvalue(u, empty));
    EXPECT_EQ(hex("00"), value_of(u));
}

TEST(SetStrvalue, null_stores_single_zero) {
    qb_asn_octetstring o(security_off);
    EXPECT_EQ(0u, qb_set_strvalue(o, static_cast<const char*>(nullptr)));
    EXPECT_TRUE(o.is_present());
    EXPECT_EQ(hex("00"), value_of(o));

    qb_asn_octetstring u(security_off);
    qb_set_strvalue(u, "previous");
    EXPECT_EQ(0u, qb_set_strvalue(u, static_cast<const unsigned char*>(nullptr)));
    EXPECT_EQ(hex("00"), value_of(u));
}

TEST(SetStrvalue, replaces_previous_value_and_writes_frame) {
    qb_asn_octetstring o(security_off);
    qb_set_strvalue(o, "long text");
    qb_set_strvalue(o, "hi");
    EXPECT_EQ(hex("68 69 00"), value_of(o));
    EXPECT_EQ(hex("04 03 68 69 00"), write_bytes(o));
}

// ---- qb_get_strvalue ----

TEST(GetStrvalue, copies_stored_text) {
    qb_asn_octetstring o(security_off);
    qb_set_strvalue(o, "abc");
    unsigned char* s = reinterpret_cast<unsigned char*>(&o);
    EXPECT_EQ(0u, qb_get_strvalue(o, s));
    ASSERT_NE(nullptr, s);
    unsigned char* own = nullptr;
    unsigned int n = 0;
    o.get_value(own, n);
    EXPECT_NE(own, s);  // a copy, not the object's storage
    EXPECT_EQ(hex("61 62 63 00"), std::vector<unsigned char>(s, s + 4));
    // One extra 00 always follows the copy.
    EXPECT_EQ(0x00, s[4]);
    std::free(s);
}

// The char form copies the stored text; the copy does not change with the
// object, and one extra 00 follows it as in the unsigned form.
TEST(GetStrvalue, char_form_copy_is_independent_of_the_object) {
    qb_asn_octetstring o(security_off);
    qb_set_strvalue(o, "hello");
    char* s = nullptr;
    EXPECT_EQ(0u, qb_get_strvalue(o, s));
    qb_set_strvalue(o, "two");
    ASSERT_NE(nullptr, s);
    EXPECT_STREQ("hello", s);
    EXPECT_EQ(0, s[6]);
    std::free(s);
}

TEST(GetStrvalue, copies_every_stored_octet) {
    qb_asn_octetstring o(security_off);
    const std::vector<unsigned char> v = hex("01 00 02 00");
    o.set_value(v.data(), 4);
    unsigned char* s = nullptr;
    EXPECT_EQ(0u, qb_get_strvalue(o, s));
    ASSERT_NE(nullptr, s);
    EXPECT_EQ(v, std::vector<unsigned char>(s, s + 4));
    EXPECT_EQ(0x00, s[4]);
    std::free(s);
}

TEST(GetStrvalue, one_octet_value_gives_zero_whatever_it_was_quirk) {
    qb_asn_octetstring o(security_off);
    const unsigned char x = 0x58;
    o.set_value(&x, 1);
    unsigned char* s = nullptr;
    EXPECT_EQ(0u, qb_get_strvalue(o, s));
    ASSERT_NE(nullptr, s);
    EXPECT_EQ(0x00, s[0]);
    std::free(s);
    // The char form: see the "one octet 58" row of char_form_reads_text.
}

// The char form of qb_get_strvalue: a fresh copy of the stored text, ended
// by a terminator whether or not the value had one; a value of one octet,
// an empty value and an absent one give the empty text, an absent value
// with a default gives the default's text.
TEST(GetStrvalue, char_form_reads_text) {
    const strvalue_text_case cases[] = {
        {"value without terminator gets one", [](qb_asn_octetstring& o) { return set_hex(o, "61 62 63", 3); }, true,
         "abc"},
        {"decoded value is terminated", [](qb_asn_octetstring& o) { return read_frame(o, hex("04 02 78 79")); }, true,
         "xy"},
        {"one octet 58 gives zero (quirk)",
         [](qb_asn_octetstring& o) {
             const unsigned char x = 0x58;
             return o.set_value(&x, 1);
         },
         true, ""},
        {"empty value", [](qb_asn_octetstring& o) { return o.set_value(nullptr, 0); }, true, ""},
        {"absent value", [](qb_asn_octetstring&) { return 0u; }, false, ""},
        {"absent value with default gives default",
         [](qb_asn_octetstring& o) {
             const unsigned char d[] = {0x64, 0x66, 0x00};
             return o.set_default_value(d, 3);
         },
         false, "df"},
        {"two octet value", [](qb_asn_octetstring& o) { return qb_set_strvalue(o, "Z"); }, true, "Z"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        qb_asn_octetstring o(security_off);
        ASSERT_EQ(0u, c.fill(o));
        ASSERT_EQ(c.present, o.is_present());
        char* const marker = reinterpret_cast<char*>(&o);
        char* s = marker;
        EXPECT_EQ(0u, qb_get_strvalue(o, s));
        ASSERT_NE(nullptr, s);
        EXPECT_NE(marker, s);
        EXPECT_STREQ(c.want, s);
        std::free(s);
    }
}

// ---- qb_intvalue ----

TEST(Intvalue, returns_value) {
    struct Case {
        long set, expected;
    };
    const Case cases[] = {
        {0, 0},
        {42, 42},
        {-7, -7},
        {2147483647L, 2147483647L},
        {static_cast<long>(0x80000000ul), -2147483647L - 1},
        {static_cast<long>(0xFFFFFFFFul), -1},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.set);
        qb_asn_integer i(security_off);
        i.set_value(c.set);
        EXPECT_EQ(c.expected, qb_intvalue(i));
    }
}

TEST(Intvalue, absent_value_gives_zero) {
    qb_asn_integer i(security_off);
    EXPECT_EQ(0, qb_intvalue(i));
}

TEST(Intvalue, unreadable_value_gives_zero) {
    qb_asn_integer i(security_off);
    set_hex(i, "01 00 00 00 00", 5);
    long direct = 99;
    ASSERT_EQ(0x10652199u, i.get_value(direct));
    EXPECT_EQ(0, qb_intvalue(i));
}

TEST(Intvalue, unreadable_after_readable_gives_zero) {
    qb_asn_integer i(security_off);
    i.set_value(1234L);
    set_hex(i, "7F 00 00 00 00 01", 6);
    EXPECT_EQ(0, qb_intvalue(i));
}

TEST(Intvalue, absent_value_with_default_gives_default) {
    qb_asn_integer i(security_off);
    i.set_default_value(-300L);
    EXPECT_EQ(-300, qb_intvalue(i));
}

TEST(Intvalue, decoded_value) {
    qb_asn_integer i(security_off);
    ASSERT_EQ(0u, read_frame(i, hex("02 02 FF 7F")));
    EXPECT_EQ(-129, qb_intvalue(i));
}

// ---- qb_free_strings ----

TEST(FreeStrings, frees_strings_and_array) {
    char** v = static_cast<char**>(std::malloc(3 * sizeof(char*)));
    ASSERT_NE(nullptr, v);
    fill_heap_strings(v, 3);
    qb_free_strings(3, v);  // the leak checker confirms all four releases
}

TEST(FreeStrings, frees_only_first_n_strings) {
    char** v = static_cast<char**>(std::malloc(3 * sizeof(char*)));
    ASSERT_NE(nullptr, v);
    fill_heap_strings(v, 3);
    char* const last = v[2];
    qb_free_strings(2, v);
    std::free(last);  // a double release here would be reported
}

TEST(FreeStrings, zero_or_negative_count_frees_array_only) {
    static char not_heap[] = "static";
    for (const int count : {0, -1}) {
        SCOPED_TRACE(count);
        char** v = static_cast<char**>(std::malloc(2 * sizeof(char*)));
        ASSERT_NE(nullptr, v);
        v[0] = not_heap;  // freeing this would be reported
        v[1] = not_heap;
        qb_free_strings(count, v);
    }
}

TEST(FreeStrings, null_strings_inside_array) {
    char** v = static_cast<char**>(std::malloc(2 * sizeof(char*)));
    ASSERT_NE(nullptr, v);
    v[0] = nullptr;
    v[1] = static_cast<char*>(std::malloc(4));
    qb_free_strings(2, v);
}

// ---- get_obj_body ----

// get_obj_body hands out a copy of every stored octet (zeros included, no
// terminator added); an empty or absent value gives length 0 and no octets.
TEST(GetObjBody, copies_stored_octets) {
    const obj_body_case cases[] = {
        {"stored octets", [](qb_asn_octetstring& o) { return set_hex(o, "01 02 03", 3); }, "01 02 03"},
        {"every octet including zeros", [](qb_asn_octetstring& o) { return set_hex(o, "00 FF 00 00", 4); },
         "00 FF 00 00"},
        {"empty value gives null", [](qb_asn_octetstring& o) { return o.set_value(nullptr, 0); }, nullptr},
        {"absent value gives null", [](qb_asn_octetstring&) { return 0u; }, nullptr},
        {"decoded value without the trailing zero",
         [](qb_asn_octetstring& o) { return read_frame(o, hex("04 03 AA BB CC")); }, "AA BB CC"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        qb_asn_octetstring o(security_off);
        ASSERT_EQ(0u, c.fill(o));
        unsigned char* const marker = reinterpret_cast<unsigned char*>(&o);
        unsigned long len = 77;
        unsigned char* data = marker;
        EXPECT_EQ(0u, get_obj_body(o, len, data));
        if (c.want == nullptr) {
            EXPECT_EQ(0ul, len);
            EXPECT_EQ(nullptr, data);
            continue;
        }
        const std::vector<unsigned char> want = hex(c.want);
        ASSERT_EQ(want.size(), len);
        ASSERT_NE(nullptr, data);
        ASSERT_NE(marker, data);
        unsigned char* own = nullptr;
        unsigned int own_len = 0;
        o.get_value(own, own_len);
        EXPECT_NE(own, data);  // a copy, not the object's storage
        EXPECT_EQ(want, std::vector<unsigned char>(data, data + len));
        std::free(data);
    }
}

// ---- qbasn_integer ----

TEST(QbasnInteger, is_an_integer) {
    qbasn_integer n(security_off);
    EXPECT_EQ(2u, n.get_tag());
    EXPECT_EQ(0, n.get_class());
    EXPECT_STREQ("INTEGER", n.get_type_name());
    n.set_value(5L);
    EXPECT_EQ(hex("02 01 05"), write_bytes(n));
}

TEST(QbasnInteger, get_value_long) {
    qbasn_integer n(security_off);
    n.set_value(-129L);
    long v = 0;
    EXPECT_EQ(0u, n.get_value(v));
    EXPECT_EQ(-129, v);
}

TEST(QbasnInteger, get_value_unsigned_long) {
    qbasn_integer n(security_off);
    n.set_value(70000L);
    unsigned long v = 0;
    EXPECT_EQ(0u, n.get_value(v));
    EXPECT_EQ(70000ul, v);
    // 32-bit values: -1 reads back as the unsigned pattern 0xFFFFFFFF.
    n.set_value(-1L);
    EXPECT_EQ(0u, n.get_value(v));
    EXPECT_EQ(0xFFFFFFFFul, v);
}

TEST(QbasnInteger, get_value_unsigned_short_truncates) {
    qbasn_integer n(security_off);
    unsigned short v = 0;
    n.set_value(70000L);
    EXPECT_EQ(0u, n.get_value(v));
    EXPECT_EQ(4464, v);
    n.set_value(-1L);
    EXPECT_EQ(0u, n.get_value(v));
    EXPECT_EQ(65535, v);
    n.set_value(1234L);
    EXPECT_EQ(0u, n.get_value(v));
    EXPECT_EQ(1234, v);
}

TEST(QbasnInteger, get_value_unsigned_char_of_300_gives_44) {
    qbasn_integer n(security_off);
    n.set_value(300L);
    unsigned char v = 0;
    EXPECT_EQ(0u, n.get_value(v));
    EXPECT_EQ(44, v);
    n.set_value(-2L);
    EXPECT_EQ(0u, n.get_value(v));
    EXPECT_EQ(254, v);
}

TEST(QbasnInteger, absent_value_reads_zero_with_status_zero) {
    qbasn_integer n(security_off);
    long l = 5;
    unsigned long ul = 5;
    unsigned short us = 5;
    unsigned char uc = 5;
    EXPECT_EQ(0u, n.get_value(l));
    EXPECT_EQ(0u, n.get_value(ul));
    EXPECT_EQ(0u, n.get_value(us));
    EXPECT_EQ(0u, n.get_value(uc));
    EXPECT_EQ(0, l);
    EXPECT_EQ(0ul, ul);
    EXPECT_EQ(0, us);
    EXPECT_EQ(0, uc);
    // The plain integer's reader reports the absence that these hide.
    long direct = 5;
    EXPECT_EQ(0x106521A0u, static_cast<const qb_asn_integer&>(n).get_value(direct));
}

TEST(QbasnInteger, unreadable_value_reads_zero_with_status_zero) {
    qbasn_integer n(security_off);
    set_hex(n, "01 00 00 00 00", 5);
    long l = 5;
    unsigned char uc = 5;
    EXPECT_EQ(0u, n.get_value(l));
    EXPECT_EQ(0, l);
    EXPECT_EQ(0u, n.get_value(uc));
    EXPECT_EQ(0, uc);
}

TEST(QbasnInteger, byte_form_still_reachable) {
    qbasn_integer n(security_off);
    n.set_value(128L);
    unsigned char* p = nullptr;
    unsigned int len = 0;
    EXPECT_EQ(0u, n.get_value(p, len));
    ASSERT_EQ(2u, len);
    EXPECT_EQ(hex("00 80"), std::vector<unsigned char>(p, p + len));
}

TEST(QbasnInteger, set_default_value_installs_zero) {
    qbasn_integer n(security_off);
    expect_default_installed(n);
    // The absent value reads as the default's content octets: 00.
    EXPECT_EQ(hex("00"), integer_octets(n));
    long v = 9;
    EXPECT_EQ(0u, static_cast<const qb_asn_integer&>(n).get_value(v));
    EXPECT_EQ(0, v);
}

TEST(QbasnInteger, default_zero_has_current_tag_and_class) {
    expect_default_takes_tag_and_class<qbasn_integer>(7u, 2);
}

TEST(QbasnInteger, value_equal_to_default_zero_is_not_written) {
    expect_equal_to_default_left_out<qbasn_integer>([](qbasn_integer& n) { n.set_value(0L); },
                                                    [](qbasn_integer& n) { n.set_value(3L); }, "30 03 02 01 03");
}

TEST(QbasnInteger, set_default_value_object_passes_on) {
    qbasn_integer n(security_off);
    auto* d = new qb_asn_integer(security_off);
    d->set_value(9L);
    expect_default_object_taken(n, d);
    long v = 0;
    EXPECT_EQ(0u, n.get_value(v));
    EXPECT_EQ(9, v);
}

TEST(QbasnInteger, set_default_value_null_leaves_not_defaultable) {
    expect_null_default_clears<qbasn_integer>();
}

TEST(QbasnInteger, set_default_value_long_still_reachable) {
    qbasn_integer n(security_off);
    EXPECT_EQ(0u, n.set_default_value(-5L));
    long v = 0;
    EXPECT_EQ(0u, n.get_value(v));
    EXPECT_EQ(-5, v);
    unsigned char uc = 0;
    EXPECT_EQ(0u, n.get_value(uc));
    EXPECT_EQ(251, uc);
}

TEST(QbasnInteger, decoded_value) {
    qbasn_integer n(security_off);
    ASSERT_EQ(0u, read_frame(n, hex("02 02 01 2C")));
    unsigned char uc = 0;
    unsigned short us = 0;
    EXPECT_EQ(0u, n.get_value(uc));
    EXPECT_EQ(0u, n.get_value(us));
    EXPECT_EQ(44, uc);
    EXPECT_EQ(300, us);
}

// ---- qbasn_octetstring ----

TEST(QbasnOctetstring, is_an_octet_string) {
    qbasn_octetstring o(security_off);
    EXPECT_EQ(4u, o.get_tag());
    EXPECT_EQ(0, o.get_class());
    EXPECT_STREQ("OCTETSTRING", o.get_type_name());
}

TEST(QbasnOctetstring, set_value_text_forms) {
    qbasn_octetstring o(security_off);
    EXPECT_EQ(0u, o.set_value("hi"));
    EXPECT_EQ(hex("68 69 00"), value_of(o));
    EXPECT_EQ(hex("04 03 68 69 00"), write_bytes(o));

    const unsigned char u[] = {0x41, 0x42, 0x00};
    EXPECT_EQ(0u, o.set_value(u));
    EXPECT_EQ(hex("41 42 00"), value_of(o));

    EXPECT_EQ(0u, o.set_value(""));
    EXPECT_EQ(hex("00"), value_of(o));
}

TEST(QbasnOctetstring, set_value_null_text_forms) {
    qbasn_octetstring o(security_off);
    o.set_value("x");
    EXPECT_EQ(0u, o.set_value(static_cast<const char*>(nullptr)));
    EXPECT_EQ(hex("00"), value_of(o));
    o.set_value("x");
    EXPECT_EQ(0u, o.set_value(static_cast<const unsigned char*>(nullptr)));
    EXPECT_EQ(hex("00"), value_of(o));
}

TEST(QbasnOctetstring, raw_set_value_still_reachable) {
    qbasn_octetstring o(security_off);
    const std::vector<unsigned char> v = hex("DE AD");
    EXPECT_EQ(0u, o.set_value(v.data(), 2u));
    EXPECT_EQ(v, value_of(o));
}

TEST(QbasnOctetstring, set_value_char_stores_char_and_terminator) {
    qbasn_octetstring o(security_off);
    EXPECT_EQ(0u, o.set_value(static_cast<unsigned char>('A')));
    EXPECT_EQ(hex("41 00"), value_of(o));
    EXPECT_EQ(0u, o.set_value(static_cast<unsigned char>(0xFF)));
    EXPECT_EQ(hex("FF 00"), value_of(o));
}

TEST(QbasnOctetstring, set_value_zero_char_stores_single_zero_quirk) {
    qbasn_octetstring o(security_off);
    EXPECT_EQ(0u, o.set_value(static_cast<unsigned char>(0)));
    EXPECT_TRUE(o.is_present());
    EXPECT_EQ(hex("00"), value_of(o));
}

TEST(QbasnOctetstring, get_value_text_copies) {
    qbasn_octetstring o(security_off);
    o.set_value("text");
    unsigned char* u = nullptr;
    EXPECT_EQ(0u, o.get_value(u));
    ASSERT_NE(nullptr, u);
    EXPECT_EQ(hex("74 65 78 74 00"), std::vector<unsigned char>(u, u + 5));
    char* c = nullptr;
    EXPECT_EQ(0u, o.get_value(c));
    ASSERT_NE(nullptr, c);
    EXPECT_STREQ("text", c);
    EXPECT_NE(static_cast<void*>(u), static_cast<void*>(c));
    std::free(u);
    std::free(c);
}

// A value of one octet (whatever it holds), an absent value and an absent
// value with the installed default all read back as the empty text.
TEST(QbasnOctetstring, get_value_text_of_one_octet_or_absent_value_is_empty) {
    const qbasn_octets_case cases[] = {
        {"one octet", [](qbasn_octetstring& o) { o.set_value(static_cast<unsigned char>(0)); }, ""},
        {"absent", [](qbasn_octetstring&) {}, ""},
        {"absent with the default", [](qbasn_octetstring& o) { o.set_default_value(); }, ""},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        qbasn_octetstring o(security_off);
        c.fill(o);
        char* text = nullptr;
        EXPECT_EQ(0u, o.get_value(text));
        ASSERT_NE(nullptr, text);
        EXPECT_STREQ(c.want, text);
        std::free(text);
    }
}

// get_value(data, len) hands out a copy of every stored octet, the text
// setter's terminator included; an empty value gives length 0.
TEST(QbasnOctetstring, get_value_data_len_copies) {
    const qbasn_octets_case cases[] = {
        {"raw octets", [](qbasn_octetstring& o) { set_hex(o, "00 01 02 FF", 4u); }, "00 01 02 FF"},
        // The terminator is part of the stored value.
        {"text", [](qbasn_octetstring& o) { o.set_value("ab"); }, "61 62 00"},
        {"empty value", [](qbasn_octetstring& o) { o.set_value(nullptr, 0u); }, ""},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        qbasn_octetstring o(security_off);
        c.fill(o);
        const std::vector<unsigned char> want = hex(c.want);
        unsigned char* data = nullptr;
        unsigned long len = 99;
        EXPECT_EQ(0u, o.get_value(data, len));
        ASSERT_EQ(want.size(), len);
        if (len != 0) {
            ASSERT_NE(nullptr, data);
            unsigned char* own = nullptr;
            unsigned int own_len = 0;
            o.qb_asn_octetstring::get_value(own, own_len);
            EXPECT_NE(own, data);  // a copy, not the object's storage
            EXPECT_EQ(want, std::vector<unsigned char>(data, data + len));
        }
        std::free(data);
    }
}

// get_value(n, dest) copies the first n octets into dest and fills with
// zeros past the value; octets of dest past n stay as they were (EE).
TEST(QbasnOctetstring, get_value_n_dest) {
    const auto five = [](qbasn_octetstring& o) { set_hex(o, "11 22 33 44 55", 5u); };
    const n_dest_case cases[] = {
        {"first 3 of 5", five, 3ul, 8, "11 22 33 EE EE EE EE EE"},
        {"all 5 of 5", five, 5ul, 8, "11 22 33 44 55 EE EE EE"},
        {"zero fill past the value", [](qbasn_octetstring& o) { set_hex(o, "AB CD", 2u); }, 6ul, 8,
         "AB CD 00 00 00 00 EE EE"},
        {"zero count writes nothing", [](qbasn_octetstring& o) { o.set_value("xyz"); }, 0ul, 2, "EE EE"},
        {"absent value gives zeros", [](qbasn_octetstring&) {}, 3ul, 4, "00 00 00 EE"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        qbasn_octetstring o(security_off);
        c.fill(o);
        std::vector<unsigned char> dest(c.dest_size, 0xEE);
        EXPECT_EQ(0u, o.get_value(c.n, dest.data()));
        EXPECT_EQ(hex(c.want), dest);
    }
}

TEST(QbasnOctetstring, get_value_char_first_octet) {
    qbasn_octetstring o(security_off);
    o.set_value("hi");
    unsigned char c = 0;
    EXPECT_EQ(0u, o.get_value(c));
    EXPECT_EQ(0x68, c);
    o.set_value(static_cast<unsigned char>('Q'));
    EXPECT_EQ(0u, o.get_value(c));
    EXPECT_EQ(0x51, c);
}

TEST(QbasnOctetstring, get_value_char_of_empty_or_absent_is_zero) {
    qbasn_octetstring absent(security_off);
    unsigned char c = 0x77;
    EXPECT_EQ(0u, absent.get_value(c));
    EXPECT_EQ(0, c);

    qbasn_octetstring empty(security_off);
    empty.set_value(nullptr, 0u);
    c = 0x77;
    EXPECT_EQ(0u, empty.get_value(c));
    EXPECT_EQ(0, c);
}

TEST(QbasnOctetstring, set_default_value_installs_single_zero) {
    qbasn_octetstring o(security_off);
    expect_default_installed(o);
    EXPECT_FALSE(o.is_present());
    EXPECT_EQ(hex("00"), value_of(o));
    // It reads back as the empty text: see the "absent with the default" row
    // of get_value_text_of_one_octet_or_absent_value_is_empty.
}

TEST(QbasnOctetstring, default_has_current_tag_and_class) {
    expect_default_takes_tag_and_class<qbasn_octetstring>(3u, 2);
}

TEST(QbasnOctetstring, empty_text_equal_to_default_is_not_written) {
    expect_equal_to_default_left_out<qbasn_octetstring>([](qbasn_octetstring& o) { o.set_value(""); },
                                                        [](qbasn_octetstring& o) { o.set_value("a"); },
                                                        "30 04 04 02 61 00");
}

TEST(QbasnOctetstring, set_default_value_object_passes_on) {
    qbasn_octetstring o(security_off);
    auto* d = new qb_asn_octetstring(security_off);
    qb_set_strvalue(*d, "dflt");
    expect_default_object_taken(o, d);
    char* c = nullptr;
    EXPECT_EQ(0u, o.get_value(c));
    ASSERT_NE(nullptr, c);
    EXPECT_STREQ("dflt", c);
    std::free(c);
}

TEST(QbasnOctetstring, set_default_value_null_leaves_not_defaultable) {
    expect_null_default_clears<qbasn_octetstring>();
}

TEST(QbasnOctetstring, set_default_value_bytes_still_reachable) {
    qbasn_octetstring o(security_off);
    const unsigned char d[] = {0x7A, 0x00};
    EXPECT_EQ(0u, o.set_default_value(d, 2u));
    unsigned char c = 0;
    EXPECT_EQ(0u, o.get_value(c));
    EXPECT_EQ(0x7A, c);
}

TEST(QbasnOctetstring, text_setter_invalidates_parent_encoding) {
    qb_test::in_sequence<qbasn_octetstring> tree;
    auto& [seq, o] = tree;
    o.set_value("a");
    EXPECT_EQ(hex("30 04 04 02 61 00"), write_bytes(seq));
    EXPECT_TRUE(seq.is_encoding_valid());
    o.set_value("bc");
    EXPECT_FALSE(seq.is_encoding_valid());
    EXPECT_EQ(hex("30 05 04 03 62 63 00"), write_bytes(seq));
    o.set_value(static_cast<unsigned char>('z'));
    EXPECT_EQ(hex("30 04 04 02 7A 00"), write_bytes(seq));
    qb_set_strvalue(o, static_cast<const char*>(nullptr));
    EXPECT_EQ(hex("30 03 04 01 00"), write_bytes(seq));
}

TEST(QbasnOctetstring, decoded_text_reads_back) {
    qbasn_octetstring o(security_off);
    ASSERT_EQ(0u, read_frame(o, hex("04 04 61 62 63 00")));
    char* c = nullptr;
    EXPECT_EQ(0u, o.get_value(c));
    ASSERT_NE(nullptr, c);
    EXPECT_STREQ("abc", c);
    std::free(c);
    unsigned char first = 0;
    EXPECT_EQ(0u, o.get_value(first));
    EXPECT_EQ(0x61, first);
}
