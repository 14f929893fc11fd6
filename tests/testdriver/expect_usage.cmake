# Runs the test driver with a wrong argument count: it must print the usage
# line and exit with status 1. EMULATOR is a '|'-separated command prefix
# (qemu-arm in cross builds), DRIVER the executable.
string(REPLACE "|" ";" prefix "${EMULATOR}")
execute_process(COMMAND ${prefix} ${DRIVER} only-one-argument
                RESULT_VARIABLE status OUTPUT_VARIABLE output)
if(NOT status EQUAL 1)
  message(FATAL_ERROR "exit status ${status}, expected 1")
endif()
if(NOT output MATCHES "^usage: < [^\n]*fxaac_testdriver > < input\\.aac> <output\\.pcm>  <fs>  <chn>  <HdrPrsnt> \n $")
  message(FATAL_ERROR "unexpected output: [${output}]")
endif()
