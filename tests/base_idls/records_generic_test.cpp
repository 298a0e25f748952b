// tests/base_idls/records_generic_test.cpp - every record the library lists
// (qb_record_list), driven by its reflection entry alone: randomised round
// trips and hostile input. A record added to the table is covered here
// without new code.
//
// Round trips: random flat records built from the field infos (support/
// record_random.h) are encoded, decoded into a zeroed record, compared with
// the original, re-encoded (the same bytes), and encoded through the
// local-code-set form (the same bytes, since every random text is ASCII; a
// quarter of the seeds also decode through it). The built records belong to the test and are released by its
// own reflection-driven freer; decoded records are released by the library
// (info->free_obj), which is what the leak check of the sanitizer build
// judges.
//
// Hostile input: one valid message per record, with every list non-empty,
// is cut at every length and has single octets changed; each result must
// decode to 0 or a status of the 0x1065xxxx family, a record decoded from
// it must free without leaking, and one that decodes must encode and decode
// again to the same record.
//
// Fixed records: the zeroed record of every listed record (null texts, empty
// lists, absent optional records) makes the same round trip through both
// forms, also decoded into a record filled with other octets; and the
// envelope guards every record: another version, another signature, no
// envelope or nothing after it is refused before the record is touched.
//
// Two records made for this test cover every field shape the walkers know
// (optional records, pointer lists, text and integer lists, slots, signed
// counts, long and narrow words, fixed octets, recursion), so the walkers are
// exercised whatever the table lists today.

#include <gtest/gtest.h>

#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "asn1/asn1.h"
#include "asn1/asnrecord.h"
#include "asn1/internal/record.h"
#include "base_idls/attrlist_asn.h"
#include "support/leak_check.h"
#include "support/record_cases.h"
#include "support/record_owners.h"
#include "support/record_random.h"
#include "support/record_test.h"

// ---- records covering every field shape ----

struct shape_leaf_s_t {
    int number;
    char* text;
};

// Every member a list: the record is valid while empty.
struct shape_lists_s_t {
    unsigned int tcount;
    char** texts;
    int icount;
    int* ints;
};

struct shape_all_s_t {
    int i;
    unsigned int u;
    long l;
    unsigned short us;
    unsigned char uc;
    char* text;
    unsigned int length;
    unsigned char* bytes;
    unsigned char fixed[6];
    shape_leaf_s_t nested;
    shape_leaf_s_t* optional_leaf;
    int marker;
    unsigned int count;
    shape_leaf_s_t* leaves;
    int pcount;
    shape_leaf_s_t** pleaves;
    unsigned int tcount;
    char** texts;
    int icount;
    int* ints;
    shape_leaf_s_t* slots[32];
    unsigned int ccount;
    shape_all_s_t* children;
    shape_lists_s_t* lists;
};

class asn_shape_leaf_t : public qb_asnbase {
public:
    qbasn_integer number{security};
    qbasnUTF8String text{security};
    QB_RECORD_CLASS(asn_shape_leaf_t, shape_leaf_s_t)
};

class asn_shape_lists_t : public qb_asnbase {
public:
    qb_asn_sequenceof<qbasnUTF8String> texts{security};
    qb_asn_sequenceof<qbasn_integer> ints{security};
    QB_RECORD_CLASS(asn_shape_lists_t, shape_lists_s_t)
};

class asn_shape_all_t : public qb_asnbase {
public:
    qbasn_integer i{security};
    qbasn_integer u{security};
    qbasn_integer l{security};
    qbasn_integer us{security};
    qbasn_integer uc{security};
    qbasnUTF8String text{security};
    qbasn_octetstring bytes{security};
    qbasn_octetstring fixed{security};
    asn_shape_leaf_t nested{security};
    asn_shape_leaf_t optional_leaf{security};
    qbasn_integer marker{security};
    qb_asn_sequenceof<asn_shape_leaf_t> leaves{security};
    qb_asn_sequenceof<asn_shape_leaf_t> pleaves{security};
    qb_asn_sequenceof<qbasnUTF8String> texts{security};
    qb_asn_sequenceof<qbasn_integer> ints{security};
    qb_asn_arrayof<asn_shape_leaf_t> slots{security};
    qb_asn_sequenceof<asn_shape_all_t> children{security};
    asn_shape_lists_t lists{security};
    QB_RECORD_CLASS(asn_shape_all_t, shape_all_s_t)
};

