# What the native and the cross build for macOS have in common. The oldest release that the product runs on is 13.3;
# functions and constants that were deprecated later are no warnings then, whatever SDK is used.

set(CMAKE_OSX_DEPLOYMENT_TARGET 13.3)
set(CMAKE_OSX_ARCHITECTURES arm64)

# The probes of CMake include the toolchain file again, in folders of their own.
set(TOVRA_MACOS_FOLDER ${CMAKE_BINARY_DIR}/MacOs CACHE INTERNAL "")
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES TOVRA_MACOS_FOLDER)

# Writes a file only if that changes it, as all sources are compiled again otherwise.
function(tovra_write_macos_file name text)
    set(present "")
    if(EXISTS ${TOVRA_MACOS_FOLDER}/${name})
        file(READ ${TOVRA_MACOS_FOLDER}/${name} present)
    endif()
    if(NOT present STREQUAL text)
        file(WRITE ${TOVRA_MACOS_FOLDER}/${name} "${text}")
    endif()
endfunction()

# libc++'s headers are those of the compiler, the library is the system's: a function that macOS 13.3 lacks must not
# compile, and the headers may have been configured for a library that has every function. That release has to_chars of
# floating-point numbers, which std::format needs and which upstream dates one release too late.
execute_process(COMMAND ${CMAKE_CXX_COMPILER} -print-resource-dir OUTPUT_VARIABLE resources
    OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
cmake_path(SET libcxxHeaders NORMALIZE ${resources}/../../../include/c++/v1)
tovra_write_macos_file(libcxx/__config_site
    "#include_next <__config_site>\n#undef _LIBCPP_HAS_NO_VENDOR_AVAILABILITY_ANNOTATIONS\n")
tovra_write_macos_file(libcxx/__configuration/availability.h
    "#include_next <__configuration/availability.h>\n\
#undef _LIBCPP_AVAILABILITY_HAS_TO_CHARS_FLOATING_POINT\n\
#define _LIBCPP_AVAILABILITY_HAS_TO_CHARS_FLOATING_POINT 1\n\
#undef _LIBCPP_AVAILABILITY_TO_CHARS_FLOATING_POINT\n\
#define _LIBCPP_AVAILABILITY_TO_CHARS_FLOATING_POINT\n")
foreach(language CXX OBJCXX)
    set(CMAKE_${language}_FLAGS_INIT "-nostdinc++ -isystem ${TOVRA_MACOS_FOLDER}/libcxx -isystem ${libcxxHeaders}")
endforeach()
