# How this tree declares its targets: every folder is one target, and its link libraries are the
# folders that it may include.
find_package(PkgConfig REQUIRED)
find_package(Threads REQUIRED)
pkg_check_modules(ZMQ REQUIRED IMPORTED_TARGET libzmq)
pkg_check_modules(LIBCONFIG REQUIRED IMPORTED_TARGET libconfig++)
pkg_check_modules(LIBXML2 REQUIRED IMPORTED_TARGET libxml-2.0)
pkg_check_modules(ZLIB REQUIRED IMPORTED_TARGET zlib)
pkg_check_modules(CAIRO REQUIRED IMPORTED_TARGET cairo)

add_library(q5_options INTERFACE)
target_include_directories(q5_options INTERFACE ${CMAKE_SOURCE_DIR})
target_compile_options(q5_options INTERFACE
  -Wall -Wextra -Wshadow -Wformat=2 -Wundef -Wnon-virtual-dtor -Woverloaded-virtual -Werror
  $<$<CXX_COMPILER_ID:Clang>:-Wthread-safety>)
target_link_libraries(q5_options INTERFACE Threads::Threads)
if(Q5_SANITIZE)
  target_compile_options(q5_options INTERFACE
    -fsanitize=${Q5_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all -O1)
  target_compile_definitions(q5_options INTERFACE Q5_SANITIZED)
  target_link_options(q5_options INTERFACE -fsanitize=${Q5_SANITIZE})
endif()
if(Q5_FUZZ)
  # every folder is instrumented for coverage; only the fuzz targets link the driver
  target_compile_options(q5_options INTERFACE -fsanitize=fuzzer-no-link)
endif()

# q5_library(NAME SOURCES... LINK FOLDERS...)
function(q5_library name)
  cmake_parse_arguments(ARG "" "" "LINK" ${ARGN})
  add_library(${name} STATIC ${ARG_UNPARSED_ARGUMENTS})
  target_link_libraries(${name} PUBLIC q5_options ${ARG_LINK})
endfunction()

# q5_program(NAME SOURCES... LINK FOLDERS...)
function(q5_program name)
  cmake_parse_arguments(ARG "" "" "LINK" ${ARGN})
  add_executable(${name} ${ARG_UNPARSED_ARGUMENTS})
  target_link_libraries(${name} PRIVATE q5_options ${ARG_LINK})
endfunction()
