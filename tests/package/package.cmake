# One step of the package tests (see CMakeLists.txt), run with cmake -P:
#   install         cmake --install into a scratch prefix; the files a host finds
#   host_pkgconfig  examples/minimal_host.c built with pkg-config, run
#   host_cmake      the same built with find_package(kavmath), run
#   deb             the Debian packages: their split, unpacked kavmath run
set(prefix ${SCRATCH}/prefix)
string(REPLACE "|" ";" emulator "${EMULATOR}")
separate_arguments(c_flags UNIX_COMMAND "${C_FLAGS} ${LINK_FLAGS}")

function(run)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE err)
  if(NOT rc EQUAL 0)
    message(FATAL_ERROR "${ARGN}: ${rc}\n${out}${err}")
  endif()
  set(out "${out}" PARENT_SCOPE)
endfunction()

function(expect what got want)
  if(NOT got STREQUAL want)
    message(FATAL_ERROR "${what}: [${got}], expected [${want}]")
  endif()
endfunction()

# The module as the host's path finds it is the file the tests ran.
function(expect_tested_module path)
  file(REAL_PATH ${path} real)
  execute_process(COMMAND ${CMAKE_COMMAND} -E compare_files ${real} ${MODULE} RESULT_VARIABLE diff)
  expect("${path} differs from the tested module" "${diff}" 0)
endfunction()

# What minimal_host prints with any number of registered rows.
function(run_minimal_host exe)
  run(${emulator} ${exe} ${prefix}/${LIBDIR}/libKAV_mod_math.so.1)
  string(REGEX REPLACE "^PI = 180000\n[0-9]+ functions registered \\(a complete module: 1142\\)\n"
                       "" rest "${out}")
  expect("minimal_host" "${rest}" "sin(30000) before init = 0
sin(30000) = 500
pow(2.0f, 10.0f) = 1024
cos(ivec2(0, 420000)) = ivec2(1000, 499), argument now ivec2(0, 60000)
  raised 171 \"ACOS\" 0 1 1001
acos(1001) = -2147483648
")
endfunction()

if(STEP STREQUAL "install")
  file(REMOVE_RECURSE ${SCRATCH})
  run(${CMAKE_COMMAND} --install ${BUILD} --prefix ${prefix})
  set(lib ${prefix}/${LIBDIR})
  file(READ_SYMLINK ${lib}/libKAV_mod_math.so link)
  expect("the development link" "${link}" libKAV_mod_math.so.1)
  file(READ_SYMLINK ${lib}/libKAV_mod_math.so.1 link)
  expect("the soname link" "${link}" libKAV_mod_math.so.1.0.0)
  expect_tested_module(${lib}/libKAV_mod_math.so.1)
  foreach(f include/kav/abi.h include/kav/kavhost.h ${LIBDIR}/libkavhost.a
            share/man/man1/kavmath.1.gz ${LIBDIR}/cmake/kavmath/kavmathConfigVersion.cmake)
    if(NOT EXISTS ${prefix}/${f})
      message(FATAL_ERROR "not installed: ${f}")
    endif()
  endforeach()
  # pkg-config answers from the installed file, with the project's version.
  set(ENV{PKG_CONFIG_PATH} ${lib}/pkgconfig)
  run(pkg-config --modversion kavmath)
  expect("pkg-config --modversion" "${out}" "${VERSION}\n")
  run(pkg-config --variable=module kavmath)
  string(STRIP "${out}" module)
  expect_tested_module(${module})
  # The installed kavmath finds the installed module.
  run(${emulator} ${prefix}/bin/kavmath "sin(30000)")
  expect("installed kavmath" "${out}" "500\n")

elseif(STEP STREQUAL "host_pkgconfig")
  set(ENV{PKG_CONFIG_PATH} ${prefix}/${LIBDIR}/pkgconfig)
  run(pkg-config --cflags --libs kavmath)
  separate_arguments(pc UNIX_COMMAND "${out}")
  set(exe ${SCRATCH}/minimal_host_pc)
  run(${CC} ${c_flags} -std=c11 -pedantic -Wall -Wextra -Werror
      ${SOURCE}/examples/minimal_host.c ${pc} -o ${exe})
  run_minimal_host(${exe})

elseif(STEP STREQUAL "host_cmake")
  set(dir ${SCRATCH}/minimal_host_cmake)
  file(REMOVE_RECURSE ${dir})
  run(${CMAKE_COMMAND} -S ${SOURCE}/examples -B ${dir} -DCMAKE_PREFIX_PATH=${prefix}
      -DCMAKE_C_COMPILER=${CC} "-DCMAKE_C_FLAGS=${C_FLAGS}"
      "-DCMAKE_EXE_LINKER_FLAGS=${LINK_FLAGS}")
  run(${CMAKE_COMMAND} --build ${dir})
  run_minimal_host(${dir}/minimal_host)

elseif(STEP STREQUAL "deb")
  set(out_dir ${SCRATCH}/deb)
  file(REMOVE_RECURSE ${out_dir})
  run(cpack --config ${BUILD}/CPackConfig.cmake -B ${out_dir})
  file(GLOB debs ${out_dir}/*.deb)
  set(root ${out_dir}/root)
  set(split "")
  foreach(deb ${debs})
    run(dpkg-deb --show --showformat=\${Package}:\${Depends} ${deb})
    string(REGEX MATCH "^[^:]+:" name "${out}")
    string(REGEX MATCH "libkav-mod-math1 \\(= [^)]+\\)" depends "${out}")
    run(dpkg-deb --contents ${deb})
    string(REGEX MATCHALL "[^ ]+/[^ /\n]+(\n| ->)" files "${out}")
    list(TRANSFORM files REPLACE "^\\./usr/lib/[^/]+/" "LIB/")
    list(TRANSFORM files REPLACE "( ->|\n)$" "")
    list(TRANSFORM files REPLACE "Targets-[a-z]+" "Targets-CONFIG")
    list(SORT files)
    list(JOIN files " " files)
    string(APPEND split "${name}${depends}: ${files}\n")
    run(dpkg-deb -x ${deb} ${root})
  endforeach()
  set(dep "libkav-mod-math1 (= ${VERSION}-1)")
  expect("the packages" "${split}" "kavmath:${dep}: ./usr/bin/kavmath ./usr/share/man/man1/kavmath.1.gz
libkav-mod-math-dev:${dep}: ./usr/include/kav/abi.h ./usr/include/kav/kavhost.h \
LIB/cmake/kavmath/kavmathConfig.cmake LIB/cmake/kavmath/kavmathConfigVersion.cmake \
LIB/cmake/kavmath/kavmathTargets-CONFIG.cmake LIB/cmake/kavmath/kavmathTargets.cmake \
LIB/libKAV_mod_math.so LIB/libkavhost.a LIB/pkgconfig/kavmath.pc
libkav-mod-math1:: LIB/libKAV_mod_math.so.1 LIB/libKAV_mod_math.so.${VERSION}
")
  expect_tested_module(${root}/usr/${LIBDIR}/libKAV_mod_math.so.1)
  run(${emulator} ${root}/usr/bin/kavmath "sin(30000)")
  expect("the packaged kavmath" "${out}" "500\n")

else()
  message(FATAL_ERROR "unknown step ${STEP}")
endif()
