// The unit through which the tool touches the template store's files. Each
// primitive returns a result code, never throws, traces under the module
// "FileOperator" and writes its user-facing lines to the install log.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "platform/result_code.h"
#include "log/install_log.h"
#include "platform/env.h"
#include "store/store_paths.h"
#include "trace/trace.h"
#include "xml/xml_context.h"

namespace q9 {

class FileOperator {
 public:
  FileOperator(Env& env, XmlContext& xml, const StorePaths& paths)
      : env_(env), xml_(xml), paths_(paths) {}

  // Removes the folder and everything in it: 0, 87 (empty path) or 8511.
  // Writes no install-log line.
  [[nodiscard]] ResultCode DeleteDirectory(const std::string& path);
  // Copies one file; `overwrite` non-zero replaces an existing target:
  // 0, 87 or 8512. The "File: ... copied to: ..." line is written whether
  // or not the copy worked.
  [[nodiscard]] ResultCode CopyFiles(InstallLog& log, const std::string& source,
                                     const std::string& destination, int32_t overwrite);
  // 0 or 8511.
  [[nodiscard]] ResultCode DeleteFiles(InstallLog& log, const std::string& path);
  // Creates the last level only: 0 or 8510 (also when it exists already).
  [[nodiscard]] ResultCode CreateDir(InstallLog& log, const std::string& path);
  // Copies the folder `source` into the existing folder `destination` under
  // its own name; when `destination` does not exist, to that path under the
  // destination's name. 0, 87 or 8512.
  [[nodiscard]] ResultCode CopyDirectory(InstallLog& log, const std::string& source,
                                         const std::string& destination);
  // The name of the index-th file (folders skipped) of `directory`, in store
  // order: 0, 87, 259 past the last one, or the OS error (3 for a missing folder).
  [[nodiscard]] ResultCode EnumFile(const std::string& directory, uint32_t index,
                                    std::string* name);
  // EnumFile for a walk that looks for templates of one identity: the file
  // at `*index` or the first later one whose values of `fields` may equal
  // `wanted` ignoring case, with `*index` moved to it. Files that cannot
  // match are passed over only while the trace levels of the enumerations
  // and look-ups they would have had are off, so the trace and every result
  // read as if the walk had looked at each file.
  [[nodiscard]] ResultCode EnumFileLike(const std::string& directory,
                                        std::span<const IdentityField> fields,
                                        std::span<const std::string> wanted, uint32_t* index,
                                        std::string* name);
  // Like EnumFile, counting only names that end in ".xsd" exactly.
  [[nodiscard]] ResultCode EnumSchemes(const std::string& directory, uint32_t index,
                                       std::string* name);

  // Store maintenance. Each works on the store folders of paths() and reports
  // through `log` and the trace; the primitives they call write their own
  // install-log lines.
  //
  // Deletes meta's three kind folders and creates meta and them again; other
  // content of meta stays.
  void CleanMeta(InstallLog& log);
  // Deletes data/LogDevices and data/LogNames and creates data and them again.
  void CleanData(InstallLog& log);
  // Deletes every file of data/LogDevices. The result is inverted on purpose:
  // 8511 when files were deleted ("Cannot delete file: ..." traced for each),
  // 0 when none was (callers ignore it).
  ResultCode CleanLogdevices(InstallLog& log);
  // Copies the valid log names of Install/LogNames that data/LogNames lacks
  // (a data name that begins with the Install name, in any letter case,
  // counts as present) into data/LogNames. Logs ">> CopyLogNamesToData" and
  // "<< CopyLogNamesToData"; an invalid file is only traced. Always 0.
  ResultCode CopyLogNamesToMeta(InstallLog& log);
  // 0 and "InstallTemplates Exist returns successfull!" when Install's
  // default-log-device, board and protocol folders each hold a file, else 4
  // and "InstallTemplates are empty!!!".
  [[nodiscard]] ResultCode InstallTemplatesExist(InstallLog& log);
  // Logs "Scheme file(s) not found!" unless Schemes holds exactly one schema
  // of each template kind. Always 0.
  ResultCode CheckSchemes(InstallLog& log);

  // Template removal; `name` is a template file name as given on the command
  // line. A name with a path separator or naming "." or ".." selects no file.
  // The deletions are neither checked nor logged; all three always return 0.
  //
  // Deletes the generated log devices made from the meta template `name`,
  // whose kind its name tells.
  ResultCode DeleteAssociatedLogDevices(const std::string& name);
  // Deletes the meta copy of the protocol or board `name`.
  ResultCode ExportAndDeleteTemplates(const std::string& name);
  // Deletes the default log device `name` from Install and meta when an
  // Install file name is a prefix of it, ignoring case.
  ResultCode ExportAndDeleteDefaultLogDevices(const std::string& name);

  Env& env() const { return env_; }
  XmlContext& xml() const { return xml_; }
  const StorePaths& paths() const { return paths_; }

 private:
  // Every file name of `directory`, in enumeration order.
  std::vector<std::string> FileNames(const std::string& directory);

  template <typename Accept>
  ResultCode EnumMatching(const TraceSite& site, const std::string& directory, uint32_t index,
                          std::string* name, Accept accept);

  Env& env_;
  XmlContext& xml_;
  const StorePaths& paths_;
};

}  // namespace q9
