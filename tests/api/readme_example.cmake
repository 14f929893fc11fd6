# Compiles the C program of README.md's "Using the library" section with
# -Wall -Wextra -Werror -pedantic against the built library and, on the
# host, runs it on a test vector: it must decode every frame.
# -D: README, WORK_DIR, C_COMPILER, C_FLAGS, INCLUDE_DIR, LIBRARY, VECTOR, FRAMES, RUN
file(READ ${README} text)
string(REGEX MATCH "## Using the library.*" section "${text}")
string(REGEX MATCH "```c\n(.*)\n```\n\nFor headerless" block "${section}")
if(NOT CMAKE_MATCH_1)
  message(FATAL_ERROR "no C program in the README's 'Using the library' section")
endif()
file(MAKE_DIRECTORY ${WORK_DIR})
file(WRITE ${WORK_DIR}/readme_example.c "${CMAKE_MATCH_1}\n")
get_filename_component(libdir ${LIBRARY} DIRECTORY)
separate_arguments(flags UNIX_COMMAND "${C_FLAGS}")
execute_process(COMMAND ${C_COMPILER} -std=c11 -Wall -Wextra -Werror -pedantic ${flags} -I${INCLUDE_DIR}
                        ${WORK_DIR}/readme_example.c ${LIBRARY} -o ${WORK_DIR}/readme_example
                RESULT_VARIABLE rc ERROR_VARIABLE err)
if(NOT rc EQUAL 0)
  message(FATAL_ERROR "the README example does not compile cleanly:\n${err}")
endif()
if(NOT RUN)
  return()
endif()
execute_process(COMMAND ${CMAKE_COMMAND} -E env LD_LIBRARY_PATH=${libdir}
                        ${WORK_DIR}/readme_example ${VECTOR}
                OUTPUT_FILE ${WORK_DIR}/readme_example.pcm RESULT_VARIABLE rc ERROR_VARIABLE err)
file(SIZE ${WORK_DIR}/readme_example.pcm bytes)
math(EXPR expected "${FRAMES} * 1024 * 2 * 2")
if(NOT rc EQUAL 0 OR NOT bytes EQUAL expected)
  message(FATAL_ERROR "README example: exit ${rc}, ${bytes} bytes of PCM (expected ${expected})\n${err}")
endif()
