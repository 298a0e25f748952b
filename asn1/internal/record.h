// asn1/internal/record.h - the generic record walkers.
//
// Each record is described once, as a list of field descriptors in wire
// order; each descriptor ties one member object of the record class to the
// flat-record field(s) it travels in. From that one list come the
// constructor's registration, set_value, get_value, free_obj, the reflection
// table and the five entry points (see QB_RECORD below and docs/records.md).
//
// Not installed: used by the record sources only.
#ifndef QBASN_INTERNAL_RECORD_H
#define QBASN_INTERNAL_RECORD_H

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>
#include <tuple>
#include <type_traits>
#include <utility>

#include "asn1/asnbase.h"
#include "asn1/asnrecord.h"
#include "asn1/asnstrng.h"
#include "asn1/asnutils.h"
#include "asn1/internal/deep.h"
#include "asn1/internal/direct.h"
#include "asn1/internal/utf8text.h"

namespace qb::rec {

namespace d = ::qb::direct;

// QB_DIRECT_FRAME: each member's reader keeps its own stack frame, so that a
// record's reader is a row of small calls and the frames that stay on the
// stack while a recursive record reads its children are only those of the
// members on the path down (a record whose member readers were all inlined
// would carry the locals of every member at every level).
#define QB_DIRECT_FRAME [[gnu::noinline]]

// The flat-record text and list failures (code 0x10652065).
inline constexpr const char* kMemoryError = "ASN: Memory error";
inline constexpr const char* kOutOfMemory = "ASN: Out of memory";

[[noreturn]] inline void throw_memory(const char* file, int line, const char* message) {
    throw qb_asn_memexception(file, line, message);
}

// report: the one line every boundary prints for an exception it stops.
inline void report(const qb_asn_exception& e) {
    std::fprintf(stderr, "Exception: %s [%8.8x] in %s at line %d\n", e.message, e.code, e.file, e.line);
}

// Byte offset of a flat-record field (flat records are plain structures).
template <class Flat, class F>
size_t offset_of(F Flat::*field) {
    static const Flat probe{};
    return static_cast<size_t>(reinterpret_cast<const char*>(&(probe.*field)) -
                               reinterpret_cast<const char*>(&probe));
}

// Lines of the throws a field can make: set_value's element failure,
// get_value's array allocation and its missing child. By default the line of
// the record's description; a record may state its own.
struct lines {
    int set = 0;
    int alloc = 0;
    int child = 0;
};

// Common to every descriptor: the member, its name, flags and throw lines.
template <class Rec, class M>
struct member_base {
    M Rec::*member;
    const char* name;
    bool is_optional = false;
    lines at{};
    const char* count_name = nullptr;  // the count or length field of a pair

    void attach(Rec& rec) const {
        rec.register_child(&(rec.*member));
        if (is_optional) (rec.*member).set_optional(1);  // marked right after its registration
    }
};

// ---- scalar members ----

// integer: an int, unsigned, long, unsigned short or unsigned char word.
template <class Flat, class Rec, class F>
struct integer_field : member_base<Rec, qbasn_integer> {
    F Flat::*field;

    unsigned int set(Rec& rec, Flat& r, const char*) const {
        return (rec.*(this->member)).set_value(static_cast<long>(r.*field));
    }
    unsigned int get(Rec& rec, Flat& r, const char*) const {
        const qbasn_integer& m = rec.*(this->member);
        if constexpr (std::is_same_v<F, unsigned int>) {
            unsigned long v = 0;
            m.get_value(v);
            r.*field = static_cast<unsigned int>(v);
        } else if constexpr (std::is_same_v<F, unsigned short> || std::is_same_v<F, unsigned char>) {
            m.get_value(r.*field);  // the narrow getters truncate
        } else {
            long v = 0;
            m.get_value(v);
            r.*field = static_cast<F>(v);
        }
        return 0;
    }
    void release(Flat&) const {}

    // Direct path: an INTEGER frame of the word's low 32 bits; on reading,
    // the value as qbasn_integer's getters give it (0 when unreadable).
    uint32_t wire(const Flat& r) const { return static_cast<uint32_t>(static_cast<long>(r.*field)); }
    unsigned int dsize(const Flat& r, size_t& total, d::text_mode) const {
        total += d::integer_frame_size(wire(r));
        return 0;
    }
    void dwrite(const Flat& r, d::writer& w, d::text_mode) const { w.integer(wire(r)); }
    template <bool Fill>
    QB_DIRECT_FRAME unsigned int dread(d::view& v, Flat* r, bool, const char*) const {
        d::frame f;
        if (unsigned int rc = d::open(v, 2, d::prim_ok, false, f); rc != 0) return rc;
        if constexpr (Fill) r->*field = static_cast<F>(d::integer_of(f));
        return d::close(v, f, d::after_primitive(f));
    }

    qb_field_info info() const {
        qb_field_kind k = std::is_same_v<F, unsigned int>     ? qb_field_uint
                          : std::is_same_v<F, long>           ? qb_field_long
                          : std::is_same_v<F, unsigned short> ? qb_field_ushort
                          : std::is_same_v<F, unsigned char>  ? qb_field_uchar
                                                              : qb_field_int;
        return {this->name, k, offset_of(field), 0, 0, 0, this->is_optional, nullptr, this->count_name};
    }
};

// text: a char* through a qbasnUTF8String (null stores the empty text).
template <class Flat, class Rec>
struct text_field : member_base<Rec, qbasnUTF8String> {
    char* Flat::*field;

    unsigned int set(Rec& rec, Flat& r, const char*) const {
        return (rec.*(this->member)).set_value(static_cast<const char*>(r.*field));
    }
    unsigned int get(Rec& rec, Flat& r, const char* file) const {
        // A text that cannot be allocated is a memory failure of the record.
        if ((rec.*(this->member)).get_value(r.*field) != 0) throw_memory(file, this->at.alloc, kOutOfMemory);
        return 0;
    }
    void release(Flat& r) const { std::free(r.*field); }

    // Direct path: a UTF8String frame (null stores the empty text).
    unsigned int dsize(const Flat& r, size_t& total, d::text_mode lcs) const {
        total += d::text_frame_size(r.*field, lcs);
        return 0;
    }
    void dwrite(const Flat& r, d::writer& w, d::text_mode lcs) const { w.text(r.*field, lcs); }
    template <bool Fill>
    QB_DIRECT_FRAME unsigned int dread(d::view& v, Flat* r, bool lcs, const char* file) const {
        d::frame f;
        if (unsigned int rc = d::open(v, 12, d::prim_ok, false, f); rc != 0) return rc;
        if constexpr (Fill) {
            // A text that cannot be allocated is a memory failure of the record.
            if (qb::detail::utf8_text_copy(f.content.p, f.length, lcs, r->*field) != 0)
                throw_memory(file, this->at.alloc, kOutOfMemory);
        }
        return d::close(v, f, d::after_primitive(f));
    }

