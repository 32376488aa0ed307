#pragma once

#include <cstdint>
#include <string>

namespace LedgoraCollect {

/// One row of software_pkg_env: an environment whose packages are cached.
struct DB_PKG_ENV_S {
  std::string id;
  std::string pkg_env;       ///< root directory of the run, empty on the host
  std::string container_id;  ///< empty outside of containers
  /// Seconds since the epoch; 0 means that the environment holds no finished cache.
  std::int64_t pkg_collect_time = 0;
};

/// One row of software_pkg_file: which package a path belongs to. The prefix
/// of the name is historical.
struct DP_PKG_FILE_S {
  std::string id;
  std::string env_id;
  std::string pkg_id;
  std::int64_t pkg_file_collect_time = 0;  ///< seconds since the epoch, written and never read
  std::string pkg_file_path;
};

/// One row of software_pkg_info: one installed package.
struct DB_PKG_INFO_S {
  std::string id;
  std::string pkg_env_id;
  std::string pkg_name;
  std::string pkg_version;
  std::string pkg_install_time;  ///< text here, an integer column in the table
  std::string pkg_size;
  std::string pkg_desp;
  std::string pkg_type;
  std::string pkg_cfg_files;  ///< every path followed by ";"
  std::string pkg_key;
};

}  // namespace LedgoraCollect
