# Shared build rules: warnings on every target, one precompiled header of Qt per library.

function(orvane_warnings target)
  target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic -Wno-missing-field-initializers)
endfunction()

# orvane_library(<name> SOURCES ... LIBS ... [PCH ...])
function(orvane_library name)
  cmake_parse_arguments(ARG "" "" "SOURCES;LIBS;PCH" ${ARGN})
  add_library(${name} STATIC ${ARG_SOURCES})
  target_include_directories(${name} PUBLIC ${PROJECT_SOURCE_DIR}/src)
  target_link_libraries(${name} PUBLIC ${ARG_LIBS})
  if(ARG_PCH)
    target_precompile_headers(${name} PRIVATE ${ARG_PCH})
  endif()
  orvane_warnings(${name})
endfunction()
