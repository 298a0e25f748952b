// envelope_demo - builds a small record, saves it behind the versioned
// envelope, prints the octets, and loads them back into a fresh record.
//
// The record is SEQUENCE { INTEGER, BOOLEAN, OCTET STRING }, declared the way
// record classes are: a qb_asnbase with member objects registered in wire
// order.
#include "asn1/asn1.h"
#include "asn1/asnbase.h"

#include <cstdio>

namespace {

struct demo_t : qb_asnbase {
    qbasn_integer number;
    qb_asn_boolean flag;
    qbasn_octetstring bytes;

    explicit demo_t(security_t s) : qb_asnbase(s), number(s), flag(s), bytes(s)
    {
        register_child(&number);
        register_child(&flag);
        register_child(&bytes);
    }
};

void print_hex(const char* label, const unsigned char* p, unsigned int n)
{
    std::printf("%s (%u octets):", label, n);
    for (unsigned int i = 0; i < n; ++i)
        std::printf(" %02X", static_cast<unsigned int>(p[i]));
    std::printf("\n");
}

// Prints the status of a failed step and gives the exit status.
int failed(const char* step, unsigned int rc)
{
    std::fprintf(stderr, "envelope_demo: %s failed with status %08X\n", step, rc);
    return 1;
}

}  // namespace

int main()
{
    const int version = 2;
    unsigned char payload[] = {0xDE, 0xAD, 0xBE, 0xEF};

    // Fill the record. The raw (pointer, length) forms of an OCTET STRING are
    // those of qb_asn_octetstring; qbasn_octetstring adds text forms.
    demo_t original(security_off);
    qb_asn_octetstring& original_bytes = original.bytes;
    unsigned int rc = original.number.set_value(42L);
    if (rc == 0)
        rc = original.flag.set_value(1);
    if (rc == 0)
        rc = original_bytes.set_value(payload, static_cast<unsigned int>(sizeof payload));
    if (rc != 0)
        return failed("set_value", rc);

    // Save: four envelope octets (04, version, AC, DC), then the SEQUENCE.
    qb_asn_buffer_t block{};
    rc = qb_asnbase::saveEncoding(original, version, block);
    if (rc != 0)
        return failed("saveEncoding", rc);
    print_hex("encoded", block.data, block.length);

    // Load into a fresh record; the version must match the one saved.
    demo_t copy(security_off);
    rc = qb_asnbase::loadObject(copy, version, block);
    if (rc != 0) {
        qb_asn_buffer_free(block);
        return failed("loadObject", rc);
    }

    long number = 0;
    int flag = 0;
    unsigned char* data = nullptr;  // points into the record; not freed here
    unsigned int len = 0;
    qb_asn_octetstring& copy_bytes = copy.bytes;
    rc = copy.number.get_value(number);
    if (rc == 0)
        rc = copy.flag.get_value(flag);
    if (rc == 0)
        rc = copy_bytes.get_value(data, len);
    if (rc != 0) {
        qb_asn_buffer_free(block);
        return failed("get_value", rc);
    }

    std::printf("decoded INTEGER:      %ld\n", number);
    std::printf("decoded BOOLEAN:      %s\n", flag != 0 ? "TRUE" : "FALSE");
    print_hex("decoded OCTET STRING", data, len);

    qb_asn_buffer_free(block);
    return 0;
}
