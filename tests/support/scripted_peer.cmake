# Target scripted_peer: the other end of a connection, served by a script in the test process; gateway_peer: a gateway as
# such a script, with its frames and the payloads of its answers.
include_guard(GLOBAL)
include(${CMAKE_CURRENT_LIST_DIR}/peer_sockets.cmake)
add_library(zulstats_scripted_peer STATIC ${CMAKE_CURRENT_LIST_DIR}/scripted_peer.cpp)
target_include_directories(zulstats_scripted_peer PUBLIC ${CMAKE_CURRENT_LIST_DIR})
find_package(Threads REQUIRED)
target_link_libraries(zulstats_scripted_peer PRIVATE zulstats_warnings PUBLIC zulstats_peer_sockets Threads::Threads)

add_library(zulstats_gateway_peer STATIC
    ${CMAKE_CURRENT_LIST_DIR}/gateway_frames.cpp
    ${CMAKE_CURRENT_LIST_DIR}/gateway_peer.cpp
    ${CMAKE_CURRENT_LIST_DIR}/reply_payload.cpp)
target_link_libraries(zulstats_gateway_peer PRIVATE zulstats_warnings PUBLIC zulstats_scripted_peer zulstats_test_bytes)
