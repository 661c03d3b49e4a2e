# cmake --install: the program, and what somebody needs to write a handler: the header, found through
# pkg-config ("quorle") or through CMake (find_package(quorle), target quorle::handler), the examples
# and the documentation. The result can be moved as a whole.
include(CMakePackageConfigHelpers)

set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/quorle)

install(TARGETS quorle quorle_handler_kit EXPORT quorle-targets)
install(FILES include/quorle/handler.h DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/quorle)
install(EXPORT quorle-targets NAMESPACE quorle:: DESTINATION ${package_dir})

write_basic_package_version_file(${CMAKE_BINARY_DIR}/quorle-config-version.cmake
  VERSION ${PROJECT_VERSION} COMPATIBILITY SameMajorVersion)
configure_package_config_file(cmake/quorle-config.cmake.in ${CMAKE_BINARY_DIR}/quorle-config.cmake
  INSTALL_DESTINATION ${package_dir})
install(FILES ${CMAKE_BINARY_DIR}/quorle-config.cmake ${CMAKE_BINARY_DIR}/quorle-config-version.cmake
  DESTINATION ${package_dir})

file(RELATIVE_PATH QUORLE_PREFIX_FROM_PC
  ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
configure_file(cmake/quorle.pc.in ${CMAKE_BINARY_DIR}/quorle.pc @ONLY)
install(FILES ${CMAKE_BINARY_DIR}/quorle.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

install(FILES README.md LICENSE DESTINATION ${CMAKE_INSTALL_DOCDIR})
install(DIRECTORY docs/ DESTINATION ${CMAKE_INSTALL_DOCDIR}/docs)
install(DIRECTORY examples/ DESTINATION ${CMAKE_INSTALL_DOCDIR}/examples)
install(DIRECTORY clients/ DESTINATION ${CMAKE_INSTALL_DOCDIR}/clients USE_SOURCE_PERMISSIONS PATTERN __pycache__ EXCLUDE)
