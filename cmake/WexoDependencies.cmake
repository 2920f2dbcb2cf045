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

# A host that loads the module, and wexo-probe above all, starts in a fraction
# of the time when neither binds the symbols of a shared libprotobuf and
# libstdc++: the module links protobuf-lite (scripts/setup builds it with -fPIC
# into .deps/protobuf-pic, from the release the system's headers belong to) and
# the C++ runtime into itself, hidden; wexo-probe links them statically too.
# Targets ask for it with the property WEXO_STATIC_PROTOBUF. The sanitizer
# builds keep the shared runtime, whose symbols the sanitizers intercept.
set(WEXO_PROTOBUF_PIC_PREFIX "${CMAKE_SOURCE_DIR}/.deps/protobuf-pic" CACHE PATH
    "Where scripts/setup built protobuf-lite with -fPIC")
set(WEXO_STATIC_RUNTIME_DEFAULT OFF)
if(NOT WIN32 AND NOT CMAKE_CROSSCOMPILING AND NOT WEXO_SANITIZE AND NOT WEXO_TSAN AND NOT WEXO_FUZZ)
  set(WEXO_STATIC_RUNTIME_DEFAULT ON)
endif()
option(WEXO_STATIC_RUNTIME "Link the module and wexo-probe with protobuf and the C++ runtime inside"
       ${WEXO_STATIC_RUNTIME_DEFAULT})
if(WEXO_STATIC_RUNTIME)
  find_library(WEXO_PROTOBUF_LITE_PIC libprotobuf-lite.a PATHS ${WEXO_PROTOBUF_PIC_PREFIX}/lib NO_DEFAULT_PATH)
  find_library(WEXO_PROTOBUF_LITE_STATIC libprotobuf-lite.a)
  if(NOT WEXO_PROTOBUF_LITE_PIC OR NOT WEXO_PROTOBUF_LITE_STATIC OR NOT Protobuf_VERSION VERSION_EQUAL 3.21.12)
    message(STATUS "protobuf ${Protobuf_VERSION}: no static runtime (run scripts/setup for .deps/protobuf-pic)")
    set(WEXO_STATIC_RUNTIME OFF)
  endif()
endif()
message(STATUS "static C++ and protobuf runtime in the module and wexo-probe: ${WEXO_STATIC_RUNTIME}")

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
