// asn1/asnrecord.h - what every generated record class shares: the member
// declarations macro, the five per-record entry points, and the reflection
// table that describes each record (its members in wire order, the flat-record
// fields they travel in, offsets and element types).
//
// The reflection table lets a program handle any record without knowing its
// C++ type: read and write the flat record through the field offsets, and
// encode, decode and free it through the record's entry points.
#ifndef QBASN_ASNRECORD_H
#define QBASN_ASNRECORD_H

#include <cstddef>

#include "asn1/asnbase.h"
#include "asn1/asnstrng.h"
#include "asn1/qbasn_export.h"

// The direct codec's reader and writer (asn1/internal/direct.h).
namespace qb::direct {
struct view;
struct writer;
enum class text_mode : unsigned char;
}  // namespace qb::direct

// ---- reflection ----

// qb_field_kind: how one member travels in the flat record.
enum qb_field_kind {
    qb_field_int,              // int word (INTEGER)
    qb_field_uint,             // unsigned 32-bit word (INTEGER)
    qb_field_long,             // long word holding a 32-bit value (INTEGER)
    qb_field_ushort,           // 16-bit unsigned (INTEGER)
    qb_field_uchar,            // 8-bit unsigned (INTEGER)
    qb_field_text,             // char*, zero-terminated (UTF8String)
    qb_field_octets,           // unsigned length at `offset`, unsigned char* at `offset2` (OCTET STRING)
    qb_field_fixed_octets,     // `size` bytes inline at `offset` (OCTET STRING)
    qb_field_record,           // nested flat record by value at `offset`
    qb_field_optional_record,  // pointer to a nested flat record, null when absent
    qb_field_record_list,      // count at `offset`, pointer to contiguous records at `offset2`
    qb_field_record_ptr_list,  // count at `offset`, pointer to an array of record pointers at `offset2`
    qb_field_text_list,        // count at `offset`, char** at `offset2`
    qb_field_int_list,         // count at `offset`, int* at `offset2`
    qb_field_record_slots,     // `size` record pointers inline at `offset` (array with holes)
    qb_field_text_octets,      // char* stored with its terminating zero (OCTET STRING)
};

struct qb_record_info;

// qb_field_info: one member of a record, in wire order.
struct qb_field_info {
    const char* name;             // the flat-record field name (the data field for pairs)
    qb_field_kind kind;
    size_t offset;                // the field, or the count of a pair
    size_t offset2;               // the data pointer of a pair; 0 otherwise
    size_t size;                  // fixed octets: byte count; slots: slot count; 0 otherwise
    int signed_count;             // 1 when the count of a list is a signed int
    int optional;                 // 1 when the member may be absent on the wire
    const qb_record_info* (*element)();  // nested or element record; null otherwise
    const char* count_name;       // the count or length field of a pair; null otherwise
};

// qb_record_info: one record class.
struct qb_record_info {
    const char* name;       // the record's full type name, e.g. "value_t"
    const char* flat_name;  // the flat record's type, e.g. "value_s_t"
    size_t flat_size;       // sizeof the flat record
    const qb_field_info* fields;
    size_t field_count;
    // Entry points on an untyped flat record; lcs nonzero selects the local-code-set forms.
    unsigned int (*encode)(qb_asn_buffer_t& out, void* flat, int lcs);
    unsigned int (*decode)(qb_asn_buffer_t& in, void* flat, int lcs);
    void (*free_obj)(void* flat);
    // 1 when the SEQUENCE begins with an INTEGER version (always 1) that has
    // no flat field (the object updates and certificate requests).
    int leading_version;
    // The same operations through the object tree of the record class (the
    // reference behaviour of the exported classes). The entry points above
    // give the same octets, statuses, standard-error lines and flat records;
    // these exist for comparison and diagnosis.
    unsigned int (*tree_encode)(qb_asn_buffer_t& out, void* flat, int lcs);
    unsigned int (*tree_decode)(qb_asn_buffer_t& in, void* flat, int lcs);
};

// qb_record_find: the record whose flat-record name ("attrlist_s_t"), type name
// ("attrlist_t") or short form ("attrlist": the flat name without "_s_t" or
// "_t") is `name`, or null.
QBASN_API const qb_record_info* qb_record_find(const char* name);
// qb_record_list: every record the library knows, in the library's order.
QBASN_API const qb_record_info* const* qb_record_list(size_t* count);

// ---- the record class pattern ----

// QB_RECORD_CLASS(Rec, Flat): the operations every record class declares.
// Members are declared before it, in wire order, each initialised with the
// record's security word (`qbasn_integer number{security};`).
#define QB_RECORD_CLASS(Rec, Flat)                                          \
public:                                                                     \
    explicit Rec(security_t s);                                             \
    ~Rec() override;                                                        \
    int set_value(Flat& r);                                                 \
    int get_value(Flat& r);                                                 \
    static void free_obj(Flat& r);                                          \
    int encode_obj(Flat& r, qb_asn_buffer_t& out, int version);             \
    int decode_obj(Flat& r, qb_asn_buffer_t& in, int version);              \
    static const qb_record_info& reflect();                                 \
    /* The direct codec behind the typed entry points: for the library  */ \
    /* and records described elsewhere that nest this one.              */ \
    static unsigned int direct_size(const Flat& r, size_t& total, ::qb::direct::text_mode lcs); \
    static void direct_write(const Flat& r, ::qb::direct::writer& w, ::qb::direct::text_mode lcs); \
    static unsigned int direct_check(::qb::direct::view& v, bool lcs, bool optional, bool& absent); \
    static unsigned int direct_fill(::qb::direct::view& v, Flat& r, bool lcs, bool optional, bool& absent);

// QB_RECORD_FUNCTIONS(Flat): the five entry points of one flat record type.
#define QB_RECORD_FUNCTIONS(Flat)                                           \
    QBASN_API unsigned int qbAsnEncodeObj(qb_asn_buffer_t& out, Flat& r);    \
    QBASN_API unsigned int qbAsnEncodeObjLCS(qb_asn_buffer_t& out, Flat& r); \
    QBASN_API unsigned int qbAsnDecodeObj(qb_asn_buffer_t& in, Flat& r);     \
    QBASN_API unsigned int qbAsnDecodeObjLCS(qb_asn_buffer_t& in, Flat& r);  \
    QBASN_API void qbAsnFreeObj(Flat& r);

#endif
