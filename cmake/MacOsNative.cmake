# Builds for macOS on a Mac: with clang of Homebrew's llvm@19, and with the SDK and the linker of Xcode's command line
# tools.

set(llvm $ENV{HOMEBREW_PREFIX}/opt/llvm@19/bin /opt/homebrew/opt/llvm@19/bin)
find_program(CMAKE_C_COMPILER clang PATHS ${llvm} NO_DEFAULT_PATH REQUIRED)
find_program(CMAKE_CXX_COMPILER clang++ PATHS ${llvm} NO_DEFAULT_PATH REQUIRED)
set(CMAKE_OBJCXX_COMPILER ${CMAKE_CXX_COMPILER})
# Here CMake includes precompiled headers behind other options, where clang doesn't take them, and Objective-C++ needs its
# own.
set(CMAKE_DISABLE_PRECOMPILE_HEADERS ON)
# By this name CMake asks xcrun for the SDK's path.
set(CMAKE_OSX_SYSROOT macosx)

include(${CMAKE_CURRENT_LIST_DIR}/MacOs.cmake)
