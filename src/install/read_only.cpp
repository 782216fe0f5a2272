#include "install/read_only.h"

#include "platform/path.h"
#include "trace/trace.h"

namespace q9 {

ResultCode CheckAndRemoveReadOnlyFlagForAllXmls(FileSystem& files, const StorePaths& paths,
                                                InstallLog& log) {
  static constexpr TraceSite kSite{"Installer", "CheckAndRemoveReadOnlyFlagForAllXmls: "};
  Q9_TRACE(kSite, trace_level::kEntry, ">> Start");
  log.Write(">>>> CheckAndRemoveReadOnlyFlagForAllXmls");
  for (const std::string& folder : {paths.Data(), paths.Meta(), paths.Install()}) {
    const ResultCode result = RemoveReadOnlyFlagForAllFilesIn(files, folder);
    if (result != PGSP_OK) {
      log.Write("<<<< CheckAndRemoveReadOnlyFlagForAllXmls returns with: ",
                std::to_string(result));
      Q9_TRACE(kSite, trace_level::kResult, "<< End with retVal: %d", result);
      return result;
    }
  }
  // Only a failure is recorded; a clean store leaves the entry records alone.
  return PGSP_OK;
}

ResultCode RemoveReadOnlyFlagForAllFilesIn(FileSystem& files, const std::string& directory) {
  static constexpr TraceSite kSite{"Installer", "RemoveReadOnlyFlagForAllFilesIn: "};
  if (directory.empty()) {
    Q9_TRACE(kSite, trace_level::kResult,
             "<< RemoveReadOnlyFlagForAllFilesIn failed, because of empty input parameter!");
    return PGSP_ERR_INVALID_PARAMETERS;
  }
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
      (void)RemoveReadOnlyFlagForAllFilesIn(files, path);  // a bad subfolder stops nothing
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
