# cmake --install: the program, and what somebody needs to write a handler: the header, found through
# pkg-config ("quorle") or through CMake (find_package(quorle), target quorle::handler), what a fuzzing
# engine needs to search one (quorle-explore.a, quorle_add_explorer()), the examples, the documentation, the man
# pages (where scdoc is), and what shells complete command lines with. The result can be moved as a whole.
include(CMakePackageConfigHelpers)

set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/quorle)

install(TARGETS quorle quorle_handler_kit EXPORT quorle-targets)
install(FILES include/quorle/handler.h DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/quorle)
install(EXPORT quorle-targets NAMESPACE quorle:: DESTINATION ${package_dir})

if(NOT CMAKE_CROSSCOMPILING)
  install(FILES ${QUORLE_EXPLORE_ARCHIVE} DESTINATION ${CMAKE_INSTALL_LIBDIR})
  # A library of nobody but AFL++, which loads it by its name.
  install(FILES $<TARGET_FILE:quorle_afl_mutator> DESTINATION ${CMAKE_INSTALL_LIBDIR}/quorle)
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
install(DIRECTORY docs/ DESTINATION ${CMAKE_INSTALL_DOCDIR}/docs PATTERN man EXCLUDE)
install(DIRECTORY examples/ DESTINATION ${CMAKE_INSTALL_DOCDIR}/examples)
install(DIRECTORY clients/ DESTINATION ${CMAKE_INSTALL_DOCDIR}/clients USE_SOURCE_PERMISSIONS PATTERN __pycache__ EXCLUDE)

# What else a program has that is made when it is built.
set(made)
find_program(QUORLE_SCDOC scdoc)
if(QUORLE_SCDOC)
  foreach(page quorle.1 quorle-report.1 quorle-explore.1 quorle-matrix.1 quorle-handler.7)
    set(source ${PROJECT_SOURCE_DIR}/docs/man/${page}.scd)
    set(output ${CMAKE_BINARY_DIR}/man/${page})
    add_custom_command(OUTPUT ${output}
      COMMAND ${CMAKE_COMMAND} -E make_directory ${CMAKE_BINARY_DIR}/man
      COMMAND sh -c [[exec "$0" <"$1" >"$2"]] ${QUORLE_SCDOC} ${source} ${output}
      DEPENDS ${source}
      VERBATIM)
    string(REGEX MATCH "[0-9]$" section ${page})
    install(FILES ${output} DESTINATION ${CMAKE_INSTALL_MANDIR}/man${section})
    list(APPEND made ${output})
  endforeach()
endif()
if(NOT CMAKE_CROSSCOMPILING)
  # Debian's zsh looks for what packages bring in a folder of its own.
  if(CMAKE_INSTALL_PREFIX STREQUAL /usr AND EXISTS /etc/debian_version)
    set(zsh_dir ${CMAKE_INSTALL_DATADIR}/zsh/vendor-completions)
  else()
    set(zsh_dir ${CMAKE_INSTALL_DATADIR}/zsh/site-functions)
  endif()
  foreach(shell bash zsh)
    set(output ${CMAKE_BINARY_DIR}/completions/${shell})
    add_custom_command(OUTPUT ${output}
      COMMAND ${CMAKE_COMMAND} -E make_directory ${CMAKE_BINARY_DIR}/completions
      COMMAND sh -c [[exec "$0" completions "$1" >"$2"]] $<TARGET_FILE:quorle> ${shell} ${output}
      DEPENDS quorle
      VERBATIM)
    list(APPEND made ${output})
  endforeach()
  install(FILES ${CMAKE_BINARY_DIR}/completions/bash
    DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions RENAME quorle)
  install(FILES ${CMAKE_BINARY_DIR}/completions/zsh DESTINATION ${zsh_dir} RENAME _quorle)
endif()
add_custom_target(quorle_pages ALL DEPENDS ${made})
