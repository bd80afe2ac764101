# Installation: the public header, liborvel.so (versioned, SONAME), the orvel
# command and its man page, a CMake package (find_package(orvel) gives the
# target orvel::orvel) and a relocatable pkg-config file.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

target_include_directories(orvel PUBLIC $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>)
install(TARGETS orvel EXPORT orvelTargets LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(FILES ${CMAKE_SOURCE_DIR}/include/orvel.h DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
if(TARGET orvel_cli)
  set_target_properties(orvel_cli PROPERTIES INSTALL_RPATH "$ORIGIN/../${CMAKE_INSTALL_LIBDIR}")
  install(TARGETS orvel_cli RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
endif()
install(FILES ${CMAKE_SOURCE_DIR}/docs/orvel.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)

set(ORVEL_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/orvel)
install(EXPORT orvelTargets NAMESPACE orvel:: DESTINATION ${ORVEL_CMAKE_DIR})
configure_package_config_file(${CMAKE_SOURCE_DIR}/cmake/orvelConfig.cmake.in
                              ${CMAKE_BINARY_DIR}/orvelConfig.cmake INSTALL_DESTINATION ${ORVEL_CMAKE_DIR})
write_basic_package_version_file(${CMAKE_BINARY_DIR}/orvelConfigVersion.cmake VERSION ${PROJECT_VERSION}
                                 COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_BINARY_DIR}/orvelConfig.cmake ${CMAKE_BINARY_DIR}/orvelConfigVersion.cmake
        DESTINATION ${ORVEL_CMAKE_DIR})

# The .pc file finds the prefix from its own place, so it works wherever the
# tree is installed (cmake --install --prefix ...).
file(RELATIVE_PATH ORVEL_PC_TO_PREFIX /prefix/${CMAKE_INSTALL_LIBDIR}/pkgconfig /prefix)
configure_file(${CMAKE_SOURCE_DIR}/cmake/orvel.pc.in ${CMAKE_BINARY_DIR}/orvel.pc @ONLY)
install(FILES ${CMAKE_BINARY_DIR}/orvel.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
