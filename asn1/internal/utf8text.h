// asn1/internal/utf8text.h - the text rules of the records' UTF-8 string
// field (qbasnUTF8String), shared by the object tree and the direct codec so
// both store, convert and hand out texts identically, with the same
// exceptions thrown from the same places.
//
// Not installed: used by the library's sources, and exported for records
// described outside the library (which nest the library's own).
#ifndef QBASN_INTERNAL_UTF8TEXT_H
#define QBASN_INTERNAL_UTF8TEXT_H

#include <cstddef>
#include <cstdlib>

#include "asn1/qbasn_export.h"

namespace qb::detail {

// text_block: a malloc'ed block holding `length` octets and a 00 after them;
// freed with the object unless released.
struct text_block {
    char* data = nullptr;
    size_t length = 0;
    text_block() = default;
    text_block(const text_block&) = delete;
    text_block& operator=(const text_block&) = delete;
    ~text_block() {
        if (data != nullptr) std::free(data);
    }
    char* release() {
        char* p = data;
        data = nullptr;
        return p;
    }
};

// utf8_octets_of: the octets the text field stores for the caller's text s
// (null and "" store nothing). Plain mode: the text itself. Local-code-set
// mode (lcs): the text converted to UTF-8, held in `hold` (an ASCII text in a
// code set that keeps ASCII as it is needs no conversion and is its own
// UTF-8 form). Throws qb_asn_exception 0x106521AB when the text does not
// convert and qb_asn_memexception when memory runs out.
QBASN_API void utf8_octets_of(const char* s, bool lcs, text_block& hold, const unsigned char*& p, size_t& n);

// lcs_keeps_ascii_to_utf8: the calling thread's local code set writes every
// ASCII character as the same octet UTF-8 does, so an ASCII text converts to
// itself (false until a conversion has opened the thread's descriptor).
QBASN_API bool lcs_keeps_ascii_to_utf8();

// utf8_text_copy: the caller's copy of n stored octets (as the text field's
// get_value hands it out): out is set to null first; then a malloc'ed
// NUL-terminated copy (plain mode: all n octets; lcs: the octets before the
// first 00, converted to the local code set). Returns 0x10652065 (out null)
// when memory runs out; throws qb_asn_exception 0x106521AB when the text
// does not convert.
QBASN_API unsigned int utf8_text_copy(const unsigned char* p, unsigned int n, bool lcs, char*& out);

}  // namespace qb::detail

#endif
