# Warnings for the project's own code: on, and errors.
function(weft_warnings target)
    if(MSVC)
        target_compile_options(${target} PRIVATE /W4 /WX)
    else()
        target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic -Werror
            -Wno-cast-function-type -Wno-unknown-pragmas)
    endif()
endfunction()

# A version resource for a DLL of the project: file and product version from the project's one
# version, the product name, and a description of the module.
function(weft_version_resource target description)
    set(WEFT_RC_NAME ${target})
    set(WEFT_RC_DESCRIPTION ${description})
    set(rc ${CMAKE_CURRENT_BINARY_DIR}/${target}_version.rc)
    configure_file(${PROJECT_SOURCE_DIR}/cmake/version.rc.in ${rc} @ONLY)
    target_sources(${target} PRIVATE ${rc})
endfunction()
