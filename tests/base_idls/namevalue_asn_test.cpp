// tests/base_idls/namevalue_asn_test.cpp - name-value trees (recursive, children
// held through an array of pointers) and lists of them.
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "asn1/asn1.h"
#include "base_idls/namevalue_asn.h"
#include "support/failing_malloc.h"
#include "support/hex.h"
#include "support/record_test.h"

namespace {

using bytes = qb_test::bytes_t;
using qb_test::concat;
using qb_test::decode;
using qb_test::encode;
using qb_test::expect_text;
using qb_test::frame;
using qb_test::sweep_decode;
using qb_test::sweep_result;
using qb_test::text;
using qb_test::text_of;

// ---- helpers ----

// Field by field, children recursively (a null child compares as an empty record).
void expect_node(const namevalue_s_t* want, const namevalue_s_t& got) {
    static const namevalue_s_t empty{};
    if (want == nullptr) want = &empty;
    expect_text(want->name, got.name);
    ASSERT_EQ(want->value_count, got.value_count);
    if (want->value_count == 0) {
        EXPECT_EQ(got.values, nullptr);
    }
    for (unsigned int i = 0; i < want->value_count; ++i) expect_text(want->values[i], got.values[i]);
    ASSERT_EQ(want->child_count, got.child_count);
    if (want->child_count == 0) {
        EXPECT_EQ(got.child_nodes, nullptr);
    }
    for (unsigned int i = 0; i < want->child_count; ++i) {
        SCOPED_TRACE("child " + std::to_string(i) + " of " + text_of(want->name));
        ASSERT_NE(got.child_nodes[i], nullptr);
        expect_node(want->child_nodes[i], *got.child_nodes[i]);
    }
}

// The BER of a chain of `levels` records, each named "n" with no values and
// the next level as its only child.
bytes nested_nodes(int levels) {
    bytes inner;  // the innermost record's child list is empty
    for (int i = 0; i < levels; ++i) inner = frame(0x30, concat({hex("0C 01 6E 30 00"), frame(0x30, inner)}));
    return inner;
}

const bytes kHeader = hex("04 02 AC DC");

// A chain of flat records, level i's only child being level i+1.
struct chain {
    std::vector<namevalue_s_t> nodes;
    std::vector<namevalue_s_t*> links;
    explicit chain(int levels) : nodes(levels), links(levels) {
        for (int i = 0; i < levels; ++i) {
            nodes[i].name = const_cast<char*>("n");
            links[i] = &nodes[i];
        }
        for (int i = 0; i + 1 < levels; ++i) {
            nodes[i].child_count = 1;
            nodes[i].child_nodes = &links[i + 1];
        }
    }
};

// Levels below a decoded chain, counting the top one.
int depth_of(const namevalue_s_t& top) {
    int levels = 1;
    const namevalue_s_t* n = &top;
    while (n->child_count == 1) {
        n = n->child_nodes[0];
        ++levels;
    }
    return levels;
}

// ---- namevalue_s_t ----

TEST(Namevalue, RoundTripMatchesExpectedBytes) {
    char* values[] = {text("red"), text("blue")};
    namevalue_s_t nv{text("color"), 2, values, 0, nullptr};
    const bytes want = hex("04 02 AC DC  30 16"
                           "  0C 05 63 6F 6C 6F 72"
                           "  30 0B  0C 03 72 65 64  0C 04 62 6C 75 65"
                           "  30 00");
    EXPECT_EQ(encode(nv), want);
    namevalue_s_t got{};
    ASSERT_EQ(decode(want, got), 0u);
    expect_node(&nv, got);
    EXPECT_NE(got.values[0], values[0]);  // copies of its own
    qbAsnFreeObj(got);
}

TEST(Namevalue, LcsFormGivesTheSameBytesForAscii) {
    char* values[] = {text("red")};
    namevalue_s_t child{text("c"), 1, values, 0, nullptr};
    namevalue_s_t* kids[] = {&child};
    namevalue_s_t nv{text("color"), 1, values, 1, kids};
    EXPECT_EQ(encode(nv, true), encode(nv));
    namevalue_s_t got{};
    ASSERT_EQ(decode(encode(nv), got, true), 0u);
    expect_node(&nv, got);
    qbAsnFreeObj(got);
}

TEST(Namevalue, NoValuesAndNoChildrenEncodeTwoEmptyListsAndDecodeToNull) {
    namevalue_s_t nv{text("n"), 0, nullptr, 0, nullptr};
    EXPECT_EQ(encode(nv), hex("04 02 AC DC  30 07  0C 01 6E  30 00  30 00"));
    namevalue_s_t got{};
    ASSERT_EQ(decode(encode(nv), got), 0u);
    expect_text("n", got.name);
    EXPECT_EQ(got.value_count, 0u);
    EXPECT_EQ(got.values, nullptr);
    EXPECT_EQ(got.child_count, 0u);
    EXPECT_EQ(got.child_nodes, nullptr);
    qbAsnFreeObj(got);
}

TEST(Namevalue, NullTextsEncodeLikeEmptyTextsAndDecodeAllocated) {
    char* null_values[] = {nullptr, text("")};
    namevalue_s_t nv{nullptr, 2, null_values, 0, nullptr};
    EXPECT_EQ(encode(nv), hex("04 02 AC DC  30 0A  0C 00  30 04 0C 00 0C 00  30 00"));
    namevalue_s_t got{};
    ASSERT_EQ(decode(encode(nv), got), 0u);
    ASSERT_NE(got.name, nullptr);
    EXPECT_EQ(got.name[0], '\0');
    ASSERT_EQ(got.value_count, 2u);
    for (unsigned int i = 0; i < 2; ++i) {
        ASSERT_NE(got.values[i], nullptr);
        EXPECT_EQ(got.values[i][0], '\0');
    }
    qbAsnFreeObj(got);
}

// root r ["1"] -> { a [] -> { c ["x", "y"] }, b ["2"] }
TEST(Namevalue, ThreeLevelTreeKeepsEveryChildInPlace) {
    char* c_values[] = {text("x"), text("y")};
    namevalue_s_t c{text("c"), 2, c_values, 0, nullptr};
    namevalue_s_t* a_kids[] = {&c};
    namevalue_s_t a{text("a"), 0, nullptr, 1, a_kids};
    char* b_values[] = {text("2")};
    namevalue_s_t b{text("b"), 1, b_values, 0, nullptr};
    namevalue_s_t* r_kids[] = {&a, &b};
    char* r_values[] = {text("1")};
    namevalue_s_t root{text("r"), 1, r_values, 2, r_kids};
    const bytes want = hex("04 02 AC DC  30 2E  0C 01 72  30 03 0C 01 31"
                           "  30 24"
                           "    30 16  0C 01 61  30 00"                        // a
                           "      30 0F"
                           "        30 0D  0C 01 63  30 06 0C 01 78 0C 01 79  30 00"  // c
                           "    30 0A  0C 01 62  30 03 0C 01 32  30 00");      // b
    EXPECT_EQ(encode(root), want);

    namevalue_s_t got{};
    ASSERT_EQ(decode(want, got), 0u);
    expect_node(&root, got);
    // Spelled out at the places the tree puts them.
    ASSERT_EQ(got.child_count, 2u);
    EXPECT_STREQ(got.child_nodes[0]->name, "a");
    EXPECT_STREQ(got.child_nodes[1]->name, "b");
    ASSERT_EQ(got.child_nodes[0]->child_count, 1u);
    const namevalue_s_t* got_c = got.child_nodes[0]->child_nodes[0];
    EXPECT_STREQ(got_c->name, "c");
    ASSERT_EQ(got_c->value_count, 2u);
    EXPECT_STREQ(got_c->values[0], "x");
    EXPECT_STREQ(got_c->values[1], "y");
    EXPECT_EQ(got_c->child_count, 0u);
    EXPECT_EQ(got_c->child_nodes, nullptr);
    ASSERT_EQ(got.child_nodes[1]->value_count, 1u);
    EXPECT_STREQ(got.child_nodes[1]->values[0], "2");
    qbAsnFreeObj(got);

    // Decode, re-encode: the same bytes.
    namevalue_s_t again{};
    ASSERT_EQ(decode(want, again), 0u);
    EXPECT_EQ(encode(again), want);
    qbAsnFreeObj(again);
}

TEST(Namevalue, ChildrenAreSeparateRecordsBehindAPointerArray) {
    namevalue_s_t k1{text("k1"), 0, nullptr, 0, nullptr};
    namevalue_s_t k2{text("k2"), 0, nullptr, 0, nullptr};
    namevalue_s_t k3{text("k3"), 0, nullptr, 0, nullptr};
    namevalue_s_t* kids[] = {&k1, &k2, &k3};
    namevalue_s_t nv{text("p"), 0, nullptr, 3, kids};
    const bytes input = encode(nv);
    namevalue_s_t got{};
    std::vector<size_t> sizes;
    {
        qb_test::record_allocations log;
        ASSERT_EQ(decode(input, got), 0u);
        sizes = log.sizes();
    }
    // One array of three pointers and one record per child.
    size_t arrays = 0, records = 0;
    for (size_t n : sizes) {
        arrays += n == 3 * sizeof(namevalue_s_t*);
        records += n == sizeof(namevalue_s_t);
    }
    EXPECT_EQ(arrays, 1u);
    EXPECT_EQ(records, 3u);
    ASSERT_EQ(got.child_count, 3u);
    EXPECT_STREQ(got.child_nodes[0]->name, "k1");
    EXPECT_STREQ(got.child_nodes[1]->name, "k2");
    EXPECT_STREQ(got.child_nodes[2]->name, "k3");
    qbAsnFreeObj(got);
}

TEST(Namevalue, NullChildPointerTravelsAsAnEmptyRecord) {
    namevalue_s_t k1{text("k"), 0, nullptr, 0, nullptr};
    namevalue_s_t* kids[] = {&k1, nullptr};
    namevalue_s_t nv{text("p"), 0, nullptr, 2, kids};
    EXPECT_EQ(encode(nv), hex("04 02 AC DC  30 18  0C 01 70  30 00"
                              "  30 11  30 07 0C 01 6B 30 00 30 00  30 06 0C 00 30 00 30 00"));
}

TEST(Namevalue, TypeNamesAndReflection) {
    asn_namevalue_t rec(security_off);
    EXPECT_STREQ(rec.get_type_name(), "namevalue_t");
    EXPECT_STREQ(rec.name.get_type_name(), "qbUTF8string");
    EXPECT_STREQ(rec.values.get_type_name(), "SEQUENCEOF");
    EXPECT_STREQ(rec.child_nodes.get_type_name(), "SEQUENCEOF");
    const qb_record_info& info = asn_namevalue_t::reflect();
    EXPECT_STREQ(info.name, "namevalue_t");
    EXPECT_STREQ(info.flat_name, "namevalue_s_t");
    EXPECT_EQ(info.flat_size, sizeof(namevalue_s_t));
    ASSERT_EQ(info.field_count, 3u);
    EXPECT_EQ(info.fields[0].kind, qb_field_text);
    EXPECT_EQ(info.fields[1].kind, qb_field_text_list);
    EXPECT_EQ(info.fields[1].offset, offsetof(namevalue_s_t, value_count));
    EXPECT_EQ(info.fields[1].offset2, offsetof(namevalue_s_t, values));
    EXPECT_EQ(info.fields[2].kind, qb_field_record_ptr_list);
    EXPECT_EQ(info.fields[2].offset, offsetof(namevalue_s_t, child_count));
    EXPECT_EQ(info.fields[2].offset2, offsetof(namevalue_s_t, child_nodes));
    ASSERT_NE(info.fields[2].element, nullptr);
    EXPECT_EQ(info.fields[2].element(), &info);  // recursive: its own record
}

TEST(Namevalue, TreeDeeperThanTheNestingBoundIsRefusedWithoutLeaks) {
    // 300 levels: a record frame and a list frame per level, far past 256 frames.
    namevalue_s_t got{};
    EXPECT_EQ(decode(concat({kHeader, nested_nodes(300)}), got), 0x1065219Bu);
    EXPECT_EQ(got.name, nullptr);  // get_value never ran
    EXPECT_EQ(got.child_nodes, nullptr);
    qbAsnFreeObj(got);
}

TEST(Namevalue, DeepTreeIsWrittenAsBuiltButReadOnlyUpToTheBound) {
    // Writing follows no bound: the library writes exactly the bytes built here.
    chain deep(300);
    EXPECT_EQ(encode(deep.nodes[0]), concat({kHeader, nested_nodes(300)}));

    // Level k (from 0) is a record frame at depth 2k whose members sit at
    // depth 2k+1: 128 levels reach depth 255, the deepest frame read.
    chain at_bound(128);
    const bytes input = encode(at_bound.nodes[0]);
    EXPECT_EQ(input, concat({kHeader, nested_nodes(128)}));
    namevalue_s_t got{};
    ASSERT_EQ(decode(input, got), 0u);
    EXPECT_EQ(depth_of(got), 128);
    qbAsnFreeObj(got);

    namevalue_s_t deeper{};
    EXPECT_EQ(decode(concat({kHeader, nested_nodes(129)}), deeper), 0x1065219Bu);
    qbAsnFreeObj(deeper);
}

TEST(Namevalue, AllocationFailureAtEveryStepOfADecodeLeaksNothing) {
    char* c_values[] = {text("x"), text("y")};
    namevalue_s_t c{text("c"), 2, c_values, 0, nullptr};
    namevalue_s_t* a_kids[] = {&c, &c};
    namevalue_s_t a{text("a"), 1, c_values, 2, a_kids};
    namevalue_s_t* r_kids[] = {&a};
    namevalue_s_t root{text("r"), 0, nullptr, 1, r_kids};
    const bytes input = encode(root);
    const sweep_result decoded =
        sweep_decode<namevalue_s_t>(input, 400, [&](const namevalue_s_t& got) { expect_node(&root, got); });
    EXPECT_GE(decoded.failures, 10);
}

// ---- namevalueList_s_t ----

TEST(NamevalueList, RoundTripMatchesExpectedBytes) {
    char* p_values[] = {text("v")};
    namevalue_s_t p{text("p"), 1, p_values, 0, nullptr};
    namevalue_s_t q{text("q"), 0, nullptr, 0, nullptr};
    namevalue_s_t* items[] = {&p, &q};
    namevalueList_s_t list{2, items};
    const bytes want = hex("04 02 AC DC  30 17  30 15"
                           "  30 0A  0C 01 70  30 03 0C 01 76  30 00"
                           "  30 07  0C 01 71  30 00  30 00");
    EXPECT_EQ(encode(list), want);
    namevalueList_s_t got{};
    ASSERT_EQ(decode(want, got), 0u);
    ASSERT_EQ(got.count, 2u);
    ASSERT_NE(got.namevalues, nullptr);
    ASSERT_NE(got.namevalues[0], nullptr);
    ASSERT_NE(got.namevalues[1], nullptr);
    expect_node(&p, *got.namevalues[0]);
    expect_node(&q, *got.namevalues[1]);
    qbAsnFreeObj(got);
}

TEST(NamevalueList, LcsFormGivesTheSameBytesForAscii) {
    char* p_values[] = {text("v")};
    namevalue_s_t p{text("p"), 1, p_values, 0, nullptr};
    namevalue_s_t* items[] = {&p};
    namevalueList_s_t list{1, items};
    EXPECT_EQ(encode(list, true), encode(list));
    namevalueList_s_t got{};
    ASSERT_EQ(decode(encode(list), got, true), 0u);
    ASSERT_EQ(got.count, 1u);
    expect_node(&p, *got.namevalues[0]);
    qbAsnFreeObj(got);
}

TEST(NamevalueList, EmptyListDecodesToCountZeroAndNull) {
    namevalueList_s_t list{0, nullptr};
    EXPECT_EQ(encode(list), hex("04 02 AC DC  30 02  30 00"));
    namevalueList_s_t got{};
    ASSERT_EQ(decode(encode(list), got), 0u);
    EXPECT_EQ(got.count, 0u);
    EXPECT_EQ(got.namevalues, nullptr);
    qbAsnFreeObj(got);
}

TEST(NamevalueList, ThreeLevelTreesInAListSurvive) {
    char* leaf_values[] = {text("1"), text("2"), text("3")};
    namevalue_s_t leaf{text("leaf"), 3, leaf_values, 0, nullptr};
    namevalue_s_t* mid_kids[] = {&leaf};
    namevalue_s_t mid{text("mid"), 0, nullptr, 1, mid_kids};
    namevalue_s_t* top_kids[] = {&mid, &leaf};
    namevalue_s_t top{text("top"), 0, nullptr, 2, top_kids};
    namevalue_s_t* items[] = {&top, &leaf};
    namevalueList_s_t list{2, items};
    namevalueList_s_t got{};
    ASSERT_EQ(decode(encode(list), got), 0u);
    ASSERT_EQ(got.count, 2u);
    expect_node(&top, *got.namevalues[0]);
    expect_node(&leaf, *got.namevalues[1]);
    EXPECT_STREQ(got.namevalues[0]->child_nodes[0]->child_nodes[0]->values[2], "3");
    qbAsnFreeObj(got);
}

TEST(NamevalueList, DeepTreeInAListIsRefused) {
    const bytes list = concat({kHeader, frame(0x30, frame(0x30, nested_nodes(300)))});
    namevalueList_s_t got{};
    EXPECT_EQ(decode(list, got), 0x1065219Bu);
    EXPECT_EQ(got.count, 0u);
    EXPECT_EQ(got.namevalues, nullptr);
    qbAsnFreeObj(got);
}

TEST(NamevalueList, TypeName) {
    asn_namevalueList_t rec(security_off);
    EXPECT_STREQ(rec.get_type_name(), "namevalueList_t");
    EXPECT_STREQ(rec.namevalues.get_type_name(), "SEQUENCEOF");
    const qb_record_info& info = asn_namevalueList_t::reflect();
    EXPECT_STREQ(info.name, "namevalueList_t");
    EXPECT_STREQ(info.flat_name, "namevalueList_s_t");
    ASSERT_EQ(info.field_count, 1u);
    EXPECT_EQ(info.fields[0].kind, qb_field_record_ptr_list);
    EXPECT_EQ(info.fields[0].element(), &asn_namevalue_t::reflect());
}

}  // namespace
