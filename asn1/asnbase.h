// asn1/asnbase.h - byte buffers, the ASN.1 object runtime and the envelope.
//
// Layers, top-down:
//   plain types ............ security_t, invalidate_t, qb_memory_funcs_t, qb_asn_buffer_t
//   byte buffers ........... qb_r_buffer_t (read view), qb_buffer_t (growable owner)
//   exceptions ............. qb_asn_exception, qb_asn_memexception, qb_asn_unsupportederror
//   object base ............ qb_asn_object, qb_asn_primitive
//   constructed values ..... qb_asn_composite, qb_asn_sequence
//   primitive values ....... qb_asn_integer, qb_asn_boolean, qb_asn_null,
//                            qb_asn_octetstring, qb_asn_bitstring, qb_asn_namedbits
//   envelope ............... qb_asnbase, qb_v37_asnbase, qbasn_integer, qbasn_octetstring
//
// Results are 32-bit status codes (0 = success) from the 0x1065xxxx family.
// Out-of-memory conditions are thrown as qb_asn_memexception; entry points
// catch them and turn them into status codes.
//
// Integers are 32-bit values everywhere: a setter taking `long` keeps the low
// 32 bits; a getter hands out the sign-extended 32-bit value.
//
// Nesting bound: while reading, the runtime follows nested frames (a frame
// whose content holds further frames, such as a SEQUENCE in a SEQUENCE or a
// constructed OCTET STRING segment) to at most QBASN_MAX_NESTING levels.
// A frame nested deeper than that is refused with 0x1065219B. Constructed
// OCTET STRING segments are bounded far more tightly: a constructed string
// may hold constructed segments, whose segments must then be primitive
// (QBASN_MAX_SEGMENT_NESTING constructed levels); deeper segment nesting is
// refused with 0x1065219B as well. The records' own schemas bound every other
// nesting but that of the two recursive records, whose deep messages the
// typed entry points read on a large stack of their own; so every decode
// through the entry points fits a 64 KiB thread stack (the README gives the
// stack each level costs).
//
// Lengths: a long-form length whose value does not fit 32 bits (a non-zero
// octet before its last four) is refused with 0x10652198 by the frame reader;
// leading zero octets are accepted.
#ifndef QBASN_ASNBASE_H
#define QBASN_ASNBASE_H

#include <cstddef>
#include <new>

#include "asn1/qbasn_export.h"

// QBASN_MAX_NESTING: the deepest frame nesting asnread follows (see above).
#define QBASN_MAX_NESTING 256
// QBASN_MAX_SEGMENT_NESTING: the most constructed OCTET STRING levels a read
// follows: a constructed string and constructed segments inside it.
#define QBASN_MAX_SEGMENT_NESTING 2

// ---- plain types ----

// security_t: 1 makes buffers and caches wipe memory before releasing it and
// never use realloc; 2 makes text fields convert between the local code set
// and UTF-8 (no wiping). Every test compares with 1 for equality.
enum security_t { security_off = 0, security_on = 1, security_lcs = 2 };

// invalidate_t: how far an invalidation reaches (see qb_asn_object).
enum invalidate_t { invalidate_local = 0, invalidate_upward = 1, invalidate_full = 2 };

// qb_memory_funcs_t: allocator hooks, stored by value in every buffer.
// Priority: the plain hooks when use_plain_hooks is nonzero, else the context
// hooks (with hook_context first) when use_context_hooks is nonzero, else the
// standard functions. All zeros is the default.
struct QBASN_API qb_memory_funcs_t {
    int use_plain_hooks;
    void* (*malloc_hook)(size_t);
    void (*free_hook)(void*);
    void* (*realloc_hook)(void*, size_t);
    void* (*calloc_hook)(size_t, size_t);
    int use_context_hooks;
    void* (*ctx_malloc_hook)(void*, size_t);
    void (*ctx_free_hook)(void*, void*);
    void* (*ctx_realloc_hook)(void*, void*, size_t);
    void* (*ctx_calloc_hook)(void*, size_t, size_t);
    void* hook_context;

    // Each returns the hook's result unchanged (null on failure).
    void* malloc(size_t size) const;
    void free(void* ptr) const;
    void* realloc(void* ptr, size_t size) const;
    void* calloc(size_t count, size_t size) const;
};

// qb_asn_buffer_t: the flat-API byte block. Its data always comes from the
// standard malloc and is released with free (qb_asn_buffer_free).
struct qb_asn_buffer_t {
    unsigned int length;
    unsigned char* data;
};

// ---- qb_r_buffer_t ----

