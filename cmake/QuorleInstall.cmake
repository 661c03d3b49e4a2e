# cmake --install: the program, and what somebody needs to write a handler: the header, found through
# pkg-config ("quorle") or through CMake (find_package(quorle), target quorle::handler), what a fuzzing
# engine needs to search one (quorle-explore.a, quorle_add_explorer()), the examples and the documentation. The result can be moved as a whole.
include(CMakePackageConfigHelpers)

set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/quorle)

install(TARGETS quorle quorle_handler_kit EXPORT quorle-targets)
install(FILES include/quorle/handler.h DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/quorle)
install(EXPORT quorle-targets NAMESPACE quorle:: DESTINATION ${package_dir})

if(NOT CMAKE_CROSSCOMPILING)
  install(FILES ${QUORLE_EXPLORE_ARCHIVE} $<TARGET_FILE:quorle_afl_mutator> DESTINATION ${CMAKE_INSTALL_LIBDIR})
  install(FILES cmake/QuorleExplorer.cmake DESTINATION ${package_dir})
  install(PROGRAMS cmake/quorle-compile-with DESTINATION ${package_dir})
endif()
# Objects that count which of their lines are executed need the counter of the compiler that made them.
set(QUORLE_EXPLORE_COUNTS)
if(QUORLE_COVERAGE)
  execute_process(COMMAND ${CMAKE_CXX_COMPILER} -print-file-name=libgcov.a
    OUTPUT_VARIABLE QUORLE_EXPLORE_COUNTS OUTPUT_STRIP_TRAILING_WHITESPACE)
  string(PREPEND QUORLE_EXPLORE_COUNTS ";")
endif()

write_basic_package_version_file(${CMAKE_BINARY_DIR}/quorle-config-version.cmake
  VERSION ${PROJECT_VERSION} COMPATIBILITY SameMajorVersion)
configure_package_config_file(cmake/quorle-config.cmake.in ${CMAKE_BINARY_DIR}/quorle-config.cmake
  INSTALL_DESTINATION ${package_dir} PATH_VARS CMAKE_INSTALL_LIBDIR)
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
