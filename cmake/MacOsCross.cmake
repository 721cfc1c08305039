# Cross-compiles for macOS with clang, lld and libc++'s headers of LLVM 19 and the SDK that MACOS_SDK names, a folder
# with Frameworks/, include/ and lib/. libc++ and libSystem have no stubs in it; Scripts/make-macos-stubs makes them.

set(CMAKE_SYSTEM_NAME Darwin)
set(CMAKE_SYSTEM_PROCESSOR arm64)

# By full paths: CMake looks for an Apple host's programs otherwise.
find_program(CMAKE_C_COMPILER clang-19 REQUIRED)
find_program(CMAKE_CXX_COMPILER clang++-19 REQUIRED)
find_program(CMAKE_OBJCXX_COMPILER clang++-19 REQUIRED)
find_program(CMAKE_AR llvm-ar-19 REQUIRED)
find_program(CMAKE_RANLIB llvm-ranlib-19 REQUIRED)
find_program(CMAKE_INSTALL_NAME_TOOL llvm-install-name-tool-19 REQUIRED)

include(${CMAKE_CURRENT_LIST_DIR}/MacOs.cmake)

set(MACOS_SDK "$ENV{MACOS_SDK}" CACHE PATH "The SDK's folder with Frameworks/, include/ and lib/")
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES MACOS_SDK)
# The stubs have only what the project's own programs use, so a probe may not link.
set(CMAKE_TRY_COMPILE_TARGET_TYPE STATIC_LIBRARY)

if(NOT IS_DIRECTORY ${MACOS_SDK}/Frameworks)
    message(FATAL_ERROR "MACOS_SDK names no folder with Frameworks/ in it.")
endif()

# Frameworks re-export each other by the paths they are installed at, so the linker needs each stub at its path.
set(sysroot ${TOVRA_MACOS_FOLDER}/Sysroot)
function(tovra_link path target)
    get_filename_component(folder ${path} DIRECTORY)
    file(MAKE_DIRECTORY ${folder})
    file(CREATE_LINK ${target} ${path} SYMBOLIC)
endfunction()
if(NOT EXISTS ${sysroot}/usr/include)
    file(GLOB headerFolders ${MACOS_SDK}/Frameworks/*/Headers ${MACOS_SDK}/Frameworks/*/Frameworks)
    foreach(folder ${headerFolders})
        file(RELATIVE_PATH name ${MACOS_SDK}/Frameworks ${folder})
        tovra_link(${sysroot}/System/Library/Frameworks/${name} ${folder})
    endforeach()
    file(GLOB_RECURSE stubs ${MACOS_SDK}/Frameworks/*.tbd)
    foreach(stub ${stubs})
        file(STRINGS ${stub} installName REGEX "^install-name:" LIMIT_COUNT 1)
        string(REGEX REPLACE "^install-name: *'?([^']*)'?$" "\\1" installName "${installName}")
        tovra_link(${sysroot}${installName}.tbd ${stub})
        # The place where -framework looks.
        string(REGEX REPLACE "\\.framework/Versions/[^/]*/([^/]*)$" ".framework/\\1" unversioned ${installName})
        if(unversioned MATCHES "^/System/Library/Frameworks/[^/]*/[^/]*$")
            tovra_link(${sysroot}${unversioned}.tbd ${stub})
        endif()
    endforeach()
    file(GLOB stubs ${MACOS_SDK}/lib/*.tbd)
    foreach(stub ${stubs})
        get_filename_component(name ${stub} NAME)
        tovra_link(${sysroot}/usr/lib/${name} ${stub})
    endforeach()
    tovra_link(${sysroot}/usr/include ${MACOS_SDK}/include)
endif()
set(CMAKE_OSX_SYSROOT ${sysroot})

set(symbols ${CMAKE_CURRENT_LIST_DIR}/../Scripts/macos-system-symbols.txt)
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${symbols})
execute_process(COMMAND ${CMAKE_CURRENT_LIST_DIR}/../Scripts/make-macos-stubs ${sysroot}/usr/lib ${symbols}
    COMMAND_ERROR_IS_FATAL ANY)
set(TOVRA_LINK_DEPENDS ${sysroot}/usr/lib/libc++.tbd ${sysroot}/usr/lib/libSystem.tbd)

foreach(language C CXX OBJCXX)
    set(CMAKE_${language}_COMPILER_TARGET arm64-apple-macos${CMAKE_OSX_DEPLOYMENT_TARGET})
endforeach()
# As Apple's linker does by default: each symbol has to be found in a library, and is looked up there alone.
foreach(kind EXE SHARED MODULE)
    set(CMAKE_${kind}_LINKER_FLAGS_INIT "-fuse-ld=lld -Wl,-undefined,error -Wl,-fatal_warnings")
endforeach()
