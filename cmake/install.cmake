# Installation and the Debian package. Included at the end of the top-level CMakeLists.txt,
# when every target exists: the tools install themselves, this file adds the libraries (when
# the configuration builds them) and the application header.
include(GNUInstallDirs)

if(TARGET memtrace_sve_utils)
  install(TARGETS memtrace_sve_utils LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
endif()
# The client library and the host layer it needs (AArch64 only). The client finds the trace
# library beside itself wherever the installation is.
if(TARGET memtrace_sve_640)
  set_target_properties(memtrace_sve_640 PROPERTIES INSTALL_RPATH "$ORIGIN")
  install(TARGETS memtrace_sve_640 LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
endif()
if(TARGET sve_host)
  install(TARGETS sve_host LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
endif()
# sve-exec runs single words; sve-run installs itself (tools/sve-run).
if(TARGET sve-exec)
  install(TARGETS sve-exec RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
endif()
install(FILES ${SVE_ROOT}/include/sve_roi.h DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
# Documentation under the package's name, where Debian keeps it.
set(SVE_DOCDIR ${CMAKE_INSTALL_DATAROOTDIR}/doc/sve-emulator)
install(FILES ${SVE_ROOT}/companion/README.md DESTINATION ${SVE_DOCDIR} RENAME trace-format.md)
if(EXISTS ${SVE_ROOT}/tools/sve-trace/README.md)
  install(FILES ${SVE_ROOT}/tools/sve-trace/README.md DESTINATION ${SVE_DOCDIR} RENAME sve-trace.md)
endif()

# `cpack` in a build directory makes the Debian package of that configuration.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME sve-emulator)
set(CPACK_PACKAGE_VERSION 1.0.0)
set(CPACK_PACKAGE_CONTACT "SVE emulator developers <sve-emulator@localhost>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY
    "Runs AArch64 programs with SVE instructions on processors without SVE (640-bit vectors)")
string(CONCAT CPACK_PACKAGE_DESCRIPTION
    "A client library of a dynamic instrumentation framework that emulates the Scalable Vector "
    "Extension at a vector length of 640 bits, the companion library that writes memory traces "
    "of the emulated loads and stores, the sve-run launcher, the sve-trace reader of those traces, "
    "sve-exec, which runs single instruction words, and the sve_roi.h header with the "
    "region-of-interest markers.")
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION devel)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
if(SVE_AARCH64)
  set(CPACK_DEBIAN_PACKAGE_ARCHITECTURE arm64)
else()
  set(CPACK_DEBIAN_PACKAGE_ARCHITECTURE amd64)
endif()
set(CPACK_DEBIAN_PACKAGE_DEPENDS "libc6, libstdc++6")
include(CPack)
