# Finds the host builds of Android's liblog and libbase, which distributions keep in "android" folders of their own, and
# defines Android::log and Android::base.
include(FindPackageHandleStandardArgs)

set(vars)
foreach(lib log base)
  find_library(Android_${lib}_LIBRARY NAMES ${lib} PATH_SUFFIXES android)
  list(APPEND vars Android_${lib}_LIBRARY)
endforeach()
find_path(Android_INCLUDE_DIR android/log.h PATH_SUFFIXES android)

find_package_handle_standard_args(AndroidLibs
  REQUIRED_VARS ${vars} Android_INCLUDE_DIR
  REASON_FAILURE_MESSAGE "install android-liblog-dev and android-libbase-dev")

if(AndroidLibs_FOUND)
  foreach(lib log base)
    if(NOT TARGET Android::${lib})
      add_library(Android::${lib} UNKNOWN IMPORTED)
      set_target_properties(Android::${lib} PROPERTIES
        IMPORTED_LOCATION ${Android_${lib}_LIBRARY}
        INTERFACE_INCLUDE_DIRECTORIES ${Android_INCLUDE_DIR})
    endif()
  endforeach()
endif()