// qb_r_buffer_t: a read view over bytes it does not own. Readers advance
// `cursor` and lower `remaining` as they consume bytes.
class QBASN_API qb_r_buffer_t {
public:
    unsigned char* origin;
    unsigned int origin_length;
    unsigned char filler;  // what indexing yields past the end; 0
    unsigned char* cursor;
    unsigned int remaining;

    qb_r_buffer_t();
    qb_r_buffer_t(unsigned char* p, unsigned int len);
    qb_r_buffer_t(const qb_r_buffer_t&) = default;  // views are copied with their filler

    virtual void set(unsigned char* p, unsigned int len);  // filler unchanged
    virtual void reset();                                  // back to the origin

    // operator[]: the octet at cursor + i, or the filler past the end, so a
    // read past the view never touches memory beyond it.
    unsigned char operator[](unsigned int i) const { return i < remaining ? cursor[i] : filler; }

    // operator=: copies origin, origin length, cursor and remaining, never bytes.
    qb_r_buffer_t& operator=(const qb_r_buffer_t& other);

    // operator==: equal remaining lengths and equal bytes from both cursors.
    bool operator==(const qb_r_buffer_t& other) const;
};

// ---- qb_buffer_t ----

// qb_buffer_t: a growable owning write buffer. It is also a read view of
// what has been written: origin = cursor = data, origin_length = capacity,
// remaining = used length. Failing growth throws qb_asn_memexception
// (0x10652065, "Out of memory in buffer_t::extend") and leaves it unchanged.
class QBASN_API qb_buffer_t : public qb_r_buffer_t {
public:
    unsigned char* data;
    qb_memory_funcs_t memory;
    unsigned int capacity;
    security_t security;

    explicit qb_buffer_t(const qb_memory_funcs_t& funcs);
    explicit qb_buffer_t(security_t s);
    qb_buffer_t(const qb_memory_funcs_t& funcs, security_t s);
    qb_buffer_t(unsigned int initial, security_t s);
    qb_buffer_t(unsigned int initial, const qb_memory_funcs_t& funcs);
    qb_buffer_t(unsigned int initial, const qb_memory_funcs_t& funcs, security_t s);
    qb_buffer_t(const qb_buffer_t&) = delete;
    qb_buffer_t& operator=(const qb_buffer_t&) = delete;
    virtual ~qb_buffer_t();

    // extend: make room for n more bytes; capacity becomes chunk(capacity + n).
    unsigned int extend(unsigned int n);
    unsigned int append(unsigned char b);
    unsigned int append(const unsigned char* p, unsigned int n);
    unsigned int append(const char* s);  // no terminating zero is written
    unsigned int append_int(long v);     // decimal text of the 32-bit value
    unsigned int append(const qb_r_buffer_t& r);
    // clear: used length 0; a wiping buffer zeroes its whole block. The block is kept.
    void clear();
    // detach hands the block to the caller (p = data, n = used length), who
    // releases it through the same hooks; the buffer is left empty.
    void detach(unsigned char*& p, unsigned int& n);

    // length: the used length (the bytes written so far).
    unsigned int length() const { return remaining; }
    // truncate: cut the used length back to n (no effect when n >= length()).
    void truncate(unsigned int n);

private:
    void init(const qb_memory_funcs_t* funcs, security_t s);
};

// chunk: growth rounding. n <= 64: (n & ~63) + 64; n > 64: (n & ~63) + 960.
// Deliberate: the jump from 128 (n = 64) to 1024 (n = 65) is kept.
QBASN_API unsigned int chunk(unsigned int n);

// write1d/write2d/write4d: append v as 1, 2 or 4 decimal digits (leading
// zeros kept); 0x106521AA and nothing written when v does not fit.
QBASN_API unsigned int write1d(qb_buffer_t& buf, unsigned int v);
QBASN_API unsigned int write2d(qb_buffer_t& buf, unsigned int v);
QBASN_API unsigned int write4d(qb_buffer_t& buf, unsigned int v);

// check_EOC: true when at least two bytes remain and both are zero; consumes nothing.
QBASN_API bool check_EOC(qb_r_buffer_t r);

// ---- exceptions ----

// qb_asn_exception: thrown by value; file is a source path such as
// "asn1/asnbase", message a static text. Nothing is allocated.
class QBASN_API qb_asn_exception {
public:
    const char* file;
    int line;
    const char* message;
    unsigned int code;
    qb_asn_exception(const char* f, int l, const char* m, unsigned int c)
        : file(f), line(l), message(m), code(c) {}
};

// qb_asn_memexception: out of memory, code 0x10652065.
class QBASN_API qb_asn_memexception : public qb_asn_exception {
public:
    qb_asn_memexception(const char* f, int l, const char* m, unsigned int c = 0x10652065)
        : qb_asn_exception(f, l, m, c) {}
};

