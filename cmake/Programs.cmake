# Releases carry the C++ runtime inside: they start faster (a run is mostly
# start) and run where the distribution's is older. Where the static runtime
# isn't installed the shared one is used.
if(CMAKE_BUILD_TYPE STREQUAL "Release")
  include(CheckCXXSourceCompiles)
  set(CMAKE_REQUIRED_LINK_OPTIONS -static-libstdc++ -static-libgcc)
  check_cxx_source_compiles("#include <string>\nint main(int n, char**) { return std::string(n, 'x').size() == 0; }"
                            LEDGORA_STATIC_RUNTIME)
  if(LEDGORA_STATIC_RUNTIME)
    add_link_options(${CMAKE_REQUIRED_LINK_OPTIONS})
  endif()
  unset(CMAKE_REQUIRED_LINK_OPTIONS)
endif()

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
target_link_libraries(lloader PRIVATE ledgora_script)
