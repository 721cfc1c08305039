# RapidJSON 1.1 as packaged. Its GenericStringRef assigns to a const member, which clang 19 does not compile. If the
# packaged headers fail to compile, that one line is changed in a copy in the build tree.

find_path(RAPIDJSON_PACKAGED rapidjson/rapidjson.h REQUIRED)
set(rapidJsonInclude ${RAPIDJSON_PACKAGED})

file(WRITE ${CMAKE_BINARY_DIR}/RapidJson/Probe.cpp "#include <rapidjson/document.h>\nint main() { rapidjson::Document document; }\n")
# Not as a system folder, in whose headers errors are silent.
try_compile(TOVRA_RAPIDJSON_COMPILES ${CMAKE_BINARY_DIR}/RapidJson/Probe SOURCES ${CMAKE_BINARY_DIR}/RapidJson/Probe.cpp
    CMAKE_FLAGS -DINCLUDE_DIRECTORIES=${RAPIDJSON_PACKAGED}
    CXX_STANDARD 20)

if(NOT TOVRA_RAPIDJSON_COMPILES)
    set(rapidJsonInclude ${CMAKE_BINARY_DIR}/RapidJson/include)
    file(COPY ${RAPIDJSON_PACKAGED}/rapidjson DESTINATION ${rapidJsonInclude})
    set(header ${rapidJsonInclude}/rapidjson/document.h)
    file(READ ${header} text)
    string(REPLACE "GenericStringRef& operator=(const GenericStringRef& rhs) { s = rhs.s; length = rhs.length; }"
        "GenericStringRef& operator=(const GenericStringRef& rhs) = delete;" mended "${text}")
    if(mended STREQUAL text)
        message(FATAL_ERROR "RapidJSON does not compile, and the line that is mended was not found in ${header}.")
    endif()
    file(WRITE ${header} "${mended}")
endif()

add_library(RapidJson INTERFACE)
target_include_directories(RapidJson SYSTEM INTERFACE ${rapidJsonInclude})
# In every file of a target with RapidJSON, so that all of them see the same RapidJSON.
target_compile_options(RapidJson INTERFACE "SHELL:-include \"${CMAKE_CURRENT_LIST_DIR}/RapidJsonAssertion.h\"")
