# For cross builds: CLI11, which is headers alone, without the rest of this machine's headers.
find_path(CLI11_HEADERS CLI/CLI.hpp PATHS /usr/include NO_DEFAULT_PATH NO_CMAKE_FIND_ROOT_PATH)
include(FindPackageHandleStandardArgs)
find_package_handle_standard_args(CLI11 REQUIRED_VARS CLI11_HEADERS)
file(MAKE_DIRECTORY ${CMAKE_BINARY_DIR}/cli11)
file(CREATE_LINK ${CLI11_HEADERS}/CLI ${CMAKE_BINARY_DIR}/cli11/CLI SYMBOLIC)
add_library(CLI11::CLI11 INTERFACE IMPORTED)
set_target_properties(CLI11::CLI11 PROPERTIES INTERFACE_INCLUDE_DIRECTORIES ${CMAKE_BINARY_DIR}/cli11)
