#include "store/file_operator.h"

#include <string_view>

#include "platform/path.h"
#include "trace/trace.h"

namespace q9 {
namespace {

constexpr const char* kModule = "FileOperator";

bool IsSchemaFileName(std::string_view name) {
  // Case-sensitive on purpose: "X.XSD" is no schema.
  return name.size() >= 4 && name.substr(name.size() - 4) == ".xsd";
}

}  // namespace

ResultCode FileOperator::DeleteDirectory(const std::string& path) {
  static constexpr TraceSite kSite{kModule, "DeleteDirectory: "};
  if (path.empty()) return PGSP_ERR_INVALID_PARAMETERS;
  ResultCode result = ERR_DELETE_FAILED;
  if (env_.files().DeleteTree(path) == os_error::kSuccess) {
    result = PGSP_OK;
    Q9_TRACE(kSite, 64, "Delete existing directory: %s", path.c_str());
  }
  Q9_TRACE(kSite, 128, "<< return lRet = %d", result);
  return result;
}

ResultCode FileOperator::CopyFiles(InstallLog& log, const std::string& source,
                                   const std::string& destination, int32_t overwrite) {
  static constexpr TraceSite kSite{kModule, "CopyFiles: "};
  Q9_TRACE(kSite, 8, ">> Start");
  log.Write(">> CopyFiles");
  if (source.empty() || destination.empty()) {
    Q9_TRACE(kSite, 128, "<< return PGSP_ERR_INVALID_PARAMETERS, path is NULL");
    return PGSP_ERR_INVALID_PARAMETERS;
  }
  Q9_TRACE(kSite, 64, "From: %s,  To: %s,", source.c_str(), destination.c_str());
  const OsError error = env_.files().CopyFile(source, destination, overwrite != 0);
  // The line comes before the outcome is looked at, so it appears for failed copies too.
  log.Write("File:   ", source, "   copied to:   ", destination);
  ResultCode result = PGSP_OK;
  if (error != os_error::kSuccess) {
    Q9_TRACE(kSite, 64, "Cannot copy file %s", source.c_str());
    Q9_TRACE(kSite, 64, "GetLastError() = %d", error);
    result = ERR_COPY_FAILED;
  }
  Q9_TRACE(kSite, 128, "<< return lRet = %d", result);
  log.Write("<< CopyFiles returns with: ", std::to_string(result));
  return result;
}

ResultCode FileOperator::DeleteFiles(InstallLog& log, const std::string& path) {
  static constexpr TraceSite kSite{kModule, "DeleteFiles: "};
  const OsError error = env_.files().DeleteFile(path);
  if (error == os_error::kSuccess) {
    Q9_TRACE(kSite, 128, "Successfully deleted file: %s", path.c_str());
    log.Write("Successfully deleted file: ", path);
    return PGSP_OK;
  }
  Q9_TRACE(kSite, 128, "Deleting file: %s  failed!", path.c_str());
  log.Write("Deleting file: ", path, "   failed with: ", std::to_string(error));
  return ERR_DELETE_FAILED;
}

ResultCode FileOperator::CreateDir(InstallLog& log, const std::string& path) {
  static constexpr TraceSite kSite{kModule, "CreateDir: "};
  const OsError error = env_.files().CreateDirectory(path);
  if (error == os_error::kSuccess) {
    Q9_TRACE(kSite, 128, "Successfully created directory: %s", path.c_str());
    // "deleted" is what this line has always said after a creation; setup
    // tools that scan the log expect it.
    log.Write("Successfully deleted directory: ", path);
    return PGSP_OK;
  }
  Q9_TRACE(kSite, 128, "Creating directory: %s  failed with: %d ", path.c_str(), error);
  log.Write("Creating directory: ", path, "   failed with: ", std::to_string(error));
  return ERR_CREATE_DIRECTORY_FAILED;
}

ResultCode FileOperator::CopyDirectory(InstallLog& log, const std::string& source,
                                       const std::string& destination) {
  static constexpr TraceSite kSite{kModule, "CopyDirectory: "};
  Q9_TRACE(kSite, 8, ">> Start");
  log.Write(">> CopyDirectory");
  if (source.empty() || destination.empty()) {
    Q9_TRACE(kSite, 128, "<< return PGSP_ERR_INVALID_PARAMETERS, Input is empty");
    return PGSP_ERR_INVALID_PARAMETERS;
  }
  Q9_TRACE(kSite, 64, "From: %s, To: %s,", source.c_str(), destination.c_str());
  const std::string target = StorePaths::IsDirectory(env_, destination)
                                 ? JoinPath(destination, BaseName(source))
                                 : destination;
  ResultCode result = ERR_COPY_FAILED;
  if (StorePaths::IsDirectory(env_, source) &&
      env_.files().CopyTree(source, target) == os_error::kSuccess) {
    result = PGSP_OK;
  }
  Q9_TRACE(kSite, 128, "<< return lRet = %d", result);
  log.Write("<< CopyDirectory returns with: ", std::to_string(result));
  return result;
}

template <typename Accept>
ResultCode FileOperator::EnumMatching(const TraceSite& kSite, const std::string& directory,
                                      uint32_t index, std::string* name, Accept accept) {
  Q9_TRACE(kSite, 8, ">> Start");
  if (directory.empty()) {
    Q9_TRACE(kSite, 16, "<< FindFirstFile failed! Invalid input-parameter!");
    return PGSP_ERR_INVALID_PARAMETERS;
  }
  std::vector<DirEntry> entries;
  const OsError error = env_.files().ListDirectory(directory, &entries);
  if (error != os_error::kSuccess) {
    Q9_TRACE(kSite, 16, "<< FindFirstFile failed! LastError: %d", error);
    return error;
  }
  uint32_t count = 0;
  for (const DirEntry& entry : entries) {
    if (entry.is_directory || !accept(entry.name)) continue;
    if (count++ == index) {
      *name = entry.name;
      return PGSP_OK;
    }
  }
  Q9_TRACE(kSite, 16, "<< FindFirstFile returned with PGSP_ERR_NO_MORE_ITEMS!");
  return PGSP_ERR_NO_MORE_ITEMS;
}

ResultCode FileOperator::EnumFile(const std::string& directory, uint32_t index,
                                  std::string* name) {
  static constexpr TraceSite kSite{kModule, "EnumFile: "};
  return EnumMatching(kSite, directory, index, name, [](std::string_view) { return true; });
}

ResultCode FileOperator::EnumSchemes(const std::string& directory, uint32_t index,
                                     std::string* name) {
  static constexpr TraceSite kSite{kModule, "EnumSchemes: "};
  return EnumMatching(kSite, directory, index, name, IsSchemaFileName);
}

}  // namespace q9