// qb_asn_unsupportederror: operation not supported, code 0x10652197.
class QBASN_API qb_asn_unsupportederror : public qb_asn_exception {
public:
    qb_asn_unsupportederror(const char* f, int l, const char* m, unsigned int c = 0x10652197)
        : qb_asn_exception(f, l, m, c) {}
};

// ---- qb_asn_object ----

class qb_asn_object;
typedef void (*qb_asn_preread_t)(qb_asn_object*, qb_r_buffer_t&);
typedef void (*qb_asn_postread_t)(qb_asn_object*, qb_r_buffer_t&, int status);

// qb_asn_object: base of every ASN.1 value. Owns the identifier (class, tag),
// the state flags, the parent link, the default value (owned), the cached
// content octets and the framing of one identifier-length-content frame.
// Objects are never copied or assigned: both throw qb_asn_unsupportederror.
class QBASN_API qb_asn_object {
public:
    mutable qb_buffer_t encoding;  // cache of the content octets
    qb_asn_object* parent;         // not owned
    qb_asn_object* default_value;  // owned
    int optional;
    int defaultable;
    int present;
    mutable int encoding_valid;
    security_t security;
    int constructed;           // the last decoded identifier had the constructed bit
    int indefinite;            // the last decoded length was indefinite
    int generate_constructed;  // write the constructed bit
    int asn_class;             // 0 universal, 1 application, 2 context, 3 private
    unsigned int tag;
    int primitive_permitted;
    int constructed_permitted;
    int indefinite_permitted;
    qb_asn_preread_t preread;
    qb_asn_postread_t postread;
    char type_name[17];
    // Set by the classes whose content octets are their value (INTEGER, OCTET
    // STRING and the strings built on it): rebuilding the cache of such a
    // present object keeps the octets instead of clearing them.
    int value_in_cache;

    explicit qb_asn_object(security_t s);
    qb_asn_object(const qb_asn_object&);             // throws "Can't copy asn_objects"
    qb_asn_object& operator=(const qb_asn_object&);  // throws "Can't assign asn_objects"

    // Virtual operations, in slot order.
    virtual unsigned int decode_value(qb_r_buffer_t& r, unsigned int length) = 0;
    virtual unsigned int encode_value(qb_buffer_t& out) const = 0;
    virtual void check_valid(int arg);
    virtual void invalidate_encoding() const;
    virtual void invalidate_value(invalidate_t kind);
    virtual void set_value_valid();
    virtual int check_type(unsigned int t, int cls) const;
    virtual unsigned int set_default_value(qb_asn_object* d);
    virtual unsigned int get_encoding(qb_buffer_t& out) const;
    virtual unsigned int get_encoding() const;
    virtual unsigned int emptyi();
    // get_child_count: throws the bare text "get_child_count() invoked on
    // non-composite object" on objects that are not constructed.
    virtual unsigned int get_child_count() const;
    virtual int encoding_primitive_permitted() const;
    virtual int encoding_constructed_permitted() const;
    virtual int encoding_indefinite_permitted() const;
    virtual int is_constructed() const;
    virtual int is_indefinite_length() const;
    virtual int is_polymorphic() const;
    virtual int should_generate_constructed() const;
    virtual unsigned int set_class(int c);
    virtual unsigned int set_tag(unsigned int t);
    virtual unsigned int display(qb_buffer_t& out) const;
    virtual unsigned int empty();
    virtual unsigned int normalize();
    virtual int is_optional() const;
    virtual int is_defaultable() const;
    virtual int is_encoding_valid() const;
    virtual qb_asn_object* get_default_value() const;
    virtual int is_default_value() const;
    virtual int is_valid(int arg) const;
    virtual int is_present() const;
    virtual ~qb_asn_object();
    virtual void set_secure(security_t s);
    // asnread: read one frame. On success r is advanced past it; on failure r
    // is restored, except when the end-of-contents octets of an indefinite
    // length are missing (0x1065219B), where r stays past the content.
    virtual unsigned int asnread(qb_r_buffer_t& r);
    // asnwrite: write one frame; on failure out is cut back to its length on entry.
    virtual unsigned int asnwrite(qb_buffer_t& out) const;
    virtual bool operator==(const qb_asn_object& other) const;
    virtual unsigned int set_optional(int v);
    virtual unsigned int set_empty_permitted(int v);
    virtual int check_encode_flags(int e) const;
    virtual int check_encode_flags() const;
    virtual unsigned int display_state_flags(qb_buffer_t& out, int indent) const;

