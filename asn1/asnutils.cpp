// asn1/asnutils.cpp - text and byte helpers for the record member types.
#include "asn1/asnutils.h"

#include <cstdlib>
#include <cstring>

#include "asn1/internal/status.h"

namespace {
constexpr const char* kFile = "asn1/asnutils";
// get_obj_body belongs with the object-update records, whose file it names.
constexpr const char* kKxobjsFile = "asn1/asn_kxobjs";
}  // namespace

unsigned int qb_set_strvalue(qb_asn_octetstring& o, const unsigned char* s) {
    if (s == nullptr) {
        const unsigned char empty_text[1] = {0};
        return o.set_value(empty_text, 1);
    }
    return o.set_value(s, static_cast<unsigned int>(std::strlen(reinterpret_cast<const char*>(s)) + 1));
}

unsigned int qb_set_strvalue(qb_asn_octetstring& o, const char* s) {
    return qb_set_strvalue(o, reinterpret_cast<const unsigned char*>(s));
}

unsigned int qb_get_strvalue(const qb_asn_octetstring& o, unsigned char*& s) {
    s = nullptr;
    unsigned char* p = nullptr;
    unsigned int n = 0;
    (void)o.get_value(p, n);  // an absent value reads as empty
    if (n <= 1) n = 0;        // one octet or none: the empty text
    // One octet more than stored, always 00: a value that lacks its own
    // terminator (decoded from the wire) still gives a terminated text.
    auto* copy = static_cast<unsigned char*>(std::malloc(static_cast<size_t>(n) + 1));
    if (copy == nullptr) throw qb_asn_memexception(kFile, __LINE__, "Out of memory get_strvalue()");
    if (n != 0) std::memcpy(copy, p, n);
    copy[n] = 0;
    s = copy;
    return 0;
}

unsigned int qb_get_strvalue(const qb_asn_octetstring& o, char*& s) {
    s = nullptr;
    unsigned char* u = nullptr;
    unsigned int rc = qb_get_strvalue(o, u);
    s = reinterpret_cast<char*>(u);
    return rc;
}

long qb_intvalue(const qb_asn_integer& i) {
    long v = 0;  // a value that cannot be read gives 0
    (void)i.get_value(v);
    return v;
}

void qb_free_strings(int n, char** v) {
    if (v != nullptr)
        for (int i = 0; i < n; ++i) std::free(v[i]);
    std::free(v);
}

unsigned int get_obj_body(const qb_asn_octetstring& o, unsigned long& len, unsigned char*& data) {
    data = nullptr;
    unsigned char* p = nullptr;
    unsigned int n = 0;
    (void)o.get_value(p, n);
    len = n;
    if (n == 0) return 0;
    auto* copy = static_cast<unsigned char*>(std::malloc(n));
    if (copy == nullptr) throw qb_asn_memexception(kKxobjsFile, __LINE__, "Out of memory get_obj_body()");
    std::memcpy(copy, p, n);
    data = copy;
    return 0;
}
