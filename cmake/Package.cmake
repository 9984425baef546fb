# The Debian package: cpack -G DEB in the build directory.
set(CPACK_PACKAGE_NAME "valdrn")
set(CPACK_PACKAGE_VENDOR "VALDRN developers")
set(CPACK_PACKAGE_CONTACT "VALDRN developers <valdrn@localhost>")
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
# runtime is linked in, so this is the C library alone.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
# LAN+ access runs ipmitool; in-band access needs nothing else.
set(CPACK_DEBIAN_PACKAGE_RECOMMENDS "ipmitool")
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_STRIP_FILES ON)
set(CPACK_PACKAGING_INSTALL_PREFIX "/usr")
include(CPack)
