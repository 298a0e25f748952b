// tools/qbasn/schema.h - `qbasn schema`: every wire type of the library as
// one ASN.1 module, generated from the reflection table.
#ifndef QBASN_TOOLS_SCHEMA_H
#define QBASN_TOOLS_SCHEMA_H

#include <cstdio>

namespace qbtool {

// write_schema: the ASN.1 module of every record the library describes.
void write_schema(FILE* out);

}  // namespace qbtool

#endif
