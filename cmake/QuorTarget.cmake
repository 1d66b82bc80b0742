# quor_target(<target> [CXX20]): the compile and link settings that every target of this repository shares.
include_guard(GLOBAL)

function(quor_target target)
  cmake_parse_arguments(PARSE_ARGV 1 arg "CXX20" "" "")
  if(arg_CXX20)
    target_compile_features(${target} PRIVATE cxx_std_20)
  else()
    target_compile_features(${target} PRIVATE cxx_std_17)
  endif()
  set_target_properties(${target} PROPERTIES
    CXX_EXTENSIONS OFF C_STANDARD 11 C_EXTENSIONS OFF
    CXX_VISIBILITY_PRESET hidden C_VISIBILITY_PRESET hidden VISIBILITY_INLINES_HIDDEN ON
    POSITION_INDEPENDENT_CODE ON)
  target_compile_options(${target} PRIVATE
    -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wsign-conversion -Wformat=2 -Wundef
    $<$<COMPILE_LANGUAGE:CXX>:-Wnon-virtual-dtor -Wold-style-cast -Woverloaded-virtual -Wextra-semi -Wcast-qual>
    $<$<CXX_COMPILER_ID:GNU>:-Wlogical-op -Wduplicated-cond>
    # g++ 12 with -O3 sees overlaps where texts are put together with + (its bug 105651); 13 does not.
    $<$<AND:$<CXX_COMPILER_ID:GNU>,$<VERSION_LESS:$<CXX_COMPILER_VERSION>,13>,$<CONFIG:Release>>:-Wno-restrict>
    $<$<CXX_COMPILER_ID:Clang>:-Wthread-safety -Wthread-safety-beta>
    $<$<BOOL:${QUOR_WERROR}>:-Werror>
    -fno-omit-frame-pointer -fstack-protector-strong)
  if(NOT QUOR_SANITIZE AND NOT CMAKE_BUILD_TYPE STREQUAL "Debug")
    target_compile_definitions(${target} PRIVATE _FORTIFY_SOURCE=2)
  endif()
  if(QUOR_SANITIZE)
    target_compile_options(${target} PRIVATE -fsanitize=${QUOR_SANITIZE} -fno-sanitize-recover=all)
    target_link_options(${target} PRIVATE -fsanitize=${QUOR_SANITIZE})
  endif()
endfunction()
