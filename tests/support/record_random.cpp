// tests/support/record_random.cpp - reflection-driven random flat records,
// their comparison, shape check, dump and release (see record_random.h).
#include "support/record_random.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <set>
#include <stdexcept>

#include "support/flat_fields.h"

namespace qb_test {

namespace {

// ---- access to flat-record fields through their offsets (word and
// count_of: support/flat_fields.h) ----

char* at(void* flat, size_t offset) { return static_cast<char*>(flat) + offset; }
const char* at(const void* flat, size_t offset) { return static_cast<const char*>(flat) + offset; }

const qb_record_info& element_of(const qb_field_info& f) {
    const qb_record_info* e = f.element != nullptr ? f.element() : nullptr;
    if (e == nullptr) throw std::logic_error(std::string("field without element record: ") + f.name);
    return *e;
}

void* checked_calloc(size_t n, size_t size) {
    void* p = std::calloc(n != 0 ? n : 1, size != 0 ? size : 1);
    if (p == nullptr) throw std::bad_alloc();
    return p;
}

// ---- random values ----

// 32-bit patterns that sit on an edge of some encoding.
constexpr std::uint32_t kEdges[] = {
    0x00000000u, 0x00000001u, 0x0000007Fu, 0x00000080u, 0x000000FFu, 0x00000100u,
    0x00007FFFu, 0x00008000u, 0x0000FFFFu, 0x00010000u, 0x007FFFFFu, 0x00800000u,
    0x7FFFFFFFu, 0x80000000u, 0xFFFFFFFFu, 0xFFFFFF80u, 0xFFFFFF7Fu, 0xFFFF8000u,
};

std::uint32_t random_word(random_source& rnd) {
    switch (rnd.below(4)) {
        case 0: return kEdges[rnd.below(sizeof kEdges / sizeof kEdges[0])];
        case 1: return rnd.below(300);
        default: return static_cast<std::uint32_t>(rnd.next());
    }
}

char* random_text(random_source& rnd, const random_options& opt) {
    if (opt.allow_null_text && rnd.chance(1, 6)) return nullptr;
    const unsigned n = rnd.chance(1, 6) ? 0 : rnd.below(opt.max_text + 1);
    if (!opt.utf8_text) {
        char* s = static_cast<char*>(checked_calloc(n + 1, 1));
        for (unsigned i = 0; i < n; ++i) s[i] = static_cast<char>(0x20 + rnd.below(0x7F - 0x20));
        return s;
    }
    // n characters of 1 to 3 octets each: ASCII, e with acute, the euro sign, a CJK ideograph.
    static const char* const kPieces[] = {"a", "Z", " ", "\xC3\xA9", "\xE2\x82\xAC", "\xE6\x97\xA5"};
    char* s = static_cast<char*>(checked_calloc(3 * n + 1, 1));
    size_t at = 0;
    for (unsigned i = 0; i < n; ++i) {
        const char* piece = kPieces[rnd.below(sizeof kPieces / sizeof kPieces[0])];
        const size_t len = std::strlen(piece);
        std::memcpy(s + at, piece, len);
        at += len;
    }
    return s;
}

unsigned random_count(random_source& rnd, const random_options& opt, int depth) {
    if (depth >= opt.max_depth) return 0;
    const unsigned top = depth == 0 ? opt.max_list : std::min(opt.max_list, opt.deep_max_list);
    const unsigned lo = opt.min_list, hi = top < lo ? lo : top;
    return lo + rnd.below(hi - lo + 1);
}

// Writes a list count; a signed count of an empty list is sometimes negative.
void put_count(const qb_field_info& f, void* flat, unsigned n, random_source& rnd, const random_options& opt) {
    if (f.signed_count) {
        int c = static_cast<int>(n);
        if (n == 0 && opt.allow_negative_count && rnd.chance(1, 3)) c = rnd.chance(1, 2) ? -1 : INT32_MIN;
        word<int>(flat, f.offset) = c;
    } else {
        word<unsigned>(flat, f.offset) = n;
    }
}

// free_held: releases what a field holds by pointer (a record with what
// hangs in it, or a text); nothing for null.
void free_held(const qb_field_info& f, void* p) {
    if (p == nullptr) return;
    if (f.kind != qb_field_text_list) free_built(element_of(f), p);
    std::free(p);
}

// new_list: a random element count for the list `f` (written to the flat
// record, and to *n) and a zeroed array of that many elements of `size`
// octets hung into the record; null (and no array) for no element.
void* new_list(const qb_field_info& f, void* flat, size_t size, random_source& rnd, const random_options& opt,
               int depth, unsigned* n) {
    *n = random_count(rnd, opt, depth);
    put_count(f, flat, *n, rnd, opt);
    void* array = *n == 0 ? nullptr : checked_calloc(*n, size);
    word<void*>(flat, f.offset2) = array;
    return array;
}

// ---- text helpers ----

bool same_text(const char* a, const char* b) {
    return std::strcmp(a != nullptr ? a : "", b != nullptr ? b : "") == 0;
}

void append_quoted(std::string& out, const char* s) {
    if (s == nullptr) {
        out += "NULL";
        return;
    }
    out += '"';
    for (const char* p = s; *p != '\0'; ++p) {
        const unsigned char c = static_cast<unsigned char>(*p);
        if (c == '"' || c == '\\') {
            out += '\\';
            out += static_cast<char>(c);
        } else if (c < 0x20 || c > 0x7E) {
            char hexed[8];
            std::snprintf(hexed, sizeof hexed, "\\x%02X", c);
            out += hexed;
        } else {
            out += static_cast<char>(c);
        }
    }
    out += '"';
}

void append_bytes(std::string& out, const unsigned char* p, unsigned n, bool exact = false) {
    char buf[16];
    std::snprintf(buf, sizeof buf, "<%u:", n);
    out += buf;
    for (unsigned i = 0; i < n && p != nullptr; ++i) {
        std::snprintf(buf, sizeof buf, "%02X", p[i]);
        out += buf;
    }
    if ((n != 0 || exact) && p == nullptr) out += "(null data)";
    out += '>';
}

std::string indexed(const std::string& path, unsigned i) { return path + "[" + std::to_string(i) + "]"; }

// ---- comparison ----

bool equal_at(const qb_record_info& info, const void* a, const void* b, const std::string& path, std::string* where);

bool note(std::string* where, const std::string& path, const std::string& what) {
    if (where != nullptr) *where = path + ": " + what;
    return false;
}

// Compares two records held by pointer, a null one standing for an all-zero record.
bool equal_nullable(const qb_record_info& e, const void* a, const void* b, const std::string& path, std::string* where) {
    void* zero = nullptr;
    if (a == nullptr || b == nullptr) zero = checked_calloc(1, e.flat_size);
    const bool same = equal_at(e, a != nullptr ? a : zero, b != nullptr ? b : zero, path, where);
    std::free(zero);
    return same;
}

bool equal_field(const qb_field_info& f, const void* a, const void* b, const std::string& path, std::string* where) {
    switch (f.kind) {
        case qb_field_int:
            if (word<int>(a, f.offset) == word<int>(b, f.offset)) return true;
            return note(where, path, std::to_string(word<int>(a, f.offset)) + " vs " + std::to_string(word<int>(b, f.offset)));
        case qb_field_uint:
            if (word<unsigned>(a, f.offset) == word<unsigned>(b, f.offset)) return true;
            return note(where, path, std::to_string(word<unsigned>(a, f.offset)) + " vs " +
                                         std::to_string(word<unsigned>(b, f.offset)));
        case qb_field_long: {
            const auto la = static_cast<std::uint32_t>(word<long>(a, f.offset));
            const auto lb = static_cast<std::uint32_t>(word<long>(b, f.offset));
            if (la == lb) return true;
            return note(where, path, std::to_string(word<long>(a, f.offset)) + " vs " + std::to_string(word<long>(b, f.offset)));
        }
        case qb_field_ushort:
            if (word<unsigned short>(a, f.offset) == word<unsigned short>(b, f.offset)) return true;
            return note(where, path, std::to_string(word<unsigned short>(a, f.offset)) + " vs " +
                                         std::to_string(word<unsigned short>(b, f.offset)));
        case qb_field_uchar:
            if (word<unsigned char>(a, f.offset) == word<unsigned char>(b, f.offset)) return true;
            return note(where, path, std::to_string(word<unsigned char>(a, f.offset)) + " vs " +
                                         std::to_string(word<unsigned char>(b, f.offset)));
        case qb_field_text:
        case qb_field_text_octets: {
            const char* ta = word<char*>(a, f.offset);
            const char* tb = word<char*>(b, f.offset);
            if (same_text(ta, tb)) return true;
            std::string what;
            append_quoted(what, ta);
            what += " vs ";
            append_quoted(what, tb);
            return note(where, path, what);
        }
        case qb_field_octets: {
            const unsigned na = word<unsigned>(a, f.offset), nb = word<unsigned>(b, f.offset);
            const unsigned char* pa = word<unsigned char*>(a, f.offset2);
            const unsigned char* pb = word<unsigned char*>(b, f.offset2);
            if (na == nb && (na == 0 || (pa != nullptr && pb != nullptr && std::memcmp(pa, pb, na) == 0))) return true;
            std::string what;
            append_bytes(what, pa, na);
            what += " vs ";
            append_bytes(what, pb, nb);
            return note(where, path, what);
        }
        case qb_field_fixed_octets: {
            const auto* pa = reinterpret_cast<const unsigned char*>(at(a, f.offset));
            const auto* pb = reinterpret_cast<const unsigned char*>(at(b, f.offset));
            if (std::memcmp(pa, pb, f.size) == 0) return true;
            std::string what;
            append_bytes(what, pa, static_cast<unsigned>(f.size));
            what += " vs ";
            append_bytes(what, pb, static_cast<unsigned>(f.size));
            return note(where, path, what);
        }
        case qb_field_record:
            return equal_at(element_of(f), at(a, f.offset), at(b, f.offset), path, where);
        case qb_field_optional_record: {
            const void* pa = word<void*>(a, f.offset);
            const void* pb = word<void*>(b, f.offset);
            if (pa == nullptr && pb == nullptr) return true;
            if (pa == nullptr || pb == nullptr)
                return note(where, path, pa == nullptr ? "absent vs present" : "present vs absent");
            return equal_at(element_of(f), pa, pb, path, where);
        }
        case qb_field_record_list:
        case qb_field_record_ptr_list:
        case qb_field_text_list:
        case qb_field_int_list: {
            const unsigned na = count_of(f, a), nb = count_of(f, b);
            if (na != nb) return note(where, path, "count " + std::to_string(na) + " vs " + std::to_string(nb));
            if (na == 0) return true;
            const char* xa = word<char*>(a, f.offset2);
            const char* xb = word<char*>(b, f.offset2);
            if (xa == nullptr || xb == nullptr) return note(where, path, "null array with a nonzero count");
            for (unsigned i = 0; i < na; ++i) {
                const std::string p = indexed(path, i);
                bool same = true;
                switch (f.kind) {
                    case qb_field_record_list: {
                        const qb_record_info& e = element_of(f);
                        same = equal_at(e, xa + i * e.flat_size, xb + i * e.flat_size, p, where);
                        break;
                    }
                    case qb_field_record_ptr_list:
                        same = equal_nullable(element_of(f), reinterpret_cast<void* const*>(xa)[i],
                                              reinterpret_cast<void* const*>(xb)[i], p, where);
                        break;
                    case qb_field_text_list: {
                        const char* ta = reinterpret_cast<char* const*>(xa)[i];
                        const char* tb = reinterpret_cast<char* const*>(xb)[i];
                        if (!same_text(ta, tb)) {
                            std::string what;
                            append_quoted(what, ta);
                            what += " vs ";
                            append_quoted(what, tb);
                            same = note(where, p, what);
                        }
                        break;
                    }
                    default: {
                        const int ia = reinterpret_cast<const int*>(xa)[i];
                        const int ib = reinterpret_cast<const int*>(xb)[i];
                        if (ia != ib) same = note(where, p, std::to_string(ia) + " vs " + std::to_string(ib));
                        break;
                    }
                }
                if (!same) return false;
            }
            return true;
        }
        case qb_field_record_slots: {
            const auto* sa = reinterpret_cast<void* const*>(at(a, f.offset));
            const auto* sb = reinterpret_cast<void* const*>(at(b, f.offset));
            for (size_t i = 0; i < f.size; ++i) {
                const std::string p = indexed(path, static_cast<unsigned>(i));
                if (sa[i] == nullptr && sb[i] == nullptr) continue;
                if (sa[i] == nullptr || sb[i] == nullptr)
                    return note(where, p, sa[i] == nullptr ? "empty slot vs used slot" : "used slot vs empty slot");
                if (!equal_at(element_of(f), sa[i], sb[i], p, where)) return false;
            }
            return true;
        }
    }
    return note(where, path, "unknown field kind " + std::to_string(static_cast<int>(f.kind)));
}

bool equal_at(const qb_record_info& info, const void* a, const void* b, const std::string& path, std::string* where) {
    for (size_t i = 0; i < info.field_count; ++i) {
        const qb_field_info& f = info.fields[i];
        if (!equal_field(f, a, b, path + "." + f.name, where)) return false;
    }
    return true;
}

// ---- decoded shape ----

std::string shape_at(const qb_record_info& info, const void* flat, const std::string& path);

std::string shape_field(const qb_field_info& f, const void* flat, const std::string& path) {
    switch (f.kind) {
        case qb_field_int:
        case qb_field_uint:
        case qb_field_ushort:
        case qb_field_uchar:
        case qb_field_fixed_octets:
            return "";
        case qb_field_long: {
            const long v = word<long>(flat, f.offset);
            if (v != static_cast<long>(static_cast<std::int32_t>(v)))
                return path + ": long word " + std::to_string(v) + " is not a sign-extended 32-bit value";
            return "";
        }
        case qb_field_text:
        case qb_field_text_octets:
            return word<char*>(flat, f.offset) == nullptr ? path + ": decoded text is null" : "";
        case qb_field_octets:
            if (word<unsigned>(flat, f.offset) != 0 && word<unsigned char*>(flat, f.offset2) == nullptr)
                return path + ": nonzero length with null data";
            return "";
        case qb_field_record:
            return shape_at(element_of(f), at(flat, f.offset), path);
        case qb_field_optional_record: {
            const void* p = word<void*>(flat, f.offset);
            return p == nullptr ? "" : shape_at(element_of(f), p, path);
        }
        case qb_field_record_list:
        case qb_field_record_ptr_list:
        case qb_field_text_list:
        case qb_field_int_list: {
            if (f.signed_count && word<int>(flat, f.offset) < 0) return path + ": negative count";
            const unsigned n = count_of(f, flat);
            const char* array = word<char*>(flat, f.offset2);
            if (n == 0) return array == nullptr ? "" : path + ": count 0 with a non-null array";
            if (array == nullptr) return path + ": nonzero count with a null array";
            for (unsigned i = 0; i < n; ++i) {
                const std::string p = indexed(path, i);
                std::string s;
                if (f.kind == qb_field_record_list) {
                    const qb_record_info& e = element_of(f);
                    s = shape_at(e, array + i * e.flat_size, p);
                } else if (f.kind == qb_field_record_ptr_list) {
                    const void* e = reinterpret_cast<void* const*>(array)[i];
                    s = e == nullptr ? p + ": null element" : shape_at(element_of(f), e, p);
                } else if (f.kind == qb_field_text_list) {
                    if (reinterpret_cast<char* const*>(array)[i] == nullptr) s = p + ": decoded text is null";
                }
                if (!s.empty()) return s;
            }
            return "";
        }
        case qb_field_record_slots: {
            const auto* slots = reinterpret_cast<void* const*>(at(flat, f.offset));
            for (size_t i = 0; i < f.size; ++i) {
                if (slots[i] == nullptr) continue;
                std::string s = shape_at(element_of(f), slots[i], indexed(path, static_cast<unsigned>(i)));
                if (!s.empty()) return s;
            }
            return "";
        }
    }
    return path + ": unknown field kind";
}

std::string shape_at(const qb_record_info& info, const void* flat, const std::string& path) {
    for (size_t i = 0; i < info.field_count; ++i) {
        const qb_field_info& f = info.fields[i];
        std::string s = shape_field(f, flat, path + "." + f.name);
        if (!s.empty()) return s;
    }
    return "";
}

// ---- dump ----

constexpr size_t kDumpLimit = 8000;

// describe_at / describe_field: the record as text. `exact`: nothing is cut
// at kDumpLimit, and a null data or array pointer is shown also when its
// length or count is 0.
void describe_at(const qb_record_info& info, const void* flat, std::string& out, bool exact);

void describe_field(const qb_field_info& f, const void* flat, std::string& out, bool exact) {
    const size_t limit = exact ? static_cast<size_t>(-1) : kDumpLimit;
    out += f.name;
    out += '=';
    switch (f.kind) {
        case qb_field_int: out += std::to_string(word<int>(flat, f.offset)); break;
        case qb_field_uint: out += std::to_string(word<unsigned>(flat, f.offset)); break;
        case qb_field_long: out += std::to_string(word<long>(flat, f.offset)); break;
        case qb_field_ushort: out += std::to_string(word<unsigned short>(flat, f.offset)); break;
        case qb_field_uchar: out += std::to_string(word<unsigned char>(flat, f.offset)); break;
        case qb_field_text:
        case qb_field_text_octets: append_quoted(out, word<char*>(flat, f.offset)); break;
        case qb_field_octets:
            append_bytes(out, word<unsigned char*>(flat, f.offset2), word<unsigned>(flat, f.offset), exact);
            break;
        case qb_field_fixed_octets:
            append_bytes(out, reinterpret_cast<const unsigned char*>(at(flat, f.offset)), static_cast<unsigned>(f.size));
            break;
        case qb_field_record: describe_at(element_of(f), at(flat, f.offset), out, exact); break;
        case qb_field_optional_record: {
            const void* p = word<void*>(flat, f.offset);
            if (p == nullptr)
                out += "absent";
            else
                describe_at(element_of(f), p, out, exact);
            break;
        }
        case qb_field_record_list:
        case qb_field_record_ptr_list:
        case qb_field_text_list:
        case qb_field_int_list: {
            const unsigned n = count_of(f, flat);
            const char* array = word<char*>(flat, f.offset2);
            if (f.signed_count && word<int>(flat, f.offset) < 0)
                out += "(count " + std::to_string(word<int>(flat, f.offset)) + ")";
            out += '[';
            for (unsigned i = 0; i < n && array != nullptr && out.size() < limit; ++i) {
                if (i != 0) out += ", ";
                if (f.kind == qb_field_record_list) {
                    const qb_record_info& e = element_of(f);
                    describe_at(e, array + i * e.flat_size, out, exact);
                } else if (f.kind == qb_field_record_ptr_list) {
                    const void* e = reinterpret_cast<void* const*>(array)[i];
                    if (e == nullptr)
                        out += "NULL";
                    else
                        describe_at(element_of(f), e, out, exact);
                } else if (f.kind == qb_field_text_list) {
                    append_quoted(out, reinterpret_cast<char* const*>(array)[i]);
                } else {
                    out += std::to_string(reinterpret_cast<const int*>(array)[i]);
                }
            }
            if ((n != 0 || exact) && array == nullptr) out += "(null array)";
            out += ']';
            break;
        }
        case qb_field_record_slots: {
            const auto* slots = reinterpret_cast<void* const*>(at(flat, f.offset));
            out += '{';
            bool first = true;
            for (size_t i = 0; i < f.size && out.size() < limit; ++i) {
                if (slots[i] == nullptr) continue;
                if (!first) out += ", ";
                first = false;
                out += std::to_string(i) + ":";
                describe_at(element_of(f), slots[i], out, exact);
            }
            out += '}';
            break;
        }
    }
}

void describe_at(const qb_record_info& info, const void* flat, std::string& out, bool exact) {
    out += info.name;
    out += '{';
    for (size_t i = 0; i < info.field_count && (exact || out.size() < kDumpLimit); ++i) {
        if (i != 0) out += ", ";
        describe_field(info.fields[i], flat, out, exact);
    }
    out += '}';
}

bool uses_kind_at(const qb_record_info& info, qb_field_kind kind, std::set<const qb_record_info*>& seen) {
    if (!seen.insert(&info).second) return false;
    for (size_t i = 0; i < info.field_count; ++i) {
        const qb_field_info& f = info.fields[i];
        if (f.kind == kind) return true;
        if (f.element != nullptr && f.element() != nullptr && uses_kind_at(*f.element(), kind, seen)) return true;
    }
    return false;
}

}  // namespace

// ---- random_source ----

std::uint64_t random_source::next() {
    std::uint64_t z = (state_ += 0x9E3779B97F4A7C15ull);
    z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ull;
    z = (z ^ (z >> 27)) * 0x94D049BB133111EBull;
    return z ^ (z >> 31);
}

std::uint32_t random_source::below(std::uint32_t n) {
    if (n == 0) return 0;
    return static_cast<std::uint32_t>(next() % n);
}

// ---- public functions ----

random_options filled_options(unsigned max_list, unsigned max_octets, bool complete) {
    random_options opt;
    opt.min_list = 1;
    opt.max_list = max_list;
    opt.deep_max_list = 1;
    opt.max_text = max_octets;
    opt.max_bytes = max_octets;
    opt.allow_absent = !complete;
    opt.allow_null_elements = !complete;
    opt.allow_negative_count = !complete;
    return opt;
}

void fill_random(const qb_record_info& info, void* flat, random_source& rnd, const random_options& opt, int depth) {
    for (size_t k = 0; k < info.field_count; ++k) {
        const qb_field_info& f = info.fields[k];
        switch (f.kind) {
            case qb_field_int: word<int>(flat, f.offset) = static_cast<int>(random_word(rnd)); break;
            case qb_field_uint: word<unsigned>(flat, f.offset) = random_word(rnd); break;
            case qb_field_long: {
                // The low 32 bits travel; the high ones are sometimes junk.
                long v = static_cast<long>(static_cast<std::int32_t>(random_word(rnd)));
                if (rnd.chance(1, 8))
                    v = static_cast<long>((rnd.next() << 32) | static_cast<std::uint32_t>(v));
                word<long>(flat, f.offset) = v;
                break;
            }
            case qb_field_ushort: word<unsigned short>(flat, f.offset) = static_cast<unsigned short>(random_word(rnd)); break;
            case qb_field_uchar: word<unsigned char>(flat, f.offset) = static_cast<unsigned char>(random_word(rnd)); break;
            case qb_field_text:
            case qb_field_text_octets: word<char*>(flat, f.offset) = random_text(rnd, opt); break;
            case qb_field_octets: {
                if (opt.allow_empty_bytes && rnd.chance(1, 4)) {
                    word<unsigned>(flat, f.offset) = 0;
                    word<unsigned char*>(flat, f.offset2) = nullptr;
                    break;
                }
                const unsigned n = 1 + rnd.below(opt.max_bytes != 0 ? opt.max_bytes : 1);
                auto* p = static_cast<unsigned char*>(checked_calloc(n, 1));
                for (unsigned i = 0; i < n; ++i) p[i] = static_cast<unsigned char>(rnd.next());
                word<unsigned>(flat, f.offset) = n;
                word<unsigned char*>(flat, f.offset2) = p;
                break;
            }
            case qb_field_fixed_octets: {
                auto* p = reinterpret_cast<unsigned char*>(at(flat, f.offset));
                const std::uint32_t style = rnd.below(4);
                for (size_t i = 0; i < f.size; ++i)
                    p[i] = style == 0 ? 0x00 : style == 1 ? 0xFF : static_cast<unsigned char>(rnd.next());
                break;
            }
            case qb_field_record: fill_random(element_of(f), at(flat, f.offset), rnd, opt, depth + 1); break;
            case qb_field_optional_record: {
                if (depth >= opt.max_depth || (opt.allow_absent && rnd.chance(1, 3))) {
                    word<void*>(flat, f.offset) = nullptr;
                    break;
                }
                const qb_record_info& e = element_of(f);
                void* p = checked_calloc(1, e.flat_size);
                word<void*>(flat, f.offset) = p;
                fill_random(e, p, rnd, opt, depth + 1);
                break;
            }
            case qb_field_record_list: {
                const qb_record_info& e = element_of(f);
                unsigned n = 0;
                char* array = static_cast<char*>(new_list(f, flat, e.flat_size, rnd, opt, depth, &n));
                for (unsigned i = 0; i < n; ++i) fill_random(e, array + i * e.flat_size, rnd, opt, depth + 1);
                break;
            }
            case qb_field_record_ptr_list: {
                const qb_record_info& e = element_of(f);
                unsigned n = 0;
                auto** array = static_cast<void**>(new_list(f, flat, sizeof(void*), rnd, opt, depth, &n));
                for (unsigned i = 0; i < n; ++i) {
                    if (opt.allow_null_elements && rnd.chance(1, 5)) continue;
                    array[i] = checked_calloc(1, e.flat_size);
                    fill_random(e, array[i], rnd, opt, depth + 1);
                }
                break;
            }
            case qb_field_text_list: {
                unsigned n = 0;
                auto** array = static_cast<char**>(new_list(f, flat, sizeof(char*), rnd, opt, depth, &n));
                for (unsigned i = 0; i < n; ++i) array[i] = random_text(rnd, opt);
                break;
            }
            case qb_field_int_list: {
                unsigned n = 0;
                auto* array = static_cast<int*>(new_list(f, flat, sizeof(int), rnd, opt, depth, &n));
                for (unsigned i = 0; i < n; ++i) array[i] = static_cast<int>(random_word(rnd));
                break;
            }
            case qb_field_record_slots: {
                auto** slots = reinterpret_cast<void**>(at(flat, f.offset));
                const qb_record_info& e = element_of(f);
                for (size_t i = 0; i < f.size; ++i) {
                    slots[i] = nullptr;
                    if (depth >= opt.max_depth || !rnd.chance(opt.slot_use, 100)) continue;
                    slots[i] = checked_calloc(1, e.flat_size);
                    fill_random(e, slots[i], rnd, opt, depth + 1);
                }
                break;
            }
        }
    }
}

void free_built(const qb_record_info& info, void* flat) {
    for (size_t k = 0; k < info.field_count; ++k) {
        const qb_field_info& f = info.fields[k];
        switch (f.kind) {
            case qb_field_int:
            case qb_field_uint:
            case qb_field_long:
            case qb_field_ushort:
            case qb_field_uchar:
            case qb_field_fixed_octets:
                break;
            case qb_field_text:
            case qb_field_text_octets: std::free(word<char*>(flat, f.offset)); break;
            case qb_field_octets: std::free(word<unsigned char*>(flat, f.offset2)); break;
            case qb_field_record: free_built(element_of(f), at(flat, f.offset)); break;
            case qb_field_optional_record: free_held(f, word<void*>(flat, f.offset)); break;
            case qb_field_record_list:
            case qb_field_record_ptr_list:
            case qb_field_text_list: {
                char* array = word<char*>(flat, f.offset2);
                const unsigned n = array == nullptr ? 0 : count_of(f, flat);
                for (unsigned i = 0; i < n; ++i) {
                    if (f.kind == qb_field_record_list)
                        free_built(element_of(f), array + i * element_of(f).flat_size);
                    else
                        free_held(f, reinterpret_cast<void**>(array)[i]);
                }
                std::free(array);
                break;
            }
            case qb_field_int_list: std::free(word<int*>(flat, f.offset2)); break;
            case qb_field_record_slots: {
                auto** slots = reinterpret_cast<void**>(at(flat, f.offset));
                for (size_t i = 0; i < f.size; ++i) free_held(f, slots[i]);
                break;
            }
        }
    }
}

bool records_equal(const qb_record_info& info, const void* a, const void* b, std::string* where) {
    return equal_at(info, a, b, info.name, where);
}

std::string decoded_shape(const qb_record_info& info, const void* flat) { return shape_at(info, flat, info.name); }

std::string image(const qb_record_info& info, const void* flat) {
    std::string out;
    describe_at(info, flat, out, true);
    return out;
}

std::string describe(const qb_record_info& info, const void* flat) {
    std::string out;
    describe_at(info, flat, out, false);
    if (out.size() > kDumpLimit) {
        out.resize(kDumpLimit);
        out += "...";
    }
    return out;
}

bool parse_exception_line(const std::string& text, exception_parts* out) {
    static const std::string lead = "Exception: ";
    static const std::string at_line = " at line ";
    if (text.size() < lead.size() + 1 || text.compare(0, lead.size(), lead) != 0) return false;
    if (text.back() != '\n' || text.find('\n') != text.size() - 1) return false;
    const size_t at = text.rfind(at_line);
    if (at == std::string::npos) return false;
    const std::string digits = text.substr(at + at_line.size(), text.size() - 1 - (at + at_line.size()));
    if (digits.empty() || digits.size() > 9 || digits.find_first_not_of("0123456789") != std::string::npos) return false;
    const size_t in = text.rfind(" in ", at);
    if (in == std::string::npos || in < lead.size() + 11) return false;
    const std::string file = text.substr(in + 4, at - (in + 4));
    if (file.empty() || file.find(' ') != std::string::npos) return false;
    // "<message> [xxxxxxxx]" before " in ".
    if (text[in - 1] != ']' || text.compare(in - 11, 2, " [") != 0) return false;
    const std::string code = text.substr(in - 9, 8);
    if (code.find_first_not_of("0123456789abcdef") != std::string::npos) return false;
    if (out != nullptr) {
        out->message = text.substr(lead.size(), in - 11 - lead.size());
        out->code = code;
        out->file = file;
        out->line = std::stoi(digits);
    }
    return true;
}

bool uses_kind(const qb_record_info& info, qb_field_kind kind) {
    std::set<const qb_record_info*> seen;
    return uses_kind_at(info, kind, seen);
}

}  // namespace qb_test