    qb_field_info info() const {
        return {this->name, qb_field_text, offset_of(field), 0, 0, 0, this->is_optional, nullptr, this->count_name};
    }
};

// octets: an (unsigned length, unsigned char* data) pair through a qbasn_octetstring.
template <class Flat, class Rec>
struct octets_field : member_base<Rec, qbasn_octetstring> {
    unsigned int Flat::*length;
    unsigned char* Flat::*data;

    unsigned int set(Rec& rec, Flat& r, const char*) const {
        return (rec.*(this->member)).qb_asn_octetstring::set_value(r.*data, r.*length);
    }
    unsigned int get(Rec& rec, Flat& r, const char*) const {
        unsigned long n = 0;
        (rec.*(this->member)).get_value(r.*data, n);  // a malloc'ed copy; throws when it cannot
        r.*length = static_cast<unsigned int>(n);
        return 0;
    }
    void release(Flat& r) const { std::free(r.*data); }

    // Direct path: an OCTET STRING frame; data null with a nonzero length is
    // refused with 0x1065219C, as the member's setter refuses it. On reading,
    // a malloc'ed copy of at least one octet.
    unsigned int dsize(const Flat& r, size_t& total, d::text_mode) const {
        if (r.*data == nullptr && r.*length != 0) return ::qb::detail::kNoSuchElement;
        total += d::frame_size(r.*length);
        return 0;
    }
    void dwrite(const Flat& r, d::writer& w, d::text_mode) const {
        w.put(r.*data, r.*length);
        w.header(0x04, r.*length);
    }
    template <bool Fill>
    QB_DIRECT_FRAME unsigned int dread(d::view& v, Flat* r, bool, const char* file) const {
        d::frame f;
        if (unsigned int rc = d::open(v, 4, d::prim_ok, false, f); rc != 0) return rc;
        if constexpr (Fill) {
            auto* copy = static_cast<unsigned char*>(std::malloc(f.length != 0 ? f.length : 1));
            if (copy == nullptr) throw_memory(file, this->at.alloc, kOutOfMemory);
            if (f.length != 0) std::memcpy(copy, f.content.p, f.length);
            r->*data = copy;
            r->*length = f.length;
        }
        return d::close(v, f, d::after_primitive(f));
    }

    qb_field_info info() const {
        return {this->name, qb_field_octets, offset_of(length), offset_of(data), 0, 0, this->is_optional, nullptr, this->count_name};
    }
};

// fixed_octets: N bytes held inline (a UUID's node).
template <class Flat, class Rec, size_t N>
struct fixed_octets_field : member_base<Rec, qbasn_octetstring> {
    unsigned char (Flat::*field)[N];

    unsigned int set(Rec& rec, Flat& r, const char*) const {
        return (rec.*(this->member)).qb_asn_octetstring::set_value(r.*field, static_cast<unsigned int>(N));
    }
    unsigned int get(Rec& rec, Flat& r, const char*) const {
        // Exactly N bytes; a shorter decoded value leaves zeros after it.
        (rec.*(this->member)).get_value(static_cast<unsigned long>(N), r.*field);
        return 0;
    }
    void release(Flat&) const {}

    // Direct path: an OCTET STRING frame of N octets; on reading, what the
    // frame holds, cut to N or followed by zeros.
    unsigned int dsize(const Flat&, size_t& total, d::text_mode) const {
        total += d::frame_size(N);
        return 0;
    }
    void dwrite(const Flat& r, d::writer& w, d::text_mode) const {
        w.put(r.*field, N);
        w.header(0x04, N);
    }
    template <bool Fill>
    QB_DIRECT_FRAME unsigned int dread(d::view& v, Flat* r, bool, const char*) const {
        d::frame f;
        if (unsigned int rc = d::open(v, 4, d::prim_ok, false, f); rc != 0) return rc;
        if constexpr (Fill) {
            const size_t copied = f.length < N ? f.length : N;
            if (copied != 0) std::memcpy(r->*field, f.content.p, copied);
            if (N > copied) std::memset(r->*field + copied, 0, N - copied);
        }
        return d::close(v, f, d::after_primitive(f));
    }

    qb_field_info info() const {
        return {this->name, qb_field_fixed_octets, offset_of(field), 0, N, 0, this->is_optional, nullptr, this->count_name};
    }
};

// ---- direct path: nested records and lists ----

// rec_size / rec_write: a nested record's whole frame (SEQUENCE).
template <class SubRec, class Sub>
unsigned int rec_size(const Sub& sub, size_t& total, d::text_mode lcs) {
    size_t content = 0;
    if (unsigned int rc = SubRec::direct_size(sub, content, lcs); rc != 0) return rc;
    total += d::frame_size(content);
    return 0;
}

template <class SubRec, class Sub>
void rec_write(const Sub& sub, d::writer& w, d::text_mode lcs) {
    unsigned char* const end = w.cur;
    SubRec::direct_write(sub, w, lcs);
    w.header(0x30, static_cast<size_t>(end - w.cur));
}

// record_here: an optional record's frame starts at v (input read once
// already): its identifier is a SEQUENCE's.
inline bool record_here(const d::view& v) {
    d::view probe = v;
    d::frame f;
    return d::open(probe, 16, d::cons_ok | d::indef_ok, true, f) == 0 && !f.absent;
}

// read_list: reads a SEQUENCE OF frame at v as the object tree's list does:
// elements until the content ends (an element that reads nothing is
// malformed), each through `element(view, index)`. In the filling pass
// `make(n)` first receives the number of elements.
template <bool Fill, class Make, class Element>
unsigned int read_list(d::view& v, Make make, Element element) {
    d::frame f;
    if (unsigned int rc = d::open(v, 16, d::cons_ok | d::indef_ok, false, f); rc != 0) return rc;
    d::view in = f.content;
    if constexpr (Fill) {
        const unsigned int n = d::count_frames(f);
        if (n != 0) make(n);
    }
    for (unsigned int i = 0; f.indefinite ? !d::at_eoc(in) : in.n != 0; ++i) {
        const unsigned int before = in.n;
        unsigned int rc = element(in, i);
        if (rc == 0 && in.n == before) rc = ::qb::detail::kMalformed;
        if (rc != 0) return rc;
    }
    return d::close(v, f, in);
}

// write_list: the SEQUENCE OF frame of n elements, each written (backwards)
// by `element(i)`.
template <class Element>
void write_list(d::writer& w, unsigned int n, Element element) {
    unsigned char* const end = w.cur;
    for (unsigned int i = n; i-- > 0;) element(i);
    w.header(0x30, static_cast<size_t>(end - w.cur));
}

// ---- nested records ----

// record: a nested flat record held by value.
template <class Flat, class Rec, class Sub, class SubRec>
struct record_field : member_base<Rec, SubRec> {
    Sub Flat::*field;

    unsigned int set(Rec& rec, Flat& r, const char*) const {
        return static_cast<unsigned int>((rec.*(this->member)).set_value(r.*field));
    }
    unsigned int get(Rec& rec, Flat& r, const char*) const {
        return static_cast<unsigned int>((rec.*(this->member)).get_value(r.*field));
    }
    void release(Flat& r) const { SubRec::free_obj(r.*field); }

