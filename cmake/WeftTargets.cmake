# Warnings for the project's own code: on, and errors.
function(weft_warnings target)
    target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic -Werror
        -Wno-cast-function-type -Wno-unknown-pragmas)
endfunction()
