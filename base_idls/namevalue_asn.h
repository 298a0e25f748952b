// base_idls/namevalue_asn.h - name-value trees and lists of them.
#ifndef QBASN_BASE_IDLS_NAMEVALUE_ASN_H
#define QBASN_BASE_IDLS_NAMEVALUE_ASN_H

#include "asn1/asnrecord.h"

// ---- flat records ----

// namevalue_s_t: a name with `value_count` value texts and `child_count`
// child records, each separately allocated and reached through the pointer
// array (a tree of any depth).
struct namevalue_s_t {
    char* name;
    unsigned int value_count;
    char** values;
    unsigned int child_count;
    namevalue_s_t** child_nodes;
};

// namevalueList_s_t: `count` name-value trees through an array of pointers.
struct namevalueList_s_t {
    unsigned int count;
    namevalue_s_t** namevalues;
};

// ---- record classes ----

// The name-value record is recursive: its child list holds records of its own class.
class QBASN_API asn_namevalue_t : public qb_asnbase {
public:
    qbasnUTF8String name{security};
    qb_asn_sequenceof<qbasnUTF8String> values{security};
    qb_asn_sequenceof<asn_namevalue_t> child_nodes{security};
    QB_RECORD_CLASS(asn_namevalue_t, namevalue_s_t)
};

class QBASN_API asn_namevalueList_t : public qb_asnbase {
public:
    qb_asn_sequenceof<asn_namevalue_t> namevalues{security};
    QB_RECORD_CLASS(asn_namevalueList_t, namevalueList_s_t)
};

QB_RECORD_FUNCTIONS(namevalue_s_t)
QB_RECORD_FUNCTIONS(namevalueList_s_t)

#endif