    // Direct path: the nested record's frame.
    unsigned int dsize(const Flat& r, size_t& total, d::text_mode lcs) const { return rec_size<SubRec>(r.*field, total, lcs); }
    void dwrite(const Flat& r, d::writer& w, d::text_mode lcs) const { rec_write<SubRec>(r.*field, w, lcs); }
    template <bool Fill>
    QB_DIRECT_FRAME unsigned int dread(d::view& v, Flat* r, bool lcs, const char*) const {
        bool absent = false;
        if constexpr (Fill) return SubRec::direct_fill(v, r->*field, lcs, false, absent);
        else return SubRec::direct_check(v, lcs, false, absent);
    }

    qb_field_info info() const {
        return {this->name, qb_field_record, offset_of(field), 0, 0, 0, this->is_optional, &reflect_of, this->count_name};
    }
    static const qb_record_info* reflect_of() { return &SubRec::reflect(); }
};

// optional_record: a nested flat record held by pointer; null when absent.
template <class Flat, class Rec, class Sub, class SubRec>
struct optional_record_field : member_base<Rec, SubRec> {
    Sub* Flat::*field;

    unsigned int set(Rec& rec, Flat& r, const char*) const {
        if (r.*field == nullptr) {
            // Made absent, so it is not written: a record whose members are
            // all lists (valid while empty) is present from its construction.
            (rec.*(this->member)).invalidate_value(invalidate_local);
            return 0;
        }
        return static_cast<unsigned int>((rec.*(this->member)).set_value(*(r.*field)));
    }
    unsigned int get(Rec& rec, Flat& r, const char* file) const {
        SubRec& m = rec.*(this->member);
        if (!m.is_present()) return 0;
        auto* sub = static_cast<Sub*>(std::malloc(sizeof(Sub)));
        if (sub == nullptr) throw_memory(file, this->at.alloc, kOutOfMemory);
        std::memset(sub, 0, sizeof(Sub));  // freeable whatever the nested get_value reaches
        r.*field = sub;
        return static_cast<unsigned int>(m.get_value(*sub));
    }
    void release(Flat& r) const {
        if (r.*field == nullptr) return;
        SubRec::free_obj(*(r.*field));
        std::free(r.*field);
    }

    // Direct path: the nested record's frame, or nothing for a null pointer;
    // on reading, absent when the identifier there is not a SEQUENCE's.
    unsigned int dsize(const Flat& r, size_t& total, d::text_mode lcs) const {
        return r.*field == nullptr ? 0 : rec_size<SubRec>(*(r.*field), total, lcs);
    }
    void dwrite(const Flat& r, d::writer& w, d::text_mode lcs) const {
        if (r.*field != nullptr) rec_write<SubRec>(*(r.*field), w, lcs);
    }
    template <bool Fill>
    QB_DIRECT_FRAME unsigned int dread(d::view& v, Flat* r, bool lcs, const char* file) const {
        bool absent = false;
        if constexpr (Fill) {
            if (!record_here(v)) return 0;
            auto* sub = static_cast<Sub*>(std::malloc(sizeof(Sub)));
            if (sub == nullptr) throw_memory(file, this->at.alloc, kOutOfMemory);
            std::memset(sub, 0, sizeof(Sub));  // freeable whatever the nested read reaches
            r->*field = sub;
            return SubRec::direct_fill(v, *sub, lcs, true, absent);
        } else {
            return SubRec::direct_check(v, lcs, true, absent);
        }
    }

    qb_field_info info() const {
        return {this->name, qb_field_optional_record, offset_of(field), 0, 0, 0, 1, &reflect_of, this->count_name};
    }
    static const qb_record_info* reflect_of() { return &SubRec::reflect(); }
};

// ---- lists ----

// How set_value makes a list element: with `new` and register_child, or by
// asking the list itself (add_child). The records state which.
enum class make { with_new, with_add_child };

// Adds one element to a list; a failure throws "ASN: Memory error" (an
// element that cannot be registered is deleted first, so nothing leaks).
template <class E>
E* add_element(qb_asn_sequenceof<E>& list, make how, const char* file, int line) {
    if (how == make::with_add_child) {
        E* e = list.add_child();
        if (e == nullptr) throw_memory(file, line, kMemoryError);
        return e;
    }
    E* e = new (std::nothrow) E(list.security);
    if (e == nullptr) throw_memory(file, line, kMemoryError);
    try {
        if (list.register_child(e) != 0) throw_memory(file, line, kMemoryError);
    } catch (...) {
        delete e;
        throw;
    }
    return e;
}

// Loops over a flat count, which some records hold as a signed int: a
// negative count counts as none.
template <class C>
unsigned int count_of(C c) {
    if constexpr (std::is_signed_v<C>) return c < 0 ? 0u : static_cast<unsigned int>(c);
    return static_cast<unsigned int>(c);
}

// Allocates a zeroed flat array of n elements for get_value.
template <class T>
T* alloc_array(unsigned int n, const char* file, int line) {
    auto* p = static_cast<T*>(std::calloc(n, sizeof(T)));
    if (p == nullptr) throw_memory(file, line, kMemoryError);
    return p;
}

// Fetches child i of a list being read into a flat array; a missing one is a memory error.
template <class E>
E& child_of(const qb_asn_sequenceof<E>& list, unsigned int i, const char* file, int line) {
    E* e = list.get_element(i);
    if (e == nullptr) throw_memory(file, line, kMemoryError);
    return *e;
}

// record_list: (count, pointer to `count` contiguous flat records).
template <class Flat, class Rec, class C, class Sub, class SubRec>
struct record_list_field : member_base<Rec, qb_asn_sequenceof<SubRec>> {
    C Flat::*count;
    Sub* Flat::*array;
    make how = make::with_new;

    unsigned int set(Rec& rec, Flat& r, const char* file) const {
        auto& list = rec.*(this->member);
        const unsigned int n = count_of(r.*count);
        for (unsigned int i = 0; i < n; ++i) {
            unsigned int rc = static_cast<unsigned int>(add_element(list, how, file, this->at.set)->set_value((r.*array)[i]));
            if (rc != 0) return rc;
        }
        return 0;
    }
    unsigned int get(Rec& rec, Flat& r, const char* file) const {
        auto& list = rec.*(this->member);
        const unsigned int n = list.get_child_count();
        if (n == 0) return 0;
        r.*array = alloc_array<Sub>(n, file, this->at.alloc);
        for (unsigned int i = 0; i < n; ++i) {
            SubRec& e = child_of(list, i, file, this->at.child);
            try {
                unsigned int rc = static_cast<unsigned int>(e.get_value((r.*array)[i]));
                if (rc != 0) {
                    SubRec::free_obj((r.*array)[i]);
                    return rc;
                }
            } catch (...) {
                // The count tells how many elements were filled; this one was
                // not, so what it holds already is released here.
                SubRec::free_obj((r.*array)[i]);
                std::memset(&(r.*array)[i], 0, sizeof(Sub));
                throw;
            }
            r.*count = static_cast<C>(r.*count + 1);
        }
        return 0;
    }
    void release(Flat& r) const {
        const unsigned int n = count_of(r.*count);
        if (r.*array != nullptr)
            for (unsigned int i = 0; i < n; ++i) SubRec::free_obj((r.*array)[i]);
        std::free(r.*array);
    }

