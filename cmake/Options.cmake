# Compiler options shared by everything in the tree, and the sanitizers of the asan and tsan presets.

find_package(Threads REQUIRED)

add_library(teskd_options INTERFACE)
target_compile_options(teskd_options INTERFACE
    -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Werror
    $<$<CXX_COMPILER_ID:Clang>:-Wthread-safety>
    # GCC 12 warns falsely of overlapping copies inside std::string when it optimises.
    $<$<CXX_COMPILER_ID:GNU>:-Wno-restrict>)
target_link_libraries(teskd_options INTERFACE Threads::Threads)

if(TESKD_SANITIZE)
    # The check of virtual tables opens a pipe to look at memory, so it reports every call while a
    # test leaves no descriptor; what it could find, the address sanitizer finds as well.
    target_compile_options(teskd_options INTERFACE
        -fsanitize=${TESKD_SANITIZE} -fno-sanitize=vptr -fno-sanitize-recover=all
        -fno-omit-frame-pointer)
    # For code that needs more room then; the compilers' own macros differ.
    target_compile_definitions(teskd_options INTERFACE TESKD_SANITIZED)
    target_link_options(teskd_options INTERFACE -fsanitize=${TESKD_SANITIZE})
endif()

# What ships is hardened: guarded stacks, checked buffers, no fixed addresses, a table of calls that
# nobody can write to once the program runs. The sanitizers do all that themselves, in other ways.
add_library(teskd_hardening INTERFACE)
if(NOT TESKD_SANITIZE)
    target_compile_options(teskd_hardening INTERFACE -fPIE -fstack-protector-strong
        $<$<CONFIG:Release>:-U_FORTIFY_SOURCE;-D_FORTIFY_SOURCE=2>)
    target_link_options(teskd_hardening INTERFACE -Wl,-z,relro,-z,now,-z,noexecstack)
endif()

find_program(TESKD_CCACHE ccache)
if(TESKD_CCACHE)
    set(CMAKE_CXX_COMPILER_LAUNCHER ${TESKD_CCACHE})
endif()
