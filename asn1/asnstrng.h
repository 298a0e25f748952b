// asn1/asnstrng.h - character strings: code-set converters and their tables,
// the string objects keyed by code set, and the records' UTF-8 text field.
//
// A code set is the universal tag number of a string type:
//   12 UTF8String, 19 PrintableString, 20 TeletexString (T.61), 22 IA5String,
//   26 VisibleString, 28 UniversalString (UCS-4 big-endian), 30 BMPString
//   (UCS-2 big-endian).
// Status codes: 0x106521A0 no value; 0x106521AB conversion failed (a
// character with no place in the target, malformed input, or no route);
// 0x106521AC code set not accepted by the class.
#ifndef QBASN_ASNSTRNG_H
#define QBASN_ASNSTRNG_H

#include "asn1/asnbase.h"
#include "asn1/qbasn_export.h"

// ---- character tables ----

// printableStringCharacterIA5_table / visibleStringCharacterIA5_table: 1 for
// an allowed octet. Deliberate: both hold exactly the same 73 characters
// (space ' ( ) + , - . / 0-9 : ? A-Z a-z); the equals sign is in neither.
QBASN_API extern const unsigned int printableStringCharacterIA5_table[256];
QBASN_API extern const unsigned int visibleStringCharacterIA5_table[256];

// Local2IA5_table (indexed by the octet as a signed char plus 128) and
// IA52Local_table (indexed by the octet as unsigned): 0x00-0x7F map to
// themselves, 0x80-0xFF to -1 (no equivalent).
QBASN_API extern const int Local2IA5_table[256];
QBASN_API extern const int IA52Local_table[256];

// ---- converters ----
// Each appends to `out` and returns 0 or 0x106521AB. Reads past the end of
// the source yield the view's filler octet (a truncated last character is
// built with filler octets, not refused). What `out` holds after a failure
// is stated per function.

// Never fail. Deliberate: U2UTF8 skips a value with bit 31 set, without output.
QBASN_API unsigned int U2UTF8(qb_r_buffer_t in, qb_buffer_t& out);
QBASN_API unsigned int BMP2UTF8(qb_r_buffer_t in, qb_buffer_t& out);
QBASN_API unsigned int IA52UTF8(qb_r_buffer_t in, qb_buffer_t& out);
// UTF-8 (1 to 6 octets a character, overlong forms accepted, continuation
// octets unchecked) to Universal, BMP (above 0xFFFF fails) or IA5 (above 0xFF
// fails). On failure `out` keeps what was appended so far.
QBASN_API unsigned int UTF82U(qb_r_buffer_t in, qb_buffer_t& out);
QBASN_API unsigned int UTF82BMP(qb_r_buffer_t in, qb_buffer_t& out);
QBASN_API unsigned int UTF82IA5(qb_r_buffer_t in, qb_buffer_t& out);
// Narrowing: on failure `out` is restored to its length at entry.
QBASN_API unsigned int U2BMP(const qb_r_buffer_t& in, qb_buffer_t& out);
QBASN_API unsigned int U2IA5(const qb_r_buffer_t& in, qb_buffer_t& out);
QBASN_API unsigned int BMP2IA5(const qb_r_buffer_t& in, qb_buffer_t& out);
// Widening: never fail. IA5 octets are Latin-1 code points.
QBASN_API unsigned int BMP2U(const qb_r_buffer_t& in, qb_buffer_t& out);
QBASN_API unsigned int IA52BMP(const qb_r_buffer_t& in, qb_buffer_t& out);
QBASN_API unsigned int IA52U(const qb_r_buffer_t& in, qb_buffer_t& out);
// T.61: IA52T61 restores `out` on failure; T612BMP composes a diacritic
// prefix (0xC1-0xCF) with the following letter and restores `out` on failure;
// T612IA5 is T612BMP then BMP2IA5.
QBASN_API unsigned int T612IA5(const qb_r_buffer_t& in, qb_buffer_t& out);
QBASN_API unsigned int T612BMP(const qb_r_buffer_t& in, qb_buffer_t& out);
QBASN_API unsigned int IA52T61(const qb_r_buffer_t& in, qb_buffer_t& out);
// P2IA5/V2IA5: clear `out`, then append the source (never fail).
QBASN_API unsigned int P2IA5(const qb_r_buffer_t& in, qb_buffer_t& out);
QBASN_API unsigned int V2IA5(const qb_r_buffer_t& in, qb_buffer_t& out);
// IA52P/IA52V: check every octet against the table; on failure `out` is
// untouched; on success `out` is cleared and the source appended.
QBASN_API unsigned int IA52P(const qb_r_buffer_t& in, qb_buffer_t& out);
QBASN_API unsigned int IA52V(const qb_r_buffer_t& in, qb_buffer_t& out);

