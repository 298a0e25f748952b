// tests/base_idls/records_direct_test.cpp - the typed entry points (the direct
// codec) against the object tree's entry points, which stay the reference:
// for every record the library lists, the same octets, the same status, the
// same lines on standard error and the same flat record (to the last pointer
// left null, also after a failed decode).
//
// Inputs: random records of every type (plain and local-code-set forms, under
// the UTF-8 and the Latin-1 locale, ASCII and non-ASCII texts); every
// truncation and single-octet change of one message per record; the same
// messages with every constructed frame made indefinite and every length in
// a four-octet long form. Then the direct path's own allocations, failed one
// at a time: status 0x10652065, one well-formed line, outputs left as a
// failed call leaves them, nothing leaked.
#include "support/failing_malloc.h"  // first: the allocation sweep below

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "asn1/asn1.h"
#include "asn1/asnrecord.h"
#include "asn1/asn_kxobjs.h"
#include "base_idls/attrlist_asn.h"
#include "support/ber_shapes.h"
#include "support/hostile.h"
#include "support/leak_check.h"
#include "support/record_owners.h"
#include "support/record_random.h"
#include "support/record_test.h"
#include "support/stderr_tap.h"
#include "support/thread_locale.h"

namespace {

using bytes_t = std::vector<unsigned char>;

using qb_test::listed_records;
using qb_test::hex32;

// ---- one call through each path ----

struct outcome {
    unsigned int rc = 0;
    std::string printed;  // standard error
    bytes_t bytes;        // an encode's octets
    std::string record;   // a decode's flat record (image)
};

bool operator==(const outcome& a, const outcome& b) {
    return a.rc == b.rc && a.printed == b.printed && a.bytes == b.bytes && a.record == b.record;
}

// summary_of: an outcome on one line, for failure messages.
std::string summary_of(const outcome& o) {
    return "status " + hex32(o.rc) + ", stderr \"" + o.printed + "\", " + std::to_string(o.bytes.size()) +
           " octets, record " + o.record.substr(0, 300);
}

class paths {
public:
    explicit paths(const qb_record_info& info) : info_(info) {}

    outcome encoded(const void* flat, int lcs, bool tree) {
        outcome o;
        qb_asn_buffer_t out{0, nullptr};
        o.rc = (tree ? info_.tree_encode : info_.encode)(out, const_cast<void*>(flat), lcs);
        o.printed = tap_.take();
        if (out.data != nullptr) o.bytes.assign(out.data, out.data + out.length);
        qb_asn_buffer_free(out);
        return o;
    }

    outcome decoded(const bytes_t& msg, int lcs, bool tree) {
        outcome o;
        bytes_t copy = msg;
        qb_asn_buffer_t in{static_cast<unsigned int>(copy.size()), copy.data()};
        std::unique_ptr<void, void (*)(void*)> flat(std::calloc(1, info_.flat_size), std::free);
        o.rc = (tree ? info_.tree_decode : info_.decode)(in, flat.get(), lcs);
        o.printed = tap_.take();
        o.record = qb_test::image(info_, flat.get());
        info_.free_obj(flat.get());
        return o;
    }

