#include "hostmodel/ContainerName.h"

#include <string>

#include "common/RegexUtils.h"
#include "common/support/Log.h"
#include "hostmodel/ProcFileCollectionUnit.h"

namespace LedgoraCollect {
namespace {

constexpr char kDocker[] = "docker";
constexpr char kContainerd[] = "containerd";

constexpr struct {
  const char* expression;
  const char* type;
} kScopes[] = {
    {"docker\\-(\\w+)\\.scope$", kDocker},
    {"\\-containerd\\-(\\w+)\\.scope$", kContainerd},
};

// The whole lower-case alphabet is allowed, not only hexadecimal digits.
bool checkContainerID(const std::string& id) {
  if (id.size() != kContainerIdLength) {
    error_output(1, __func__, __LINE__, "ContainerID %s is invalid", id.c_str());
    return false;
  }
  for (const char c : id) {
    if ((c < 'a' || c > 'z') && (c < '0' || c > '9')) {
      error_output(0, __func__, __LINE__, "invalid ch is %c.", c);
      return false;
    }
  }
  return true;
}

}  // namespace

bool ProcFileCollectionUnit::checkContainerType(const std::string& text, ContainerInfo& info) {
  if (text.empty()) {
    error_output(1, __func__, __LINE__, "line is empty");
    return false;
  }
  // A bare id counts as containerd's, even where docker made it.
  std::string id = text;
  const char* type = kContainerd;
  if (text.size() != kContainerIdLength) {
    id.clear();
    std::string subject = text;
    for (const auto& scope : kScopes) {
      if (!regex_interface(subject, id, scope.expression)) continue;
      type = scope.type;
      break;
    }
  }
  if (!checkContainerID(id)) {
    error_output(1, __func__, __LINE__, "containerID is invalid %s", id.c_str());
    return false;
  }
  info.containerId = id;
  info.containerType = type;
  error_output(2, __func__, __LINE__, "docker id is %s", id.c_str());
  return true;
}

}  // namespace LedgoraCollect
