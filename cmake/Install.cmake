# The installation tree. The program finds everything relative to itself, so
# the prefix is only where the tree is laid out.
install(TARGETS ledgora_collect ${LEDGORA_TOOL_TARGETS} RUNTIME DESTINATION bin)
if(TARGET ledgora_chroot)
  install(TARGETS ledgora_chroot RUNTIME DESTINATION libexec)
endif()
install(DIRECTORY config/ DESTINATION config)
if(EXISTS "${CMAKE_SOURCE_DIR}/scripts")
  install(DIRECTORY scripts/ DESTINATION scripts)
endif()
install(CODE "set(LEDGORA_SOURCE_DIR \"${CMAKE_SOURCE_DIR}\")\nset(LEDGORA_VERSION \"${LEDGORA_VERSION}\")")
install(SCRIPT cmake/AgentVersion.cmake)
