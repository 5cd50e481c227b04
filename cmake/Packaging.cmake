# The development files (pkg-config file, CMake package) and the Debian
# packages, all from the one project version. Components:
#   runtime  the module under its soname        -> libkav-mod-math1
#   dev      header, links, pkg-config, CMake,  -> libkav-mod-math-dev
#            the kavhost library
#   kavmath  the command line and its man page  -> kavmath
include(CMakePackageConfigHelpers)

get_target_property(KAV_SOVERSION KAV_mod_math SOVERSION)
set(kav_gen ${CMAKE_BINARY_DIR}/package)
set(kav_cmake_dir ${CMAKE_INSTALL_LIBDIR}/cmake/kavmath)

# pkg-config: the prefix is the one installed to (the Debian package's /usr,
# or cmake --install --prefix), so it is filled in at install time.
set(KAV_PC_PREFIX "@KAV_PC_PREFIX@")
set(KAV_PC_LIBS "")
foreach(lib ${CMAKE_DL_LIBS})
  string(APPEND KAV_PC_LIBS "-l${lib}")
endforeach()
configure_file(${CMAKE_CURRENT_LIST_DIR}/kavmath.pc.in ${kav_gen}/kavmath.pc.in @ONLY)
install(CODE "
  file(READ \"${kav_gen}/kavmath.pc.in\" pc)
  string(REPLACE \"@KAV_PC_PREFIX@\" \"\${CMAKE_INSTALL_PREFIX}\" pc \"\${pc}\")
  file(WRITE \"${kav_gen}/kavmath.pc\" \"\${pc}\")" COMPONENT dev)
install(FILES ${kav_gen}/kavmath.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT dev)

# CMake: find_package(kavmath), relocatable.
configure_package_config_file(${CMAKE_CURRENT_LIST_DIR}/kavmathConfig.cmake.in
  ${kav_gen}/kavmathConfig.cmake INSTALL_DESTINATION ${kav_cmake_dir}
  PATH_VARS CMAKE_INSTALL_LIBDIR)
write_basic_package_version_file(${kav_gen}/kavmathConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(EXPORT kavmathTargets NAMESPACE kavmath:: DESTINATION ${kav_cmake_dir} COMPONENT dev)
install(FILES ${kav_gen}/kavmathConfig.cmake ${kav_gen}/kavmathConfigVersion.cmake
        DESTINATION ${kav_cmake_dir} COMPONENT dev)

# Debian packages: cmake --build BUILD --target package (or cpack in BUILD).
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME kavmath)
set(CPACK_PACKAGE_VENDOR kavmath)
set(CPACK_PACKAGE_CONTACT "kavmath maintainers <maintainers@kavmath.invalid>")
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
# The pkg-config file is written at install time with the real prefix.
set(CPACK_SET_DESTDIR ON)
set(CPACK_INSTALL_PREFIX /usr)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_ALL runtime dev kavmath)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(CPACK_DEBIAN_ENABLE_COMPONENT_DEPENDS ON)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
# A shlibs file for the package that holds the soname.
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)

# An i386 build on an x86-64 machine makes i386 packages; their library
# dependencies are then written here, since dpkg-shlibdeps reads the
# machine's own architecture.
execute_process(COMMAND dpkg --print-architecture OUTPUT_VARIABLE kav_dpkg_arch
                OUTPUT_STRIP_TRAILING_WHITESPACE ERROR_QUIET)
if(CMAKE_SIZEOF_VOID_P EQUAL 4 AND kav_dpkg_arch STREQUAL "amd64")
  set(CPACK_DEBIAN_PACKAGE_ARCHITECTURE i386)
  set(CPACK_DEBIAN_RUNTIME_PACKAGE_DEPENDS libc6)
  set(CPACK_DEBIAN_KAVMATH_PACKAGE_DEPENDS "libc6, libedit2, libgcc-s1, libstdc++6")
else()
  set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
endif()

set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME libkav-mod-math${KAV_SOVERSION})
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION libs)
set(CPACK_COMPONENT_RUNTIME_DESCRIPTION
  "maths module for script hosts (libKAV_mod_math.so.${KAV_SOVERSION})
The module a host scripting runtime loads as a plug-in so that its scripts
get integer, float and double maths, vectors, bounding boxes and matrices.")

set(CPACK_DEBIAN_DEV_PACKAGE_NAME libkav-mod-math-dev)
set(CPACK_DEBIAN_DEV_PACKAGE_SECTION libdevel)
set(CPACK_COMPONENT_DEV_DEPENDS runtime)
set(CPACK_COMPONENT_DEV_DESCRIPTION
  "maths module for script hosts - development files
The C ABI header kav/abi.h, a pkg-config file and a CMake package for hosts
that load libKAV_mod_math.so.${KAV_SOVERSION}, and the C++ reference host library.")

set(CPACK_DEBIAN_KAVMATH_PACKAGE_NAME kavmath)
set(CPACK_DEBIAN_KAVMATH_PACKAGE_SECTION math)
set(CPACK_COMPONENT_KAVMATH_DEPENDS runtime)
set(CPACK_COMPONENT_KAVMATH_DESCRIPTION
  "command line for the libKAV_mod_math maths module
Loads the module as a host does and calls its script functions:
kavmath 'sin(30000)' prints 500.")

include(CPack)
