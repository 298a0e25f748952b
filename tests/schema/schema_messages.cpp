// tests/schema/schema_messages.cpp - writes messages of every record type the
// library describes, for the checks of `qbasn schema`'s module by other ASN.1
// tools (tests/schema/check_schema.sh).
//
// Usage: qbasn_schema_messages DIR
// For every record of qb_record_list it builds random flat records through
// the reflection table (deterministic seeds), encodes each with the record's
// entry point and writes the payload, the octets after the four-octet
// envelope, to DIR/<flat name>.<n>.ber. DIR/messages.txt lists them, one a
// line: "<type name> <flat name> <file>".
//
// The records of one type are chosen so that, at the record's top level,
// every OPTIONAL member is both present and absent in some message, every
// list has two or more elements in some message, every slot array has an
// empty slot before a used one, the 32-bit integers include a negative wire
// value and one of four content octets, and the texts include non-ASCII
// UTF-8. A type for which no such set turns up within the seeds tried fails
// the program, naming the type and what is missing.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <set>
#include <string>
#include <vector>

#include "asn1/asn1.h"
#include "asn1/asnrecord.h"
#include "support/flat_fields.h"
#include "support/record_random.h"

namespace {

constexpr unsigned kMinMessages = 6;     // messages per type at least
constexpr unsigned kMaxMessages = 24;    // and at most
constexpr unsigned kMaxAttempts = 2000;  // seeds tried per type

using qb_test::word;

// The shape of one generated record, by seed: an empty one (no optional
// record, no list element), and fuller ones with UTF-8 or ASCII texts.
qb_test::random_options options_for(unsigned seed) {
    qb_test::random_options opt;
    switch (seed % 4) {
        case 0:
            opt.max_depth = 0;  // optional records absent, lists empty
            break;
        case 1:
            opt.min_list = 1;
            opt.max_list = 3;
            opt.allow_absent = false;
            opt.allow_null_text = false;
            opt.utf8_text = true;
            opt.slot_use = 50;
            break;
        case 2:
            opt.utf8_text = true;
            opt.slot_use = 30;
            break;
        default: break;
    }
    return opt;
}

bool non_ascii(const char* s) {
    for (; s != nullptr && *s != '\0'; ++s)
        if ((static_cast<unsigned char>(*s) & 0x80) != 0) return true;
    return false;
}

std::size_t list_count(const qb_field_info& f, const void* flat) {
    if (word<const void*>(flat, f.offset2) == nullptr) return 0;
    if (f.signed_count) {
        const int c = word<int>(flat, f.offset);
        return c < 0 ? 0 : static_cast<std::size_t>(c);
    }
    return word<unsigned>(flat, f.offset);
}

// over_fields: the property names `per_field(f, name, names)` adds for the
// fields of a record's top level, gathered into one set.
template <class PerField>
std::set<std::string> over_fields(const qb_record_info& info, PerField per_field) {
    std::set<std::string> names;
    for (std::size_t i = 0; i < info.field_count; ++i) per_field(info.fields[i], std::string(info.fields[i].name), names);
    return names;
}

// coverage: the properties one record shows at its top level, as names
// ("attrs: absent", "integer: negative"); wanted() lists what a type can show.
std::set<std::string> coverage(const qb_record_info& info, const void* flat) {
    return over_fields(info, [flat](const qb_field_info& f, const std::string& name, std::set<std::string>& seen) {
        switch (f.kind) {
            case qb_field_int:
            case qb_field_uint:
            case qb_field_long: {
                std::uint32_t bits = 0;
                if (f.kind == qb_field_int) bits = static_cast<std::uint32_t>(word<int>(flat, f.offset));
                if (f.kind == qb_field_uint) bits = word<unsigned>(flat, f.offset);
                if (f.kind == qb_field_long) bits = static_cast<std::uint32_t>(word<long>(flat, f.offset));
                const auto value = static_cast<std::int32_t>(bits);
                if (value < 0) seen.insert("integer: negative");
                if (value >= 0x800000 || value < -0x800000) seen.insert("integer: four octets");
                break;
            }
            case qb_field_text:
                if (non_ascii(word<const char*>(flat, f.offset))) seen.insert("text: non-ASCII");
                break;
            case qb_field_text_list: {
                const std::size_t n = list_count(f, flat);
                const auto* texts = word<char* const*>(flat, f.offset2);
                for (std::size_t k = 0; k < n; ++k)
                    if (non_ascii(texts[k])) seen.insert("text: non-ASCII");
                if (n >= 2) seen.insert(name + ": two or more elements");
                break;
            }
            case qb_field_record_list:
            case qb_field_record_ptr_list:
            case qb_field_int_list:
                if (list_count(f, flat) >= 2) seen.insert(name + ": two or more elements");
                break;
            case qb_field_octets:
                if (f.optional) seen.insert(name + (word<unsigned>(flat, f.offset) == 0 ? ": absent" : ": present"));
                break;
            case qb_field_optional_record:
                seen.insert(name + (word<const void*>(flat, f.offset) == nullptr ? ": absent" : ": present"));
                break;
            case qb_field_record_slots: {
                bool empty_before = false;
                for (std::size_t k = 0; k < f.size; ++k) {
                    const bool used = word<const void*>(flat, f.offset + k * sizeof(void*)) != nullptr;
                    if (!used) empty_before = true;
                    if (used && empty_before) seen.insert(name + ": empty slot before a used one");
                }
                break;
            }
            case qb_field_text_octets:
            case qb_field_fixed_octets:
            case qb_field_record:
            case qb_field_ushort:
            case qb_field_uchar: break;
        }
    });
}

std::set<std::string> wanted(const qb_record_info& info) {
    return over_fields(info, [](const qb_field_info& f, const std::string& name, std::set<std::string>& want) {
        switch (f.kind) {
            case qb_field_int:
            case qb_field_uint:
            case qb_field_long:
                want.insert("integer: negative");
                want.insert("integer: four octets");
                break;
            case qb_field_text: want.insert("text: non-ASCII"); break;
            case qb_field_text_list:
                want.insert("text: non-ASCII");
                want.insert(name + ": two or more elements");
                break;
            case qb_field_record_list:
            case qb_field_record_ptr_list:
            case qb_field_int_list: want.insert(name + ": two or more elements"); break;
            case qb_field_octets:
                if (!f.optional) break;
                [[fallthrough]];
            case qb_field_optional_record:
                want.insert(name + ": absent");
                want.insert(name + ": present");
                break;
            case qb_field_record_slots: want.insert(name + ": empty slot before a used one"); break;
            default: break;
        }
    });
}

[[noreturn]] void fail(const std::string& why) {
    std::fprintf(stderr, "qbasn_schema_messages: %s\n", why.c_str());
    std::exit(1);
}

// encode_payload: the record's message without its envelope; fails the
// program when the entry point refuses the record or the envelope is not
// 04 <version> AC DC followed by a SEQUENCE.
std::vector<unsigned char> encode_payload(const qb_record_info& info, void* flat, unsigned seed) {
    qb_asn_buffer_t out{0, nullptr};
    const unsigned rc = info.encode(out, flat, 0);
    const std::string what = std::string(info.flat_name) + " (seed " + std::to_string(seed) + ")";
    if (rc != 0) fail("encoding " + what + " failed with status " + std::to_string(rc));
    std::vector<unsigned char> payload;
    const bool envelope = out.length > 4 && out.data[0] == 0x04 && out.data[2] == 0xAC && out.data[3] == 0xDC && out.data[4] == 0x30;
    if (envelope) payload.assign(out.data + 4, out.data + out.length);
    qb_asn_buffer_free(out);
    if (!envelope) fail("the message of " + what + " does not start with the envelope 04 xx AC DC and a SEQUENCE");
    return payload;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: qbasn_schema_messages DIR\n");
        return 2;
    }
    const std::string dir = argv[1];
    const std::string manifest_path = dir + "/messages.txt";
    FILE* manifest = std::fopen(manifest_path.c_str(), "w");
    if (manifest == nullptr) fail("cannot write " + manifest_path);

