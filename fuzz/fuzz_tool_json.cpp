// fuzz/fuzz_tool_json.cpp - the qbasn tool's JSON reader (json_to_record,
// json_to_int) on any text.
//
// Input: the first octet picks the record (modulo the number of records plus
// one; the extra value reads a bare integer with json_to_int), the rest is
// the JSON text. The reader either fills the record or throws the tool's
// input error (tool_error with exit code 2); nothing else may escape, and the
// record's own free function must release whatever it was given, also after
// a failure. A record that was read must
// - write back as JSON that reads again and writes back identically
//   (write_record_json, json_to_record, write_record_json), and
// - when the library encodes it, decode from that encoding and encode to the
//   same octets again.
#include <cstdio>
#include <cstdlib>
#include <string>

#include "asn1/asnrecord.h"
#include "round_trip.h"
#include "shim.h"
#include "tools/qbasn/common.h"
#include "tools/qbasn/json_record.h"

namespace {

using qb_fuzz::flat_record;

// json_text: what write_record_json writes for the record.
std::string json_text(const qb_record_info& info, const void* flat) {
    char* buf = nullptr;
    std::size_t size = 0;
    FILE* out = open_memstream(&buf, &size);
    FUZZ_CHECK(out != nullptr);
    qbtool::write_record_json(out, info, flat);
    FUZZ_CHECK(std::fclose(out) == 0);
    std::string text(buf, size);
    std::free(buf);
    return text;
}

std::span<const unsigned char> bytes_of(const std::string& s) {
    return {reinterpret_cast<const unsigned char*>(s.data()), s.size()};
}

// written_json_reads_back: JSON written from a record reads into an equal record.
void written_json_reads_back(const qb_record_info& info, const void* flat) {
    const std::string once = json_text(info, flat);
    flat_record again(info);
    qbtool::json_to_record(bytes_of(once), info, again.get());  // must not throw
    FUZZ_CHECK(json_text(info, again.get()) == once);
}

// encoding_round_trips: when the record encodes, its encoding decodes and
// encodes to the same octets.
void encoding_round_trips(const qb_record_info& info, void* flat) {
    qb_fuzz::encoded once;
    if (info.encode(once.buf, flat, 0) != 0) return;
    flat_record back(info);
    FUZZ_CHECK(info.decode(once.buf, back.get(), 0) == 0);
    qb_fuzz::encoded twice;
    FUZZ_CHECK(info.encode(twice.buf, back.get(), 0) == 0);
    FUZZ_CHECK(qb_fuzz::same_bytes(once.buf.data, once.buf.length, twice.buf.data, twice.buf.length));
}

}  // namespace

void fuzz_one(std::span<const unsigned char> input) {
    if (input.empty()) return;
    std::size_t count = 0;
    const qb_record_info* const* records = qb_record_list(&count);
    FUZZ_CHECK(count > 0);
    const std::size_t pick = input[0] % (count + 1);
    qb_fuzz::heap_copy text(input.subspan(1));
    const std::span<const unsigned char> json(text.data(), text.size());

    if (pick == count) {
        try {
            (void)qbtool::json_to_int(json);
        } catch (const qbtool::tool_error& e) {
            FUZZ_CHECK(e.exit_code() == qbtool::kExitInput);
        }
        return;
    }

    const qb_record_info& info = *records[pick];
    flat_record record(info);
    try {
        qbtool::json_to_record(json, info, record.get());
    } catch (const qbtool::tool_error& e) {
        FUZZ_CHECK(e.exit_code() == qbtool::kExitInput);
        return;  // the record's free function releases what was filled in
    }
    written_json_reads_back(info, record.get());
    encoding_round_trips(info, record.get());
}
