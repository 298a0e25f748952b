// asn1/asn_kxobjs.cpp - object updates and certificate requests.
//
// Written by hand rather than through the record walkers: these records move
// texts through OCTET STRINGs (with their terminating zero), report list
// failures as status codes instead of throwing, and free their body by its
// length. Their reflection entries are filled in by hand below.
//
// Allocation failures of the texts and the body surface as the
// qb_asn_memexception of qb_get_strvalue ("asn1/asnutils") and get_obj_body
// ("asn1/asn_kxobjs"); nothing in this file throws on its own.

#include "asn1/asn_kxobjs.h"

#include <cstddef>
#include <cstdlib>
#include <cstring>

#include "asn1/asn1.h"
#include "asn1/asnutils.h"
#include "asn1/internal/record.h"
#include "asn1/internal/status.h"

using qb::detail::kNoSuchElement;
using qb::detail::kOk;
using qb::detail::kOutOfMemory;

namespace {

// The envelope version of the reflection entry points (that of every record).
constexpr int kReflectVersion = 2;

// Object types of the untyped entry points (asn1/asn1.h).
constexpr unsigned int kCertRequestType = 259;
constexpr unsigned int kUpdateListType = 260;

// accept_segmented: an OCTET STRING member of these records is read in any
// BER form a sender may use for it: primitive, constructed (a series of
// segments, themselves possibly constructed) or with an indefinite length.
// The senders of these records are allowed to split a text or body that
// way, so these members drop the primitive-only rule of ordinary record
// members. Writing stays primitive (generate_constructed is left at 0), so
// what this library sends is the same DER-like form as everywhere else.
void accept_segmented(qb_asn_octetstring& o) {
    o.constructed_permitted = 1;
    o.indefinite_permitted = 1;
}

// status: an int result of a member operation.
int status(unsigned int rc) { return static_cast<int>(rc); }

}  // namespace

// ---- qb_asn_kxobj_update_t ----

qb_asn_kxobj_update_t::qb_asn_kxobj_update_t(security_t s) : qb_v37_asnbase(s) {
    accept_segmented(text);
    register_child(&value_a);
    register_child(&text);
    register_child(&value_b);
    set_type_name("kxobj_update");
    check_valid(0);
}

qb_asn_kxobj_update_t::~qb_asn_kxobj_update_t() = default;

int qb_asn_kxobj_update_t::set_value(kxobj_update_s_t& r) {
    unsigned int rc = value_a.set_value(r.value_a);
    if (rc != kOk) return status(rc);
    rc = qb_set_strvalue(text, r.text);  // null: the one octet 00
    if (rc != kOk) return status(rc);
    return status(value_b.set_value(r.value_b));
}

int qb_asn_kxobj_update_t::get_value(kxobj_update_s_t& r) {
    std::memset(&r, 0, sizeof r);  // first: freeable whatever follows
    r.value_a = qb_intvalue(value_a);
    r.value_b = qb_intvalue(value_b);
    return status(qb_get_strvalue(text, r.text));
}

void qb_asn_kxobj_update_t::free_obj(kxobj_update_s_t& r) {
    if (r.text != nullptr) std::free(r.text);
}

int qb_asn_kxobj_update_t::encode_obj(kxobj_update_s_t& r, qb_asn_buffer_t& out, int envelope_version) {
    return qb::rec::encode_obj(*this, r, out, envelope_version);
}

int qb_asn_kxobj_update_t::decode_obj(kxobj_update_s_t& r, qb_asn_buffer_t& in, int envelope_version) {
    return qb::rec::decode_obj(*this, r, in, envelope_version);
}

// ---- qb_asn_kxobj_update_list_t ----

qb_asn_kxobj_update_list_t::qb_asn_kxobj_update_list_t(security_t s) : qb_v37_asnbase(s) {
    register_child(&items);
    set_type_name("update_list");
    check_valid(0);
}

qb_asn_kxobj_update_list_t::~qb_asn_kxobj_update_list_t() = default;

int qb_asn_kxobj_update_list_t::set_value(kxobj_update_list_s_t& r) {
    if (r.count != 0 && r.items == nullptr) return status(kNoSuchElement);
    for (unsigned int i = 0; i < r.count; ++i) {
        // add_child creates the element with the list's security word and
        // appends it; when either step fails it destroys the element and
        // gives null.
        qb_asn_kxobj_update_t* element = items.add_child();
        if (element == nullptr) return status(kOutOfMemory);
        const int rc = element->set_value(r.items[i]);
        if (rc != 0) return rc;
    }
    return 0;
}

