# Third-party dependencies, found once for the whole tree.
find_package(Threads REQUIRED)
find_package(Protobuf 3.21 REQUIRED)
if(CMAKE_CROSSCOMPILING)
  # Header-only libraries come from the build machine. Only their own folders go
  # on the include path: the build machine's /usr/include must stay out of a
  # Windows build.
  foreach(header_only nlohmann/json.hpp CLI/CLI.hpp)
    get_filename_component(folder ${header_only} DIRECTORY)
    find_path(header_root ${header_only} PATHS /usr/include NO_CMAKE_FIND_ROOT_PATH NO_DEFAULT_PATH REQUIRED)
    file(MAKE_DIRECTORY ${CMAKE_BINARY_DIR}/host_headers)
    file(CREATE_LINK ${header_root}/${folder} ${CMAKE_BINARY_DIR}/host_headers/${folder} SYMBOLIC)
    unset(header_root CACHE)
  endforeach()
  add_library(nlohmann_json::nlohmann_json INTERFACE IMPORTED)
  target_include_directories(nlohmann_json::nlohmann_json SYSTEM INTERFACE ${CMAKE_BINARY_DIR}/host_headers)
  add_library(CLI11::CLI11 INTERFACE IMPORTED)
  target_include_directories(CLI11::CLI11 SYSTEM INTERFACE ${CMAKE_BINARY_DIR}/host_headers)
else()
  find_package(nlohmann_json 3.10 REQUIRED)
  find_package(CLI11 QUIET CONFIG)
endif()
if(NOT TARGET CLI11::CLI11)
  find_path(CLI11_INCLUDE_DIR CLI/CLI.hpp REQUIRED)
  add_library(CLI11::CLI11 INTERFACE IMPORTED)
  target_include_directories(CLI11::CLI11 INTERFACE ${CLI11_INCLUDE_DIR})
endif()

# c-ares: the record API and ares_queue_wait_empty arrived in 1.28. scripts/setup
# builds 1.34.5 as a static PIC library into .deps/cares when the system's is older.
find_package(c-ares 1.28 REQUIRED CONFIG)
if(c-ares_VERSION VERSION_LESS 1.28)
  message(FATAL_ERROR "c-ares ${c-ares_VERSION} is too old; run scripts/setup")
endif()
if(TARGET c-ares::cares_static)
  set(WEXO_CARES_TARGET c-ares::cares_static)
else()
  set(WEXO_CARES_TARGET c-ares::cares)
endif()
message(STATUS "c-ares ${c-ares_VERSION} (${WEXO_CARES_TARGET})")

# The monitoring service of the probe (wexo-probe serve): configuration in YAML,
# metrics through prometheus-cpp's model and text format, HTTP with cpp-httplib.
# Built for the machine the probe runs on; a cross build leaves it out.
set(WEXO_SERVICE OFF)
if(NOT CMAKE_CROSSCOMPILING)
  find_package(yaml-cpp 0.6 REQUIRED CONFIG)
  find_package(prometheus-cpp REQUIRED CONFIG)
  find_package(PkgConfig REQUIRED)
  # Debian's cpp-httplib is a compiled library; its pkg-config flags carry the
  # feature macros it was built with, which the header must see too.
  pkg_check_modules(CPP_HTTPLIB REQUIRED IMPORTED_TARGET cpp-httplib>=0.11)
  set(WEXO_SERVICE ON)
endif()
