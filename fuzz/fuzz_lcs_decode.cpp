// fuzz/fuzz_lcs_decode.cpp - every typed record decoder, local-code-set form,
// under a UTF-8 and a Latin-1 locale.
//
// Input: bit 0 of the first octet picks the locale (0 en_US.UTF-8,
// 1 en_US.ISO-8859-1), the other seven bits the record (modulo the number of
// records); the rest is the message. The property is that of
// fuzz_typed_decode (round_trip.h) with lcs = 1. The library never calls
// setlocale; a program using the local-code-set forms does, as this one does.
// Both locales must exist (scripts/install-deps.sh generates them): without
// them the target would quietly test the "C" locale, so it aborts instead.
#include <clocale>
#include <cstdio>

#include "asn1/asnrecord.h"
#include "round_trip.h"
#include "shim.h"

namespace {

constexpr const char* kLocales[] = {"en_US.UTF-8", "en_US.ISO-8859-1"};

// use_locale: switches LC_ALL to kLocales[which] when it is not already in force.
void use_locale(unsigned which) {
    static int current = -1;
    if (current == static_cast<int>(which)) return;
    if (std::setlocale(LC_ALL, kLocales[which]) == nullptr) {
        std::fprintf(stderr, "fuzz_lcs_decode: locale %s is missing (run scripts/install-deps.sh)\n", kLocales[which]);
        qb_fuzz::fail(__FILE__, __LINE__, "setlocale(LC_ALL, locale) != nullptr");
    }
    current = static_cast<int>(which);
}

}  // namespace

void fuzz_one(std::span<const unsigned char> input) {
    if (input.empty()) return;
    std::size_t count = 0;
    const qb_record_info* const* records = qb_record_list(&count);
    FUZZ_CHECK(count > 0);
    use_locale(input[0] & 1U);
    const qb_record_info& info = *records[(input[0] >> 1) % count];
    qb_fuzz::typed_round_trip(info, input.subspan(1), 1);
}
