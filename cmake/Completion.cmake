# dslrctl's bash completion, dumped by the built tool from its own command
# table, so that it follows every command and flag the tool gains.
if(NOT TARGET dslrctl OR CMAKE_CROSSCOMPILING)
  return()
endif()
set(VKRN_COMPLETION ${CMAKE_BINARY_DIR}/completion/dslrctl)
add_custom_command(OUTPUT ${VKRN_COMPLETION}
  COMMAND ${CMAKE_COMMAND} -E make_directory ${CMAKE_BINARY_DIR}/completion
  COMMAND dslrctl --completion bash > ${VKRN_COMPLETION}
  DEPENDS dslrctl
  COMMENT "Bash completion for dslrctl")
add_custom_target(vkrn_completion ALL DEPENDS ${VKRN_COMPLETION})
install(FILES ${VKRN_COMPLETION} DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions
        COMPONENT tools)

if(VKRN_BUILD_TESTS)
  add_test(NAME DslrctlCompletion
           COMMAND bash ${PROJECT_SOURCE_DIR}/scripts/test-completion.sh $<TARGET_FILE:dslrctl> ${VKRN_COMPLETION})
  set_tests_properties(DslrctlCompletion PROPERTIES LABELS tools)
endif()
