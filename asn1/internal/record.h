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

#include "asn1/asnbase.h"
#include "asn1/asnrecord.h"
#include "asn1/asnstrng.h"
#include "asn1/asnutils.h"

namespace qb::rec {

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
    qb_field_info info() const {
        return {this->name, qb_field_fixed_octets, offset_of(field), 0, N, 0, this->is_optional, nullptr, this->count_name};
    }
};

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
    unsigned int qbAsnEncodeObj(qb_asn_buffer_t& out, FlatT& r) {                               \
        return ::qb::rec::encode_entry<RecT>(out, r, security_off);                             \
    }                                                                                           \
    unsigned int qbAsnEncodeObjLCS(qb_asn_buffer_t& out, FlatT& r) {                            \
        return ::qb::rec::encode_entry<RecT>(out, r, security_lcs);                             \
    }                                                                                           \
    unsigned int qbAsnDecodeObj(qb_asn_buffer_t& in, FlatT& r) {                                \
        return ::qb::rec::decode_entry<RecT>(in, r, security_off);                              \
    }                                                                                           \
    unsigned int qbAsnDecodeObjLCS(qb_asn_buffer_t& in, FlatT& r) {                             \
        return ::qb::rec::decode_entry<RecT>(in, r, security_lcs);                              \
    }                                                                                           \
    void qbAsnFreeObj(FlatT& r) { RecT::free_obj(r); }

// Options on a field: QB_AT(QB_LIST(count, values), 187, 206, 212) states the
// lines of its throws; QB_ADD_CHILD(QB_TEXT_LIST(...)) makes list elements
// through the list's add_child.
#define QB_AT(field, set_line, alloc_line, child_line) \
    ([] { auto d = field; d.at = {set_line, alloc_line, child_line}; return d; }())
#define QB_ADD_CHILD(field) ([] { auto d = field; d.how = ::qb::rec::make::with_add_child; return d; }())

#endif
