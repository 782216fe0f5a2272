#include <string_view>

#include "install/installer.h"
#include "trace/trace.h"

namespace q9 {
namespace {

using trace_level::kEntry;
using trace_level::kProgress;
using trace_level::kResult;

constexpr TraceSite kSite{"Installer", "Export: "};

}  // namespace

ResultCode Installer::Export(const std::string& name) {
  Q9_TRACE(kSite, kEntry, ">> Start");
  log_.Write(">> Export");
  FileOperator& files = file_operator();
  ResultCode result = CheckArrivedTemplates(kSite);
  if (result != PGSP_OK) return result;

  const std::string backup = paths().MetaBackup();
  (void)files.DeleteDirectory(backup);
  (void)env_.files().CreateDirectory(backup);
  Q9_TRACE(kSite, kProgress, "Create backup for meta");
  result = files.CopyDirectory(log_, paths().Meta(), backup);
  if (result != PGSP_OK) {
    (void)files.DeleteDirectory(backup);
    Q9_TRACE(kSite, kResult, "<< Can not create backup for meta, return: %d", result);
    return result;
  }

  (void)files.DeleteAssociatedLogDevices(name);
  if (name.find("Automation-OnlineAccess-LDT-") != std::string::npos) {
    result = files.ExportAndDeleteDefaultLogDevices(name);
  } else {
    result = files.ExportAndDeleteTemplates(name);
  }
  // After a failure the backup stays for whoever looks into it; nothing is restored.
  if (result == PGSP_OK) {
    (void)files.DeleteDirectory(backup);
    (void)ScanBoards();
  }
  Q9_TRACE(kSite, kResult, "<< return lRet = %d", result);
  return result;
}

}  // namespace q9
