# Writes agent_version.json beside bin/: version, package name, MD5 of the
# installed program and the commit it was built from.
include("${LEDGORA_SOURCE_DIR}/cmake/GitSource.cmake")
set(tree "$ENV{DESTDIR}${CMAKE_INSTALL_PREFIX}")
file(MD5 "${tree}/bin/ledgora_collect" md5)
ledgora_git(commit rev-parse HEAD)
file(WRITE "${tree}/agent_version.json"
"{
  \"version\": \"${LEDGORA_VERSION}\",
  \"package_name\": \"ledgora-collect-${LEDGORA_VERSION}\",
  \"md5\": \"${md5}\",
  \"git_commit\": \"${commit}\"
}
")
