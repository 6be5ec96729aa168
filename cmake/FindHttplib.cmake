# The server half of cpp-httplib as Debian builds it: a library, with TLS. Gives the target httplib::httplib.
find_path(Httplib_INCLUDE_DIR httplib.h)
find_library(Httplib_LIBRARY cpp-httplib)
include(FindPackageHandleStandardArgs)
find_package_handle_standard_args(Httplib REQUIRED_VARS Httplib_LIBRARY Httplib_INCLUDE_DIR
  REASON_FAILURE_MESSAGE "kestrix live needs it, and is left out")
if(Httplib_FOUND AND NOT TARGET httplib::httplib)
  find_package(Threads REQUIRED)
  find_package(OpenSSL REQUIRED COMPONENTS SSL)
  add_library(httplib::httplib UNKNOWN IMPORTED)
  set_target_properties(httplib::httplib PROPERTIES
    IMPORTED_LOCATION ${Httplib_LIBRARY}
    INTERFACE_INCLUDE_DIRECTORIES ${Httplib_INCLUDE_DIR}
    INTERFACE_COMPILE_DEFINITIONS CPPHTTPLIB_OPENSSL_SUPPORT
    INTERFACE_LINK_LIBRARIES "OpenSSL::SSL;Threads::Threads")
endif()
