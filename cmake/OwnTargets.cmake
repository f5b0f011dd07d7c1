# Every target of the project links zulstats_warnings; nothing from elsewhere does.
add_library(zulstats_warnings INTERFACE)
if(MSVC)
    target_compile_options(zulstats_warnings INTERFACE /W4 /permissive- /Zc:preprocessor)
    target_compile_definitions(zulstats_warnings INTERFACE _CRT_SECURE_NO_WARNINGS)
    if(ZULSTATS_WARNINGS_AS_ERRORS)
        target_compile_options(zulstats_warnings INTERFACE /WX)
    endif()
else()
    target_compile_options(zulstats_warnings INTERFACE -Wall -Wextra -Wpedantic -Wconversion -Wshadow)
    if(ZULSTATS_WARNINGS_AS_ERRORS)
        target_compile_options(zulstats_warnings INTERFACE -Werror)
    endif()
endif()

# zulstats_own_target(target): the language and the file name that a product has, whatever a project on top asks of its
# own targets.
function(zulstats_own_target target)
    target_link_libraries(${target} PRIVATE $<BUILD_INTERFACE:zulstats_warnings>)
    set_target_properties(${target} PROPERTIES
        C_STANDARD 99 C_STANDARD_REQUIRED ON
        CXX_STANDARD 20 CXX_STANDARD_REQUIRED ON CXX_EXTENSIONS OFF
        UNITY_BUILD OFF)
    foreach(configuration ${CMAKE_BUILD_TYPE} ${CMAKE_CONFIGURATION_TYPES})
        string(TOUPPER ${configuration} configuration)
        set_target_properties(${target} PROPERTIES ${configuration}_POSTFIX "")
    endforeach()
endfunction()

# zulstats_own_program(target): a program or a part of one. It uses the whole language, and on Windows no runtime's DLL.
function(zulstats_own_program target)
    zulstats_own_target(${target})
    if(NOT MSVC)
        target_compile_options(${target} PRIVATE -fexceptions -frtti)
    endif()
    if(MINGW)
        target_link_options(${target} PRIVATE -static)
    endif()
endfunction()
