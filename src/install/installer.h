// The object the operations run on: it resolves the store paths once and
// owns the FileOperator built on them. The install log belongs to the entry
// point.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "install/board_library.h"
#include "log/install_log.h"
#include "platform/result_code.h"
#include "platform/env.h"
#include "store/file_operator.h"
#include "store/store_paths.h"
#include "trace/trace.h"
#include "xml/xml_context.h"

namespace q9 {

class Installer {
 public:
  // Resolves the store roots, writes them to the install log, then builds
  // the FileOperator.
  Installer(Env& env, InstallLog& log, const std::string& program_data_argument,
            const std::string& program_files_argument);
  Installer(const Installer&) = delete;
  Installer& operator=(const Installer&) = delete;
  ~Installer();

  // First installation: empties meta, merges the Install tree into it,
  // refreshes data and has the board library create the log devices.
  // 0, the code of the failing step, or 2 when no log device exists after.
  [[nodiscard]] ResultCode Import();
  // Merges newly arrived templates into an installed store, regenerates the
  // log devices and carries the old devices' values into them. Backs meta
  // and data/LogDevices up first and restores them when a step fails.
  [[nodiscard]] ResultCode Update();
  // Removes meta, data/LogDevices and data/LogNames once the Install tree
  // holds no templates: 0, or 5 with nothing deleted.
  [[nodiscard]] ResultCode Uninstall();
  // Takes the template `name` (as the command line gives it) and its log
  // devices out of the store, then has the library rescan the boards.
  // 0 or the code of the failing step; meta(backup) stays after a failure.
  [[nodiscard]] ResultCode Export(const std::string& name);

  // Log-device steps around the board library.
  //
  // Adds the "PNIO" subdevice to every merged default log device of type H1.
  void AddSubdevicePNIO();
  // Runs the library's log-device creation (its code is only logged), then
  // CreateTCPStdLogDevice, whose result it returns.
  [[nodiscard]] ResultCode CreateAllLogdevices();
  // Makes data/LogDevices/"CP TCP-Std.xml" from the merged TCP template,
  // static and hidden: 0 or the code of the first failing step.
  [[nodiscard]] ResultCode CreateTCPStdLogDevice();
  // The library's board scan: its code.
  [[nodiscard]] ResultCode ScanBoards();

  Env& env() const { return env_; }
  InstallLog& log() const { return log_; }
  XmlContext& xml() const { return *xml_; }
  FileOperator& file_operator() const { return *file_operator_; }
  const StorePaths& paths() const { return *store_paths_; }

 private:
  bool InstallTreeHasTemplates();
  // Reports missing schemas, then tests that each kind folder of Install
  // holds a template: 0, or InstallTemplatesExist's code, traced under `site`.
  ResultCode CheckArrivedTemplates(const TraceSite& site);
  // The library wrote behind the program's back: forget what is kept of the store.
  void ForgetStoreAfterLibraryCall();
  // The names of the files of `folder`, in store order.
  std::vector<std::string> ListFiles(const std::string& folder);
  // Copies LLDP, PGSP, DCP_Server and TCP_Adapter from meta to data.
  void CopyStaticFiles(int32_t overwrite);
  ResultCode BackUpMeta();
  ResultCode BackUpLogDevices();
  // Puts data/LogDevices back as its backup holds it.
  void RestoreLogDevices();
  void MergeOldIntoNewLogDevices(const std::vector<std::string>& new_devices,
                                 const std::vector<std::string>& old_devices);
  void RestoreOldCopies(const std::vector<std::string>& new_devices,
                        const std::vector<std::string>& old_devices);
  void RestoreKbusDevices(const std::vector<std::string>& old_devices);

  Env& env_;
  InstallLog& log_;
  // What the run keeps of the templates it parsed; the FileOperator uses it.
  std::unique_ptr<XmlContext> xml_;
  std::unique_ptr<FileOperator> file_operator_;
  std::unique_ptr<StorePaths> store_paths_;
  BoardLibrary board_library_;
};

}  // namespace q9