    // Non-virtual members.
    qb_asn_object* get_parent() const { return parent; }
    void set_parent(qb_asn_object* p) { parent = p; }
    int get_class() const { return asn_class; }
    unsigned int get_tag() const { return tag; }
    unsigned int set_preread(qb_asn_preread_t f) { preread = f; return 0; }
    unsigned int set_postread(qb_asn_postread_t f) { postread = f; return 0; }
    unsigned int write_type(qb_buffer_t& out) const;
    unsigned int write_length(qb_buffer_t& out) const;
    // type name: 16 characters at most (longer names are cut), used by dumps.
    void set_type_name(const char* name);
    const char* get_type_name() const { return type_name; }

};

// qb_asn_primitive: common base of the primitive value types; adds nothing.
class QBASN_API qb_asn_primitive : public qb_asn_object {
public:
    explicit qb_asn_primitive(security_t s) : qb_asn_object(s) {}
    ~qb_asn_primitive() override;
};

// ---- qb_asn_composite / qb_asn_sequence ----

// qb_asn_composite: base of every constructed value: an ordered list of
// non-owned children whose presence makes the composite present. The child
// array comes from the standard allocator. Slots may be null after a front
// insertion into a full array; every walk over the children skips them.
class QBASN_API qb_asn_composite : public qb_asn_object {
public:
    int empty_permitted;
    unsigned int count;
    unsigned int capacity;
    qb_asn_object** children;

    explicit qb_asn_composite(security_t s);
    // Deliberate: a composite made with a preset capacity writes no constructed
    // bit and refuses indefinite lengths unless its derived class sets them.
    qb_asn_composite(unsigned int n, security_t s);

    void check_valid(int arg) override;
    void invalidate_value(invalidate_t kind) override;
    unsigned int emptyi() override;
    unsigned int get_child_count() const override;
    unsigned int display(qb_buffer_t& out) const override;
    unsigned int normalize() override;
    int is_valid(int deep) const override;
    ~qb_asn_composite() override;
    unsigned int set_empty_permitted(int v) override;
    int check_encode_flags(int e) const override;
    int check_encode_flags() const override;
    unsigned int display_state_flags(qb_buffer_t& out, int indent) const override;
    // register_child: append c; throws qb_asn_memexception when the array
    // cannot grow, leaving it as it was.
    virtual unsigned int register_child(qb_asn_object* c);
    // register_child_before: insert c first. Deliberate: into a full array (or
    // an empty one) the array grows by 512 and c overwrites slot 0 unmoved.
    virtual unsigned int register_child_before(qb_asn_object* c);
    virtual int get_empty_permitted() const;

    qb_asn_object* get_child(unsigned int i) const { return i < count ? children[i] : nullptr; }
    qb_asn_object* operator[](unsigned int i) const { return get_child(i); }
};

// qb_asn_sequence: content = the children's frames in registration order.
class QBASN_API qb_asn_sequence : public qb_asn_composite {
public:
    explicit qb_asn_sequence(security_t s);
    qb_asn_sequence(unsigned int n, security_t s);
    unsigned int decode_value(qb_r_buffer_t& r, unsigned int length) override;
    unsigned int encode_value(qb_buffer_t& out) const override;
    ~qb_asn_sequence() override;
};

// ---- qb_asn_choice / qb_asn_any / qb_asn_nothing ----

// qb_asn_choice: an untagged CHOICE. Its children are the alternatives; at
// most one is selected (-1: none). It has no frame of its own: reading tries
// the alternatives in registration order, writing writes the selected one's frame.
class QBASN_API qb_asn_choice : public qb_asn_composite {
public:
    int selected_index;

    explicit qb_asn_choice(security_t s);
    ~qb_asn_choice() override;

    // decode_value/encode_value are never legitimately called on a choice:
    // both throw qb_asn_unsupportederror (0x10652197).
    unsigned int decode_value(qb_r_buffer_t& r, unsigned int length) override;
    unsigned int encode_value(qb_buffer_t& out) const override;
    void check_valid(int arg) override;
    int is_polymorphic() const override;
    // set_tag: always throws the bare text "Attempt to change tag of ASN.1 CHOICE object".
    unsigned int set_tag(unsigned int t) override;
    unsigned int normalize() override;
    int is_encoding_valid() const override;
    unsigned int asnread(qb_r_buffer_t& r) override;
    unsigned int asnwrite(qb_buffer_t& out) const override;
    int check_encode_flags(int e) const override;
    int check_encode_flags() const override;
    unsigned int display_state_flags(qb_buffer_t& out, int indent) const override;
    virtual unsigned int set_tag_unchecked(unsigned int t);

    // select: 0x106521A7 when i is not an alternative's index.
    unsigned int select(int i);
    int selected() const { return selected_index; }
};

class qb_asn_any;
typedef int (*qb_asn_anyhook_t)(qb_asn_any*);

