# Install rules of libqbasn: the library, the public headers, the CMake package
# (qbasnConfig.cmake, qbasnConfigVersion.cmake, qbasnTargets.cmake) and the
# pkg-config file. Included from the top-level CMakeLists.txt after the target
# `qbasn` exists; expects QBASN_INSTALL_LIBDIR, QBASN_INSTALL_INCLUDEDIR and
# QBASN_INSTALL_CMAKEDIR.

include(CMakePackageConfigHelpers)

install(TARGETS qbasn
  EXPORT qbasnTargets
  LIBRARY DESTINATION "${QBASN_INSTALL_LIBDIR}"
  ARCHIVE DESTINATION "${QBASN_INSTALL_LIBDIR}"
  RUNTIME DESTINATION bin
)

# Public headers keep their directories under <prefix>/include/qbasn.
# asn1/internal/ is private to the library and its tests and is never installed
# (the glob does not descend into subdirectories).
install(FILES "${PROJECT_SOURCE_DIR}/qbasn.h" DESTINATION "${QBASN_INSTALL_INCLUDEDIR}")

file(GLOB QBASN_PUBLIC_ASN1_HEADERS CONFIGURE_DEPENDS "${PROJECT_SOURCE_DIR}/asn1/*.h")
install(FILES ${QBASN_PUBLIC_ASN1_HEADERS} DESTINATION "${QBASN_INSTALL_INCLUDEDIR}/asn1")

if(IS_DIRECTORY "${PROJECT_SOURCE_DIR}/base_idls")
  file(GLOB QBASN_PUBLIC_IDL_HEADERS CONFIGURE_DEPENDS "${PROJECT_SOURCE_DIR}/base_idls/*.h")
  if(QBASN_PUBLIC_IDL_HEADERS)
    install(FILES ${QBASN_PUBLIC_IDL_HEADERS} DESTINATION "${QBASN_INSTALL_INCLUDEDIR}/base_idls")
  endif()
endif()

# The C++ convenience layer: #include "qbasn/cxx.h".
install(FILES "${PROJECT_SOURCE_DIR}/qbasn/cxx.h" DESTINATION "${QBASN_INSTALL_INCLUDEDIR}/qbasn")

# CMake package: find_package(qbasn CONFIG REQUIRED) gives qbasn::qbasn.
install(EXPORT qbasnTargets
  NAMESPACE qbasn::
  FILE qbasnTargets.cmake
  DESTINATION "${QBASN_INSTALL_CMAKEDIR}"
)

configure_package_config_file(
  "${PROJECT_SOURCE_DIR}/cmake/qbasnConfig.cmake.in"
  "${PROJECT_BINARY_DIR}/qbasnConfig.cmake"
  INSTALL_DESTINATION "${QBASN_INSTALL_CMAKEDIR}"
)
# Before 1.0 a minor release may change the interface: only the same
# major.minor satisfies a request.
write_basic_package_version_file(
  "${PROJECT_BINARY_DIR}/qbasnConfigVersion.cmake"
  VERSION ${PROJECT_VERSION}
  COMPATIBILITY SameMinorVersion
)
install(FILES
  "${PROJECT_BINARY_DIR}/qbasnConfig.cmake"
  "${PROJECT_BINARY_DIR}/qbasnConfigVersion.cmake"
  DESTINATION "${QBASN_INSTALL_CMAKEDIR}"
)

# pkg-config file. The prefix is known only when installing
# (`cmake --install <build> --prefix P`), so the file is written by the install
# script itself; file(INSTALL) honours DESTDIR and records it in the manifest.
install(CODE "
  get_filename_component(_qbasn_pc_prefix \"\${CMAKE_INSTALL_PREFIX}\" ABSOLUTE)
  set(QBASN_PC_PREFIX \"\${_qbasn_pc_prefix}\")
  set(QBASN_PC_LIBDIR \"${QBASN_INSTALL_LIBDIR}\")
  set(QBASN_PC_VERSION \"${PROJECT_VERSION}\")
  configure_file(\"${PROJECT_SOURCE_DIR}/cmake/qbasn.pc.in\"
                 \"${PROJECT_BINARY_DIR}/pkgconfig/qbasn.pc\" @ONLY)
  file(INSTALL DESTINATION \"\${CMAKE_INSTALL_PREFIX}/${QBASN_INSTALL_LIBDIR}/pkgconfig\"
       TYPE FILE FILES \"${PROJECT_BINARY_DIR}/pkgconfig/qbasn.pc\")
")