    std::size_t count = 0;
    const qb_record_info* const* records = qb_record_list(&count);
    unsigned total = 0;
    for (std::size_t r = 0; r < count; ++r) {
        const qb_record_info& info = *records[r];
        const std::set<std::string> want = wanted(info);
        std::set<std::string> seen;
        unsigned written = 0;
        for (unsigned seed = 0; seed < kMaxAttempts && written < kMaxMessages; ++seed) {
            bool complete = written >= kMinMessages;
            for (const std::string& w : want) complete = complete && seen.count(w) != 0;
            if (complete) break;

            void* flat = std::calloc(1, info.flat_size != 0 ? info.flat_size : 1);
            if (flat == nullptr) fail("out of memory");
            qb_test::random_source rnd(0x5C4E3A000000ull + r * 0x10000 + seed);
            qb_test::fill_random(info, flat, rnd, options_for(seed));
            bool adds = written < kMinMessages;
            for (const std::string& c : coverage(info, flat)) adds = seen.insert(c).second || adds;
            std::vector<unsigned char> payload;
            if (adds) payload = encode_payload(info, flat, seed);
            qb_test::free_built(info, flat);
            std::free(flat);
            if (!adds) continue;

            const std::string path = dir + "/" + info.flat_name + "." + std::to_string(written) + ".ber";
            FILE* f = std::fopen(path.c_str(), "wb");
            if (f == nullptr || std::fwrite(payload.data(), 1, payload.size(), f) != payload.size() || std::fclose(f) != 0)
                fail("cannot write " + path);
            std::fprintf(manifest, "%s %s %s\n", info.name, info.flat_name, path.c_str());
            ++written;
        }
        std::string missing;
        for (const std::string& w : want)
            if (seen.count(w) == 0) missing += (missing.empty() ? "" : "; ") + w;
        if (!missing.empty()) fail(std::string(info.flat_name) + ": no generated record shows: " + missing);
        if (written < kMinMessages) fail(std::string(info.flat_name) + ": only " + std::to_string(written) + " messages");
        total += written;
    }
    if (std::fclose(manifest) != 0) fail("cannot write " + manifest_path);
    std::printf("wrote %u messages of %zu record types to %s\n", total, count, dir.c_str());
    return 0;
}
