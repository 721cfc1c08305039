# What `cpack` makes of what is installed: two Debian packages, and a tarball of everything for other systems. With
# SOURCE_DATE_EPOCH in the environment a second build gives the same bytes.

set(CPACK_PACKAGE_NAME tovra-fieldhost)
set(CPACK_PACKAGE_VENDOR "Tovra maintainers")
set(CPACK_PACKAGE_CONTACT "Tovra maintainers <maintainers@tovra.invalid>")
set(CPACK_PACKAGE_CHECKSUM SHA256)
set(CPACK_GENERATOR DEB TGZ)
set(CPACK_COMPONENTS_ALL Tool Development)
set(CPACK_STRIP_FILES ON)
# The packages of Debian are made for /usr, whatever prefix the build was configured with.
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_PROJECT_CONFIG_FILE ${PROJECT_SOURCE_DIR}/Packaging/PerGenerator.cmake)

# For Packaging/DebianFolders.cmake: CPack knows no variables of other names.
set(CPACK_TOVRA_PKGCONFIG ${TOVRA_INSTALL_PKGCONFIG})
set(CPACK_TOVRA_ZSH ${TOVRA_INSTALL_ZSH})
set(CPACK_TOVRA_ARCHITECTURE ${CMAKE_LIBRARY_ARCHITECTURE})

set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
# Otherwise it would stand above that of each package.
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "")
set(CPACK_DEBIAN_PACKAGE_SECTION utils)

set(CPACK_DEBIAN_TOOL_PACKAGE_NAME tovra-fieldhost-setup-tool)
set(CPACK_DEBIAN_TOOL_DESCRIPTION "setup tool for a UI automation service
TovraFieldhostSetupTool checks and changes what a machine needs for a UI
automation service. It is started with one option, prints one JSON document,
and ends with a status that tells the result. TovraFieldhostDiagnose says why
it fails.")
set(CPACK_DEBIAN_TOOL_PACKAGE_SHLIBDEPS ON)
# Opened at run time: without them the tool answers that there is no display.
set(CPACK_DEBIAN_TOOL_PACKAGE_RECOMMENDS
    libgl1 libgl1-mesa-dri libglx-mesa0 libx11-6 libx11-xcb1 libxcb1 libxcb-randr0 libxcb-res0 libxcb-xfixes0 libxext6
    libxfixes3 libxtst6)
list(JOIN CPACK_DEBIAN_TOOL_PACKAGE_RECOMMENDS ", " CPACK_DEBIAN_TOOL_PACKAGE_RECOMMENDS)

set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libtovra-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_DESCRIPTION "framework for UI automation programs (development files)
The headers and libraries on which TovraFieldhostSetupTool and its sibling
programs stand: configuration, logging, threads, processes, displays,
keyboard and mouse, windows and OpenGL. For clang 19 and libc++.")
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS "libc++-19-dev, libc++abi-19-dev")
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_RECOMMENDS "clang-19, ${CPACK_DEBIAN_TOOL_PACKAGE_RECOMMENDS}")
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SUGGESTS "cmake, pkgconf")

include(CPack)
