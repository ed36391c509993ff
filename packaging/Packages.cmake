# What only packages have, and the settings of cpack. packaging/make_packages passes the variables.
set(KORVANE_PACKAGE_VERSION ${PROJECT_VERSION} CACHE STRING "Version of the packages, without Debian's revision")
set(KORVANE_PACKAGE_REVISION 0korvane1)
find_program(KORVANE_RSVG rsvg-convert REQUIRED)
find_program(KORVANE_GZIP gzip REQUIRED)
if(NOT KORVANE_PANDOC)
    message(FATAL_ERROR "The package of the manual needs pandoc.")
endif()

set(parts batch manual)
set(name_batch korvane-batch)
set(name_manual korvane-doc)
if(KORVANE_WINDOW)
    list(APPEND parts window)
    set(name_window korvane)
endif()
if(KORVANE_PYTHON)
    list(APPEND parts python)
    set(name_python python3-korvane)
endif()
set(made ${CMAKE_CURRENT_BINARY_DIR}/made)
file(MAKE_DIRECTORY ${made})

# --- Manual pages, from what the programs say. ---
set(pages_done ${made}/pages.done)
add_custom_command(OUTPUT ${pages_done}
    COMMAND ${CMAKE_COMMAND} -E rm -rf ${made}/man
    COMMAND ${CMAKE_CURRENT_SOURCE_DIR}/make_man_pages $<TARGET_FILE_DIR:korvane-batch> ${made}/man
    COMMAND sh -c "${KORVANE_GZIP} -9nf ${made}/man/*.1"
    COMMAND ${CMAKE_COMMAND} -E touch ${pages_done}
    DEPENDS make_man_pages man/COMMON man/korvane man/korvane-batch korvane-batch $<$<BOOL:${KORVANE_WINDOW}>:korvane>
    COMMENT "Manual pages"
    VERBATIM)
set(made_files ${pages_done})
install(DIRECTORY ${made}/man/ DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT batch
    FILES_MATCHING PATTERN "korvane-batch*.1.gz")

# --- Icons: desktops and software catalogues want fixed sizes too. ---
if(KORVANE_WINDOW)
    install(FILES ${made}/man/korvane.1.gz DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT window)
    foreach(size IN ITEMS 16 22 24 32 48 64 128 256 512)
        set(icon ${made}/korvane-${size}.png)
        add_custom_command(OUTPUT ${icon}
            COMMAND ${KORVANE_RSVG} -w ${size} -h ${size} -o ${icon} ${CMAKE_CURRENT_SOURCE_DIR}/korvane.svg
            DEPENDS korvane.svg
            VERBATIM)
        list(APPEND made_files ${icon})
        install(FILES ${icon} DESTINATION ${CMAKE_INSTALL_DATADIR}/icons/hicolor/${size}x${size}/apps
            RENAME korvane.png COMPONENT window)
    endforeach()
endif()

# --- Copyright: the owner's licence as soon as there is one, and those of the libraries. ---
if(EXISTS ${PROJECT_SOURCE_DIR}/LICENSE)
    set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/LICENSE)
    file(READ ${PROJECT_SOURCE_DIR}/LICENSE licence)
    string(STRIP "${licence}" licence)
else()
    file(READ licence_not_chosen licence)
    string(STRIP "${licence}" licence)
endif()
# As a field of a control file: lines are indented, empty ones have a dot.
string(REGEX REPLACE "\n" "\n " licence "${licence}")
string(REGEX REPLACE "\n [ \t]*\n" "\n .\n" licence "${licence}")
string(REGEX REPLACE "\n [ \t]*\n" "\n .\n" KORVANE_LICENCE "${licence}")
configure_file(copyright.in ${made}/copyright @ONLY)

# --- Change logs: the packages' own has one entry, of this build. ---
string(TIMESTAMP KORVANE_PACKAGE_DATE "%a, %d %b %Y %H:%M:%S +0000" UTC)
configure_file(changelog.in ${made}/changelog.Debian @ONLY)
foreach(log IN ITEMS changelog changelog.Debian)
    set(source ${made}/${log})
    if(log STREQUAL changelog)
        set(source ${PROJECT_SOURCE_DIR}/CHANGELOG.md)
    endif()
    add_custom_command(OUTPUT ${made}/${log}.gz
        COMMAND sh -c "${KORVANE_GZIP} -9nc ${source} > ${made}/${log}.gz"
        DEPENDS ${source}
        VERBATIM)
    list(APPEND made_files ${made}/${log}.gz)
endforeach()
add_custom_target(korvane_package_files ALL DEPENDS ${made_files})

foreach(part IN LISTS parts)
    set(documents ${CMAKE_INSTALL_DATAROOTDIR}/doc/${name_${part}})
    install(FILES ${made}/copyright ${made}/changelog.gz ${made}/changelog.Debian.gz
        DESTINATION ${documents} COMPONENT ${part})
    install(FILES lintian-overrides DESTINATION ${CMAKE_INSTALL_DATADIR}/lintian/overrides RENAME ${name_${part}}
        COMPONENT ${part})
