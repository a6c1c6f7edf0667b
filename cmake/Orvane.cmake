# Shared build rules: warnings on every target, one precompiled header of Qt per library, and the layers: each
# library folder under src/ includes only the libraries it links (orvane_check_layers).

function(orvane_warnings target)
  target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic -Wno-missing-field-initializers)
endfunction()

# orvane_library(<name> SOURCES ... LIBS ... [PCH ...]): the library of the folder it is declared in.
function(orvane_library name)
  cmake_parse_arguments(ARG "" "" "SOURCES;LIBS;PCH" ${ARGN})
  add_library(${name} STATIC ${ARG_SOURCES})
  target_include_directories(${name} PUBLIC ${PROJECT_SOURCE_DIR}/src)
  target_link_libraries(${name} PUBLIC ${ARG_LIBS})
  if(ARG_PCH)
    target_precompile_headers(${name} PRIVATE ${ARG_PCH})
  endif()
  orvane_warnings(${name})
  file(RELATIVE_PATH folder ${PROJECT_SOURCE_DIR}/src ${CMAKE_CURRENT_SOURCE_DIR})
  set_target_properties(${name} PROPERTIES ORVANE_FOLDER ${folder})
  set_property(GLOBAL APPEND PROPERTY ORVANE_LIBRARIES ${name})
endfunction()

# The orvane libraries `target` links, directly or through another.
function(orvane_linked_libraries target out)
  get_property(libraries GLOBAL PROPERTY ORVANE_LIBRARIES)
  set(reached "")
  set(queue ${target})
  while(queue)
    list(POP_FRONT queue current)
    get_target_property(links ${current} LINK_LIBRARIES)
    foreach(link IN LISTS links)
      if(link IN_LIST libraries AND NOT link IN_LIST reached)
        list(APPEND reached ${link})
        list(APPEND queue ${link})
      endif()
    endforeach()
  endwhile()
  set(${out} ${reached} PARENT_SCOPE)
endfunction()

# orvane_check_layers(ROOT <library> BACKENDS <library>): called once every library is declared.
# At configure time: no library but ROOT links BACKENDS (the composition root picks the platform's backends).
# At build time (target `layers`, part of `all`): every file under src/ includes only headers of its own folder
# and of the libraries its folder's library links (cmake/CheckLayers.cmake).
function(orvane_check_layers)
  cmake_parse_arguments(ARG "" "ROOT;BACKENDS" "" ${ARGN})
  get_property(libraries GLOBAL PROPERTY ORVANE_LIBRARIES)
  set(folders "")
  set(table "")
  foreach(library IN LISTS libraries)
    get_target_property(folder ${library} ORVANE_FOLDER)
    orvane_linked_libraries(${library} linked)
    if(ARG_BACKENDS IN_LIST linked AND NOT library STREQUAL ARG_ROOT)
      message(FATAL_ERROR "${library} links ${ARG_BACKENDS}: only ${ARG_ROOT} picks the backends; hand "
                          "${library} an interface instead.")
    endif()
    set(reaches "")
    foreach(other IN LISTS linked)
      get_target_property(other_folder ${other} ORVANE_FOLDER)
      list(APPEND reaches ${other_folder})
    endforeach()
    list(APPEND folders ${folder})
    string(APPEND table "set(ORVANE_LIBRARY_${folder} ${library})\nset(ORVANE_REACHES_${folder} ${reaches})\n")
  endforeach()
  file(GLOB_RECURSE sources CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/src/*.h ${PROJECT_SOURCE_DIR}/src/*.cpp)
  string(APPEND table "set(ORVANE_SOURCE_ROOT ${PROJECT_SOURCE_DIR}/src)\nset(ORVANE_FOLDERS ${folders})\n"
                      "set(ORVANE_SOURCES\n  ${sources})\n")
  string(REPLACE ";" "\n  " table "${table}")
  set(table_file ${CMAKE_BINARY_DIR}/layers/table.cmake)
  file(CONFIGURE OUTPUT ${table_file} CONTENT "${table}" @ONLY)
  add_custom_command(OUTPUT ${CMAKE_BINARY_DIR}/layers/checked
    COMMAND ${CMAKE_COMMAND} -DTABLE=${table_file} -P ${PROJECT_SOURCE_DIR}/cmake/CheckLayers.cmake
    COMMAND ${CMAKE_COMMAND} -E touch ${CMAKE_BINARY_DIR}/layers/checked
    DEPENDS ${table_file} ${PROJECT_SOURCE_DIR}/cmake/CheckLayers.cmake ${sources}
    COMMENT "Checking that each folder under src/ includes only the libraries it links"
    VERBATIM)
  add_custom_target(layers ALL DEPENDS ${CMAKE_BINARY_DIR}/layers/checked)
endfunction()