// ---- qb_asn_charstring and the string classes ----

// qb_asn_charstring: an OCTET STRING whose octets are text in `codeset`
// (which is also its tag). A bare charstring accepts no code set.
class QBASN_API qb_asn_charstring : public qb_asn_octetstring {
public:
    unsigned int codeset;            // 0 until a constructor or setter sets it
    unsigned int preferred_codeset;  // used by qb_asn_directoryString

    explicit qb_asn_charstring(security_t s);
    ~qb_asn_charstring() override;

    int is_polymorphic() const override;
    // set_tag: relabels through set_codeset (0x106521AC when not accepted).
    unsigned int set_tag(unsigned int t) override;

    virtual int check_accepted_codeset(unsigned int cs) const;
    virtual int check_preferred_codeset(unsigned int cs) const;
    // set_codeset: relabel only (the octets are not converted).
    virtual unsigned int set_codeset(unsigned int cs);
    // get_value_C: the value as IA5 text mapped to the local C character set;
    // an octet without a local value becomes `subst`, or, when subst is 0,
    // empties `out` and fails with 0x106521AB.
    virtual unsigned int get_value_C(qb_buffer_t& out, char subst) const;
    // set_value_C: local C text (0x00-0x7F) stored in the first code set,
    // preferred then accepted, that the text converts into.
    virtual unsigned int set_value_C(const char* s);
    virtual unsigned int get_value_IA5(qb_buffer_t& out) const;
    // set_value_IA5: IA5 text, stored like set_value_C; `flag` is not used.
    virtual unsigned int set_value_IA5(const char* s, int flag);
    virtual unsigned int set_value_IA5(qb_r_buffer_t& v, int flag);
    virtual unsigned int get_value_printable(qb_buffer_t& out) const;
    virtual unsigned int set_value_printable(const char* s);
    virtual unsigned int set_value_printable(qb_r_buffer_t& v);
    virtual unsigned int get_value_visible(qb_buffer_t& out) const;
    virtual unsigned int set_value_visible(const char* s);
    virtual unsigned int set_value_visible(qb_r_buffer_t& v);
    virtual unsigned int get_value_T61(qb_buffer_t& out) const;
    virtual unsigned int set_value_T61(const char* s);
    virtual unsigned int set_value_T61(qb_r_buffer_t& v);
    virtual unsigned int get_value_BMP(qb_buffer_t& out) const;
    // set_value_BMP: units up to a 0 unit, each stored big-endian.
    virtual unsigned int set_value_BMP(const unsigned short* s);
    virtual unsigned int set_value_BMP(qb_r_buffer_t& v);
    virtual unsigned int get_value_Univ(qb_buffer_t& out) const;
    // Deliberate: set_value_Univ(unsigned int*) stores an empty value with code set 28.
    virtual unsigned int set_value_Univ(const unsigned int* s);
    virtual unsigned int set_value_Univ(qb_r_buffer_t& v);
    virtual unsigned int get_value_UTF8(qb_buffer_t& out) const;
    virtual unsigned int set_value_UTF8(const char* s);
    virtual unsigned int set_value_UTF8(qb_r_buffer_t& v);
    virtual unsigned int get_codeset() const;

    // set_value_uninterpreted: the octets as given; the code set is untouched.
    unsigned int set_value_uninterpreted(const unsigned char* p, unsigned int n);
    unsigned int set_value_uninterpreted(qb_r_buffer_t& v);

    // In-place conversions: 0x106521A0 without a value, 0x106521AC when the
    // target is not accepted, 0x106521AB when the value does not convert (the
    // value and code set are then unchanged).
    unsigned int convert2IA5();
    unsigned int convert2printable();
    unsigned int convert2visible();
    unsigned int convert2T61();
    unsigned int convert2BMP();
    unsigned int convert2Univ();
    unsigned int convert2UTF8();
    // Constant conversions: the converted value is appended to `out`; the
    // object never changes.
    unsigned int convert2IA5(qb_buffer_t& out) const;
    unsigned int convert2printable(qb_buffer_t& out) const;
    unsigned int convert2visible(qb_buffer_t& out) const;
    unsigned int convert2T61(qb_buffer_t& out) const;
    unsigned int convert2BMP(qb_buffer_t& out) const;
    unsigned int convert2Univ(qb_buffer_t& out) const;
    unsigned int convert2UTF8(qb_buffer_t& out) const;
};

