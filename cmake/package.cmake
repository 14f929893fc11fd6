# The package files of the installed library, so that consumers can use either
#   pkg-config --cflags --libs fxaac
# or
#   find_package(fxaac) + target_link_libraries(app PRIVATE fxaac::fxaac).
# The install rules of the library, its headers and the fxaac command stand
# beside those targets in the top-level CMakeLists.txt; the test driver and
# the test programs are not installed.
include(CMakePackageConfigHelpers)

set(FXAAC_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/fxaac)

# CMake package: fxaacTargets.cmake (imported target fxaac::fxaac),
# fxaacConfig.cmake and fxaacConfigVersion.cmake.
install(EXPORT fxaacTargets NAMESPACE fxaac:: DESTINATION ${FXAAC_CMAKE_DIR}
  COMPONENT Development)
configure_package_config_file(${CMAKE_CURRENT_LIST_DIR}/fxaacConfig.cmake.in
  ${PROJECT_BINARY_DIR}/fxaacConfig.cmake INSTALL_DESTINATION ${FXAAC_CMAKE_DIR})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/fxaacConfigVersion.cmake
  VERSION ${PROJECT_VERSION} COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/fxaacConfig.cmake ${PROJECT_BINARY_DIR}/fxaacConfigVersion.cmake
  ${PROJECT_SOURCE_DIR}/LICENSE DESTINATION ${FXAAC_CMAKE_DIR} COMPONENT Development)

# pkg-config file. Its prefix is the one given at install time
# (cmake --install --prefix), so it is written by the install step itself
# from a template filled in here with everything else.
if(IS_ABSOLUTE "${CMAKE_INSTALL_LIBDIR}")
  set(FXAAC_PC_LIBDIR "${CMAKE_INSTALL_LIBDIR}")
else()
  set(FXAAC_PC_LIBDIR "\${prefix}/${CMAKE_INSTALL_LIBDIR}")
endif()
if(IS_ABSOLUTE "${CMAKE_INSTALL_INCLUDEDIR}")
  set(FXAAC_PC_INCLUDEDIR "${CMAKE_INSTALL_INCLUDEDIR}")
else()
  set(FXAAC_PC_INCLUDEDIR "\${prefix}/${CMAKE_INSTALL_INCLUDEDIR}")
endif()
set(FXAAC_PC_PREFIX "@FXAAC_PC_PREFIX@")  # left for the install step
configure_file(${CMAKE_CURRENT_LIST_DIR}/fxaac.pc.in ${PROJECT_BINARY_DIR}/fxaac.pc.template @ONLY)
install(CODE "
  set(FXAAC_PC_PREFIX \"\${CMAKE_INSTALL_PREFIX}\")
  configure_file(\"${PROJECT_BINARY_DIR}/fxaac.pc.template\" \"${PROJECT_BINARY_DIR}/fxaac.pc\" @ONLY)
  file(INSTALL \"${PROJECT_BINARY_DIR}/fxaac.pc\"
       DESTINATION \"\${CMAKE_INSTALL_PREFIX}/${CMAKE_INSTALL_LIBDIR}/pkgconfig\")
" COMPONENT Development)
