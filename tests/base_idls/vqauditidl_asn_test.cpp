// tests/base_idls/vqauditidl_asn_test.cpp - the audit records: attributes,
// element trees (recursive, sub-elements held contiguously) and events.
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "asn1/asn1.h"
#include "base_idls/vqauditidl_asn.h"
#include "support/failing_malloc.h"
#include "support/hex.h"
#include "support/record_test.h"

namespace {

using bytes = qb_test::bytes_t;
using qb_test::block_of;
using qb_test::concat;
using qb_test::decode;
using qb_test::encode;
using qb_test::expect_text;
using qb_test::frame;
using qb_test::sweep_decode;
using qb_test::sweep_encode;
using qb_test::sweep_result;
using qb_test::text_of;

// ---- helpers ----

void expect_attribute(const vqauditattribute_s_t& want, const vqauditattribute_s_t& got) {
    expect_text(want.name, got.name);
    ASSERT_EQ(want.length, got.length);
    EXPECT_EQ(block_of(want.value, want.length), block_of(got.value, got.length));
}

void expect_element(const vqauditelement_s_t& want, const vqauditelement_s_t& got) {
    expect_text(want.name, got.name);
    ASSERT_EQ(want.length, got.length);
    EXPECT_EQ(block_of(want.value, want.length), block_of(got.value, got.length));
    ASSERT_EQ(want.attribute_count, got.attribute_count);
    if (want.attribute_count == 0) {
        EXPECT_EQ(got.attributes, nullptr);
    }
    for (unsigned int i = 0; i < want.attribute_count; ++i) {
        SCOPED_TRACE("attribute " + std::to_string(i));
        expect_attribute(want.attributes[i], got.attributes[i]);
    }
    ASSERT_EQ(want.element_count, got.element_count);
    if (want.element_count == 0) {
        EXPECT_EQ(got.elements, nullptr);
    }
    for (unsigned int i = 0; i < want.element_count; ++i) {
        SCOPED_TRACE("sub-element " + std::to_string(i) + " of " + text_of(want.name));
        expect_element(want.elements[i], got.elements[i]);
    }
}

void expect_event(const vqauditevent_s_t& want, const vqauditevent_s_t& got) {
    EXPECT_EQ(want.event_type, got.event_type);
    expect_text(want.event_name, got.event_name);
    EXPECT_EQ(want.outcome, got.outcome);
    ASSERT_EQ(want.count, got.count);
    if (want.count == 0) {
        EXPECT_EQ(got.elements, nullptr);
    }
    for (unsigned int i = 0; i < want.count; ++i) {
        SCOPED_TRACE("element " + std::to_string(i));
        expect_element(want.elements[i], got.elements[i]);
    }
}

// An element chain `levels` deep, each named "n" with no value and no
// attributes and the next level as its only sub-element; as an envelope.
bytes nested_elements_hex(int levels) {
    bytes inner;  // the innermost element's sub-element list is empty
    for (int i = 0; i < levels; ++i) {
        const bytes sub_list = frame(0x30, inner);
        inner = frame(0x30, concat({hex("0C 01 6E 04 00 30 00"), sub_list}));
    }
    return concat({hex("04 02 AC DC"), inner});
}

unsigned char kIp[] = {0x0A, 0x00, 0x00, 0x01};
unsigned char kAb[] = {0x61, 0x62};
unsigned char kOne[] = {0x01};
unsigned char kTwo[] = {0x02};
unsigned char kThree[] = {0x03};

// ---- vqauditattribute_s_t ----

TEST(VqauditAttribute, RoundTripMatchesExpectedBytes) {
    vqauditattribute_s_t a{const_cast<char*>("ip"), 4, kIp};
    EXPECT_EQ(encode(a), hex("04 02 AC DC  30 0A  0C 02 69 70  04 04 0A 00 00 01"));

    vqauditattribute_s_t got{};
    ASSERT_EQ(decode(encode(a), got), 0u);
    expect_attribute(a, got);
    EXPECT_NE(got.value, kIp);  // a copy of its own
    qbAsnFreeObj(got);
}

TEST(VqauditAttribute, LcsFormGivesTheSameBytesForAscii) {
    vqauditattribute_s_t a{const_cast<char*>("ip"), 4, kIp};
    EXPECT_EQ(encode(a, true), encode(a));
    vqauditattribute_s_t got{};
    ASSERT_EQ(decode(encode(a, true), got, true), 0u);
    expect_attribute(a, got);
    qbAsnFreeObj(got);
}

TEST(VqauditAttribute, ZeroLengthDataEncodesAnEmptyOctetString) {
    vqauditattribute_s_t a{const_cast<char*>("k"), 0, nullptr};
    EXPECT_EQ(encode(a), hex("04 02 AC DC  30 05  0C 01 6B  04 00"));
    vqauditattribute_s_t got{};
    ASSERT_EQ(decode(encode(a), got), 0u);
    expect_text("k", got.name);
    EXPECT_EQ(got.length, 0u);
    qbAsnFreeObj(got);
}

TEST(VqauditAttribute, NullNameEncodesLikeTheEmptyTextAndDecodesAllocated) {
    vqauditattribute_s_t null_name{nullptr, 1, kOne};
    vqauditattribute_s_t empty_name{const_cast<char*>(""), 1, kOne};
    EXPECT_EQ(encode(null_name), hex("04 02 AC DC  30 05  0C 00  04 01 01"));
    EXPECT_EQ(encode(empty_name), encode(null_name));
    vqauditattribute_s_t got{};
    ASSERT_EQ(decode(encode(null_name), got), 0u);
    ASSERT_NE(got.name, nullptr);
    EXPECT_EQ(got.name[0], '\0');
    qbAsnFreeObj(got);
}

TEST(VqauditAttribute, TypeNameIsCutTo16Characters) {
    asn_vqauditattribute_t rec(security_off);
    EXPECT_STREQ(rec.get_type_name(), "vqauditattribute");
    EXPECT_STREQ(rec.name.get_type_name(), "qbUTF8string");
    EXPECT_STREQ(rec.value.get_type_name(), "OCTETSTRING");
    EXPECT_STREQ(asn_vqauditattribute_t::reflect().name, "vqauditattribute_t");
    EXPECT_STREQ(asn_vqauditattribute_t::reflect().flat_name, "vqauditattribute_s_t");
}

// ---- vqauditelement_s_t ----

TEST(VqauditElement, RoundTripMatchesExpectedBytes) {
    vqauditattribute_s_t attrs[] = {{const_cast<char*>("k"), 1, kOne}};
    vqauditelement_s_t e{const_cast<char*>("user"), 2, kAb, 1, attrs, 0, nullptr};
    EXPECT_EQ(encode(e), hex("04 02 AC DC  30 16"
                             "  0C 04 75 73 65 72"
                             "  04 02 61 62"
                             "  30 08  30 06 0C 01 6B 04 01 01"
                             "  30 00"));
    vqauditelement_s_t got{};
    ASSERT_EQ(decode(encode(e), got), 0u);
    expect_element(e, got);
    qbAsnFreeObj(got);
}

TEST(VqauditElement, EmptyListsDecodeToCountZeroAndNullArrays) {
    vqauditelement_s_t e{const_cast<char*>("x"), 0, nullptr, 0, nullptr, 0, nullptr};
    EXPECT_EQ(encode(e), hex("04 02 AC DC  30 09  0C 01 78  04 00  30 00  30 00"));
    vqauditelement_s_t got{};
    ASSERT_EQ(decode(encode(e), got), 0u);
    expect_text("x", got.name);
    EXPECT_EQ(got.length, 0u);
    EXPECT_EQ(got.attribute_count, 0u);
    EXPECT_EQ(got.attributes, nullptr);
    EXPECT_EQ(got.element_count, 0u);
    EXPECT_EQ(got.elements, nullptr);
    qbAsnFreeObj(got);
}

TEST(VqauditElement, SubElementsAreHeldContiguously) {
    vqauditelement_s_t subs[] = {
        {const_cast<char*>("s1"), 1, kOne, 0, nullptr, 0, nullptr},
        {const_cast<char*>("s2"), 1, kTwo, 0, nullptr, 0, nullptr},
        {const_cast<char*>("s3"), 1, kThree, 0, nullptr, 0, nullptr},
    };
    vqauditelement_s_t e{const_cast<char*>("top"), 0, nullptr, 0, nullptr, 3, subs};
    vqauditelement_s_t got{};
    {
        qb_test::record_allocations log;
        ASSERT_EQ(decode(encode(e), got), 0u);
        // One array for the three sub-elements, sized by the flat record.
        bool seen = false;
        const std::vector<size_t> sizes = log.sizes();
        for (size_t n : sizes) seen = seen || n == 3 * sizeof(vqauditelement_s_t);
        EXPECT_TRUE(seen);
    }
    ASSERT_EQ(got.element_count, 3u);
    for (unsigned int i = 0; i < 3; ++i) {
        SCOPED_TRACE(i);
        EXPECT_EQ(text_of(got.elements[i].name), text_of(subs[i].name));  // in order, side by side
        ASSERT_EQ(got.elements[i].length, 1u);
        EXPECT_EQ(got.elements[i].value[0], subs[i].value[0]);
    }
    qbAsnFreeObj(got);
}

TEST(VqauditElement, TypeNamesAndReflection) {
    asn_vqauditelement_t rec(security_off);
    EXPECT_STREQ(rec.get_type_name(), "vqauditelement_t");  // exactly 16 characters: not cut
    EXPECT_STREQ(rec.attributes.get_type_name(), "SEQUENCEOF");
    EXPECT_STREQ(rec.elements.get_type_name(), "SEQUENCEOF");
    const qb_record_info& info = asn_vqauditelement_t::reflect();
    EXPECT_STREQ(info.name, "vqauditelement_t");
    EXPECT_STREQ(info.flat_name, "vqauditelement_s_t");
    EXPECT_EQ(info.flat_size, sizeof(vqauditelement_s_t));
    ASSERT_EQ(info.field_count, 4u);
    EXPECT_EQ(info.fields[0].kind, qb_field_text);
    EXPECT_EQ(info.fields[1].kind, qb_field_octets);
    EXPECT_EQ(info.fields[2].kind, qb_field_record_list);
    EXPECT_EQ(info.fields[3].kind, qb_field_record_list);
    EXPECT_EQ(info.fields[2].offset, offsetof(vqauditelement_s_t, attribute_count));
    EXPECT_EQ(info.fields[2].offset2, offsetof(vqauditelement_s_t, attributes));
    EXPECT_EQ(info.fields[3].offset, offsetof(vqauditelement_s_t, element_count));
    EXPECT_EQ(info.fields[3].offset2, offsetof(vqauditelement_s_t, elements));
    ASSERT_NE(info.fields[2].element, nullptr);
    ASSERT_NE(info.fields[3].element, nullptr);
    EXPECT_EQ(info.fields[2].element(), &asn_vqauditattribute_t::reflect());
    EXPECT_EQ(info.fields[3].element(), &info);  // recursive: its own record
}

TEST(VqauditElement, NestingDeeperThanTheBoundIsRefused) {
    // 300 levels: a record frame and a list frame per level, far past 256 frames.
    vqauditelement_s_t got{};
    EXPECT_EQ(decode(nested_elements_hex(300), got), 0x1065219Bu);
    EXPECT_EQ(got.name, nullptr);  // get_value never ran
    EXPECT_EQ(got.elements, nullptr);
    qbAsnFreeObj(got);
}

TEST(VqauditElement, NestingAtTheBoundIsRead) {
    // Level k (from 0) is a record frame at depth 2k whose members sit at
    // depth 2k+1: 128 levels reach depth 255, the deepest frame allowed.
    vqauditelement_s_t got{};
    ASSERT_EQ(decode(nested_elements_hex(128), got), 0u);
    const vqauditelement_s_t* e = &got;
    int levels = 1;
    while (e->element_count == 1) {
        e = &e->elements[0];
        ++levels;
    }
    EXPECT_EQ(levels, 128);
    EXPECT_EQ(e->element_count, 0u);
    qbAsnFreeObj(got);

    vqauditelement_s_t deeper{};
    EXPECT_EQ(decode(nested_elements_hex(129), deeper), 0x1065219Bu);
    qbAsnFreeObj(deeper);
}

// ---- vqauditevent_s_t ----

TEST(VqauditEvent, RoundTripMatchesExpectedBytes) {
    vqauditattribute_s_t attrs[] = {{const_cast<char*>("k"), 1, kOne}};
    vqauditelement_s_t elems[] = {{const_cast<char*>("user"), 2, kAb, 1, attrs, 0, nullptr}};
    vqauditevent_s_t ev{7, const_cast<char*>("login"), -1, 1, elems};
    const bytes want = hex("04 02 AC DC  30 27"
                           "  02 01 07"
                           "  0C 05 6C 6F 67 69 6E"
                           "  02 01 FF"
                           "  30 18"
                           "    30 16  0C 04 75 73 65 72  04 02 61 62"
                           "           30 08 30 06 0C 01 6B 04 01 01  30 00");
    EXPECT_EQ(encode(ev), want);
    vqauditevent_s_t got{};
    ASSERT_EQ(decode(want, got), 0u);
    expect_event(ev, got);
    qbAsnFreeObj(got);
}

TEST(VqauditEvent, LcsFormGivesTheSameBytesForAscii) {
    vqauditelement_s_t elems[] = {{const_cast<char*>("user"), 2, kAb, 0, nullptr, 0, nullptr}};
    vqauditevent_s_t ev{3, const_cast<char*>("logout"), 0, 1, elems};
    EXPECT_EQ(encode(ev, true), encode(ev));
    vqauditevent_s_t got{};
    ASSERT_EQ(decode(encode(ev), got, true), 0u);
    expect_event(ev, got);
    qbAsnFreeObj(got);
}

TEST(VqauditEvent, NoElementsEncodesAnEmptyListAndDecodesToNull) {
    vqauditevent_s_t ev{0, nullptr, 0, 0, nullptr};
    EXPECT_EQ(encode(ev), hex("04 02 AC DC  30 0A  02 01 00  0C 00  02 01 00  30 00"));
    vqauditevent_s_t got{};
    std::memset(&got, 0, sizeof got);
    ASSERT_EQ(decode(encode(ev), got), 0u);
    EXPECT_EQ(got.count, 0u);
    EXPECT_EQ(got.elements, nullptr);
    ASSERT_NE(got.event_name, nullptr);  // a null text comes back as ""
    EXPECT_EQ(got.event_name[0], '\0');
    qbAsnFreeObj(got);
}

// The element tree three levels deep: a -> (b -> (c), d with one attribute).
TEST(VqauditEvent, ThreeLevelElementTreeKeepsEverySubElementInOrder) {
    vqauditelement_s_t c_level[] = {{const_cast<char*>("c"), 0, nullptr, 0, nullptr, 0, nullptr}};
    vqauditattribute_s_t d_attrs[] = {{const_cast<char*>("x"), 1, kThree}};
    vqauditelement_s_t b_level[] = {
        {const_cast<char*>("b"), 1, kTwo, 0, nullptr, 1, c_level},
        {const_cast<char*>("d"), 0, nullptr, 1, d_attrs, 0, nullptr},
    };
    vqauditelement_s_t a_level[] = {{const_cast<char*>("a"), 1, kOne, 0, nullptr, 2, b_level}};
    vqauditevent_s_t ev{1, const_cast<char*>("e"), 0, 1, a_level};
    const bytes want = hex("04 02 AC DC  30 41  02 01 01  0C 01 65  02 01 00"
                           "  30 36"
                           "    30 34  0C 01 61  04 01 01  30 00"       // a
                           "      30 2A"
                           "        30 15  0C 01 62  04 01 02  30 00"   // b
                           "          30 0B"
                           "            30 09  0C 01 63  04 00  30 00  30 00"  // c
                           "        30 11  0C 01 64  04 00"             // d
                           "          30 08  30 06 0C 01 78 04 01 03"
                           "          30 00");
    EXPECT_EQ(encode(ev), want);

    vqauditevent_s_t got{};
    ASSERT_EQ(decode(want, got), 0u);
    expect_event(ev, got);
    // Spelled out once more at the places the tree puts them.
    ASSERT_EQ(got.count, 1u);
    const vqauditelement_s_t& a = got.elements[0];
    ASSERT_EQ(a.element_count, 2u);
    EXPECT_STREQ(a.elements[0].name, "b");
    EXPECT_STREQ(a.elements[1].name, "d");
    ASSERT_EQ(a.elements[0].element_count, 1u);
    EXPECT_STREQ(a.elements[0].elements[0].name, "c");
    EXPECT_EQ(a.elements[0].elements[0].element_count, 0u);
    ASSERT_EQ(a.elements[1].attribute_count, 1u);
    EXPECT_STREQ(a.elements[1].attributes[0].name, "x");
    qbAsnFreeObj(got);

    // Decode, re-encode: the same bytes.
    vqauditevent_s_t again{};
    ASSERT_EQ(decode(want, again), 0u);
    EXPECT_EQ(encode(again), want);
    qbAsnFreeObj(again);
}

TEST(VqauditEvent, TypeName) {
    asn_vqauditevent_t rec(security_off);
    EXPECT_STREQ(rec.get_type_name(), "vqauditevent_t");
    EXPECT_STREQ(rec.event_type.get_type_name(), "INTEGER");
    EXPECT_STREQ(rec.event_name.get_type_name(), "qbUTF8string");
    EXPECT_STREQ(rec.elements.get_type_name(), "SEQUENCEOF");
    EXPECT_STREQ(asn_vqauditevent_t::reflect().name, "vqauditevent_t");
}

TEST(VqauditEvent, WrongMemberTagInASubElementFailsTheWholeDecode) {
    // The sub-element's name arrives as an OCTET STRING (04) instead of a UTF8String.
    vqauditevent_s_t got{};
    const unsigned int rc = decode(hex("04 02 AC DC  30 20  02 01 01  0C 00  02 01 00"
                                       "  30 16  30 14  0C 01 61  04 00  30 00"
                                       "    30 0B  30 09  04 01 62  04 00  30 00  30 00"),
                                   got);
    EXPECT_EQ(rc, 0x106521A4u);
    qbAsnFreeObj(got);
}

// Every allocation of a decode fails in turn: the call reports the memory
// status or succeeds, and the record it leaves is always safe to free.
TEST(VqauditEvent, AllocationFailureAtEveryStepOfADecodeLeaksNothing) {
    vqauditelement_s_t c_level[] = {{const_cast<char*>("c"), 1, kOne, 0, nullptr, 0, nullptr}};
    vqauditattribute_s_t attrs[] = {{const_cast<char*>("x"), 1, kThree}, {const_cast<char*>("y"), 0, nullptr}};
    vqauditelement_s_t b_level[] = {{const_cast<char*>("b"), 1, kTwo, 2, attrs, 1, c_level}};
    vqauditevent_s_t ev{1, const_cast<char*>("e"), 2, 1, b_level};
    const bytes input = encode(ev);
    const sweep_result decoded =
        sweep_decode<vqauditevent_s_t>(input, 400, [&](const vqauditevent_s_t& got) { expect_event(ev, got); });
    EXPECT_GE(decoded.failures, 10);  // texts, blocks and arrays at every level
}

TEST(VqauditEvent, AllocationFailureAtEveryStepOfAnEncodeLeaksNothing) {
    vqauditelement_s_t c_level[] = {{const_cast<char*>("c"), 1, kOne, 0, nullptr, 0, nullptr}};
    vqauditattribute_s_t attrs[] = {{const_cast<char*>("x"), 1, kThree}};
    vqauditelement_s_t b_level[] = {{const_cast<char*>("b"), 1, kTwo, 1, attrs, 1, c_level}};
    vqauditevent_s_t ev{1, const_cast<char*>("e"), 2, 1, b_level};
    const bytes want = encode(ev);
    const sweep_result encoded = sweep_encode(ev, want, 400);
    EXPECT_GE(encoded.failures, 1);
}

}  // namespace
