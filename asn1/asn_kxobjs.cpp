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
#include "asn1/internal/direct.h"
#include "asn1/internal/kxobjs_direct.h"
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

// ---- the direct path ----
//
// The records above, encoded and decoded without their object trees. The
// wire form: SEQUENCE { INTEGER version (1 on writing, any value read),
// members }; the texts travel as OCTET STRINGs holding the text and its
// terminating zero (a null text as the single octet 00); the OCTET STRING
// members are read in every form the record class accepts (segments, two
// constructed levels at most; indefinite lengths).

namespace {

namespace d = qb::direct;
using qb::detail::kSurplusContent;

constexpr const char* kDirectFile = "asn1/asn_kxobjs";

// The version INTEGER every one of these records starts with: 02 01 01.
constexpr size_t kVersionFrame = 3;

void write_version(d::writer& w) { w.integer(1); }

// A text as qb_set_strvalue stores it: its octets and the terminating zero.
size_t strvalue_length(const char* s) { return s == nullptr ? 1 : std::strlen(s) + 1; }

void write_strvalue(d::writer& w, const char* s) {
    static const char empty_text[1] = {0};
    const size_t n = strvalue_length(s);
    w.put(s == nullptr ? empty_text : s, n);
    w.header(0x04, n);
}

// read_version / read_integer: an INTEGER member (its value, for the
// integers, as qb_intvalue gives it).
[[nodiscard]] unsigned int read_integer(d::view& in, long* value) {
    d::frame f;
    if (unsigned int rc = d::open(in, 2, d::prim_ok, false, f); rc != kOk) return rc;
    if (value != nullptr) *value = d::integer_of(f);
    return d::close(in, f, d::after_primitive(f));
}

// octets_member: an OCTET STRING member at `in` (optional: absent when its
// identifier is not there); its content view stays in `at` for the filling
// pass, and its length goes to `length`.
[[nodiscard]] unsigned int octets_member(d::view& in, bool optional, d::view& at, size_t& length, bool& absent) {
    absent = false;
    length = 0;
    if (optional) {
        d::view probe = in;
        d::frame f;
        if (unsigned int rc = d::open(probe, 4, d::prim_ok | d::cons_ok | d::indef_ok, true, f); rc != kOk) return rc;
        if (f.absent) {
            absent = true;
            return kOk;
        }
    }
    at = in;
    return d::segmented_octets(in, 0, length, nullptr);
}

// copy_octets: the member's octets (read once already) into out.
void copy_octets(const d::view& at, unsigned char* out) {
    d::view v = at;
    size_t n = 0;
    (void)d::segmented_octets(v, 0, n, out);
}

// strvalue_copy: qb_get_strvalue of a member of `n` octets: one or none is
// the empty text; a malloc'ed copy with one 00 more than stored.
char* strvalue_copy(const d::view& at, size_t n) {
    if (n <= 1) n = 0;
    auto* copy = static_cast<unsigned char*>(std::malloc(n + 1));
    if (copy == nullptr) throw qb_asn_memexception("asn1/asnutils", __LINE__, "Out of memory get_strvalue()");
    if (n != 0) copy_octets(at, copy);
    copy[n] = 0;
    return reinterpret_cast<char*>(copy);
}

// record_frame: reads the record's SEQUENCE at v: `members(in)` reads what
// follows the version; then the surplus and end-of-contents rules.
template <class Members>
[[nodiscard]] unsigned int record_frame(d::view& v, Members members) {
    d::frame f;
    if (unsigned int rc = d::open(v, 16, d::cons_ok | d::indef_ok, false, f); rc != kOk) return rc;
    d::view in = f.content;
    if (unsigned int rc = read_integer(in, nullptr); rc != kOk) return rc;
    if (unsigned int rc = members(in); rc != kOk) return rc;
    if (!f.indefinite && in.n != 0) return kSurplusContent;
    return d::close(v, f, in);
}

// decode_message: checks the whole payload with read(view, nullptr), then
// fills the record with read(view, &r).
template <class Flat, class Read>
unsigned int decode_message(qb_asn_buffer_t& in, int version, Flat& r, Read read) {
    d::view payload{};
    if (unsigned int rc = d::envelope_payload(in, version, payload); rc != kOk) return rc;
    d::view check = payload;
    if (unsigned int rc = read(check, static_cast<Flat*>(nullptr)); rc != kOk) return rc;
    d::view fill = payload;
    return read(fill, &r);
}

// ---- kxobj_update ----

size_t update_content(const kxobj_update_s_t& r) {
    return kVersionFrame + d::integer_frame_size(static_cast<uint32_t>(r.value_a)) +
           d::frame_size(strvalue_length(r.text)) + d::integer_frame_size(static_cast<uint32_t>(r.value_b));
}

void write_update(d::writer& w, const kxobj_update_s_t& r) {
    unsigned char* const end = w.cur;
    w.integer(static_cast<uint32_t>(r.value_b));
    write_strvalue(w, r.text);
    w.integer(static_cast<uint32_t>(r.value_a));
    write_version(w);
    w.header(0x30, static_cast<size_t>(end - w.cur));
}

// read_update: checks (r null) or fills r as get_value does: zeroed, the
// two integers, then the text.
[[nodiscard]] unsigned int read_update(d::view& v, kxobj_update_s_t* r) {
    long a = 0, b = 0;
    d::view text{};
    size_t text_length = 0;
    bool absent = false;
    const unsigned int rc = record_frame(v, [&](d::view& in) {
        if (unsigned int rc = read_integer(in, &a); rc != kOk) return rc;
        if (unsigned int rc = octets_member(in, false, text, text_length, absent); rc != kOk) return rc;
        return read_integer(in, &b);
    });
    if (rc != kOk || r == nullptr) return rc;
    std::memset(r, 0, sizeof *r);
    r->value_a = a;
    r->value_b = b;
    r->text = strvalue_copy(text, text_length);
    return kOk;
}

// ---- update_list ----

[[nodiscard]] unsigned int read_update_list(d::view& v, kxobj_update_list_s_t* r) {
    return record_frame(v, [&](d::view& in) -> unsigned int {
        d::frame f;
        if (unsigned int rc = d::open(in, 16, d::cons_ok | d::indef_ok, false, f); rc != kOk) return rc;
        d::view items = f.content;
        if (r != nullptr) {
            std::memset(r, 0, sizeof *r);
            // Deliberate: count is the element count before any is read, so after a failure it includes unread records.
            r->count = d::count_frames(f);
            if (r->count != 0) {
                const size_t bytes = static_cast<size_t>(r->count) * sizeof(kxobj_update_s_t);
                auto* array = static_cast<kxobj_update_s_t*>(std::malloc(bytes));
                if (array == nullptr) return kOutOfMemory;  // count stays; free_obj skips a null items
                std::memset(array, 0, bytes);
                r->items = array;
            }
        }
        for (unsigned int i = 0; f.indefinite ? !d::at_eoc(items) : items.n != 0; ++i) {
            const unsigned int before = items.n;
            unsigned int rc = read_update(items, r != nullptr ? &r->items[i] : nullptr);
            if (rc == kOk && items.n == before) rc = qb::detail::kMalformed;
            if (rc != kOk) return rc;
        }
        return d::close(in, f, items);
    });
}

// ---- cert_request_in ----

[[nodiscard]] unsigned int read_cert_request(d::view& v, cert_request_in* r) {
    d::view a{}, b{}, body{};
    size_t a_length = 0, b_length = 0, body_length = 0;
    bool absent = false;
    const unsigned int rc = record_frame(v, [&](d::view& in) {
        if (unsigned int rc = octets_member(in, false, a, a_length, absent); rc != kOk) return rc;
        if (unsigned int rc = octets_member(in, false, b, b_length, absent); rc != kOk) return rc;
        return octets_member(in, true, body, body_length, absent);
    });
    if (rc != kOk || r == nullptr) return rc;
    std::memset(r, 0, sizeof *r);
    r->text_a = strvalue_copy(a, a_length);
    r->text_b = strvalue_copy(b, b_length);
    if (body_length != 0) {  // as get_obj_body: absent or empty gives 0 and null
        auto* copy = static_cast<unsigned char*>(std::malloc(body_length));
        if (copy == nullptr) throw qb_asn_memexception(kDirectFile, __LINE__, "Out of memory get_obj_body()");
        copy_octets(body, copy);
        r->body = copy;
    }
    r->body_len = static_cast<unsigned int>(body_length);
    return kOk;
}

}  // namespace