QB_RECORD_FUNCTIONS(shape_leaf_s_t)
QB_RECORD_FUNCTIONS(shape_lists_s_t)
QB_RECORD_FUNCTIONS(shape_all_s_t)

QB_RECORD_SOURCE("tests/base_idls/records_generic_test")

QB_RECORD(asn_shape_leaf_t, shape_leaf_s_t, "shape_leaf_t",
          QB_INT(number),
          QB_TEXT(text))

QB_RECORD(asn_shape_lists_t, shape_lists_s_t, "shape_lists_t",
          QB_ADD_CHILD(QB_TEXT_LIST(tcount, texts)),
          QB_INT_LIST(icount, ints))

// The optional leaf is followed by an INTEGER and the optional list record
// comes last, so an absent one is told by position.
QB_RECORD(asn_shape_all_t, shape_all_s_t, "shape_all_t",
          QB_INT(i),
          QB_INT(u),
          QB_INT(l),
          QB_INT(us),
          QB_INT(uc),
          QB_TEXT(text),
          QB_OCTETS(length, bytes),
          QB_FIXED_OCTETS(fixed),
          QB_RECORD_MEMBER(nested),
          QB_OPTIONAL_RECORD(optional_leaf),
          QB_INT(marker),
          QB_LIST(count, leaves),
          QB_PTR_LIST(pcount, pleaves),
          QB_TEXT_LIST(tcount, texts),
          QB_ADD_CHILD(QB_INT_LIST(icount, ints)),
          QB_SLOTS(slots),
          QB_LIST(ccount, children),
          QB_OPTIONAL_RECORD(lists))

