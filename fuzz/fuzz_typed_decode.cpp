// fuzz/fuzz_typed_decode.cpp - every typed record decoder, plain form.
//
// Input: the first octet picks the record (modulo the number of records in
// the reflection table), the rest is the message. A message that decodes must
// survive decode, encode, decode, encode with identical encodings (see
// round_trip.h); AddressSanitizer and LeakSanitizer watch every step.
#include "asn1/asnrecord.h"
#include "round_trip.h"
#include "shim.h"

void fuzz_one(std::span<const unsigned char> input) {
    if (input.empty()) return;
    std::size_t count = 0;
    const qb_record_info* const* records = qb_record_list(&count);
    FUZZ_CHECK(count > 0);
    const qb_record_info& info = *records[input[0] % count];
    qb_fuzz::typed_round_trip(info, input.subspan(1), 0);
}
