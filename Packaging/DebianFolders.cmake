# Read by cpack between installing and making the Debian packages: moves what Debian has in folders of its own.

set(tool ${CPACK_TEMPORARY_DIRECTORY}/Tool${CPACK_PACKAGING_INSTALL_PREFIX})
set(development ${CPACK_TEMPORARY_DIRECTORY}/Development${CPACK_PACKAGING_INSTALL_PREFIX})

# Its zsh reads the completions of packages there, those of the machine's administrator in site-functions.
cmake_path(GET CPACK_TOVRA_ZSH PARENT_PATH zsh)
file(RENAME ${tool}/${CPACK_TOVRA_ZSH} ${tool}/${zsh}/vendor-completions)

# The pkg-config of a cross compiler reads only the folder of its architecture, one level deeper.
set(folder ${development}/lib/${CPACK_TOVRA_ARCHITECTURE})
file(MAKE_DIRECTORY ${folder})
file(RENAME ${development}/${CPACK_TOVRA_PKGCONFIG} ${folder}/pkgconfig)
file(READ ${folder}/pkgconfig/tovra.pc text)
string(REPLACE "prefix=\${pcfiledir}/" "prefix=\${pcfiledir}/../" text "${text}")
file(WRITE ${folder}/pkgconfig/tovra.pc "${text}")
