# What stops a fault from becoming an intruder's, in everything that is built: position-independent
# programs, addresses that are resolved and write-protected before the start, no executable stack,
# checks of the stack and of the C library's buffers.
include(CheckPIESupported)
include(CheckCXXCompilerFlag)
check_pie_supported()
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
target_compile_options(vx_flags INTERFACE -fstack-protector-strong)
target_link_options(vx_flags INTERFACE LINKER:-z,relro,-z,now,-z,noexecstack)
# 32-bit ARM has no whole stack-clash protection: probes of some frames, which cost a page of the tool.
set(CMAKE_REQUIRED_FLAGS -Werror) # a compiler warns where its target has none
check_cxx_compiler_flag(-fstack-clash-protection VXBLADE_HAS_STACK_CLASH_PROTECTION)
unset(CMAKE_REQUIRED_FLAGS)
if(VXBLADE_HAS_STACK_CLASH_PROTECTION AND NOT CMAKE_SYSTEM_PROCESSOR MATCHES "^arm")
    target_compile_options(vx_flags INTERFACE -fstack-clash-protection)
endif()
# The library's checks need an optimiser; the sanitizers look at more.
if(CMAKE_BUILD_TYPE AND NOT CMAKE_BUILD_TYPE STREQUAL Debug AND NOT VXBLADE_SANITIZE)
    target_compile_options(vx_flags INTERFACE -U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=2)
endif()
