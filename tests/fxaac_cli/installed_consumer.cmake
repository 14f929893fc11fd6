# Installs the build to a temporary prefix, checks the installed files, and
# builds and runs a consumer program twice: with the flags of pkg-config and
# with find_package(fxaac). Prints "fxaac-test-skipped" (a skip for ctest)
# when pkg-config is missing, after the find_package half; with the
# environment variable FXAAC_REQUIRE_ALL_TESTS set (as CI sets it), a missing
# pkg-config fails instead.
#
# -D: BUILD_DIR, CONSUMER_DIR, WORK_DIR, VECTOR, VERSION, LIBDIR, GENERATOR,
#     MAKE_PROGRAM, C_COMPILER, C_FLAGS (flags the library's build needs in
#     its consumers, e.g. sanitizers), PKG_CONFIG
file(REMOVE_RECURSE ${WORK_DIR})
set(prefix ${WORK_DIR}/prefix)

function(run)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE err)
  if(NOT rc EQUAL 0)
    list(JOIN ARGN " " cmd)
    message(FATAL_ERROR "${cmd}: exit ${rc}\n${out}\n${err}")
  endif()
  set(run_output "${out}" PARENT_SCOPE)
endfunction()

run(${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${prefix})

# Exactly these files, and the library's SONAME link.
file(GLOB_RECURSE installed LIST_DIRECTORIES false RELATIVE ${prefix} ${prefix}/*)
list(FILTER installed EXCLUDE REGEX "^${LIBDIR}/cmake/fxaac/fxaacTargets-[a-z]+\\.cmake$")
list(SORT installed)
set(expected bin/fxaac include/fxaac/fxaac.h include/fxaac/fxaac_export.h include/fxaac/fxaac_heaac.h
    include/fxaac/fxaac_latm.h
  ${LIBDIR}/cmake/fxaac/fxaacConfig.cmake ${LIBDIR}/cmake/fxaac/fxaacConfigVersion.cmake
  ${LIBDIR}/cmake/fxaac/fxaacTargets.cmake ${LIBDIR}/cmake/fxaac/LICENSE
  ${LIBDIR}/libfxaac.so ${LIBDIR}/libfxaac.so.0 ${LIBDIR}/libfxaac.so.${VERSION}
  ${LIBDIR}/pkgconfig/fxaac.pc)
list(SORT expected)
if(NOT installed STREQUAL expected)
  message(FATAL_ERROR "installed files:\n  ${installed}\nexpected:\n  ${expected}")
endif()
file(READ_SYMLINK ${prefix}/${LIBDIR}/libfxaac.so.0 soname_target)
if(NOT soname_target STREQUAL "libfxaac.so.${VERSION}")
  message(FATAL_ERROR "libfxaac.so.0 points to '${soname_target}'")
endif()

# The installed command runs from its place, finding the installed library.
run(${prefix}/bin/fxaac --version)
if(NOT run_output STREQUAL "fxaac ${VERSION}\n")
  message(FATAL_ERROR "installed fxaac --version: '${run_output}'")
endif()
run(${prefix}/bin/fxaac decode -q ${VECTOR} -o ${WORK_DIR}/installed.wav)

set(expected_output "44100 Hz, 2 channels, 88 frames\n")

# find_package(fxaac).
run(${CMAKE_COMMAND} -S ${CONSUMER_DIR} -B ${WORK_DIR}/cmake-consumer -G ${GENERATOR}
    -DCMAKE_MAKE_PROGRAM=${MAKE_PROGRAM} -DCMAKE_C_COMPILER=${C_COMPILER}
    -DCMAKE_PREFIX_PATH=${prefix} -DEXPECTED_VERSION=${VERSION} "-DCMAKE_C_FLAGS=${C_FLAGS}")
run(${CMAKE_COMMAND} --build ${WORK_DIR}/cmake-consumer)
run(${WORK_DIR}/cmake-consumer/consumer ${VECTOR})
if(NOT run_output STREQUAL expected_output)
  message(FATAL_ERROR "find_package consumer printed '${run_output}'")
endif()

# A staged install (DESTDIR) keeps the real prefix in the pkg-config file.
run(${CMAKE_COMMAND} -E env DESTDIR=${WORK_DIR}/stage
    ${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix /opt/fxaac)
file(STRINGS ${WORK_DIR}/stage/opt/fxaac/${LIBDIR}/pkgconfig/fxaac.pc pc_prefix REGEX "^prefix=")
if(NOT pc_prefix STREQUAL "prefix=/opt/fxaac")
  message(FATAL_ERROR "staged fxaac.pc has '${pc_prefix}'")
endif()

if(NOT PKG_CONFIG AND DEFINED ENV{FXAAC_REQUIRE_ALL_TESTS})
  message(FATAL_ERROR "pkg-config not found: the pkg-config consumer cannot be built "
                      "(FXAAC_REQUIRE_ALL_TESTS forbids skipping it)")
endif()
if(NOT PKG_CONFIG)
  message("fxaac-test-skipped: pkg-config not found, the pkg-config consumer was not built")
  return()
endif()
# pkg-config: only the installed fxaac.pc is visible.
set(pc_env PKG_CONFIG_LIBDIR=${prefix}/${LIBDIR}/pkgconfig PKG_CONFIG_PATH=)
run(${CMAKE_COMMAND} -E env ${pc_env} ${PKG_CONFIG} --modversion fxaac)
if(NOT run_output STREQUAL "${VERSION}\n")
  message(FATAL_ERROR "pkg-config --modversion fxaac: '${run_output}'")
endif()
file(STRINGS ${prefix}/${LIBDIR}/pkgconfig/fxaac.pc pc_license REGEX "^License:")
if(NOT pc_license STREQUAL "License: BSD-2-Clause")
  message(FATAL_ERROR "fxaac.pc licence line: '${pc_license}'")
endif()
run(${CMAKE_COMMAND} -E env ${pc_env} ${PKG_CONFIG} --cflags fxaac)
separate_arguments(cflags UNIX_COMMAND "${run_output}")
run(${CMAKE_COMMAND} -E env ${pc_env} ${PKG_CONFIG} --libs fxaac)
separate_arguments(libs UNIX_COMMAND "${run_output}")
separate_arguments(extra_flags UNIX_COMMAND "${C_FLAGS}")
run(${C_COMPILER} -std=c11 -Wall -Werror ${extra_flags} ${cflags} ${CONSUMER_DIR}/consumer.c ${libs}
    -o ${WORK_DIR}/pc-consumer)
run(${CMAKE_COMMAND} -E env LD_LIBRARY_PATH=${prefix}/${LIBDIR} ${WORK_DIR}/pc-consumer ${VECTOR})
if(NOT run_output STREQUAL expected_output)
  message(FATAL_ERROR "pkg-config consumer printed '${run_output}'")
endif()
message("installed files, SONAME link, installed command, pkg-config and find_package consumers: ok")