// qb_asn_any: an ANY. Without a syntax object it keeps the content octets of
// whatever frame it read (any identifier) and writes the frame back in the
// form it was read; with one attached (not owned), reading and writing are
// handed to it and the raw accessors refuse with 0x106521A9.
class QBASN_API qb_asn_any : public qb_asn_object {
public:
    int raw;  // cleared by every invalidate_value; nothing reads it
    qb_buffer_t raw_value;
    qb_asn_object* syntax;
    qb_asn_anyhook_t preparse;
    qb_asn_anyhook_t preencode;

    explicit qb_asn_any(security_t s);
    ~qb_asn_any() override;

    unsigned int decode_value(qb_r_buffer_t& r, unsigned int length) override;
    unsigned int encode_value(qb_buffer_t& out) const override;
    void check_valid(int arg) override;
    void invalidate_value(invalidate_t kind) override;
    int check_type(unsigned int t, int cls) const override;  // accepts every identifier
    void set_secure(security_t s) override;
    // asnread: Deliberate: on the raw path the preread and postread hooks run twice.
    unsigned int asnread(qb_r_buffer_t& r) override;
    unsigned int asnwrite(qb_buffer_t& out) const override;

    // set_syntax: attach obj (not null; 0x1065219C otherwise); a previous
    // syntax object is detached and invalidated, not deleted.
    unsigned int set_syntax(qb_asn_object* obj);
    unsigned int set_preparse(qb_asn_anyhook_t f) { preparse = f; return 0; }
    unsigned int set_preencode(qb_asn_anyhook_t f) { preencode = f; return 0; }
    // get_value: points into the object's own storage; do not free.
    unsigned int get_value(unsigned char*& p, unsigned int& n) const;
    unsigned int set_value(const unsigned char* p, unsigned int n);
};

// qb_asn_nothing: a placeholder that is always present and valid and reads
// and writes nothing.
class QBASN_API qb_asn_nothing : public qb_asn_primitive {
public:
    explicit qb_asn_nothing(security_t s);
    ~qb_asn_nothing() override;
    unsigned int decode_value(qb_r_buffer_t& r, unsigned int length) override;
    unsigned int encode_value(qb_buffer_t& out) const override;
    int is_valid(int arg) const override;
    int is_present() const override;
    unsigned int asnread(qb_r_buffer_t& r) override;
    unsigned int asnwrite(qb_buffer_t& out) const override;
};

// ---- qb_asn_integer / qb_asn_boolean / qb_asn_null ----

// qb_asn_integer: INTEGER (tag 2). The content octets are the cache; `value`
// holds them as a 32-bit number while int_valid is set.
class QBASN_API qb_asn_integer : public qb_asn_primitive {
public:
    long value;
    qb_buffer_t aux;  // kept for layout; no integer operation uses it
    security_t secure;
    int int_valid;

    explicit qb_asn_integer(security_t s);
    ~qb_asn_integer() override;

    unsigned int decode_value(qb_r_buffer_t& r, unsigned int length) override;
    unsigned int encode_value(qb_buffer_t& out) const override;
    unsigned int set_default_value(qb_asn_object* d) override;
    void set_secure(security_t s) override;

    unsigned int set_value(long v);
    unsigned int set_value(const unsigned char* bytes, unsigned int len);
    // get_value(long&): 0x106521A0 when absent without default; 0x10652199
    // (out untouched) when the octets do not fit 32 bits.
    unsigned int get_value(long& out) const;
    // get_value(bytes): points into the object's own storage; do not free.
    unsigned int get_value(unsigned char*& bytes, unsigned int& len) const;
    unsigned int set_default_value(long v);
    unsigned int set_default_value(const unsigned char* bytes, unsigned int len);
    void update_int_val();
};

// qb_asn_boolean: BOOLEAN (tag 1); any nonzero value is TRUE, written as FF.
class QBASN_API qb_asn_boolean : public qb_asn_primitive {
public:
    int value;

    explicit qb_asn_boolean(security_t s);
    ~qb_asn_boolean() override;
    unsigned int decode_value(qb_r_buffer_t& r, unsigned int length) override;
    unsigned int encode_value(qb_buffer_t& out) const override;
    unsigned int set_default_value(qb_asn_object* d) override;
    unsigned int set_value(int v);
    unsigned int get_value(int& out) const;
    unsigned int set_default_value(int v);
};

// qb_asn_null: NULL (tag 5); always present and valid, so always written.
class QBASN_API qb_asn_null : public qb_asn_primitive {
public:
    explicit qb_asn_null(security_t s);
    ~qb_asn_null() override;
    unsigned int decode_value(qb_r_buffer_t& r, unsigned int length) override;
    unsigned int encode_value(qb_buffer_t& out) const override;
    int is_valid(int arg) const override;
    int is_present() const override;
};

// ---- qb_asn_octetstring / qb_asn_bitstring / qb_asn_namedbits ----