    // Direct path. A nonzero count with a null array is refused with
    // 0x1065219C (the object tree would read through the null pointer).
    unsigned int dsize(const Flat& r, size_t& total, d::text_mode lcs) const {
        const unsigned int n = count_of(r.*count);
        if (n != 0 && r.*array == nullptr) return ::qb::detail::kNoSuchElement;
        size_t content = 0;
        for (unsigned int i = 0; i < n; ++i)
            if (unsigned int rc = rec_size<SubRec>((r.*array)[i], content, lcs); rc != 0) return rc;
        total += d::frame_size(content);
        return 0;
    }
    void dwrite(const Flat& r, d::writer& w, d::text_mode lcs) const {
        write_list(w, count_of(r.*count), [&](unsigned int i) { rec_write<SubRec>((r.*array)[i], w, lcs); });
    }
    template <bool Fill>
    QB_DIRECT_FRAME unsigned int dread(d::view& v, Flat* r, bool lcs, const char* file) const {
        Sub* elements = nullptr;
        return read_list<Fill>(
            v, [&](unsigned int n) { r->*array = elements = alloc_array<Sub>(n, file, this->at.alloc); },
            [&](d::view& in, unsigned int i) -> unsigned int {
                bool absent = false;
                if constexpr (!Fill) {
                    return SubRec::direct_check(in, lcs, false, absent);
                } else {
                    unsigned int rc;
                    try {
                        rc = SubRec::direct_fill(in, elements[i], lcs, false, absent);
                    } catch (...) {
                        // Not counted yet: what it holds is released here.
                        SubRec::free_obj(elements[i]);
                        std::memset(&elements[i], 0, sizeof(Sub));
                        throw;
                    }
                    if (rc != 0) {
                        SubRec::free_obj(elements[i]);
                        return rc;
                    }
                    r->*count = static_cast<C>(r->*count + 1);
                    return 0;
                }
            });
    }

    qb_field_info info() const {
        return {this->name, qb_field_record_list, offset_of(count), offset_of(array), 0,
                std::is_signed_v<C> ? 1 : 0, this->is_optional, &reflect_of, this->count_name};
    }
    static const qb_record_info* reflect_of() { return &SubRec::reflect(); }
};

// record_ptr_list: (count, pointer to `count` pointers, one flat record each).
template <class Flat, class Rec, class C, class Sub, class SubRec>
struct record_ptr_list_field : member_base<Rec, qb_asn_sequenceof<SubRec>> {
    C Flat::*count;
    Sub** Flat::*array;
    make how = make::with_new;

    unsigned int set(Rec& rec, Flat& r, const char* file) const {
        auto& list = rec.*(this->member);
        const unsigned int n = count_of(r.*count);
        for (unsigned int i = 0; i < n; ++i) {
            Sub* p = (r.*array)[i];
            Sub empty_record{};  // a null pointer travels as an empty record
            unsigned int rc = static_cast<unsigned int>(
                add_element(list, how, file, this->at.set)->set_value(p != nullptr ? *p : empty_record));
            if (rc != 0) return rc;
        }
        return 0;
    }
    unsigned int get(Rec& rec, Flat& r, const char* file) const {
        auto& list = rec.*(this->member);
        const unsigned int n = list.get_child_count();
        if (n == 0) return 0;
        r.*array = alloc_array<Sub*>(n, file, this->at.alloc);
        for (unsigned int i = 0; i < n; ++i) {
            SubRec& e = child_of(list, i, file, this->at.child);
            Sub* p = alloc_array<Sub>(1, file, this->at.alloc);
            (r.*array)[i] = p;
            try {
                unsigned int rc = static_cast<unsigned int>(e.get_value(*p));
                if (rc != 0) {
                    SubRec::free_obj(*p);
                    std::free(p);
                    (r.*array)[i] = nullptr;
                    return rc;
                }
            } catch (...) {
                SubRec::free_obj(*p);  // not counted yet: released here
                std::free(p);
                (r.*array)[i] = nullptr;
                throw;
            }
            r.*count = static_cast<C>(r.*count + 1);
        }
        return 0;
    }
    void release(Flat& r) const {
        const unsigned int n = count_of(r.*count);
        if (r.*array != nullptr) {
            for (unsigned int i = 0; i < n; ++i) {
                Sub* p = (r.*array)[i];
                if (p == nullptr) continue;
                SubRec::free_obj(*p);
                std::free(p);
            }
        }
        std::free(r.*array);
    }

    // Direct path: a null element travels as an empty record.
    unsigned int dsize(const Flat& r, size_t& total, d::text_mode lcs) const {
        const unsigned int n = count_of(r.*count);
        if (n != 0 && r.*array == nullptr) return ::qb::detail::kNoSuchElement;
        const Sub empty_record{};
        size_t content = 0;
        for (unsigned int i = 0; i < n; ++i) {
            const Sub* p = (r.*array)[i];
            if (unsigned int rc = rec_size<SubRec>(p != nullptr ? *p : empty_record, content, lcs); rc != 0) return rc;
        }
        total += d::frame_size(content);
        return 0;
    }
    void dwrite(const Flat& r, d::writer& w, d::text_mode lcs) const {
        const Sub empty_record{};
        write_list(w, count_of(r.*count), [&](unsigned int i) {
            const Sub* p = (r.*array)[i];
            rec_write<SubRec>(p != nullptr ? *p : empty_record, w, lcs);
        });
    }
    template <bool Fill>
    QB_DIRECT_FRAME unsigned int dread(d::view& v, Flat* r, bool lcs, const char* file) const {
        Sub** elements = nullptr;
        return read_list<Fill>(
            v, [&](unsigned int n) { r->*array = elements = alloc_array<Sub*>(n, file, this->at.alloc); },
            [&](d::view& in, unsigned int i) -> unsigned int {
                bool absent = false;
                if constexpr (!Fill) {
                    return SubRec::direct_check(in, lcs, false, absent);
                } else {
                    Sub* p = alloc_array<Sub>(1, file, this->at.alloc);
                    elements[i] = p;
                    unsigned int rc;
                    try {
                        rc = SubRec::direct_fill(in, *p, lcs, false, absent);
                    } catch (...) {
                        SubRec::free_obj(*p);  // not counted yet: released here
                        std::free(p);
                        elements[i] = nullptr;
                        throw;
                    }
                    if (rc != 0) {
                        SubRec::free_obj(*p);
                        std::free(p);
                        elements[i] = nullptr;
                        return rc;
                    }
                    r->*count = static_cast<C>(r->*count + 1);
                    return 0;
                }
            });
    }

