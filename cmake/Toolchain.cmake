# What project() has to know before it looks for compilers: by which of them the project is built, and on a Mac for which
# release. Compilers that the caller names, and toolchain files such as MacOsCross.cmake, go first.

if(CMAKE_HOST_APPLE)
    if(NOT CMAKE_TOOLCHAIN_FILE)
        set(CMAKE_TOOLCHAIN_FILE ${CMAKE_CURRENT_LIST_DIR}/MacOsNative.cmake)
    endif()
elseif(NOT CMAKE_TOOLCHAIN_FILE)
    if(NOT DEFINED CMAKE_C_COMPILER AND NOT DEFINED ENV{CC})
        set(CMAKE_C_COMPILER clang-19)
    endif()
    if(NOT DEFINED CMAKE_CXX_COMPILER AND NOT DEFINED ENV{CXX})
        set(CMAKE_CXX_COMPILER clang++-19)
    endif()
endif()
