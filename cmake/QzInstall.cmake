# Where an installed copy has the library, and what lets other builds find it: the package `qzlp` of find_package and of
# pkg-config. Both follow the copy when it is moved.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

set(qzlp_package ${CMAKE_INSTALL_LIBDIR}/cmake/qzlp)
file(RELATIVE_PATH QZLP_PREFIX_FROM_PC /${CMAKE_INSTALL_LIBDIR}/pkgconfig /)
string(REGEX REPLACE "/$" "" QZLP_PREFIX_FROM_PC ${QZLP_PREFIX_FROM_PC})

install(TARGETS libqzlp_shared EXPORT qzlp LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT libqzlp)
install(FILES ${CMAKE_SOURCE_DIR}/include/qzlp.h DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT libqzlp)
install(EXPORT qzlp FILE qzlp-config.cmake NAMESPACE qzlp:: DESTINATION ${qzlp_package} COMPONENT libqzlp)

# Before version 1 a minor version may change what programs rely on.
if(PROJECT_VERSION_MAJOR EQUAL 0)
  set(qzlp_compatible SameMinorVersion)
else()
  set(qzlp_compatible SameMajorVersion)
endif()
write_basic_package_version_file(${CMAKE_BINARY_DIR}/qzlp-config-version.cmake COMPATIBILITY ${qzlp_compatible})
configure_file(${CMAKE_SOURCE_DIR}/cmake/qzlp.pc.in ${CMAKE_BINARY_DIR}/qzlp.pc @ONLY)
install(FILES ${CMAKE_BINARY_DIR}/qzlp-config-version.cmake DESTINATION ${qzlp_package} COMPONENT libqzlp)
install(FILES ${CMAKE_BINARY_DIR}/qzlp.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT libqzlp)
