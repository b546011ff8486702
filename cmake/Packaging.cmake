# `cpack -G DEB` makes the three Debian packages from the install
# components: the runtime library (named after its SONAME), the development
# files and the tools. dpkg-shlibdeps finds what the binaries need of the
# system; the packages' own relations are stated here.
if(WIN32)
  return()
endif()

set(VKRN_LIB_PACKAGE libvkrnq402-${PROJECT_VERSION_MAJOR})
set(VKRN_COMPONENTS runtime dev tools)
set(VKRN_PACKAGES ${VKRN_LIB_PACKAGE} libvkrnq402-dev vkrnq402-tools)

# Every package carries its copyright and a compressed changelog.
set(VKRN_CHANGELOG ${CMAKE_CURRENT_BINARY_DIR}/changelog.gz)
add_custom_command(OUTPUT ${VKRN_CHANGELOG}
  COMMAND gzip -9nc ${PROJECT_SOURCE_DIR}/packaging/changelog > ${VKRN_CHANGELOG}
  DEPENDS ${PROJECT_SOURCE_DIR}/packaging/changelog)
add_custom_target(vkrn_changelog ALL DEPENDS ${VKRN_CHANGELOG})
foreach(component package IN ZIP_LISTS VKRN_COMPONENTS VKRN_PACKAGES)
  string(TOUPPER ${component} COMPONENT)
  set(CPACK_DEBIAN_${COMPONENT}_PACKAGE_NAME ${package})
  install(FILES ${PROJECT_SOURCE_DIR}/packaging/copyright ${VKRN_CHANGELOG}
          DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/${package} COMPONENT ${component})
endforeach()

set(CPACK_PACKAGE_NAME vkrnq402)
# Each package's description below starts with its own synopsis line; CPack
# prepends the project's summary unless it is left at CPack's default.
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "${CMAKE_PROJECT_NAME} built using CMake")
set(CPACK_PACKAGE_VENDOR "VKRNQ402 developers")
set(CPACK_PACKAGE_CONTACT "VKRNQ402 developers <vkrnq402@example.invalid>")
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_COMPONENTS_ALL ${VKRN_COMPONENTS})
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_STRIP_FILES ON)
set(CPACK_PACKAGE_DIRECTORY ${CMAKE_BINARY_DIR}/packages)
set(CPACK_GENERATOR DEB)
# Packages install under /usr; configure the packaging build with
# CMAKE_INSTALL_PREFIX=/usr so that GNUInstallDirs picks the multiarch
# library folder.
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)

set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_HOMEPAGE ${PROJECT_HOMEPAGE_URL})
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
# The tools' dependency on the library comes from the relation below, not
# from a shlibs file of a package not yet installed.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${CMAKE_BINARY_DIR}/src)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=")

# The dynamic linker's cache is refreshed by dpkg's trigger.
set(CPACK_DEBIAN_RUNTIME_PACKAGE_CONTROL_EXTRA ${PROJECT_SOURCE_DIR}/packaging/triggers)
set(VKRN_EXACT "${VKRN_LIB_PACKAGE} (= ${PROJECT_VERSION})")
set(CPACK_DEBIAN_RUNTIME_DESCRIPTION "driver library for a DSLR camera on IEEE 1394
VKRNQ402 drives a DSLR camera attached over IEEE 1394 through the Linux
SCSI generic driver, or a simulated camera in-process or over a socket.
This package holds the shared library.")
set(CPACK_DEBIAN_DEV_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEV_PACKAGE_DEPENDS ${VKRN_EXACT})
set(CPACK_DEBIAN_DEV_DESCRIPTION "driver library for a DSLR camera on IEEE 1394 (development files)
VKRNQ402 drives a DSLR camera attached over IEEE 1394.
This package holds the header, the CMake package and the pkg-config file.")
set(CPACK_DEBIAN_TOOLS_PACKAGE_SECTION graphics)
set(CPACK_DEBIAN_TOOLS_PACKAGE_DEPENDS ${VKRN_EXACT})
set(CPACK_DEBIAN_TOOLS_PACKAGE_RECOMMENDS "bash-completion")
set(CPACK_DEBIAN_TOOLS_DESCRIPTION "command-line tool and simulator for VKRNQ402 cameras
dslrctl lists, downloads, uploads and deletes files, sets the clock and the
settings, takes pictures and prints events of a DSLR camera on IEEE 1394.
dslrsim serves a simulated camera on a socket or as a kernel SCSI device.")

include(CPack)