    qb_field_info info() const {
        return {this->name, qb_field_record_ptr_list, offset_of(count), offset_of(array), 0,
                std::is_signed_v<C> ? 1 : 0, this->is_optional, &reflect_of, this->count_name};
    }
    static const qb_record_info* reflect_of() { return &SubRec::reflect(); }
};

// text_list: (count, char** texts) through a SEQUENCE OF qbasnUTF8String.
template <class Flat, class Rec, class C>
struct text_list_field : member_base<Rec, qb_asn_sequenceof<qbasnUTF8String>> {
    C Flat::*count;
    char** Flat::*array;
    make how = make::with_new;

    unsigned int set(Rec& rec, Flat& r, const char* file) const {
        auto& list = rec.*(this->member);
        const unsigned int n = count_of(r.*count);
        for (unsigned int i = 0; i < n; ++i) {
            unsigned int rc = add_element(list, how, file, this->at.set)->set_value(static_cast<const char*>((r.*array)[i]));
            if (rc != 0) return rc;
        }
        return 0;
    }
    unsigned int get(Rec& rec, Flat& r, const char* file) const {
        auto& list = rec.*(this->member);
        const unsigned int n = list.get_child_count();
        if (n == 0) return 0;
        r.*array = alloc_array<char*>(n, file, this->at.alloc);
        for (unsigned int i = 0; i < n; ++i) {
            qbasnUTF8String& e = child_of(list, i, file, this->at.child);
            if (e.get_value((r.*array)[i]) != 0) throw_memory(file, this->at.alloc, kMemoryError);
            r.*count = static_cast<C>(r.*count + 1);
        }
        return 0;
    }
    void release(Flat& r) const {
        const unsigned int n = count_of(r.*count);
        if (r.*array != nullptr)
            for (unsigned int i = 0; i < n; ++i) std::free((r.*array)[i]);
        std::free(r.*array);
    }

    // Direct path: UTF8String elements (a null text is the empty text).
    unsigned int dsize(const Flat& r, size_t& total, d::text_mode lcs) const {
        const unsigned int n = count_of(r.*count);
        if (n != 0 && r.*array == nullptr) return ::qb::detail::kNoSuchElement;
        size_t content = 0;
        for (unsigned int i = 0; i < n; ++i) content += d::text_frame_size((r.*array)[i], lcs);
        total += d::frame_size(content);
        return 0;
    }
    void dwrite(const Flat& r, d::writer& w, d::text_mode lcs) const {
        write_list(w, count_of(r.*count), [&](unsigned int i) { w.text((r.*array)[i], lcs); });
    }
    template <bool Fill>
    QB_DIRECT_FRAME unsigned int dread(d::view& v, Flat* r, bool lcs, const char* file) const {
        char** texts = nullptr;
        return read_list<Fill>(
            v, [&](unsigned int n) { r->*array = texts = alloc_array<char*>(n, file, this->at.alloc); },
            [&](d::view& in, unsigned int i) -> unsigned int {
                d::frame f;
                if (unsigned int rc = d::open(in, 12, d::prim_ok, false, f); rc != 0) return rc;
                if constexpr (Fill) {
                    if (qb::detail::utf8_text_copy(f.content.p, f.length, lcs, texts[i]) != 0)
                        throw_memory(file, this->at.alloc, kMemoryError);
                    r->*count = static_cast<C>(r->*count + 1);
                }
                return d::close(in, f, d::after_primitive(f));
            });
    }

    qb_field_info info() const {
        return {this->name, qb_field_text_list, offset_of(count), offset_of(array), 0,
                std::is_signed_v<C> ? 1 : 0, this->is_optional, nullptr, this->count_name};
    }
};

// int_list: (count, int* values) through a SEQUENCE OF qbasn_integer.
template <class Flat, class Rec, class C>
struct int_list_field : member_base<Rec, qb_asn_sequenceof<qbasn_integer>> {
    C Flat::*count;
    int* Flat::*array;
    make how = make::with_new;

    unsigned int set(Rec& rec, Flat& r, const char* file) const {
        auto& list = rec.*(this->member);
        const unsigned int n = count_of(r.*count);
        for (unsigned int i = 0; i < n; ++i) {
            unsigned int rc = add_element(list, how, file, this->at.set)->set_value(static_cast<long>((r.*array)[i]));
            if (rc != 0) return rc;
        }
        return 0;
    }
    unsigned int get(Rec& rec, Flat& r, const char* file) const {
        auto& list = rec.*(this->member);
        const unsigned int n = list.get_child_count();
        if (n == 0) return 0;
        r.*array = alloc_array<int>(n, file, this->at.alloc);
        for (unsigned int i = 0; i < n; ++i) {
            (r.*array)[i] = static_cast<int>(qb_intvalue(child_of(list, i, file, this->at.child)));
            r.*count = static_cast<C>(r.*count + 1);
        }
        return 0;
    }
    void release(Flat& r) const { std::free(r.*array); }

    // Direct path: INTEGER elements.
    unsigned int dsize(const Flat& r, size_t& total, d::text_mode) const {
        const unsigned int n = count_of(r.*count);
        if (n != 0 && r.*array == nullptr) return ::qb::detail::kNoSuchElement;
        size_t content = 0;
        for (unsigned int i = 0; i < n; ++i)
            content += d::integer_frame_size(static_cast<uint32_t>(static_cast<long>((r.*array)[i])));
        total += d::frame_size(content);
        return 0;
    }
    void dwrite(const Flat& r, d::writer& w, d::text_mode) const {
        write_list(w, count_of(r.*count),
                   [&](unsigned int i) { w.integer(static_cast<uint32_t>(static_cast<long>((r.*array)[i]))); });
    }
    template <bool Fill>
    QB_DIRECT_FRAME unsigned int dread(d::view& v, Flat* r, bool, const char* file) const {
        int* values = nullptr;
        return read_list<Fill>(
            v, [&](unsigned int n) { r->*array = values = alloc_array<int>(n, file, this->at.alloc); },
            [&](d::view& in, unsigned int i) -> unsigned int {
                d::frame f;
                if (unsigned int rc = d::open(in, 2, d::prim_ok, false, f); rc != 0) return rc;
                if constexpr (Fill) {
                    values[i] = static_cast<int>(d::integer_of(f));
                    r->*count = static_cast<C>(r->*count + 1);
                }
                return d::close(in, f, d::after_primitive(f));
            });
    }

    qb_field_info info() const {
        return {this->name, qb_field_int_list, offset_of(count), offset_of(array), 0,
                std::is_signed_v<C> ? 1 : 0, this->is_optional, nullptr, this->count_name};
    }
};

// record_slots: N pointers held inline, each null (an empty slot, NULL on the
// wire) or pointing at one flat record; an array-of on the wire.
template <class Flat, class Rec, class Sub, class SubRec, size_t N>
struct record_slots_field : member_base<Rec, qb_asn_arrayof<SubRec>> {
    Sub* (Flat::*slots)[N];