// qb_asn_octetstring: OCTET STRING (tag 4). The octets are the cache. A
// decoded value is followed in memory by a zero octet that is not counted.
class QBASN_API qb_asn_octetstring : public qb_asn_primitive {
public:
    qb_buffer_t aux;  // kept for layout; no octet-string operation uses it
    security_t secure;

    explicit qb_asn_octetstring(security_t s);
    ~qb_asn_octetstring() override;

    unsigned int decode_value(qb_r_buffer_t& r, unsigned int length) override;
    unsigned int encode_value(qb_buffer_t& out) const override;
    unsigned int set_default_value(qb_asn_object* d) override;
    void set_secure(security_t s) override;

    unsigned int set_value(const unsigned char* p, unsigned int len);
    // get_value: points into the object's own storage; do not free.
    unsigned int get_value(unsigned char*& p, unsigned int& len) const;
    unsigned int set_default_value(const unsigned char* p, unsigned int len);
};

// qb_asn_bitstring: BIT STRING (tag 3).
// Deliberate: the first content octet written is the number of significant
// bits in the last octet (bit count mod 8), while reading takes it as the
// count of unused bits; peers of this system rely on that asymmetry.
class QBASN_API qb_asn_bitstring : public qb_asn_primitive {
public:
    mutable qb_buffer_t bits;
    security_t secure;
    mutable unsigned char last_bits;

    explicit qb_asn_bitstring(security_t s);
    ~qb_asn_bitstring() override;

    unsigned int decode_value(qb_r_buffer_t& r, unsigned int length) override;
    unsigned int encode_value(qb_buffer_t& out) const override;
    unsigned int set_default_value(qb_asn_object* d) override;
    void set_secure(security_t s) override;

    unsigned int set_value(const unsigned char* p, unsigned int nbits);
    // get_value: points into the object's own storage; do not free.
    unsigned int get_value(unsigned char*& p, unsigned int& nbits) const;
    unsigned int set_default_value(const unsigned char* p, unsigned int nbits);

private:
    unsigned int decode_segments(qb_r_buffer_t& r, unsigned int length);
};

// qb_asn_namedbits: a BIT STRING addressed bit by bit (bit 0 is the most
// significant bit of the first octet). Writing trims trailing zero octets.
class QBASN_API qb_asn_namedbits : public qb_asn_bitstring {
public:
    explicit qb_asn_namedbits(security_t s);
    ~qb_asn_namedbits() override;
    unsigned int asnwrite(qb_buffer_t& out) const override;
    unsigned int set_bit(unsigned int n, int on);
    unsigned int get_bit(unsigned int n, int& on) const;
};

// ---- qb_asnbase / qb_v37_asnbase ----

// qb_asnbase: a SEQUENCE that saves itself behind the four-octet envelope
// 04, version, AC, DC and loads itself back.
class QBASN_API qb_asnbase : public qb_asn_sequence {
public:
    explicit qb_asnbase(security_t s);
    ~qb_asnbase() override;
    unsigned int set_default_value(qb_asn_object* d) override;
    virtual unsigned int set_default_value();

    // saveEncoding: header then obj's frame into a fresh block handed to out
    // (the caller frees it with qb_asn_buffer_free). On failure out is untouched.
    static unsigned int saveEncoding(qb_asn_object& obj, int version, qb_asn_buffer_t& out);
    // loadObject: 0x10652196 unless in carries the envelope with this version
    // and a nonzero payload offset; else the result of obj.asnread.
    static unsigned int loadObject(qb_asn_object& obj, int version, qb_asn_buffer_t& in);
    // get_encoded_version: 0 when in carries an envelope with a nonzero
    // version octet, else 0x10652196. Deliberate: `version` receives 0 on
    // success and 1 on failure, not the version octet.
    static unsigned int get_encoded_version(const qb_asn_buffer_t& in, unsigned int& version);
};

// qbasn_integer: the INTEGER member type of the records.
class QBASN_API qbasn_integer : public qb_asn_integer {
public:
    explicit qbasn_integer(security_t s) : qb_asn_integer(s) {}
    ~qbasn_integer() override;
    using qb_asn_integer::get_value;
    using qb_asn_integer::set_default_value;
    // Each stores qb_intvalue(*this), truncated to the target, and returns 0.
    unsigned int get_value(unsigned long& out) const;
    unsigned int get_value(long& out) const;
    unsigned int get_value(unsigned short& out) const;
    unsigned int get_value(unsigned char& out) const;
    unsigned int set_default_value(qb_asn_object* d) override;
    virtual unsigned int set_default_value();  // the default value 0
};

