// tests/support/record_cases.h - record vectors as tables, and the checks
// that run each row through the record's reflection entry (asn1/asnrecord.h),
// so that a group's test file states its records, their octets and what is
// particular to them, and no body is written twice:
//
//   - known_answer rows (expect_known_answer for one): a flat record of the
//     test's and its encoding written out in hex. expect_known_answers
//     encodes the record in the plain and the local-code-set (LCS) form
//     (both must give the octets), decodes the octets in both forms into a
//     record filled with the row's octet (the decoder must overwrite all of
//     it), compares the result field by field with the row's record
//     (records_equal, which reads a NULL text as "" and a negative signed
//     count as 0) and with the decoder's shape (decoded_shape: texts
//     allocated, empty lists without an array), re-encodes it (the same
//     octets) and frees it with the library's freer. Every successful call
//     must print nothing;
//   - decode_case rows (expect_read, expect_refused for one): octets that no
//     record encodes to (other forms, other lengths, damaged or refused
//     input), the status both forms return, for a success the record they
//     give and its re-encoding, for a failure whether the record is left
//     exactly as the caller filled it;
//   - type_name_case rows (expect_names for one) and field_case lists: the
//     type names of a new record object (the one-line dump of
//     display_state_flags included) and the reflection entry of its record;
//     class_names_of: the same names of several record classes at once;
//     expect_child_list: the member objects a record object registered;
//   - small helpers the record tests share: listed_records, source_text,
//     source_lines, dump_names.
//
// Decoders read exactly sized copies of their input, so a read past the
// input is caught by the sanitizer build. Nothing here fails allocations;
// the allocation-failure sweeps are in support/record_test.h.
#ifndef QBASN_TESTS_SUPPORT_RECORD_CASES_H
#define QBASN_TESTS_SUPPORT_RECORD_CASES_H

#include <cstddef>
#include <initializer_list>
#include <string>
#include <utility>
#include <vector>

#include "asn1/asnbase.h"
#include "asn1/asnrecord.h"

