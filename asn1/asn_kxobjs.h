// asn1/asn_kxobjs.h - object updates and certificate requests.
//
// Three records of the later message set, each a SEQUENCE that begins with
// the INTEGER version 1 (qb_v37_asnbase) ahead of its own members:
//
//   kxobj_update    ::= SEQUENCE { version INTEGER (1), value_a INTEGER,
//                                  text OCTET STRING, value_b INTEGER }
//   update_list     ::= SEQUENCE { version INTEGER (1), items SEQUENCE OF kxobj_update }
//   cert_request_in ::= SEQUENCE { version INTEGER (1), text_a OCTET STRING,
//                                  text_b OCTET STRING, body OCTET STRING OPTIONAL }
//
// Texts travel as OCTET STRINGs that carry their terminating zero octet.
// Every OCTET STRING member accepts primitive, constructed and
// indefinite-length input; it is always written primitive.
//
// These records have no typed entry points: the untyped entry points of
// asn1/asn1.h serve the update list (object type 260) and the certificate
// request (object type 259); a single update travels only inside a list.
//
// Unlike the generated records, their set_value and get_value report list
// failures as status codes (0x10652065) instead of throwing. What get_value
// hangs into a plain record is malloc'ed and belongs to the caller, who
// returns it through free_obj (or qbasn_obj_free); after any failure of
// get_value the record is still safe to pass to free_obj.
#ifndef QBASN_ASN_KXOBJS_H
#define QBASN_ASN_KXOBJS_H

#include "asn1/asnbase.h"
#include "asn1/asnrecord.h"
#include "asn1/qbasn_export.h"

// ---- plain records ----

// kxobj_update_s_t: one object update. value_a and value_b are 32-bit
// values (low 32 bits on the way out, sign-extended on the way in).
struct kxobj_update_s_t {
    long value_a;
    char* text;  // zero-terminated, owned by the record
    long value_b;
};

// kxobj_update_list_s_t: `count` contiguous updates, owned by the record.
struct kxobj_update_list_s_t {
    unsigned int count;
    kxobj_update_s_t* items;
};

// cert_request_in: the input of a certificate request.
struct cert_request_in {
    char* text_a;         // zero-terminated, owned by the record
    char* text_b;         // zero-terminated, owned by the record
    unsigned int body_len;
    unsigned char* body;  // body_len octets, owned by the record; absent when body_len is 0
};

// ---- record classes ----

// qb_asn_kxobj_update_t: type name "kxobj_update".
class QBASN_API qb_asn_kxobj_update_t : public qb_v37_asnbase {
public:
    qbasn_integer value_a{security};
    qbasn_octetstring text{security};
    qbasn_integer value_b{security};

    explicit qb_asn_kxobj_update_t(security_t s);
    ~qb_asn_kxobj_update_t() override;

    // set_value: value_a, text (a null text is stored as the one octet 00),
    // value_b; returns the first nonzero status.
    int set_value(kxobj_update_s_t& r);
    // get_value: zeroes r, reads value_a and value_b, then text (malloc'ed);
    // returns the text's status. Throws qb_asn_memexception when the text
    // cannot be allocated (text stays null).
    int get_value(kxobj_update_s_t& r);
    // free_obj: frees text when it is not null; no field is cleared.
    static void free_obj(kxobj_update_s_t& r);
    // encode_obj/decode_obj: set_value and the envelope's save, or the
    // envelope's load and get_value; a qb_asn_exception is printed to stderr
    // and its code returned.
    int encode_obj(kxobj_update_s_t& r, qb_asn_buffer_t& out, int envelope_version);
    int decode_obj(kxobj_update_s_t& r, qb_asn_buffer_t& in, int envelope_version);
    static const qb_record_info& reflect();
};

// qb_asn_kxobj_update_list_t: type name "update_list".
class QBASN_API qb_asn_kxobj_update_list_t : public qb_v37_asnbase {
public:
    qb_asn_sequenceof<qb_asn_kxobj_update_t> items{security};

    explicit qb_asn_kxobj_update_list_t(security_t s);
    ~qb_asn_kxobj_update_list_t() override;

    // set_value: appends one element per item, in order, and fills it.
    // Elements already in the list stay. 0x10652065 when an element cannot
    // be created or appended (nothing leaks); 0x1065219C when count is not 0
    // but items is null; else the first nonzero status of an element.
    int set_value(kxobj_update_list_s_t& r);
    // get_value: zeroes r; count = the number of elements; items = a zeroed
    // malloc'ed array of count records (0x10652065 when it cannot be
    // allocated, with count already set and items null); each element is
    // read in order, the first nonzero status returned at once; a missing
    // element gives 0x10652065. Whatever it returns, r can go to free_obj.
    int get_value(kxobj_update_list_s_t& r);
    // free_obj: frees each of the count records (when items is not null),
    // then items; no field is cleared.
    static void free_obj(kxobj_update_list_s_t& r);
    int encode_obj(kxobj_update_list_s_t& r, qb_asn_buffer_t& out, int envelope_version);
    int decode_obj(kxobj_update_list_s_t& r, qb_asn_buffer_t& in, int envelope_version);
    static const qb_record_info& reflect();
};

// qb_asn_cert_request_in: type name "cert_request_in".
class QBASN_API qb_asn_cert_request_in : public qb_v37_asnbase {
public:
    qbasn_octetstring text_a{security};
    qbasn_octetstring text_b{security};
    qbasn_octetstring body{security};  // OPTIONAL

    explicit qb_asn_cert_request_in(security_t s);
    ~qb_asn_cert_request_in() override;

    // set_value: text_a and text_b (null stored as the one octet 00), then,
    // only when body_len is not 0, the body_len octets of body (0x1065219C
    // when body is null); with body_len 0 the body stays absent. Returns the
    // first nonzero status.
    int set_value(cert_request_in& r);
    // get_value: zeroes r, reads text_a and text_b (malloc'ed), then the
    // body: body_len octets malloc'ed, or body_len 0 and body null when it is
    // absent or empty. Throws qb_asn_memexception when a copy cannot be
    // allocated; r can still go to free_obj.
    int get_value(cert_request_in& r);
    // free_obj: frees text_a and text_b when not null, and body when
    // body_len is not 0 (the length decides, not the pointer).
    static void free_obj(cert_request_in& r);
    int encode_obj(cert_request_in& r, qb_asn_buffer_t& out, int envelope_version);
    int decode_obj(cert_request_in& r, qb_asn_buffer_t& in, int envelope_version);
    static const qb_record_info& reflect();
};

#endif
