#include "hostmodel/DiskDetailCollection.h"

#include <array>
#include <sstream>

#include "common/RegexUtils.h"
#include "common/StringUtils.h"
#include "common/support/BoundedString.h"
#include "common/support/Log.h"
#include "hostmodel/FileCollectionUnit.h"

namespace LedgoraCollect {
namespace {

constexpr double kGibPerSector = 512.0 / (1024.0 * 1024.0 * 1024.0);
constexpr std::size_t kModelWord = 1;
constexpr std::size_t kSerialWord = 2;

std::string baseName(const std::string& path) { return path.substr(path.rfind('/') + 1); }

bool getDirFilesCB(const std::string& path, std::vector<std::string>& disks) {
  error_output(2, __func__, __LINE__, "filed path is %s.", path.c_str());
  if (DiskDetailCollection::isDiskName(baseName(path))) disks.push_back(path);
  return false;
}

bool readDiskSizeCB(const std::string& line, void* context) {
  double sectors = 0;
  if (!(std::istringstream(line) >> sectors)) sectors = 0;
  *static_cast<double*>(context) = sectors * kGibPerSector;
  return true;
}

// The two wwid callbacks end the reading with success whatever the line holds:
// where the file exists no further source is asked, even if it told nothing.
bool readDiskWwidlCB(const std::string& line, std::string& model) {
  model = DiskDetailCollection::wwidWord(line, kModelWord);
  return true;
}

bool readSerialCB(const std::string& line, std::string& serial) {
  serial = DiskDetailCollection::wwidWord(line, kSerialWord);
  return true;
}

bool readFirstLineCB(const std::string& line, std::string& first) {
  first = line;
  return true;
}

FileCollectionUnit filesOf(const std::string& environment) {
  FileCollectionUnit unit;
  unit.setEnvironment(environment);
  return unit;
}

}  // namespace

bool DiskDetailCollection::isDiskName(const std::string& name) {
  std::string text = name;
  return regex_match(text, "^[shv]d");
}

std::string DiskDetailCollection::wwidWord(const std::string& line, std::size_t index) {
  const std::vector<std::string> words = StringUtils::split(line, " ", false);
  return words.size() >= 3 ? words[index] : std::string();
}

bool DiskDetailCollection::collect() {
  if (!collectDiskSummary()) return false;
  for (DiskCacheUnit& unit : mDiskDetailInfos) collectDiskDetail(unit);
  return true;
}

bool DiskDetailCollection::collectDiskSummary() {
  std::vector<std::string> paths;
  if (!filesOf(environment).readDirFiles("/sys/block", getDirFilesCB, paths) || paths.empty()) {
    error_output(1, __func__, __LINE__, "get disk failed failed");
    return false;
  }
  for (const std::string& path : paths) {
    DiskCacheUnit unit;
    unit.diskDevice = baseName(path);
    unit.diskPath = dropEnvPath(environment, path);
    error_output(2, __func__, __LINE__, "found disk filePath is %s .", unit.diskPath.c_str());
    collectDiskSize(unit);
    mDiskDetailInfos.push_back(std::move(unit));
  }
  return true;
}

void DiskDetailCollection::collectDiskSize(DiskCacheUnit& unit) const {
  double gib = 0;
  filesOf(environment).readFileLines(unit.diskPath + "/size", readDiskSizeCB, &gib);
  unit.mDiskSizeGb = gib;
  std::array<char, 512> text{};  // the largest double has 309 digits in front of the point
  str_snprintf(text.data(), text.size(), "%.2f", gib);
  unit.diskSize = std::string(text.data()) + " GB";
}

void DiskDetailCollection::collectDiskDetail(DiskCacheUnit& unit) {
  mLsblk.setEnvironment(environment);
  collectDiskModel(unit);
  collectDiskSerial(unit);
}

void DiskDetailCollection::collectDiskModel(DiskCacheUnit& unit) {
  const FileCollectionUnit files = filesOf(environment);
  std::string model;
  if (!files.readFileLines(unit.diskPath + "/device/wwid", readDiskWwidlCB, model) &&
      !files.readFileLines(unit.diskPath + "/model", readFirstLineCB, model)) {
    const std::string command = LsblkCmdCollectionUnit::modelCommand(unit.diskDevice);
    if (!mLsblk.excuteDiskInfo(command, model)) {
      error_output(1, __func__, __LINE__, "get disk model cmd %s failed.", command.c_str());
    }
  }
  unit.diskModel = model;
}

void DiskDetailCollection::collectDiskSerial(DiskCacheUnit& unit) {
  std::string serial;
  if (!filesOf(environment).readFileLines(unit.diskPath + "/device/wwid", readSerialCB, serial)) {
    const std::string command = LsblkCmdCollectionUnit::serialCommand(unit.diskDevice);
    if (!mLsblk.excuteDiskInfo(command, serial)) {
      error_output(1, __func__, __LINE__, "get disk serial cmd %s failed.", command.c_str());
    }
  }
  unit.diskSerial = serial;
}

double DiskDetailCollection::getTotalSize() const {
  double total = 0;
  for (const DiskCacheUnit& unit : mDiskDetailInfos) total += unit.mDiskSizeGb;
  return total;
}

}  // namespace LedgoraCollect
