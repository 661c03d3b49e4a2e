# quorle_native_options(TARGET): how a program for the platform itself is compiled and linked, with
# a compiler that was made for Linux. The platform relocates the file section by section and sets no
# register up for the program; there is no C or C++ library.
function(quorle_native_options target)
  set_target_properties(${target} PROPERTIES POSITION_INDEPENDENT_CODE OFF)
  target_compile_options(${target} PRIVATE
    -ffreestanding
    # Plain addresses, which the platform relocates: no global offset table, no reserved register.
    -fno-pic -fno-pie -msdata=none -G 0 -fno-jump-tables -fno-common
    # Every processor that the platform runs on. What the tester does needs no floating point.
    -mcpu=powerpc -mno-altivec -msoft-float
    # Nothing that needs a run-time library, or Linux.
    -fno-exceptions -fno-rtti -fno-threadsafe-statics -fno-use-cxa-atexit -fno-stack-protector
    -fno-asynchronous-unwind-tables -fno-unwind-tables
    # Its symbols would mark the file as one for GNU systems.
    -fno-gnu-unique
    # Small structures are returned in registers, as all code of the platform returns them.
    -msvr4-struct-return
    # The same bytes wherever the sources lie and whatever the build type is, and no debug data.
    -O2 -g0 -ffile-prefix-map=${PROJECT_SOURCE_DIR}=.)
endfunction()

# quorle_native_link(TARGET): links the executable TARGET with the script of native/, relocations
# kept and segments aligned as the platform's executables have them.
function(quorle_native_link target)
  set(script ${PROJECT_SOURCE_DIR}/native/quorle.ld)
  target_link_options(${target} PRIVATE
    -nostdlib -static -no-pie -Wl,-T,${script} -Wl,--emit-relocs -Wl,--build-id=none
    -Wl,-z,max-page-size=0x10000 -Wl,--orphan-handling=error)
  target_link_libraries(${target} PRIVATE gcc)  # division of 64-bit numbers
  set_target_properties(${target} PROPERTIES LINK_DEPENDS ${script})
endfunction()