int qb_asn_kxobj_update_list_t::get_value(kxobj_update_list_s_t& r) {
    std::memset(&r, 0, sizeof r);
    // Deliberate: count is the element count before any is read, so after a failure it includes unread records.
    r.count = items.get_child_count();
    if (r.count == 0) return 0;
    const size_t bytes = static_cast<size_t>(r.count) * sizeof(kxobj_update_s_t);
    auto* array = static_cast<kxobj_update_s_t*>(std::malloc(bytes));
    if (array == nullptr) return status(kOutOfMemory);  // count stays; free_obj skips a null items
    // Zeroed up front: every one of the count records is freeable whether or
    // not its element was read, so free_obj releases exactly what was
    // allocated after any failure (an element whose text cannot be allocated
    // leaves that text null).
    std::memset(array, 0, bytes);
    r.items = array;
    for (unsigned int i = 0; i < r.count; ++i) {
        qb_asn_kxobj_update_t* element = items.get_element(i);
        if (element == nullptr) return status(kOutOfMemory);  // fewer elements than counted
        const int rc = element->get_value(r.items[i]);
        if (rc != 0) return rc;
    }
    return 0;
}

void qb_asn_kxobj_update_list_t::free_obj(kxobj_update_list_s_t& r) {
    if (r.items == nullptr) return;  // also after a failed array allocation, when count is set
    for (unsigned int i = 0; i < r.count; ++i) qb_asn_kxobj_update_t::free_obj(r.items[i]);
    std::free(r.items);
}

int qb_asn_kxobj_update_list_t::encode_obj(kxobj_update_list_s_t& r, qb_asn_buffer_t& out, int envelope_version) {
    return qb::rec::encode_obj(*this, r, out, envelope_version);
}

int qb_asn_kxobj_update_list_t::decode_obj(kxobj_update_list_s_t& r, qb_asn_buffer_t& in, int envelope_version) {
    return qb::rec::decode_obj(*this, r, in, envelope_version);
}

// ---- qb_asn_cert_request_in ----

qb_asn_cert_request_in::qb_asn_cert_request_in(security_t s) : qb_v37_asnbase(s) {
    accept_segmented(text_a);
    accept_segmented(text_b);
    accept_segmented(body);
    register_child(&text_a);
    register_child(&text_b);
    register_child(&body);
    body.set_optional(1);  // marked right after its registration
    set_type_name("cert_request_in");
    check_valid(0);
}

qb_asn_cert_request_in::~qb_asn_cert_request_in() = default;

int qb_asn_cert_request_in::set_value(cert_request_in& r) {
    unsigned int rc = qb_set_strvalue(text_a, r.text_a);
    if (rc != kOk) return status(rc);
    rc = qb_set_strvalue(text_b, r.text_b);
    if (rc != kOk) return status(rc);
    if (r.body_len == 0) return 0;  // the body stays absent and is not written
    return status(body.qb_asn_octetstring::set_value(r.body, r.body_len));
}

int qb_asn_cert_request_in::get_value(cert_request_in& r) {
    std::memset(&r, 0, sizeof r);
    unsigned int rc = qb_get_strvalue(text_a, r.text_a);
    if (rc != kOk) return status(rc);
    rc = qb_get_strvalue(text_b, r.text_b);
    if (rc != kOk) return status(rc);
    unsigned long len = 0;
    rc = get_obj_body(body, len, r.body);  // absent or empty: 0 and null
    r.body_len = static_cast<unsigned int>(len);
    return status(rc);
}

void qb_asn_cert_request_in::free_obj(cert_request_in& r) {
    if (r.text_a != nullptr) std::free(r.text_a);
    if (r.text_b != nullptr) std::free(r.text_b);
    // Deliberate: body is freed only when body_len is not 0, whatever the pointer holds.
    if (r.body_len != 0) std::free(r.body);
}

int qb_asn_cert_request_in::encode_obj(cert_request_in& r, qb_asn_buffer_t& out, int envelope_version) {
    return qb::rec::encode_obj(*this, r, out, envelope_version);
}

int qb_asn_cert_request_in::decode_obj(cert_request_in& r, qb_asn_buffer_t& in, int envelope_version) {
    return qb::rec::decode_obj(*this, r, in, envelope_version);
}

// ---- reflection ----
//
// The version INTEGER has no plain-record field and is not listed. The
// update list and the certificate request are encoded, decoded and freed
// through the untyped entry points with envelope version 2; a single update
// has no object type, so its entry points build the record class directly.
// None of these records holds converted text: the local-code-set flag is
// ignored.

