# Settings that every target of this project shares.

# The library's name carries the pointer width, so that a host can ship both beside each other.
math(EXPR ZTK_POINTER_BITS "${CMAKE_SIZEOF_VOID_P} * 8")
set(ZTK_OUTPUT_NAME ZtkAgentLib${ZTK_POINTER_BITS})

find_package(Threads REQUIRED)
if(NOT WIN32)
    # The parser under the DOM; Windows brings its own DOM along. Older ones cannot limit expansion.
    find_package(EXPAT 2.4 REQUIRED)
endif()

# Language, warnings and sanitizers of our own code. A host gets none of these.
add_library(ztk_build_flags INTERFACE)
target_compile_features(ztk_build_flags INTERFACE cxx_std_20)
target_compile_options(ztk_build_flags INTERFACE
    -Wall -Wextra -Wpedantic $<$<BOOL:${ZTK_WARNINGS_AS_ERRORS}>:-Werror>
    # Checks what ztk/platform/thread_annotations.h says; no other compiler can.
    $<$<CXX_COMPILER_ID:Clang>:-Wthread-safety>)
target_include_directories(ztk_build_flags INTERFACE ${PROJECT_SOURCE_DIR}/src)
if(WIN32 AND CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    # This compiler aligns the stack to 16 bytes on Windows and yet moves 32-byte values to it with
    # instructions that fault there. The assembler can put others in their place, or there is no AVX2.
    include(CheckCXXCompilerFlag)
    check_cxx_compiler_flag(-Wa,-muse-unaligned-vector-move ZTK_HAS_UNALIGNED_VECTOR_MOVE)
    if(ZTK_HAS_UNALIGNED_VECTOR_MOVE)
        target_compile_options(ztk_build_flags INTERFACE -Wa,-muse-unaligned-vector-move)
    else()
        target_compile_definitions(ztk_build_flags INTERFACE ZTK_NO_AVX2_CODE)
    endif()
endif()
if(ZTK_SANITIZE)
    target_compile_options(ztk_build_flags INTERFACE
        -fsanitize=${ZTK_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
    target_link_options(ztk_build_flags INTERFACE -fsanitize=${ZTK_SANITIZE})
endif()

# Wide text is 16 bits on both targets. On Windows that is how the compiler works anyway; elsewhere
# the library, its hosts, tests and benchmarks must all ask for it.
add_library(ztk_wide_text INTERFACE)
if(NOT WIN32)
    target_compile_options(ztk_wide_text INTERFACE -fshort-wchar)
endif()
