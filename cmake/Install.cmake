# Installation and the Debian package. The bundle goes where a distribution keeps a program's
# private files, PREFIX/lib/corvane/Corvane.app; bin/cvdiff and bin/corvane are links into it,
# so that the tool resolves the link and finds the bundle it lives in. Every installed path,
# links and the desktop entry included, goes through file(INSTALL) and so into
# install_manifest.txt.
include(GNUInstallDirs)

set(CORVANE_INSTALL_BUNDLE_DIR lib/corvane/Corvane.app CACHE STRING
    "Where the application bundle goes, relative to the prefix")
set(bundle_executables ${CORVANE_INSTALL_BUNDLE_DIR}/Contents/MacOS)

install(TARGETS Corvane cvdiff RUNTIME DESTINATION ${bundle_executables})
install(FILES ${CORVANE_BUNDLE_DIR}/Contents/Info.plist
        DESTINATION ${CORVANE_INSTALL_BUNDLE_DIR}/Contents)
install(TARGETS defaults RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})

# The links are made at build time, relative, so that they hold under any prefix and DESTDIR;
# install(FILES) keeps a link a link.
set(link_folder ${CMAKE_BINARY_DIR}/install-links)
file(RELATIVE_PATH bin_to_bundle /prefix/${CMAKE_INSTALL_BINDIR} /prefix/${bundle_executables})
file(MAKE_DIRECTORY ${link_folder})
file(CREATE_LINK ${bin_to_bundle}/cvdiff ${link_folder}/cvdiff SYMBOLIC)
file(CREATE_LINK ${bin_to_bundle}/Corvane ${link_folder}/corvane SYMBOLIC)
install(FILES ${link_folder}/cvdiff ${link_folder}/corvane DESTINATION ${CMAKE_INSTALL_BINDIR})

# The desktop entry names the application by its absolute path, which is known only at install
# time (cmake --install --prefix); the lookup by identifier finds the bundle through it.
set(desktop_template ${PROJECT_SOURCE_DIR}/data/com.corvane.Corvane.desktop.in)
install(CODE "
    set(CORVANE_INSTALLED_EXECUTABLE \"\${CMAKE_INSTALL_PREFIX}/${bundle_executables}/Corvane\")
    configure_file(\"${desktop_template}\"
                   \"${CMAKE_BINARY_DIR}/install-desktop/com.corvane.Corvane.desktop\" @ONLY)
    file(INSTALL DESTINATION \"\${CMAKE_INSTALL_PREFIX}/${CMAKE_INSTALL_DATADIR}/applications\"
         TYPE FILE FILES \"${CMAKE_BINARY_DIR}/install-desktop/com.corvane.Corvane.desktop\")
")
install(FILES data/com.corvane.Corvane.svg
        DESTINATION ${CMAKE_INSTALL_DATADIR}/icons/hicolor/scalable/apps)
string(TIMESTAMP CORVANE_RELEASE_DATE "%Y-%m-%d" UTC)
configure_file(data/com.corvane.Corvane.metainfo.xml.in
               ${CMAKE_BINARY_DIR}/com.corvane.Corvane.metainfo.xml @ONLY)
install(FILES ${CMAKE_BINARY_DIR}/com.corvane.Corvane.metainfo.xml
        DESTINATION ${CMAKE_INSTALL_DATADIR}/metainfo)

# Manual pages from their scdoc sources.
find_program(SCDOC scdoc)
if(SCDOC)
    set(man_pages)
    foreach(page cvdiff.1 corvane.1 defaults.1)
        set(source ${PROJECT_SOURCE_DIR}/docs/man/${page}.scd)
        set(output ${CMAKE_BINARY_DIR}/man/${page}.gz)
        add_custom_command(OUTPUT ${output}
            COMMAND ${CMAKE_COMMAND} -E make_directory ${CMAKE_BINARY_DIR}/man
            COMMAND sh -c "'${SCDOC}' < '${source}' | gzip -n -9 > '${output}'"
            DEPENDS ${source} VERBATIM)
        list(APPEND man_pages ${output})
    endforeach()
    add_custom_target(man ALL DEPENDS ${man_pages})
    install(FILES ${man_pages} DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)
else()
    message(WARNING "scdoc not found: the manual pages are not built")
endif()

install(FILES completions/cvdiff.bash DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions
        RENAME cvdiff)
install(FILES completions/corvane.bash DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions
        RENAME corvane)
install(FILES completions/_cvdiff completions/_corvane
        DESTINATION ${CMAKE_INSTALL_DATADIR}/zsh/vendor-completions)
install(FILES completions/cvdiff.fish completions/corvane.fish
        DESTINATION ${CMAKE_INSTALL_DATADIR}/fish/vendor_completions.d)
install(FILES README.md docs/vcs-setup.md DESTINATION ${CMAKE_INSTALL_DOCDIR})
install(FILES data/copyright DESTINATION ${CMAKE_INSTALL_DOCDIR})
install(FILES ${CMAKE_BINARY_DIR}/changelog.Debian.gz DESTINATION ${CMAKE_INSTALL_DOCDIR})
# The package is built from this repository, not uploaded to Debian: no bug to close.
install(FILES data/lintian-overrides DESTINATION ${CMAKE_INSTALL_DATADIR}/lintian/overrides
        RENAME cvdiff)

# The Debian package: cpack -G DEB in the build folder.
set(CPACK_PACKAGE_NAME cvdiff)
set(CPACK_PACKAGE_VENDOR "Corvane")
set(CPACK_PACKAGE_CONTACT "Corvane developers <developers@corvane.com>")
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "compare and merge files, folders and changesets")
set(CPACK_PACKAGE_DESCRIPTION
    "cvdiff hands files, folders and changesets from the command line or from a\n\
version control system (git, Subversion, Mercurial, Breezy, Perforce) to\n\
Corvane, which compares and merges them. A merge's exit status says whether it\n\
was resolved.")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION devel)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
# cvdiff reaches Corvane over the session bus, which every desktop session has.
set(CPACK_DEBIAN_PACKAGE_RECOMMENDS "dbus-user-session | dbus-session-bus")
set(CPACK_DEBIAN_PACKAGE_HOMEPAGE "https://corvane.com/")
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(CPACK_STRIP_FILES ON)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_GENERATOR DEB)
# The Debian changelog lintian asks for, from the version.
string(TIMESTAMP changelog_date "%a, %d %b %Y %H:%M:%S +0000" UTC)
file(WRITE ${CMAKE_BINARY_DIR}/changelog.Debian
"cvdiff (${PROJECT_VERSION}-1) unstable; urgency=medium\n\n  * Release ${PROJECT_VERSION} (build ${CVDIFF_BUILD_NUMBER}).\n\n -- ${CPACK_PACKAGE_CONTACT}  ${changelog_date}\n")
execute_process(COMMAND gzip -n -9 -f ${CMAKE_BINARY_DIR}/changelog.Debian)
include(CPack)
