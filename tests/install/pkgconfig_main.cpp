// Consumer built against an installed qbasn with the flags of qbasn.pc only.
//
// Saves a record holding the INTEGER -129 behind the version-7 envelope,
// checks the octets, loads them into a fresh record and checks the value.
// Exit status 0 on success, 1 otherwise.
#include "qbasn.h"

#include <cstdio>
#include <cstring>

namespace {

// A record with one INTEGER member: SEQUENCE { INTEGER }.
struct one_integer_t : qb_asnbase {
    qbasn_integer number;

    explicit one_integer_t(security_t s) : qb_asnbase(s), number(s) { register_child(&number); }
};

}  // namespace

int main()
{
    // 04 07 AC DC: envelope with version 7; 30 04: SEQUENCE of 4 octets;
    // 02 02 FF 7F: INTEGER -129 (two's complement, minimal form).
    static const unsigned char expected[] = {0x04, 0x07, 0xAC, 0xDC, 0x30, 0x04, 0x02, 0x02, 0xFF, 0x7F};

    one_integer_t record(security_off);
    unsigned int rc = record.number.set_value(-129L);
    if (rc != 0) {
        std::fprintf(stderr, "set_value failed: %08x\n", rc);
        return 1;
    }
    qb_asn_buffer_t block{};
    rc = qb_asnbase::saveEncoding(record, 7, block);
    if (rc != 0) {
        std::fprintf(stderr, "saveEncoding failed: %08x\n", rc);
        return 1;
    }
    if (block.length != sizeof expected || block.data == nullptr ||
        std::memcmp(block.data, expected, sizeof expected) != 0) {
        std::fprintf(stderr, "encoding differs from the expected octets\n");
        qb_asn_buffer_free(block);
        return 1;
    }

    one_integer_t copy(security_off);
    rc = qb_asnbase::loadObject(copy, 7, block);
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
