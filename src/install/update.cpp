#include <algorithm>
#include <string_view>
#include <utility>
#include <vector>

#include "install/installer.h"
#include "merge/merge_and_copy.h"
#include "merge/merges.h"
#include "platform/path.h"
#include "trace/trace.h"
#include "xml/streaming_reader.h"

namespace q9 {
namespace {

using trace_level::kEntry;
using trace_level::kProgress;
using trace_level::kResult;
using trace_level::kWarning;

constexpr TraceSite kSite{"Installer", "Update: "};

// Device names folded to upper case and sorted, so that the names that begin
// with a given one (ignoring ASCII case) are found by a search: the device
// lists of an Update are matched against each other, and comparing every
// pair grows with the square of the store.
class PrefixIndex {
 public:
  explicit PrefixIndex(const std::vector<std::string>& names) {
    folded_.reserve(names.size());
    for (size_t position = 0; position < names.size(); ++position) {
      folded_.emplace_back(FoldedAscii(names[position]), position);
    }
    std::sort(folded_.begin(), folded_.end());
  }

  // Positions, in ascending order, of the names that begin with `prefix`.
  std::vector<size_t> Beginning(std::string_view prefix) const {
    const std::string key = FoldedAscii(prefix);
    std::vector<size_t> positions;
    for (auto it = std::lower_bound(folded_.begin(), folded_.end(), std::pair(key, size_t{0}));
         it != folded_.end() && it->first.starts_with(key); ++it) {
      positions.push_back(it->second);
    }
    std::sort(positions.begin(), positions.end());
    return positions;
  }

