# The library itself. quor_ai_objects feeds the shared library and the unit tests, which reach hidden functions.
add_library(quor_ai_objects OBJECT)
quor_target(quor_ai_objects)
# Symbols are bound when the library is loaded (-z now), so a call needs no stub for binding it later.
target_compile_options(quor_ai_objects PRIVATE -fno-plt)
target_include_directories(quor_ai_objects PUBLIC $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}>)
target_link_libraries(quor_ai_objects PUBLIC quor_ai_headers quor_platform_headers PkgConfig::CJSON)
foreach(folder common thread_pool utility conference_channel http_adapter face_detect)
  add_subdirectory(${folder})
endforeach()

# The platform's symbols stay undefined here: a terminal, a Linux host or a test supplies them.
add_library(quor_ai SHARED)
add_library(QuorAi::sdk ALIAS quor_ai)
quor_target(quor_ai)
target_sources(quor_ai PRIVATE $<TARGET_OBJECTS:quor_ai_objects>)
target_link_libraries(quor_ai PUBLIC quor_ai_headers PRIVATE PkgConfig::CJSON)
set(QUOR_AI_VERSION_SCRIPT ${PROJECT_SOURCE_DIR}/packaging/libquor_ai.map)
target_link_options(quor_ai PRIVATE
  -Wl,--version-script=${QUOR_AI_VERSION_SCRIPT} -Wl,-z,relro -Wl,-z,now -Wl,-z,nodelete)
set_target_properties(quor_ai PROPERTIES
  EXPORT_NAME sdk VERSION ${PROJECT_VERSION} SOVERSION ${PROJECT_VERSION_MAJOR}
  LINKER_LANGUAGE CXX LINK_DEPENDS ${QUOR_AI_VERSION_SCRIPT})