unsigned int qb::direct::encode_update(const kxobj_update_s_t& r, int version, qb_asn_buffer_t& out) {
    return encode_block(
        out, version, [&](unsigned int&) { return frame_size(update_content(r)); },
        [&](writer& w) { write_update(w, r); }, kDirectFile, __LINE__);
}

unsigned int qb::direct::decode_update(qb_asn_buffer_t& in, int version, kxobj_update_s_t& r) {
    return decode_message(in, version, r, read_update);
}

unsigned int qb::direct::encode_update_list(const kxobj_update_list_s_t& r, int version, qb_asn_buffer_t& out) {
    if (r.count != 0 && r.items == nullptr) return kNoSuchElement;
    size_t items = 0;
    for (unsigned int i = 0; i < r.count; ++i) items += frame_size(update_content(r.items[i]));
    const size_t content = kVersionFrame + frame_size(items);
    return encode_block(
        out, version, [&](unsigned int&) { return frame_size(content); },
        [&](writer& w) {
            unsigned char* const end = w.cur;
            for (unsigned int i = r.count; i-- > 0;) write_update(w, r.items[i]);
            w.header(0x30, static_cast<size_t>(end - w.cur));
            write_version(w);
            w.header(0x30, content);
        },
        kDirectFile, __LINE__);
}

