// tests/base_idls/records_nesting_test.cpp - deep and hostile nesting on small
// thread stacks, and lengths that do not fit 32 bits.
//
// Nesting bombs: every constructed form a record accepts somewhere (30 80,
// 30 83 .., 31 80, A0 80, 24 80, 24 83 ..) repeated up to 1 MiB, placed
// behind the envelope and behind every frame start of a valid message of
// every record (rewritten in the indefinite form, so the bomb reaches the
// member that starts there). Each is decoded through every record's typed
// entry points (plain and local code set) and the untyped entry point, on a
// thread with a 64 KiB stack above a guard page: each decode must return a
// status, and the record must free without leaking. The deepest stack any of
// them used is printed.
//
// Segments: a constructed OCTET STRING inside a constructed OCTET STRING
// (two levels) decodes as it always did; a third constructed level is refused
// with 0x1065219B.
//
// Lengths: a long-form length whose value does not fit 32 bits is refused with
// 0x10652198 (input exhausted); leading zero octets stay accepted.

#include <gtest/gtest.h>
#include <locale.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "asn1/asn1.h"
#include "asn1/asn_kxobjs.h"
#include "asn1/asnbase.h"
#include "asn1/asnrecord.h"
#include "base_idls/attrlist_asn.h"
#include "support/ber_shapes.h"
#include "support/frames.h"
#include "support/hex.h"
#include "support/record_owners.h"
#include "support/record_random.h"
#include "support/record_test.h"
#include "support/small_stack.h"

