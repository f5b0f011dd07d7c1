# Reads src/diag/version.h, where the versions stand:
#   ZULSTATS_PRODUCT_VERSION, ZULSTATS_API_VERSION   as they stand there
#   ZULSTATS_PACKAGE_VERSION                         of the CMake package, of pkg-config, and of the programs
#   ZULSTATS_LIBRARY_VERSION, ZULSTATS_SOVERSION     of the shared library's file and of its binary interface
set(version_header ${CMAKE_CURRENT_LIST_DIR}/../src/diag/version.h)
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${version_header})

foreach(name PRODUCT API)
    file(STRINGS ${version_header} line REGEX "^#define ZULSTATS_${name}_VERSION ")
    if(NOT line MATCHES [["(([0-9]+)[._]([0-9]+)[._]([0-9]+)[._][0-9]+)"$]])
        message(FATAL_ERROR "${version_header}: ZULSTATS_${name}_VERSION is not a text of four numbers")
    endif()
    set(ZULSTATS_${name}_VERSION ${CMAKE_MATCH_1})
    set(${name}_first_number ${CMAKE_MATCH_2})
    set(${name}_three_numbers ${CMAKE_MATCH_2}.${CMAKE_MATCH_3}.${CMAKE_MATCH_4})
endforeach()
set(ZULSTATS_PACKAGE_VERSION ${PRODUCT_three_numbers})
set(ZULSTATS_LIBRARY_VERSION ${API_three_numbers})
set(ZULSTATS_SOVERSION ${API_first_number})
