#include "hostmodel/OsCollection.h"

#include <algorithm>
#include <array>

#include "common/StringUtils.h"
#include "common/support/Log.h"
#include "hostmodel/KyinfoFileCollectionUnit.h"
#include "hostmodel/OsReleaseFileCollectionUnit.h"
#include "hostmodel/ProductinfoFileCollectionUnit.h"

namespace LedgoraCollect {
namespace {

// A name that holds one of these is a server whatever is installed. "redhat"
// and "centos" workstations are among them: consumers know them so.
constexpr std::array<const char*, 5> kServerNames = {"server", "openeuler", "redhat", "euleros",
                                                     "centos"};

bool holds(const std::string& text, const char* word) {
  return text.find(word) != std::string::npos;
}

template <class Unit>
Unit unitOf(const std::string& environment) {
  Unit unit;
  unit.setEnvironment(environment);
  return unit;
}

}  // namespace

bool OsCollection::collect() {
  std::string osName = mOsCacheUnit.osName;
  StringUtils::lower(osName);
  error_output(2, __func__, __LINE__, "collect oSName is %s. ", osName.c_str());
  const auto namedIn = [&osName](const char* word) { return holds(osName, word); };
  if (std::any_of(kServerNames.begin(), kServerNames.end(), namedIn)) {
    mOsCacheUnit.hostType = "server";
    return true;
  }
  return collectByFile(osName);
}

bool OsCollection::collectByFile(const std::string& osName) {
  const auto productinfo = unitOf<ProductinfoFileCollectionUnit>(environment);
  if (holds(osName, "asianux") || holds(osName, "redflag")) {
    return productinfo.collectHostType(mOsCacheUnit);
  }
  if (holds(osName, "kylin")) {
    const auto kyinfo = unitOf<KyinfoFileCollectionUnit>(environment);
    return kyinfo.collectHostType(mOsCacheUnit) || productinfo.collectHostType(mOsCacheUnit);
  }
  const auto osRelease = unitOf<OsReleaseFileCollectionUnit>(environment);
  return osRelease.collectHostType(mOsCacheUnit, holds(osName, "uos"));
}

}  // namespace LedgoraCollect
