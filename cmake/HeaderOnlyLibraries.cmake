# The header-only libraries of the programs and tests. Each is staged by a link in a folder of its own, so that a cross
# compiler sees these headers and nothing else of the host's.
function(stage_header_only_library target folder probe package)
    find_path(${target}_PARENT ${folder}/${probe} PATHS /usr/include /usr/local/include
              NO_CMAKE_FIND_ROOT_PATH NO_DEFAULT_PATH)
    if(NOT ${target}_PARENT)
        message(FATAL_ERROR "${folder}/${probe} was not found: install the Debian package ${package}")
    endif()
    set(staged ${PROJECT_BINARY_DIR}/header-only/${folder})
    file(MAKE_DIRECTORY ${staged})
    file(CREATE_LINK ${${target}_PARENT}/${folder} ${staged}/${folder} SYMBOLIC)
    add_library(${target} INTERFACE)
    target_include_directories(${target} SYSTEM INTERFACE ${staged})
endfunction()

stage_header_only_library(zulstats_cli11 CLI CLI.hpp libcli11-dev)
stage_header_only_library(zulstats_json nlohmann json.hpp nlohmann-json3-dev)
