// tests/base_idls/vqauditidl_asn_test.cpp - the audit records: attributes,
// element trees (recursive, sub-elements held contiguously) and events. What
// is particular to them: their octets written out (each row goes both ways in
// both forms, support/record_cases.h), trees three levels deep, one array per
// sub-element list, the nesting bound, a wrong member tag deep inside, type
// names, and the failures a decode of an event meets. The round trips every
// record shares run from the reflection table in records_generic_test.cpp
// and records_direct_test.cpp.
#include "support/failing_malloc.h"  // first: the sweeps of support/record_test.h

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <string>
#include <vector>

#include "base_idls/vqauditidl_asn.h"
#include "support/record_test.h"

namespace {

using bytes = qb_test::bytes_t;
using qb_test::concat, qb_test::encode, qb_test::expect_known_answer, qb_test::text;

class VqauditRecords : public qb_test::LeakChecked {};

unsigned char kIp[] = {0x0A, 0x00, 0x00, 0x01};
unsigned char kAb[] = {0x61, 0x62};
unsigned char kOne[] = {0x01};
unsigned char kTwo[] = {0x02};
unsigned char kThree[] = {0x03};

// nested_elements: an element chain `levels` deep, each named "n" with no
// value and no attributes and the next level as its only sub-element, behind
// the envelope, as hex text.
std::string nested_elements(int levels) {
    return qb_test::to_hex(concat({hex("04 02 AC DC"), qb_test::nested_records(hex("0C 01 6E 04 00 30 00"), levels)}));
}

TEST_F(VqauditRecords, known_answers) {
    expect_known_answer<asn_vqauditattribute_t>("name and value", {text("ip"), 4, kIp},
                                                ENVELOPE "30 0A  0C 02 69 70  04 04 0A 00 00 01");
    expect_known_answer<asn_vqauditattribute_t>("zero-length data is an empty OCTET STRING", {text("k"), 0, nullptr},
                                                ENVELOPE "30 05  0C 01 6B  04 00");
    // A null name encodes like the empty text.
    expect_known_answer<asn_vqauditattribute_t>("a null name", {nullptr, 1, kOne}, ENVELOPE "30 05  0C 00  04 01 01");
    expect_known_answer<asn_vqauditattribute_t>("an empty name", {text(""), 1, kOne},
                                                ENVELOPE "30 05  0C 00  04 01 01");
    vqauditattribute_s_t k_attr[1] = {{text("k"), 1, kOne}};
    vqauditelement_s_t user{text("user"), 2, kAb, 1, k_attr, 0, nullptr};
    expect_known_answer<asn_vqauditelement_t>(
        "name, value, attributes", user,
        ENVELOPE "30 16  0C 04 75 73 65 72  04 02 61 62  30 08  30 06 0C 01 6B 04 01 01  30 00");
    expect_known_answer<asn_vqauditelement_t>("empty lists", {text("x"), 0, nullptr, 0, nullptr, 0, nullptr},
                                              ENVELOPE "30 09  0C 01 78  04 00  30 00  30 00");
    expect_known_answer<asn_vqauditevent_t>(
        "every member", {7, text("login"), -1, 1, &user},
        ENVELOPE "30 27  02 01 07  0C 05 6C 6F 67 69 6E  02 01 FF  30 18"
                 "    30 16  0C 04 75 73 65 72  04 02 61 62  30 08 30 06 0C 01 6B 04 01 01  30 00");
    vqauditelement_s_t user_only{text("user"), 2, kAb, 0, nullptr, 0, nullptr};
    expect_known_answer<asn_vqauditevent_t>("one element without attributes", {3, text("logout"), 0, 1, &user_only},
                                            nullptr);
    expect_known_answer<asn_vqauditevent_t>("no elements", {0, nullptr, 0, 0, nullptr},
                                            ENVELOPE "30 0A  02 01 00  0C 00  02 01 00  30 00");
    // The element tree three levels deep: a -> (b -> (c), d with one attribute).
    vqauditelement_s_t c_level[1] = {{text("c"), 0, nullptr, 0, nullptr, 0, nullptr}};
    vqauditattribute_s_t d_attrs[1] = {{text("x"), 1, kThree}};
    vqauditelement_s_t b_level[2] = {{text("b"), 1, kTwo, 0, nullptr, 1, c_level},
                                     {text("d"), 0, nullptr, 1, d_attrs, 0, nullptr}};
    vqauditelement_s_t a_level[1] = {{text("a"), 1, kOne, 0, nullptr, 2, b_level}};
    expect_known_answer<asn_vqauditevent_t>("a three-level element tree", {1, text("e"), 0, 1, a_level},
                                            ENVELOPE "30 41  02 01 01  0C 01 65  02 01 00"
                                                     "  30 36"
                                                     "    30 34  0C 01 61  04 01 01  30 00"                 // a
                                                     "      30 2A"
                                                     "        30 15  0C 01 62  04 01 02  30 00"             // b
                                                     "          30 0B"
                                                     "            30 09  0C 01 63  04 00  30 00  30 00"     // c
                                                     "        30 11  0C 01 64  04 00"                       // d
                                                     "          30 08  30 06 0C 01 78 04 01 03"
                                                     "          30 00");
}

// Level k (from 0) is a record frame at depth 2k whose members sit at depth
// 2k+1: 128 levels reach depth 255, the deepest frame allowed; 129 and 300
// levels are refused (the 300-level one before get_value touches the record).
TEST_F(VqauditRecords, nesting_bound) {
    std::vector<vqauditelement_s_t> levels(128, vqauditelement_s_t{text("n"), 0, nullptr, 0, nullptr, 0, nullptr});
    for (size_t i = 0; i + 1 < levels.size(); ++i) {
        levels[i].element_count = 1;
        levels[i].elements = &levels[i + 1];
    }
    const std::string at_bound = nested_elements(128), deeper = nested_elements(129), far = nested_elements(300);
    expect_known_answer<asn_vqauditelement_t>("128 levels", levels[0], at_bound.c_str());
    qb_test::expect_refused<asn_vqauditelement_t>("129 levels", deeper.c_str(), 0x1065219BU);
    qb_test::expect_refused<asn_vqauditelement_t>("300 levels", far.c_str(), 0x1065219BU, true);
    // The sub-element's name arrives as an OCTET STRING (04) instead of a UTF8String.
    qb_test::expect_refused<asn_vqauditevent_t>("a wrong member tag in a sub-element fails the whole decode",
                                                ENVELOPE "30 20  02 01 01  0C 00  02 01 00  30 16  30 14  0C 01 61"
                                                         "  04 00  30 00  30 0B  30 09  04 01 62  04 00  30 00  30 00",
                                                0x106521A4U);
}

TEST_F(VqauditRecords, sub_elements_are_held_contiguously) {
    vqauditelement_s_t subs[] = {
        {text("s1"), 1, kOne, 0, nullptr, 0, nullptr},
        {text("s2"), 1, kTwo, 0, nullptr, 0, nullptr},
        {text("s3"), 1, kThree, 0, nullptr, 0, nullptr},
    };
    vqauditelement_s_t e{text("top"), 0, nullptr, 0, nullptr, 3, subs};
    vqauditelement_s_t got;
    const std::vector<size_t> sizes = qb_test::decode_allocations(encode(e), got);
    // One array for the three sub-elements, sized by the flat record, holding
    // them in order, side by side.
    EXPECT_EQ(std::count(sizes.begin(), sizes.end(), 3 * sizeof(vqauditelement_s_t)), 1);
    ASSERT_EQ(got.element_count, 3u);
    for (unsigned int i = 0; i < 3; ++i) {
        SCOPED_TRACE(i);
        EXPECT_STREQ(got.elements[i].name, subs[i].name);
        ASSERT_EQ(got.elements[i].length, 1u);
        EXPECT_EQ(got.elements[i].value[0], subs[i].value[0]);
    }
    qbAsnFreeObj(got);
}

TEST_F(VqauditRecords, type_names_and_reflection) {
    // Cut to 16 characters.
    qb_test::expect_names<asn_vqauditattribute_t>("vqauditattribute", "vqauditattribute_t", "vqauditattribute_s_t",
                                                  {"vqauditattribute", "  qbUTF8string", "  OCTETSTRING"});
    // Exactly 16 characters: not cut. Recursive: the sub-elements are records
    // of the same entry.
    qb_test::expect_names<asn_vqauditelement_t>(
        "vqauditelement_t", "vqauditelement_t", "vqauditelement_s_t",
        {"vqauditelement_t", "  qbUTF8string", "  OCTETSTRING", "  SEQUENCEOF", "  SEQUENCEOF"});
    qb_test::expect_fields(asn_vqauditelement_t::reflect(),
                           {{"name", qb_field_text},
                            {"value", qb_field_octets},
                            {"attributes", qb_field_record_list, offsetof(vqauditelement_s_t, attribute_count),
                             offsetof(vqauditelement_s_t, attributes), &asn_vqauditattribute_t::reflect()},
                            {"elements", qb_field_record_list, offsetof(vqauditelement_s_t, element_count),
                             offsetof(vqauditelement_s_t, elements), &asn_vqauditelement_t::reflect()}});
    qb_test::expect_names<asn_vqauditevent_t>("vqauditevent_t", "vqauditevent_t", "vqauditevent_s_t",
                                              {"vqauditevent_t", "  INTEGER", "  qbUTF8string", "  INTEGER",
                                               "  SEQUENCEOF"});
}

// Every allocation of a decode fails in turn: at least 10 failures (texts,
// blocks and arrays at every level), each leaving a record safe to free.
TEST_F(VqauditRecords, allocation_failure_at_every_step_of_a_decode_leaks_nothing) {
    vqauditelement_s_t c_level[] = {{text("c"), 1, kOne, 0, nullptr, 0, nullptr}};
    vqauditattribute_s_t attrs[] = {{text("x"), 1, kThree}, {text("y"), 0, nullptr}};
    vqauditelement_s_t b_level[] = {{text("b"), 1, kTwo, 2, attrs, 1, c_level}};
    qb_test::expect_sweep<asn_vqauditevent_t>("event", {1, text("e"), 2, 1, b_level}, nullptr,
                                              qb_test::sweep_way::decode, 400, {}, 10);
}

}  // namespace