// qb_v37_asnbase: a record that starts its content with INTEGER 1.
class QBASN_API qb_v37_asnbase : public qb_asnbase {
public:
    qb_asn_integer version;
    explicit qb_v37_asnbase(security_t s);
    ~qb_v37_asnbase() override;
};

// qbasn_octetstring: the OCTET STRING member type of the records; text is
// stored with its terminating zero octet.
class QBASN_API qbasn_octetstring : public qb_asn_octetstring {
public:
    explicit qbasn_octetstring(security_t s) : qb_asn_octetstring(s) {}
    ~qbasn_octetstring() override;
    using qb_asn_octetstring::get_value;
    using qb_asn_octetstring::set_value;
    using qb_asn_octetstring::set_default_value;

    unsigned int set_value(const unsigned char* s);
    unsigned int set_value(const char* s);
    // set_value(c): stores {c, 00}; a zero c is stored as the single octet 00.
    unsigned int set_value(unsigned char c);
    // get_value(s): a malloc'ed copy (see qb_get_strvalue); the caller frees it.
    unsigned int get_value(unsigned char*& s) const;
    unsigned int get_value(char*& s) const;
    // get_value(data, len): a malloc'ed copy of the octets; the caller frees
    // it. Throws qb_asn_memexception when the allocation fails.
    unsigned int get_value(unsigned char*& data, unsigned long& len) const;
    // get_value(n, dest): copies the first n octets into dest; octets past the
    // stored value are given as zeros (nothing is read past the value).
    unsigned int get_value(unsigned long n, unsigned char* dest) const;
    unsigned int get_value(unsigned char& c) const;
    unsigned int set_default_value(qb_asn_object* d) override;
    virtual unsigned int set_default_value();  // the one-octet value 00
};

// ---- qb_asn_sequenceof<T> / qb_asn_arrayof<T> ----

namespace qb::detail {
// Throws qb_asn_memexception from the template code below (defined in the library).
[[noreturn]] QBASN_API void throw_sequenceof_oom(int line);
}  // namespace qb::detail

// qb_asn_sequenceof<T>: SEQUENCE OF T. Owns its elements (the composite's
// children), each created with `new` and T(security_t). T is any class
// derived from qb_asn_object with a security_t constructor.
template <class T>
class qb_asn_sequenceof : public qb_asn_sequence {
public:
    using element_type = T;
    explicit qb_asn_sequenceof(security_t s) : qb_asn_sequence(s) { set_type_name("SEQUENCEOF"); }
    ~qb_asn_sequenceof() override { delete_elements(); }

    // decode_value: discards every old element, then reads elements until the
    // content ends. A failing element ends the read with its code; the
    // elements read before it stay in the list.
    unsigned int decode_value(qb_r_buffer_t& r, unsigned int length) override {
        const bool definite = !is_indefinite_length();
        if (definite && length > r.remaining) return 0x10652198;
        qb_r_buffer_t sub = r;
        empty();
        if (definite) sub.remaining = length;
        for (;;) {
            if (definite ? sub.remaining == 0 : check_EOC(sub)) break;
            T* element = new (std::nothrow) T(security);
            if (element == nullptr) qb::detail::throw_sequenceof_oom(__LINE__);
            const unsigned int before = sub.remaining;
            unsigned int rc;
            try {
                rc = element->asnread(sub);
            } catch (...) {
                delete element;  // not in the list yet: nobody else would free it
                throw;
            }
            // An element that reads nothing would repeat forever: malformed.
            if (rc == 0 && sub.remaining == before) rc = 0x1065219B;
            if (rc != 0) {
                delete element;
                return rc;
            }
            try {
                register_child(element);
            } catch (...) {
                delete element;
                throw;
            }
        }
        if (definite) {
            r.cursor = sub.cursor;
            r.remaining -= length;
        } else {
            r.cursor = sub.cursor;
            r.remaining = sub.remaining;
        }
        return 0;
    }

    void check_valid(int) override {
        if (count == 0 && !empty_permitted) {
            invalidate_value(invalidate_upward);
            return;
        }
        if (is_present() && (parent == nullptr || parent->is_present())) return;
        set_value_valid();
    }

    // emptyi: deletes every element; the list is left with none.
    unsigned int emptyi() override {
        delete_elements();
        invalidate_encoding();
        return 0;
    }

    // set_optional: an optional list with no elements is absent (left out).
    unsigned int set_optional(int v) override {
        if (v) set_empty_permitted(0);
        return qb_asn_object::set_optional(v);
    }

    // delete_child: 0x1065219C when there is no element i. Presence is not re-derived.
    virtual unsigned int delete_child(unsigned int i) {
        if (i >= count) return 0x1065219C;
        qb_asn_object* victim = children[i];
        for (unsigned int k = i; k + 1 < count; ++k) children[k] = children[k + 1];
        delete victim;
        children[count - 1] = nullptr;
        count -= 1;
        invalidate_encoding();
        return 0;
    }

