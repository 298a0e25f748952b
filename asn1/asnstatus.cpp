// asn1/asnstatus.cpp - the library's status codes and what they mean.
#include "asn1/asnstatus.h"

namespace {

const qb_status_info kStatuses[] = {
    {0x00000000, "success"},
    {0x10652065, "out of memory"},
    {0x10652196, "no envelope, or an envelope of another version"},
    {0x10652197, "operation not supported"},
    {0x10652198, "input exhausted: fewer octets left than needed"},
    {0x10652199, "value or content too long"},
    {0x1065219A, "zero content length"},
    {0x1065219B, "malformed content or wrong length (also: nesting too deep, end-of-contents missing)"},
    {0x1065219C, "no such element, or a null argument"},
    {0x1065219D, "indefinite length not permitted here"},
    {0x1065219E, "constructed form not permitted here"},
    {0x1065219F, "primitive form not permitted here"},
    {0x106521A0, "mandatory value absent"},
    {0x106521A2, "bad BIT STRING content"},
    {0x106521A3, "bad BIT STRING segment"},
    {0x106521A4, "identifier does not match the expected tag and class"},
    {0x106521A5, "surplus content in a SEQUENCE"},
    {0x106521A7, "CHOICE index out of range"},
    {0x106521A8, "CHOICE without a selection"},
    {0x106521A9, "raw access to an ANY that has a syntax object"},
    {0x106521AA, "number too large for a decimal field"},
    {0x106521AB, "code-set conversion failed"},
    {0x106521AC, "code set not accepted"},
    {0xFFFFFFFF, "unknown object type, or code set not supported (-1)"},
};

}  // namespace

const char* qbAsnStatusText(unsigned int code) {
    for (const qb_status_info& s : kStatuses)
        if (s.code == code) return s.text;
    return nullptr;
}

const qb_status_info* qbAsnStatusTable(size_t* count) {
    if (count != nullptr) *count = sizeof kStatuses / sizeof kStatuses[0];
    return kStatuses;
}
