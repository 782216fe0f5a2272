#include "store/file_operator.h"

#include <string_view>

#include "platform/path.h"
#include "trace/trace.h"
#include "xml/validation.h"

namespace q9 {
namespace {

constexpr const char* kModule = "FileOperator";

using trace_level::kEntry;
using trace_level::kProgress;
using trace_level::kResult;

constexpr std::string_view kProtocolMarker = "Automation-OnlineAccess-PT-";
constexpr std::string_view kBoardMarker = "Automation-OnlineAccess-BT-";
constexpr std::string_view kDefaultLogDeviceMarker = "Automation-OnlineAccess-LDT-";

bool Contains(std::string_view text, std::string_view part) {
  return text.find(part) != std::string_view::npos;
}

bool StartsWith(std::string_view text, std::string_view prefix) {
  return text.substr(0, prefix.size()) == prefix;
}

bool StartsWithIgnoreCase(std::string_view text, std::string_view prefix) {
  return text.size() >= prefix.size() && EqualsIgnoreCase(text.substr(0, prefix.size()), prefix);
}

std::string WithXmlExtension(std::string name) {
  if (!Contains(name, ".xml")) name += ".xml";
  return name;
}

// A template name from the command line is joined to a store folder; one
// that could name something outside that folder selects nothing.
bool StaysInFolder(std::string_view name) {
  return name != "." && name != ".." && !Contains(name, "/") && !Contains(name, "\\");
}

// The identity values that tie a generated log device to its template. An
// unreadable value reads as "", as the readers leave it.
struct Identity {
  std::string device_id;
  std::string cp_type;
  std::string device_name;
  std::string name;
};

Identity ReadLogDeviceIdentity(XmlContext& xml, const std::string& path) {
  Identity identity;
  (void)xml.facts().RootAttribute(path, "DeviceID", &identity.device_id);
  (void)xml.facts().RootAttribute(path, "CP_TYPE", &identity.cp_type);
  (void)xml.facts().ParameterValue(path, "DeviceHeader", "DeviceName", &identity.device_name);
  return identity;
}

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
    Q9_TRACE(kSite, trace_level::kProgress, "Delete existing directory: %s", path.c_str());
  }
  Q9_TRACE(kSite, trace_level::kResult, "<< return lRet = %d", result);
  return result;
}

ResultCode FileOperator::CopyFiles(InstallLog& log, const std::string& source,
                                   const std::string& destination, int32_t overwrite) {
  static constexpr TraceSite kSite{kModule, "CopyFiles: "};
  Q9_TRACE(kSite, trace_level::kEntry, ">> Start");
  log.Write(">> CopyFiles");
  if (source.empty() || destination.empty()) {
    Q9_TRACE(kSite, trace_level::kResult, "<< return PGSP_ERR_INVALID_PARAMETERS, path is NULL");
    return PGSP_ERR_INVALID_PARAMETERS;
  }
  Q9_TRACE(kSite, trace_level::kProgress, "From: %s,  To: %s,", source.c_str(),
           destination.c_str());
  const OsError error = env_.files().CopyFile(source, destination, overwrite != 0);
  if (error == os_error::kSuccess) {
    xml_.facts().Copied(source, destination);
  } else {
    xml_.facts().Forget(destination);
  }
  // The line comes before the outcome is looked at, so it appears for failed copies too.
  log.Write("File:   ", source, "   copied to:   ", destination);
  ResultCode result = PGSP_OK;
  if (error != os_error::kSuccess) {
    Q9_TRACE(kSite, trace_level::kProgress, "Cannot copy file %s", source.c_str());
    Q9_TRACE(kSite, trace_level::kProgress, "GetLastError() = %d", error);
    result = ERR_COPY_FAILED;
  }
  Q9_TRACE(kSite, trace_level::kResult, "<< return lRet = %d", result);
  log.Write("<< CopyFiles returns with: ", std::to_string(result));
  return result;
}

ResultCode FileOperator::DeleteFiles(InstallLog& log, const std::string& path) {
  static constexpr TraceSite kSite{kModule, "DeleteFiles: "};
  const OsError error = env_.files().DeleteFile(path);
  if (error == os_error::kSuccess) {
    Q9_TRACE(kSite, trace_level::kResult, "Successfully deleted file: %s", path.c_str());
    log.Write("Successfully deleted file: ", path);
    return PGSP_OK;
  }
  Q9_TRACE(kSite, trace_level::kResult, "Deleting file: %s  failed!", path.c_str());
  log.Write("Deleting file: ", path, "   failed with: ", std::to_string(error));
  return ERR_DELETE_FAILED;
}

