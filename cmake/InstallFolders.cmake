# Where things are installed, below the prefix.

include(GNUInstallDirs)

# The program's own folder: what it reads stands beside the executable.
set(TOVRA_INSTALL_PROGRAM ${CMAKE_INSTALL_LIBEXECDIR}/tovra-fieldhost)
# Headers are included by their rooms, such as <System/Log/Log.h>.
set(TOVRA_INSTALL_INCLUDE ${CMAKE_INSTALL_INCLUDEDIR}/tovra)
set(TOVRA_INSTALL_CMAKE ${CMAKE_INSTALL_LIBDIR}/cmake/Tovra)
set(TOVRA_INSTALL_PKGCONFIG ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
set(TOVRA_INSTALL_ZSH ${CMAKE_INSTALL_DATADIR}/zsh/site-functions)
