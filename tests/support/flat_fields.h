// tests/support/flat_fields.h - the fields of a flat record reached through
// the offsets of its reflection entry (asn1/asnrecord.h), for code that
// handles every listed record without knowing its C++ type.
#ifndef QBASN_TESTS_SUPPORT_FLAT_FIELDS_H
#define QBASN_TESTS_SUPPORT_FLAT_FIELDS_H

#include <cstddef>

#include "asn1/asnrecord.h"

namespace qb_test {

// word<T>: the T that stands `offset` octets into the flat record.
template <class T>
T& word(void* flat, std::size_t offset) {
    return *reinterpret_cast<T*>(static_cast<char*>(flat) + offset);
}
template <class T>
const T& word(const void* flat, std::size_t offset) {
    return *reinterpret_cast<const T*>(static_cast<const char*>(flat) + offset);
}

// count_of: the element count of the list field `f`, as the library reads
// it: a negative signed count is none.
inline unsigned count_of(const qb_field_info& f, const void* flat) {
    if (f.signed_count) {
        const int c = word<int>(flat, f.offset);
        return c < 0 ? 0u : static_cast<unsigned>(c);
    }
    return word<unsigned>(flat, f.offset);
}

}  // namespace qb_test

#endif
