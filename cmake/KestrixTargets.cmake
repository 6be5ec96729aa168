# The warnings that all of our own code is held to.
add_library(kestrix_warnings INTERFACE)
target_compile_options(kestrix_warnings INTERFACE -Wall -Wextra -Wpedantic -Wshadow -Wconversion)
# GCC 12 takes a text literal in front of a std::string for an overlapping copy when it optimises in full.
target_compile_options(kestrix_warnings INTERFACE $<$<CXX_COMPILER_ID:GNU>:-Wno-restrict>)
option(KESTRIX_WERROR "Treat warnings as errors" OFF)
if(KESTRIX_WERROR)
  target_compile_options(kestrix_warnings INTERFACE -Werror)
endif()

get_property(is_multi_config GLOBAL PROPERTY GENERATOR_IS_MULTI_CONFIG)
if(NOT CMAKE_BUILD_TYPE AND NOT is_multi_config)
  set(CMAKE_BUILD_TYPE Release CACHE STRING "Debug, Release, RelWithDebInfo or MinSizeRel" FORCE)
endif()

# One form of the device library, made from the objects that are compiled once for all forms.
function(kestrix_library name type)
  add_library(${name} ${type} $<TARGET_OBJECTS:kestrix_objects>)
  target_compile_features(${name} PUBLIC cxx_std_20)
  target_include_directories(${name} PUBLIC
    $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}> $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}/kestrix>)
  set_target_properties(${name} PROPERTIES
    OUTPUT_NAME Kestrix
    LIBRARY_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}
    ARCHIVE_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR})

  set(libraries jsoncpp_lib OpenSSL::Crypto Android::log Android::base)
  if(type STREQUAL SHARED)
    # Callers of the installed library need not have what it is built on: none of it shows in the headers.
    list(TRANSFORM libraries REPLACE "(.+)" "$<BUILD_INTERFACE:\\1>")
    set(exports ${PROJECT_SOURCE_DIR}/cmake/libKestrix.map.txt)
    target_link_options(${name} PRIVATE LINKER:--version-script=${exports})
    set_target_properties(${name} PROPERTIES
      LINK_DEPENDS ${exports}
      VERSION ${PROJECT_VERSION}
      SOVERSION ${PROJECT_VERSION_MAJOR})
    if(CMAKE_BUILD_TYPE STREQUAL MinSizeRel)
      set(stripped ${PROJECT_BINARY_DIR}/stripped.so)
      add_custom_command(TARGET ${name} POST_BUILD VERBATIM
        COMMAND ${CMAKE_STRIP} -o ${stripped} $<TARGET_FILE:${name}>
        COMMAND ${CMAKE_COMMAND} -D FILE=${stripped} -P ${PROJECT_SOURCE_DIR}/cmake/print_size.cmake)
    endif()
  endif()
  target_link_libraries(${name} PUBLIC ${libraries})
endfunction()
