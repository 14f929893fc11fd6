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
