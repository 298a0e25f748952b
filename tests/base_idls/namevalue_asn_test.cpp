// tests/base_idls/namevalue_asn_test.cpp - name-value trees (recursive,
// children held through an array of pointers) and lists of them. What is
// particular to them: their octets written out (each row goes both ways in
// both forms, support/record_cases.h), trees three levels deep, null
// children, one allocation per child, the nesting bound, type names, and the
// failures a decode of a tree meets. The round trips every record shares run
// from the reflection table in records_generic_test.cpp and
// records_direct_test.cpp.
#include "support/failing_malloc.h"  // first: the sweeps of support/record_test.h

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <string>
#include <vector>

#include "base_idls/namevalue_asn.h"
#include "support/frames.h"
#include "support/record_test.h"

namespace {

using bytes = qb_test::bytes_t;
using qb_test::concat, qb_test::encode, qb_test::expect_known_answer, qb_test::frame_of, qb_test::text;

class NamevalueRecords : public qb_test::LeakChecked {};

const bytes kHeader = hex("04 02 AC DC");

// nested_nodes: a chain of `levels` records, each named "n" with no values
// and the next level as its only child.
bytes nested_nodes(int levels) { return qb_test::nested_records(hex("0C 01 6E 30 00"), levels); }

// A chain of flat records, level i's only child being level i+1.
struct chain {
    std::vector<namevalue_s_t> nodes;
    std::vector<namevalue_s_t*> links;
    explicit chain(int levels) : nodes(levels), links(levels) {
        for (int i = 0; i < levels; ++i) {
            nodes[i].name = text("n");
            links[i] = &nodes[i];
        }
        for (int i = 0; i + 1 < levels; ++i) {
            nodes[i].child_count = 1;
            nodes[i].child_nodes = &links[i + 1];
        }
    }
};

// root r ["1"] -> { a [] -> { c ["x", "y"] }, b ["2"] }
struct three_levels {
    char* c_values[2] = {text("x"), text("y")};
    namevalue_s_t c{text("c"), 2, c_values, 0, nullptr};
    namevalue_s_t* a_kids[1] = {&c};
    namevalue_s_t a{text("a"), 0, nullptr, 1, a_kids};
    char* b_values[1] = {text("2")};
    namevalue_s_t b{text("b"), 1, b_values, 0, nullptr};
    namevalue_s_t* r_kids[2] = {&a, &b};
    char* r_values[1] = {text("1")};
    namevalue_s_t root{text("r"), 1, r_values, 2, r_kids};
};

TEST_F(NamevalueRecords, known_answers) {
    char* red_blue[2] = {text("red"), text("blue")};
    expect_known_answer<asn_namevalue_t>(
        "name and values", {text("color"), 2, red_blue, 0, nullptr},
        ENVELOPE "30 16  0C 05 63 6F 6C 6F 72  30 0B  0C 03 72 65 64  0C 04 62 6C 75 65  30 00");
    namevalue_s_t child{text("c"), 1, red_blue, 0, nullptr};
    namevalue_s_t* one_kid[1] = {&child};
    expect_known_answer<asn_namevalue_t>("a child", {text("color"), 1, red_blue, 1, one_kid}, nullptr);
    expect_known_answer<asn_namevalue_t>("no values and no children", {text("n"), 0, nullptr, 0, nullptr},
                                         ENVELOPE "30 07  0C 01 6E  30 00  30 00");
    char* null_values[2] = {nullptr, text("")};
    expect_known_answer<asn_namevalue_t>("null texts travel as empty texts", {nullptr, 2, null_values, 0, nullptr},
                                         ENVELOPE "30 0A  0C 00  30 04 0C 00 0C 00  30 00");
    three_levels tree;
    expect_known_answer<asn_namevalue_t>("a three-level tree keeps every child in place", tree.root,
                                         ENVELOPE "30 2E  0C 01 72  30 03 0C 01 31"
                                                  "  30 24"
                                                  "    30 16  0C 01 61  30 00"                               // a
                                                  "      30 0F"
                                                  "        30 0D  0C 01 63  30 06 0C 01 78 0C 01 79  30 00"  // c
                                                  "    30 0A  0C 01 62  30 03 0C 01 32  30 00");             // b
    namevalue_s_t k{text("k"), 0, nullptr, 0, nullptr};
    namevalue_s_t* with_null[2] = {&k, nullptr};
    expect_known_answer<asn_namevalue_t>(
        "a null child travels as an empty record", {text("p"), 0, nullptr, 2, with_null},
        ENVELOPE "30 18  0C 01 70  30 00  30 11  30 07 0C 01 6B 30 00 30 00  30 06 0C 00 30 00 30 00");

    char* v[1] = {text("v")};
    namevalue_s_t p{text("p"), 1, v, 0, nullptr};
    namevalue_s_t q{text("q"), 0, nullptr, 0, nullptr};
    namevalue_s_t* pq[2] = {&p, &q};
    expect_known_answer<asn_namevalueList_t>(
        "two trees", {2, pq},
        ENVELOPE "30 17  30 15  30 0A  0C 01 70  30 03 0C 01 76  30 00  30 07  0C 01 71  30 00  30 00");
    expect_known_answer<asn_namevalueList_t>("one tree", {1, pq}, nullptr);
    expect_known_answer<asn_namevalueList_t>("an empty list", {0, nullptr}, ENVELOPE "30 02  30 00");
    char* leaf_values[3] = {text("1"), text("2"), text("3")};
    namevalue_s_t leaf{text("leaf"), 3, leaf_values, 0, nullptr};
    namevalue_s_t* mid_kids[1] = {&leaf};
    namevalue_s_t mid{text("mid"), 0, nullptr, 1, mid_kids};
    namevalue_s_t* top_kids[2] = {&mid, &leaf};
    namevalue_s_t top{text("top"), 0, nullptr, 2, top_kids};
    namevalue_s_t* trees[2] = {&top, &leaf};
    expect_known_answer<asn_namevalueList_t>("three-level trees", {2, trees}, nullptr);
}

// 300 levels: a record frame and a list frame per level, far past the bound
// of 256 frames: refused before get_value touches the record.
TEST_F(NamevalueRecords, trees_deeper_than_the_nesting_bound_are_refused) {
    const std::string tree = qb_test::to_hex(concat({kHeader, nested_nodes(300)}));
    const std::string list = qb_test::to_hex(concat({kHeader, frame_of(0x30, frame_of(0x30, nested_nodes(300)))}));
    qb_test::expect_refused<asn_namevalue_t>("300 levels", tree.c_str(), 0x1065219BU, true);
    qb_test::expect_refused<asn_namevalueList_t>("a list of a tree of 300 levels", list.c_str(), 0x1065219BU, true);
}

TEST_F(NamevalueRecords, deep_tree_is_written_as_built_but_read_only_up_to_the_bound) {
    // Writing follows no bound: the library writes exactly the octets built here.
    chain deep(300);
    EXPECT_EQ(encode(deep.nodes[0]), concat({kHeader, nested_nodes(300)}));

    // Level k (from 0) is a record frame at depth 2k whose members sit at
    // depth 2k+1: 128 levels reach depth 255, the deepest frame read; one
    // more is refused.
    chain at_bound(128);
    const std::string read = qb_test::to_hex(concat({kHeader, nested_nodes(128)}));
    const std::string refused = qb_test::to_hex(concat({kHeader, nested_nodes(129)}));
    expect_known_answer<asn_namevalue_t>("128 levels", at_bound.nodes[0], read.c_str());
    qb_test::expect_refused<asn_namevalue_t>("129 levels", refused.c_str(), 0x1065219BU);
}

TEST_F(NamevalueRecords, children_are_separate_records_behind_a_pointer_array) {
    namevalue_s_t k1{text("k1"), 0, nullptr, 0, nullptr};
    namevalue_s_t k2{text("k2"), 0, nullptr, 0, nullptr};
    namevalue_s_t k3{text("k3"), 0, nullptr, 0, nullptr};
    namevalue_s_t* kids[] = {&k1, &k2, &k3};
    namevalue_s_t nv{text("p"), 0, nullptr, 3, kids};
    namevalue_s_t got;
    const std::vector<size_t> sizes = qb_test::decode_allocations(encode(nv), got);
    // One array of three pointers and one record per child.
    EXPECT_EQ(std::count(sizes.begin(), sizes.end(), 3 * sizeof(namevalue_s_t*)), 1);
    EXPECT_EQ(std::count(sizes.begin(), sizes.end(), sizeof(namevalue_s_t)), 3);
    ASSERT_EQ(got.child_count, 3u);
    EXPECT_STREQ(got.child_nodes[0]->name, "k1");
    EXPECT_STREQ(got.child_nodes[1]->name, "k2");
    EXPECT_STREQ(got.child_nodes[2]->name, "k3");
    qbAsnFreeObj(got);
}

TEST_F(NamevalueRecords, type_names_and_reflection) {
    qb_test::expect_names<asn_namevalue_t>("namevalue_t", "namevalue_t", "namevalue_s_t",
                                           {"namevalue_t", "  qbUTF8string", "  SEQUENCEOF", "  SEQUENCEOF"});
    // Recursive: the children are records of the same entry.
    qb_test::expect_fields(asn_namevalue_t::reflect(),
                           {{"name", qb_field_text},
                            {"values", qb_field_text_list, offsetof(namevalue_s_t, value_count),
                             offsetof(namevalue_s_t, values)},
                            {"child_nodes", qb_field_record_ptr_list, offsetof(namevalue_s_t, child_count),
                             offsetof(namevalue_s_t, child_nodes), &asn_namevalue_t::reflect()}});
    qb_test::expect_names<asn_namevalueList_t>("namevalueList_t", "namevalueList_t", "namevalueList_s_t",
                                               {"namevalueList_t", "  SEQUENCEOF"});
    qb_test::expect_fields(asn_namevalueList_t::reflect(), {{"namevalues", qb_field_record_ptr_list, qb_test::kAny,
                                                             qb_test::kAny, &asn_namevalue_t::reflect()}});
}

// A tree three levels deep decoded with the 1st, 2nd, ... allocation failed
// meets at least 10 failures; each leaves a freeable record.
TEST_F(NamevalueRecords, allocation_failure_at_every_step_of_a_decode_leaks_nothing) {
    char* c_values[] = {text("x"), text("y")};
    namevalue_s_t c{text("c"), 2, c_values, 0, nullptr};
    namevalue_s_t* a_kids[] = {&c, &c};
    namevalue_s_t a{text("a"), 1, c_values, 2, a_kids};
    namevalue_s_t* r_kids[] = {&a};
    qb_test::expect_sweep<asn_namevalue_t>("tree", {text("r"), 0, nullptr, 1, r_kids}, nullptr,
                                           qb_test::sweep_way::decode, 400, {}, 10);
}

}  // namespace