    // add_child: a new element appended to the list, or null when it could
    // not be created or registered. The list owns it; the caller fills it.
    virtual T* add_child() { return add(false); }

    // add_child_before: the same, inserted first. Deliberate: into a full
    // array the new element overwrites the first slot (the composite's front
    // insertion rule); the overwritten element is deleted, so nothing leaks.
    virtual T* add_child_before() { return add(true); }

    T* get_element(unsigned int i) const { return static_cast<T*>(get_child(i)); }

private:
    T* add(bool front) {
        T* element = new (std::nothrow) T(security);
        if (element == nullptr) return nullptr;
        qb_asn_object* overwritten = (front && count != 0 && count == capacity) ? children[0] : nullptr;
        try {
            if (front)
                register_child_before(element);
            else
                register_child(element);
        } catch (const qb_asn_memexception&) {
            delete element;
            return nullptr;
        }
        delete overwritten;
        // The list may already be present, so registering re-derives nothing:
        // its cached encoding must still go.
        invalidate_encoding();
        return element;
    }

    void delete_elements() {
        for (unsigned int i = 0; i < count; ++i) {
            delete children[i];
            children[i] = nullptr;
        }
        count = 0;
    }
};

// qb_asn_arrayof<T>: an array with holes, on the wire a SEQUENCE OF a CHOICE
// of NULL (an empty slot) and T. Almost every operation is the list's.
template <class T>
class qb_asn_arrayof : public qb_asn_composite {
public:
    using element_type = T;
    // cherce: one slot; alternative 0 is NULL (empty), 1 is the T.
    class cherce : public qb_asn_choice {
    public:
        qb_asn_null null_value;
        T value;
        explicit cherce(security_t s) : qb_asn_choice(s), null_value(s), value(s) {
            null_value.present = 1;
            register_child(&null_value);
            register_child(&value);
            set_type_name("CHOICE");
        }
        ~cherce() override = default;
    };

    qb_asn_sequenceof<cherce> list;

    explicit qb_asn_arrayof(security_t s) : qb_asn_composite(s), list(s) {
        set_type_name("SARRAYOF");
        register_child(&list);
    }
    ~qb_asn_arrayof() override = default;

    unsigned int decode_value(qb_r_buffer_t& r, unsigned int length) override { return list.decode_value(r, length); }
    unsigned int encode_value(qb_buffer_t& out) const override { return list.encode_value(out); }
    unsigned int get_child_count() const override { return list.get_child_count(); }
    int encoding_primitive_permitted() const override { return list.encoding_primitive_permitted(); }
    int encoding_constructed_permitted() const override { return list.encoding_constructed_permitted(); }
    int encoding_indefinite_permitted() const override { return list.encoding_indefinite_permitted(); }
    int is_constructed() const override { return list.is_constructed(); }
    int is_indefinite_length() const override { return list.is_indefinite_length(); }
    int should_generate_constructed() const override { return list.should_generate_constructed(); }
    // set_tag: an array-of has no tag of its own; always throws the bare text.
    unsigned int set_tag(unsigned int) override { throw "Attempt to change tag of ASN.1 CHOICE object"; }
    int is_optional() const override { return list.is_optional(); }
    int is_defaultable() const override { return list.is_defaultable(); }
    int is_encoding_valid() const override { return list.is_encoding_valid(); }
    qb_asn_object* get_default_value() const override { return list.get_default_value(); }
    int is_default_value() const override { return list.is_default_value(); }
    int is_present() const override { return list.is_present(); }
    unsigned int asnread(qb_r_buffer_t& r) override { return list.asnread(r); }
    unsigned int asnwrite(qb_buffer_t& out) const override { return list.asnwrite(out); }
    unsigned int set_optional(int v) override {
        qb_asn_object::set_optional(v);
        if (v) list.set_empty_permitted(0);
        return list.set_optional(v);
    }
    unsigned int set_empty_permitted(int v) override {
        qb_asn_composite::set_empty_permitted(v);
        return list.set_empty_permitted(v);
    }
    int check_encode_flags(int e) const override { return list.check_encode_flags(e); }
    int check_encode_flags() const override { return list.check_encode_flags(); }

    // Slot helpers: append a slot that is empty (NULL) or holds a T to fill.
    cherce* add_empty_slot() {
        cherce* slot = list.add_child();
        if (slot != nullptr) slot->select(0);
        return slot;
    }
    T* add_filled_slot() {
        cherce* slot = list.add_child();
        if (slot == nullptr) return nullptr;
        slot->select(1);
        return &slot->value;
    }
    cherce* get_slot(unsigned int i) const { return list.get_element(i); }
};

#endif
