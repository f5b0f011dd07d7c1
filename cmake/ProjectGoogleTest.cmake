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

# Neither the tests' own code nor GoogleTest is what is measured: not optimised, it compiles three times as fast.
if(NOT MSVC)
    foreach(library gtest gtest_main)
        target_compile_options(${library} PRIVATE -O0 -g1)
    endforeach()
    # For everything below the folder that includes this file.
    add_compile_options(-O0 -g1)
endif()

# GoogleTest's header, read once for all test programs. No other header stands beside it: a test that forgets one which
# GoogleTest does not draw in anyway does not compile.
set(precompiled_source ${CMAKE_CURRENT_BINARY_DIR}/precompiled_gtest.cpp)
file(CONFIGURE OUTPUT ${precompiled_source} CONTENT "int main() {}\n")
add_executable(zulstats_precompiled_gtest EXCLUDE_FROM_ALL ${precompiled_source})
target_link_libraries(zulstats_precompiled_gtest PRIVATE zulstats_warnings gtest)
target_precompile_headers(zulstats_precompiled_gtest PRIVATE "$<$<COMPILE_LANGUAGE:CXX>:<gtest/gtest.h$<ANGLE-R>>")

# add_gtest_program(target SOURCES ... LIBRARIES ... [LABELS ...]): one test program, every test of it known to CTest by
# its own name, bounded in time and free to run beside all others. The program is called like the target, without the
# project's prefix zulstats_. The file test-programs.tsv of the build folder lists the programs for scripts/run-tests.
function(add_gtest_program target)
    cmake_parse_arguments(ARG "" "" "SOURCES;LIBRARIES;LABELS" ${ARGN})
    string(REGEX REPLACE "^zulstats_" "" name ${target})
    add_executable(${target} ${ARG_SOURCES})
    set(c_sources ${ARG_SOURCES})
    list(FILTER c_sources INCLUDE REGEX "\\.c$")
    set_source_files_properties(${c_sources} PROPERTIES SKIP_PRECOMPILE_HEADERS ON)
    set_target_properties(${target} PROPERTIES OUTPUT_NAME ${name})
    target_link_libraries(${target} PRIVATE zulstats_warnings ${ARG_LIBRARIES} gtest_main)
    target_precompile_headers(${target} REUSE_FROM zulstats_precompiled_gtest)
    list(GET ARG_LABELS 0 first_label)  # CTest is given one: a list would not arrive whole
    gtest_discover_tests(${target} DISCOVERY_MODE PRE_TEST DISCOVERY_TIMEOUT 60
                         PROPERTIES TIMEOUT 120 LABELS ${first_label})
    list(JOIN ARG_LABELS " " labels)
    set_property(GLOBAL APPEND_STRING PROPERTY ZULSTATS_TEST_PROGRAMS "${name}\t$<TARGET_FILE:${target}>\t${labels}\n")
endfunction()

# One line for each program: name, file and labels, parted by tabulators.
function(write_test_programs)
    get_property(lines GLOBAL PROPERTY ZULSTATS_TEST_PROGRAMS)
    file(GENERATE OUTPUT ${PROJECT_BINARY_DIR}/test-programs.tsv CONTENT "${lines}")
endfunction()
cmake_language(DEFER CALL write_test_programs)
