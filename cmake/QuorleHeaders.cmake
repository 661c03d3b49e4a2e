# quorle_header_library(TARGET HEADER): an interface library for a header-only library of the host,
# found by one of its headers ("CLI/CLI.hpp"). A cross compiler must not see the host's other headers:
# it gets the library's folder alone.
function(quorle_header_library target header)
  find_path(${target}_INCLUDE_DIR ${header} REQUIRED NO_CMAKE_FIND_ROOT_PATH)
  set(include_dir ${${target}_INCLUDE_DIR})
  if(CMAKE_CROSSCOMPILING)
    string(REGEX REPLACE "/.*" "" folder ${header})
    set(links ${CMAKE_BINARY_DIR}/host-headers)
    file(MAKE_DIRECTORY ${links})
    file(CREATE_LINK ${include_dir}/${folder} ${links}/${folder} SYMBOLIC)
    set(include_dir ${links})
  endif()
  add_library(${target} INTERFACE)
  target_include_directories(${target} SYSTEM INTERFACE ${include_dir})
endfunction()
