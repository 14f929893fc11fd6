# Compares the functions and data a shared library exports with a list.
# Usage: cmake -DNM=nm -DLIBRARY=libfxaac.so -DEXPECTED=list.txt -P check_symbols.cmake
execute_process(COMMAND ${NM} -D --defined-only ${LIBRARY}
                OUTPUT_VARIABLE table RESULT_VARIABLE rc)
if(NOT rc EQUAL 0)
  message(FATAL_ERROR "${NM} failed on ${LIBRARY}")
endif()
string(REPLACE "\n" ";" lines "${table}")
set(actual)
foreach(line IN LISTS lines)
  # "<address> <type> <name>"; keep text (T) and data (D, B, R) symbols.
  if(line MATCHES "^[0-9a-fA-F]+ [TDBR] ([A-Za-z_][A-Za-z0-9_]*)$")
    list(APPEND actual ${CMAKE_MATCH_1})
  endif()
endforeach()
list(SORT actual)
file(STRINGS ${EXPECTED} expected REGEX "^[A-Za-z_]")
list(SORT expected)
if(NOT actual STREQUAL expected)
  set(missing ${expected})
  list(REMOVE_ITEM missing ${actual})
  set(extra ${actual})
  list(REMOVE_ITEM extra ${expected})
  message(FATAL_ERROR "exported symbols differ from ${EXPECTED}\n"
                      "  missing: ${missing}\n  unexpected: ${extra}")
endif()
list(LENGTH actual n)
message(STATUS "${n} exported symbols as listed")

# The headers that declare the exported names (HEADERS, ';'-separated) say
# the same: every FXAAC_API declaration is listed, and every listed name is
# declared in one of them.
set(declared)
string(REPLACE "|" ";" HEADERS "${HEADERS}")
foreach(header IN LISTS HEADERS)
  file(READ ${header} text)
  string(REGEX MATCHALL "FXAAC_API[^(;]*[ *]([A-Za-z_][A-Za-z0-9_]*)\\(" decls "${text}")
  foreach(decl IN LISTS decls)
    string(REGEX REPLACE "^.*[ *]([A-Za-z_][A-Za-z0-9_]*)\\($" "\\1" name "${decl}")
    list(APPEND declared ${name})
  endforeach()
endforeach()
list(REMOVE_DUPLICATES declared)
list(SORT declared)
if(NOT declared STREQUAL expected)
  set(missing ${expected})
  list(REMOVE_ITEM missing ${declared})
  set(extra ${declared})
  list(REMOVE_ITEM extra ${expected})
  message(FATAL_ERROR "the headers' FXAAC_API declarations differ from ${EXPECTED}\n"
                      "  listed, not declared: ${missing}\n  declared, not listed: ${extra}")
endif()
message(STATUS "the headers declare the same ${n} names")
