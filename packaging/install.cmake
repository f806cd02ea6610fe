# Install and package rules: `cmake --install` puts noltide under the prefix (/usr/local unless
# told otherwise) and `cpack -G DEB` makes a Debian package with the prefix /usr. The language
# definitions go to <prefix>/lib/nolt/stdlib/kestrum/syntax.d, one of the folders noltide reads
# them from, so the literal "lib", never a multiarch library folder.
include(GNUInstallDirs)

option(NOLT_INSTALL_NOLTC "Install the stand-in compiler noltc beside noltide" OFF)

install(TARGETS noltide RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
if(NOLT_INSTALL_NOLTC)
  install(TARGETS noltc RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
endif()
install(DIRECTORY ${CMAKE_SOURCE_DIR}/nolt-stdlib/kestrum/syntax.d/ DESTINATION lib/nolt/stdlib/kestrum/syntax.d
        FILES_MATCHING PATTERN "*.toml")

# Manual pages and the changelog are installed gzipped, as Debian wants them.
file(GLOB man_pages CONFIGURE_DEPENDS ${CMAKE_SOURCE_DIR}/man/*.[1-9])
set(gzipped)
foreach(page ${man_pages} ${CMAKE_SOURCE_DIR}/packaging/changelog)
  get_filename_component(name ${page} NAME)
  set(out ${CMAKE_BINARY_DIR}/gz/${name}.gz)
  add_custom_command(OUTPUT ${out} COMMAND sh -c "gzip -9nc \"$0\" > \"$1\"" ${page} ${out} DEPENDS ${page} VERBATIM)
  list(APPEND gzipped ${out})
  if(page MATCHES "\\.([1-9])$")
    install(FILES ${out} DESTINATION ${CMAKE_INSTALL_MANDIR}/man${CMAKE_MATCH_1})
  endif()
endforeach()
file(MAKE_DIRECTORY ${CMAKE_BINARY_DIR}/gz)
add_custom_target(compressed_docs ALL DEPENDS ${gzipped})
install(FILES ${CMAKE_SOURCE_DIR}/packaging/copyright ${CMAKE_BINARY_DIR}/gz/changelog.gz
        DESTINATION ${CMAKE_INSTALL_DOCDIR})

set(CPACK_PACKAGE_NAME noltide)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_CONTACT "noltide developers <noltide-dev@noltide.invalid>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "full-screen text-mode IDE for the Nolt language")
set(CPACK_PACKAGE_DESCRIPTION "noltide edits several files at once in overlapping windows under a
menu bar, highlights Nolt and other languages from definition files, writes
the end lines of Nolt blocks, builds a project with the Nolt compiler noltc,
runs the program and shows the compiler's report, and brings a project back
as it was left.")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION devel)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_STRIP_FILES ON)
include(CPack)
