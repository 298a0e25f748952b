// asn1/qbasn_export.h - symbol visibility of the public API.
//
// The library is built with -fvisibility=hidden; everything callers may use
// carries QBASN_API, so only the public surface is exported from libqbasn.so.
#ifndef QBASN_EXPORT_H
#define QBASN_EXPORT_H

#if defined(_WIN32)
#  if defined(QBASN_BUILDING)
#    define QBASN_API __declspec(dllexport)
#  else
#    define QBASN_API __declspec(dllimport)
#  endif
#else
#  define QBASN_API __attribute__((visibility("default")))
#endif

#endif
