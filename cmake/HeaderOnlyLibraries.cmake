# The header-only libraries of the programs and tests. Each is staged by a link in a folder of its own, so that a cross
# compiler sees these headers and nothing else of the host's.
set(ZULSTATS_HEADER_FOLDERS /usr/include /usr/local/include CACHE STRING "Where header-only libraries are looked for")

function(zulstats_stage_headers target folder probe package)
    unset(zulstats_parent)
    find_path(zulstats_parent ${folder}/${probe} PATHS ${ZULSTATS_HEADER_FOLDERS}
              NO_CACHE NO_CMAKE_FIND_ROOT_PATH NO_DEFAULT_PATH)
    if(NOT zulstats_parent)
        message(FATAL_ERROR "${folder}/${probe} was not found in ${ZULSTATS_HEADER_FOLDERS}: install the "
                            "Debian package ${package}, or set ZULSTATS_HEADER_FOLDERS, or build the library alone "
                            "with -DZULSTATS_BUILD_TOOLS=OFF -DZULSTATS_BUILD_SIM=OFF -DZULSTATS_BUILD_TESTS=OFF")
    endif()
    set(staged ${PROJECT_BINARY_DIR}/header-only/${folder})
    file(MAKE_DIRECTORY ${staged})
    file(CREATE_LINK ${zulstats_parent}/${folder} ${staged}/${folder} SYMBOLIC)
    add_library(${target} INTERFACE)
    target_include_directories(${target} SYSTEM INTERFACE ${staged})
endfunction()

zulstats_stage_headers(zulstats_cli11 CLI CLI.hpp libcli11-dev)
zulstats_stage_headers(zulstats_json nlohmann json.hpp nlohmann-json3-dev)
