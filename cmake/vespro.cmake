# How every target of this project is built, and the one way to declare a module.

find_package(Threads REQUIRED)
include(${CMAKE_CURRENT_LIST_DIR}/product.cmake)

add_library(vespro_options INTERFACE)
target_compile_options(vespro_options INTERFACE
  -Wall -Wextra -Wpedantic -Werror -Wshadow -Wnon-virtual-dtor -Woverloaded-virtual -Wcast-align
  -Wconversion -Wsign-conversion -Wimplicit-fallthrough -Wold-style-cast)
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
  # GCC 12 takes its own inlined string concatenation for overlapping memory (GCC bug 105651).
  target_compile_options(vespro_options INTERFACE -Wno-restrict)
endif()
target_include_directories(vespro_options INTERFACE ${PROJECT_SOURCE_DIR}/src)
target_compile_definitions(vespro_options INTERFACE VESPRO_VERSION="${PROJECT_VERSION}")
if(WIN32)
  target_compile_definitions(vespro_options INTERFACE
    UNICODE _UNICODE WIN32_LEAN_AND_MEAN NOMINMAX _WIN32_WINNT=0x0601)
  # One file to copy: neither Windows nor Wine has mingw's runtime libraries.
  target_link_options(vespro_options INTERFACE -static)
else()
  target_compile_options(vespro_options INTERFACE -fstack-protector-strong)
  if(CMAKE_BUILD_TYPE STREQUAL "Release")
    target_compile_definitions(vespro_options INTERFACE _FORTIFY_SOURCE=2)
  endif()
endif()
if(VESPRO_SANITIZE)
  add_compile_options(-fsanitize=${VESPRO_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  add_link_options(-fsanitize=${VESPRO_SANITIZE})
endif()
if(VESPRO_FUZZ)
  add_compile_options(-fsanitize=fuzzer-no-link)
endif()

# Header-only libraries come from Debian's packages for every target. A cross compiler must not see
# the rest of /usr/include, so they are linked into a folder of their own.
set(VESPRO_HEADERS ${CMAKE_BINARY_DIR}/headers)
file(MAKE_DIRECTORY ${VESPRO_HEADERS})
foreach(header CLI asio asio.hpp nlohmann)
  if(NOT EXISTS /usr/include/${header})
    message(FATAL_ERROR "/usr/include/${header} is missing: apt-get install libcli11-dev libasio-dev nlohmann-json3-dev")
  endif()
  file(CREATE_LINK /usr/include/${header} ${VESPRO_HEADERS}/${header} SYMBOLIC)
endforeach()
add_library(vespro_cli11 INTERFACE)
target_include_directories(vespro_cli11 SYSTEM INTERFACE ${VESPRO_HEADERS})
add_library(vespro_json INTERFACE)
target_include_directories(vespro_json SYSTEM INTERFACE ${VESPRO_HEADERS})
add_library(vespro_asio INTERFACE)
target_include_directories(vespro_asio SYSTEM INTERFACE ${VESPRO_HEADERS})
target_compile_definitions(vespro_asio INTERFACE ASIO_STANDALONE ASIO_NO_DEPRECATED)
target_link_libraries(vespro_asio INTERFACE Threads::Threads)
if(WIN32)
  target_link_libraries(vespro_asio INTERFACE ws2_32 mswsock)
endif()

# GoogleTest is built from the sources that Debian ships, so that every compiler gets its own.
option(VESPRO_TESTS "Build the tests and benchmarks" ON)
if(VESPRO_TESTS)
  set(BUILD_GMOCK OFF CACHE INTERNAL "")
  set(INSTALL_GTEST OFF CACHE INTERNAL "")
  add_subdirectory(/usr/src/googletest ${CMAKE_BINARY_DIR}/googletest EXCLUDE_FROM_ALL SYSTEM)
endif()

# vespro_module(NAME SOURCES ... [TESTS ...] [USES module ...] [LIBRARIES ...])
# A module is the static library vespro_NAME and, with TESTS, one test program NAME_test.
function(vespro_module name)
  cmake_parse_arguments(MODULE "" "" "SOURCES;TESTS;USES;LIBRARIES" ${ARGN})
  add_library(vespro_${name} STATIC ${MODULE_SOURCES})
  list(TRANSFORM MODULE_USES PREPEND vespro_)
  target_link_libraries(vespro_${name} PUBLIC ${MODULE_USES} vespro_options ${MODULE_LIBRARIES})
  if(MODULE_TESTS AND VESPRO_TESTS)
    add_executable(${name}_test ${MODULE_TESTS})
    target_link_libraries(${name}_test PRIVATE vespro_${name} gtest_main)
    add_test(NAME ${name} COMMAND ${name}_test)
    set_tests_properties(${name} PROPERTIES TIMEOUT 300)
  endif()
endfunction()

# vespro_fuzzer(NAME SOURCE USES module ...): a libFuzzer program, in the fuzz preset only.
function(vespro_fuzzer name source)
  cmake_parse_arguments(FUZZ "" "" "USES" ${ARGN})
  if(VESPRO_FUZZ)
    add_executable(${name} ${source})
    list(TRANSFORM FUZZ_USES PREPEND vespro_)
    target_link_libraries(${name} PRIVATE ${FUZZ_USES} vespro_options)
    target_link_options(${name} PRIVATE -fsanitize=fuzzer)
  endif()
endfunction()
