# Target scripted_peer: the other end of a connection, served by a script in the test process.
include_guard(GLOBAL)
include(${CMAKE_CURRENT_LIST_DIR}/peer_sockets.cmake)
add_library(zulstats_scripted_peer STATIC ${CMAKE_CURRENT_LIST_DIR}/scripted_peer.cpp)
target_include_directories(zulstats_scripted_peer PUBLIC ${CMAKE_CURRENT_LIST_DIR})
find_package(Threads REQUIRED)
target_link_libraries(zulstats_scripted_peer PRIVATE zulstats_warnings PUBLIC zulstats_peer_sockets Threads::Threads)
