# Target scripted_peer: the other end of a connection, served by a script in the test process.
include_guard(GLOBAL)
if(WIN32)
    set(scripted_peer_of_this_system scripted_peer_windows.cpp)
else()
    set(scripted_peer_of_this_system scripted_peer_posix.cpp)
endif()
add_library(scripted_peer STATIC
    ${CMAKE_CURRENT_LIST_DIR}/scripted_peer.cpp
    ${CMAKE_CURRENT_LIST_DIR}/${scripted_peer_of_this_system})
target_include_directories(scripted_peer PUBLIC ${CMAKE_CURRENT_LIST_DIR})
find_package(Threads REQUIRED)
target_link_libraries(scripted_peer PRIVATE project_warnings PUBLIC Threads::Threads)
if(WIN32)
    target_link_libraries(scripted_peer PUBLIC ws2_32)
endif()
