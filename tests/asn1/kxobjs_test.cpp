// tests/asn1/kxobjs_test.cpp - the object-update and certificate-request
// records: their layout, set_value / get_value / free_obj, the OCTET STRING
// members read in primitive, constructed and indefinite-length form, and
// their reflection entries.
//
// Records are saved and loaded through the envelope directly here; the
// untyped entry points that serve them are tested in entry_test.cpp.
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "asn1/asn1.h"
#include "asn1/asn_kxobjs.h"
#include "asn1/asnbase.h"
#include "asn1/asnrecord.h"
#include "support/buffers.h"
#include "support/frames.h"
#include "support/hex.h"
#include "support/kxobjs_vectors.h"
#include "support/record_cases.h"

namespace {

using bytes_t = std::vector<unsigned char>;

// ---- helpers ----

using qb_test::expect_child_list, qb_test::expect_fields, qb_test::kAny;
using qb_test::bytes_of, qb_test::load_object, qb_test::malloc_text, qb_test::save_encoding,
      qb_test::type_summary;

// write_then_read: `in` set into a Rec and saved under envelope version 2
// must give the octets `want_hex`; a second Rec loads them and reads them
// into `out` (zeroed first), which the caller checks and frees.
template <class Rec, class Flat>
void write_then_read(Flat& in, const char* want_hex, Flat& out) {
    out = {};
    Rec writer(security_off);
    ASSERT_EQ(writer.set_value(in), 0);
    const bytes_t b = save_encoding(writer, 2);
    EXPECT_EQ(b, hex(want_hex));

    Rec reader(security_off);
    ASSERT_EQ(load_object(reader, 2, b), 0U);
    ASSERT_EQ(reader.get_value(out), 0);
}

// read_saved: a Rec loads `hex_text` under envelope version 2 and reads it
// into `out` (zeroed first), which the caller checks and frees.
template <class Rec, class Flat>
void read_saved(const char* hex_text, Flat& out) {
    out = {};
    Rec rec(security_off);
    ASSERT_EQ(load_object(rec, 2, hex(hex_text)), 0U);
    ASSERT_EQ(rec.get_value(out), 0);
}

// ==== qb_asn_kxobj_update_t ====

TEST(QbAsnKxobjUpdateT, is_a_sequence_of_version_and_three_members) {
    qb_asn_kxobj_update_t rec(security_off);
    EXPECT_EQ(type_summary(rec), "kxobj_update 16/0 -CI");
    expect_child_list(rec, {&rec.version, &rec.value_a, &rec.text, &rec.value_b});
    EXPECT_STREQ(rec.value_a.get_type_name(), "INTEGER");
    EXPECT_STREQ(rec.text.get_type_name(), "OCTETSTRING");
    EXPECT_EQ(rec.text.get_tag(), 4U);
    EXPECT_FALSE(rec.text.is_optional());
}

TEST(QbAsnKxobjUpdateT, text_accepts_constructed_and_indefinite_input) {
    qb_asn_kxobj_update_t rec(security_off);
    EXPECT_EQ(rec.text.encoding_primitive_permitted(), 1);
    EXPECT_EQ(rec.text.encoding_constructed_permitted(), 1);
    EXPECT_EQ(rec.text.encoding_indefinite_permitted(), 1);
    EXPECT_EQ(rec.text.should_generate_constructed(), 0);  // written primitive
}

// What set_value writes: the version, then the members; the text travels
// with its terminator, and a null or empty text as the single octet 00.
// Values travel as 32 bits: a long beyond them keeps its low 32 bits.
struct UpdateWriteCase {
    const char* name;
    kxobj_update_s_t in;
    const char* hex;
};

const UpdateWriteCase kUpdateWrites[] = {
    // The text 'x' travels with its terminator: 04 02 78 00.
    {"version then members", {5, const_cast<char*>("x"), -1},
     "04 02 AC DC 30 0D  02 01 01  02 01 05  04 02 78 00  02 01 FF"},
    {"null text is the single octet zero", {0, nullptr, 0},
     "04 02 AC DC 30 0C  02 01 01  02 01 00  04 01 00  02 01 00"},
    {"empty text is the single octet zero", {0, const_cast<char*>(""), 0},
     "04 02 AC DC 30 0C  02 01 01  02 01 00  04 01 00  02 01 00"},
    {"32-bit extremes", {0x7FFFFFFFL, const_cast<char*>("ab"), -2147483647L - 1},
     "04 02 AC DC 30 14  02 01 01  02 04 7F FF FF FF  04 03 61 62 00  02 04 80 00 00 00"},
    // 0xFFFFFFFF is -1, 0x100000080 is 128.
    {"wider than 32 bits", {0xFFFFFFFFL, nullptr, 0x100000080L},
     "04 02 AC DC 30 0D  02 01 01  02 01 FF  04 01 00  02 02 00 80"},
};

TEST(QbAsnKxobjUpdateT, set_value_writes_version_then_members) {
    for (const UpdateWriteCase& c : kUpdateWrites) {
        SCOPED_TRACE(c.name);
        qb_asn_kxobj_update_t rec(security_off);
        kxobj_update_s_t r = c.in;
        ASSERT_EQ(rec.set_value(r), 0);
        EXPECT_EQ(save_encoding(rec, 2), hex(c.hex));
    }
}

TEST(QbAsnKxobjUpdateT, round_trip_through_the_record_class) {
    kxobj_update_s_t in = {-5, const_cast<char*>("hello"), 300};
    kxobj_update_s_t out;
    write_then_read<qb_asn_kxobj_update_t>(in, "04 02 AC DC 30 12  02 01 01  02 01 FB  04 06 68 65 6C 6C 6F 00  02 02 01 2C",
                                           out);
    EXPECT_EQ(out.value_a, -5);
    EXPECT_STREQ(out.text, "hello");
    EXPECT_NE(out.text, in.text);  // a fresh allocation
    EXPECT_EQ(out.value_b, 300);
    qb_asn_kxobj_update_t::free_obj(out);
}

// What get_value reads into a record whose members held other values: the
// text member in its every form (primitive, constructed, indefinite, nested
// segments), an empty text as an allocated empty text, a text without its
// terminator terminated, and the 32-bit values sign-extended.
struct UpdateReadCase {
    const char* name;
    const char* hex;
    long value_a;
    const char* text;
    long value_b;
};

constexpr UpdateReadCase kUpdateReads[] = {
    {"32-bit extremes, sign-extended",
     "04 02 AC DC 30 14  02 01 01  02 04 7F FF FF FF  04 03 61 62 00  02 04 80 00 00 00", 0x7FFFFFFFL, "ab",
     -2147483647L - 1},
    {"empty text", "04 02 AC DC 30 0C  02 01 01  02 01 00  04 01 00  02 01 00", 0, "", 0},
    // A stored value of one octet is taken as the bare terminator, whatever it holds.
    {"one octet text reads as empty text (quirk)", "04 02 AC DC 30 0C  02 01 01  02 01 00  04 01 78  02 01 00", 0, "",
     0},
    {"text without terminator", "04 02 AC DC 30 0D  02 01 01  02 01 00  04 02 61 62  02 01 00", 0, "ab", 0},
    {"primitive", "04 02 AC DC 30 0F  02 01 01  02 01 07  04 04 61 62 63 00  02 01 08", 7, "abc", 8},
    {"constructed, definite",
     "04 02 AC DC 30 13  02 01 01  02 01 07  24 08 04 02 61 62 04 02 63 00  02 01 08", 7, "abc", 8},
    {"constructed, indefinite",
     "04 02 AC DC 30 15  02 01 01  02 01 07  24 80 04 01 61 04 03 62 63 00 00 00  02 01 08", 7, "abc", 8},
    {"nested segments",
     "04 02 AC DC 30 19  02 01 01  02 01 07  24 80 24 80 04 02 61 62 00 00 04 02 63 00 00 00  02 01 08",
     7, "abc", 8},
    {"empty constructed", "04 02 AC DC 30 0B  02 01 01  02 01 07  24 00  02 01 08", 7, "", 8},
};

TEST(QbAsnKxobjUpdateT, get_value_reads_members_into_a_fresh_record) {
    for (const UpdateReadCase& c : kUpdateReads) {
        SCOPED_TRACE(c.name);
        qb_asn_kxobj_update_t rec(security_off);
        ASSERT_EQ(load_object(rec, 2, hex(c.hex)), 0U);
        kxobj_update_s_t r = {99, nullptr, 99};
        ASSERT_EQ(rec.get_value(r), 0);
        EXPECT_EQ(r.value_a, c.value_a);
        ASSERT_NE(r.text, nullptr);
        EXPECT_STREQ(r.text, c.text);
        EXPECT_EQ(r.value_b, c.value_b);
        qb_asn_kxobj_update_t::free_obj(r);
    }
}

TEST(QbAsnKxobjUpdateT, segmented_text_is_written_back_primitive) {
    qb_asn_kxobj_update_t rec(security_off);
    ASSERT_EQ(load_object(rec, 2, hex("04 02 AC DC 30 15  02 01 01  02 01 07  24 80 04 01 61 04 03 62 63 00 00 00  02 01 08")),
              0U);
    EXPECT_EQ(save_encoding(rec, 2), hex("04 02 AC DC 30 0F  02 01 01  02 01 07  04 04 61 62 63 00  02 01 08"));
}

TEST(QbAsnKxobjUpdateT, integer_members_stay_primitive_only) {
    qb_asn_kxobj_update_t rec(security_off);
    // value_a in constructed form.
    EXPECT_EQ(load_object(rec, 2, hex("04 02 AC DC 30 0E  02 01 01  22 03 02 01 07  04 01 00  02 01 08")), 0x1065219EU);
}

TEST(QbAsnKxobjUpdateT, free_obj_frees_text_and_clears_nothing) {
    kxobj_update_s_t r = {3, malloc_text("abc"), 4};
    char* const before = r.text;
    qb_asn_kxobj_update_t::free_obj(r);  // the sanitizer build sees a leak if it does not free
    EXPECT_EQ(r.text, before);
    EXPECT_EQ(r.value_a, 3);
    EXPECT_EQ(r.value_b, 4);

    kxobj_update_s_t none = {1, nullptr, 2};
    qb_asn_kxobj_update_t::free_obj(none);  // a null text is skipped
    EXPECT_EQ(none.text, nullptr);
}

TEST(QbAsnKxobjUpdateT, encode_obj_and_decode_obj_use_the_envelope) {
    qb_asn_kxobj_update_t writer(security_off);
    kxobj_update_s_t in = {1, const_cast<char*>("x"), 2};
    qb_asn_buffer_t out = {0, nullptr};
    ASSERT_EQ(writer.encode_obj(in, out, 9), 0);
    EXPECT_EQ(bytes_t(out.data, out.data + out.length),
              hex("04 09 AC DC 30 0D  02 01 01  02 01 01  04 02 78 00  02 01 02"));

    qb_asn_kxobj_update_t reader(security_off);
    kxobj_update_s_t r = {77, nullptr, 78};
    EXPECT_EQ(reader.decode_obj(r, out, 8), 0x10652196);  // another version: get_value not reached
    EXPECT_EQ(r.value_a, 77);
    EXPECT_EQ(r.value_b, 78);
    ASSERT_EQ(reader.decode_obj(r, out, 9), 0);
    EXPECT_EQ(r.value_a, 1);
    EXPECT_STREQ(r.text, "x");
    EXPECT_EQ(r.value_b, 2);
    qb_asn_kxobj_update_t::free_obj(r);
    qb_asn_buffer_free(out);
}

// ==== qb_asn_kxobj_update_list_t ====

TEST(QbAsnKxobjUpdateListT, is_a_sequence_of_version_and_a_list) {
    qb_asn_kxobj_update_list_t rec(security_off);
    EXPECT_STREQ(rec.get_type_name(), "update_list");
    EXPECT_EQ(rec.get_tag(), 16U);
    expect_child_list(rec, {&rec.version, &rec.items});
    EXPECT_STREQ(rec.items.get_type_name(), "SEQUENCEOF");
    EXPECT_EQ(rec.items.get_tag(), 16U);
    EXPECT_EQ(rec.items.get_child_count(), 0U);
}

TEST(QbAsnKxobjUpdateListT, count_zero_adds_no_element) {
    qb_asn_kxobj_update_list_t rec(security_off);
    kxobj_update_list_s_t r = {0, nullptr};
    EXPECT_EQ(rec.set_value(r), 0);
    EXPECT_EQ(rec.items.get_child_count(), 0U);
    EXPECT_EQ(save_encoding(rec, 2), hex("04 02 AC DC 30 05  02 01 01  30 00"));
}

TEST(QbAsnKxobjUpdateListT, list_without_elements_reads_as_count_zero_and_null_items) {
    qb_asn_kxobj_update_list_t rec(security_off);
    ASSERT_EQ(load_object(rec, 2, hex("04 02 AC DC 30 05  02 01 01  30 00")), 0U);
    kxobj_update_list_s_t r = {5, reinterpret_cast<kxobj_update_s_t*>(&rec)};  // overwritten
    ASSERT_EQ(rec.get_value(r), 0);
    EXPECT_EQ(r.count, 0U);
    EXPECT_EQ(r.items, nullptr);
}

TEST(QbAsnKxobjUpdateListT, elements_in_order_each_with_its_version) {
    kxobj_update_s_t items[2] = {{5, const_cast<char*>("x"), -1}, {128, nullptr, 0}};
    kxobj_update_list_s_t r = {2, items};
    qb_asn_kxobj_update_list_t rec(security_off);
    ASSERT_EQ(rec.set_value(r), 0);
    ASSERT_EQ(rec.items.get_child_count(), 2U);
    EXPECT_STREQ(rec.items.get_element(0)->get_type_name(), "kxobj_update");
    EXPECT_EQ(save_encoding(rec, 2), hex("04 02 AC DC 30 23  02 01 01  30 1E"
                                "  30 0D 02 01 01 02 01 05 04 02 78 00 02 01 FF"
                                "  30 0D 02 01 01 02 02 00 80 04 01 00 02 01 00"));
}

TEST(QbAsnKxobjUpdateListT, elements_take_the_list_security) {
    kxobj_update_s_t items[1] = {{1, const_cast<char*>("a"), 2}};
    kxobj_update_list_s_t r = {1, items};
    qb_asn_kxobj_update_list_t rec(security_on);
    ASSERT_EQ(rec.set_value(r), 0);
    ASSERT_EQ(rec.items.get_child_count(), 1U);
    EXPECT_EQ(rec.items.get_element(0)->security, security_on);
    EXPECT_EQ(rec.items.get_element(0)->text.security, security_on);
}

TEST(QbAsnKxobjUpdateListT, set_value_keeps_elements_already_present) {
    kxobj_update_s_t items[1] = {{1, const_cast<char*>("a"), 2}};
    kxobj_update_list_s_t r = {1, items};
    qb_asn_kxobj_update_list_t rec(security_off);
    ASSERT_EQ(rec.set_value(r), 0);
    ASSERT_EQ(rec.set_value(r), 0);
    EXPECT_EQ(rec.items.get_child_count(), 2U);
    EXPECT_EQ(save_encoding(rec, 2), hex("04 02 AC DC 30 23  02 01 01  30 1E"
                                "  30 0D 02 01 01 02 01 01 04 02 61 00 02 01 02"
                                "  30 0D 02 01 01 02 01 01 04 02 61 00 02 01 02"));
}

TEST(QbAsnKxobjUpdateListT, count_without_items_is_refused) {
    qb_asn_kxobj_update_list_t rec(security_off);
    kxobj_update_list_s_t r = {3, nullptr};
    EXPECT_EQ(rec.set_value(r), 0x1065219C);
    EXPECT_EQ(rec.items.get_child_count(), 0U);
}

TEST(QbAsnKxobjUpdateListT, get_value_reads_every_element) {
    kxobj_update_list_s_t r;
    read_saved<qb_asn_kxobj_update_list_t>("04 02 AC DC 30 23  02 01 01  30 1E"
                                          "  30 0D 02 01 01 02 01 05 04 02 78 00 02 01 FF"
                                          "  30 0D 02 01 01 02 02 00 80 04 01 00 02 01 00",
                                          r);
    qb_test::expect_list_v5(r);
    qb_asn_kxobj_update_list_t::free_obj(r);
}

TEST(QbAsnKxobjUpdateListT, indefinite_lengths_and_segmented_texts_are_read) {
    kxobj_update_list_s_t r;
    read_saved<qb_asn_kxobj_update_list_t>("04 02 AC DC 30 80  02 01 01  30 80"
                                          "  30 80 02 01 01 02 01 05 24 80 04 01 78 04 01 00 00 00 02 01 06 00 00"
                                          "  00 00  00 00",
                                          r);
    ASSERT_EQ(r.count, 1U);
    EXPECT_EQ(r.items[0].value_a, 5);
    EXPECT_STREQ(r.items[0].text, "x");
    EXPECT_EQ(r.items[0].value_b, 6);
    qb_asn_kxobj_update_list_t::free_obj(r);
}

TEST(QbAsnKxobjUpdateListT, missing_element_gives_out_of_memory_and_stays_freeable) {
    // Front insertion into a full child array (32 slots) overwrites slot 0 and
    // leaves the last counted slot empty: 33 counted, 32 there.
    qb_asn_kxobj_update_list_t rec(security_off);
    for (int i = 0; i < 32; ++i) {
        qb_asn_kxobj_update_t* e = rec.items.add_child();
        ASSERT_NE(e, nullptr);
        kxobj_update_s_t item = {i, const_cast<char*>("t"), -i};
        ASSERT_EQ(e->set_value(item), 0);
    }
    ASSERT_NE(rec.items.add_child_before(), nullptr);
    ASSERT_EQ(rec.items.get_child_count(), 33U);
    ASSERT_EQ(rec.items.get_element(32), nullptr);

    kxobj_update_list_s_t r = {};
    EXPECT_EQ(rec.get_value(r), 0x10652065);
    EXPECT_EQ(r.count, 33U);
    ASSERT_NE(r.items, nullptr);
    EXPECT_STREQ(r.items[0].text, "");  // the new, unfilled first element
    EXPECT_EQ(r.items[1].value_a, 1);
    EXPECT_STREQ(r.items[31].text, "t");
    EXPECT_EQ(r.items[31].value_b, -31);
    EXPECT_EQ(r.items[32].text, nullptr);  // never read: zeroed
    EXPECT_EQ(r.items[32].value_a, 0);
    qb_asn_kxobj_update_list_t::free_obj(r);  // frees 32 texts and the array (checked by the sanitizer build)
}

TEST(QbAsnKxobjUpdateListT, free_obj_skips_a_null_item_array) {
    kxobj_update_list_s_t r = {4, nullptr};
    qb_asn_kxobj_update_list_t::free_obj(r);
    EXPECT_EQ(r.count, 4U);
}

TEST(QbAsnKxobjUpdateListT, free_obj_frees_each_text_then_the_array) {
    auto* items = static_cast<kxobj_update_s_t*>(std::malloc(2 * sizeof(kxobj_update_s_t)));
    items[0] = {1, malloc_text("a"), 2};
    items[1] = {3, nullptr, 4};
    kxobj_update_list_s_t r = {2, items};
    qb_asn_kxobj_update_list_t::free_obj(r);  // a leak shows in the sanitizer build
    EXPECT_EQ(r.items, items);               // not cleared
    EXPECT_EQ(r.count, 2U);
}

// ==== qb_asn_cert_request_in ====

TEST(QbAsnCertRequestIn, is_a_sequence_of_version_two_texts_and_optional_body) {
    qb_asn_cert_request_in rec(security_off);
    EXPECT_STREQ(rec.get_type_name(), "cert_request_in");
    EXPECT_EQ(rec.get_tag(), 16U);
    expect_child_list(rec, {&rec.version, &rec.text_a, &rec.text_b, &rec.body});
    EXPECT_FALSE(rec.text_a.is_optional());
    EXPECT_FALSE(rec.text_b.is_optional());
    EXPECT_TRUE(rec.body.is_optional());
}

TEST(QbAsnCertRequestIn, octet_string_members_accept_constructed_and_indefinite_input) {
    qb_asn_cert_request_in rec(security_off);
    for (qbasn_octetstring* m : {&rec.text_a, &rec.text_b, &rec.body}) {
        EXPECT_EQ(m->encoding_primitive_permitted(), 1);
        EXPECT_EQ(m->encoding_constructed_permitted(), 1);
        EXPECT_EQ(m->encoding_indefinite_permitted(), 1);
        EXPECT_EQ(m->should_generate_constructed(), 0);
    }
}

TEST(QbAsnCertRequestIn, set_value_writes_texts_with_terminators_and_body) {
    unsigned char body[2] = {0x01, 0x02};
    cert_request_in r = {const_cast<char*>("a"), const_cast<char*>("bc"), 2, body};
    qb_asn_cert_request_in rec(security_off);
    ASSERT_EQ(rec.set_value(r), 0);
    EXPECT_EQ(save_encoding(rec, 2), hex("04 02 AC DC 30 10  02 01 01  04 02 61 00  04 03 62 63 00  04 02 01 02"));
}

TEST(QbAsnCertRequestIn, body_len_zero_leaves_body_out) {
    unsigned char body[2] = {0x01, 0x02};
    cert_request_in r = {const_cast<char*>("a"), const_cast<char*>("bc"), 0, body};  // the length decides
    qb_asn_cert_request_in rec(security_off);
    ASSERT_EQ(rec.set_value(r), 0);
    EXPECT_FALSE(rec.body.is_present());
    // Three members: the version and the two texts.
    EXPECT_EQ(save_encoding(rec, 2), hex("04 02 AC DC 30 0C  02 01 01  04 02 61 00  04 03 62 63 00"));
}

// What get_value reads: the two texts, and the body; an absent body and an
// empty one on the wire read as length 0 and a null pointer. Members in
// constructed form are read too: text_a constructed (definite), text_b
// constructed (indefinite), the body constructed with a nested indefinite
// segment.
struct CertReadCase {
    const char* name;
    const char* hex;
    const char* text_a;
    const char* text_b;
    const char* body;  // hex; nullptr: length 0 and a null pointer
};

constexpr CertReadCase kCertReads[] = {
    {"absent body", "04 02 AC DC 30 0C  02 01 01  04 02 61 00  04 03 62 63 00", "a", "bc", nullptr},
    {"empty body on the wire", "04 02 AC DC 30 0E  02 01 01  04 02 61 00  04 03 62 63 00  04 00", "a", "bc", nullptr},
    {"segmented members",
     "04 02 AC DC 30 26  02 01 01"
     "  24 07 04 02 61 62 04 01 00"
     "  24 80 04 02 63 64 04 01 00 00 00"
     "  24 80 04 01 01 24 80 04 02 02 03 00 00 00 00",
     "ab", "cd", "01 02 03"},
};

TEST(QbAsnCertRequestIn, get_value_reads_texts_and_body) {
    for (const CertReadCase& c : kCertReads) {
        SCOPED_TRACE(c.name);
        qb_asn_cert_request_in rec(security_off);
        ASSERT_EQ(load_object(rec, 2, hex(c.hex)), 0U);
        cert_request_in r = {};
        ASSERT_EQ(rec.get_value(r), 0);
        EXPECT_STREQ(r.text_a, c.text_a);
        EXPECT_STREQ(r.text_b, c.text_b);
        if (c.body == nullptr) {
            EXPECT_EQ(r.body_len, 0U);
            EXPECT_EQ(r.body, nullptr);
        } else {
            EXPECT_EQ(bytes_of(r.body, r.body_len), hex(c.body));
        }
        qb_asn_cert_request_in::free_obj(r);
    }
}

TEST(QbAsnCertRequestIn, null_texts_travel_as_one_zero_octet_and_read_back_empty) {
    cert_request_in r = {nullptr, nullptr, 0, nullptr};
    cert_request_in out;
    write_then_read<qb_asn_cert_request_in>(r, "04 02 AC DC 30 09  02 01 01  04 01 00  04 01 00", out);
    ASSERT_NE(out.text_a, nullptr);
    ASSERT_NE(out.text_b, nullptr);
    EXPECT_STREQ(out.text_a, "");
    EXPECT_STREQ(out.text_b, "");
    qb_asn_cert_request_in::free_obj(out);
}

TEST(QbAsnCertRequestIn, body_without_octets_is_refused) {
    cert_request_in r = {const_cast<char*>("a"), const_cast<char*>("b"), 3, nullptr};
    qb_asn_cert_request_in rec(security_off);
    EXPECT_EQ(rec.set_value(r), 0x1065219C);
}

TEST(QbAsnCertRequestIn, round_trip_gives_fresh_copies) {
    unsigned char body[3] = {0x00, 0xFF, 0x80};
    cert_request_in in = {const_cast<char*>("request"), const_cast<char*>("x"), 3, body};
    cert_request_in out;
    write_then_read<qb_asn_cert_request_in>(
        in, "04 02 AC DC 30 16  02 01 01  04 08 72 65 71 75 65 73 74 00  04 02 78 00  04 03 00 FF 80", out);
    EXPECT_STREQ(out.text_a, "request");
    EXPECT_STREQ(out.text_b, "x");
    ASSERT_EQ(out.body_len, 3U);
    EXPECT_NE(out.body, body);
    EXPECT_EQ(bytes_of(out.body, out.body_len), hex("00 FF 80"));
    qb_asn_cert_request_in::free_obj(out);
}

TEST(QbAsnCertRequestIn, free_obj_frees_texts_and_body_and_clears_nothing) {
    auto* body = static_cast<unsigned char*>(std::malloc(2));
    cert_request_in r = {malloc_text("a"), malloc_text("b"), 2, body};
    qb_asn_cert_request_in::free_obj(r);  // a leak shows in the sanitizer build
    EXPECT_EQ(r.body, body);
    EXPECT_EQ(r.body_len, 2U);

    cert_request_in none = {nullptr, nullptr, 5, nullptr};
    qb_asn_cert_request_in::free_obj(none);  // nulls are skipped
}

// ==== reflection ====

TEST(KxobjsReflection, names_and_flat_sizes) {
    const qb_test::class_names got =
        qb_test::class_names_of<qb_asn_kxobj_update_t, qb_asn_kxobj_update_list_t, qb_asn_cert_request_in>();
    EXPECT_EQ(got.held, (std::vector<std::string>{"kxobj_update", "update_list", "cert_request_in"}));
    EXPECT_EQ(got.full, (std::vector<std::string>{"kxobj_update", "update_list", "cert_request_in"}));
    EXPECT_EQ(got.flat, (std::vector<std::string>{"kxobj_update_s_t", "kxobj_update_list_s_t", "cert_request_in"}));
    EXPECT_TRUE(got.sizes_match);
}

TEST(KxobjsReflection, kxobj_update_info) {
    const qb_record_info& info = qb_asn_kxobj_update_t::reflect();
    expect_fields(info, {
                            {"value_a", qb_field_long, offsetof(kxobj_update_s_t, value_a), kAny, nullptr, 0},
                            {"text", qb_field_text_octets, offsetof(kxobj_update_s_t, text), kAny, nullptr, 0},
                            {"value_b", qb_field_long, offsetof(kxobj_update_s_t, value_b), kAny, nullptr, 0},
                        });
    for (size_t i = 0; i < info.field_count; ++i) EXPECT_EQ(info.fields[i].element, nullptr);
    EXPECT_EQ(&qb_asn_kxobj_update_t::reflect(), &info);  // one table
}

TEST(KxobjsReflection, update_list_info) {
    const qb_record_info& info = qb_asn_kxobj_update_list_t::reflect();
    expect_fields(info, {
                            {"items", qb_field_record_list, offsetof(kxobj_update_list_s_t, count),
                             offsetof(kxobj_update_list_s_t, items), &qb_asn_kxobj_update_t::reflect(), 0, 0},
                        });
    ASSERT_EQ(info.field_count, 1U);
    EXPECT_STREQ(info.fields[0].count_name, "count");
}

TEST(KxobjsReflection, cert_request_in_info) {
    const qb_record_info& info = qb_asn_cert_request_in::reflect();
    expect_fields(info, {
                            {"text_a", qb_field_text_octets, offsetof(cert_request_in, text_a), kAny, nullptr, 0},
                            {"text_b", qb_field_text_octets, offsetof(cert_request_in, text_b), kAny, nullptr, 0},
                            {"body", qb_field_octets, offsetof(cert_request_in, body_len),
                             offsetof(cert_request_in, body), nullptr, 1},
                        });
    ASSERT_EQ(info.field_count, 3U);
    EXPECT_STREQ(info.fields[2].count_name, "body_len");
}

// encode_then_decode: the entry point info.encode of `in` in form `form`
// gives `want_hex`; info.decode (plain form) reads the octets into `back`
// (zeroed first), which the caller checks and frees with info.free_obj.
template <class Flat>
void encode_then_decode(const qb_record_info& info, Flat& in, int form, const char* want_hex, Flat& back) {
    back = {};
    qb_asn_buffer_t out = {0, nullptr};
    ASSERT_EQ(info.encode(out, &in, form), 0U);
    EXPECT_EQ(bytes_of(out), hex(want_hex));
    const unsigned int rc = info.decode(out, &back, 0);
    qb_asn_buffer_free(out);
    ASSERT_EQ(rc, 0U);
}

TEST(KxobjsReflection, update_entry_points_use_envelope_version_two) {
    const qb_record_info& info = qb_asn_kxobj_update_t::reflect();
    kxobj_update_s_t in = {5, const_cast<char*>("x"), -1};
    kxobj_update_s_t r;
    encode_then_decode(info, in, 0, "04 02 AC DC 30 0D  02 01 01  02 01 05  04 02 78 00  02 01 FF", r);
    EXPECT_EQ(r.value_a, 5);
    EXPECT_STREQ(r.text, "x");
    EXPECT_EQ(r.value_b, -1);
    info.free_obj(&r);
}

TEST(KxobjsReflection, list_and_request_entry_points_use_envelope_version_two) {
    kxobj_update_s_t items[1] = {{1, const_cast<char*>("a"), 2}};
    kxobj_update_list_s_t list = {1, items};
    const qb_record_info& list_info = qb_asn_kxobj_update_list_t::reflect();
    kxobj_update_list_s_t list_back;
    // No local-code-set text: the local-code-set form writes the same octets.
    encode_then_decode(list_info, list, 1,
                       "04 02 AC DC 30 14  02 01 01  30 0F  30 0D 02 01 01 02 01 01 04 02 61 00 02 01 02", list_back);
    ASSERT_EQ(list_back.count, 1U);
    EXPECT_STREQ(list_back.items[0].text, "a");
    list_info.free_obj(&list_back);

    unsigned char body[1] = {0x09};
    cert_request_in req = {const_cast<char*>("a"), nullptr, 1, body};
    const qb_record_info& req_info = qb_asn_cert_request_in::reflect();
    cert_request_in req_back;
    encode_then_decode(req_info, req, 0, "04 02 AC DC 30 0D  02 01 01  04 02 61 00  04 01 00  04 01 09", req_back);
    EXPECT_STREQ(req_back.text_a, "a");
    EXPECT_STREQ(req_back.text_b, "");
    EXPECT_EQ(bytes_of(req_back.body, req_back.body_len), hex("09"));
    req_info.free_obj(&req_back);
}

}  // namespace
