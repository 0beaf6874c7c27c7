# Warnings, sanitizers and build-wide switches, applied to the project's own targets alone.

function(norqstd_target_options target)
    target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic -Wconversion -Wshadow)
    if(CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
        target_compile_options(${target} PRIVATE -Wthread-safety)
    endif()
    if(NORQSTD_SANITIZE)
        target_compile_options(${target} PRIVATE -fsanitize=${NORQSTD_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all)
        target_link_options(${target} PRIVATE -fsanitize=${NORQSTD_SANITIZE})
    endif()
endfunction()