 private:
  std::vector<std::pair<std::string, size_t>> folded_;
};

}  // namespace

ResultCode Installer::BackUpMeta() {
  FileOperator& files = file_operator();
  const std::string backup = paths().MetaBackup();
  (void)files.CreateDir(log_, paths().Meta());
  (void)files.DeleteDirectory(backup);
  (void)files.CreateDir(log_, backup);
  for (const std::string& kind :
       {paths().MetaDefaultLogDevices(), paths().MetaProtocols(), paths().MetaBoards()}) {
    (void)files.CreateDir(log_, kind);
  }
  log_.Write("Create Backup Directory for meta");
  Q9_TRACE(kSite, kProgress, "Create Backup Directory for meta");
  const ResultCode result = files.CopyDirectory(log_, paths().Meta(), backup);
  if (result != PGSP_OK) {
    log_.Write("Error: Can't create Backup Directory");
    (void)files.DeleteDirectory(backup);
    Q9_TRACE(kSite, kResult, "<< Can not create backup for meta, return: %d", result);
  }
  return result;
}

ResultCode Installer::BackUpLogDevices() {
  FileOperator& files = file_operator();
  const std::string backup = paths().LogDevicesBackup();
  log_.Write("Create Backup Directory for data");
  (void)files.DeleteDirectory(backup);
  (void)files.CreateDir(log_, backup);
  const ResultCode result = files.CopyDirectory(log_, paths().DataLogDevices(), backup);
  if (result != PGSP_OK) {
    log_.Write("Error: Can't create Backup Directory");
    (void)files.DeleteDirectory(backup);
    Q9_TRACE(kSite, kResult, "<< Can not create backup for LogDevices, return: %d", result);
    log_.Write("<<<< Update");
  }
  return result;
}

void Installer::RestoreLogDevices() {
  (void)file_operator().DeleteDirectory(paths().DataLogDevices());
  (void)file_operator().CopyDirectory(log_, JoinPath(paths().LogDevicesBackup(), "LogDevices"),
                                      paths().Data());
}

void Installer::MergeOldIntoNewLogDevices(const std::vector<std::string>& new_devices,
                                          const std::vector<std::string>& old_devices) {
  const std::string old_folder = JoinPath(paths().LogDevicesBackup(), "LogDevices");
  const PrefixIndex old_index(old_devices);
  for (const std::string& new_name : new_devices) {
    // The first old device, in listing order, whose name begins with the new one.
    const std::vector<size_t> matches = old_index.Beginning(new_name);
    if (matches.empty()) continue;
    MergeLogDevices(xml(), log_, JoinPath(paths().DataLogDevices(), new_name),
                    JoinPath(old_folder, old_devices[matches.front()]));
  }
}

void Installer::RestoreOldCopies(const std::vector<std::string>& new_devices,
                                 const std::vector<std::string>& old_devices) {
  const std::string old_folder = JoinPath(paths().LogDevicesBackup(), "LogDevices");
  const PrefixIndex new_index(new_devices);
  for (const std::string& old_name : old_devices) {
    for (const size_t position : new_index.Beginning(old_name)) {
      const std::string& new_name = new_devices[position];
      Q9_TRACE(kSite, kProgress, "Restore copied and not newly created LogDevices: %s",
               old_name.c_str());
      // Without overwrite: a device the library made again keeps the merged values.
      (void)file_operator().CopyFiles(log_, JoinPath(old_folder, old_name),
                                      JoinPath(paths().DataLogDevices(), new_name), 0);
      log_.Write("Restore copied and not newly created LogDevice! BackupLogDev: ", old_name);
    }
  }
}

void Installer::RestoreKbusDevices(const std::vector<std::string>& old_devices) {
  const std::string old_folder = JoinPath(paths().LogDevicesBackup(), "LogDevices");
  log_.Write("Restore KBUS Devices (if neccessery)");
  Q9_TRACE(kSite, kProgress, "ListLength : %d", static_cast<int>(old_devices.size()));
  for (const std::string& old_name : old_devices) {
    Q9_TRACE(kSite, kProgress, "GetAttribute CP_TYPE : %s", old_name.c_str());
    const std::string old_file = JoinPath(old_folder, old_name);
    std::string cp_type;
    if (xml().facts().RootAttribute(old_file, "CP_TYPE", &cp_type) != PGSP_OK) continue;
    Q9_TRACE(kSite, kProgress, "Check CP_TYPE == KBUS : %s   CP_TYPE=%s", old_name.c_str(),
             cp_type.c_str());
    if (!EqualsIgnoreCase(cp_type, "KBUS")) continue;
    Q9_TRACE(kSite, kProgress, "KBUS LogDevice found! Restore it: %s", old_name.c_str());
    (void)file_operator().CopyFiles(log_, old_file, JoinPath(paths().DataLogDevices(), old_name), 0);
    log_.Write("Restore KBUS Device! KBUS-device:", old_name);
  }
}

ResultCode Installer::Update() {
  Q9_TRACE(kSite, kEntry, ">> Start");
  log_.Write(">> Update");
  FileOperator& files = file_operator();
  ResultCode result = CheckArrivedTemplates(kSite);
  if (result != PGSP_OK) return result;
  result = BackUpMeta();
  if (result != PGSP_OK) return result;

  Merger merger(log_, files);
  result = merger.MergeAndCopyTemplates(paths().ProgramFilesRoot());
  if (result != PGSP_OK) {
    log_.Write("Error: Can't merge templates");
    (void)files.DeleteDirectory(paths().Meta());
    // meta is gone, so the copy recreates it under its own name.
    (void)files.CopyDirectory(log_, JoinPath(paths().MetaBackup(), "meta"), paths().Meta());
    (void)files.DeleteDirectory(paths().MetaBackup());
    Q9_TRACE(kSite, kProgress,
             "Error in MergeAndCopyTemplates ... old Configuration will be restored");
    Q9_TRACE(kSite, kResult, "<< return lRet = %d", result);
    log_.Write("<< Update returns with: ", std::to_string(result),
               "   because MergeAndCopyTemplates failed!");
    return result;
  }
  (void)files.DeleteDirectory(paths().MetaBackup());
  for (const std::string& folder : {paths().Data(), paths().DataLogNames(), paths().DataLogDevices()}) {
    (void)files.CreateDir(log_, folder);
  }

  log_.Write("Copy static XMLs");
  CopyStaticFiles(0);
  (void)files.CopyLogNamesToMeta(log_);

  result = BackUpLogDevices();
  if (result != PGSP_OK) return result;
  Q9_TRACE(kSite, kProgress, "Created backup for LogDevices");
  (void)files.CleanLogdevices(log_);
  // The pause this announces is not made (the library needs none); the
  // record stays, as readers of the trace look for it.
  Q9_TRACE(kSite, kProgress, "5 second waiting loop");
  AddSubdevicePNIO();
  result = CreateAllLogdevices();
  if (result != PGSP_OK) {
    log_.Write("Error: Can't create LogDevices");
    Q9_TRACE(kSite, kProgress, "Import (Update) FAILED, restore backuped files");
    RestoreLogDevices();
    (void)files.DeleteDirectory(paths().LogDevicesBackup());
    Q9_TRACE(kSite, kResult, "<< return lRet = %d", result);
    log_.Write("<< Update returns with: ", std::to_string(result),
               "   because CreateAllLogdevices failed!");
    return result;
  }

  const std::vector<std::string> new_devices = ListFiles(paths().DataLogDevices());
  if (new_devices.empty()) {
    RestoreLogDevices();
    result = kNoLogDeviceCreated;
    Q9_TRACE(kSite, kProgress, "Warning: No LogDevices were created! The old LogDevices are restored!");
    log_.Write("Warning: No LogDevices were created! The old LogDevices are restored!");
  } else {
    log_.Write("new LogDevices were created ... merge old and new LogDevices");
    const std::string old_folder = JoinPath(paths().LogDevicesBackup(), "LogDevices");
    const std::vector<std::string> old_devices = ListFiles(old_folder);
    // Known, but by design deciding nothing: hidden or not, every old device
    // is merged and restored alike. So the reads, which show only in the
    // trace, are made only when the trace would record them.
    std::vector<std::string> hidden_old_devices;
    if (TraceLevelEnabled(kEntry | kWarning | kProgress | kResult)) {
      for (const std::string& old_name : old_devices) {
        std::string hidden;
        if (ReadParameterValue(xml(), JoinPath(old_folder, old_name), "Ndi", "hidden", &hidden) ==
                PGSP_OK &&
            EqualsIgnoreCase(hidden, "true")) {
          hidden_old_devices.push_back(old_name);
        }
      }
    }
    log_.Write("Do merge");
    // Merge first, then restore: a restored copy must not be merged again.
    MergeOldIntoNewLogDevices(new_devices, old_devices);
    RestoreOldCopies(new_devices, old_devices);
    RestoreKbusDevices(old_devices);
    Q9_TRACE(kSite, kProgress, "Successful Import (Update), delete backuped files");
    result = PGSP_OK;
  }

  (void)files.DeleteDirectory(paths().LogDevicesBackup());
  log_.Write("<< Update returns with: ", std::to_string(result));
  Q9_TRACE(kSite, kResult, "<< return lRet = %d", result);
  return result;
}

}  // namespace q9
