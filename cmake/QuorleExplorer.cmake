# quorle_add_explorer(TARGET SOURCES FILE... [ENGINE libfuzzer|afl]): a program that searches the handler of
# these sources, in C or C++, with a fuzzing engine that watches which of their lines are reached. For libfuzzer,
# which is what there is without ENGINE, clang compiles them, for afl AFL++'s afl-clang-fast, whatever compiles
# the rest of the project; set QUORLE_CLANG, QUORLE_CLANGXX, QUORLE_AFL_CC or QUORLE_AFL_CXX where they are not
# found. What else the sources need is said with target_include_directories(TARGET ...) and the like.

# Sets OUT to the command NAME, found once and kept as the variable VARIABLE of the cache.
function(_quorle_find_engine out variable)
  find_program(${variable} NAMES ${ARGN})
  if(NOT ${variable})
    list(GET ARGN 0 name)
    message(FATAL_ERROR "quorle_add_explorer: there is no ${name} here; set ${variable} to where it is")
  endif()
  set(${out} ${${variable}} PARENT_SCOPE)
endfunction()

function(quorle_add_explorer target)
  cmake_parse_arguments(PARSE_ARGV 1 ARG "" "ENGINE" "SOURCES")
  if(ARG_UNPARSED_ARGUMENTS OR NOT ARG_SOURCES)
    message(FATAL_ERROR "quorle_add_explorer(TARGET SOURCES FILE... [ENGINE libfuzzer|afl])")
  endif()
  if(NOT ARG_ENGINE)
    set(ARG_ENGINE libfuzzer)
  endif()
  if(ARG_ENGINE STREQUAL libfuzzer)
    _quorle_find_engine(c QUORLE_CLANG clang clang-19 clang-18 clang-17 clang-16 clang-15 clang-14)
    _quorle_find_engine(cxx QUORLE_CLANGXX clang++ clang++-19 clang++-18 clang++-17 clang++-16 clang++-15 clang++-14)
  elseif(ARG_ENGINE STREQUAL afl)
    _quorle_find_engine(c QUORLE_AFL_CC afl-clang-fast)
    _quorle_find_engine(cxx QUORLE_AFL_CXX afl-clang-fast++)
  else()
    message(FATAL_ERROR "quorle_add_explorer: ENGINE ${ARG_ENGINE} is not known; it is libfuzzer or afl")
  endif()
  add_executable(${target} ${ARG_SOURCES})
  target_link_libraries(${target} PRIVATE quorle::explore)
  target_compile_options(${target} PRIVATE -g -fsanitize=fuzzer-no-link)
  target_link_options(${target} PRIVATE -fsanitize=fuzzer)
  # The engine's compiler in place of the project's, which stays as it is for everything else.
  foreach(language C CXX)
    string(TOLOWER ${language} name)
    set_target_properties(${target} PROPERTIES
      ${language}_COMPILER_LAUNCHER "${QUORLE_COMPILE_WITH};${${name}}"
      ${language}_LINKER_LAUNCHER "${QUORLE_COMPILE_WITH};${${name}}")
  endforeach()
endfunction()
