# dslrctl(1) and dslrsim(1), made at build time by pandoc from the tools'
# pages in docs/, the same text the documentation shows.
find_program(VKRN_PANDOC pandoc)
if(NOT VKRN_PANDOC)
  message(WARNING "manual pages not built: pandoc is needed")
  return()
endif()

set(VKRN_MAN_SUMMARY_dslrctl "drive a DSLR camera from a terminal")
set(VKRN_MAN_SUMMARY_dslrsim "serve a simulated DSLR camera on a socket or as a SCSI device")
set(VKRN_MAN_PAGES)
foreach(tool dslrctl dslrsim)
  set(page ${CMAKE_BINARY_DIR}/man/${tool}.1)
  add_custom_command(OUTPUT ${page}.gz
    COMMAND ${CMAKE_COMMAND} -E make_directory ${CMAKE_BINARY_DIR}/man
    COMMAND ${VKRN_PANDOC} -s -f markdown -t man
            --lua-filter ${PROJECT_SOURCE_DIR}/docs/man/manpage.lua
            -M title=${tool} -M section=1 -M "summary=${VKRN_MAN_SUMMARY_${tool}}"
            -M "footer=VKRNQ402 ${PROJECT_VERSION}" -M "header=User Commands"
            ${PROJECT_SOURCE_DIR}/docs/${tool}.md -o ${page}
    COMMAND gzip -9nf ${page}
    DEPENDS ${PROJECT_SOURCE_DIR}/docs/${tool}.md ${PROJECT_SOURCE_DIR}/docs/man/manpage.lua
    COMMENT "Manual page ${tool}(1)")
  list(APPEND VKRN_MAN_PAGES ${page}.gz)
endforeach()
add_custom_target(vkrn_man_pages ALL DEPENDS ${VKRN_MAN_PAGES})
install(FILES ${VKRN_MAN_PAGES} DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT tools)
