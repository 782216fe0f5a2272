// Clearing of read-only flags in the store before an operation runs, so that
// merges and deletions are not refused by files a user or a package marked
// read-only.
#include "install/installer.h"
#include "platform/path.h"
#include "trace/trace.h"

namespace q9 {

ResultCode CheckAndRemoveReadOnlyFlagForAllXmls(Installer& installer) {
  static constexpr TraceSite kSite{"Installer", "CheckAndRemoveReadOnlyFlagForAllXmls: "};
  Q9_TRACE(kSite, trace_level::kEntry, ">> Start");
  installer.log().Write(">>>> CheckAndRemoveReadOnlyFlagForAllXmls");
  const StorePaths& paths = installer.paths();
  for (const std::string& folder : {paths.Data(), paths.Meta(), paths.Install()}) {
    const ResultCode result = RemoveReadOnlyFlagForAllFilesIn(installer, folder);
    if (result != PGSP_OK) {
      installer.log().Write("<<<< CheckAndRemoveReadOnlyFlagForAllXmls returns with: ",
                            std::to_string(result));
      Q9_TRACE(kSite, trace_level::kResult, "<< End with retVal: %d", result);
      return result;
    }
  }
  return PGSP_OK;
}

ResultCode RemoveReadOnlyFlagForAllFilesIn(Installer& installer, const std::string& directory) {
  static constexpr TraceSite kSite{"Installer", "RemoveReadOnlyFlagForAllFilesIn: "};
  if (directory.empty()) {
    Q9_TRACE(kSite, trace_level::kResult,
             "<< RemoveReadOnlyFlagForAllFilesIn failed, because of empty input parameter!");
    return PGSP_ERR_INVALID_PARAMETERS;
  }
  FileSystem& files = installer.env().files();
  std::vector<DirEntry> entries;
  const OsError error = files.ListDirectory(directory, &entries);
  if (error != os_error::kSuccess) {
    Q9_TRACE(kSite, trace_level::kProgress, "<< FindFirstFile failed! LastError: %d", error);
    return error;
  }
  for (const DirEntry& entry : entries) {
    // Links may lead out of the store or round in a circle: leave them alone.
    if (entry.is_link) continue;
    const std::string path = JoinPath(directory, entry.name);
    if (entry.is_directory) {
      (void)RemoveReadOnlyFlagForAllFilesIn(installer, path);  // a bad subfolder stops nothing
      continue;
    }
    FileInfo info;
    if (files.GetFileInfo(path, &info) != os_error::kSuccess || !info.read_only) continue;
    const OsError set_error = files.SetReadOnly(path, false);
    if (set_error != os_error::kSuccess) {
      Q9_TRACE(kSite, trace_level::kProgress, "<< SetFileAttributes failed! LastError: %d",
               set_error);
    }
  }
  return PGSP_OK;
}

}  // namespace q9
