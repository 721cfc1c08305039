# Cross-compiles for macOS with clang, lld and libc++'s headers of LLVM 19 and the SDK that MACOS_SDK names, a folder
# with Frameworks/, include/ and lib/.

set(CMAKE_SYSTEM_NAME Darwin)
set(CMAKE_SYSTEM_PROCESSOR arm64)
set(CMAKE_OSX_ARCHITECTURES arm64)

set(MACOS_SDK "$ENV{MACOS_SDK}" CACHE PATH "The SDK's folder with Frameworks/, include/ and lib/")
set(TOVRA_MACOS_SYSROOT ${CMAKE_BINARY_DIR}/Sysroot CACHE INTERNAL "")
set(CMAKE_TRY_COMPILE_PLATFORM_VARIABLES MACOS_SDK TOVRA_MACOS_SYSROOT)
# The SDK has no libSystem to link a probe with.
set(CMAKE_TRY_COMPILE_TARGET_TYPE STATIC_LIBRARY)

if(NOT IS_DIRECTORY ${MACOS_SDK}/Frameworks)
    message(FATAL_ERROR "MACOS_SDK names no folder with Frameworks/ in it.")
endif()

# Frameworks re-export each other by the paths they are installed at, so the linker needs each stub at its path.
function(tovra_link path target)
    get_filename_component(folder ${path} DIRECTORY)
    file(MAKE_DIRECTORY ${folder})
    file(CREATE_LINK ${target} ${path} SYMBOLIC)
endfunction()
if(NOT EXISTS ${TOVRA_MACOS_SYSROOT}/usr/include)
    file(GLOB headerFolders ${MACOS_SDK}/Frameworks/*/Headers ${MACOS_SDK}/Frameworks/*/Frameworks)
    foreach(folder ${headerFolders})
        file(RELATIVE_PATH name ${MACOS_SDK}/Frameworks ${folder})
        tovra_link(${TOVRA_MACOS_SYSROOT}/System/Library/Frameworks/${name} ${folder})
    endforeach()
    file(GLOB_RECURSE stubs ${MACOS_SDK}/Frameworks/*.tbd)
    foreach(stub ${stubs})
        file(STRINGS ${stub} installName REGEX "^install-name:" LIMIT_COUNT 1)
        string(REGEX REPLACE "^install-name: *'?([^']*)'?$" "\\1" installName "${installName}")
        tovra_link(${TOVRA_MACOS_SYSROOT}${installName}.tbd ${stub})
        # The place where -framework looks.
        string(REGEX REPLACE "\\.framework/Versions/[^/]*/([^/]*)$" ".framework/\\1" unversioned ${installName})
        if(unversioned MATCHES "^/System/Library/Frameworks/[^/]*/[^/]*$")
            tovra_link(${TOVRA_MACOS_SYSROOT}${unversioned}.tbd ${stub})
        endif()
    endforeach()
    tovra_link(${TOVRA_MACOS_SYSROOT}/usr/lib ${MACOS_SDK}/lib)
    tovra_link(${TOVRA_MACOS_SYSROOT}/usr/include ${MACOS_SDK}/include)
endif()
set(CMAKE_OSX_SYSROOT ${TOVRA_MACOS_SYSROOT})

# By full paths: CMake looks for an Apple host's programs otherwise.
find_program(CMAKE_C_COMPILER clang-19 REQUIRED)
find_program(CMAKE_CXX_COMPILER clang++-19 REQUIRED)
find_program(CMAKE_OBJCXX_COMPILER clang++-19 REQUIRED)
find_program(CMAKE_AR llvm-ar-19 REQUIRED)
find_program(CMAKE_RANLIB llvm-ranlib-19 REQUIRED)
find_program(CMAKE_INSTALL_NAME_TOOL llvm-install-name-tool-19 REQUIRED)
foreach(language C CXX OBJCXX)
    set(CMAKE_${language}_COMPILER_TARGET arm64-apple-macos13.3)
endforeach()

# libc++'s headers are those of the compiler. They were configured for a host whose library has every function; here a
# function that macOS 13.3 lacks must not compile. That release has to_chars of floating-point numbers, which
# std::format needs and which upstream dates one release too late.
execute_process(COMMAND ${CMAKE_CXX_COMPILER} -print-resource-dir OUTPUT_VARIABLE resources
    OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
cmake_path(SET libcxxHeaders NORMALIZE ${resources}/../../../include/c++/v1)
file(WRITE ${TOVRA_MACOS_SYSROOT}/libcxx/__config_site
    "#include_next <__config_site>\n#undef _LIBCPP_HAS_NO_VENDOR_AVAILABILITY_ANNOTATIONS\n")
file(WRITE ${TOVRA_MACOS_SYSROOT}/libcxx/__configuration/availability.h
    "#include_next <__configuration/availability.h>\n"
    "#undef _LIBCPP_AVAILABILITY_HAS_TO_CHARS_FLOATING_POINT\n"
    "#define _LIBCPP_AVAILABILITY_HAS_TO_CHARS_FLOATING_POINT 1\n"
    "#undef _LIBCPP_AVAILABILITY_TO_CHARS_FLOATING_POINT\n"
    "#define _LIBCPP_AVAILABILITY_TO_CHARS_FLOATING_POINT\n")
foreach(language CXX OBJCXX)
    set(CMAKE_${language}_FLAGS_INIT
        "-nostdinc++ -isystem ${TOVRA_MACOS_SYSROOT}/libcxx -isystem ${libcxxHeaders}")
endforeach()

# libSystem and libc++ have no stubs in the SDK: their symbols stay open, and Scripts/check-macos checks each of them.
set(CMAKE_EXE_LINKER_FLAGS_INIT "-fuse-ld=lld -nodefaultlibs -Wl,-undefined,dynamic_lookup")
