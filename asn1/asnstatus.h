// asn1/asnstatus.h - the library's status codes and what they mean.
//
// One table serves the command-line tool and the documentation, so a code is
// described the same way everywhere.
#ifndef QBASN_ASNSTATUS_H
#define QBASN_ASNSTATUS_H

#include <cstddef>

#include "asn1/qbasn_export.h"

struct qb_status_info {
    unsigned int code;
    const char* text;
};

// qbAsnStatusText: the meaning of a status code, or null for a code the
// library does not return (0 is "success"; 0xFFFFFFFF, the -1 of the
// dispatcher and of set_preferred_codeset, has its own text).
QBASN_API const char* qbAsnStatusText(unsigned int code);

// qbAsnStatusTable: every status code with its text, in numeric order.
QBASN_API const qb_status_info* qbAsnStatusTable(size_t* count);

#endif
