# Run by cpack (through CPACK_PROJECT_CONFIG_FILE) before it builds the
# Debian package: the Depends line from dpkg-shlibdeps on the binaries the
# package holds, given in VALDRN_PACKED_BINARIES.
find_program(VALDRN_DPKG_SHLIBDEPS dpkg-shlibdeps)
if(NOT VALDRN_DPKG_SHLIBDEPS)
  message(FATAL_ERROR "dpkg-shlibdeps (package dpkg-dev) is needed to build the Debian package")
endif()
set(_work "${CPACK_PACKAGE_DIRECTORY}/_CPack_Packages/shlibdeps")
file(REMOVE_RECURSE "${_work}")
# dpkg-shlibdeps looks for a control file; an empty one is enough.
file(WRITE "${_work}/debian/control" "")
execute_process(COMMAND "${VALDRN_DPKG_SHLIBDEPS}" -O ${VALDRN_PACKED_BINARIES}
  WORKING_DIRECTORY "${_work}"
  OUTPUT_VARIABLE _shlibdeps ERROR_VARIABLE _shlibdeps_errors RESULT_VARIABLE _result)
if(NOT _result EQUAL 0 OR NOT _shlibdeps MATCHES "shlibs:Depends=([^\n]+)")
  message(FATAL_ERROR "dpkg-shlibdeps failed (${_result}): ${_shlibdeps}${_shlibdeps_errors}")
endif()
set(CPACK_DEBIAN_PACKAGE_DEPENDS "${CMAKE_MATCH_1}")
file(REMOVE_RECURSE "${_work}")