ResultCode FileOperator::CreateDir(InstallLog& log, const std::string& path) {
  static constexpr TraceSite kSite{kModule, "CreateDir: "};
  const OsError error = env_.files().CreateDirectory(path);
  if (error == os_error::kSuccess) {
    Q9_TRACE(kSite, trace_level::kResult, "Successfully created directory: %s", path.c_str());
    // "deleted" is what this line has always said after a creation; setup
    // tools that scan the log expect it.
    log.Write("Successfully deleted directory: ", path);
    return PGSP_OK;
  }
  Q9_TRACE(kSite, trace_level::kResult, "Creating directory: %s  failed with: %d ", path.c_str(),
           error);
  log.Write("Creating directory: ", path, "   failed with: ", std::to_string(error));
  return ERR_CREATE_DIRECTORY_FAILED;
}

ResultCode FileOperator::CopyDirectory(InstallLog& log, const std::string& source,
                                       const std::string& destination) {
  static constexpr TraceSite kSite{kModule, "CopyDirectory: "};
  Q9_TRACE(kSite, trace_level::kEntry, ">> Start");
  log.Write(">> CopyDirectory");
  if (source.empty() || destination.empty()) {
    Q9_TRACE(kSite, trace_level::kResult, "<< return PGSP_ERR_INVALID_PARAMETERS, Input is empty");
    return PGSP_ERR_INVALID_PARAMETERS;
  }
  Q9_TRACE(kSite, trace_level::kProgress, "From: %s, To: %s,", source.c_str(), destination.c_str());
  const std::string target = StorePaths::IsDirectory(env_, destination)
                                 ? JoinPath(destination, BaseName(source))
                                 : destination;
  ResultCode result = ERR_COPY_FAILED;
  if (StorePaths::IsDirectory(env_, source) &&
      env_.files().CopyTree(source, target) == os_error::kSuccess) {
    result = PGSP_OK;
  }
  xml_.facts().ForgetBelow(target);
  Q9_TRACE(kSite, trace_level::kResult, "<< return lRet = %d", result);
  log.Write("<< CopyDirectory returns with: ", std::to_string(result));
  return result;
}

