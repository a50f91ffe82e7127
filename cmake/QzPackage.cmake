# What an installed copy has beside the library (QzInstall), and the Debian package of all of it: `cpack` in the build
# folder, or ./dev package.
include(GNUInstallDirs)

# `installed` builds what is installed, and no tests; an install builds nothing by itself.
set(CMAKE_SKIP_INSTALL_ALL_DEPENDENCY ON)
add_custom_target(installed DEPENDS qzlp libqzlp_shared)

# The program, with its man page and its completions.
install(TARGETS qzlp RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT program)
install(FILES docs/qzlp.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT program)
install(FILES apps/qzlp/completion/qzlp.bash DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions
        RENAME qzlp COMPONENT program)
install(FILES apps/qzlp/completion/_qzlp DESTINATION ${CMAKE_INSTALL_DATADIR}/zsh/site-functions COMPONENT program)

# The driver of modelling systems, where the build has it.
if(TARGET qzlp_ampl)
  install(TARGETS qzlp_ampl RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT program)
  add_dependencies(installed qzlp_ampl)
endif()

# The solver and its sibling modules for other hosts, which load them by name, with the headers of their interface.
foreach(module qzipsolve qzpresol qztimer qzsimpx qzfile)
  if(TARGET ${module}_so)
    install(TARGETS ${module}_so LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}/qzipsolve COMPONENT modules)
    add_dependencies(installed ${module}_so)
  endif()
endforeach()
install(DIRECTORY include/qzipsolve DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT modules)

# The Python package, where Debian's Python looks when the prefix is /usr; elsewhere pip installs it, or PYTHONPATH
# names the folder. It loads the installed library.
set(QZ_PYTHON_DIR lib/python3/dist-packages CACHE STRING "Folder of the Python package under the prefix")
install(DIRECTORY python/qzlp DESTINATION ${QZ_PYTHON_DIR} COMPONENT python FILES_MATCHING PATTERN "*.py"
        PATTERN "py.typed" PATTERN "__pycache__" EXCLUDE)

install(FILES README.md CHANGELOG.md docs/user_guide.md DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/qzlp COMPONENT documents)
install(FILES LICENSE DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/qzlp RENAME copyright COMPONENT documents)
install(DIRECTORY examples DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/qzlp COMPONENT documents)

# One Debian package of everything. The libraries that it needs are found by dpkg-shlibdeps.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME qzlp)
set(CPACK_PACKAGE_CONTACT "The developers of qzlp <qzlp@localhost>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY ${PROJECT_DESCRIPTION})
set(CPACK_PACKAGE_DESCRIPTION "The program qzlp solves models in MPS and LP files. The library libqzlp has a C API, the
Python package qzlp wraps it with the signature of SciPy's linprog, and the
solver's modules can be loaded by other hosts.")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION math)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_DEPENDS libopenblas0-serial) # the threads are the solver's own
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_CONTROL_EXTRA ${CMAKE_SOURCE_DIR}/cmake/debian/prerm)
set(CPACK_DEBIAN_PACKAGE_RECOMMENDS "python3-numpy, python3-scipy")
set(CPACK_DEBIAN_PACKAGE_SUGGESTS "gnuplot-nox | gnuplot")
include(CPack)
