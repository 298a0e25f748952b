// qbasn.h - the whole public surface of qbasn.
#ifndef QBASN_H
#define QBASN_H

#include "asn1/asnbase.h"
#include "asn1/asn1.h"
#include "asn1/asnstrng.h"
#include "asn1/asnutils.h"
#include "asn1/asnrecord.h"
#include "asn1/asnstatus.h"
#include "base_idls/attrlist_asn.h"

#endif
