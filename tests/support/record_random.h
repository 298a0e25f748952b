// tests/support/record_random.h - flat records built, compared, printed and
// freed through the reflection table (asn1/asnrecord.h), so a test can handle
// every record the library lists without knowing its C++ type.
//
// Ownership: everything fill_random hangs into a record (texts, byte blocks,
// element arrays, optional and slot sub-records) comes from malloc/calloc and
// is released by free_built, which walks the field infos itself. Records the
// library decoded are released by the library (info.free_obj), so the
// library's own freer is what a leak check judges there; the test's freer
// never touches them.
#ifndef QBASN_TESTS_SUPPORT_RECORD_RANDOM_H
#define QBASN_TESTS_SUPPORT_RECORD_RANDOM_H

#include <cstdint>
#include <string>

#include "asn1/asnrecord.h"

namespace qb_test {

// random_source: a small deterministic generator (splitmix64), so a seed
// names one record on every platform.
class random_source {
public:
    explicit random_source(std::uint64_t seed) : state_(seed) {}
    std::uint64_t next();
    // below: uniform in [0, n); 0 when n is 0.
    std::uint32_t below(std::uint32_t n);
    // chance: true with probability num/den.
    bool chance(std::uint32_t num, std::uint32_t den) { return below(den) < num; }

private:
    std::uint64_t state_;
};

// random_options: the shape of the records fill_random builds.
struct random_options {
    int max_depth = 3;        // nested records deeper than this get empty lists and no optionals
    unsigned min_list = 0;    // element counts of lists, [min_list, max_list]
    unsigned max_list = 4;
    unsigned deep_max_list = 2;  // the most elements of a list in a nested record (depth >= 1)
    unsigned max_text = 40;   // ASCII texts of 0..max_text characters
    unsigned max_bytes = 40;  // byte strings of 1..max_bytes octets when not empty
    bool allow_null_text = true;     // texts may be NULL (they travel as the empty text)
    bool allow_empty_bytes = true;   // byte strings may be empty (length 0, data null)
    bool allow_absent = true;        // optional records may be null
    bool allow_null_elements = true; // pointer-list elements may be null (they travel as empty records)
    bool allow_negative_count = true;// signed list counts may be negative (no element travels)
    unsigned slot_use = 10;          // percent of used slots in a slot array
    bool utf8_text = false;          // texts mix ASCII with 2- and 3-octet UTF-8 characters
};

// filled_options: records whose every list holds 1 to `max_list` elements
// (at most one in a nested record) and whose texts and byte strings hold at
// most `max_octets` octets; with `complete`, every optional record is present,
// no pointer-list element is null and no signed count is negative, so every
// member of the record has a frame in its encoding.
random_options filled_options(unsigned max_list, unsigned max_octets, bool complete);

// fill_random: fills the zeroed flat record `flat` of type `info` at nesting depth `depth`.
void fill_random(const qb_record_info& info, void* flat, random_source& rnd, const random_options& opt, int depth = 0);

// free_built: releases what fill_random allocated inside `flat` (not `flat` itself).
void free_built(const qb_record_info& info, void* flat);

// records_equal: the two flat records carry the same message. Normalisations:
// a NULL text equals "", byte strings compare by length and content (the data
// pointer of an empty one may be anything), a negative signed list count
// equals 0, a null element of a pointer list equals an all-zero record, long
// words compare by their low 32 bits. On a difference, *where names the first
// differing field (e.g. "attrlist_t.attrs[1].values[0].text").
bool records_equal(const qb_record_info& info, const void* a, const void* b, std::string* where = nullptr);

// decoded_shape: what a record filled by the library's decoder always looks
// like: texts are never null, a list with count 0 has a null array and a
// nonempty one a non-null array, long words hold a sign-extended 32-bit value,
// counts are never negative. Returns "" or a description of the first breach.
std::string decoded_shape(const qb_record_info& info, const void* flat);

// describe: a one-line readable dump of a flat record, for failure messages.
std::string describe(const qb_record_info& info, const void* flat);

// image: the same dump, complete and with every null data or array pointer
// shown (also where the length or count is 0): two records with the same
// image hold the same values in the same shape, to the last pointer left null.
std::string image(const qb_record_info& info, const void* flat);

// uses_kind: the record (or a record it nests) has a field of this kind.
bool uses_kind(const qb_record_info& info, qb_field_kind kind);

// exception_parts: the parts of one line that an entry point prints for an
// exception, "Exception: <message> [<code, 8 hex digits>] in <file> at line <n>\n"
// (support/stderr_tap.h writes such a line: exception_line).
struct exception_parts {
    std::string message;
    std::string code;  // the 8 lower-case hex digits as printed
    std::string file;
    int line = 0;
};

// parse_exception_line: true when `text` is exactly one such line (with its
// newline); the parts go to *out.
bool parse_exception_line(const std::string& text, exception_parts* out);

}  // namespace qb_test

#endif
