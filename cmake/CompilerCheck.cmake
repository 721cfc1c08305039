# Sets TOVRA_COMPILER_ERROR to what is wrong with the compiler, or to nothing. Others than these fail later, at an option
# or a header. Apple's has version numbers of its own. Installed beside TovraConfig.cmake, too.

set(TOVRA_COMPILER_ERROR "")
if(NOT CMAKE_CXX_COMPILER_ID MATCHES "^(Clang|AppleClang)$"
        OR (CMAKE_CXX_COMPILER_ID STREQUAL "Clang" AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 19))
    set(TOVRA_COMPILER_ERROR
        "The compiler '${CMAKE_CXX_COMPILER}' is not clang 19 or later. Configure an empty folder with -DCMAKE_CXX_COMPILER=clang++-19.")
endif()