namespace qb_test {

// ---- helpers ----

// listed_records: every record of qb_record_list, in the library's order.
std::vector<const qb_record_info*> listed_records();

// source_text: the lines of a repository source (a path from the repository
// root, "asn1/asnstrng.cpp"), the first at index 0; a source that cannot be
// read fails the calling test.
std::vector<std::string> source_text(const char* source);

// source_lines: the numbers (from 1) of the lines of a repository source that
// contain `needle`.
std::vector<int> source_lines(const char* source, const char* needle);

// dump_names: the type name at the start of each line of display_state_flags,
// with its indentation kept ("  INTEGER").
std::vector<std::string> dump_names(const qb_asn_object& o);

namespace detail {
// flat_t<Rec>: the flat record of the record class Rec (the argument of its set_value).
template <class Rec, class Flat>
Flat flat_of(int (Rec::*)(Flat&));
template <class Rec>
using flat_t = decltype(flat_of(&Rec::set_value));
}  // namespace detail

// ---- known answers ----

// known_answer: `flat`, a record of `info` that the test owns, encodes to the
// octets `hex` (the envelope included), and they decode to it again. A row
// without hex (nullptr) states a record whose octets are not written out:
// both forms must then give the same octets and decode to the record.
struct known_answer {
    const char* name;  // for SCOPED_TRACE: what the row shows
    const qb_record_info& info;
    void* flat;
    const char* hex;
    unsigned char prefill = 0x00;  // the decoder's record is filled with this octet first
};

// expect_known_answers: every row, as the file comment says.
void expect_known_answers(std::initializer_list<known_answer> rows);

// expect_known_answer<Rec>: one row, for a record of the record class Rec
// given by value (what it points to stays the test's).
template <class Rec>
void expect_known_answer(const char* name, detail::flat_t<Rec> record, const char* hex, unsigned char prefill = 0x00) {
    expect_known_answers({{name, Rec::reflect(), &record, hex, prefill}});
}

// ---- decode vectors ----

// decode_case: `hex` decoded into a record of `info` (filled with `prefill`)
// returns `status` through both forms. On success the record equals `want`
// (a record the test owns; nullptr: not compared) and re-encodes to `again`
// (nullptr: not compared). On failure the record is left exactly as it was
// filled when `untouched` is set, and is otherwise only required to free.
// No decode prints anything.
struct decode_case {
    const char* name;
    const qb_record_info& info;
    const char* hex;
    unsigned int status;
    const void* want = nullptr;
    const char* again = nullptr;
    bool untouched = false;
    unsigned char prefill = 0x00;
};

void expect_decodes(std::initializer_list<decode_case> rows);

// expect_read<Rec>: `hex` decodes through both forms to `want`, and re-encodes
// to `again` (nullptr: not compared).
template <class Rec>
void expect_read(const char* name, const char* hex, detail::flat_t<Rec> want, const char* again = nullptr,
                 unsigned char prefill = 0x00) {
    expect_decodes({{name, Rec::reflect(), hex, 0x00000000U, &want, again, false, prefill}});
}

// expect_refused<Rec>: `hex` returns `status` through both forms; with
// `untouched`, a record filled with `prefill` keeps every octet.
template <class Rec>
void expect_refused(const char* name, const char* hex, unsigned int status, bool untouched = false,
                    unsigned char prefill = 0x00) {
    expect_decodes({{name, Rec::reflect(), hex, status, nullptr, nullptr, untouched, prefill}});
}

// ---- type names and reflection ----

// type_name_case: a new record object's type name (`cut`: the 16-character
// field keeps the first 16 characters), its dump (`members`, one entry per
// line; empty: not compared), and its reflection entry: the full name, the
// flat record's name and size.
struct type_name_case {
    const qb_record_info& info;
    std::size_t flat_size;
    std::string (*type_name)();
    std::vector<std::string> (*dump)();
    const char* cut;
    const char* full;
    const char* flat;
    std::vector<std::string> members;
};

namespace detail {
template <class Rec>
std::string type_name_of() {
    Rec rec(security_off);
    return rec.get_type_name();
}

template <class Rec>
std::vector<std::string> dump_of() {
    Rec rec(security_off);
    return dump_names(rec);
}
}  // namespace detail

// names_of<Rec>: the row of the record class Rec.
template <class Rec>
type_name_case names_of(const char* cut, const char* full, const char* flat, std::vector<std::string> members = {}) {
    return {Rec::reflect(), sizeof(detail::flat_t<Rec>), &detail::type_name_of<Rec>, &detail::dump_of<Rec>,
            cut, full, flat, std::move(members)};
}

void expect_type_names(std::initializer_list<type_name_case> rows);

// expect_names<Rec>: one row, for the record class Rec.
template <class Rec>
void expect_names(const char* cut, const char* full, const char* flat, std::vector<std::string> members = {}) {
    expect_type_names({names_of<Rec>(cut, full, flat, std::move(members))});
}

// class_names: for several record classes, in order: what the type-name
// field of a new record object holds, the reflection entry's name and flat
// record name, and whether every entry gives the size of its flat record.
struct class_names {
    std::vector<std::string> held;
    std::vector<std::string> full;
    std::vector<std::string> flat;
    bool sizes_match;
};

template <class... Recs>
class_names class_names_of() {
    return {{detail::type_name_of<Recs>()...},
            {Recs::reflect().name...},
            {Recs::reflect().flat_name...},
            ((Recs::reflect().flat_size == sizeof(detail::flat_t<Recs>)) && ...)};
}

// field_case: one member of a reflection entry, in wire order. Members left
// at their defaults are not compared.
constexpr std::size_t kAny = static_cast<std::size_t>(-1);
struct field_case {
    const char* name;
    qb_field_kind kind;
    std::size_t offset = kAny;
    std::size_t offset2 = kAny;
    const qb_record_info* element = nullptr;
    int optional = -1;
    int signed_count = -1;
    std::size_t size = kAny;
};

// expect_fields: `info` has exactly these members.
void expect_fields(const qb_record_info& info, std::initializer_list<field_case> fields);

// expect_child_list: `rec`, a record object, registered exactly these member
// objects as its children, in this order.
void expect_child_list(const qb_asn_composite& rec, std::initializer_list<const qb_asn_object*> members);

}  // namespace qb_test

#endif
