# The Debian package: cpack -G DEB in the build directory.
set(CPACK_PACKAGE_NAME "valdrn")
set(CPACK_PACKAGE_VENDOR "The VALDRN Project")
# The project has no mail host of its own yet: the default names a reserved
# domain that can never belong to anyone else. Whoever ships the package
# sets their own address here.
set(VALDRN_PACKAGE_MAINTAINER "The VALDRN Project <maintainers@valdrn.invalid>"
    CACHE STRING "Maintainer of the Debian package: Name <address>")
set(CPACK_PACKAGE_CONTACT "${VALDRN_PACKAGE_MAINTAINER}")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "${PROJECT_DESCRIPTION}")
set(CPACK_PACKAGE_DESCRIPTION
"VALDRN moves IPMI platform data between local files and a server's
baseboard management controller: the Sensor Data Records of its SDR
repository and the inventory data of its FRU devices. It downloads SDR
and FRU files (text or binary) into the BMC, uploads the BMC's data into
text files, verifies the BMC against a file, tests files without a BMC,
and updates one FRU field in place. It reaches the BMC through the Linux
OpenIPMI driver, by direct KCS port I/O, or over LAN+ through ipmitool.")
set(CPACK_GENERATOR "DEB")
set(CPACK_DEBIAN_FILE_NAME "DEB-DEFAULT")
set(CPACK_DEBIAN_PACKAGE_SECTION "admin")
set(CPACK_DEBIAN_PACKAGE_PRIORITY "optional")
# The dependencies are computed from the binaries by dpkg-shlibdeps; the C++
# runtime is linked in, so this is the C library alone. CPack's own
# dpkg-shlibdeps step also adds ldconfig calls for any library under
# /usr/lib, which our private lib/valdrn does not need (lintian's
# maintscript-calls-ldconfig): so CPack's step stays off, and the script
# below runs dpkg-shlibdeps itself when cpack starts, on the three
# binaries the package holds, as built.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS OFF)
file(GENERATE OUTPUT "${CMAKE_BINARY_DIR}/CPackDebianDepends.cmake" CONTENT
"if(CPACK_GENERATOR STREQUAL \"DEB\")
  set(VALDRN_PACKED_BINARIES \"$<TARGET_FILE:VALDRN>;$<TARGET_FILE:openraw>;$<TARGET_FILE:kcsio>\")
  include(\"${CMAKE_CURRENT_LIST_DIR}/debian/shlibdeps.cmake\")
endif()
")
set(CPACK_PROJECT_CONFIG_FILE "${CMAKE_BINARY_DIR}/CPackDebianDepends.cmake")
# LAN+ access runs ipmitool; in-band access needs nothing else.
set(CPACK_DEBIAN_PACKAGE_RECOMMENDS "ipmitool")
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_STRIP_FILES ON)
set(CPACK_PACKAGING_INSTALL_PREFIX "/usr")

# Debian's copyright file (machine-readable) and the changelog of a native
# package, in the package's documents folder.
configure_file(${CMAKE_CURRENT_LIST_DIR}/debian/copyright.in ${CMAKE_BINARY_DIR}/debian/copyright @ONLY)
configure_file(${CMAKE_CURRENT_LIST_DIR}/debian/changelog.in ${CMAKE_BINARY_DIR}/debian/changelog @ONLY)
add_custom_command(OUTPUT ${CMAKE_BINARY_DIR}/debian/changelog.gz
  COMMAND ${GZIP} -9 -n -c ${CMAKE_BINARY_DIR}/debian/changelog > ${CMAKE_BINARY_DIR}/debian/changelog.gz
  DEPENDS ${CMAKE_BINARY_DIR}/debian/changelog
  COMMENT "Compressing the changelog")
add_custom_target(debian_changelog ALL DEPENDS ${CMAKE_BINARY_DIR}/debian/changelog.gz)
install(FILES ${CMAKE_BINARY_DIR}/debian/copyright ${CMAKE_BINARY_DIR}/debian/changelog.gz
        DESTINATION ${CMAKE_INSTALL_DOCDIR})
include(CPack)
