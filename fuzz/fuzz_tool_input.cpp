// fuzz/fuzz_tool_input.cpp - the qbasn tool's input reader (raw, hex text,
// base64, PEM, and recognising which one an input is), then the dump of what
// it read.
//
// Input: the first octet picks the format (its value modulo 5: automatic,
// raw, hex, base64, pem); the rest is the input, in a heap block of exactly
// its size. The reader either returns octets or throws the tool's input
// error (tool_error with exit code 2); the octets it returns then go through
// the dump walker with nested BER and colours on, which either writes its
// lines (to /dev/null) or throws the same error. Nothing else may escape,
// nothing outside the input may be read.
#include <cstdio>

#include "shim.h"
#include "tools/qbasn/common.h"
#include "tools/qbasn/dump.h"
#include "tools/qbasn/input_format.h"

void fuzz_one(std::span<const unsigned char> input) {
    if (input.empty()) return;
    const auto format = static_cast<qbtool::input_format>(input[0] % 5);
    qb_fuzz::heap_copy text(input.subspan(1));
    std::vector<unsigned char> message;
    try {
        message = qbtool::message_octets(std::span<const unsigned char>(text.data(), text.size()), format);
    } catch (const qbtool::tool_error& e) {
        FUZZ_CHECK(e.exit_code() == qbtool::kExitInput);
        return;
    }
    if (format == qbtool::input_format::raw) FUZZ_CHECK(message.size() == text.size());
    if (message.empty()) return;
    qbtool::dump_options options;
    options.color = true;
    try {
        qbtool::dump_message(message, options, qb_fuzz::null_sink());
    } catch (const qbtool::tool_error& e) {
        FUZZ_CHECK(e.exit_code() == qbtool::kExitInput);
    }
}
