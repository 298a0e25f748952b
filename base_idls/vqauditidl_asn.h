// base_idls/vqauditidl_asn.h - audit events: attributes, trees of elements, events.
#ifndef QBASN_BASE_IDLS_VQAUDITIDL_ASN_H
#define QBASN_BASE_IDLS_VQAUDITIDL_ASN_H

#include "asn1/asnrecord.h"

// ---- flat records ----

// vqauditattribute_s_t: a named opaque value.
struct vqauditattribute_s_t {
    char* name;
    unsigned int length;
    unsigned char* value;
};

// vqauditelement_s_t: a named opaque value with `attribute_count` contiguous
// attributes and `element_count` contiguous sub-elements (a tree of any depth).
struct vqauditelement_s_t {
    char* name;
    unsigned int length;
    unsigned char* value;
    unsigned int attribute_count;
    vqauditattribute_s_t* attributes;
    unsigned int element_count;
    vqauditelement_s_t* elements;
};

// vqauditevent_s_t: one audit event: its type, name and outcome (the wire
// knows them only by position) and `count` contiguous top-level elements.
struct vqauditevent_s_t {
    int event_type;
    char* event_name;
    int outcome;
    unsigned int count;
    vqauditelement_s_t* elements;
};

// ---- record classes ----

class QBASN_API asn_vqauditattribute_t : public qb_asnbase {
public:
    qbasnUTF8String name{security};
    qbasn_octetstring value{security};
    QB_RECORD_CLASS(asn_vqauditattribute_t, vqauditattribute_s_t)
};

// The element is recursive: its sub-element list holds elements of its own class.
class QBASN_API asn_vqauditelement_t : public qb_asnbase {
public:
    qbasnUTF8String name{security};
    qbasn_octetstring value{security};
    qb_asn_sequenceof<asn_vqauditattribute_t> attributes{security};
    qb_asn_sequenceof<asn_vqauditelement_t> elements{security};
    QB_RECORD_CLASS(asn_vqauditelement_t, vqauditelement_s_t)
};

class QBASN_API asn_vqauditevent_t : public qb_asnbase {
public:
    qbasn_integer event_type{security};
    qbasnUTF8String event_name{security};
    qbasn_integer outcome{security};
    qb_asn_sequenceof<asn_vqauditelement_t> elements{security};
    QB_RECORD_CLASS(asn_vqauditevent_t, vqauditevent_s_t)
};

QB_RECORD_FUNCTIONS(vqauditattribute_s_t)
QB_RECORD_FUNCTIONS(vqauditelement_s_t)
QB_RECORD_FUNCTIONS(vqauditevent_s_t)

#endif
