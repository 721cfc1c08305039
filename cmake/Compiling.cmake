# How every target of the project is compiled. TovraOptions has what only the project's own code is compiled with,
# TovraInterface what a program needs that links the framework.

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
find_package(Threads REQUIRED)

# Also for third-party code that is built here (GoogleTest): one standard library, and the same sanitizers.
if(TOVRA_HOST STREQUAL "Linux")
    add_compile_options($<$<COMPILE_LANGUAGE:CXX>:-stdlib=libc++>)
    add_link_options(-stdlib=libc++ -static-libstdc++ -static-libgcc -fuse-ld=lld -Wl,--as-needed -Wl,--gc-sections)
else()
    # What the framework links; tovra.pc names them, too.
    set(TOVRA_MACOS_FRAMEWORKS AppKit ApplicationServices CoreFoundation CoreGraphics Foundation OpenGL)
endif()
if(TOVRA_SANITIZERS)
    # The vptr check opens descriptors, and some tests leave none.
    add_compile_options(-fsanitize=${TOVRA_SANITIZERS} -fno-sanitize=vptr -fno-sanitize-recover=all -fno-omit-frame-pointer
        -fsanitize-ignorelist=${CMAKE_CURRENT_LIST_DIR}/SanitizerExceptions.txt)
    add_link_options(-fsanitize=${TOVRA_SANITIZERS})
endif()

# What is shipped is hardened. A check that fails ends the process by a trap.
if(CMAKE_BUILD_TYPE STREQUAL "Release")
    set(hardening
        -fstack-protector-strong
        -U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=3
        -D_LIBCPP_HARDENING_MODE=_LIBCPP_HARDENING_MODE_FAST)
    if(TOVRA_HOST STREQUAL "Linux")
        list(APPEND hardening -fstack-clash-protection)
        add_link_options(-Wl,-z,now -Wl,-z,relro -Wl,-z,noexecstack)
    endif()
    # Marks where indirect calls may land, and keeps a second stack of return addresses.
    if(CMAKE_SYSTEM_PROCESSOR MATCHES "^(x86_64|AMD64)$")
        list(APPEND hardening -fcf-protection=full)
        add_link_options(-Wl,-z,shstk)
    endif()
    add_compile_options(${hardening})
endif()

# Lets the target link static libraries that call one another. A linker for Linux has to read them as a group, those for
# macOS read each library as often as need be.
function(tovra_link_group target)
    if(TOVRA_HOST STREQUAL "Linux")
        string(REPLACE ";" "," libraries "${ARGN}")
        target_link_libraries(${target} INTERFACE "$<LINK_GROUP:RESCAN,${libraries}>")
    else()
        target_link_libraries(${target} INTERFACE ${ARGN})
    endif()
endfunction()

# Removes the sources of the other host, by the ends of their names, from a list.
function(tovra_take_sources_of_host sources)
    set(hosts Linux MacOS)
    list(REMOVE_ITEM hosts ${TOVRA_HOST})
    list(FILTER ${sources} EXCLUDE REGEX "_${hosts}\\.(cpp|mm)$")
    set(${sources} "${${sources}}" PARENT_SCOPE)
endfunction()

add_library(TovraOptions INTERFACE)
target_compile_options(TovraOptions INTERFACE
    -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Werror
    -ffunction-sections -fdata-sections
    # Source positions in reports are the same whatever folder the project was built in. They are shortened behind a
    # folder named Source, which needs one above it.
    -fmacro-prefix-map=${PROJECT_SOURCE_DIR}=/${PROJECT_NAME}
    # What is shipped names no folder of the machine that built it. Anywhere else a debugger has to find the sources.
    $<$<CONFIG:Release>:-fdebug-prefix-map=${PROJECT_SOURCE_DIR}=.>)
target_link_libraries(TovraOptions INTERFACE TovraInterface)
if(TOVRA_COVERAGE)
    # %c: counters are in the file from the start, so that no end of a process loses them. %m: one file for all processes
    # of a program, whatever its name; they add to the same counters, hence atomically. The name is compiled in, as tests
    # clear the environment.
    target_compile_options(TovraOptions INTERFACE
        -fprofile-instr-generate=${CMAKE_BINARY_DIR}/Profiles/%m%c.profraw -fcoverage-mapping
        -fprofile-update=atomic "SHELL:-mllvm -runtime-counter-relocation")
    # The identity of a program stands in its profile, by which measure.py takes each program with its own: fakes and hosts
    # have functions of the same names.
    target_link_options(TovraOptions INTERFACE -fprofile-instr-generate -Wl,--build-id)
    add_library(TovraCoverageStart STATIC ${PROJECT_SOURCE_DIR}/Tests/Coverage/Start.c)
    target_link_libraries(TovraOptions INTERFACE TovraCoverageStart)
endif()
set_target_properties(TovraOptions PROPERTIES INTERFACE_LINK_DEPENDS "${TOVRA_LINK_DEPENDS}")

add_library(TovraInterface INTERFACE)
target_compile_features(TovraInterface INTERFACE cxx_std_20)
target_include_directories(TovraInterface INTERFACE
    $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/Source> $<INSTALL_INTERFACE:${TOVRA_INSTALL_INCLUDE}>)
target_link_libraries(TovraInterface INTERFACE Threads::Threads)
if(TOVRA_HOST STREQUAL "Linux")
    # The libraries contain types of libc++, so the program needs the same standard library.
    target_compile_options(TovraInterface INTERFACE $<$<COMPILE_LANGUAGE:CXX>:-stdlib=libc++>)
    target_link_options(TovraInterface INTERFACE -stdlib=libc++)
endif()
