# The parts of others that are in what is installed, and the notices that come with their packages: Debian's, or on a Mac
# Homebrew's. A notice that is not found is not installed.

function(tovra_find_notice part)
    find_file(TOVRA_${part}_NOTICE NAMES license.txt copyright PATHS ${ARGN} NO_DEFAULT_PATH
        DOC "The notice of ${part}, which is installed")
endfunction()

# Homebrew links the headers of all its packages to one folder, beside "opt".
tovra_find_notice(RapidJSON ${RAPIDJSON_PACKAGED}/../opt/rapidjson /usr/share/doc/rapidjson-dev)
if(TOVRA_HOST STREQUAL "Linux")
    tovra_find_notice(libc++ /usr/share/doc/libc++-19-dev)
    # The unwinder is GCC's. Its package is named by the folder of its release.
    execute_process(COMMAND ${CMAKE_CXX_COMPILER} --print-file-name=libgcc_eh.a
        OUTPUT_VARIABLE unwinder OUTPUT_STRIP_TRAILING_WHITESPACE)
    if(IS_ABSOLUTE "${unwinder}")
        cmake_path(GET unwinder PARENT_PATH release)
        cmake_path(GET release FILENAME release)
        tovra_find_notice(libgcc /usr/share/doc/libgcc-${release}-dev)
    endif()
endif()

# Sets TOVRA_PARTS to what is inside a component, and what the list has of it, for the caller.
function(tovra_list_parts component)
    set(parts RapidJSON)
    file(STRINGS ${RAPIDJSON_PACKAGED}/rapidjson/rapidjson.h versions
        REGEX "define RAPIDJSON_(MAJOR|MINOR|PATCH)_VERSION [0-9]+")
    list(TRANSFORM versions REPLACE ".* " "")
    list(JOIN versions "." RapidJSON_version)
    set(RapidJSON_licence MIT)
    set(RapidJSON_relationship CONTAINS)
    # On macOS the library of C++ is the system's. What its headers compile to is in the framework's libraries.
    if(TOVRA_HOST STREQUAL "Linux")
        list(APPEND parts libc++)
        set(libc++_version ${CMAKE_CXX_COMPILER_VERSION})
        set(libc++_licence "Apache-2.0 WITH LLVM-exception")
        set(libc++_relationship CONTAINS)
        if(component STREQUAL "Tool")
            set(libc++_relationship STATIC_LINK)
            list(APPEND parts libgcc)
            # The folder has the release alone, such as 12, the package 12.2.0-14.
            set(libgcc_version ${release})
            execute_process(COMMAND dpkg-query --show --showformat "\${Version}" libgcc-${release}-dev
                OUTPUT_VARIABLE package ERROR_QUIET RESULT_VARIABLE result)
            if(result EQUAL 0)
                string(REGEX REPLACE "-[^-]*$" "" libgcc_version "${package}")
            endif()
            set(libgcc_licence "GPL-3.0-or-later WITH GCC-exception-3.1")
            set(libgcc_relationship STATIC_LINK)
        endif()
    endif()
    set(packages "")
    set(relationships "")
    foreach(part ${parts})
        string(REPLACE "+" "x" id SPDXRef-${part})
        string(APPEND packages ",
        {
            \"SPDXID\": \"${id}\",
            \"name\": \"${part}\",
            \"versionInfo\": \"${${part}_version}\",
            \"downloadLocation\": \"NOASSERTION\",
            \"filesAnalyzed\": false,
            \"licenseConcluded\": \"${${part}_licence}\",
            \"licenseDeclared\": \"${${part}_licence}\",
            \"copyrightText\": \"NOASSERTION\"
        }")
        string(APPEND relationships ",
        {
            \"spdxElementId\": \"SPDXRef-${TOVRA_SPDX_NAME}\",
            \"relationshipType\": \"${${part}_relationship}\",
            \"relatedSpdxElement\": \"${id}\"
        }")
    endforeach()
    set(TOVRA_PARTS ${parts} PARENT_SCOPE)
    set(TOVRA_SPDX_PACKAGES "${packages}" PARENT_SCOPE)
    set(TOVRA_SPDX_RELATIONSHIPS "${relationships}" PARENT_SCOPE)
endfunction()
