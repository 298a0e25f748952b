// qbasn.h - the whole public surface of qbasn.
#ifndef QBASN_H
#define QBASN_H

#include "asn1/asnbase.h"
#include "asn1/asn1.h"
#include "asn1/asnstrng.h"
#include "asn1/asnutils.h"
#include "asn1/asnrecord.h"
#include "asn1/asnstatus.h"
#include "asn1/asn_kxobjs.h"
#include "base_idls/aclidl_asn.h"
#include "base_idls/actionidl_asn.h"
#include "base_idls/attrlist_asn.h"
#include "base_idls/aznserver_asn.h"
#include "base_idls/kxaclobjs_asn.h"
#include "base_idls/kxcreds_asn.h"
#include "base_idls/kxobj_asn.h"
#include "base_idls/kxpopobjs_asn.h"
#include "base_idls/kxsvr_enc_asn.h"
#include "base_idls/namevalue_asn.h"
#include "base_idls/pobj_asn.h"
#include "base_idls/principal_asn.h"
#include "base_idls/remotelog_asn.h"
#include "base_idls/vqauditidl_asn.h"

#endif
