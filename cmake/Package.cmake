# What programs find the installed layer by: headers, pkg-config's vxblade.pc, CMake's package.
include(CMakePackageConfigHelpers)
install(DIRECTORY include/vxblade DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})

set(package ${CMAKE_INSTALL_LIBDIR}/cmake/vxblade)
install(EXPORT vxblade NAMESPACE vxblade:: DESTINATION ${package} FILE vxbladeConfig.cmake)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/vxbladeConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/vxbladeConfigVersion.cmake DESTINATION ${package})

# The layer and what it imports need each other: a linker of static libraries goes around them.
set(libraries -lvxblade)
foreach(library IN LISTS VXBLADE_PLATFORM_SHARED)
    string(REGEX REPLACE "_shared$" "" library ${library})
    if(NOT library MATCHES "^[/-]") # neither a path nor a flag
        string(PREPEND library -l)
    endif()
    string(APPEND libraries " ${library}")
endforeach()
file(RELATIVE_PATH prefix ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
string(REGEX REPLACE "/$" "" prefix ${prefix})
file(CONFIGURE OUTPUT vxblade.pc @ONLY CONTENT [[
prefix=${pcfiledir}/@prefix@
Name: vxblade
Description: The platform layer of a storage bridge blade
Version: @PROJECT_VERSION@
Cflags: -I${prefix}/@CMAKE_INSTALL_INCLUDEDIR@
Libs: -L${prefix}/@CMAKE_INSTALL_LIBDIR@ -Wl,--start-group @libraries@ -Wl,--end-group
]])
install(FILES ${PROJECT_BINARY_DIR}/vxblade.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
