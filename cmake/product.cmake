# What is known about the product: its windows say it, and so does the version block of Windows' files.
set(VESPRO_SUPPORT_MAILBOX "support@tandrelix.example" CACHE STRING "Where diagnostic reports go")
set(VESPRO_WEB_ADDRESS "https://www.tandrelix.example/" CACHE STRING "The page that the About box opens")
set(VESPRO_COMPANY "Tandrelix" CACHE STRING "Who makes it")
set(VESPRO_REMARK "for Outlook" CACHE STRING "What the About box shows behind the version")

# vespro_version_block(TARGET FILE DESCRIPTION): gives a program or DLL for Windows its version block.
# FILE is its name there.
function(vespro_version_block target file description)
  if(NOT WIN32)
    return()
  endif()
  enable_language(RC)
  get_target_property(type ${target} TYPE)
  set(VESPRO_FILE_TYPE 2)  # VFT_DLL
  if(type STREQUAL "EXECUTABLE")
    set(VESPRO_FILE_TYPE 1)  # VFT_APP
  endif()
  set(VESPRO_FILE_NAME ${file})
  set(VESPRO_DESCRIPTION ${description})
  set(resource ${CMAKE_CURRENT_BINARY_DIR}/${target}_version.rc)
  configure_file(${PROJECT_SOURCE_DIR}/cmake/version.rc.in ${resource} @ONLY)
  target_sources(${target} PRIVATE ${resource})
endfunction()
