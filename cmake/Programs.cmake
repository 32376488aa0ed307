# The program and its companions. Every src/tools/NAME.cpp is a program of
# its own; "chroot" is the one that commands in an inspected root go through.
set(LEDGORA_GENERATED "${CMAKE_BINARY_DIR}/generated")
add_custom_target(ledgora_build_text
  COMMAND "${CMAKE_COMMAND}" "-DLEDGORA_SOURCE_DIR=${CMAKE_SOURCE_DIR}"
          "-DLEDGORA_HEADER=${LEDGORA_GENERATED}/run/BuildText.h"
          -P "${CMAKE_SOURCE_DIR}/cmake/BuildText.cmake"
  BYPRODUCTS "${LEDGORA_GENERATED}/run/BuildText.h" VERBATIM)
add_executable(ledgora_collect src/run/main.cpp)
add_dependencies(ledgora_collect ledgora_build_text)
target_include_directories(ledgora_collect PRIVATE "${LEDGORA_GENERATED}")
target_link_libraries(ledgora_collect PRIVATE ledgora_core)

file(GLOB LEDGORA_TOOLS CONFIGURE_DEPENDS "${CMAKE_SOURCE_DIR}/src/tools/*.cpp")
set(LEDGORA_TOOL_TARGETS)
foreach(tool IN LISTS LEDGORA_TOOLS)
  get_filename_component(name "${tool}" NAME_WE)
  if(name STREQUAL "chroot")
    add_executable(ledgora_chroot "${tool}")
    set_target_properties(ledgora_chroot PROPERTIES OUTPUT_NAME chroot
                          RUNTIME_OUTPUT_DIRECTORY "${CMAKE_BINARY_DIR}/libexec")
    target_link_libraries(ledgora_chroot PRIVATE ledgora_core)
  else()
    add_executable(${name} "${tool}")
    target_link_libraries(${name} PRIVATE ledgora_core)
    list(APPEND LEDGORA_TOOL_TARGETS ${name})
  endif()
endforeach()
