# Makes what each linker wants from the one checked-in list of exported functions: a version script and a .def file.
file(STRINGS ${ZULSTATS_EXPORTS} exported_functions REGEX "^[A-Za-z]")
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${ZULSTATS_EXPORTS})

string(JOIN ";\n        " version_script_names ${exported_functions})
set(ZULSTATS_VERSION_SCRIPT ${CMAKE_CURRENT_BINARY_DIR}/zulstats64.map)
file(WRITE ${ZULSTATS_VERSION_SCRIPT}.new
    "ZULSTATS64_1 {\n    global:\n        ${version_script_names};\n    local:\n        *;\n};\n")
file(COPY_FILE ${ZULSTATS_VERSION_SCRIPT}.new ${ZULSTATS_VERSION_SCRIPT} ONLY_IF_DIFFERENT)

string(JOIN "\n    " def_names ${exported_functions})
set(ZULSTATS_DEF_FILE ${CMAKE_CURRENT_BINARY_DIR}/ZULSTATS64.def)
file(WRITE ${ZULSTATS_DEF_FILE}.new "LIBRARY ZULSTATS64\nEXPORTS\n    ${def_names}\n")
file(COPY_FILE ${ZULSTATS_DEF_FILE}.new ${ZULSTATS_DEF_FILE} ONLY_IF_DIFFERENT)