    unsigned int set(Rec& rec, Flat& r, const char* file) const {
        auto& array = rec.*(this->member);
        for (unsigned int i = 0; i < N; ++i) {
            Sub* p = (r.*slots)[i];
            if (p == nullptr) continue;
            // Empty slots before a used one keep their places as NULL elements.
            while (array.list.get_child_count() < i) {
                auto* hole = array.list.add_child();
                if (hole == nullptr || hole->select(0) != 0) throw_memory(file, this->at.set, kMemoryError);
            }
            auto* slot = array.list.add_child();
            if (slot == nullptr || slot->select(1) != 0 || slot->selected() != 1)
                throw_memory(file, this->at.set, kMemoryError);
            unsigned int rc = static_cast<unsigned int>(slot->value.set_value(*p));
            if (rc != 0) return rc;
        }
        return 0;
    }
    unsigned int get(Rec& rec, Flat& r, const char* file) const {
        auto& array = rec.*(this->member);
        const unsigned int n = array.list.get_child_count();
        for (unsigned int i = 0; i < N && i < n; ++i) {  // elements past the last slot are dropped
            auto* slot = array.get_slot(i);
            if (slot == nullptr || slot->selected() != 1) continue;
            Sub* p = alloc_array<Sub>(1, file, this->at.alloc);
            (r.*slots)[i] = p;
            unsigned int rc = static_cast<unsigned int>(slot->value.get_value(*p));
            if (rc != 0) return rc;
        }
        return 0;
    }
    void release(Flat& r) const {
        for (unsigned int i = 0; i < N; ++i) {
            Sub* p = (r.*slots)[i];
            if (p == nullptr) continue;
            SubRec::free_obj(*p);
            std::free(p);
        }
    }

    // Direct path: a SEQUENCE OF slots up to the last used one, each NULL
    // (empty) or the record. On reading, each element is the CHOICE of the
    // object tree's array: NULL when a NULL reads there, else the record,
    // else 0x106521A4 whatever went wrong inside either.
    unsigned int used_slots(const Flat& r) const {
        unsigned int used = 0;
        for (unsigned int i = 0; i < N; ++i)
            if ((r.*slots)[i] != nullptr) used = i + 1;
        return used;
    }
    unsigned int dsize(const Flat& r, size_t& total, d::text_mode lcs) const {
        size_t content = 0;
        for (unsigned int i = 0, used = used_slots(r); i < used; ++i) {
            const Sub* p = (r.*slots)[i];
            if (p == nullptr) {
                content += 2;  // 05 00
            } else if (unsigned int rc = rec_size<SubRec>(*p, content, lcs); rc != 0) {
                return rc;
            }
        }
        total += d::frame_size(content);
        return 0;
    }
    void dwrite(const Flat& r, d::writer& w, d::text_mode lcs) const {
        write_list(w, used_slots(r), [&](unsigned int i) {
            const Sub* p = (r.*slots)[i];
            if (p == nullptr)
                w.header(0x05, 0);
            else
                rec_write<SubRec>(*p, w, lcs);
        });
    }
    template <bool Fill>
    QB_DIRECT_FRAME unsigned int dread(d::view& v, Flat* r, bool lcs, const char* file) const {
        return read_list<Fill>(
            v, [](unsigned int) {},
            [&](d::view& in, unsigned int i) -> unsigned int {
                if (d::null_here(in)) return 0;
                bool absent = false;
                if constexpr (!Fill) {
                    d::view attempt = in;
                    if (SubRec::direct_check(attempt, lcs, false, absent) != 0) return ::qb::detail::kTagMismatch;
                    in = attempt;
                    return 0;
                } else {
                    if (i >= N) {  // elements past the last slot are dropped
                        d::skip_frame(in);
                        return 0;
                    }
                    Sub* p = alloc_array<Sub>(1, file, this->at.alloc);
                    (r->*slots)[i] = p;
                    return SubRec::direct_fill(in, *p, lcs, false, absent);
                }
            });
    }

    qb_field_info info() const {
        return {this->name, qb_field_record_slots, offset_of(slots), 0, N, 0, this->is_optional, &reflect_of, this->count_name};
    }
    static const qb_record_info* reflect_of() { return &SubRec::reflect(); }
};

// ---- descriptor builders (used through the QB_* macros below) ----

// A field that states no lines of its own throws at the line of its record's description.
template <class D>
constexpr D with_lines(D d, int line) {
    if (d.at.set == 0) d.at.set = line;
    if (d.at.alloc == 0) d.at.alloc = line;
    if (d.at.child == 0) d.at.child = line;
    return d;
}

template <class... F>
constexpr auto describe(int line, F... f) {
    return std::make_tuple(with_lines(f, line)...);
}

// ---- the walkers ----

template <class Desc>
struct walker {
    using Flat = typename Desc::Flat;
    using Rec = typename Desc::Rec;

    static void build(Rec& rec) {
        std::apply([&](const auto&... f) { (f.attach(rec), ...); }, Desc::fields);
        rec.set_type_name(Desc::type_name);
        rec.check_valid(0);
    }
    static int set(Rec& rec, Flat& r) {
        unsigned int rc = 0;
        std::apply([&](const auto&... f) { static_cast<void>((((rc = f.set(rec, r, Desc::file)) == 0) && ...)); },
                   Desc::fields);  // stops at the first nonzero status
        return static_cast<int>(rc);
    }
    static int get(Rec& rec, Flat& r) {
        std::memset(&r, 0, sizeof(Flat));  // before anything else: freeable after any throw
        unsigned int rc = 0;
        std::apply([&](const auto&... f) { static_cast<void>((((rc = f.get(rec, r, Desc::file)) == 0) && ...)); },
                   Desc::fields);
        return static_cast<int>(rc);
    }
    static void release(Flat& r) {
        std::apply([&](const auto&... f) { (f.release(r), ...); }, Desc::fields);
    }
    static const qb_record_info& reflect();

    // ---- the direct path ----

