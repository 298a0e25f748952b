// Consumer built against an installed qbasn with the flags of qbasn.pc only.
//
// Saves a record holding the INTEGER -129 behind the version-7 envelope,
// checks the octets, loads them into a fresh record and checks the value.
// Exit status 0 on success, 1 otherwise.
#include "qbasn.h"
#include "one_integer.h"

#include <cstdio>
#include <cstring>

int main()
{
    // 04 07 AC DC: envelope with version 7; 30 04: SEQUENCE of 4 octets;
    // 02 02 FF 7F: INTEGER -129 (two's complement, minimal form).
    static const unsigned char expected[] = {0x04, 0x07, 0xAC, 0xDC, 0x30, 0x04, 0x02, 0x02, 0xFF, 0x7F};

    qb_asn_buffer_t block{};
    if (!install_check::encode_one_integer(-129L, 7, block))
        return 1;
    if (block.length != sizeof expected || block.data == nullptr ||
        std::memcmp(block.data, expected, sizeof expected) != 0) {
        std::fprintf(stderr, "encoding differs from the expected octets\n");
        qb_asn_buffer_free(block);
        return 1;
    }

    install_check::one_integer_t copy(security_off);
    unsigned int rc = qb_asnbase::loadObject(copy, 7, block);
    long value = 0;
    if (rc == 0)
        rc = copy.number.get_value(value);
    qb_asn_buffer_free(block);
    if (rc != 0 || value != -129) {
        std::fprintf(stderr, "load failed: status %08x, value %ld\n", rc, value);
        return 1;
    }
    std::printf("pkg-config consumer: ok\n");
    return 0;
}
