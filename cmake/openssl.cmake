# vespro_openssl: OpenSSL for the engine. Linux has its own; for Windows it is built once for the
# machine, by a script that keeps it in the user's cache.
add_library(vespro_openssl INTERFACE)
if(NOT WIN32)
  find_package(OpenSSL 3.0 REQUIRED)
  target_link_libraries(vespro_openssl INTERFACE OpenSSL::SSL OpenSSL::Crypto)
  return()
endif()

set(VESPRO_OPENSSL_ROOT "" CACHE PATH
  "OpenSSL for mingw with include/ and lib/ or lib64/; empty: packaging/windows-openssl builds it")
set(root "${VESPRO_OPENSSL_ROOT}")
if(NOT root)
  if(CMAKE_SIZEOF_VOID_P EQUAL 8)
    set(architecture x64)
  else()
    set(architecture x86)
  endif()
  message(STATUS "OpenSSL for Windows ${architecture}: the first build takes some minutes")
  # Its make is not ours: a launcher or flags meant for this build are none of its business.
  execute_process(
    COMMAND ${CMAKE_COMMAND} -E env --unset=MAKEFLAGS --unset=CC --unset=CFLAGS
            ${PROJECT_SOURCE_DIR}/packaging/windows-openssl ${architecture}
    OUTPUT_VARIABLE root OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
endif()
foreach(name ssl crypto)
  find_file(archive lib${name}.a PATHS ${root}/lib64 ${root}/lib
    NO_CACHE REQUIRED NO_DEFAULT_PATH NO_CMAKE_FIND_ROOT_PATH)
  target_link_libraries(vespro_openssl INTERFACE ${archive})
  unset(archive)
endforeach()
target_include_directories(vespro_openssl SYSTEM INTERFACE ${root}/include)
target_link_libraries(vespro_openssl INTERFACE ws2_32 crypt32 bcrypt advapi32 user32)
