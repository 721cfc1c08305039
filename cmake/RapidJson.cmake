# RapidJSON 1.1 as packaged. Its GenericStringRef assigns to a const member, which clang 19 does not compile, and when
# memory runs out it goes on with a null pointer; later versions allocate by a macro. If the packaged headers don't do,
# these lines are changed in a copy in the build tree.

find_path(RAPIDJSON_PACKAGED rapidjson/rapidjson.h REQUIRED)
set(rapidJsonInclude ${RAPIDJSON_PACKAGED})

file(WRITE ${PROJECT_BINARY_DIR}/RapidJson/Probe.cpp "#include <rapidjson/document.h>
#if !defined(RAPIDJSON_MALLOC) || !defined(RAPIDJSON_REALLOC)
#error
#endif
int main() { rapidjson::Document document; }
")
# Not as a system folder, in whose headers errors are silent.
try_compile(TOVRA_RAPIDJSON_COMPILES ${PROJECT_BINARY_DIR}/RapidJson/Probe SOURCES ${PROJECT_BINARY_DIR}/RapidJson/Probe.cpp
    CMAKE_FLAGS -DINCLUDE_DIRECTORIES=${RAPIDJSON_PACKAGED}
    CXX_STANDARD 20)

# Copies a header of the packaged RapidJSON with lines changed, each given with what replaces it. The copy is written
# only if it differs: after each run of CMake, all that includes it would be compiled again otherwise.
function(tovra_change_rapidjson header)
    file(READ ${RAPIDJSON_PACKAGED}/rapidjson/${header} text)
    math(EXPR lastLine "${ARGC} - 2")
    foreach(index RANGE 1 ${lastLine} 2)
        set(line "${ARGV${index}}")
        math(EXPR index "${index} + 1")
        string(REPLACE "${line}" "${ARGV${index}}" changed "${text}")
        if(changed STREQUAL text)
            message(FATAL_ERROR "A line of RapidJSON that has to be changed was not found in ${header}: ${line}")
        endif()
        set(text "${changed}")
    endforeach()
    set(present "")
    if(EXISTS ${rapidJsonInclude}/rapidjson/${header})
        file(READ ${rapidJsonInclude}/rapidjson/${header} present)
    endif()
    if(NOT present STREQUAL text)
        file(WRITE ${rapidJsonInclude}/rapidjson/${header} "${text}")
    endif()
endfunction()

if(NOT TOVRA_RAPIDJSON_COMPILES)
    set(rapidJsonInclude ${PROJECT_BINARY_DIR}/RapidJson/include)
    file(COPY ${RAPIDJSON_PACKAGED}/rapidjson DESTINATION ${rapidJsonInclude}
        REGEX "/rapidjson/(document|allocators)\\.h$" EXCLUDE)
    tovra_change_rapidjson(document.h
        "GenericStringRef& operator=(const GenericStringRef& rhs) { s = rhs.s; length = rhs.length; }"
        "GenericStringRef& operator=(const GenericStringRef& rhs) = delete;")
    tovra_change_rapidjson(allocators.h
        "return std::malloc(size);" "return RAPIDJSON_MALLOC(size);"
        "return std::realloc(originalPtr, newSize);" "return RAPIDJSON_REALLOC(originalPtr, newSize);")
endif()

add_library(RapidJson INTERFACE)
target_include_directories(RapidJson SYSTEM INTERFACE ${rapidJsonInclude})
# In every file of a target with RapidJSON, so that all of them see the same RapidJSON.
target_compile_options(RapidJson INTERFACE "SHELL:-include \"${CMAKE_CURRENT_LIST_DIR}/RapidJsonSettings.h\"")
