# Installing like a Linux desktop program, and the Debian package:
#   cmake --install build/default --prefix /usr
#   (cd build/default && cpack -G DEB)
# Both programs go to bin/; the viewer brings its desktop entry, AppStream
# metainfo, icon, the MIME types of its own files, the query language's page
# and man pages written from the programs' help texts.
include(GNUInstallDirs)

set(VF_APP_ID "io.github.vellumfox.vellumfox")
set(_dist "${CMAKE_SOURCE_DIR}/dist")

# Man pages: the help text run through cmake/ManPage.cmake after each link.
function(vf_man_page target summary)
  set(page "${CMAKE_BINARY_DIR}/man/${target}.1")
  add_custom_command(OUTPUT "${page}"
    COMMAND ${CMAKE_COMMAND} -E env ASAN_OPTIONS=detect_leaks=0
            ${CMAKE_COMMAND} -DPROGRAM=$<TARGET_FILE:${target}> -DOUTPUT=${page} -DTITLE=${target}
            "-DSUMMARY=${summary}" -DVERSION=${PROJECT_VERSION} "-DCOMMANDS=${ARGN}"
            -P "${CMAKE_SOURCE_DIR}/cmake/ManPage.cmake"
    DEPENDS ${target} "${CMAKE_SOURCE_DIR}/cmake/ManPage.cmake"
    COMMENT "Writing the man page of ${target}" VERBATIM)
  add_custom_target(${target}-man ALL DEPENDS "${page}")
  install(FILES "${page}" DESTINATION "${CMAKE_INSTALL_MANDIR}/man1")
endfunction()

install(TARGETS vellumfox-cli RUNTIME DESTINATION "${CMAKE_INSTALL_BINDIR}")
vf_man_page(vellumfox-cli "terminal companion of the Vellumfox Android log viewer"
            devices displays screenshot stream convert detect crashes check-filter)

if(VF_BUILD_UI)
  install(TARGETS vellumfox RUNTIME DESTINATION "${CMAKE_INSTALL_BINDIR}")
  vf_man_page(vellumfox "viewer for the logs of Android devices")
  install(FILES "${_dist}/${VF_APP_ID}.desktop" DESTINATION "${CMAKE_INSTALL_DATADIR}/applications")
  configure_file("${_dist}/${VF_APP_ID}.metainfo.xml" "${CMAKE_BINARY_DIR}/dist/${VF_APP_ID}.metainfo.xml" @ONLY)
  install(FILES "${CMAKE_BINARY_DIR}/dist/${VF_APP_ID}.metainfo.xml" DESTINATION "${CMAKE_INSTALL_DATADIR}/metainfo")
  install(FILES "${_dist}/${VF_APP_ID}.mime.xml" DESTINATION "${CMAKE_INSTALL_DATADIR}/mime/packages"
          RENAME "${VF_APP_ID}.xml")
  install(FILES "${CMAKE_SOURCE_DIR}/resources/icons/vellumfox.svg"
          DESTINATION "${CMAKE_INSTALL_DATADIR}/icons/hicolor/scalable/apps" RENAME "${VF_APP_ID}.svg")
  # The Help menu shows its own copy; this one is for reading elsewhere.
  install(FILES "${CMAKE_SOURCE_DIR}/docs/query-language.md" DESTINATION "${CMAKE_INSTALL_DOCDIR}")
endif()

set(CPACK_PACKAGE_NAME "vellumfox")
set(CPACK_PACKAGE_VENDOR "Vellumfox")
set(CPACK_PACKAGE_VERSION "${PROJECT_VERSION}")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "Viewer for the logs of Android devices")
set(CPACK_PACKAGE_DESCRIPTION
    "Vellumfox runs beside the ADB server and shows the log of an attached Android device as a table you can filter, search, copy and save; vellumfox-cli does the same in a terminal.")
set(CPACK_PACKAGE_CONTACT "Vellumfox developers <vellumfox@localhost>")
set(CPACK_PACKAGING_INSTALL_PREFIX "/usr")
set(CPACK_STRIP_FILES ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION "devel")
# Libraries come from dpkg-shlibdeps; Qt's platform plugins are loaded at run
# time, so no library names them.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
if(VF_BUILD_UI)
  set(CPACK_DEBIAN_PACKAGE_DEPENDS "qt6-qpa-plugins")
  set(CPACK_DEBIAN_PACKAGE_RECOMMENDS "adb, qt6-svg-plugins")
else()
  set(CPACK_DEBIAN_PACKAGE_RECOMMENDS "adb")
endif()
include(CPack)
