# How the tests run the programs they build: natively, or under user-mode
# emulation when the kernel cannot execute programs of the target (some x86-64
# machines refuse 32-bit programs). Decided by running a tiny program of the
# target; KAV_EMULATE_I386=1 in the environment forces emulation of an i386
# build, so that both paths can be tried on any machine.
#
# Sets CMAKE_CROSSCOMPILING_EMULATOR before any target exists, so every test
# command that starts a built program goes through it, and caches
# KAV_TEST_RUNNER ("native" or "emulated by ...") for scripts/test.sh.

set(kav_emulate OFF)
if(CMAKE_SIZEOF_VOID_P EQUAL 4 AND "$ENV{KAV_EMULATE_I386}")
  set(kav_emulate ON)
  set(kav_why "forced by KAV_EMULATE_I386")
else()
  try_run(kav_probe_run kav_probe_compile ${CMAKE_BINARY_DIR}/probe
          ${CMAKE_CURRENT_LIST_DIR}/probe/runs.c)
  set(kav_probe_compiled ${kav_probe_compile})
  set(kav_probe_ran "${kav_probe_run}")
  # Asked anew at every configure: the cached answer may be another machine's.
  unset(kav_probe_run CACHE)
  unset(kav_probe_compile CACHE)
  if(NOT kav_probe_compiled)
    message(FATAL_ERROR "cannot build a program for the target (${CMAKE_C_FLAGS})")
  endif()
  if(NOT kav_probe_ran STREQUAL "0")
    if(NOT CMAKE_SIZEOF_VOID_P EQUAL 4)
      message(FATAL_ERROR "this machine cannot run the programs it builds")
    endif()
    set(kav_emulate ON)
    set(kav_why "this kernel cannot execute 32-bit programs")
  endif()
endif()

if(kav_emulate)
  find_program(KAV_QEMU_I386 qemu-i386)
  if(NOT KAV_QEMU_I386)
    message(FATAL_ERROR "the i386 tests need qemu-i386 (${kav_why}): apt-get install qemu-user")
  endif()
  # -L /: the i386 loader and libraries are the multilib ones of this machine.
  set(CMAKE_CROSSCOMPILING_EMULATOR ${KAV_QEMU_I386} -L /)
  set(KAV_TEST_RUNNER "emulated by qemu-i386, ${kav_why}" CACHE INTERNAL "")
else()
  unset(CMAKE_CROSSCOMPILING_EMULATOR)
  set(KAV_TEST_RUNNER "native" CACHE INTERNAL "")
endif()
# The command that starts a test program (empty when native), for scripts.
set(KAV_TEST_EMULATOR "${CMAKE_CROSSCOMPILING_EMULATOR}" CACHE INTERNAL "")
message(STATUS "tests run ${KAV_TEST_RUNNER}")
