#include "install/installer.h"
#include "trace/trace.h"

namespace q9 {
namespace {

constexpr TraceSite kUninstallSite{"Installer", "Uninstall: "};

// Deletes one store folder; a failure is logged and otherwise ignored.
void DeleteStoreFolder(Installer& installer, const std::string& folder, const char* what) {
  const ResultCode result = installer.file_operator().DeleteDirectory(folder);
  if (result == PGSP_OK) return;
  const std::string message = std::string("Can't delete ") + what + " Directory!";
  Q9_TRACE(kUninstallSite, trace_level::kProgress, "%s Result = %d", message.c_str(), result);
  installer.log().Write(message);
}

}  // namespace

bool Installer::InstallTreeHasTemplates() {
  // The log-names folder does not count: packages leave it behind.
  for (const std::string& folder :
       {paths().InstallDefaultLogDevices(), paths().InstallProtocols(), paths().InstallBoards()}) {
    std::string name;
    if (file_operator().EnumFile(folder, 0, &name) == PGSP_OK) return true;
  }
  return false;
}

ResultCode Installer::Uninstall() {
  Q9_TRACE(kUninstallSite, trace_level::kEntry, ">> Start");
  log_.Write(">> Uninstall");
  // The pause this announces is not made (nothing is waited for); the record
  // stays, as readers of the trace look for it.
  Q9_TRACE(kUninstallSite, trace_level::kProgress, "5 second waiting loop");
  if (InstallTreeHasTemplates()) {
    Q9_TRACE(kUninstallSite, trace_level::kProgress, "Install subfolders are not empty!");
    return kTemplatesLeftInInstall;
  }
  DeleteStoreFolder(*this, paths().Meta(), "Meta");
  DeleteStoreFolder(*this, paths().DataLogDevices(), "LogDevices");
  DeleteStoreFolder(*this, paths().DataLogNames(), "LogNames");
  // Uninstall writes no result record, on this path or the one above; its
  // result is in the install log and the exit status.
  log_.Write("<< Uninstall returns with: 0");
  return PGSP_OK;
}

}  // namespace q9
