add_library(ledgora_flags INTERFACE)
target_compile_options(ledgora_flags INTERFACE -Wall -Wextra -Wpedantic -Wshadow -Wconversion
                       -Wformat=2 -fstack-protector-strong)
if(LEDGORA_WARNINGS_AS_ERRORS)
  target_compile_options(ledgora_flags INTERFACE -Werror)
endif()
if(LEDGORA_SANITIZE)
  target_compile_options(ledgora_flags INTERFACE -fsanitize=address,undefined
                         -fno-sanitize-recover=undefined -fno-omit-frame-pointer)
  target_link_options(ledgora_flags INTERFACE -fsanitize=address,undefined)
elseif(CMAKE_BUILD_TYPE STREQUAL "Release")
  target_compile_options(ledgora_flags INTERFACE -U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=2)
endif()
# No path of the building machine in what is built.
target_compile_options(ledgora_flags INTERFACE
  "$<$<CONFIG:Release>:-ffile-prefix-map=${CMAKE_SOURCE_DIR}/=>")
target_compile_definitions(ledgora_flags INTERFACE _FILE_OFFSET_BITS=64)
target_link_options(ledgora_flags INTERFACE -Wl,-z,relro,-z,now)
include(CheckPIESupported)
check_pie_supported()
