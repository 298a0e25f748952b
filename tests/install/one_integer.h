// tests/install/one_integer.h - the record both consumers of an installed
// qbasn build (main.cpp, pkgconfig_main.cpp), and its encoding; found beside
// them, so it needs nothing but the installed headers.
#ifndef QBASN_TESTS_INSTALL_ONE_INTEGER_H
#define QBASN_TESTS_INSTALL_ONE_INTEGER_H

#include "asn1/asnbase.h"

#include <cstdio>

namespace install_check {

// A record with one INTEGER member: SEQUENCE { INTEGER }.
struct one_integer_t : qb_asnbase {
    qbasn_integer number;

    explicit one_integer_t(security_t s) : qb_asnbase(s), number(s) { register_child(&number); }
};

// encode_one_integer: the message of a one_integer_t holding `value` behind
// the envelope of `version`, in a fresh block handed to `out`; false, with
// the call that failed and its status on standard error, when the library
// refuses.
inline bool encode_one_integer(long value, int version, qb_asn_buffer_t& out)
{
    one_integer_t record(security_off);
    unsigned int rc = record.number.set_value(value);
    if (rc != 0) {
        std::fprintf(stderr, "set_value failed: %08x\n", rc);
        return false;
    }
    rc = qb_asnbase::saveEncoding(record, version, out);
    if (rc != 0) {
        std::fprintf(stderr, "saveEncoding failed: %08x\n", rc);
        return false;
    }
    return true;
}

}  // namespace install_check

#endif
