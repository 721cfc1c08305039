# What `cmake --install` installs, as two components: "Tool", the program, and "Development", the framework for programs
# that link it. All of it is found relative to its own place, so an installed tree may be moved.

# The tool, and the program that diagnoses why it fails. They find their folder by their own paths, through links too,
# so what stands in `bin` are scripts.
install(TARGETS TovraFieldhostSetupTool TovraFieldhostDiagnose DESTINATION ${TOVRA_INSTALL_PROGRAM} COMPONENT Tool)
install(DIRECTORY ${PROJECT_SOURCE_DIR}/Schemas DESTINATION ${TOVRA_INSTALL_PROGRAM} COMPONENT Tool)
install(FILES ${PROJECT_SOURCE_DIR}/Packaging/Shaders.txt
    DESTINATION ${TOVRA_INSTALL_PROGRAM}/Shaders RENAME README COMPONENT Tool)
foreach(TOVRA_PROGRAM TovraFieldhostSetupTool TovraFieldhostDiagnose)
    file(RELATIVE_PATH TOVRA_PROGRAM_FROM_BIN /${CMAKE_INSTALL_BINDIR} /${TOVRA_INSTALL_PROGRAM}/${TOVRA_PROGRAM})
    configure_file(${PROJECT_SOURCE_DIR}/Packaging/Starter.sh.in
        ${PROJECT_BINARY_DIR}/Packaging/${TOVRA_PROGRAM} @ONLY)
    install(PROGRAMS ${PROJECT_BINARY_DIR}/Packaging/${TOVRA_PROGRAM}
        DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT Tool)
endforeach()

find_program(GZIP gzip REQUIRED)

# Installs a text of the project compressed, as Debian's packages have it: the same bytes every time.
function(tovra_install_compressed component source destination)
    cmake_path(GET destination FILENAME name)
    cmake_path(GET destination PARENT_PATH folder)
    set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/${source})
    execute_process(COMMAND ${GZIP} --best --no-name --stdout ${PROJECT_SOURCE_DIR}/${source}
        OUTPUT_FILE ${PROJECT_BINARY_DIR}/Packaging/${name} COMMAND_ERROR_IS_FATAL ANY)
    install(FILES ${PROJECT_BINARY_DIR}/Packaging/${name} DESTINATION ${folder} COMPONENT ${component})
endfunction()

foreach(program TovraFieldhostSetupTool TovraFieldhostDiagnose)
    tovra_install_compressed(Tool Documentation/Man/${program}.1 ${CMAKE_INSTALL_MANDIR}/man1/${program}.1.gz)
endforeach()

# Callers validate the printed documents against these.
foreach(schema Documents Diagnose)
    install(FILES ${PROJECT_SOURCE_DIR}/Documentation/Contract/${schema}.schema.json
        DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/tovra-fieldhost-setup-tool COMPONENT Tool)
endforeach()

# What callers go by, and programs that call the tool.
file(READ ${PROJECT_SOURCE_DIR}/Documentation/Contract/README.md contract)
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS
    ${PROJECT_SOURCE_DIR}/Documentation/Contract/README.md)
string(REPLACE "(../../CHANGELOG.md)" "(CHANGELOG.md.gz)" contract "${contract}")
file(WRITE ${PROJECT_BINARY_DIR}/Packaging/Contract.md "${contract}")
install(FILES ${PROJECT_BINARY_DIR}/Packaging/Contract.md
    DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/tovra-fieldhost-setup-tool COMPONENT Tool)
file(GLOB callers CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/Documentation/Contract/Callers/check.*)
install(FILES ${callers}
    DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/tovra-fieldhost-setup-tool/Callers COMPONENT Tool)

