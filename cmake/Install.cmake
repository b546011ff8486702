# What `cmake --install` puts under the prefix (GNUInstallDirs layout), in
# three components that become the Debian packages: the runtime library, the
# development files and the tools. Nothing is written outside the prefix.
include(CMakePackageConfigHelpers)

set(VKRN_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/VKRNQ402)

install(TARGETS VKRNQ402 EXPORT VKRNQ402Targets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime NAMELINK_COMPONENT dev
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT runtime
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT dev
  PUBLIC_HEADER DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT dev)

install(EXPORT VKRNQ402Targets NAMESPACE VKRNQ402:: DESTINATION ${VKRN_CMAKE_DIR} COMPONENT dev)
configure_package_config_file(cmake/VKRNQ402Config.cmake.in
  ${CMAKE_CURRENT_BINARY_DIR}/VKRNQ402Config.cmake INSTALL_DESTINATION ${VKRN_CMAKE_DIR})
# A new major version changes the binary interface.
write_basic_package_version_file(${CMAKE_CURRENT_BINARY_DIR}/VKRNQ402ConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/VKRNQ402Config.cmake
              ${CMAKE_CURRENT_BINARY_DIR}/VKRNQ402ConfigVersion.cmake
        DESTINATION ${VKRN_CMAKE_DIR} COMPONENT dev)

# The pkg-config file names the prefix given to `cmake --install`, which
# may differ from the one the build was configured with.
if(NOT WIN32)
  set(VKRN_PC_PREFIX "@VKRN_PC_PREFIX@")
  configure_file(cmake/vkrnq402.pc.in ${CMAKE_CURRENT_BINARY_DIR}/vkrnq402.pc.in @ONLY)
  install(CODE "set(VKRN_PC_PREFIX \"\${CMAKE_INSTALL_PREFIX}\")
    configure_file(\"${CMAKE_CURRENT_BINARY_DIR}/vkrnq402.pc.in\" \"${CMAKE_CURRENT_BINARY_DIR}/vkrnq402.pc\" @ONLY)"
    COMPONENT dev)
  install(FILES ${CMAKE_CURRENT_BINARY_DIR}/vkrnq402.pc
          DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT dev)
endif()

foreach(tool dslrctl dslrsim)
  if(TARGET ${tool})
    install(TARGETS ${tool} RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT tools)
  endif()
endforeach()
