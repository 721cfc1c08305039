# GoogleTest from Debian's source package, built here to use the same standard library as the code under test.

set(googleTestSource /usr/src/googletest)
if(NOT EXISTS ${googleTestSource}/CMakeLists.txt)
    message(FATAL_ERROR "GoogleTest's sources are not installed: run Scripts/setup test.")
endif()
set(INSTALL_GTEST OFF)
add_subdirectory(${googleTestSource} ${CMAKE_BINARY_DIR}/googletest EXCLUDE_FROM_ALL SYSTEM)
include(GoogleTest)
