# Writes agent_version.json beside bin/: version, package name, MD5 of the
# installed program and the commit it was built from.
set(program "$ENV{DESTDIR}${CMAKE_INSTALL_PREFIX}/bin/ledgora_collect")
file(MD5 "${program}" md5)
set(commit "")
find_program(git git)
if(git)
  execute_process(COMMAND "${git}" -C "${LEDGORA_SOURCE_DIR}" rev-parse HEAD
                  OUTPUT_VARIABLE commit OUTPUT_STRIP_TRAILING_WHITESPACE ERROR_QUIET RESULT_VARIABLE failed)
  if(failed)
    set(commit "")
  endif()
endif()
file(WRITE "$ENV{DESTDIR}${CMAKE_INSTALL_PREFIX}/agent_version.json"
"{
  \"version\": \"${LEDGORA_VERSION}\",
  \"package_name\": \"ledgora-collect-${LEDGORA_VERSION}\",
  \"md5\": \"${md5}\",
  \"git_commit\": \"${commit}\"
}
")
