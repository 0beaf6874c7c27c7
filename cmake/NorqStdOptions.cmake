# Language, compiler cache, warnings and sanitizers of the project's own targets.

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)

if(PROJECT_IS_TOP_LEVEL AND NOT CMAKE_CXX_COMPILER_LAUNCHER)
    find_program(NORQSTD_CCACHE ccache)
    if(NORQSTD_CCACHE)
        set(CMAKE_CXX_COMPILER_LAUNCHER "${NORQSTD_CCACHE}")
    endif()
endif()

function(norqstd_target_options target)
    target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic -Wconversion -Wshadow)
    if(CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
        target_compile_options(${target} PRIVATE -Wthread-safety)
    endif()
    # Processor faults and alternate stacks are the library's to handle: the test preset takes them from the sanitizer.
    if(NORQSTD_SANITIZE)
        target_compile_options(${target} PRIVATE -fsanitize=${NORQSTD_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all)
        target_link_options(${target} PRIVATE -fsanitize=${NORQSTD_SANITIZE})
        # GCC binds the reference of a catch clause for forced unwinding to nothing, which this check reports in every
        # cancelled thread. What uses a null pointer still faults.
        if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND NORQSTD_SANITIZE MATCHES "undefined")
            target_compile_options(${target} PRIVATE -fno-sanitize=null)
        endif()
    endif()
endfunction()