namespace {

using bytes_t = std::vector<unsigned char>;

constexpr size_t kSmallStack = 64 * 1024;
constexpr size_t kRecursionStack = 512 * 1024;  // the object tree's read of the recursive records (see below)
constexpr size_t kMebibyte = 1024 * 1024;
constexpr unsigned int kInputExhausted = 0x10652198;
constexpr unsigned int kMalformed = 0x1065219B;

const bytes_t kEnvelope = {0x04, 0x02, 0xAC, 0xDC};

// ---- bombs ----

// One constructed form repeated: `pair` (identifier and 80) for the indefinite
// forms, or identifier plus a three-octet long-form length for the definite
// ones, each level's length covering exactly the levels inside it.
struct bomb_form {
    const char* name;
    unsigned char identifier;
    bool definite;
};

const bomb_form kForms[] = {
    {"30 80", 0x30, false}, {"30 83", 0x30, true},  {"31 80", 0x31, false},
    {"A0 80", 0xA0, false}, {"24 80", 0x24, false}, {"24 83", 0x24, true},
};

// bomb: `size` octets (rounded down to whole levels) of nested frames.
bytes_t bomb(const bomb_form& form, size_t size) {
    bytes_t out;
    out.reserve(size);
    if (!form.definite) {
        for (size_t i = 0; i + 2 <= size; i += 2) {
            out.push_back(form.identifier);
            out.push_back(0x80);
        }
        return out;
    }
    const size_t levels = size / 5;
    for (size_t k = 0; k < levels; ++k) {
        const size_t inner = (levels - 1 - k) * 5;
        out.push_back(form.identifier);
        out.push_back(0x83);
        out.push_back(static_cast<unsigned char>(inner >> 16));
        out.push_back(static_cast<unsigned char>(inner >> 8));
        out.push_back(static_cast<unsigned char>(inner));
    }
    return out;
}

using qb_test::concat;
using qb_test::listed_records;
using qb_test::hex32;

// ---- decoding through the reflection table ----

// decode_status: the status of decoding `msg` into a zeroed record of
// `info` (what the decode left in it is freed).
unsigned int decode_status(const qb_record_info& info, const bytes_t& msg, int lcs) {
    return qb_test::decoded_record(info, msg, lcs).status();
}

// valid_message: the encoding of a random record of `info` whose lists all
// hold elements and whose optional members are present, so every member
// has a frame a bomb can replace.
bytes_t valid_message(const qb_record_info& info) {
    qb_test::random_options opt = qb_test::filled_options(2, 4, true);
    opt.slot_use = 10;  // a few used slots; all 32 would make the action groups' message 32 KB
    const qb_test::built_record record(info, 0x5EED, opt);
    bytes_t msg;
    EXPECT_EQ(qb_test::encode_record(info, record.flat(), 0, &msg), 0u) << info.flat_name;
    return msg;
}

// Everything one small-stack run found wrong, reported after the thread ends
// (so a failure message names the record and the place).
struct findings {
    std::vector<std::string> problems;
    size_t decodes = 0;
    void note_refused(unsigned int rc, const std::string& what) {
        ++decodes;
        if (rc == 0) problems.push_back(what + ": decoded with status 0");
        else if ((rc & 0xFFFF0000u) != 0x10650000u) problems.push_back(what + ": status outside the family");
    }
};


void report(const findings& f, const qb_test::stack_run& run, const char* label) {
    ASSERT_TRUE(run.started);
    for (const std::string& p : f.problems) ADD_FAILURE() << p;
    std::printf("%s: %zu decodes on a %zu KiB stack, deepest stack use %zu octets\n", label, f.decodes,
                kSmallStack / 1024, run.used);
    EXPECT_GT(f.decodes, 0u);
}

// ---- nesting bombs ----

TEST(RecordNesting, MebibyteBombsBehindTheEnvelopeOnA64KiBStack) {
    const auto records = listed_records();
    ASSERT_EQ(records.size(), 65u);
    std::vector<bytes_t> messages;
    for (const bomb_form& form : kForms) messages.push_back(concat({kEnvelope, bomb(form, kMebibyte)}));
    findings f;
    const qb_test::stack_run run = qb_test::run_on_small_stack(kSmallStack, [&] {
        for (size_t m = 0; m < messages.size(); ++m) {
            for (const qb_record_info* info : records)
                for (int lcs = 0; lcs <= 1; ++lcs)
                    f.note_refused(decode_status(*info, messages[m], lcs),
                                     std::string(info->flat_name) + " " + kForms[m].name + (lcs ? " LCS" : ""));
            for (unsigned int type : {259u, 260u, 262u}) {
                bytes_t copy = messages[m];
                qb_asn_buffer_t in{static_cast<unsigned int>(copy.size()), copy.data()};
                if (type == 262) {
                    int value = 0;
                    f.note_refused(static_cast<unsigned int>(qbasn_decode_obj(2, in, type, &value)),
                                     std::string("type 262 ") + kForms[m].name);
                } else {
                    // Room for either plain record; the decode fills the one it names.
                    alignas(std::max_align_t) unsigned char record[std::max(sizeof(cert_request_in),
                                                                            sizeof(kxobj_update_list_s_t))] = {};
                    f.note_refused(static_cast<unsigned int>(qbasn_decode_obj(2, in, type, record)),
                                     "type " + std::to_string(type) + " " + kForms[m].name);
                    (void)qbasn_obj_free(2, type, record);
                }
            }
        }
    });
    report(f, run, "1 MiB bombs");
}

TEST(RecordNesting, BombsAtEveryMemberOfEveryRecordOnA64KiBStack) {
    // Every frame start of every record's valid message (all constructed
    // frames made indefinite) followed by 4 KiB of each bomb: the bomb stands
    // where that member's frame stood, with all enclosing frames open.
    struct cut_message {
        const qb_record_info* info;
        bytes_t bytes;
        std::string what;
    };
    std::vector<cut_message> cuts;
    for (const qb_record_info* info : listed_records()) {
        const bytes_t valid = valid_message(*info);
        std::vector<size_t> starts;
        const bytes_t open = qb_test::indefinite_form(valid, 4, &starts);
        ASSERT_FALSE(open.empty()) << info->flat_name;
        ASSERT_EQ(decode_status(*info, open, 0), 0u) << info->flat_name << ": the indefinite form decodes";
        for (size_t start : starts)
            for (const bomb_form& form : kForms)
                cuts.push_back({info, concat({bytes_t(open.begin(), open.begin() + static_cast<std::ptrdiff_t>(start)),
                                              bomb(form, 4096)}),
                                std::string(info->flat_name) + " at " + std::to_string(start) + " " + form.name});
    }
    ASSERT_GT(cuts.size(), 65u * 6u);
    findings f;
    const qb_test::stack_run run = qb_test::run_on_small_stack(kSmallStack, [&] {
        for (const cut_message& c : cuts) f.note_refused(decode_status(*c.info, c.bytes, 0), c.what);
    });
    report(f, run, "bombs at every member");
}

TEST(RecordNesting, ValidMessagesDecodeOnA64KiBStack) {
    // A small stack refuses nothing valid: every record's message, in the
    // DER form and in the indefinite form, plain and LCS.
    std::vector<std::pair<const qb_record_info*, bytes_t>> messages;
    for (const qb_record_info* info : listed_records()) {
        const bytes_t valid = valid_message(*info);
        messages.emplace_back(info, valid);
        messages.emplace_back(info, qb_test::indefinite_form(valid, 4));
    }
    std::vector<std::string> problems;
    const qb_test::stack_run run = qb_test::run_on_small_stack(kSmallStack, [&] {
        for (const auto& [info, msg] : messages)
            for (int lcs = 0; lcs <= 1; ++lcs)
                if (unsigned int rc = decode_status(*info, msg, lcs); rc != 0)
                    problems.push_back(std::string(info->flat_name) + (lcs ? " LCS: " : ": ") + hex32(rc));
    });
    ASSERT_TRUE(run.started);
    for (const std::string& p : problems) ADD_FAILURE() << p;
    std::printf("valid messages: deepest stack use %zu octets\n", run.used);
}

// The recursive records at the nesting bound: a chain of name-value trees
// (and of audit elements), each the only child of the one before, takes two
// levels per record, so 128 records decode and a 129th is refused. Unlike
// every other record, these two nest as deep as their input up to that
// bound; the typed entry points read a message that nests that deep on a
// large stack of their own, so the caller's 64 KiB suffice. The object
// tree, which reads it on the caller's stack, is measured on a large one.
bytes_t chain_of(const char* leading_members, int records) {
    return concat({kEnvelope, qb_test::nested_records(hex(leading_members), records)});
}

unsigned int tree_decode_status(const qb_record_info& info, const bytes_t& msg) {
    bytes_t copy = msg;
    qb_asn_buffer_t in{static_cast<unsigned int>(copy.size()), copy.data()};
    std::unique_ptr<void, void (*)(void*)> flat(std::calloc(1, info.flat_size), std::free);
    const unsigned int rc = info.tree_decode(in, flat.get(), 0);
    info.free_obj(flat.get());
    return rc;
}

TEST(RecordNesting, RecursiveRecordsAtTheBound) {
    struct recursive {
        const char* flat_name;
        const char* leading_members;  // the members before the child list
    };
    for (const recursive& r : {recursive{"namevalue_s_t", "0C 01 6E 30 00"},
                               recursive{"vqauditelement_s_t", "0C 01 6E 04 00 30 00"}}) {
        SCOPED_TRACE(r.flat_name);
        const qb_record_info* info = qb_record_find(r.flat_name);
        ASSERT_NE(info, nullptr);
        const bytes_t deepest = chain_of(r.leading_members, 128);
        const bytes_t deeper = chain_of(r.leading_members, 129);
        unsigned int rc[5] = {1, 1, 0, 0, 1};
        // The decodes run on the small stack; the decoded records are freed
        // afterwards on this thread: freeing a tree 128 records deep recurses
        // once per record (about 19 KB in a release build, more than 64 KiB
        // with AddressSanitizer), which the README states.
        std::vector<std::unique_ptr<qb_test::decoded_record>> decoded;
        const qb_test::stack_run run = qb_test::run_on_small_stack(kSmallStack, [&] {
            for (const bytes_t* msg : {&deepest, &deeper})
                for (int lcs = 0; lcs <= 1; ++lcs) decoded.push_back(std::make_unique<qb_test::decoded_record>(*info, *msg, lcs));
        });
        ASSERT_EQ(decoded.size(), 4u);
        for (size_t i = 0; i < 4; ++i) rc[i] = decoded[i]->status();
        const qb_test::stack_run freeing =
            qb_test::run_on_small_stack(kRecursionStack, [&] { decoded.front().reset(); });
        decoded.clear();
        const qb_test::stack_run tree_run =
            qb_test::run_on_small_stack(kRecursionStack, [&] { rc[4] = tree_decode_status(*info, deepest); });
        ASSERT_TRUE(run.started);
        ASSERT_TRUE(tree_run.started);
        EXPECT_EQ(rc[0], 0u);
        EXPECT_EQ(rc[1], 0u);
        EXPECT_EQ(rc[2], kMalformed);
        EXPECT_EQ(rc[3], kMalformed);
        EXPECT_EQ(rc[4], 0u);
        std::printf("%s: 128 nested records, deepest stack use of the caller %zu octets (object tree: %zu); "
                    "freeing the record: %zu octets\n",
                    r.flat_name, run.used, tree_run.used, freeing.used);
    }
}

// The message that once exhausted a 192 KiB stack: an object update list
// whose first update's text is 256 constructed segments deep. Now the
// third constructed level is refused.
TEST(RecordNesting, SegmentBombOfTheCertificateRequestIsRefused) {
    for (unsigned int repeat : {80u, 256u, 100000u}) {
        SCOPED_TRACE(repeat);
        bytes_t msg = hex("04 02 AC DC 30 80 02 01 01");
        for (unsigned int i = 0; i < repeat; ++i) {
            msg.push_back(0x24);
            msg.push_back(0x80);
        }
        int rc = 0;
        cert_request_in rec{};
        const qb_test::stack_run run = qb_test::run_on_small_stack(kSmallStack, [&] {
            qb_asn_buffer_t in{static_cast<unsigned int>(msg.size()), msg.data()};
            rc = qbasn_decode_obj(2, in, 259, &rec);
        });
        ASSERT_TRUE(run.started);
        EXPECT_EQ(static_cast<unsigned int>(rc), kMalformed);
        (void)qbasn_obj_free(2, 259, &rec);
    }
}

// ---- constructed segments ----

// The certificate request's first text, sent in the given form.
int decode_request(const char* text_hex, cert_request_in& rec) {
    bytes_t msg = hex((std::string("04 02 AC DC 30 80 02 01 01 ") + text_hex + " 04 00 04 00 00 00").c_str());
    std::memset(&rec, 0, sizeof rec);
    qb_asn_buffer_t in{static_cast<unsigned int>(msg.size()), msg.data()};
    return qbasn_decode_obj(2, in, 259, &rec);
}

TEST(RecordNesting, TwoConstructedSegmentLevelsDecode) {
    // 24 80 { 04 01 41, 24 80 { 04 01 42, 04 01 43 }, 24 06 { 04 01 44, 04 01 45 } }: "ABCDE".
    cert_request_in rec;
    ASSERT_EQ(decode_request("24 80 04 01 41 24 80 04 01 42 04 01 43 00 00 24 06 04 01 44 04 01 45 00 00", rec), 0);
    ASSERT_NE(rec.text_a, nullptr);
    EXPECT_EQ(std::string(rec.text_a), "ABCDE");
    (void)qbasn_obj_free(2, 259, &rec);

    ASSERT_EQ(decode_request("24 0A 24 08 04 02 41 42 04 02 43 44", rec), 0);
    ASSERT_NE(rec.text_a, nullptr);
    EXPECT_EQ(std::string(rec.text_a), "ABCD");
    (void)qbasn_obj_free(2, 259, &rec);
}

TEST(RecordNesting, ThirdConstructedSegmentLevelIsRefused) {
    cert_request_in rec;
    EXPECT_EQ(static_cast<unsigned int>(decode_request("24 80 24 80 24 80 04 01 41 00 00 00 00 00 00", rec)),
              kMalformed);
    (void)qbasn_obj_free(2, 259, &rec);
    EXPECT_EQ(static_cast<unsigned int>(decode_request("24 07 24 05 24 03 04 01 41", rec)), kMalformed);
    (void)qbasn_obj_free(2, 259, &rec);
    // An empty constructed third level is refused as well: the bound is on
    // the form, not on what the level holds.
    EXPECT_EQ(static_cast<unsigned int>(decode_request("24 04 24 02 24 00", rec)), kMalformed);
    (void)qbasn_obj_free(2, 259, &rec);
}

TEST(RecordNesting, SegmentBoundOfAnOctetStringObject) {
    // The bound belongs to the runtime's OCTET STRING: any object that
    // accepts the constructed form follows two levels and refuses the third,
    // leaving the view where it was.
    for (const auto& [in_hex, want_rc, want_value] :
         std::vector<std::tuple<const char*, unsigned int, const char*>>{
             {"24 80 24 80 04 01 41 00 00 00 00", 0u, "41"},
             {"24 07 24 05 04 03 41 42 43", 0u, "41 42 43"},
             {"24 80 24 80 24 80 00 00 00 00 00 00", kMalformed, ""},
             {"24 06 24 04 24 02 04 00", kMalformed, ""},
         }) {
        SCOPED_TRACE(in_hex);
        qb_asn_octetstring o(security_off);
        o.constructed_permitted = 1;
        o.indefinite_permitted = 1;
        // A read takes the whole frame, or nothing.
        const size_t consumed = want_rc == 0 ? hex(in_hex).size() : 0;
        EXPECT_TRUE(qb_test::reads(o, in_hex, want_rc, consumed));
        EXPECT_EQ(o.is_present() != 0, want_rc == 0);
        EXPECT_EQ(want_rc == 0 ? qb_test::value_of(o) : bytes_t(), hex(want_value));
    }
}

// ---- lengths that do not fit 32 bits ----

TEST(RecordLengths, LengthsBeyond32BitsAreExhaustedInput) {
    struct vector {
        const char* what;
        const char* msg;
        unsigned int rc;
    };
    const std::string value_tail = "02 01 2A 0C 04 72 65 61 64 04 04 DE AD BE EF";
    std::string long126 = "30 FE 01";
    for (int i = 0; i < 121; ++i) long126 += " 00";
    long126 += " 00 00 00 0F ";
    std::string zeros126 = "30 FE";
    for (int i = 0; i < 122; ++i) zeros126 += " 00";
    zeros126 += " 00 00 00 0F ";
    const std::vector<std::pair<std::string, unsigned int>> cases = {
        // A SEQUENCE declaring 2^32 + 15 octets.
        {"04 02 AC DC 30 85 01 00 00 00 0F " + value_tail, kInputExhausted},
        // 126 length octets, the first of them 01.
        {"04 02 AC DC " + long126 + value_tail, kInputExhausted},
        // An INTEGER declaring 2^32 + 1 content octets.
        {"04 02 AC DC 30 14 02 85 01 00 00 00 01 2A 0C 04 72 65 61 64 04 04 DE AD BE EF", kInputExhausted},
        // Leading zero octets are valid BER: the same message as the short form.
        {"04 02 AC DC 30 85 00 00 00 00 0F " + value_tail, 0u},
        {"04 02 AC DC " + zeros126 + value_tail, 0u},
        {"04 02 AC DC 30 13 02 84 00 00 00 01 2A 0C 04 72 65 61 64 04 04 DE AD BE EF", 0u},
    };
    for (const auto& [msg_hex, want] : cases) {
        SCOPED_TRACE(msg_hex);
        for (int lcs = 0; lcs <= 1; ++lcs) {
            bytes_t msg = hex(msg_hex.c_str());
            qb_asn_buffer_t in{static_cast<unsigned int>(msg.size()), msg.data()};
            value_s_t v{};
            const unsigned int rc = lcs ? qbAsnDecodeObjLCS(in, v) : qbAsnDecodeObj(in, v);
            EXPECT_EQ(rc, want) << (lcs ? "LCS" : "plain");
            if (want == 0) {
                EXPECT_EQ(v.number, 42);
                ASSERT_NE(v.text, nullptr);
                EXPECT_EQ(std::string(v.text), "read");
                ASSERT_EQ(v.length, 4u);
                EXPECT_EQ(bytes_t(v.bytes, v.bytes + 4), hex("DE AD BE EF"));
            }
            qbAsnFreeObj(v);
        }
    }
}

TEST(RecordLengths, FrameReaderRefusesWhatTheScannerTruncates) {
    // The scanner keeps its low-32-bit result for its own callers...
    bytes_t len = hex("85 01 00 00 00 0F");
    unsigned char* p = len.data();
    unsigned int rem = static_cast<unsigned int>(len.size());
    unsigned int definite = 0;
    unsigned int length = 0;
    EXPECT_EQ(qbAsnGetLength(&p, &rem, &definite, &length), 0u);
    EXPECT_EQ(definite, 1u);
    EXPECT_EQ(length, 0x0Fu);
    EXPECT_EQ(rem, 0u);
    // ...while an object reading the same length refuses the frame and keeps
    // its view where it was.
    for (const char* in_hex : {"04 85 01 00 00 00 02 AA BB", "04 88 00 00 00 01 00 00 00 02 AA BB",
                               "04 85 80 00 00 00 02 AA BB"}) {
        SCOPED_TRACE(in_hex);
        qb_asn_octetstring o(security_off);
        EXPECT_TRUE(qb_test::reads(o, in_hex, kInputExhausted, 0));
    }
    // Leading zero octets of the same long form are read.
    qb_asn_octetstring o(security_off);
    EXPECT_TRUE(qb_test::reads(o, "04 88 00 00 00 00 00 00 00 02 AA BB", 0, 12));
    EXPECT_EQ(qb_test::value_of(o), hex("AA BB"));
}

// ---- stack per level ----

// stack_for: the stack a read of `levels` nested SEQUENCEs takes through a
// chain of sequence objects (each the optional child of the one before).
size_t stack_for_sequences(unsigned int levels) {
    std::vector<std::unique_ptr<qb_asn_sequence>> chain;
    for (unsigned int k = 0; k <= levels; ++k) chain.push_back(std::make_unique<qb_asn_sequence>(security_off));
    for (unsigned int k = 1; k <= levels; ++k) {
        chain[k]->set_optional(1);
        chain[k - 1]->register_child(chain[k].get());
    }
    bytes_t in;
    for (unsigned int k = 0; k < levels; ++k) {
        in.push_back(0x30);
        in.push_back(0x80);
    }
    in.insert(in.end(), 2 * levels, 0x00);
    unsigned int rc = 1;
    const qb_test::stack_run run = qb_test::run_on_small_stack(1024 * 1024, [&] {
        qb_r_buffer_t r(in.data(), static_cast<unsigned int>(in.size()));
        rc = chain[0]->asnread(r);
    });
    EXPECT_EQ(rc, 0u);
    while (!chain.empty()) chain.pop_back();  // innermost first
    return run.used;
}

// stack_for_segments: the stack a read of an OCTET STRING with `levels`
// constructed levels takes.
size_t stack_for_segments(unsigned int levels) {
    bytes_t in = hex("04 01 41");
    for (unsigned int k = 0; k < levels; ++k) {
        bytes_t outer = {0x24, 0x80};
        outer.insert(outer.end(), in.begin(), in.end());
        outer.push_back(0x00);
        outer.push_back(0x00);
        in = outer;
    }
    unsigned int rc = 1;
    const qb_test::stack_run run = qb_test::run_on_small_stack(256 * 1024, [&] {
        qb_asn_octetstring o(security_off);
        o.constructed_permitted = 1;
        o.indefinite_permitted = 1;
        qb_r_buffer_t r(in.data(), static_cast<unsigned int>(in.size()));
        rc = o.asnread(r);
    });
    EXPECT_EQ(rc, 0u);
    return run.used;
}

TEST(RecordNesting, StackPerLevel) {
    // Stack per nested frame, from two depths (the fixed cost cancels out).
    // A first round binds every function the reads call, so that the lazy
    // binding of the dynamic loader (which takes stack of its own) does not
    // land in one of the measured runs only.
    (void)stack_for_sequences(40);
    (void)stack_for_sequences(200);
    (void)stack_for_segments(1);
    (void)stack_for_segments(2);
    const size_t frame_level = (stack_for_sequences(200) - stack_for_sequences(40)) / 160;
    const size_t segment_level = stack_for_segments(2) - stack_for_segments(1);
    std::printf("stack per nested frame: %zu octets; per constructed segment level: %zu octets\n", frame_level,
                segment_level);
    // Frames stay small: no level keeps a buffer or an object of its own on
    // the stack beyond the segment reader's one octet-string object.
    EXPECT_LT(frame_level, 1024u);
    EXPECT_LT(segment_level, 2048u);
    EXPECT_GT(frame_level, 0u);
}

}  // namespace
