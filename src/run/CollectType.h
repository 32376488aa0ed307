#pragma once

namespace LedgoraCollect {

/// The inventory types, numbered as the parent process asks for them.
enum COLLECT_TYPE_E : int {
  E_COLLECT_SYSTEM_INFO = 1,
  E_COLLECT_SYSTEM_STATUS = 2,
  E_COLLECT_PROCESS = 3,
  E_COLLECT_USER = 4,
  E_COLLECT_PORT = 5,
  E_COLLECT_SCHEDULE = 6,
  E_COLLECT_SOFTWARE = 7,
  E_COLLECT_SCRIPT_FIRST = 8,  // 8 to 12: web and database inventory, made by a script
  E_COLLECT_SCRIPT_LAST = 12,
  E_COLLECT_IP_LIST = 14,
  E_COLLECT_NET_CONNECT = 15,
  E_COLLECT_SERVICE = 19,
  E_COLLECT_ENV = 20,
  E_COLLECT_KERNEL_MODULE = 21,
  E_COLLECT_JAR = 22,
  E_COLLECT_INSTALL_PACKAGE = 23,
  E_COLLECT_NPM = 24,
  E_COLLECT_PYTHON = 25,
  E_COLLECT_AGENT_INFO = 1001,
};

constexpr int kFirstCollectType = 1;
constexpr int kLastCollectType = 1001;

/// Carried from the command line to every collector; nothing reads it.
enum COLLECT_MODE_E : int {};

/// The bits of `option=`. Which types look at which bit is told in README.md.
constexpr int kOptionQuick = 1;           // cached software; no identification; narrower packages
constexpr int kOptionNoFile = 2;          // no result file is written
constexpr int kOptionWebAndDatabase = 4;  // software of app type "web" and "db" stays in the list
constexpr int kOptionContainers = 8;      // records of containers are kept
constexpr int kOptionNoHost = 16;         // records of the host itself are left out

}  // namespace LedgoraCollect