# What shells offer behind the programs' names, made of the tables of their options.
if(NOT CMAKE_CROSSCOMPILING)
    add_executable(Completions ${PROJECT_SOURCE_DIR}/Packaging/Completions.cpp)
    target_include_directories(Completions PRIVATE ${PROJECT_SOURCE_DIR}/Examples)
    target_link_libraries(Completions PRIVATE TovraOptions)
    set(completions "")
    foreach(program TovraFieldhostSetupTool TovraFieldhostDiagnose)
        set(bashCompletions ${PROJECT_BINARY_DIR}/Packaging/${program}.bash)
        set(zshCompletions ${PROJECT_BINARY_DIR}/Packaging/_${program})
        list(APPEND completions ${bashCompletions} ${zshCompletions})
        install(FILES ${bashCompletions} DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions
            RENAME ${program} COMPONENT Tool)
        install(FILES ${zshCompletions} DESTINATION ${TOVRA_INSTALL_ZSH} COMPONENT Tool)
    endforeach()
    add_custom_command(OUTPUT ${completions} COMMAND Completions ${PROJECT_BINARY_DIR}/Packaging DEPENDS Completions
        VERBATIM)
    add_custom_target(CompletionFiles ALL DEPENDS ${completions})
endif()

# The framework. The seams to the operating system, and headers for its own sources, are no part of it.
file(GLOB_RECURSE headers CONFIGURE_DEPENDS RELATIVE ${PROJECT_SOURCE_DIR}/Source
    ${PROJECT_SOURCE_DIR}/Source/System/*.h ${PROJECT_SOURCE_DIR}/Source/Graphics/*.h)
set(internalHeaders ${headers})
list(FILTER internalHeaders INCLUDE REGEX
    "(Operations|PlatformNative|_Linux|_MacOS)\\.h$|/(BlockedSignals|Descriptor|ProgramFolders|OutputStreams|PrivateFile|ShortFile|DisplayChanges|PanelRules|WheelNotches|JsonMember|LogRules|PanelEvent|VirtualKeys|KeyNames|Pattern|SensibleSchema)\\.h$")
# Other headers include these two.
list(FILTER internalHeaders EXCLUDE REGEX "/(Display|ProcessWindow)Operations\\.h$")
list(REMOVE_ITEM headers ${internalHeaders})
foreach(header ${headers})
    cmake_path(GET header PARENT_PATH room)
    install(FILES ${PROJECT_SOURCE_DIR}/Source/${header}
        DESTINATION ${TOVRA_INSTALL_INCLUDE}/${room} COMPONENT Development)
endforeach()

set(frameworkTargets
    Interface System Host ErrorHandler DevelopmentErrorHandler Framework DevelopmentFramework)
foreach(target ${frameworkTargets})
    set_target_properties(Tovra${target} PROPERTIES EXPORT_NAME ${target})
endforeach()
list(TRANSFORM frameworkTargets PREPEND Tovra)
install(TARGETS ${frameworkTargets} EXPORT TovraTargets
    ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT Development)
install(EXPORT TovraTargets NAMESPACE Tovra:: DESTINATION ${TOVRA_INSTALL_CMAKE} COMPONENT Development)

# Its guide, without what it says of documents that are not installed, and the examples.
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/Documentation/Framework.md)
file(READ ${PROJECT_SOURCE_DIR}/Documentation/Framework.md guide)
string(REGEX REPLACE "\n\\[Architecture\\.md\\][^\n]*\n" "" guide "${guide}")
string(REGEX REPLACE "\\[([A-Za-z.]+)\\]\\(\\.\\./[A-Za-z.]+\\)" "\\1" guide "${guide}")
file(WRITE ${PROJECT_BINARY_DIR}/Packaging/Framework.md "${guide}")
set(developmentFolder ${CMAKE_INSTALL_DATADIR}/doc/libtovra-dev)
install(FILES ${PROJECT_BINARY_DIR}/Packaging/Framework.md
    DESTINATION ${developmentFolder} COMPONENT Development)
install(FILES ${PROJECT_SOURCE_DIR}/Packaging/Examples/CMakeLists.txt ${PROJECT_SOURCE_DIR}/Examples/Clock.cpp
    DESTINATION ${developmentFolder}/examples COMPONENT Development)
install(DIRECTORY ${PROJECT_SOURCE_DIR}/Examples/Overlay
    DESTINATION ${developmentFolder}/examples COMPONENT Development)

include(CMakePackageConfigHelpers)
configure_package_config_file(${PROJECT_SOURCE_DIR}/Packaging/TovraConfig.cmake.in
    ${PROJECT_BINARY_DIR}/Packaging/TovraConfig.cmake INSTALL_DESTINATION ${TOVRA_INSTALL_CMAKE})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/Packaging/TovraConfigVersion.cmake
    COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/Packaging/TovraConfig.cmake ${PROJECT_BINARY_DIR}/Packaging/TovraConfigVersion.cmake
    ${PROJECT_SOURCE_DIR}/cmake/CompilerCheck.cmake
    DESTINATION ${TOVRA_INSTALL_CMAKE} COMPONENT Development)

file(RELATIVE_PATH TOVRA_PREFIX_FROM_PKGCONFIG /${TOVRA_INSTALL_PKGCONFIG} /)
# As the targets have it, see Source/CMakeLists.txt.
set(TOVRA_PKGCONFIG_LIBS "-lTovraSystem -l\${errorhandler} -lTovraHost")
if(TOVRA_HOST STREQUAL "Linux")
    set(TOVRA_PKGCONFIG_LIBS "-Wl,--start-group ${TOVRA_PKGCONFIG_LIBS} -Wl,--end-group")
    string(APPEND TOVRA_PKGCONFIG_LIBS " -Wl,--export-dynamic-symbol=xcb_query_extension_reply -ldl")
else()
    foreach(framework ${TOVRA_MACOS_FRAMEWORKS})
        string(APPEND TOVRA_PKGCONFIG_LIBS " -framework ${framework}")
    endforeach()
    string(APPEND TOVRA_PKGCONFIG_LIBS " -lobjc")
endif()
configure_file(${PROJECT_SOURCE_DIR}/Packaging/tovra.pc.in ${PROJECT_BINARY_DIR}/Packaging/tovra.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/Packaging/tovra.pc
    DESTINATION ${TOVRA_INSTALL_PKGCONFIG} COMPONENT Development)

include(${CMAKE_CURRENT_LIST_DIR}/Notices.cmake)

# What is inside, for each component: as a list, as the notices that the parts' licences ask for, and what has changed.
string(TIMESTAMP TOVRA_SPDX_CREATED UTC) # SOURCE_DATE_EPOCH counts.
string(TIMESTAMP TOVRA_SPDX_ID "%s" UTC)
foreach(component Tool Development)
    if(component STREQUAL "Tool")
        set(TOVRA_SPDX_NAME tovra-fieldhost-setup-tool)
    else()
        set(TOVRA_SPDX_NAME libtovra-dev)
    endif()
    set(folder ${CMAKE_INSTALL_DATADIR}/doc/${TOVRA_SPDX_NAME})
    tovra_list_parts(${component})
    set(list ${PROJECT_BINARY_DIR}/Packaging/${component}/tovra.spdx.json)
    configure_file(${PROJECT_SOURCE_DIR}/Packaging/tovra.spdx.json.in ${list} @ONLY)
    install(FILES ${PROJECT_SOURCE_DIR}/Packaging/Debian/copyright ${list}
        DESTINATION ${folder} COMPONENT ${component})
    foreach(part ${TOVRA_PARTS})
        if(TOVRA_${part}_NOTICE)
            install(FILES ${TOVRA_${part}_NOTICE}
                DESTINATION ${folder} RENAME ${part}.copyright COMPONENT ${component})
        endif()
    endforeach()
    tovra_install_compressed(${component} CHANGELOG.md ${folder}/CHANGELOG.md.gz)
    tovra_install_compressed(${component} Packaging/Debian/changelog ${folder}/changelog.gz)
endforeach()