    // direct_size: adds the record's content octets to `total`; the first
    // nonzero status a member's setter would give, in member order.
    static unsigned int direct_size(const Flat& r, size_t& total, d::text_mode lcs) {
        unsigned int rc = 0;
        std::apply([&](const auto&... f) { static_cast<void>((((rc = f.dsize(r, total, lcs)) == 0) && ...)); },
                   Desc::fields);
        return rc;
    }
    // direct_write: the content, last member first (the writer goes backwards).
    static void direct_write(const Flat& r, d::writer& w, d::text_mode lcs) {
        constexpr size_t n = std::tuple_size_v<std::remove_const_t<decltype(Desc::fields)>>;
        [&]<size_t... I>(std::index_sequence<I...>) {
            (std::get<n - 1 - I>(Desc::fields).dwrite(r, w, lcs), ...);
        }(std::make_index_sequence<n>{});
    }
    // direct_read: the record's frame at v, read as the object tree reads
    // it: checking only (Fill false, r null), or filling the record r the
    // way get_value does (zeroed first) from input already checked.
    template <bool Fill>
    static unsigned int direct_read(d::view& v, Flat* r, bool lcs, bool optional, bool& absent) {
        d::frame f;
        unsigned int rc = d::open(v, 16, d::cons_ok | d::indef_ok, optional, f);
        absent = f.absent;
        if (rc != 0 || f.absent) return rc;
        if constexpr (Fill) std::memset(r, 0, sizeof(Flat));
        d::view in = f.content;
        std::apply(
            [&](const auto&... m) {
                static_cast<void>((((rc = m.template dread<Fill>(in, r, lcs, Desc::file)) == 0) && ...));
            },
            Desc::fields);
        if (rc != 0) return rc;
        if (!f.indefinite && in.n != 0) return ::qb::detail::kSurplusContent;
        return d::close(v, f, in);
    }
};

template <size_t N>
struct field_table {
    qb_field_info items[N > 0 ? N : 1];
};


// encode_obj/decode_obj: the record's work inside the exception boundary.
template <class Rec, class Flat>
int encode_obj(Rec& rec, Flat& r, qb_asn_buffer_t& out, int version) {
    try {
        int rc = rec.set_value(r);
        if (rc != 0) return rc;
        return static_cast<int>(qb_asnbase::saveEncoding(rec, version, out));
    } catch (const qb_asn_exception& e) {
        report(e);
        return static_cast<int>(e.code);
    }
}

template <class Rec, class Flat>
int decode_obj(Rec& rec, Flat& r, qb_asn_buffer_t& in, int version) {
    try {
        int rc = static_cast<int>(qb_asnbase::loadObject(rec, version, in));
        if (rc != 0) return rc;
        return rec.get_value(r);
    } catch (const qb_asn_exception& e) {
        report(e);
        return static_cast<int>(e.code);
    }
}

// The per-record entry points: a record object on the stack, envelope version 2.
inline constexpr int kEnvelopeVersion = 2;

template <class Rec, class Flat>
unsigned int encode_entry(qb_asn_buffer_t& out, Flat& r, security_t s) {
    try {
        Rec rec(s);
        return static_cast<unsigned int>(rec.encode_obj(r, out, kEnvelopeVersion));
    } catch (const qb_asn_exception& e) {
        report(e);
        return e.code;
    }
}

template <class Rec, class Flat>
unsigned int decode_entry(qb_asn_buffer_t& in, Flat& r, security_t s) {
    try {
        Rec rec(s);
        return static_cast<unsigned int>(rec.decode_obj(r, in, kEnvelopeVersion));
    } catch (const qb_asn_exception& e) {
        report(e);
        return e.code;
    }
}

// direct_encode: qbAsnEncodeObj without the object tree. The record is sized
// first (which also finds every status its setters would give, in the same
// order), then written into one block of exactly its size, envelope first.
// On failure out is untouched.
template <class Walk, class Flat>
unsigned int direct_encode(qb_asn_buffer_t& out, const Flat& r, bool lcs, const char* file, int line) {
    try {
        const d::text_mode mode = d::text_mode_of(lcs);
        size_t content = 0;
        return d::encode_block(
            out, kEnvelopeVersion,
            [&](unsigned int& rc) {
                rc = Walk::direct_size(r, content, mode);
                return d::frame_size(content);
            },
            [&](d::writer& w) {
                Walk::direct_write(r, w, mode);
                w.header(0x30, content);
            },
            file, line);
    } catch (const qb_asn_exception& e) {
        report(e);
        return e.code;
    }
}

// direct_decode: qbAsnDecodeObj without the object tree. A first pass reads
// the whole message as the tree reads it and returns the tree's status for
// any input, touching nothing; only then a second pass fills the record the
// way get_value does, with the same allocations in the same order.
template <class Walk, class Flat>
unsigned int direct_decode(qb_asn_buffer_t& in, Flat& r, bool lcs, const char* file, int line) {
    // Both passes over the payload: check all of it, then fill the record.
    struct passes final : d::deep_work {
        d::view payload{};
        Flat* record = nullptr;
        bool lcs = false;
        unsigned int run() override {
            bool absent = false;
            d::view check = payload;
            if (unsigned int rc = Walk::template direct_read<false>(check, nullptr, lcs, false, absent); rc != 0)
                return rc;
            d::view fill = payload;
            return Walk::template direct_read<true>(fill, record, lcs, false, absent);
        }
    } work;
    try {
        if (unsigned int rc = d::envelope_payload(in, kEnvelopeVersion, work.payload); rc != 0) return rc;
        work.record = &r;
        work.lcs = lcs;
        // A record that can nest deeper than the caller's stack should carry
        // (a recursive one) is read on a large stack when this message does.
        static const bool may_nest_deeply = d::schema_nests_deeper(Walk::reflect(), d::kCallerStackFrames);
        if (may_nest_deeply && d::nests_deeper(work.payload, d::kCallerStackFrames))
            return d::run_on_large_stack(work, file, line);
        return work.run();
    } catch (const qb_asn_exception& e) {
        report(e);
        return e.code;
    }
}

template <class Desc>
const qb_record_info& walker<Desc>::reflect() {
    static const auto table = std::apply(
        [](const auto&... f) { return field_table<sizeof...(f)>{{f.info()...}}; }, Desc::fields);
    static const qb_record_info info = {
        Desc::full_name,
        Desc::flat_name,
        sizeof(Flat),
        table.items,
        std::tuple_size_v<std::remove_const_t<decltype(Desc::fields)>>,
        [](qb_asn_buffer_t& out, void* flat, int lcs) {
            return lcs ? qbAsnEncodeObjLCS(out, *static_cast<Flat*>(flat)) : qbAsnEncodeObj(out, *static_cast<Flat*>(flat));
        },
        [](qb_asn_buffer_t& in, void* flat, int lcs) {
            return lcs ? qbAsnDecodeObjLCS(in, *static_cast<Flat*>(flat)) : qbAsnDecodeObj(in, *static_cast<Flat*>(flat));
        },
        [](void* flat) { qbAsnFreeObj(*static_cast<Flat*>(flat)); },
        0,
        [](qb_asn_buffer_t& out, void* flat, int lcs) {
            return encode_entry<Rec>(out, *static_cast<Flat*>(flat), lcs ? security_lcs : security_off);
        },
        [](qb_asn_buffer_t& in, void* flat, int lcs) {
            return decode_entry<Rec>(in, *static_cast<Flat*>(flat), lcs ? security_lcs : security_off);
        },
    };
    return info;
}

}  // namespace qb::rec

// ---- description macros ----
// Inside QB_RECORD's field list, `Flat` and `Rec` name the record's types.
// The member of the record class carries the name of its flat field (for a
// pair: of the data field).