namespace {

using bytes_t = std::vector<unsigned char>;
using qb_test::random_options;

// Seeds per record for the round trips: the listed records, and the records
// made for this test (larger, since they hold every shape).
constexpr unsigned kSeedsPerRecord = 200;
constexpr unsigned kSeedsPerShapeRecord = 100;
// Messages longer than this have their octet changes sampled (every cut is kept).
constexpr size_t kAllPositionsUpTo = 300;

// In the sanitizer build each test ends with a leak check, so a leak is
// charged to the test that made it (after the first finding only the check
// at exit remains).
using qb_test::LeakChecked;

class RecordTable : public ::testing::Test {};
class RecordRoundTrip : public LeakChecked {};
class RecordHostileInput : public LeakChecked {};
class RecordEnvelope : public LeakChecked {};
class RecordSupport : public ::testing::Test {};

// ---- the records under test ----

using qb_test::built_record;
using qb_test::decoded_record;
using qb_test::encode_record;
using qb_test::listed_records;
using qb_test::hex32;

std::vector<const qb_record_info*> shape_records() {
    return {&asn_shape_leaf_t::reflect(), &asn_shape_lists_t::reflect(), &asn_shape_all_t::reflect()};
}

std::uint64_t name_seed(const char* name) {
    std::uint64_t h = 0xCBF29CE484222325ull;  // FNV-1a
    for (const char* p = name; *p != '\0'; ++p) h = (h ^ static_cast<unsigned char>(*p)) * 0x100000001B3ull;
    return h;
}

// random_round_trip: "" or what went wrong with the random record of this seed.
std::string random_round_trip(const qb_record_info& info, std::uint64_t seed) {
    const random_options opt;
    built_record src(info, seed, opt);
    std::string problem;
    bytes_t wire;
    std::string where;
    if (unsigned int rc = encode_record(info, src.flat(), 0, &wire); rc != 0) {
        problem = "encode returned " + hex32(rc);
    } else {
        decoded_record back(info, wire, 0);
        bytes_t again, lcs_wire;
        if (back.status() != 0) {
            problem = "decode returned " + hex32(back.status());
        } else if (std::string shape = qb_test::decoded_shape(info, back.flat()); !shape.empty()) {
            problem = "decoded record: " + shape;
        } else if (!qb_test::records_equal(info, src.flat(), back.flat(), &where)) {
            problem = "decoded record differs at " + where;
        } else if (unsigned int rc2 = encode_record(info, back.flat(), 0, &again); rc2 != 0) {
            problem = "re-encoding the decoded record returned " + hex32(rc2);
        } else if (again != wire) {
            problem = "re-encoding the decoded record gave other bytes";
        } else if (unsigned int rc3 = encode_record(info, src.flat(), 1, &lcs_wire); rc3 != 0) {
            problem = "LCS encode returned " + hex32(rc3);
        } else if (lcs_wire != wire) {
            problem = "LCS encode gave other bytes for ASCII text";
        } else if (seed % 4 == 0) {
            // A quarter of the seeds also decode through the LCS form.
            decoded_record lcs_back(info, wire, 1);
            if (lcs_back.status() != 0)
                problem = "LCS decode returned " + hex32(lcs_back.status());
            else if (!qb_test::records_equal(info, src.flat(), lcs_back.flat(), &where))
                problem = "LCS-decoded record differs at " + where;
        }
    }
    if (!problem.empty()) problem += "\n  record: " + qb_test::describe(info, src.flat());
    return problem;
}

void round_trips(const std::vector<const qb_record_info*>& records, unsigned seeds) {
    for (const qb_record_info* info : records) {
        SCOPED_TRACE(info->name);
        testing::internal::CaptureStderr();
        int failures = 0;
        for (unsigned s = 0; s < seeds && failures < 3; ++s) {
            const std::uint64_t seed = name_seed(info->name) + s;
            const std::string problem = random_round_trip(*info, seed);
            if (!problem.empty()) {
                ++failures;
                ADD_FAILURE() << info->name << ", seed " << seed << ": " << problem;
            }
        }
        EXPECT_EQ(testing::internal::GetCapturedStderr(), "") << "a successful call prints nothing";
    }
}

// ---- hostile input ----

// The shape of the one valid message per record: every list non-empty,
// every optional record present, short texts, at most two levels of nesting.
random_options hostile_options() {
    random_options o = qb_test::filled_options(1, 3, true);
    o.max_depth = 2;
    o.allow_null_text = false;
    o.allow_empty_bytes = false;
    o.slot_use = 8;
    return o;
}

struct hostile_tally {
    unsigned long decodes = 0;
    unsigned long accepted = 0;
    std::set<unsigned int> statuses;
    int failures = 0;
};

// hostile_one: decodes one input; reports what breaks the rules. Returns the status.
unsigned int hostile_one(const qb_record_info& info, const bytes_t& input, size_t n, int lcs, const std::string& what,
                 hostile_tally& t) {
    ++t.decodes;
    decoded_record back(info, input.data(), n, lcs);
    const unsigned int rc = back.status();
    std::string problem;
    if (rc != 0) {
        t.statuses.insert(rc);
        if ((rc & 0xFFFF0000U) != 0x10650000U) problem = "status " + hex32(rc) + " is outside the 0x1065xxxx family";
    } else {
        ++t.accepted;
        std::string where;
        bytes_t wire;
        if (std::string shape = qb_test::decoded_shape(info, back.flat()); !shape.empty()) {
            problem = "decoded record: " + shape;
        } else if (!lcs) {
            // What decoded is a record: it encodes, and decodes to itself.
            if (unsigned int rc2 = encode_record(info, back.flat(), 0, &wire); rc2 != 0) {
                problem = "re-encoding an accepted record returned " + hex32(rc2);
            } else {
                decoded_record again(info, wire, 0);
                if (again.status() != 0)
                    problem = "decoding the re-encoded record returned " + hex32(again.status());
                else if (!qb_test::records_equal(info, back.flat(), again.flat(), &where))
                    problem = "the re-encoded record decodes differently at " + where;
            }
        }
    }
    if (!problem.empty() && t.failures < 5) {
        ++t.failures;
        ADD_FAILURE() << info.name << ", " << what << ": " << problem;
    }
    return rc;
}

// The lines printed while decoding hostile input: each one an exception line
// with a status of the family.
void expect_exception_lines(const std::string& printed) {
    size_t start = 0;
    int shown = 0;
    while (start < printed.size()) {
        size_t end = printed.find('\n', start);
        if (end == std::string::npos) end = printed.size();
        const std::string one = printed.substr(start, end - start + 1);
        qb_test::exception_parts e;
        const bool ok = qb_test::parse_exception_line(one, &e) && e.code.compare(0, 4, "1065") == 0;
        if (!ok && shown++ < 5) ADD_FAILURE() << "unexpected output line: " << one;
        start = end + 1;
    }
}

void hostile(const std::vector<const qb_record_info*>& records) {
    const random_options opt = hostile_options();
    for (const qb_record_info* info : records) {
        SCOPED_TRACE(info->name);
        built_record src(*info, name_seed(info->name), opt);
        bytes_t wire;
        ASSERT_EQ(encode_record(*info, src.flat(), 0, &wire), 0x00000000U) << qb_test::describe(*info, src.flat());
        ASSERT_GT(wire.size(), 4U);
        hostile_tally t;
        testing::internal::CaptureStderr();
        // Every cut (every fourth one also through the LCS form): a message
        // cut short is refused.
        int accepted_cuts = 0;
        for (size_t cut = 0; cut < wire.size(); ++cut) {
            for (const int lcs : {0, 1}) {
                if (lcs && cut % 4 != 0) continue;
                const std::string what = std::string(lcs ? "LCS, " : "") + "cut at " + std::to_string(cut);
                if (hostile_one(*info, wire, cut, lcs, what, t) == 0 && accepted_cuts++ < 5)
                    ADD_FAILURE() << info->name << ", " << what << ": a cut message was accepted";
            }
        }
        // Single-octet changes at every position (sampled for long messages).
        const size_t step = wire.size() <= kAllPositionsUpTo ? 1 : wire.size() / kAllPositionsUpTo + 1;
        for (size_t pos = 0; pos < wire.size(); ++pos) {
            if (pos >= 64 && pos + 64 < wire.size() && pos % step != 0) continue;
            for (const unsigned char mask : {0x01, 0x80, 0xFF}) {
                bytes_t changed = wire;
                changed[pos] ^= mask;
                hostile_one(*info, changed, changed.size(), 0,
                            "octet " + std::to_string(pos) + " ^ " + std::to_string(mask), t);
            }
        }
        expect_exception_lines(testing::internal::GetCapturedStderr());
        // The whole message decodes (the cuts all stop short of it).
        decoded_record whole(*info, wire, 0);
        EXPECT_EQ(whole.status(), 0x00000000U);
        EXPECT_TRUE(qb_test::records_equal(*info, src.flat(), whole.flat()));
        ::testing::Test::RecordProperty(std::string(info->name) + "_decodes", static_cast<int>(t.decodes));
    }
}

// ---- the table ----

// The documented order of the flat records with typed entry points.
const char* const kDocumentedOrder[] = {
    "uuid_t", "value_s_t", "attr_s_t", "attrlist_s_t", "kxobj_t", "kxobj_list_s_t", "kxobj_name_list_s_t",
    "kxobj_db_header_s_t", "aznadmsvc_s_t", "aznlocal_svr_s_t", "pobj_s_t", "pobjspace_s_t",
    "azn_internal_pobj_s_t", "sec_id_t", "sec_id_pa_t", "kxprincipal_s_t", "kxprincipal_chain_s_t",
    "dbr_get_db_in_s_t", "dbr_get_db_out_s_t", "aznserver_init_s_t", "aznadmin_getobject_in_s_t",
    "aznadmin_getobject_out_s_t", "aznadmin_getobjectlist_in_s_t", "aznadmin_getobjectlist_out_s_t",
    "aznadmin_performtask_in_s_t", "aznadmin_performtask_out_s_t", "aznadmin_gettasklist_in_s_t",
    "aznadmin_gettasklist_out_s_t", "azn_id_get_creds_in_s_t", "azn_id_get_creds_out_s_t",
    "azn_util_password_in_s_t", "azn_util_password_out_s_t", "azn_decision_ext_in_s_t",
    "azn_decision_ext_out_s_t", "map_pobj_to_acl_s_t", "map_acl_to_pobj_s_t", "acl_permset_s_t",
    "acl_entry_s_t", "acl_ext_s_t", "kxaction_s_t", "kxaction_group_s_t", "kxaction_groups_s_t",
    "kxmap_pobj_to_pop_s_t", "kxtod_range_s_t", "kxaccess_times_s_t", "kxpop_ipauth_s_t", "kxpop_s_t",
    "kxmap_pop_to_pobj_s_t", "kxattr_s_t", "kxextattr_s_t", "kxextern_auth_s_t", "kxauthzn_db_s_t",
    "azn_creds_mod_in_s_t", "azn_creds_mod_out_s_t", "namevalue_s_t", "namevalueList_s_t",
    "remote_log_request", "azn_get_entitlements_in_s_t", "azn_get_entitlements_out_s_t",
    "vqauditattribute_s_t", "vqauditelement_s_t", "vqauditevent_s_t",
};
// The records reached through the untyped entry points only.
const char* const kUntypedRecords[] = {"kxobj_update_s_t", "kxobj_update_list_s_t", "cert_request_in"};

int documented_index(const char* flat_name) {
    for (size_t i = 0; i < sizeof kDocumentedOrder / sizeof kDocumentedOrder[0]; ++i)
        if (std::strcmp(kDocumentedOrder[i], flat_name) == 0) return static_cast<int>(i);
    return -1;
}

bool is_untyped(const char* flat_name) {
    for (const char* n : kUntypedRecords)
        if (std::strcmp(n, flat_name) == 0) return true;
    return false;
}

TEST_F(RecordTable, StartsWithTheAttributeRecords) {
    size_t n = 0;
    const qb_record_info* const* list = qb_record_list(&n);
    ASSERT_NE(list, nullptr);
    ASSERT_GE(n, 4U);
    EXPECT_EQ(qb_record_list(nullptr), list);
    struct Expected {
        const char* name;
        const char* flat_name;
        size_t size;
        size_t fields;
    };
    const Expected expected[] = {
        {"uuid_t", "uuid_t", sizeof(uuid_t), 6},
        {"value_t", "value_s_t", sizeof(value_s_t), 3},
        {"attr_t", "attr_s_t", sizeof(attr_s_t), 2},
        {"attrlist_t", "attrlist_s_t", sizeof(attrlist_s_t), 1},
    };
    for (size_t i = 0; i < 4; ++i) {
        SCOPED_TRACE(expected[i].name);
        EXPECT_STREQ(list[i]->name, expected[i].name);
        EXPECT_STREQ(list[i]->flat_name, expected[i].flat_name);
        EXPECT_EQ(list[i]->flat_size, expected[i].size);
        EXPECT_EQ(list[i]->field_count, expected[i].fields);
    }
    EXPECT_EQ(list[2]->fields[1].kind, qb_field_record_list);
    EXPECT_EQ(list[2]->fields[1].element(), list[1]);
    EXPECT_EQ(list[3]->fields[0].element(), list[2]);
    EXPECT_EQ(list[0]->fields[5].kind, qb_field_fixed_octets);
    EXPECT_EQ(list[0]->fields[5].size, 6U);
}

TEST_F(RecordTable, EveryEntryIsConsistent) {
    int last = -1;
    std::set<std::string> seen;
    for (const qb_record_info* info : listed_records()) {
        ASSERT_NE(info, nullptr);
        SCOPED_TRACE(info->name);
        EXPECT_TRUE(seen.insert(info->flat_name).second) << "listed twice";
        const int index = documented_index(info->flat_name);
        if (index >= 0) {
            EXPECT_GT(index, last) << "out of the library's order";
            last = index;
        } else {
            EXPECT_TRUE(is_untyped(info->flat_name)) << "not a documented record: " << info->flat_name;
        }
        EXPECT_EQ(qb_record_find(info->flat_name), info);
        EXPECT_EQ(qb_record_find(info->name), info);
        EXPECT_NE(info->encode, nullptr);
        EXPECT_NE(info->decode, nullptr);
        EXPECT_NE(info->free_obj, nullptr);
        ASSERT_GT(info->field_count, 0U);
        ASSERT_NE(info->fields, nullptr);
        for (size_t k = 0; k < info->field_count; ++k) {
            const qb_field_info& f = info->fields[k];
            SCOPED_TRACE(f.name);
            EXPECT_LT(f.offset, info->flat_size);
            EXPECT_LT(f.offset2, info->flat_size);
            const bool has_element = f.kind == qb_field_record || f.kind == qb_field_optional_record ||
                                     f.kind == qb_field_record_list || f.kind == qb_field_record_ptr_list ||
                                     f.kind == qb_field_record_slots;
            if (has_element) {
                ASSERT_NE(f.element, nullptr);
                EXPECT_NE(f.element(), nullptr);
            }
            if (f.kind == qb_field_record_slots || f.kind == qb_field_fixed_octets) {
                EXPECT_GT(f.size, 0U);
            }
        }
    }
    EXPECT_EQ(qb_record_find("no_such_record_s_t"), nullptr);
    EXPECT_EQ(qb_record_find(nullptr), nullptr);
}

// ---- round trips ----

TEST_F(RecordRoundTrip, RandomRecordsOfEveryListedRecord) { round_trips(listed_records(), kSeedsPerRecord); }

TEST_F(RecordRoundTrip, RandomRecordsOfEveryFieldShape) { round_trips(shape_records(), kSeedsPerShapeRecord); }

// The records made for this test use every field shape but the zero-
// terminated octet text of the object updates.
TEST_F(RecordSupport, ShapeRecordsCoverTheWalkers) {
    const qb_record_info& all = asn_shape_all_t::reflect();
    for (const qb_field_kind k :
         {qb_field_int, qb_field_uint, qb_field_long, qb_field_ushort, qb_field_uchar, qb_field_text, qb_field_octets,
          qb_field_fixed_octets, qb_field_record, qb_field_optional_record, qb_field_record_list,
          qb_field_record_ptr_list, qb_field_text_list, qb_field_int_list, qb_field_record_slots}) {
        EXPECT_TRUE(qb_test::uses_kind(all, k)) << static_cast<int>(k);
    }
    EXPECT_FALSE(qb_test::uses_kind(all, qb_field_text_octets));
}

// An absent optional record whose members are all lists: nothing on the
// wire, and null after decoding (it is valid while empty, so it must be
// made absent explicitly).
TEST_F(RecordRoundTrip, absent_optional_record_of_lists) {
    shape_all_s_t r{};
    const qb_record_info& info = asn_shape_all_t::reflect();
    bytes_t without, with;
    ASSERT_EQ(encode_record(info, &r, 0, &without), 0x00000000U);
    shape_lists_s_t empty_lists{};
    r.lists = &empty_lists;
    ASSERT_EQ(encode_record(info, &r, 0, &with), 0x00000000U);
    // The present record adds 30 04 30 00 30 00 at the end, and only that.
    ASSERT_EQ(with.size(), without.size() + 6);
    EXPECT_EQ(bytes_t(with.end() - 6, with.end()), (bytes_t{0x30, 0x04, 0x30, 0x00, 0x30, 0x00}));
    decoded_record back(info, without, 0);
    ASSERT_EQ(back.status(), 0x00000000U);
    EXPECT_EQ(static_cast<shape_all_s_t*>(back.flat())->lists, nullptr);
    EXPECT_EQ(static_cast<shape_all_s_t*>(back.flat())->optional_leaf, nullptr);
    decoded_record back2(info, with, 0);
    ASSERT_EQ(back2.status(), 0x00000000U);
    ASSERT_NE(static_cast<shape_all_s_t*>(back2.flat())->lists, nullptr);
    EXPECT_EQ(static_cast<shape_all_s_t*>(back2.flat())->lists->tcount, 0U);
}

// ---- fixed records ----

// zeroed_round_trips: the zeroed record of each record type: null texts,
// zero numbers, empty lists, absent optional records, empty slots. Both forms
// give the same octets, and decode them (into a zeroed record and into one
// filled with A5 octets, which the decoder must overwrite whole) to a record
// equal to the zeroed one, with every text allocated and empty and no list
// array; the decoded record encodes to the same octets.
void zeroed_round_trips(const std::vector<const qb_record_info*>& records) {
    for (const qb_record_info* info : records) {
        std::unique_ptr<void, void (*)(void*)> zero(std::calloc(1, info->flat_size), std::free);
        qb_test::expect_known_answers(
            {{"the zeroed record", *info, zero.get(), nullptr},
             {"the zeroed record, decoded into A5 octets", *info, zero.get(), nullptr, 0xA5}});
    }
}

TEST_F(RecordRoundTrip, ZeroedRecordOfEveryListedRecord) { zeroed_round_trips(listed_records()); }

TEST_F(RecordRoundTrip, ZeroedRecordOfEveryFieldShape) { zeroed_round_trips(shape_records()); }

// holds_pointers: the record (or a record it embeds by value) has a field
// that points to memory.
bool holds_pointers(const qb_record_info& info) {
    for (size_t k = 0; k < info.field_count; ++k) {
        const qb_field_info& f = info.fields[k];
        if (f.kind == qb_field_record ? holds_pointers(*f.element())
                                      : f.kind != qb_field_int && f.kind != qb_field_uint && f.kind != qb_field_long &&
                                            f.kind != qb_field_ushort && f.kind != qb_field_uchar &&
                                            f.kind != qb_field_fixed_octets)
            return true;
    }
    return false;
}

// A record that holds no pointers owns nothing: the library's freer leaves
// every octet of it as it was (uuid_t, the replica requests and replies, the
// time ranges, access times and ipauth entries of the policies).
TEST_F(RecordRoundTrip, FreeOfARecordWithoutPointersTouchesNothing) {
    std::set<std::string> checked;
    for (const qb_record_info* info : listed_records()) {
        if (holds_pointers(*info)) continue;
        SCOPED_TRACE(info->name);
        built_record r(*info, name_seed(info->name), random_options{});
        const bytes_t before(static_cast<const unsigned char*>(r.flat()),
                             static_cast<const unsigned char*>(r.flat()) + info->flat_size);
        info->free_obj(r.flat());
        EXPECT_EQ(bytes_t(static_cast<const unsigned char*>(r.flat()),
                          static_cast<const unsigned char*>(r.flat()) + info->flat_size),
                  before);
        checked.insert(info->name);
    }
    for (const char* name : {"uuid_t", "dbr_get_db_in_t", "dbr_get_db_out_t", "kxtod_range_t", "kxaccess_times_t",
                             "kxpop_ipauth_t"})
        EXPECT_EQ(checked.count(name), 1U) << name;
}

// Every record's message behind an envelope of another version (00, 01, 03,
// FF), with another signature, with no envelope, with nothing but the
// envelope, and no octets at all: both forms refuse it with 0x10652196 and
// print nothing, and a record filled with A5 octets is not touched.
TEST_F(RecordEnvelope, OtherEnvelopesAreRefusedBeforeTheRecordIsTouched) {
    for (const qb_record_info* info : listed_records()) {
        SCOPED_TRACE(info->name);
        std::unique_ptr<void, void (*)(void*)> zero(std::calloc(1, info->flat_size), std::free);
        bytes_t msg;
        ASSERT_EQ(encode_record(*info, zero.get(), 0, &msg), 0x00000000U) << info->name;
        ASSERT_GT(msg.size(), 4U);
        std::vector<std::pair<std::string, bytes_t>> refused;
        for (const unsigned char version : {0x00, 0x01, 0x03, 0xFF}) {
            bytes_t other = msg;
            other[1] = version;
            refused.emplace_back("version " + std::to_string(version), other);
        }
        bytes_t signature = msg;
        signature[2] = 0xAD;
        refused.emplace_back("signature AD DC", signature);
        refused.emplace_back("no envelope", bytes_t(msg.begin() + 4, msg.end()));
        refused.emplace_back("the envelope alone", bytes_t(msg.begin(), msg.begin() + 4));
        refused.emplace_back("no octets", bytes_t());
        for (const auto& [what, octets] : refused) {
            const std::string text = qb_test::to_hex(octets);
            qb_test::expect_decodes({{what.c_str(), *info, text.c_str(), 0x10652196U, nullptr, nullptr, true, 0xA5}});
        }
    }
}

// ---- hostile input ----

TEST_F(RecordHostileInput, CutAndChangedMessagesOfEveryListedRecord) { hostile(listed_records()); }

TEST_F(RecordHostileInput, CutAndChangedMessagesOfEveryFieldShape) { hostile(shape_records()); }

// ---- the support code itself ----

TEST_F(RecordSupport, ComparerSeesEachKindOfDifference) {
    const qb_record_info& info = asn_value_t::reflect();
    unsigned char one[1] = {1}, two[1] = {2};
    value_s_t a{5, const_cast<char*>("x"), 1, one};
    value_s_t b = a;
    std::string where;
    EXPECT_TRUE(qb_test::records_equal(info, &a, &b, &where));
    b.number = 6;
    EXPECT_FALSE(qb_test::records_equal(info, &a, &b, &where));
    EXPECT_EQ(where, "value_t.number: 5 vs 6");
    b = a;
    b.text = const_cast<char*>("y");
    EXPECT_FALSE(qb_test::records_equal(info, &a, &b, &where));
    EXPECT_EQ(where, "value_t.text: \"x\" vs \"y\"");
    b = a;
    b.bytes = two;
    EXPECT_FALSE(qb_test::records_equal(info, &a, &b, &where));
    b = a;
    b.length = 0;
    EXPECT_FALSE(qb_test::records_equal(info, &a, &b, &where));
    // The normalisations.
    value_s_t c{0, nullptr, 0, nullptr};
    value_s_t d{0, const_cast<char*>(""), 0, one};
    EXPECT_TRUE(qb_test::records_equal(info, &c, &d));
    EXPECT_EQ(qb_test::decoded_shape(info, &c), "value_t.text: decoded text is null");
    EXPECT_EQ(qb_test::decoded_shape(info, &d), "");
    EXPECT_EQ(qb_test::describe(info, &a), "value_t{number=5, text=\"x\", bytes=<1:01>}");
}

TEST_F(RecordSupport, ComparerWalksListsOfTheShapeRecord) {
    const qb_record_info& info = asn_shape_all_t::reflect();
    built_record a(info, 42, random_options{});
    EXPECT_TRUE(qb_test::records_equal(info, a.flat(), a.flat()));
    shape_all_s_t changed = *static_cast<shape_all_s_t*>(a.flat());
    changed.l ^= 0x100000000L;  // only the low 32 bits travel
    EXPECT_TRUE(qb_test::records_equal(info, a.flat(), &changed));
    changed.l ^= 1;
    std::string where;
    EXPECT_FALSE(qb_test::records_equal(info, a.flat(), &changed, &where));
    EXPECT_EQ(where.rfind("shape_all_t.l: ", 0), 0U) << where;
    changed = *static_cast<shape_all_s_t*>(a.flat());
    changed.count += 1;
    EXPECT_FALSE(qb_test::records_equal(info, a.flat(), &changed, &where));
    EXPECT_EQ(where.rfind("shape_all_t.leaves: count ", 0), 0U) << where;
}

}  // namespace