class QBASN_API qb_asn_ia5String : public qb_asn_charstring {
public:
    explicit qb_asn_ia5String(security_t s);
    ~qb_asn_ia5String() override;
    int is_polymorphic() const override;
    int check_accepted_codeset(unsigned int cs) const override;
    int check_preferred_codeset(unsigned int cs) const override;
};

class QBASN_API qb_asn_printableString : public qb_asn_ia5String {
public:
    explicit qb_asn_printableString(security_t s);
    ~qb_asn_printableString() override;
    int check_accepted_codeset(unsigned int cs) const override;
    int check_preferred_codeset(unsigned int cs) const override;
};

class QBASN_API qb_asn_visibleString : public qb_asn_ia5String {
public:
    explicit qb_asn_visibleString(security_t s);
    ~qb_asn_visibleString() override;
    int check_accepted_codeset(unsigned int cs) const override;
    int check_preferred_codeset(unsigned int cs) const override;
};

class QBASN_API qb_asn_teletexString : public qb_asn_charstring {
public:
    explicit qb_asn_teletexString(security_t s);
    ~qb_asn_teletexString() override;
    int is_polymorphic() const override;
    int check_accepted_codeset(unsigned int cs) const override;
    int check_preferred_codeset(unsigned int cs) const override;
};

class QBASN_API qb_asn_bmpString : public qb_asn_charstring {
public:
    explicit qb_asn_bmpString(security_t s);
    ~qb_asn_bmpString() override;
    int is_polymorphic() const override;
    int check_accepted_codeset(unsigned int cs) const override;
    int check_preferred_codeset(unsigned int cs) const override;
};

class QBASN_API qb_asn_universalString : public qb_asn_charstring {
public:
    explicit qb_asn_universalString(security_t s);
    ~qb_asn_universalString() override;
    int is_polymorphic() const override;
    int check_accepted_codeset(unsigned int cs) const override;
    int check_preferred_codeset(unsigned int cs) const override;
};

class QBASN_API qb_asn_UTF8String : public qb_asn_charstring {
public:
    explicit qb_asn_UTF8String(security_t s);
    ~qb_asn_UTF8String() override;
    int is_polymorphic() const override;
    int check_accepted_codeset(unsigned int cs) const override;
    int check_preferred_codeset(unsigned int cs) const override;
};

// qb_asn_directoryString: holds any of 19, 26, 20, 28, 30, 22, 12; prefers
// 19, 20, 28, 12. Starts with code set 0.
class QBASN_API qb_asn_directoryString : public qb_asn_charstring {
public:
    explicit qb_asn_directoryString(security_t s);
    ~qb_asn_directoryString() override;
    // Deliberate: an incoming VisibleString tag (26) is refused although 26 is accepted as a code set.
    int check_type(unsigned int t, int cls) const override;
    unsigned int normalize() override;
    int check_accepted_codeset(unsigned int cs) const override;
    int check_preferred_codeset(unsigned int cs) const override;
    // set_preferred_codeset: 0 when the value converts to PrintableString
    // (preferred_codeset untouched); else converts to cs (12, 20, 28, 30),
    // -1 (0xFFFFFFFF) for any other cs.
    unsigned int set_preferred_codeset(unsigned int cs);
};

// ---- qbasnUTF8String ----

// qbasnUTF8String: the text member type of the records, a UTF8String. Its
// string mode is its security setting: security_lcs (2) converts between the
// process's local code set (the C library's current LC_CTYPE code set; the
// library never calls setlocale) and UTF-8; any other mode stores and returns
// the octets as they are. A text that cannot be converted throws
// qb_asn_exception with code 0x106521AB. Conversion state is kept per thread.
class QBASN_API qbasnUTF8String : public qb_asn_UTF8String {
public:
    explicit qbasnUTF8String(security_t mode);
    ~qbasnUTF8String() override;
    using qb_asn_octetstring::get_value;
    using qb_asn_octetstring::set_value;
    unsigned int set_default_value(qb_asn_object* d) override;

    // set_value: null or "" stores an empty value (the setter's status is returned).
    virtual unsigned int set_value(const char* s);
    virtual unsigned int set_value(const unsigned char* s);
    // get_value: a malloc'ed NUL-terminated copy for the caller to free;
    // 0x10652065 (out null) when the allocation fails.
    virtual unsigned int get_value(char*& out) const;
    virtual unsigned int get_value(unsigned char*& out) const;
    // set_default_value(): present, empty, code set 12.
    virtual unsigned int set_default_value();
};

#endif
