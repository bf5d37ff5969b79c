# What an installation holds beside the programs, and the packages made of it: cpack -G DEB or -G TGZ in the build folder.
install(FILES packaging/marvik.desktop DESTINATION "${CMAKE_INSTALL_DATADIR}/applications")
install(FILES packaging/marvik.svg DESTINATION "${CMAKE_INSTALL_DATADIR}/icons/hicolor/scalable/apps")
foreach(size 64 256)
  install(FILES src/ui/marvik-${size}.png DESTINATION "${CMAKE_INSTALL_DATADIR}/icons/hicolor/${size}x${size}/apps"
    RENAME marvik.png)
endforeach()
install(FILES packaging/marvik.xml DESTINATION "${CMAKE_INSTALL_DATADIR}/mime/packages")
install(FILES packaging/marvik.metainfo.xml DESTINATION "${CMAKE_INSTALL_DATADIR}/metainfo")
install(FILES packaging/marvik-batch.1 packaging/marvik-refine.1 packaging/marvik-solve.1 DESTINATION "${CMAKE_INSTALL_MANDIR}/man1")
install(FILES CHANGELOG.md CITATION.cff DESTINATION "${CMAKE_INSTALL_DOCDIR}")
install(FILES LICENSE DESTINATION "${CMAKE_INSTALL_DOCDIR}" RENAME copyright)

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_CONTACT "The Marvik developers <marvik@localhost>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "refinement of crystal structures from single-crystal data")
set(CPACK_PACKAGE_DESCRIPTION "Marvik shows, edits and refines crystal structures, draws them for print,
 and does the same for thousands of files without a window.")
set(CPACK_PACKAGING_INSTALL_PREFIX "/usr")
set(CPACK_STRIP_FILES ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION science)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
# A face for labels that is always there, and the libraries that are loaded when they are needed.
set(CPACK_DEBIAN_PACKAGE_DEPENDS "fonts-dejavu-core, libfontconfig1, libcairo2, libtiff6")
set(CPACK_DEBIAN_PACKAGE_RECOMMENDS "libegl1, libopengl0, libglu1-mesa")
set(CPACK_RESOURCE_FILE_LICENSE "${CMAKE_SOURCE_DIR}/LICENSE")
include(CPack)
