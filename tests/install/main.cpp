// Consumer built against an installed qbasn through find_package(qbasn).
//
// Encodes a record holding the INTEGER 5 behind the version-2 envelope and
// compares the block with the expected octets. Exit status 0 on a match,
// 1 otherwise.
#include "asn1/asn1.h"
#include "asn1/asnbase.h"
#include "one_integer.h"

#include <cstdio>
#include <cstring>

namespace {

void print_hex(const char* label, const unsigned char* p, unsigned int n)
{
    std::printf("%s:", label);
    for (unsigned int i = 0; i < n; ++i)
        std::printf(" %02X", static_cast<unsigned int>(p[i]));
    std::printf("\n");
}

}  // namespace

int main()
{
    // 04 02 AC DC: envelope (payload offset 4, version 2, signature);
    // 30 03: SEQUENCE of 3 octets; 02 01 05: INTEGER 5.
    static const unsigned char expected[] = {0x04, 0x02, 0xAC, 0xDC, 0x30, 0x03, 0x02, 0x01, 0x05};

    qb_asn_buffer_t out{};
    if (!install_check::encode_one_integer(5L, 2, out))
        return 1;

    print_hex("encoded ", out.data, out.length);
    print_hex("expected", expected, sizeof expected);
    const bool same = out.length == sizeof expected && out.data != nullptr &&
                      std::memcmp(out.data, expected, sizeof expected) == 0;
    qb_asn_buffer_free(out);
    if (!same) {
        std::fprintf(stderr, "encoding differs from the expected octets\n");
        return 1;
    }
    std::printf("find_package consumer: ok\n");
    return 0;
}