    // same_decode / same_encode: "" or what differs between the two paths.
    std::string same_decode(const bytes_t& msg, int lcs) {
        const outcome direct = decoded(msg, lcs, false);
        const outcome tree = decoded(msg, lcs, true);
        if (direct == tree) return "";
        return "decode differs:\n  direct: " + summary_of(direct) + "\n  tree:   " + summary_of(tree);
    }
    std::string same_encode(const void* flat, int lcs) {
        const outcome direct = encoded(flat, lcs, false);
        const outcome tree = encoded(flat, lcs, true);
        if (direct == tree) return "";
        return "encode differs:\n  direct: " + summary_of(direct) + "\n  tree:   " + summary_of(tree);
    }

private:
    const qb_record_info& info_;
    qb_test::stderr_tap tap_;
};


using qb_test::built_record;

// message_of: the direct encoding of a record of every list filled.
bytes_t message_of(const qb_record_info& info, std::uint64_t seed) {
    built_record b(info, seed, qb_test::filled_options(2, 6, false));
    bytes_t msg;
    EXPECT_EQ(qb_test::encode_record(info, b.flat(), 0, &msg), 0u) << info.flat_name;
    return msg;
}

// long_form: the frames of `ber` from `from` on, with every definite length
// written in the four-octet long form (84 xx xx xx xx).
bool long_frames(const bytes_t& b, size_t pos, size_t end, bytes_t& out) {
    while (pos < end) {
        qb_test::ber_header h;
        if (!qb_test::read_ber_header(b, pos, end, h) || !h.definite) return false;
        out.insert(out.end(), b.begin() + static_cast<std::ptrdiff_t>(pos),
                   b.begin() + static_cast<std::ptrdiff_t>(pos + h.identifier_len));
        bytes_t content;
        if (h.constructed) {
            if (!long_frames(b, h.content, h.content + h.length, content)) return false;
        } else {
            content.assign(b.begin() + static_cast<std::ptrdiff_t>(h.content),
                           b.begin() + static_cast<std::ptrdiff_t>(h.content + h.length));
        }
        const size_t n = content.size();
        out.insert(out.end(), {0x84, static_cast<unsigned char>(n >> 24), static_cast<unsigned char>(n >> 16),
                               static_cast<unsigned char>(n >> 8), static_cast<unsigned char>(n)});
        out.insert(out.end(), content.begin(), content.end());
        pos = h.content + h.length;
    }
    return true;
}

bytes_t long_form(const bytes_t& ber) {
    bytes_t out(ber.begin(), ber.begin() + 4);
    if (!long_frames(ber, 4, ber.size(), out)) return {};
    return out;
}

// ---- random records ----

TEST(RecordDirect, RandomRecordsGiveTheTreesResultsInBothLocales) {
    const auto records = listed_records();
    ASSERT_EQ(records.size(), 65u);
    for (const char* locale : {qb_test::kUtf8Locale, qb_test::kLatin1Locale}) {
        SCOPED_TRACE(locale);
        qb_test::thread_locale loc(locale);
        ASSERT_TRUE(loc.ok()) << qb_test::kMissingLocale;
        for (const qb_record_info* info : records) {
            SCOPED_TRACE(info->flat_name);
            paths both(*info);
            for (std::uint64_t seed = 1; seed <= 6; ++seed) {
                qb_test::random_options opt;
                opt.utf8_text = seed % 2 == 0;  // non-ASCII texts: Latin-1 refuses some of them
                built_record src(*info, seed, opt);
                for (int lcs = 0; lcs <= 1; ++lcs) {
                    SCOPED_TRACE(lcs ? "LCS" : "plain");
                    const std::string enc = both.same_encode(src.flat(), lcs);
                    ASSERT_EQ(enc, "") << "seed " << seed;
                    const outcome wire = both.encoded(src.flat(), lcs, false);
                    if (wire.rc != 0) continue;
                    for (int lcs_in = 0; lcs_in <= 1; ++lcs_in)
                        ASSERT_EQ(both.same_decode(wire.bytes, lcs_in), "") << "seed " << seed;
                }
            }
        }
    }
}

TEST(RecordDirect, NullPointersWithCountsAndLengths) {
    // An octet string with a length but no data is refused with 0x1065219C
    // by both paths, before anything is written.
    const qb_record_info* info = qb_record_find("value_s_t");
    ASSERT_NE(info, nullptr);
    value_s_t v{7, nullptr, 3, nullptr};
    paths both(*info);
    EXPECT_EQ(both.same_encode(&v, 0), "");
    const outcome o = both.encoded(&v, 0, false);
    EXPECT_EQ(o.rc, 0x1065219Cu);
    EXPECT_TRUE(o.bytes.empty());
}

TEST(RecordDirect, ListCountWithoutAnArrayIsRefused) {
    // A list whose count is not 0 but whose array pointer is null has no
    // elements to send: the encode refuses it with 0x1065219C and hands
    // nothing out (the object tree would read through the null pointer, so
    // only the direct path is run). Every list field of every record.
    size_t lists = 0;
    for (const qb_record_info* info : listed_records()) {
        for (size_t k = 0; k < info->field_count; ++k) {
            const qb_field_info& f = info->fields[k];
            if (f.kind != qb_field_record_list && f.kind != qb_field_record_ptr_list && f.kind != qb_field_text_list &&
                f.kind != qb_field_int_list)
                continue;
            SCOPED_TRACE(std::string(info->flat_name) + "." + f.name);
            std::vector<unsigned char> flat(info->flat_size, 0);
            const unsigned int one = 1;
            std::memcpy(flat.data() + f.offset, &one, sizeof one);
            for (int lcs = 0; lcs <= 1; ++lcs) {
                qb_asn_buffer_t out{0, nullptr};
                EXPECT_EQ(info->encode(out, flat.data(), lcs), 0x1065219Cu);
                EXPECT_EQ(out.data, nullptr);
                EXPECT_EQ(out.length, 0u);
            }
            ++lists;
        }
    }
    EXPECT_GT(lists, 20u);
}

// ---- damaged and re-encoded messages ----

TEST(RecordDirect, EveryTruncationAndOctetChangeGivesTheTreesResult) {
    size_t compared = 0;
    for (const qb_record_info* info : listed_records()) {
        SCOPED_TRACE(info->flat_name);
        const bytes_t msg = message_of(*info, 77);
        ASSERT_GT(msg.size(), 4u);
        paths both(*info);
        // Every cut, then every octet changed by FF, 01 and 80 and set to 00.
        std::vector<bytes_t> inputs;
        qb_test::for_each_damaged(msg, {0xFF, 0x01, 0x80}, {0x00},
                                  [&](const bytes_t& damaged, const std::string&) { inputs.push_back(damaged); });
        std::vector<size_t> starts;
        const bytes_t open = qb_test::indefinite_form(msg, 4, &starts);
        ASSERT_FALSE(open.empty());
        inputs.push_back(open);
        const bytes_t longer = long_form(msg);
        ASSERT_FALSE(longer.empty());
        inputs.push_back(longer);
        for (size_t n = 0; n < open.size(); ++n) inputs.emplace_back(open.begin(), open.begin() + static_cast<std::ptrdiff_t>(n));
        for (const bytes_t& in : inputs) {
            for (int lcs = 0; lcs <= 1; ++lcs) {
                const std::string diff = both.same_decode(in, lcs);
                ASSERT_EQ(diff, "") << "input " << qb_test::to_hex(in);
                ++compared;
            }
        }
        // The re-encodings decode to the original record.
        const outcome a = both.decoded(open, 0, false);
        const outcome b = both.decoded(msg, 0, false);
        const outcome c = both.decoded(longer, 0, false);
        EXPECT_EQ(a.rc, 0u);
        EXPECT_EQ(a.record, b.record);
        EXPECT_EQ(c.record, b.record);
    }
    std::printf("%zu decodes compared\n", compared);
}

// segmented: the frames of `ber` from `from` on, with every primitive OCTET
// STRING of two octets or more sent as `levels` nested constructed,
// indefinite-length strings whose innermost holds two primitive segments.
bool segmented_frames(const bytes_t& b, size_t pos, size_t end, int levels, bytes_t& out) {
    while (pos < end) {
        qb_test::ber_header h;
        if (!qb_test::read_ber_header(b, pos, end, h) || !h.definite) return false;
        const auto at = [&](size_t k) { return b.begin() + static_cast<std::ptrdiff_t>(k); };
        if (h.constructed) {
            bytes_t content;
            if (!segmented_frames(b, h.content, h.content + h.length, levels, content)) return false;
            out.insert(out.end(), at(pos), at(pos + h.identifier_len));
            out.push_back(0x80);
            out.insert(out.end(), content.begin(), content.end());
            out.insert(out.end(), {0x00, 0x00});
        } else if (b[pos] == 0x04 && h.length >= 2 && h.length < 128) {
            for (int i = 0; i < levels; ++i) out.insert(out.end(), {0x24, 0x80});
            out.insert(out.end(), {0x04, 0x01, b[h.content]});
            out.insert(out.end(), {0x04, static_cast<unsigned char>(h.length - 1)});
            out.insert(out.end(), at(h.content + 1), at(h.content + h.length));
            for (int i = 0; i < levels; ++i) out.insert(out.end(), {0x00, 0x00});
        } else {
            out.insert(out.end(), at(pos), at(h.content + h.length));
        }
        pos = h.content + h.length;
    }
    return true;
}

TEST(RecordDirect, SegmentedOctetStringsOfTheUpdatesAndRequests) {
    // The object updates and certificate requests accept their OCTET STRING
    // members in segments: one and two constructed levels decode to the same
    // record, three are refused, and every cut of each form gives the tree's
    // result.
    for (const char* name : {"kxobj_update_s_t", "kxobj_update_list_s_t", "cert_request_in"}) {
        SCOPED_TRACE(name);
        const qb_record_info* info = qb_record_find(name);
        ASSERT_NE(info, nullptr);
        const bytes_t msg = message_of(*info, 11);
        paths both(*info);
        const outcome plain = both.decoded(msg, 0, false);
        ASSERT_EQ(plain.rc, 0u);
        for (int levels = 1; levels <= 3; ++levels) {
            SCOPED_TRACE(levels);
            bytes_t split(msg.begin(), msg.begin() + 4);
            ASSERT_TRUE(segmented_frames(msg, 4, msg.size(), levels, split));
            ASSERT_NE(split, msg);
            const outcome o = both.decoded(split, 0, false);
            if (levels <= 2) {
                EXPECT_EQ(o.rc, 0u);
                EXPECT_EQ(o.record, plain.record);
            } else {
                EXPECT_EQ(o.rc, 0x1065219Bu);
            }
            for (size_t n = 0; n <= split.size(); ++n)
                ASSERT_EQ(both.same_decode(bytes_t(split.begin(), split.begin() + static_cast<std::ptrdiff_t>(n)), 0), "")
                    << "cut at " << n;
        }
    }
}

// deep_namevalues: a chain of `records` name-value trees, each the only child
// of the one before, each named by the octets of `name` (DER, behind the
// envelope).
bytes_t deep_namevalues(int records, const bytes_t& name) {
    // Each record: the name, no values, then the list of its one child.
    const bytes_t leading = qb_test::concat({qb_test::frame_of(0x0C, name), {0x30, 0x00}});
    return qb_test::concat({{0x04, 0x02, 0xAC, 0xDC}, qb_test::nested_records(leading, records)});
}

TEST(RecordDirect, DeeplyNestedRecordsGiveTheTreesResults) {
    // Messages that nest deeper than the caller's share of the stack are read
    // on a large stack of their own: the same results, also for a failure
    // raised there (a text the Latin-1 locale cannot hold) and for every cut.
    const qb_record_info* info = qb_record_find("namevalue_s_t");
    ASSERT_NE(info, nullptr);
    paths both(*info);
    for (int records : {20, 127, 128, 129}) {
        SCOPED_TRACE(records);
        const bytes_t ascii = deep_namevalues(records, {0x6E});
        const bytes_t euro = deep_namevalues(records, {0xE2, 0x82, 0xAC});
        for (int lcs = 0; lcs <= 1; ++lcs) {
            ASSERT_EQ(both.same_decode(ascii, lcs), "");
            ASSERT_EQ(both.same_decode(euro, lcs), "");
        }
        {
            qb_test::thread_locale latin1(qb_test::kLatin1Locale);
            ASSERT_TRUE(latin1.ok()) << qb_test::kMissingLocale;
            ASSERT_EQ(both.same_decode(euro, 1), "");
            const outcome o = both.decoded(euro, 1, false);
            EXPECT_EQ(o.rc, records <= 128 ? 0x106521ABu : 0x1065219Bu);
        }
        const outcome plain = both.decoded(ascii, 0, false);
        EXPECT_EQ(plain.rc, records <= 128 ? 0u : 0x1065219Bu);
    }
    const bytes_t deep = deep_namevalues(64, {0x6E});
    for (size_t n = 0; n < deep.size(); n += 7)
        ASSERT_EQ(both.same_decode(bytes_t(deep.begin(), deep.begin() + static_cast<std::ptrdiff_t>(n)), 0), "")
            << "cut at " << n;
}

// ---- allocation failure on the direct path ----

class RecordDirectOutOfMemory : public qb_test::LeakChecked {};

// failing_run: one call with one allocation failed. `silent`: a failure the
// call reports by its status alone.
struct failing_run {
    unsigned int rc = 0;
    bool failed = false;
    bool silent = false;
};

// runs_until_done: run(n) for n = 0, 1, ... (the call with its allocation
// #n+1 failed) until a run takes no failure, which must return 0 and print
// nothing; every run that takes the failure returns 0x10652065 and prints one
// exception line with that code (or nothing, when silent). Returns how many
// runs took the failure.
template <class Run>
long runs_until_done(qb_test::stderr_tap& tap, Run run) {
    for (long n = 0; n < 100000; ++n) {
        const failing_run r = run(n);
        const std::string printed = tap.take();
        if (!r.failed) {
            EXPECT_EQ(r.rc, 0u);
            EXPECT_EQ(printed, "");
            return n;
        }
        EXPECT_EQ(r.rc, 0x10652065u) << "allocation " << n;
        qb_test::exception_parts line;
        if (r.silent) {
            EXPECT_EQ(printed, "");
        } else {
            EXPECT_TRUE(qb_test::parse_exception_line(printed, &line)) << "allocation " << n << ": " << printed;
            EXPECT_EQ(line.code, "10652065");
        }
    }
    ADD_FAILURE() << "the call never completed";
    return 100000;
}

TEST_F(RecordDirectOutOfMemory, EveryAllocationOfEveryRecord) {
    for (const qb_record_info* info : listed_records()) {
        if (info->decode == info->tree_decode) continue;  // records still read through the tree
        SCOPED_TRACE(info->flat_name);
        const bytes_t msg = message_of(*info, 5);
        qb_test::random_options opt;
        opt.min_list = 1;
        built_record src(*info, 5, opt);
        qb_test::stderr_tap tap;
        // A first round trip in both forms opens this thread's code-set
        // descriptors, so that the sweep meets the codec's allocations only.
        for (int lcs = 0; lcs <= 1; ++lcs) {
            bytes_t wire;
            ASSERT_EQ(qb_test::encode_record(*info, src.flat(), lcs, &wire), 0u);
            ASSERT_EQ(qb_test::decoded_record(*info, wire, lcs).status(), 0u);
        }
        for (int lcs = 0; lcs <= 1; ++lcs) {
            // Decode: whatever a failed decode left is freeable.
            runs_until_done(tap, [&](long n) {
                bytes_t copy = msg;
                qb_asn_buffer_t in{static_cast<unsigned int>(copy.size()), copy.data()};
                std::unique_ptr<void, void (*)(void*)> flat(std::calloc(1, info->flat_size), std::free);
                failing_run r;
                {
                    qb_test::fail_after guard(n);
                    r.rc = info->decode(in, flat.get(), lcs);
                    r.failed = !qb_test::fail_after::armed();
                }
                // Deliberate (the update list's own rule): an update array that
                // cannot be allocated is a status, not an exception; the count
                // stays and the array pointer is null.
                const auto* list = static_cast<const kxobj_update_list_s_t*>(flat.get());
                r.silent = std::strcmp(info->flat_name, "kxobj_update_list_s_t") == 0 && list->count != 0 &&
                           list->items == nullptr;
                info->free_obj(flat.get());
                return r;
            });
            // Encode: a failed encode hands nothing out. An encode of ASCII
            // text takes one allocation, the message block, in both forms.
            const long encode_failures = runs_until_done(tap, [&](long n) {
                qb_asn_buffer_t out{0, nullptr};
                failing_run r;
                {
                    qb_test::fail_after guard(n);
                    r.rc = info->encode(out, src.flat(), lcs);
                    r.failed = !qb_test::fail_after::armed();
                }
                EXPECT_TRUE(!r.failed || (out.data == nullptr && out.length == 0u)) << "allocation " << n;
                qb_asn_buffer_free(out);
                return r;
            });
            EXPECT_EQ(encode_failures, 1);
        }
    }
    EXPECT_FALSE(qb_test::leak_found());
}

}  // namespace
