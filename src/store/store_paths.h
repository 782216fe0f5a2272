// The two roots of the template store and every folder derived from them.
// The program-files root holds the schemas, the merged templates (meta) and
// the arriving templates (Install); the program-data root holds the generated
// files (data). Nothing else builds a store path.
#pragma once

#include <string>

#include "platform/env.h"

namespace q9 {

class StorePaths {
 public:
  // Resolves the program-data root, then the program-files root: an argument
  // that names an existing folder wins, then the registry value that names
  // one, then the known folder + "Kestrel/Automation/Corvane OAM"; a root
  // that still does not exist is created one level deep, unchecked.
  StorePaths(Env& env, const std::string& program_data_argument,
             const std::string& program_files_argument);

  std::string ProgramDataRoot() const { return program_data_; }
  std::string ProgramFilesRoot() const { return program_files_; }
  std::string Schemes() const { return FilesPath("Schemes"); }
  std::string Meta() const { return FilesPath("meta"); }
  std::string MetaDefaultLogDevices() const { return FilesPath("meta", "DefaultLogDevices"); }
  std::string MetaBoards() const { return FilesPath("meta", "Boards"); }
  std::string MetaProtocols() const { return FilesPath("meta", "Protocols"); }
  std::string MetaBackup() const { return FilesPath("meta(backup)"); }
  std::string Data() const { return DataPath("data"); }
  std::string DataLogNames() const { return DataPath("data", "LogNames"); }
  std::string DataLogDevices() const { return DataPath("data", "LogDevices"); }
  std::string LogDevicesBackup() const { return DataPath("LogDevices(backup)"); }
  std::string Install() const { return FilesPath("Install"); }
  std::string InstallBoards() const { return FilesPath("Install", "Boards"); }
  // "DefaultLogdevices" with a small d, unlike the meta folder: kept as the
  // store has always spelled it.
  std::string InstallDefaultLogDevices() const { return FilesPath("Install", "DefaultLogdevices"); }
  std::string InstallLogNames() const { return FilesPath("Install", "LogNames"); }
  std::string InstallProtocols() const { return FilesPath("Install", "Protocols"); }

  // True when `path` is not empty and names an existing folder.
  static bool IsDirectory(Env& env, const std::string& path);

 private:
  std::string FilesPath(const char* a, const char* b = nullptr) const;
  std::string DataPath(const char* a, const char* b = nullptr) const;

  std::string program_files_;
  std::string program_data_;
};

}  // namespace q9
