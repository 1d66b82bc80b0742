# Debian packages, one per install component: libquor-ai1 (runtime), libquor-ai-dev (development), quor-ai-tools.
# Use: cpack -G DEB in a build directory.
set(CPACK_PACKAGE_NAME quor-ai)
set(CPACK_PACKAGE_VENDOR "The QuorAi developers")
set(CPACK_PACKAGE_CONTACT "The QuorAi developers <quor-ai@localhost>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "${PROJECT_DESCRIPTION}")
set(CPACK_RESOURCE_FILE_LICENSE ${PROJECT_SOURCE_DIR}/LICENSE)
set(CPACK_STRIP_FILES ON)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)

set(CPACK_COMPONENTS_ALL runtime development tools)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${PROJECT_BINARY_DIR} ${PROJECT_BINARY_DIR}/platform_linux)
set(CPACK_DEBIAN_PACKAGE_SECTION libs)

set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME libquor-ai${PROJECT_VERSION_MAJOR})
set(CPACK_COMPONENT_RUNTIME_DESCRIPTION "${PROJECT_DESCRIPTION}: shared libraries
 The library and its platform for Linux hosts.")

set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libquor-ai-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS
  "libquor-ai${PROJECT_VERSION_MAJOR} (= ${PROJECT_VERSION}), libssl-dev, libmagick++-6.q16-dev")
set(CPACK_COMPONENT_DEVELOPMENT_DESCRIPTION "${PROJECT_DESCRIPTION}: development files
 Headers, CMake package and pkg-config files.")

set(CPACK_DEBIAN_TOOLS_PACKAGE_NAME quor-ai-tools)
set(CPACK_DEBIAN_TOOLS_PACKAGE_SECTION net)
set(CPACK_DEBIAN_TOOLS_PACKAGE_DEPENDS "libquor-ai${PROJECT_VERSION_MAJOR} (= ${PROJECT_VERSION})")
set(CPACK_COMPONENT_TOOLS_DESCRIPTION "${PROJECT_DESCRIPTION}: programs
 The command-line terminal and the server simulator.")

include(CPack)
