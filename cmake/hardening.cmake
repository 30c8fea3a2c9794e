# SPDX-License-Identifier: MIT
# keldo_hardening: the flags that make a memory error in one of our programs harder to exploit.
# Flags that a package build sets itself are not set again. A build with sanitizers gets none of
# these flags: the sanitizers check more, and some flags exclude some sanitizers.
include(CheckCXXCompilerFlag)
include(CheckCXXSourceCompiles)

add_library(keldo_hardening INTERFACE)
if(KELDO_SANITIZE)
    return()
endif()
foreach(flag -fstack-protector-strong -fstack-clash-protection -fcf-protection)
    string(MAKE_C_IDENTIFIER "keldo${flag}" is_known)
    # An architecture without the feature refuses the flag.
    check_cxx_compiler_flag("-Werror ${flag}" ${is_known})
    if(${is_known})
        target_compile_options(keldo_hardening INTERFACE ${flag})
    endif()
endforeach()
target_compile_options(keldo_hardening INTERFACE -fPIE)
target_link_options(keldo_hardening INTERFACE -pie -Wl,-z,relro -Wl,-z,now -Wl,-z,noexecstack)

# The check compiles with CMAKE_CXX_FLAGS, in which packagers may define the macro.
check_cxx_source_compiles("
    #ifdef _FORTIFY_SOURCE
    #error defined already
    #endif
    int main() {}" keldo_may_fortify)
if(keldo_may_fortify)
    # glibc warns about the macro in a build without optimisation.
    target_compile_definitions(keldo_hardening INTERFACE
        $<$<CONFIG:Release,RelWithDebInfo,MinSizeRel>:_FORTIFY_SOURCE=2>)
endif()
