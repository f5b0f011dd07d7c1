# Target gatewaysim_process: starts and ends gatewaysim for a test program that links it.
include_guard(GLOBAL)
include(${CMAKE_CURRENT_LIST_DIR}/peer_sockets.cmake)
if(WIN32)
    set(child_program gatewaysim_process_windows.cpp)
else()
    set(child_program gatewaysim_process_posix.cpp)
endif()
add_library(zulstats_gatewaysim_process STATIC
    ${CMAKE_CURRENT_LIST_DIR}/gatewaysim_process.cpp
    ${CMAKE_CURRENT_LIST_DIR}/remote_child.cpp
    ${CMAKE_CURRENT_LIST_DIR}/${child_program})
target_include_directories(zulstats_gatewaysim_process PUBLIC ${CMAKE_CURRENT_LIST_DIR})
target_compile_definitions(zulstats_gatewaysim_process PRIVATE GATEWAYSIM_PROGRAM="$<TARGET_FILE:gatewaysim>")
find_package(Threads REQUIRED)
target_link_libraries(zulstats_gatewaysim_process PRIVATE zulstats_warnings zulstats_peer_sockets PUBLIC Threads::Threads)
add_dependencies(zulstats_gatewaysim_process gatewaysim)
