# ledgora_git(OUT ARG...): what git says of the source tree, trimmed; empty
# without git, or where the tree isn't the top of a checkout (a release's
# sources unpacked inside somebody else's repository).
function(ledgora_git out)
  set(${out} "" PARENT_SCOPE)
  find_program(LEDGORA_GIT git)
  if(NOT LEDGORA_GIT OR NOT EXISTS "${LEDGORA_SOURCE_DIR}/.git")
    return()
  endif()
  execute_process(COMMAND "${LEDGORA_GIT}" -C "${LEDGORA_SOURCE_DIR}" ${ARGN}
                  OUTPUT_VARIABLE text OUTPUT_STRIP_TRAILING_WHITESPACE ERROR_QUIET
                  RESULT_VARIABLE failed)
  if(NOT failed)
    set(${out} "${text}" PARENT_SCOPE)
  endif()
endfunction()
