// tests/support/record_cases.cpp - the table checks of record_cases.h.
#include "support/record_cases.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <new>

#include "support/buffers.h"
#include "support/hex.h"
#include "support/record_owners.h"
#include "support/record_random.h"
#include "support/record_test.h"

namespace qb_test {

namespace {

const char* form_name(int lcs) { return lcs ? "LCS form" : "plain form"; }

// filled_record: a record of `info` with every octet set to `prefill`, for a
// decoder to write into. Freed with the library's freer, except when it still
// holds nothing but a prefill that is not zero (a decode refused before the
// record was touched: there is nothing to free, and the octets are no record).
class filled_record {
public:
    filled_record(const qb_record_info& info, unsigned char prefill)
        : info_(info), prefill_(prefill), flat_(std::malloc(info.flat_size != 0 ? info.flat_size : 1)) {
        if (flat_ == nullptr) throw std::bad_alloc();
        std::memset(flat_, prefill, info.flat_size);
    }
    ~filled_record() {
        if (prefill_ == 0 || !untouched()) info_.free_obj(flat_);
        std::free(flat_);
    }
    filled_record(const filled_record&) = delete;
    filled_record& operator=(const filled_record&) = delete;

    // decode: info.decode of an exactly sized copy of `in`; what it printed goes to *printed.
    unsigned int decode(const bytes_t& in, int lcs, std::string* printed) {
        const exact_block copy(in);
        qb_asn_buffer_t buffer{copy.size(), in.empty() ? nullptr : copy.data()};
        testing::internal::CaptureStderr();
        const unsigned int rc = info_.decode(buffer, flat_, lcs);
        *printed = testing::internal::GetCapturedStderr();
        return rc;
    }
    bool untouched() const {
        const auto* p = static_cast<const unsigned char*>(flat_);
        for (std::size_t i = 0; i < info_.flat_size; ++i)
            if (p[i] != prefill_) return false;
        return true;
    }
    void* flat() const { return flat_; }

private:
    const qb_record_info& info_;
    unsigned char prefill_;
    void* flat_;
};

// encoded: info.encode of `flat` in the form `lcs`; it must succeed and print nothing.
bytes_t encoded(const qb_record_info& info, void* flat, int lcs) {
    bytes_t out;
    testing::internal::CaptureStderr();
    const unsigned int rc = encode_record(info, flat, lcs, &out);
    const std::string printed = testing::internal::GetCapturedStderr();
    EXPECT_EQ(hex32(rc), hex32(0)) << "encode, " << form_name(lcs) << ": " << describe(info, flat);
    EXPECT_EQ(printed, "") << "a successful encode prints nothing";
    return out;
}

// expect_decoded: a decoded record has the decoder's shape, equals `want`
// (when given) and re-encodes in the same form to `again` (when given).
void expect_decoded(const qb_record_info& info, void* got, const void* want, const bytes_t* again, int lcs) {
    EXPECT_EQ(decoded_shape(info, got), "");
    std::string where;
    if (want != nullptr) {
        EXPECT_TRUE(records_equal(info, want, got, &where))
            << "differs at " << where << "\n  want: " << describe(info, want) << "\n  got:  " << describe(info, got);
    }
    if (again != nullptr) {
        EXPECT_EQ(to_hex(encoded(info, got, lcs)), to_hex(*again)) << "re-encoding the decoded record";
    }
}

}  // namespace

// ---- helpers ----

std::vector<const qb_record_info*> listed_records() {
    std::size_t n = 0;
    const qb_record_info* const* list = qb_record_list(&n);
    return std::vector<const qb_record_info*>(list, list + n);
}

std::vector<std::string> source_text(const char* source) {
    // This file is tests/support/record_cases.cpp: the root is three levels up.
    const std::filesystem::path path =
        std::filesystem::path(__FILE__).parent_path().parent_path().parent_path() / source;
    std::ifstream in(path);
    EXPECT_TRUE(in.good()) << "cannot read " << path;
    std::vector<std::string> lines;
    for (std::string line; std::getline(in, line);) lines.push_back(line);
    return lines;
}

std::vector<int> source_lines(const char* source, const char* needle) {
    const std::vector<std::string> lines = source_text(source);
    std::vector<int> found;
    for (std::size_t i = 0; i < lines.size(); ++i)
        if (lines[i].find(needle) != std::string::npos) found.push_back(static_cast<int>(i + 1));
    return found;
}

std::vector<std::string> dump_names(const qb_asn_object& o) {
    qb_buffer_t b(security_off);
    o.display_state_flags(b, 0);
    std::string dump(reinterpret_cast<const char*>(b.data), b.length());
    std::vector<std::string> names;
    for (std::string line; !dump.empty();) {
        const std::size_t cut = std::min(dump.find('\n'), dump.size());
        line.assign(dump, 0, cut);
        dump.erase(0, cut + 1);
        names.push_back(line.substr(0, line.find('(')));
    }
    return names;
}

// ---- the table checks ----

void expect_known_answers(std::initializer_list<known_answer> rows) {
    for (const known_answer& row : rows) {
        SCOPED_TRACE(std::string(row.info.name) + ": " + row.name);
        const qb_record_info& info = row.info;
        bytes_t want = row.hex != nullptr ? hex(row.hex) : encoded(info, row.flat, 0);
        for (int lcs = 0; lcs <= 1; ++lcs) {
            SCOPED_TRACE(form_name(lcs));
            EXPECT_EQ(to_hex(encoded(info, row.flat, lcs)), to_hex(want));
        }
        for (int lcs = 0; lcs <= 1; ++lcs) {
            SCOPED_TRACE(form_name(lcs));
            filled_record got(info, row.prefill);
            std::string printed;
            ASSERT_EQ(hex32(got.decode(want, lcs, &printed)), hex32(0));
            EXPECT_EQ(printed, "") << "a successful decode prints nothing";
            expect_decoded(info, got.flat(), row.flat, &want, lcs);
        }
    }
}

void expect_decodes(std::initializer_list<decode_case> rows) {
    for (const decode_case& row : rows) {
        SCOPED_TRACE(std::string(row.info.name) + ": " + row.name);
        const bytes_t in = hex(row.hex);
        const bytes_t again = row.again != nullptr ? hex(row.again) : bytes_t();
        for (int lcs = 0; lcs <= 1; ++lcs) {
            SCOPED_TRACE(form_name(lcs));
            filled_record got(row.info, row.prefill);
            std::string printed;
            EXPECT_EQ(hex32(got.decode(in, lcs, &printed)), hex32(row.status));
            EXPECT_EQ(printed, "");
            if (row.status == 0) {
                expect_decoded(row.info, got.flat(), row.want, row.again != nullptr ? &again : nullptr, lcs);
            } else if (row.untouched) {
                EXPECT_TRUE(got.untouched()) << "the refused decode wrote into the record";
            }
        }
    }
}

void expect_type_names(std::initializer_list<type_name_case> rows) {
    for (const type_name_case& row : rows) {
        SCOPED_TRACE(row.full);
        EXPECT_EQ(row.type_name(), row.cut);
        EXPECT_STREQ(row.info.name, row.full);
        EXPECT_STREQ(row.info.flat_name, row.flat);
        EXPECT_EQ(row.info.flat_size, row.flat_size);
        const std::vector<std::string> dump = row.dump();
        ASSERT_FALSE(dump.empty());
        EXPECT_EQ(dump.front(), row.cut);
        if (!row.members.empty()) {
            EXPECT_EQ(dump, row.members);
        }
    }
}

void expect_fields(const qb_record_info& info, std::initializer_list<field_case> fields) {
    SCOPED_TRACE(info.name);
    ASSERT_EQ(info.field_count, fields.size());
    const qb_field_info* f = info.fields;
    for (const field_case& want : fields) {
        SCOPED_TRACE(want.name);
        EXPECT_STREQ(f->name, want.name);
        EXPECT_EQ(f->kind, want.kind);
        // Members left at their defaults are not compared.
        EXPECT_TRUE(want.offset == kAny || f->offset == want.offset) << "offset " << f->offset;
        EXPECT_TRUE(want.offset2 == kAny || f->offset2 == want.offset2) << "offset2 " << f->offset2;
        EXPECT_TRUE(want.size == kAny || f->size == want.size) << "size " << f->size;
        EXPECT_TRUE(want.optional < 0 || f->optional == want.optional) << "optional " << f->optional;
        EXPECT_TRUE(want.signed_count < 0 || f->signed_count == want.signed_count) << "signed " << f->signed_count;
        EXPECT_TRUE(want.element == nullptr || (f->element != nullptr && f->element() == want.element))
            << "element record";
        ++f;
    }
}

void expect_child_list(const qb_asn_composite& rec, std::initializer_list<const qb_asn_object*> members) {
    ASSERT_EQ(rec.get_child_count(), members.size());
    unsigned int i = 0;
    for (const qb_asn_object* member : members) {
        EXPECT_EQ(rec.get_child(i), member) << "child " << i;
        ++i;
    }
}

}  // namespace qb_test
