# Before the compilers are checked: on a Debian machine a plain build installs
# what it lacks, as the project's scripts do (scripts/deps.sh --build): libedit
# for kavmath, GoogleTest's sources when the tests are built, the multilib
# compilers and the i386 libedit for an -m32 build. Only as root or with
# password-less sudo, never asking; KAV_INSTALL_DEPS=OFF (a packager's chroot
# that holds its build dependencies already) skips it. What is still missing
# then stops the configure with the package to install.
option(KAV_INSTALL_DEPS "Install missing Debian build dependencies with apt-get when configuring" ON)
if(KAV_INSTALL_DEPS AND EXISTS /usr/bin/apt-get AND EXISTS /usr/bin/dpkg-query)
  set(kav_needs "")
  if(NOT DEFINED KAV_TESTS OR KAV_TESTS)
    list(APPEND kav_needs tests)
  endif()
  if(" ${CMAKE_C_FLAGS} ${CMAKE_CXX_FLAGS} $ENV{CFLAGS} $ENV{CXXFLAGS} " MATCHES " -m32 ")
    list(APPEND kav_needs i386)
  endif()
  execute_process(COMMAND ${CMAKE_COMMAND} -E env KAV_SUDO=-n
                          bash ${CMAKE_CURRENT_LIST_DIR}/../scripts/deps.sh --build ${kav_needs}
                  RESULT_VARIABLE kav_deps_status)
  if(NOT kav_deps_status EQUAL 0)
    message(WARNING "could not install the missing build dependencies (not root, or apt-get failed)")
  endif()
endif()