template <typename Accept>
ResultCode FileOperator::EnumMatching(const TraceSite& site, const std::string& directory,
                                      uint32_t index, std::string* name, Accept accept) {
  Q9_TRACE(site, trace_level::kEntry, ">> Start");
  // The failure texts name the Windows call that this listing stands for,
  // on every platform, so traces read the same everywhere.
  if (directory.empty()) {
    Q9_TRACE(site, trace_level::kWarning, "<< FindFirstFile failed! Invalid input-parameter!");
    return PGSP_ERR_INVALID_PARAMETERS;
  }
  std::shared_ptr<const std::vector<DirEntry>> entries;
  const OsError error = env_.files().ListDirectoryShared(directory, &entries);
  if (error != os_error::kSuccess) {
    Q9_TRACE(site, trace_level::kWarning, "<< FindFirstFile failed! LastError: %d", error);
    return error;
  }
  uint32_t count = 0;
  for (const DirEntry& entry : *entries) {
    if (entry.is_directory || !accept(entry.name)) continue;
    if (count++ == index) {
      *name = entry.name;
      return PGSP_OK;
    }
  }
  Q9_TRACE(site, trace_level::kWarning, "<< FindFirstFile returned with PGSP_ERR_NO_MORE_ITEMS!");
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

ResultCode FileOperator::EnumFileLike(const std::string& directory,
                                     std::span<const IdentityField> fields,
                                     std::span<const std::string> wanted, uint32_t* index,
                                     std::string* name) {
  if (!TraceLevelEnabled(kEntry) && !TraceLevelEnabled(kResult)) {
    *index = xml_.facts().NextCandidate(directory, fields, wanted, *index);
  }
  return EnumFile(directory, *index, name);
}

std::vector<std::string> FileOperator::FileNames(const std::string& directory) {
  std::vector<std::string> names;
  std::string name;
  for (uint32_t index = 0; EnumFile(directory, index, &name) == PGSP_OK; ++index) {
    names.push_back(name);
  }
  return names;
}

void FileOperator::CleanMeta(InstallLog& log) {
  static constexpr TraceSite kSite{kModule, "CleanMeta: "};
  Q9_TRACE(kSite, kEntry, ">> Start");
  // Only the kind folders go: whatever else meta holds stays, and creating
  // meta itself fails harmlessly when it is there.
  (void)DeleteDirectory(paths_.MetaDefaultLogDevices());
  (void)DeleteDirectory(paths_.MetaProtocols());
  (void)DeleteDirectory(paths_.MetaBoards());
  (void)CreateDir(log, paths_.Meta());
  (void)CreateDir(log, paths_.MetaDefaultLogDevices());
  (void)CreateDir(log, paths_.MetaProtocols());
  (void)CreateDir(log, paths_.MetaBoards());
  Q9_TRACE(kSite, kResult, "<< meta folders emptied");
}

void FileOperator::CleanData(InstallLog& log) {
  static constexpr TraceSite kSite{kModule, "CleanData: "};
  Q9_TRACE(kSite, kEntry, ">> Start");
  (void)DeleteDirectory(paths_.DataLogDevices());
  (void)DeleteDirectory(paths_.DataLogNames());
  (void)CreateDir(log, paths_.Data());
  (void)CreateDir(log, paths_.DataLogDevices());
  (void)CreateDir(log, paths_.DataLogNames());
  Q9_TRACE(kSite, kResult, "<< data folders emptied");
}

ResultCode FileOperator::CleanLogdevices(InstallLog& log) {
  static constexpr TraceSite kSite{kModule, "CleanLogdevices: "};
  Q9_TRACE(kSite, kEntry, ">> Start");
  const std::string folder = paths_.DataLogDevices();
  bool failed = false;
  for (const std::string& name : FileNames(folder)) {
    // Inverted on purpose: a deleted file is what gets reported, with the
    // error number that a successful deletion leaves (none), and a file that
    // could not be deleted passes silently. Callers ignore the result.
    if (DeleteFiles(log, JoinPath(folder, name)) == PGSP_OK) {
      Q9_TRACE(kSite, kProgress, "Cannot delete file: %s   because of errorcode = %d",
               name.c_str(), os_error::kSuccess);
      failed = true;
    }
  }
  if (failed) {
    Q9_TRACE(kSite, kResult, "<< Cannot delete one or more LogDevices");
    return ERR_DELETE_FAILED;
  }
  Q9_TRACE(kSite, kResult, "<< Deleted LogDevice XML files");
  return PGSP_OK;
}

ResultCode FileOperator::CopyLogNamesToMeta(InstallLog& log) {
  static constexpr TraceSite kSite{kModule, "CopyLogNamesToMeta: "};
  Q9_TRACE(kSite, kEntry, ">> Start");
  // The lines name the folder the files really go to.
  log.Write(">> CopyLogNamesToData");
  const std::string install = paths_.InstallLogNames();
  const std::string data = paths_.DataLogNames();
  std::string name;
  for (uint32_t index = 0; EnumFile(install, index, &name) == PGSP_OK; ++index) {
    bool present = false;
    std::string data_name;
    for (uint32_t i = 0; !present && EnumFile(data, i, &data_name) == PGSP_OK; ++i) {
      present = StartsWithIgnoreCase(data_name, name);
    }
    if (present) continue;
    const std::string source = JoinPath(install, name);
    if (ValidateFile(xml_, source, paths_.Schemes(), "Corvane.Device.Driver.Logname") != PGSP_OK) {
      Q9_TRACE(kSite, kProgress, "Invalid Logname: %s not coppied to meta", name.c_str());
      continue;
    }
    (void)CopyFiles(log, source, JoinPath(data, name), 0);
  }
  log.Write("<< CopyLogNamesToData");
  Q9_TRACE(kSite, kResult, "<< return PGSP_OK");
  return PGSP_OK;
}

ResultCode FileOperator::InstallTemplatesExist(InstallLog& log) {
  static constexpr TraceSite kSite{kModule, "InstallTemplatesExist: "};
  Q9_TRACE(kSite, kEntry, ">> Start");
  std::string name;
  for (const std::string& folder :
       {paths_.InstallDefaultLogDevices(), paths_.InstallBoards(), paths_.InstallProtocols()}) {
    if (EnumFile(folder, 0, &name) != PGSP_OK) {
      Q9_TRACE(kSite, kProgress,
               "return ERR_MISSING_TEMPL_IN_INSTALL. One or more Install subfolders are empty");
      log.Write("InstallTemplates are empty!!!");
      return ERR_MISSING_TEMPL_IN_INSTALL;
    }
  }
  log.Write("InstallTemplates Exist returns successfull!");
  Q9_TRACE(kSite, kResult, "<< return PGSP_OK");
  return PGSP_OK;
}

ResultCode FileOperator::CheckSchemes(InstallLog& log) {
  static constexpr TraceSite kSite{kModule, "CheckSchemes: "};
  Q9_TRACE(kSite, kEntry, ">> Start");
  int log_devices = 0;
  int boards = 0;
  int protocols = 0;
  std::string name;
  for (uint32_t index = 0; EnumSchemes(paths_.Schemes(), index, &name) == PGSP_OK; ++index) {
    log_devices += StartsWith(name, "Corvane.Device.Driver.Logdevice") ? 1 : 0;
    boards += StartsWith(name, "Boards.Schema") ? 1 : 0;
    protocols += StartsWith(name, "Protocols.Schema") ? 1 : 0;
  }
  if (log_devices == 1 && boards == 1 && protocols == 1) {
    Q9_TRACE(kSite, kResult, "<< return PGSP_OK");
  } else {
    // Reported only: each validation fails on its own when its schema is missing.
    log.Write("Scheme file(s) not found!");
    Q9_TRACE(kSite, kResult, "<< Scheme file(s) not found");
  }
  return PGSP_OK;
}

ResultCode FileOperator::DeleteAssociatedLogDevices(const std::string& name) {
  static constexpr TraceSite kSite{kModule, "DeleteAssociatedLogDevices: "};
  Q9_TRACE(kSite, kEntry, ">> Start");
  // A name of no known kind, or one that could lead out of meta, marks
  // nothing, so the walk below deletes nothing.
  const bool usable = !name.empty() && StaysInFolder(name);
  const bool protocol = usable && Contains(name, kProtocolMarker);
  const bool board = usable && Contains(name, kBoardMarker);
  const bool default_log_device = usable && Contains(name, kDefaultLogDeviceMarker);
  std::string protocol_name;
  std::string board_device_id;
  Identity template_identity;
  if (protocol) {
    (void)xml_.facts().RootAttribute(JoinPath(paths_.MetaProtocols(), name), "Name",
                                     &protocol_name);
  }
  if (board) {
    (void)xml_.facts().RootAttribute(JoinPath(paths_.MetaBoards(), name), "DeviceID",
                            &board_device_id);
  }
  if (default_log_device) {
    template_identity =
        ReadLogDeviceIdentity(xml_, JoinPath(paths_.MetaDefaultLogDevices(), name));
  }
  // Names are taken first, so a deletion does not shift the files after it
  // out of the walk.
  const std::string folder = paths_.DataLogDevices();
  for (const std::string& device : FileNames(folder)) {
    const Identity found = ReadLogDeviceIdentity(xml_, JoinPath(folder, device));
    const char* trace_text = nullptr;
    if (protocol) {
      if (found.cp_type == protocol_name) trace_text = "Delete Protocol-Associated LogDevice= %s";
    } else if (board) {
      if (found.device_id == board_device_id) trace_text = "Delete Board-Associated LogDevice= %s";
    } else if (default_log_device) {
      if (found.device_id == template_identity.device_id &&
          found.device_name == template_identity.device_name &&
          found.cp_type == template_identity.cp_type) {
        trace_text = "Delete DefLogDevice-Associated LogDevice= %s";
      }
    }
    if (trace_text == nullptr) continue;
    Q9_TRACE(kSite, kProgress, trace_text, device.c_str());
    (void)env_.files().DeleteFile(JoinPath(folder, WithXmlExtension(device)));
  }
  Q9_TRACE(kSite, kResult, "<< return PGSP_OK");
  return PGSP_OK;
}

ResultCode FileOperator::ExportAndDeleteTemplates(const std::string& name) {
  static constexpr TraceSite kSite{kModule, "ExportAndDeleteTemplates: "};
  Q9_TRACE(kSite, kEntry, ">> Start");
  if (name.empty() || !StaysInFolder(name)) return PGSP_OK;
  // Only the meta copy goes; the Install copy stays.
  if (Contains(name, kProtocolMarker)) {
    Q9_TRACE(kSite, kProgress, "Delete Protocol : %s", name.c_str());
    (void)env_.files().DeleteFile(JoinPath(paths_.MetaProtocols(), name));
    Q9_TRACE(kSite, kResult, "<< return PGSP_OK");
  } else if (Contains(name, kBoardMarker)) {
    Q9_TRACE(kSite, kProgress, "Delete Board : %s", name.c_str());
    (void)env_.files().DeleteFile(JoinPath(paths_.MetaBoards(), name));
    Q9_TRACE(kSite, kResult, "<< return PGSP_OK");
  }
  return PGSP_OK;
}

ResultCode FileOperator::ExportAndDeleteDefaultLogDevices(const std::string& name) {
  static constexpr TraceSite kSite{kModule, "ExportAndDeleteDefaultLogDevices: "};
  Q9_TRACE(kSite, kEntry, ">> Export DefaultLogDevice : %s", name.c_str());
  if (name.empty() || !StaysInFolder(name)) return PGSP_OK;
  const std::string install = paths_.InstallDefaultLogDevices();
  // Read as the export has always read it; nothing below depends on it.
  (void)ReadLogDeviceIdentity(xml_, JoinPath(install, name));
  const std::string wanted = WithXmlExtension(name);
  std::string found;
  for (uint32_t index = 0; EnumFile(install, index, &found) == PGSP_OK; ++index) {
    if (!StartsWithIgnoreCase(wanted, WithXmlExtension(found))) continue;
    (void)env_.files().DeleteFile(JoinPath(install, wanted));
    (void)env_.files().DeleteFile(JoinPath(paths_.MetaDefaultLogDevices(), wanted));
    return PGSP_OK;
  }
  return PGSP_OK;
}

}  // namespace q9
