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
# Fails with the names that are only in one of two sorted lists.
function(require_same found wanted what only_wanted only_found)
  if(NOT found STREQUAL wanted)
    set(missing ${wanted})
    list(REMOVE_ITEM missing ${found})
    set(extra ${found})
    list(REMOVE_ITEM extra ${wanted})
    message(FATAL_ERROR "${what} differ from ${EXPECTED}\n"
                        "  ${only_wanted}: ${missing}\n  ${only_found}: ${extra}")
  endif()
endfunction()

require_same("${actual}" "${expected}" "exported symbols" "missing" "unexpected")
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
require_same("${declared}" "${expected}" "the headers' FXAAC_API declarations"
             "listed, not declared" "declared, not listed")
message(STATUS "the headers declare the same ${n} names")
