# Install rules: the shared library (with its SONAME links), the public
# headers, the fxaac command, a pkg-config file and a CMake package, so that
# consumers can use either
#   pkg-config --cflags --libs fxaac
# or
#   find_package(fxaac) + target_link_libraries(app PRIVATE fxaac::fxaac).
# The test driver and the test programs are not installed. Included at the end
# of the top-level CMakeLists.txt, after the command's folder.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

set(FXAAC_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/fxaac)

# The same name inside this build as for consumers of the installed package.
add_library(fxaac::fxaac ALIAS fxaac)

install(TARGETS fxaac EXPORT fxaacTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT Runtime
          NAMELINK_COMPONENT Development
  INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(DIRECTORY ${PROJECT_SOURCE_DIR}/include/fxaac
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT Development
  FILES_MATCHING PATTERN "*.h")

if(TARGET fxaac_cli)
  # The installed command finds the library beside it, wherever the prefix is.
  file(RELATIVE_PATH fxaac_bin_to_lib
    ${CMAKE_INSTALL_FULL_BINDIR} ${CMAKE_INSTALL_FULL_LIBDIR})
  set_target_properties(fxaac_cli PROPERTIES INSTALL_RPATH "$ORIGIN/${fxaac_bin_to_lib}")
  install(TARGETS fxaac_cli RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT Runtime)
endif()

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
