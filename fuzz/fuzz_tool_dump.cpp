// fuzz/fuzz_tool_dump.cpp - the qbasn tool's frame walker (dump_message) on
// any octets.
//
// Input: bit 0 of the first octet sets --no-envelope, the other seven bits
// pick the record whose field names label the frames (0: none, n: record
// n - 1 modulo the number of records); the rest is the message, in a heap
// block of exactly its size. The walker either writes its lines or throws the
// tool's input error (tool_error with exit code 2) at the first malformed
// frame; nothing else may escape, nothing outside the message may be read.
// The lines go to /dev/null. The silent walks behind decode --der, the
// decode's failure note and its trailing-octet check run on the same input.
#include <cstdio>
#include <optional>

#include "asn1/asnrecord.h"
#include "shim.h"
#include "tools/qbasn/common.h"
#include "tools/qbasn/dump.h"

void fuzz_one(std::span<const unsigned char> input) {
    if (input.empty()) return;
    std::size_t count = 0;
    const qb_record_info* const* records = qb_record_list(&count);
    FUZZ_CHECK(count > 0);
    qbtool::dump_options options;
    options.no_envelope = (input[0] & 1U) != 0;
    const unsigned int label = input[0] >> 1;
    if (label != 0) options.type = records[(label - 1) % count];
    qb_fuzz::heap_copy message(input.subspan(1));
    const std::span<const unsigned char> bytes(message.data(), message.size());
    try {
        qbtool::dump_message(bytes, options, qb_fuzz::null_sink());
    } catch (const qbtool::tool_error& e) {
        FUZZ_CHECK(e.exit_code() == qbtool::kExitInput);
    }
    // The silent walks decode uses: the DER check, where a message stops
    // matching a record, where the record ends. They never throw.
    qbtool::dump_options der;
    der.der = true;
    der.no_envelope = options.no_envelope;
    const qbtool::dump_summary found = qbtool::check_message(bytes, der);
    FUZZ_CHECK(found.not_der <= found.warnings);
    if (options.type != nullptr) static_cast<void>(qbtool::locate_mismatch(bytes, *options.type));
    const std::optional<std::size_t> end = qbtool::message_end(bytes);
    FUZZ_CHECK(!end || *end <= bytes.size());
}