endforeach()
install(FILES korvane-manual.doc-base DESTINATION ${CMAKE_INSTALL_DATADIR}/doc-base
    RENAME korvane-doc.korvane-manual COMPONENT manual)

# --- cpack ---
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME korvane)
set(CPACK_PACKAGE_VERSION ${KORVANE_PACKAGE_VERSION})
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_COMPONENTS_ALL ${parts})
set(CPACK_COMPONENTS_GROUPING IGNORE)
set(CPACK_DEB_COMPONENT_INSTALL ON)
# Folders get the same rights whatever the umask of the build.
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
    OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_COMPRESSION_TYPE xz)
# Debian's own packages would begin with 1.
set(CPACK_DEBIAN_PACKAGE_RELEASE ${KORVANE_PACKAGE_REVISION})
set(CPACK_DEBIAN_PACKAGE_MAINTAINER "The Korvane developers <korvane@localhost>")
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)

# cpack indents the lines and marks empty ones.
set(about "Korvane finds exosomes in transmission electron microscopy images and
measures them: grey TIFF files in; label images, tables in nanometres, overlay
images and reports out. The same image and parameters give the same bytes on
every machine.
")

set(CPACK_DEBIAN_BATCH_PACKAGE_NAME korvane-batch)
set(CPACK_DEBIAN_BATCH_PACKAGE_SECTION science)
set(CPACK_DEBIAN_BATCH_PACKAGE_SHLIBDEPS ON)
# Figures are drawn by gnuplot, texts in overlays with the font.
set(CPACK_DEBIAN_BATCH_PACKAGE_DEPENDS "gnuplot-nox | gnuplot, fonts-dejavu-core")
# The workflow, which is part of it, is run by snakemake; its Slurm profile has a script of Python.
set(CPACK_DEBIAN_BATCH_PACKAGE_SUGGESTS "korvane-doc, snakemake, python3:any")
set(CPACK_DEBIAN_BATCH_DESCRIPTION "Finds and measures exosomes in electron micrographs, without a window
${about}
This package has the batch tool. It needs no display.")

set(CPACK_DEBIAN_WINDOW_PACKAGE_NAME korvane)
set(CPACK_DEBIAN_WINDOW_PACKAGE_SECTION science)
set(CPACK_DEBIAN_WINDOW_PACKAGE_SHLIBDEPS ON)
# Figures of a report are drawn by gnuplot; without it the report says that they are missing.
set(CPACK_DEBIAN_WINDOW_PACKAGE_RECOMMENDS "korvane-doc, gnuplot-nox | gnuplot")
set(CPACK_DEBIAN_WINDOW_PACKAGE_SUGGESTS "korvane-batch")
set(CPACK_DEBIAN_WINDOW_DESCRIPTION "Finds and measures exosomes in electron micrographs
${about}
This package has the window, in which images are looked at, analysed and
 corrected by hand.")

set(CPACK_DEBIAN_MANUAL_PACKAGE_NAME korvane-doc)
set(CPACK_DEBIAN_MANUAL_PACKAGE_SECTION doc)
set(CPACK_DEBIAN_MANUAL_PACKAGE_ARCHITECTURE all)
set(CPACK_DEBIAN_MANUAL_DESCRIPTION "Manual of Korvane, which measures exosomes in electron micrographs
${about}
This package has the user's manual and the reference of the batch tool as HTML
 pages. Help > About of the window opens them.")

set(CPACK_DEBIAN_PYTHON_PACKAGE_NAME python3-korvane)
set(CPACK_DEBIAN_PYTHON_PACKAGE_SECTION python)
set(CPACK_DEBIAN_PYTHON_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PYTHON_PACKAGE_CONTROL_EXTRA
    ${CMAKE_CURRENT_SOURCE_DIR}/python/postinst ${CMAKE_CURRENT_SOURCE_DIR}/python/prerm)
if(KORVANE_PYTHON)
    # The compiled part is for one version of Python and one layout of NumPy's arrays.
    string(REPLACE "." ";" version ${KORVANE_PYTHON_VERSION})
    list(GET version 0 major)
    list(GET version 1 minor)
    math(EXPR next "${minor} + 1")
    execute_process(COMMAND dpkg-query -W "-f=\${Provides}" python3-numpy
        OUTPUT_VARIABLE provided COMMAND_ERROR_IS_FATAL ANY)
    if(NOT provided MATCHES "python3-numpy-abi[0-9]+")
        message(FATAL_ERROR "python3-numpy does not say which layout of arrays it has: ${provided}")
    endif()
    set(CPACK_DEBIAN_PYTHON_PACKAGE_DEPENDS
        "python3 (>= ${major}.${minor}~), python3 (<< ${major}.${next}), python3:any, python3-numpy, ${CMAKE_MATCH_0}")
endif()
set(CPACK_DEBIAN_PYTHON_PACKAGE_SUGGESTS "korvane-doc, python3-skimage, python3-pandas, python3-dask")
set(CPACK_DEBIAN_PYTHON_DESCRIPTION "Finds and measures exosomes in electron micrographs, from Python
${about}
This package has the Python module, which works on NumPy arrays.")
include(CPack)
