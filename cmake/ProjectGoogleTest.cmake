# GoogleTest is built from the sources of Debian's package googletest: one way for the host, the sanitizers and the cross
# compiler alike.
set(ZULSTATS_GOOGLETEST_SOURCES /usr/src/googletest/googletest CACHE PATH "Folder of GoogleTest's own CMakeLists.txt")
if(NOT EXISTS ${ZULSTATS_GOOGLETEST_SOURCES}/CMakeLists.txt)
    message(FATAL_ERROR "GoogleTest's sources were not found in ${ZULSTATS_GOOGLETEST_SOURCES}: "
                        "install the Debian package googletest, or set ZULSTATS_GOOGLETEST_SOURCES, "
                        "or build without tests with -DZULSTATS_BUILD_TESTS=OFF")
endif()
set(INSTALL_GTEST OFF CACHE BOOL "" FORCE)
set(GOOGLETEST_VERSION 1.12.1)
add_subdirectory(${ZULSTATS_GOOGLETEST_SOURCES} ${PROJECT_BINARY_DIR}/googletest EXCLUDE_FROM_ALL SYSTEM)
include(GoogleTest)

# add_gtest_program(name SOURCES ... LIBRARIES ... [LABELS ...]): one test program, every test of it known to CTest by
# its own name, bounded in time and free to run beside all others.
function(add_gtest_program name)
    cmake_parse_arguments(ARG "" "" "SOURCES;LIBRARIES;LABELS" ${ARGN})
    add_executable(${name} ${ARG_SOURCES})
    target_link_libraries(${name} PRIVATE zulstats_warnings ${ARG_LIBRARIES} gtest_main)
    if(NOT MSVC)
        # The tests' own code is not what is measured: not optimised, it compiles three times as fast.
        target_compile_options(${name} PRIVATE -O0 -g1)
    endif()
    gtest_discover_tests(${name} DISCOVERY_MODE PRE_TEST DISCOVERY_TIMEOUT 60
                         PROPERTIES TIMEOUT 120 LABELS "${ARG_LABELS}")
endfunction()
