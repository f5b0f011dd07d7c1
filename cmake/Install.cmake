# What cmake --install puts where. The tree may be moved afterwards: every path in it starts at the file that holds it.
# Components: zulstats_runtime, zulstats_development, zulstats_tools, zulstats_documentation.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

set(package_folder ${CMAKE_INSTALL_LIBDIR}/cmake/zulstats64)
set(pkg_config_folder ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

target_include_directories(zulstats64 INTERFACE $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>)
install(TARGETS zulstats64 EXPORT zulstats64Targets
    RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT zulstats_runtime
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT zulstats_runtime
        NAMELINK_COMPONENT zulstats_development
    ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT zulstats_development)
install(FILES ${PROJECT_SOURCE_DIR}/src/api/zulstats64.h
    DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT zulstats_development)
if(WIN32)
    # Other compilers make their import library from it.
    install(FILES ${PROJECT_BINARY_DIR}/src/ZULSTATS64.def
        DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT zulstats_development)
endif()

# find_package(zulstats64) gives zulstats64::zulstats64.
configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/zulstats64Config.cmake.in
    ${PROJECT_BINARY_DIR}/zulstats64Config.cmake
    INSTALL_DESTINATION ${package_folder} NO_SET_AND_CHECK_MACRO)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/zulstats64ConfigVersion.cmake
    VERSION ${ZULSTATS_PACKAGE_VERSION} COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/zulstats64Config.cmake ${PROJECT_BINARY_DIR}/zulstats64ConfigVersion.cmake
    DESTINATION ${package_folder} COMPONENT zulstats_development)
install(EXPORT zulstats64Targets NAMESPACE zulstats64::
    DESTINATION ${package_folder} COMPONENT zulstats_development)

# pkg-config knows the folder of its file; from there the others are found, unless they are to be in a fixed place.
if(IS_ABSOLUTE "${CMAKE_INSTALL_LIBDIR}")
    set(pkg_config_prefix "${CMAKE_INSTALL_PREFIX}")
else()
    file(RELATIVE_PATH pkg_config_prefix "/prefix/${pkg_config_folder}" /prefix/.)
    string(REGEX REPLACE "/$" "" pkg_config_prefix "\${pcfiledir}/${pkg_config_prefix}")
endif()
foreach(folder INCLUDEDIR LIBDIR)
    set(pkg_config_${folder} "${CMAKE_INSTALL_${folder}}")
    if(NOT IS_ABSOLUTE "${CMAKE_INSTALL_${folder}}")
        set(pkg_config_${folder} "\${prefix}/${CMAKE_INSTALL_${folder}}")
    endif()
endforeach()
set(pkg_config_library zulstats64)
if(WIN32)
    set(pkg_config_library ZULSTATS64)
endif()
configure_file(${PROJECT_SOURCE_DIR}/cmake/zulstats64.pc.in ${PROJECT_BINARY_DIR}/zulstats64.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/zulstats64.pc DESTINATION ${pkg_config_folder} COMPONENT zulstats_development)

if(ZULSTATS_BUILD_TOOLS)
    if(NOT WIN32)
        file(RELATIVE_PATH libraries_from_programs ${CMAKE_INSTALL_FULL_BINDIR} ${CMAKE_INSTALL_FULL_LIBDIR})
        set_target_properties(zulstat PROPERTIES INSTALL_RPATH "$ORIGIN/${libraries_from_programs}")
    endif()
    install(TARGETS zulstat RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT zulstats_tools)
    if(TARGET zulstats_zulstat_texts)
        set(texts ${PROJECT_BINARY_DIR}/tools/zulstat)
        install(FILES ${texts}/zulstat.man DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 RENAME zulstat.1
            COMPONENT zulstats_tools)
        install(FILES ${texts}/zulstat.bash DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/bash-completion/completions
            RENAME zulstat COMPONENT zulstats_tools)
        install(FILES ${texts}/zulstat.zsh DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/zsh/site-functions RENAME _zulstat
            COMPONENT zulstats_tools)
        install(FILES ${texts}/zulstat.fish DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/fish/vendor_completions.d
            COMPONENT zulstats_tools)
    endif()
endif()
if(ZULSTATS_BUILD_SIM)
    install(TARGETS gatewaysim RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT zulstats_tools)
    if(NOT CMAKE_CROSSCOMPILING AND NOT WIN32)
        set(page ${PROJECT_BINARY_DIR}/gatewaysim.1)
        add_custom_command(OUTPUT ${page}
            COMMAND ${CMAKE_COMMAND} -DPROGRAM=$<TARGET_FILE:gatewaysim> -DNAME=gatewaysim
                "-DSUMMARY=stand in for a gateway daemon on a loopback address" -DVERSION=${ZULSTATS_PACKAGE_VERSION}
                -DPAGE=${page} -P ${PROJECT_SOURCE_DIR}/cmake/ManualPage.cmake
            DEPENDS gatewaysim ${PROJECT_SOURCE_DIR}/cmake/ManualPage.cmake VERBATIM)
        add_custom_target(zulstats_gatewaysim_page ALL DEPENDS ${page})
        install(FILES ${page} DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT zulstats_tools)
    endif()
endif()

# The README names the others by their place beside it. Below another project, CMAKE_INSTALL_DOCDIR is that project's.
set(documentation_folder ${CMAKE_INSTALL_DATAROOTDIR}/doc/zulstats64)
if(PROJECT_IS_TOP_LEVEL)
    set(documentation_folder ${CMAKE_INSTALL_DOCDIR})
endif()
foreach(document README CHANGELOG CONTRIBUTING SECURITY)
    install(FILES ${PROJECT_SOURCE_DIR}/${document}.md DESTINATION ${documentation_folder}
        COMPONENT zulstats_documentation)
endforeach()
install(DIRECTORY ${PROJECT_SOURCE_DIR}/docs DESTINATION ${documentation_folder} COMPONENT zulstats_documentation
    FILES_MATCHING PATTERN *.md PATTERN *.json)
