# One step of the package tests (cmake -P): install (into a scratch prefix, read
# as a host finds it), host_pkgconfig and host_cmake (examples/minimal_host.c
# built against that prefix and run), deb (the packages' split, unpacked kavmath).
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
  execute_process(COMMAND ${CMAKE_COMMAND} -E compare_files ${path} ${MODULE} RESULT_VARIABLE diff)
  expect("${path} is not the tested module" "${diff}" 0)
endfunction()

if(STEP STREQUAL "install")
  file(REMOVE_RECURSE ${SCRATCH})
  run(${CMAKE_COMMAND} --install ${BUILD} --prefix ${prefix})
  file(READ_SYMLINK ${prefix}/${LIBDIR}/libKAV_mod_math.so link)
  expect("the development link" "${link}" "libKAV_mod_math\\.so\\.1")
  run(pkg-config --modversion --variable=module kavmath)
  expect("pkg-config" "${out}" "${VERSION}\n[^\n]*/libKAV_mod_math\\.so\\.1\n")
  string(REGEX MATCH "[^\n]+/libKAV_mod_math\\.so\\.1" module "${out}")
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
        -DCMAKE_COMPILE_WARNING_AS_ERROR=ON
        -DCMAKE_LIBRARY_ARCHITECTURE=${MULTIARCH})  # what a toolchain file for the target sets
    run(${CMAKE_COMMAND} --build ${SCRATCH}/${STEP})
  endif()
  run(${emulator} ${exe} ${prefix}/${LIBDIR}/libKAV_mod_math.so.1)
  expect("minimal_host" "${out}" "PI = 180000\n[0-9]+ functions [^\n]+ 1142\\)\n[^\n]+ init = 0
sin[^\n]+ = 500\npow[^\n]+ = 1024\ncos[^\n]+ = ivec2\\(1000, 499\\), [^\n]+ ivec2\\(0, 60000\\)
  raised 171 \"ACOS\" 0 1 1001\nacos\\(1001\\) = -2147483648\n")

elseif(STEP STREQUAL "deb")
  file(REMOVE_RECURSE ${SCRATCH}/deb)
  run(cpack --config ${BUILD}/CPackConfig.cmake -B ${SCRATCH}/deb)
  file(GLOB debs ${SCRATCH}/deb/*.deb)
  foreach(deb ${debs})  # name, dependency on the module's package, files
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