namespace {

unsigned int encode_update(qb_asn_buffer_t& out, void* flat, int) {
    try {
        qb_asn_kxobj_update_t rec(security_off);
        return static_cast<unsigned int>(rec.encode_obj(*static_cast<kxobj_update_s_t*>(flat), out, kReflectVersion));
    } catch (const qb_asn_exception& e) {
        qb::rec::report(e);
        return e.code;
    }
}

unsigned int decode_update(qb_asn_buffer_t& in, void* flat, int) {
    try {
        qb_asn_kxobj_update_t rec(security_off);
        return static_cast<unsigned int>(rec.decode_obj(*static_cast<kxobj_update_s_t*>(flat), in, kReflectVersion));
    } catch (const qb_asn_exception& e) {
        qb::rec::report(e);
        return e.code;
    }
}

void free_update(void* flat) { qb_asn_kxobj_update_t::free_obj(*static_cast<kxobj_update_s_t*>(flat)); }

unsigned int encode_update_list(qb_asn_buffer_t& out, void* flat, int) {
    return static_cast<unsigned int>(qbasn_encode_obj(kReflectVersion, flat, kUpdateListType, out));
}

unsigned int decode_update_list(qb_asn_buffer_t& in, void* flat, int) {
    return static_cast<unsigned int>(qbasn_decode_obj(kReflectVersion, in, kUpdateListType, flat));
}

void free_update_list(void* flat) { (void)qbasn_obj_free(kReflectVersion, kUpdateListType, flat); }

unsigned int encode_cert_request(qb_asn_buffer_t& out, void* flat, int) {
    return static_cast<unsigned int>(qbasn_encode_obj(kReflectVersion, flat, kCertRequestType, out));
}

unsigned int decode_cert_request(qb_asn_buffer_t& in, void* flat, int) {
    return static_cast<unsigned int>(qbasn_decode_obj(kReflectVersion, in, kCertRequestType, flat));
}

void free_cert_request(void* flat) { (void)qbasn_obj_free(kReflectVersion, kCertRequestType, flat); }

const qb_record_info* update_info() { return &qb_asn_kxobj_update_t::reflect(); }

// scalar: a member held in one plain-record field.
qb_field_info scalar(const char* name, qb_field_kind kind, size_t offset) {
    qb_field_info f{};  // every other entry 0 or null
    f.name = name;
    f.kind = kind;
    f.offset = offset;
    return f;
}

// pair: a member held in a (count or length, data) pair of fields.
qb_field_info pair(const char* name, const char* count_name, qb_field_kind kind, size_t count_offset,
                   size_t data_offset) {
    qb_field_info f = scalar(name, kind, count_offset);
    f.offset2 = data_offset;
    f.count_name = count_name;
    return f;
}

qb_record_info record(const char* name, const char* flat_name, size_t flat_size, const qb_field_info* fields,
                      size_t field_count, unsigned int (*encode)(qb_asn_buffer_t&, void*, int),
                      unsigned int (*decode)(qb_asn_buffer_t&, void*, int), void (*free_obj)(void*)) {
    qb_record_info r{};
    r.name = name;
    r.flat_name = flat_name;
    r.flat_size = flat_size;
    r.fields = fields;
    r.field_count = field_count;
    r.encode = encode;
    r.decode = decode;
    r.free_obj = free_obj;
    r.leading_version = 1;  // every record here is a qb_v37_asnbase
    r.tree_encode = encode;
    r.tree_decode = decode;
    return r;
}

}  // namespace

// kxobj_update: SEQUENCE { version, INTEGER, OCTET STRING (text), INTEGER }
const qb_record_info& qb_asn_kxobj_update_t::reflect() {
    static const qb_field_info fields[] = {
        scalar("value_a", qb_field_long, offsetof(kxobj_update_s_t, value_a)),
        scalar("text", qb_field_text_octets, offsetof(kxobj_update_s_t, text)),
        scalar("value_b", qb_field_long, offsetof(kxobj_update_s_t, value_b)),
    };
    static const qb_record_info info = record("kxobj_update", "kxobj_update_s_t", sizeof(kxobj_update_s_t), fields,
                                              sizeof fields / sizeof fields[0], encode_update, decode_update,
                                              free_update);
    return info;
}

// update_list: SEQUENCE { version, SEQUENCE OF kxobj_update }
const qb_record_info& qb_asn_kxobj_update_list_t::reflect() {
    static const qb_field_info fields[] = {
        [] {
            qb_field_info f = pair("items", "count", qb_field_record_list, offsetof(kxobj_update_list_s_t, count),
                                   offsetof(kxobj_update_list_s_t, items));
            f.element = update_info;
            return f;
        }(),
    };
    static const qb_record_info info = record("update_list", "kxobj_update_list_s_t", sizeof(kxobj_update_list_s_t),
                                              fields, sizeof fields / sizeof fields[0], encode_update_list,
                                              decode_update_list, free_update_list);
    return info;
}

// cert_request_in: SEQUENCE { version, OCTET STRING (text), OCTET STRING (text), OCTET STRING OPTIONAL }
const qb_record_info& qb_asn_cert_request_in::reflect() {
    static const qb_field_info fields[] = {
        scalar("text_a", qb_field_text_octets, offsetof(cert_request_in, text_a)),
        scalar("text_b", qb_field_text_octets, offsetof(cert_request_in, text_b)),
        [] {
            qb_field_info f = pair("body", "body_len", qb_field_octets, offsetof(cert_request_in, body_len),
                                   offsetof(cert_request_in, body));
            f.optional = 1;
            return f;
        }(),
    };
    static const qb_record_info info = record("cert_request_in", "cert_request_in", sizeof(cert_request_in), fields,
                                              sizeof fields / sizeof fields[0], encode_cert_request,
                                              decode_cert_request, free_cert_request);
    return info;
}
