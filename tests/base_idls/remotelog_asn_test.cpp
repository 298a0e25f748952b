// tests/base_idls/remotelog_asn_test.cpp - the remote log request. What is
// particular to it: its octets written out (each row goes both ways in both
// forms, support/record_cases.h), its members read in wire order, a missing
// payload, its type names, and the failures a decode meets. The round trips
// every record shares run from the reflection table in
// records_generic_test.cpp and records_direct_test.cpp.
#include "support/failing_malloc.h"  // first: the sweeps of support/record_test.h

#include <gtest/gtest.h>

#include <climits>
#include <cstddef>

#include "base_idls/remotelog_asn.h"
#include "support/record_test.h"

namespace {

using qb_test::expect_known_answer, qb_test::text;

class RemoteLogRequest : public qb_test::LeakChecked {};

unsigned char kData[] = {0xDE, 0xAD, 0xBE, 0xEF};

TEST_F(RemoteLogRequest, known_answers) {
    expect_known_answer<asn_RemoteLogRequest>(
        "every member", {text("auth"), text("srv1"), 3, 256, 4, kData},
        ENVELOPE "30 19  0C 04 61 75 74 68  0C 04 73 72 76 31  02 01 03  02 02 01 00  04 04 DE AD BE EF");
    expect_known_answer<asn_RemoteLogRequest>("zero-length data is an empty OCTET STRING",
                                              {text("a"), text("b"), 0, 0, 0, nullptr},
                                              ENVELOPE "30 0E  0C 01 61  0C 01 62  02 01 00  02 01 00  04 00");
    // A null text encodes like the empty text.
    const char* const empty_texts = ENVELOPE "30 0C  0C 00  0C 00  02 01 00  02 01 FF  04 00";
    expect_known_answer<asn_RemoteLogRequest>("null texts", {nullptr, nullptr, 0, -1, 0, nullptr}, empty_texts);
    expect_known_answer<asn_RemoteLogRequest>("empty texts", {text(""), text(""), 0, -1, 0, nullptr}, empty_texts);
    expect_known_answer<asn_RemoteLogRequest>(
        "the integers keep their 32-bit edges", {text("c"), text("s"), INT_MAX, INT_MIN, 1, kData},
        ENVELOPE "30 15  0C 01 63  0C 01 73  02 04 7F FF FF FF  02 04 80 00 00 00  04 01 DE");
}

TEST_F(RemoteLogRequest, members_are_read_in_wire_order_and_the_payload_is_required) {
    // The texts differ from each other and the integers too: a decoder that
    // mixed up members would misplace them.
    unsigned char three[1] = {0x33};
    const char* const in_order = ENVELOPE "30 0F  0C 01 78  0C 01 79  02 01 01  02 01 02  04 01 33";
    qb_test::expect_read<asn_RemoteLogRequest>("members in wire order", in_order,
                                               {text("x"), text("y"), 1, 2, 1, three}, in_order);
    qb_test::expect_refused<asn_RemoteLogRequest>("the payload is missing",
                                                  ENVELOPE "30 0C  0C 01 61  0C 01 62  02 01 00  02 01 00", 0x10652198U,
                                                  true);
}

TEST_F(RemoteLogRequest, type_name_and_reflection) {
    // "RemoteLogRequest": exactly 16 characters.
    qb_test::expect_names<asn_RemoteLogRequest>(
        "RemoteLogRequest", "RemoteLogRequest", "remote_log_request",
        {"RemoteLogRequest", "  qbUTF8string", "  qbUTF8string", "  INTEGER", "  INTEGER", "  OCTETSTRING"});
    qb_test::expect_fields(asn_RemoteLogRequest::reflect(),
                           {{"category", qb_field_text}, {"sender", qb_field_text}, {"severity", qb_field_int},
                            {"sequence", qb_field_int},
                            {"payload", qb_field_octets, offsetof(remote_log_request, length),
                             offsetof(remote_log_request, payload)}});
}

// A decode with the 1st, 2nd, ... allocation failed meets at least three
// failures (the two texts and the data block); each leaves a freeable record.
TEST_F(RemoteLogRequest, allocation_failure_at_every_step_of_a_decode_leaks_nothing) {
    qb_test::expect_sweep<asn_RemoteLogRequest>("request", {text("auth"), text("srv1"), 3, 256, 4, kData}, nullptr,
                                                qb_test::sweep_way::decode, 200, {}, 3);
}

}  // namespace
