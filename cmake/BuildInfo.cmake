# Build constants shown in the status line and written to the diagnostics log.
find_package(Git QUIET)
set(VF_GIT_HASH "unknown")
if(GIT_FOUND)
  execute_process(COMMAND ${GIT_EXECUTABLE} rev-parse --short HEAD
    WORKING_DIRECTORY ${CMAKE_SOURCE_DIR}
    OUTPUT_VARIABLE VF_GIT_HASH OUTPUT_STRIP_TRAILING_WHITESPACE ERROR_QUIET)
  if(NOT VF_GIT_HASH)
    set(VF_GIT_HASH "unknown")
  endif()
endif()
string(TIMESTAMP VF_BUILD_DATE "%Y-%m-%d" UTC)
configure_file(${CMAKE_SOURCE_DIR}/src/core/support/buildinfo.h.in
  ${CMAKE_BINARY_DIR}/generated/core/support/buildinfo.h @ONLY)
