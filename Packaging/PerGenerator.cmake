# Read by cpack once for each kind of package. A tarball is unpacked wherever its user likes.
if(CPACK_GENERATOR STREQUAL "TGZ")
    set(CPACK_PACKAGING_INSTALL_PREFIX /)
    set(CPACK_ARCHIVE_COMPONENT_INSTALL OFF)
endif()
if(CPACK_GENERATOR STREQUAL "DEB")
    set(CPACK_PRE_BUILD_SCRIPTS ${CMAKE_CURRENT_LIST_DIR}/DebianFolders.cmake)
endif()
