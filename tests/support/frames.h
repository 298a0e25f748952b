// tests/support/frames.h - writing an object's frame to octets, reading a
// frame from octets (an exact-size heap copy, so AddressSanitizer sees any
// read past the input), the values primitive objects hold, and frames built
// by hand.
//
// Header-only (inline functions in namespace qb_test); a test source takes
// what it uses with using-declarations. It may be included by any number of
// sources of an executable.
#ifndef QBASN_TESTS_SUPPORT_FRAMES_H
#define QBASN_TESTS_SUPPORT_FRAMES_H

#include <gtest/gtest.h>

#include <cstddef>
#include <initializer_list>
#include <ios>
#include <string>
#include <utility>
#include <vector>

#include "asn1/asn1.h"
#include "asn1/asnbase.h"
#include "support/buffers.h"
#include "support/hex.h"

namespace qb_test {

// read_case: an input (hex) and the status reading it must give.
struct read_case {
    const char* name;
    const char* hex;
    unsigned int status;
};

// ---- building ----

// register_all: registers each of `children` with `c`, in order; every
// registration must succeed.
inline void register_all(qb_asn_composite& c, std::initializer_list<qb_asn_object*> children) {
    for (qb_asn_object* child : children) EXPECT_EQ(c.register_child(child), 0u);
}

// int_then: SEQUENCE { INTEGER, T }, security off; bind its members with
// `auto& [seq, i, t] = pair;`.
template <class T>
struct int_then {
    qb_asn_sequence seq{security_off};
    qb_asn_integer first{security_off};
    T second{security_off};
    int_then() { register_all(seq, {&first, &second}); }
};

// set_hex: o.set_value over the octets `hex_text` with count `n` (octets,
// or bits for a BIT STRING); set_default_hex: the same for the default.
template <class T>
unsigned int set_hex(T& o, const char* hex_text, unsigned int n) {
    const bytes_t v = hex(hex_text);
    return o.set_value(v.data(), n);
}

template <class T>
unsigned int set_default_hex(T& o, const char* hex_text, unsigned int n) {
    const bytes_t v = hex(hex_text);
    return o.set_default_value(v.data(), n);
}

// ---- writing ----

// written: the full frame asnwrite produced, with its status.
struct written {
    unsigned int rc;
    bytes_t bytes;
};

// write_frame: asnwrite of `o` into a fresh buffer.
inline written write_frame(const qb_asn_object& o) {
    qb_buffer_t out(security_off);
    const unsigned int rc = o.asnwrite(out);
    return {rc, bytes_of(out)};
}

// write_bytes: the octets asnwrite of `o` produces; its status must be
// `want_status` (0 unless a test says otherwise).
inline bytes_t write_bytes(const qb_asn_object& o, unsigned int want_status = 0) {
    written w = write_frame(o);
    EXPECT_EQ(w.rc, want_status);
    return std::move(w.bytes);
}

// append_to: runs `write(out)` on a buffer already holding the octets
// `before` (hex); its status and all the buffer's octets afterwards.
template <class Write>
written append_to(const char* before, Write write) {
    qb_buffer_t out(security_off);
    put(out, hex(before));
    const unsigned int rc = write(out);
    return {rc, bytes_of(out)};
}

// appends: `write(out)` on a buffer already holding `before` (hex) gives
// `status` and leaves the octets `after` (hex) in the buffer.
template <class Write>
testing::AssertionResult appends(const char* before, Write write, unsigned int status, const char* after) {
    const written w = append_to(before, write);
    if (w.rc == status && w.bytes == hex(after)) return testing::AssertionSuccess();
    return testing::AssertionFailure() << std::hex << std::showbase << "status " << w.rc << " (expected " << status
                                       << "), " << testing::PrintToString(w.bytes) << " in the buffer (expected "
                                       << after << ")";
}

// ---- dumps ----

// state_flags: the text display_state_flags(out, indent) writes; its status
// must be 0.
inline std::string state_flags(const qb_asn_object& o, int indent) {
    qb_buffer_t out(security_off);
    EXPECT_EQ(o.display_state_flags(out, indent), 0u);
    return text_of(out);
}

// display_text: the text display(out) writes; its status must be `status`.
inline std::string display_text(const qb_asn_object& o, unsigned int status = 0) {
    qb_buffer_t out(security_off);
    EXPECT_EQ(o.display(out), status);
    return text_of(out);
}

// ---- exceptions ----

// expect_unsupported: `f` throws the unsupported-operation error
// (0x10652197) with `message`, from asn1/asnbase at a line.
template <class F>
void expect_unsupported(F f, const char* message) {
    try {
        f();
        ADD_FAILURE() << "no exception: " << message;
    } catch (const qb_asn_unsupportederror& e) {
        EXPECT_EQ(e.code, 0x10652197u);
        EXPECT_STREQ(e.message, message);
        EXPECT_STREQ(e.file, "asn1/asnbase");
        EXPECT_GT(e.line, 0);
    } catch (...) {
        ADD_FAILURE() << "not qb_asn_unsupportederror: " << message;
    }
}

// expect_bare_text: `f` throws the bare character string `text`.
template <class F>
void expect_bare_text(F f, const char* text) {
    try {
        f();
        ADD_FAILURE() << "no exception: " << text;
    } catch (const char* thrown) {
        EXPECT_STREQ(thrown, text);
    } catch (...) {
        ADD_FAILURE() << "not a bare character string: " << text;
    }
}

// ---- reading ----

// read_result: what one asnread did to its view.
struct read_result {
    unsigned int rc;
    size_t consumed;         // cursor offset from the start of the input
    unsigned int remaining;  // octets left in the view
};

// read_into: asnread of `in` (an exact-size heap copy) into `o`.
inline read_result read_into(qb_asn_object& o, const bytes_t& in) {
    const exact_block block(in);
    qb_r_buffer_t r = block.view();
    const unsigned int rc = o.asnread(r);
    return {rc, block.offset(r.cursor), r.remaining};
}

// read_frame: asnread's status for `in`; the 4-argument form also reports
// what was left of the view and how far its cursor moved.
inline unsigned int read_frame(qb_asn_object& o, const bytes_t& in) { return read_into(o, in).rc; }

inline unsigned int read_frame(qb_asn_object& o, const bytes_t& in, unsigned int& left, unsigned int& consumed) {
    const read_result res = read_into(o, in);
    left = res.remaining;
    consumed = static_cast<unsigned int>(res.consumed);
    return res.rc;
}

// reads: reading `in` into `o` (from an exact-size copy) gives `status` and
// leaves the cursor `consumed` octets in, with the rest remaining.
inline testing::AssertionResult reads(qb_asn_object& o, const bytes_t& in, unsigned int status, size_t consumed) {
    const read_result res = read_into(o, in);
    if (res.rc == status && res.consumed == consumed && res.remaining == in.size() - consumed)
        return testing::AssertionSuccess();
    return testing::AssertionFailure() << std::hex << std::showbase << "read status " << res.rc << " at offset "
                                       << std::dec << res.consumed << " with " << res.remaining
                                       << " remaining; expected " << std::hex << status << " at offset "
                                       << std::dec << consumed;
}

inline testing::AssertionResult reads(qb_asn_object& o, const char* hex_text, unsigned int status,
                                      size_t consumed) {
    return reads(o, hex(hex_text), status, consumed);
}

// expect_refused_reads<T>(then, rows): for each row (its name in the
// trace) a fresh T(security_off) refuses the row's hex (an exact-size copy)
// with the row's status and leaves the view where it was; then(o) checks
// what the refusal must leave in the object. T is the object read, or a
// type deriving from it that sets it up in its constructor.
template <class T, class Then>
void expect_refused_reads(Then then, std::initializer_list<read_case> rows) {
    for (const read_case& row : rows) {
        SCOPED_TRACE(row.name);
        T o(security_off);
        EXPECT_TRUE(reads(o, row.hex, row.status, 0));
        then(static_cast<const T&>(o));
    }
}

// expect_refused_reads<T>(rows): the same with nothing more to check.
template <class T>
void expect_refused_reads(std::initializer_list<read_case> rows) {
    expect_refused_reads<T>([](const T&) {}, rows);
}

// decode_content: o.decode_value(view, len) over an exact-size copy of
// `in`: its status and how far the view moved.
inline read_result decode_content(qb_asn_object& o, const bytes_t& in, unsigned int len) {
    const exact_block block(in);
    qb_r_buffer_t r = block.view();
    const unsigned int rc = o.decode_value(r, len);
    return {rc, block.offset(r.cursor), r.remaining};
}

// ---- behind the envelope ----

// save_encoding: saveEncoding of `o` behind the envelope with `version`;
// the octets (none on failure), the block freed; *status (when given)
// receives the status.
inline bytes_t save_encoding(qb_asn_object& o, int version, unsigned int* status = nullptr) {
    qb_asn_buffer_t out{0, nullptr};
    const unsigned int rc = qb_asnbase::saveEncoding(o, version, out);
    if (status != nullptr) *status = rc;
    bytes_t b = rc == 0 ? bytes_of(out) : bytes_t();
    qb_asn_buffer_free(out);
    return b;
}

// load_object: loadObject of a copy of `bytes` into `o` with `version`.
inline unsigned int load_object(qb_asn_object& o, int version, bytes_t bytes) {
    qb_asn_buffer_t in{static_cast<unsigned int>(bytes.size()), bytes.data()};
    return qb_asnbase::loadObject(o, version, in);
}

// ---- values held ----

// value_of: the octets an OCTET STRING holds (its octet getter, which must
// return 0; a string class's octets through the same getter).
inline bytes_t value_of(const qb_asn_octetstring& s) {
    unsigned char* p = nullptr;
    unsigned int n = 0;
    EXPECT_EQ(s.qb_asn_octetstring::get_value(p, n), 0u);
    return bytes_of(p, n);
}

// integer_octets: the content octets an INTEGER holds (its getter must return 0).
inline bytes_t integer_octets(const qb_asn_integer& i) {
    unsigned char* p = nullptr;
    unsigned int n = 0;
    EXPECT_EQ(i.get_value(p, n), 0u);
    return bytes_of(p, n);
}

// int_value: the value an INTEGER gives (its getter must return 0; -12345
// when it writes nothing).
inline long int_value(const qb_asn_integer& i) {
    long v = -12345;
    EXPECT_EQ(i.get_value(v), 0u);
    return v;
}

// bool_value: the value a BOOLEAN gives (its getter must return 0; -12345
// when it writes nothing).
inline int bool_value(const qb_asn_boolean& b) {
    int v = -12345;
    EXPECT_EQ(b.get_value(v), 0u);
    return v;
}

// expect_absent_getter: the octet getter of an absent value without a
// default gives 0x106521A0 and leaves its outputs alone.
template <class T>
void expect_absent_getter(const T& o) {
    unsigned char marker = 0;
    unsigned char* p = &marker;
    unsigned int n = 55;
    EXPECT_EQ(o.get_value(p, n), 0x106521A0u);
    EXPECT_EQ(p, &marker);
    EXPECT_EQ(n, 55u);
}

// expect_null_refused: a fresh T refuses set_value(nullptr, n) with
// 0x1065219C and stays absent.
template <class T>
void expect_null_refused(unsigned int n) {
    T o(security_off);
    EXPECT_EQ(o.set_value(nullptr, n), 0x1065219Cu);
    EXPECT_EQ(o.is_present(), 0);
}

// expect_default_octets: the octets `o` gives are `hex_text`, and they are
// the default object's own storage (no copy).
template <class T>
void expect_default_octets(const T& o, const qb_asn_object* d, const char* hex_text) {
    const T* dt = dynamic_cast<const T*>(d);
    ASSERT_NE(dt, nullptr);
    unsigned char* p = nullptr;
    unsigned int n = 0;
    EXPECT_EQ(o.get_value(p, n), 0u);
    EXPECT_EQ(bytes_of(p, n), hex(hex_text));
    unsigned char* dp = nullptr;
    unsigned int dn = 0;
    ASSERT_EQ(dt->get_value(dp, dn), 0u);
    EXPECT_EQ(p, dp);
}

// ---- object state ----

// type_summary: "<type name> <tag>/<class> <forms>", the forms the object
// permits as P (primitive), C (constructed) and I (indefinite length), a -
// for each it refuses; e.g. "INTEGER 2/0 P--".
inline std::string type_summary(const qb_asn_object& o) {
    std::string s = o.get_type_name() != nullptr ? o.get_type_name() : "(null)";
    s += " " + std::to_string(o.get_tag()) + "/" + std::to_string(o.get_class()) + " ";
    s += o.encoding_primitive_permitted() ? 'P' : '-';
    s += o.encoding_constructed_permitted() ? 'C' : '-';
    s += o.encoding_indefinite_permitted() ? 'I' : '-';
    return s;
}

// form_summary: "constructed <c>, indefinite <i>, generates constructed
// <g>, permits <forms>", the flags 0 or 1 and the forms as in type_summary;
// e.g. "constructed 0, indefinite 0, generates constructed 0, permits P--".
inline std::string form_summary(const qb_asn_object& o) {
    std::string s = "constructed " + std::to_string(o.is_constructed()) + ", indefinite " +
                    std::to_string(o.is_indefinite_length()) + ", generates constructed " +
                    std::to_string(o.should_generate_constructed()) + ", permits ";
    s += o.encoding_primitive_permitted() ? 'P' : '-';
    s += o.encoding_constructed_permitted() ? 'C' : '-';
    s += o.encoding_indefinite_permitted() ? 'I' : '-';
    return s;
}

// state_summary: "present <p>, optional <o>, defaultable <d>, cached <c>",
// each 0 or 1 (cached: the encoding is valid).
inline std::string state_summary(const qb_asn_object& o) {
    return "present " + std::to_string(o.is_present()) + ", optional " + std::to_string(o.is_optional()) +
           ", defaultable " + std::to_string(o.is_defaultable()) + ", cached " +
           std::to_string(o.is_encoding_valid());
}

// expect_secure: the object's own setting and its encoding buffer's are `s`.
template <class T>
void expect_secure(const T& o, security_t s) {
    EXPECT_EQ(o.secure, s);
    EXPECT_EQ(o.encoding.security, s);
}

// expect_security: the object's own setting, its base's and its encoding
// buffer's are all `s`.
template <class T>
void expect_security(const T& o, security_t s) {
    EXPECT_EQ(o.secure, s);
    EXPECT_EQ(o.security, s);
    EXPECT_EQ(o.encoding.security, s);
}

// ---- frames by hand ----

// length_octets: definite length octets, short form below 128, else the
// long form with as few octets as the length needs.
inline bytes_t length_octets(size_t n) {
    if (n < 128) return {static_cast<unsigned char>(n)};
    bytes_t digits;
    for (size_t v = n; v != 0; v >>= 8) digits.insert(digits.begin(), static_cast<unsigned char>(v & 0xFF));
    bytes_t out{static_cast<unsigned char>(0x80 | digits.size())};
    out.insert(out.end(), digits.begin(), digits.end());
    return out;
}

// frame_of: the one identifier octet `id`, the minimal definite length of
// `content`, and `content`.
inline bytes_t frame_of(unsigned char id, const bytes_t& content) {
    bytes_t out{id};
    const bytes_t len = length_octets(content.size());
    out.insert(out.end(), len.begin(), len.end());
    out.insert(out.end(), content.begin(), content.end());
    return out;
}

}  // namespace qb_test

#endif
