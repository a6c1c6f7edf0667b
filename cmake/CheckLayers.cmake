# Run by the build (cmake -P) with TABLE set to the file orvane_check_layers writes: fails when a file under src/
# includes a header of a folder whose library its own folder's library does not link. The links in the
# CMakeLists.txt are the layers; this keeps the sources to them.
cmake_minimum_required(VERSION 3.25)
include(${TABLE})

# The folder of `path` (relative to src/, or an include path): the longest library folder it lies in, or "".
function(owning_folder path out)
  set(best "")
  foreach(folder IN LISTS ORVANE_FOLDERS)
    string(LENGTH "${folder}/" length)
    string(SUBSTRING "${path}" 0 ${length} head)
    if(head STREQUAL "${folder}/")
      string(LENGTH "${best}" best_length)
      if(length GREATER best_length)
        set(best ${folder})
      endif()
    endif()
  endforeach()
  set(${out} "${best}" PARENT_SCOPE)
endfunction()

set(faults "")
foreach(file IN LISTS ORVANE_SOURCES)
  file(RELATIVE_PATH relative ${ORVANE_SOURCE_ROOT} ${file})
  owning_folder(${relative} folder)
  if(folder STREQUAL "")
    continue()
  endif()
  file(STRINGS ${file} includes REGEX "^[ \t]*#[ \t]*include[ \t]*\"[^\"]+\"")
  foreach(line IN LISTS includes)
    string(REGEX REPLACE "^[ \t]*#[ \t]*include[ \t]*\"([^\"]+)\".*" "\\1" header "${line}")
    owning_folder(${header} target)
    if(target STREQUAL "" OR target STREQUAL folder OR target IN_LIST ORVANE_REACHES_${folder})
      continue()
    endif()
    string(APPEND faults "\n  src/${relative} includes ${header}: ${ORVANE_LIBRARY_${folder}} does not link "
                         "${ORVANE_LIBRARY_${target}}")
  endforeach()
endforeach()

if(faults)
  message(FATAL_ERROR "A layer reaches a library it does not link:${faults}\n"
                      "Move the shared piece down, or hand it in from src/app.")
endif()
