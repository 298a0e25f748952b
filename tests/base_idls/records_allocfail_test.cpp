// tests/base_idls/records_allocfail_test.cpp - attribute records when an
// allocation fails, and the order in which a decoded attribute list is freed.
//
// This executable replaces malloc, calloc and realloc for the whole process
// (support/failing_malloc.h), so a chosen allocation made by the library
// returns null. A sweep encodes and then decodes a record with the 1st, 2nd,
// 3rd ... allocation of that work failed, until the work completes with every
// allocation granted. Each failure must end the call with 0x10652065 and
// exactly one line on standard error naming the failed site: its message,
// the code, the source file and the line of the throw. The (partly) decoded
// record is then freed with qbAsnFreeObj, and the sanitizer build checks that
// nothing leaked.

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "asn1/asn1.h"
#include "asn1/asnbase.h"
#include "base_idls/attrlist_asn.h"
#include "support/failing_malloc.h"
#include "support/leak_check.h"
#include "support/record_random.h"
#include "support/record_test.h"

namespace {

// A sweep that has not completed after this many failing runs is broken.
constexpr long kSweepLimit = 3000;

// Lines of the throws in base_idls/attrlist_asn documented for attr_t's value list.
constexpr int kAttrSetLine = 187;    // a value element cannot be created or registered
constexpr int kAttrAllocLine = 206;  // the value array cannot be allocated
constexpr int kAttrChildLine = 212;  // a counted value is missing

// ---- leak checks ----
//
// In the sanitizer build the sweeps check for leaks after every failing run
// and every test ends with a check, so a leak is charged to the run that made
// it. A leaked block stays leaked and would be reported again by every later
// check; after the first finding only the check at exit remains.

using qb_test::leak_found;
using qb_test::LeakChecked;

class AttrOutOfMemory : public LeakChecked {};
class AttrlistOutOfMemory : public LeakChecked {};
class AttrlistFree : public LeakChecked {};

// ---- where the runtime throws ----

// lines_with: the numbers of the lines of a repository source that contain `needle`.
std::set<int> lines_with(const char* source, const char* needle) {
    const std::vector<int> found = qb_test::source_lines(source, needle);
    return std::set<int>(found.begin(), found.end());
}

// site: one place that throws on a failed allocation.
struct site {
    std::string name;     // for the report
    std::string message;  // the exception's message
    std::string file;     // the exception's source-file name
    std::set<int> lines;  // the lines it may report
};

// description_lines: the lines of the record description that starts with
// `opening` (through the last line before the next blank one). A field
// without lines of its own throws at the line of its record's description,
// which the compiler takes from somewhere in that macro invocation: GCC
// gives its first line, Clang its last.
std::set<int> description_lines(const char* source, const char* opening) {
    const std::vector<std::string> lines = qb_test::source_text(source);
    std::set<int> found;
    for (size_t i = 0; i < lines.size(); ++i) {
        if (found.empty() && lines[i].rfind(opening, 0) != 0) continue;
        if (lines[i].find_first_not_of(" \t") == std::string::npos) break;
        found.insert(static_cast<int>(i + 1));
    }
    EXPECT_FALSE(found.empty()) << opening;
    return found;
}

// The runtime's sites: found in its sources by their message, so that the
// test names the exact lines without restating the runtime's line numbers.
std::vector<site> runtime_sites() {
    std::vector<site> s;
    s.push_back({"buffer growth", "Out of memory in buffer_t::extend", "asn1/asnbase",
                 lines_with("asn1/asnbase.cpp", "\"Out of memory in buffer_t::extend\"")});
    s.push_back({"child array growth", "Out of memory in asn_composite::register_child", "asn1/asnbase",
                 lines_with("asn1/asnbase.cpp", "\"Out of memory in asn_composite::register_child\"")});
    s.push_back({"list element while reading", "Out of memory in asn_sequenceof:decode_value", "asn1/asnbase",
                 lines_with("asn1/asnbase.h", "throw_sequenceof_oom(__LINE__)")});
    s.push_back({"octet copy for the caller", "ASN: Out of memory", "asn1/asnbase",
                 lines_with("asn1/asnbase.cpp", "\"ASN: Out of memory\"")});
    for (const site& one : s) EXPECT_FALSE(one.lines.empty()) << one.name;
    return s;
}

std::vector<site> attr_sites() {
    std::vector<site> s = runtime_sites();
    s.push_back({"value element (set_value)", "ASN: Memory error", "base_idls/attrlist_asn", {kAttrSetLine}});
    s.push_back({"value array (get_value)", "ASN: Memory error", "base_idls/attrlist_asn", {kAttrAllocLine}});
    s.push_back({"missing value (get_value)", "ASN: Memory error", "base_idls/attrlist_asn", {kAttrChildLine}});
    s.push_back({"value text", "ASN: Out of memory", "base_idls/attrlist_asn",
                 description_lines("base_idls/attrlist_asn.cpp", "QB_RECORD(asn_value_t,")});
    s.push_back({"attribute name", "ASN: Out of memory", "base_idls/attrlist_asn",
                 description_lines("base_idls/attrlist_asn.cpp", "QB_RECORD(asn_attr_t,")});
    return s;
}

std::vector<site> attrlist_sites() {
    std::vector<site> s = attr_sites();
    s.push_back({"attribute element or array", "ASN: Memory error", "base_idls/attrlist_asn",
                 description_lines("base_idls/attrlist_asn.cpp", "QB_RECORD(asn_attrlist_t,")});
    return s;
}

// classify: the site that a printed line names, or null (*why says why).
const site* classify(const std::vector<site>& sites, const std::string& printed, std::string* why) {
    qb_test::exception_parts e;
    if (!qb_test::parse_exception_line(printed, &e)) {
        *why = "not one exception line: [" + printed + "]";
        return nullptr;
    }
    if (e.code != "10652065") {
        *why = "code " + e.code + " is not 10652065";
        return nullptr;
    }
    for (const site& s : sites)
        if (e.message == s.message && e.file == s.file && s.lines.count(e.line) != 0) return &s;
    *why = "no documented site: " + printed;
    return nullptr;
}

// ---- the records ----

using qb_test::text;

const unsigned char kRedBytes[2] = {0x01, 0x02};
const unsigned char kBlueBytes[3] = {0x0A, 0x0B, 0x0C};

value_s_t g_values[2] = {
    {1, text("red"), 2, const_cast<unsigned char*>(kRedBytes)},
    {-1, text("blue"), 3, const_cast<unsigned char*>(kBlueBytes)},
};
attr_s_t g_attr{text("color"), 2, g_values};

value_s_t g_size_value[1] = {{40, text("large"), 0, nullptr}};
attr_s_t g_attrs[2] = {{text("color"), 2, g_values}, {text("size"), 1, g_size_value}};
attrlist_s_t g_list{2, g_attrs};

// Field-by-field comparisons of what decoded.
void expect_values_equal(const value_s_t& got, const value_s_t& want) {
    EXPECT_EQ(got.number, want.number);
    ASSERT_NE(got.text, nullptr);
    EXPECT_STREQ(got.text, want.text);
    ASSERT_EQ(got.length, want.length);
    if (want.length != 0) {
        EXPECT_EQ(std::memcmp(got.bytes, want.bytes, want.length), 0);
    }
}

void expect_attrs_equal(const attr_s_t& got, const attr_s_t& want) {
    ASSERT_NE(got.name, nullptr);
    EXPECT_STREQ(got.name, want.name);
    ASSERT_EQ(got.count, want.count);
    for (unsigned i = 0; i < want.count; ++i) expect_values_equal(got.values[i], want.values[i]);
}

void expect_equal(const attr_s_t& got, const attr_s_t& want) { expect_attrs_equal(got, want); }

void expect_equal(const attrlist_s_t& got, const attrlist_s_t& want) {
    ASSERT_EQ(got.count, want.count);
    for (unsigned i = 0; i < want.count; ++i) expect_attrs_equal(got.attrs[i], want.attrs[i]);
}

// A partly decoded record: every element its count includes is filled.
void expect_counted_filled(const attr_s_t& a) {
    EXPECT_LE(a.count, 2U);
    if (a.count != 0) {
        ASSERT_NE(a.values, nullptr);
    }
    for (unsigned i = 0; i < a.count; ++i) EXPECT_NE(a.values[i].text, nullptr) << "value " << i;
}

void expect_counted_filled(const attrlist_s_t& l) {
    EXPECT_LE(l.count, 2U);
    if (l.count != 0) {
        ASSERT_NE(l.attrs, nullptr);
    }
    for (unsigned i = 0; i < l.count; ++i) {
        EXPECT_NE(l.attrs[i].name, nullptr) << "attribute " << i;
        expect_counted_filled(l.attrs[i]);
    }
}

bool all_zero(const void* p, size_t n) {
    const auto* b = static_cast<const unsigned char*>(p);
    for (size_t i = 0; i < n; ++i)
        if (b[i] != 0) return false;
    return true;
}

// ---- the object tree's entry points ----
//
// The sites above are the object tree's allocations (record construction,
// list elements, buffer growth, ...). The typed entry points encode and decode
// without the tree, so these sweeps go through the tree's own entry points,
// which the reflection table gives (tests/base_idls/records_direct_test.cpp
// sweeps the direct path's allocations).

unsigned int tree_encode(qb_asn_buffer_t& out, attr_s_t& r) { return asn_attr_t::reflect().tree_encode(out, &r, 0); }
unsigned int tree_encode(qb_asn_buffer_t& out, attrlist_s_t& r) {
    return asn_attrlist_t::reflect().tree_encode(out, &r, 0);
}
unsigned int tree_decode(qb_asn_buffer_t& in, attr_s_t& r) { return asn_attr_t::reflect().tree_decode(in, &r, 0); }
unsigned int tree_decode(qb_asn_buffer_t& in, attrlist_s_t& r) {
    return asn_attrlist_t::reflect().tree_decode(in, &r, 0);
}

// ---- the sweep ----

struct sweep_result {
    long runs = 0;                                // failing runs before the work completed
    std::map<std::string, int> encode_sites;      // site name -> how often it failed the encode
    std::map<std::string, int> decode_sites;      // the same for the decode
};

// tree_sweep: encodes `src` and decodes the bytes with the Nth allocation failed,
// for N = 1, 2, ... until the round trip completes.
template <class Flat>
sweep_result tree_sweep(Flat& src, const std::vector<site>& sites) {
    sweep_result result;
    for (long n = 0; n < kSweepLimit; ++n) {
        SCOPED_TRACE(::testing::Message() << "allocation #" << n + 1 << " failed");
        qb_asn_buffer_t out{};
        Flat back{};
        unsigned int enc_rc = 0, dec_rc = 0;
        bool decoded = false, injected = false;
        testing::internal::CaptureStderr();
        {
            qb_test::fail_after guard(n);
            enc_rc = tree_encode(out, src);
            if (enc_rc == 0) {
                decoded = true;
                dec_rc = tree_decode(out, back);
            }
            injected = !qb_test::fail_after::armed();
        }
        const std::string printed = testing::internal::GetCapturedStderr();

        if (!injected) {
            // Past the last allocation: the round trip succeeds.
            EXPECT_EQ(enc_rc, 0x00000000U);
            EXPECT_EQ(dec_rc, 0x00000000U);
            EXPECT_EQ(printed, "");
            if (enc_rc == 0 && dec_rc == 0) expect_equal(back, src);
            qbAsnFreeObj(back);
            qb_asn_buffer_free(out);
            result.runs = n;
            return result;
        }

        std::string why;
        const site* s = classify(sites, printed, &why);
        EXPECT_NE(s, nullptr) << why;
        if (!decoded) {
            EXPECT_EQ(enc_rc, 0x10652065U);
            // Nothing handed out, nothing decoded.
            EXPECT_EQ(out.length, 0U);
            EXPECT_EQ(out.data, nullptr);
            EXPECT_TRUE(all_zero(&back, sizeof back));
            if (s != nullptr) ++result.encode_sites[s->name];
        } else {
            EXPECT_EQ(dec_rc, 0x10652065U);
            expect_counted_filled(back);
            if (s != nullptr) ++result.decode_sites[s->name];
        }
        // The partly decoded record goes back through the library's free.
        qbAsnFreeObj(back);
        qb_asn_buffer_free(out);
        EXPECT_FALSE(leak_found()) << "blocks leaked after a failure in the " << (decoded ? "decode" : "encode")
                                   << " at " << (s != nullptr ? s->name : "an unknown site") << " (report above)";
        if (::testing::Test::HasFatalFailure()) {
            result.runs = n;
            return result;
        }
    }
    ADD_FAILURE() << "the round trip never completed";
    result.runs = kSweepLimit;
    return result;
}

std::string listing(const std::map<std::string, int>& m) {
    std::string s;
    for (const auto& [name, times] : m) s += "  " + name + " x" + std::to_string(times) + "\n";
    return s;
}

// site_count: whether a sweep met a site in one direction ("encode" or
// "decode"); expect_sites checks a list of them and the number of runs.
struct site_count {
    const char* direction;
    const char* site;
    bool met;  // whether the sweep must meet it, or must not
};

void expect_sites(const sweep_result& r, long min_runs, std::initializer_list<site_count> sites) {
    SCOPED_TRACE("encode sites:\n" + listing(r.encode_sites) + "decode sites:\n" + listing(r.decode_sites));
    EXPECT_GT(r.runs, min_runs);
    for (const site_count& s : sites) {
        const std::map<std::string, int>& seen = std::string(s.direction) == "encode" ? r.encode_sites : r.decode_sites;
        EXPECT_EQ(seen.count(s.site) != 0, s.met) << s.direction << ": " << s.site;
    }
}

TEST_F(AttrOutOfMemory, EveryAllocationOfARoundTripWithTwoValues) {
    expect_sites(tree_sweep(g_attr, attr_sites()), 20,
                 {// Each way an attribute's round trip can run out of memory is met...
                  {"encode", "value element (set_value)", true}, {"encode", "buffer growth", true},
                  {"encode", "child array growth", true}, {"decode", "value array (get_value)", true},
                  {"decode", "list element while reading", true}, {"decode", "octet copy for the caller", true},
                  {"decode", "value text", true}, {"decode", "attribute name", true},
                  {"decode", "child array growth", true}, {"decode", "buffer growth", true},
                  // ...the sites of one direction are not met in the other...
                  {"decode", "value element (set_value)", false}, {"encode", "value array (get_value)", false},
                  {"encode", "value text", false}, {"encode", "list element while reading", false},
                  // ...and no allocation failure makes a counted value go missing.
                  {"decode", "missing value (get_value)", false}});
}

TEST_F(AttrOutOfMemory, FailedValueElementPrintsItsLine) {
    // The first allocation of set_value's first `new asn_value_t` is the one
    // after the record's own construction; find it by failing until line 187
    // is reported, then check the whole line.
    for (long n = 0; n < kSweepLimit; ++n) {
        qb_asn_buffer_t out{};
        unsigned int rc;
        testing::internal::CaptureStderr();
        {
            qb_test::fail_after guard(n);
            rc = tree_encode(out, g_attr);
        }
        const std::string printed = testing::internal::GetCapturedStderr();
        qb_asn_buffer_free(out);
        ASSERT_NE(rc, 0x00000000U) << "encode completed before line 187 was reported";
        if (printed.find("at line 187") == std::string::npos) continue;
        EXPECT_EQ(rc, 0x10652065U);
        EXPECT_EQ(printed, "Exception: ASN: Memory error [10652065] in base_idls/attrlist_asn at line 187\n");
        return;
    }
}

TEST_F(AttrlistOutOfMemory, EveryAllocationOfARoundTripWithTwoAttributes) {
    expect_sites(tree_sweep(g_list, attrlist_sites()), 40,
                 {{"encode", "attribute element or array", true}, {"encode", "value element (set_value)", true},
                  {"decode", "attribute element or array", true}, {"decode", "value array (get_value)", true},
                  {"decode", "attribute name", true}, {"decode", "value text", true}});
}

// ---- the order of the frees ----

TEST_F(AttrlistFree, FreesEveryBlockInNestingOrder) {
    qb_asn_buffer_t wire{};
    ASSERT_EQ(qbAsnEncodeObj(wire, g_list), 0x00000000U);
    attrlist_s_t back{};
    ASSERT_EQ(qbAsnDecodeObj(wire, back), 0x00000000U);
    qb_asn_buffer_free(wire);
    ASSERT_EQ(back.count, 2U);
    // Per attribute: the name, then per value its text and its bytes, then
    // the value array; last the attribute array (support/record_test.h).
    const std::vector<void*> expected = qb_test::attrlist_blocks(back);
    EXPECT_EQ(qb_test::blocks_freed_by(back), expected);
}

TEST_F(AttrlistFree, FreeOfACountZeroListReleasesNothing) {
    attrlist_s_t empty{0, nullptr};
    EXPECT_TRUE(qb_test::blocks_freed_by(empty).empty());
}

}  // namespace