#define QB_INT(f) \
    ::qb::rec::integer_field<Flat, Rec, std::remove_reference_t<decltype(Flat::f)>>{{&Rec::f, #f}, &Flat::f}
#define QB_TEXT(f) ::qb::rec::text_field<Flat, Rec>{{&Rec::f, #f}, &Flat::f}
#define QB_OCTETS(len, f) \
    ::qb::rec::octets_field<Flat, Rec>{{&Rec::f, #f, false, {}, #len}, &Flat::len, &Flat::f}
#define QB_FIXED_OCTETS(f) \
    ::qb::rec::fixed_octets_field<Flat, Rec, sizeof(Flat::f)>{{&Rec::f, #f}, &Flat::f}
#define QB_RECORD_MEMBER(f)                                                          \
    ::qb::rec::record_field<Flat, Rec, std::remove_reference_t<decltype(Flat::f)>,   \
                            std::remove_reference_t<decltype(Rec::f)>>{{&Rec::f, #f}, &Flat::f}
#define QB_OPTIONAL_RECORD(f)                                                                    \
    ::qb::rec::optional_record_field<Flat, Rec, std::remove_pointer_t<decltype(Flat::f)>,        \
                                     std::remove_reference_t<decltype(Rec::f)>>{{&Rec::f, #f, true}, &Flat::f}
#define QB_LIST(count, f)                                                                        \
    ::qb::rec::record_list_field<Flat, Rec, std::remove_reference_t<decltype(Flat::count)>,      \
                                 std::remove_pointer_t<decltype(Flat::f)>,                        \
                                 typename std::remove_reference_t<decltype(Rec::f)>::element_type>{ \
        {&Rec::f, #f, false, {}, #count}, &Flat::count, &Flat::f}
#define QB_PTR_LIST(count, f)                                                                      \
    ::qb::rec::record_ptr_list_field<Flat, Rec, std::remove_reference_t<decltype(Flat::count)>,    \
                                     std::remove_pointer_t<std::remove_pointer_t<decltype(Flat::f)>>, \
                                     typename std::remove_reference_t<decltype(Rec::f)>::element_type>{ \
        {&Rec::f, #f, false, {}, #count}, &Flat::count, &Flat::f}
#define QB_TEXT_LIST(count, f) \
    ::qb::rec::text_list_field<Flat, Rec, std::remove_reference_t<decltype(Flat::count)>>{{&Rec::f, #f, false, {}, #count}, &Flat::count, &Flat::f}
#define QB_INT_LIST(count, f) \
    ::qb::rec::int_list_field<Flat, Rec, std::remove_reference_t<decltype(Flat::count)>>{{&Rec::f, #f, false, {}, #count}, &Flat::count, &Flat::f}
#define QB_SLOTS(f)                                                                                   \
    ::qb::rec::record_slots_field<Flat, Rec, std::remove_pointer_t<std::remove_extent_t<decltype(Flat::f)>>, \
                                  typename std::remove_reference_t<decltype(Rec::f)>::element_type,   \
                                  std::extent_v<decltype(Flat::f)>>{{&Rec::f, #f}, &Flat::f}

// QB_RECORD(Rec, Flat, "type_name", fields...): the record's description and
// everything generated from it: constructor, destructor, set_value,
// get_value, free_obj, encode_obj, decode_obj, reflect and the five entry
// points. QB_RECORD_SOURCE("base_idls/<group>_asn") must come first in the file.
#define QB_RECORD_SOURCE(path) namespace { constexpr const char* qb_record_source = path; }

#define QB_RECORD(RecT, FlatT, type_name_, ...)                                                 \
    namespace {                                                                                 \
    struct RecT##_desc {                                                                        \
        using Flat = FlatT;                                                                     \
        using Rec = RecT;                                                                       \
        static constexpr const char* file = qb_record_source;                                   \
        static constexpr const char* full_name = type_name_;                                    \
        static constexpr const char* type_name = type_name_;                                    \
        static constexpr const char* flat_name = #FlatT;                                        \
        static constexpr auto fields = ::qb::rec::describe(__LINE__, __VA_ARGS__);              \
        static constexpr int line = __LINE__;                                                   \
    };                                                                                          \
    using RecT##_walk = ::qb::rec::walker<RecT##_desc>;                                         \
    }                                                                                           \
    RecT::RecT(security_t s) : qb_asnbase(s) { RecT##_walk::build(*this); }                     \
    RecT::~RecT() = default;                                                                    \
    int RecT::set_value(FlatT& r) { return RecT##_walk::set(*this, r); }                        \
    int RecT::get_value(FlatT& r) { return RecT##_walk::get(*this, r); }                        \
    void RecT::free_obj(FlatT& r) { RecT##_walk::release(r); }                                  \
    int RecT::encode_obj(FlatT& r, qb_asn_buffer_t& out, int version) {                         \
        return ::qb::rec::encode_obj(*this, r, out, version);                                   \
    }                                                                                           \
    int RecT::decode_obj(FlatT& r, qb_asn_buffer_t& in, int version) {                          \
        return ::qb::rec::decode_obj(*this, r, in, version);                                    \
    }                                                                                           \
    const qb_record_info& RecT::reflect() { return RecT##_walk::reflect(); }                    \
    unsigned int RecT::direct_size(const FlatT& r, size_t& total, ::qb::direct::text_mode lcs) {                   \
        return RecT##_walk::direct_size(r, total, lcs);                                         \
    }                                                                                           \
    void RecT::direct_write(const FlatT& r, ::qb::direct::writer& w, ::qb::direct::text_mode lcs) {                \
        RecT##_walk::direct_write(r, w, lcs);                                                   \
    }                                                                                           \
    unsigned int RecT::direct_check(::qb::direct::view& v, bool lcs, bool optional, bool& absent) { \
        return RecT##_walk::template direct_read<false>(v, nullptr, lcs, optional, absent);    \
    }                                                                                           \
    unsigned int RecT::direct_fill(::qb::direct::view& v, FlatT& r, bool lcs, bool optional,    \
                                   bool& absent) {                                              \
        return RecT##_walk::template direct_read<true>(v, &r, lcs, optional, absent);          \
    }                                                                                           \
    unsigned int qbAsnEncodeObj(qb_asn_buffer_t& out, FlatT& r) {                               \
        return ::qb::rec::direct_encode<RecT##_walk>(out, r, false, RecT##_desc::file, RecT##_desc::line); \
    }                                                                                           \
    unsigned int qbAsnEncodeObjLCS(qb_asn_buffer_t& out, FlatT& r) {                            \
        return ::qb::rec::direct_encode<RecT##_walk>(out, r, true, RecT##_desc::file, RecT##_desc::line); \
    }                                                                                           \
    unsigned int qbAsnDecodeObj(qb_asn_buffer_t& in, FlatT& r) {                                \
        return ::qb::rec::direct_decode<RecT##_walk>(in, r, false, RecT##_desc::file, RecT##_desc::line); \
    }                                                                                           \
    unsigned int qbAsnDecodeObjLCS(qb_asn_buffer_t& in, FlatT& r) {                             \
        return ::qb::rec::direct_decode<RecT##_walk>(in, r, true, RecT##_desc::file, RecT##_desc::line); \
    }                                                                                           \
    void qbAsnFreeObj(FlatT& r) { RecT::free_obj(r); }

// Options on a field: QB_AT(QB_LIST(count, values), 187, 206, 212) states the
// lines of its throws; QB_ADD_CHILD(QB_TEXT_LIST(...)) makes list elements
// through the list's add_child.
#define QB_AT(field, set_line, alloc_line, child_line) \
    ([] { auto d = field; d.at = {set_line, alloc_line, child_line}; return d; }())
#define QB_ADD_CHILD(field) ([] { auto d = field; d.how = ::qb::rec::make::with_add_child; return d; }())

#endif
