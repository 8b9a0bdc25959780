# Compiles the sources that use optional operations of platform libraries, against headers without
# these operations.

include("${CMAKE_CURRENT_LIST_DIR}/Run.cmake")
set(vendor "${WORK_DIR}/vendor")

# Copies a header of a platform library, with the given operations renamed.
function(copy_without header)
  file(READ "${PROJECT_DIR}/platform/${header}" text)
  foreach(operation IN LISTS ARGN)
    string(REGEX REPLACE "([^A-Za-z])${operation}\\(" "\\1Renamed${operation}(" without "${text}")
    if(without STREQUAL text)
      message(FATAL_ERROR "${header} has no ${operation}")
    endif()
    set(text "${without}")
  endforeach()
  file(WRITE "${vendor}/${header}" "${text}")
endfunction()

copy_without(libdatasrc/ORVX_DataSource.h SetSplitOfAnySize BlockAt ContainsVariable HasUniqueIDs
  VariablesAreKnownToEqual MatchVariables DropUses HashOfVariables)
copy_without(libplatdep/mbstricmp.h MBFoldedHash)

foreach(source IN ITEMS ServerDataManager/DatasetIndex ServerDataManager/ObserverView
        ServerDataManager/VariablePass client/DictionaryDigest client/DictionaryMirror)
  run("${COMPILER}" -std=c++20 -fsyntax-only "-I${vendor}" "-I${PROJECT_DIR}"
      "-I${PROJECT_DIR}/platform" "${PROJECT_DIR}/${source}.cpp")
endforeach()