unsigned int qb::direct::decode_update_list(qb_asn_buffer_t& in, int version, kxobj_update_list_s_t& r) {
    return decode_message(in, version, r, read_update_list);
}

unsigned int qb::direct::encode_cert_request(const cert_request_in& r, int version, qb_asn_buffer_t& out) {
    // The body travels only when it has octets; data null with a length is
    // refused as the member's setter refuses it.
    if (r.body_len != 0 && r.body == nullptr) return kNoSuchElement;
    const size_t content = kVersionFrame + frame_size(strvalue_length(r.text_a)) +
                           frame_size(strvalue_length(r.text_b)) + (r.body_len != 0 ? frame_size(r.body_len) : 0);
    return encode_block(
        out, version, [&](unsigned int&) { return frame_size(content); },
        [&](writer& w) {
            if (r.body_len != 0) {
                w.put(r.body, r.body_len);
                w.header(0x04, r.body_len);
            }
            write_strvalue(w, r.text_b);
            write_strvalue(w, r.text_a);
            write_version(w);
            w.header(0x30, content);
        },
        kDirectFile, __LINE__);
}

unsigned int qb::direct::decode_cert_request(qb_asn_buffer_t& in, int version, cert_request_in& r) {
    return decode_message(in, version, r, read_cert_request);
}

unsigned int qb::direct::encode_integer(int value, int version, qb_asn_buffer_t& out) {
    const uint32_t w32 = static_cast<uint32_t>(static_cast<long>(value));
    return encode_block(
        out, version, [&](unsigned int&) { return integer_frame_size(w32); }, [&](writer& w) { w.integer(w32); },
        "asn1/asnbase", __LINE__);
}

unsigned int qb::direct::decode_integer(qb_asn_buffer_t& in, int version, int& value) {
    view payload{};
    if (unsigned int rc = envelope_payload(in, version, payload); rc != kOk) return rc;
    frame f;
    if (unsigned int rc = open(payload, 2, prim_ok, false, f); rc != kOk) return rc;  // the record is not touched
    bool valid = false;
    const int32_t v = integer_value(f.content.p, f.length, valid);
    if (!valid) return qb::detail::kTooLong;  // a value wider than 32 bits leaves it alone
    value = v;
    return kOk;
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

// The entry points of the reflection table: the direct path, and the record
// classes' object trees (tree_encode, tree_decode).
template <class Direct>
unsigned int reported(Direct run) {
    try {
        return run();
    } catch (const qb_asn_exception& e) {
        qb::rec::report(e);
        return e.code;
    }
}

template <class Rec, class Flat>
unsigned int tree_encode(qb_asn_buffer_t& out, void* flat, int) {
    return reported([&] {
        Rec rec(security_off);
        return static_cast<unsigned int>(rec.encode_obj(*static_cast<Flat*>(flat), out, kReflectVersion));
    });
}

template <class Rec, class Flat>
unsigned int tree_decode(qb_asn_buffer_t& in, void* flat, int) {
    return reported([&] {
        Rec rec(security_off);
        return static_cast<unsigned int>(rec.decode_obj(*static_cast<Flat*>(flat), in, kReflectVersion));
    });
}

unsigned int encode_update(qb_asn_buffer_t& out, void* flat, int) {
    return reported([&] { return qb::direct::encode_update(*static_cast<kxobj_update_s_t*>(flat), kReflectVersion, out); });
}

unsigned int decode_update(qb_asn_buffer_t& in, void* flat, int) {
    return reported([&] { return qb::direct::decode_update(in, kReflectVersion, *static_cast<kxobj_update_s_t*>(flat)); });
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

using encode_fn = unsigned int (*)(qb_asn_buffer_t&, void*, int);
using decode_fn = unsigned int (*)(qb_asn_buffer_t&, void*, int);

qb_record_info record(const char* name, const char* flat_name, size_t flat_size, const qb_field_info* fields,
                      size_t field_count, encode_fn encode, decode_fn decode, void (*free_obj)(void*),
                      encode_fn by_tree_encode, decode_fn by_tree_decode) {
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
    r.tree_encode = by_tree_encode;
    r.tree_decode = by_tree_decode;
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
                                              free_update, tree_encode<qb_asn_kxobj_update_t, kxobj_update_s_t>,
                                              tree_decode<qb_asn_kxobj_update_t, kxobj_update_s_t>);
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
                                              decode_update_list, free_update_list,
                                              tree_encode<qb_asn_kxobj_update_list_t, kxobj_update_list_s_t>,
                                              tree_decode<qb_asn_kxobj_update_list_t, kxobj_update_list_s_t>);
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
                                              decode_cert_request, free_cert_request,
                                              tree_encode<qb_asn_cert_request_in, cert_request_in>,
                                              tree_decode<qb_asn_cert_request_in, cert_request_in>);
    return info;
}
