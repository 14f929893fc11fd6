# The library calls its own functions directly: no call or branch in its code
# goes through the PLT to a function the library itself defines (that would
# let another library's function of the same name take over, and cost an
# indirection). Calls to the C library and the load-time kernel choice
# (indirect functions, shown as *ABS*) may use the PLT.
# Usage: cmake -DNM=nm -DOBJDUMP=objdump -DLIBRARY=libfxaac.so -P check_plt.cmake
cmake_policy(SET CMP0057 NEW)
execute_process(COMMAND ${NM} -D --defined-only ${LIBRARY} OUTPUT_VARIABLE table RESULT_VARIABLE rc1)
execute_process(COMMAND ${OBJDUMP} -d ${LIBRARY} OUTPUT_VARIABLE code RESULT_VARIABLE rc2)
if(NOT rc1 EQUAL 0 OR NOT rc2 EQUAL 0)
  message(FATAL_ERROR "${NM} or ${OBJDUMP} failed on ${LIBRARY}")
endif()
string(REGEX MATCHALL "[0-9a-fA-F]+ [TDBRi] [A-Za-z_][A-Za-z0-9_]*" defined "${table}")
set(own)
foreach(entry IN LISTS defined)
  string(REGEX REPLACE "^.* " "" name "${entry}")
  list(APPEND own ${name})
endforeach()
string(REGEX MATCHALL "<[A-Za-z_][A-Za-z0-9_]*@plt>" calls "${code}")
list(REMOVE_DUPLICATES calls)
set(internal)
foreach(call IN LISTS calls)
  string(REGEX REPLACE "^<(.*)@plt>$" "\\1" name "${call}")
  if(name IN_LIST own)
    list(APPEND internal ${name})
  endif()
endforeach()
list(LENGTH own n)
if(internal)
  message(FATAL_ERROR "calls through the PLT to the library's own functions: ${internal}")
endif()
message(STATUS "no PLT call to any of the library's ${n} exported names")
