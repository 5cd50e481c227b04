# One step of the package tests, run with cmake -P:
#   install         cmake --install into a scratch prefix; its files as a host finds them
#   host_pkgconfig  examples/minimal_host.c built with pkg-config against it, run
#   host_cmake      the same built with find_package(kavmath), run
#   deb             the Debian packages: their split, and their kavmath run unpacked
set(prefix ${SCRATCH}/prefix)
string(REPLACE "|" ";" emulator "${EMULATOR}")
set(ENV{PKG_CONFIG_PATH} ${prefix}/${LIBDIR}/pkgconfig)

function(run)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE err)
  if(NOT rc EQUAL 0)
    message(FATAL_ERROR "${ARGN}: ${rc}\n${out}${err}")
  endif()
  set(out "${out}" PARENT_SCOPE)
endfunction()

function(expect what got regex)
  if(NOT got MATCHES "^${regex}$")
    message(FATAL_ERROR "${what}: [${got}] does not match [${regex}]")
  endif()
endfunction()

# The module as a host finds it is the file the tests ran, byte for byte.
function(expect_tested_module path)
  file(REAL_PATH ${path} real)
  execute_process(COMMAND ${CMAKE_COMMAND} -E compare_files ${real} ${MODULE} RESULT_VARIABLE diff)
  expect("${path} is not the tested module" "${diff}" 0)
endfunction()

if(STEP STREQUAL "install")
  file(REMOVE_RECURSE ${SCRATCH})
  run(${CMAKE_COMMAND} --install ${BUILD} --prefix ${prefix})
  file(READ_SYMLINK ${prefix}/${LIBDIR}/libKAV_mod_math.so link)
  expect("the development link" "${link}" "libKAV_mod_math\\.so\\.1")
  run(pkg-config --modversion --variable=module kavmath)
  expect("pkg-config" "${out}" "${VERSION}\n[^\n]*/libKAV_mod_math\\.so\\.1\n")
  string(REGEX MATCH "[^\n]+\n$" module "${out}")
  string(STRIP "${module}" module)
  expect_tested_module(${module})
  run(${emulator} ${prefix}/bin/kavmath "sin(30000)")
  expect("the installed kavmath" "${out}" "500\n")

elseif(STEP MATCHES "^host_")
  set(exe ${SCRATCH}/${STEP}/minimal_host)
  if(STEP STREQUAL "host_pkgconfig")
    run(pkg-config --cflags --libs kavmath)
    separate_arguments(flags UNIX_COMMAND "${C_FLAGS} ${LINK_FLAGS} ${out}")
    file(MAKE_DIRECTORY ${SCRATCH}/${STEP})
    run(${CC} ${flags} -std=c11 -pedantic -Wall -Wextra -Werror
        ${SOURCE}/examples/minimal_host.c -o ${exe})
  else()
    run(${CMAKE_COMMAND} -S ${SOURCE}/examples -B ${SCRATCH}/${STEP} -DCMAKE_PREFIX_PATH=${prefix}
        -DCMAKE_C_COMPILER=${CC} "-DCMAKE_C_FLAGS=${C_FLAGS}" "-DCMAKE_EXE_LINKER_FLAGS=${LINK_FLAGS}"
        -DCMAKE_LIBRARY_ARCHITECTURE=${MULTIARCH})  # what a toolchain file for the target sets
    run(${CMAKE_COMMAND} --build ${SCRATCH}/${STEP})
  endif()
  run(${emulator} ${exe} ${prefix}/${LIBDIR}/libKAV_mod_math.so.1)
  expect("minimal_host" "${out}" "PI = 180000
[0-9]+ functions registered \\(a complete module: 1142\\)
sin\\(30000\\) before init = 0
sin\\(30000\\) = 500
pow\\(2.0f, 10.0f\\) = 1024
cos\\(ivec2\\(0, 420000\\)\\) = ivec2\\(1000, 499\\), argument now ivec2\\(0, 60000\\)
  raised 171 \"ACOS\" 0 1 1001
acos\\(1001\\) = -2147483648
")

elseif(STEP STREQUAL "deb")
  file(REMOVE_RECURSE ${SCRATCH}/deb)
  run(cpack --config ${BUILD}/CPackConfig.cmake -B ${SCRATCH}/deb)
  file(GLOB debs ${SCRATCH}/deb/*.deb)
  set(split "")
  foreach(deb ${debs})
    # Package, its dependency on the module's package, and its files.
    run(dpkg-deb --show --showformat=\${Package}:\${Depends} ${deb})
    string(REGEX MATCH "^[^:]+" name "${out}")
    string(REGEX MATCH "libkav-mod-math1 \\(= [^)]+\\)" dep "${out}")
    run(dpkg-deb --contents ${deb})
    string(REGEX MATCHALL "[^ /]+/[^ /\n]+(\n| ->)" files "${out}")
    string(APPEND split "${name} ${dep}:" ${files})
    run(dpkg-deb -x ${deb} ${SCRATCH}/deb/root)
  endforeach()
  string(REPLACE "\n" " " split "${split}")
  set(dep "libkav-mod-math1 \\(= ${VERSION}-1\\)")
  expect("the packages" "${split}" "kavmath ${dep}:bin/kavmath man1/kavmath.1.gz \
libkav-mod-math-dev ${dep}:kav/abi.h kav/kavhost.h kavmath/kavmathConfig.cmake \
kavmath/kavmathConfigVersion.cmake kavmath/kavmathTargets-[a-z]+.cmake kavmath/kavmathTargets.cmake \
[^ ]+/libKAV_mod_math.so ->[^ ]+/libkavhost.a pkgconfig/kavmath.pc \
libkav-mod-math1 :[^ ]+/libKAV_mod_math.so.1 ->[^ ]+/libKAV_mod_math.so.${VERSION} ")
  expect_tested_module(${SCRATCH}/deb/root/usr/${LIBDIR}/libKAV_mod_math.so.1)
  run(${emulator} ${SCRATCH}/deb/root/usr/bin/kavmath "sin(30000)")
  expect("the packaged kavmath" "${out}" "500\n")
endif()
