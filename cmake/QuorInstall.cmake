# Install rules: headers, libraries, programs, the CMake package QuorAi and one pkg-config file per library.
#
# The CMake package has the components sdk, platform_linux and simulator. Each has an export set of its own, so
# that a package without the simulator, for instance, is whole. Everything is relocatable.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

set(QUOR_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/QuorAi)
set(QUOR_PKGCONFIG_DIR ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
file(RELATIVE_PATH QUOR_PKGCONFIG_TO_PREFIX /prefix/${QUOR_PKGCONFIG_DIR} /prefix)
file(RELATIVE_PATH QUOR_BIN_TO_LIB /prefix/${CMAKE_INSTALL_BINDIR} /prefix/${CMAKE_INSTALL_LIBDIR})

# quor_install_component(<component> TARGETS <targets> [HEADERS <folder>] [PKGCONFIG <name>])
# Installs libraries as one component of the CMake package. The folder's headers go below include/ as they lie.
function(quor_install_component component)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "PKGCONFIG" "TARGETS;HEADERS")
  install(TARGETS ${arg_TARGETS} EXPORT QuorAi_${component}
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime NAMELINK_COMPONENT development
    ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT development)
  foreach(folder IN LISTS arg_HEADERS)
    install(DIRECTORY ${folder}/ DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT development
      FILES_MATCHING PATTERN "*.h")
  endforeach()
  install(EXPORT QuorAi_${component} FILE QuorAi-${component}.cmake NAMESPACE QuorAi::
    DESTINATION ${QUOR_CMAKE_DIR} COMPONENT development)
  if(arg_PKGCONFIG)
    configure_file(${PROJECT_SOURCE_DIR}/packaging/${arg_PKGCONFIG}.pc.in
      ${PROJECT_BINARY_DIR}/${arg_PKGCONFIG}.pc @ONLY)
    install(FILES ${PROJECT_BINARY_DIR}/${arg_PKGCONFIG}.pc
      DESTINATION ${QUOR_PKGCONFIG_DIR} COMPONENT development)
  endif()
endfunction()

# Installs a program that finds this package's libraries wherever the package lies, and its man page.
function(quor_install_program target)
  set_target_properties(${target} PROPERTIES INSTALL_RPATH "$ORIGIN/${QUOR_BIN_TO_LIB}")
  install(TARGETS ${target} RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT tools)
  install(FILES ${PROJECT_SOURCE_DIR}/docs/man/${target}.1
    DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT tools)
endfunction()

quor_install_component(sdk
  TARGETS quor_ai quor_ai_headers quor_platform_headers
  HEADERS ${PROJECT_SOURCE_DIR}/include ${PROJECT_SOURCE_DIR}/platform
  PKGCONFIG quor_ai)
install(FILES ${QUOR_QUEUE_HEADERS} DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/thread_pool COMPONENT development)
if(TARGET quor_platform_linux)
  quor_install_component(platform_linux
    TARGETS quor_platform_linux HEADERS ${PROJECT_SOURCE_DIR}/platform_linux/include
    PKGCONFIG quor_platform_linux)
endif()
if(TARGET quor_simulator)
  # A static library hands its private dependencies on to its users. Those that are headers only are no concern of
  # theirs.
  get_target_property(links quor_simulator INTERFACE_LINK_LIBRARIES)
  list(FILTER links EXCLUDE REGEX "Boost::|nlohmann_json")
  set_target_properties(quor_simulator PROPERTIES INTERFACE_LINK_LIBRARIES "${links}")
  quor_install_component(simulator
    TARGETS quor_simulator HEADERS ${PROJECT_SOURCE_DIR}/simulator/include PKGCONFIG quor_simulator)
endif()
foreach(program quor-simulator quor-terminal)
  if(TARGET ${program})
    quor_install_program(${program})
  endif()
endforeach()
if(TARGET quor-simulator)
  install(DIRECTORY ${PROJECT_SOURCE_DIR}/simulator/scenarios
    DESTINATION ${CMAKE_INSTALL_DATADIR}/quor-ai COMPONENT tools FILES_MATCHING PATTERN "*.json")
  install(DIRECTORY ${PROJECT_SOURCE_DIR}/simulator/gallery
    DESTINATION ${CMAKE_INSTALL_DATADIR}/quor-ai COMPONENT tools)
endif()

set(QUOR_DOC_DIR ${CMAKE_INSTALL_DATADIR}/doc/quor-ai)
install(FILES ${PROJECT_SOURCE_DIR}/LICENSE DESTINATION ${QUOR_DOC_DIR} COMPONENT runtime)
install(FILES ${PROJECT_SOURCE_DIR}/docs/architecture.md ${PROJECT_SOURCE_DIR}/docs/porting.md
  DESTINATION ${QUOR_DOC_DIR} COMPONENT development)
install(DIRECTORY ${PROJECT_SOURCE_DIR}/examples DESTINATION ${QUOR_DOC_DIR} COMPONENT development
  FILES_MATCHING PATTERN "*.cpp" PATTERN "README.md")
install(FILES
  ${PROJECT_SOURCE_DIR}/docs/simulator.md ${PROJECT_SOURCE_DIR}/docs/terminal.md
  ${PROJECT_SOURCE_DIR}/docs/troubleshooting.md DESTINATION ${QUOR_DOC_DIR} COMPONENT tools)

configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/QuorAiConfig.cmake.in
  ${PROJECT_BINARY_DIR}/QuorAiConfig.cmake INSTALL_DESTINATION ${QUOR_CMAKE_DIR})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/QuorAiConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/QuorAiConfig.cmake ${PROJECT_BINARY_DIR}/QuorAiConfigVersion.cmake
  DESTINATION ${QUOR_CMAKE_DIR} COMPONENT development)

include(${PROJECT_SOURCE_DIR}/packaging/QuorPackage.cmake)
