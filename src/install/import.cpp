#include "install/installer.h"
#include "merge/merge_and_copy.h"
#include "platform/path.h"
#include "trace/trace.h"

namespace q9 {
namespace {

using trace_level::kEntry;
using trace_level::kProgress;
using trace_level::kResult;

constexpr TraceSite kSite{"Installer", "Import: "};

}  // namespace

void Installer::CopyStaticFiles(int32_t overwrite) {
  // A missing file is no failure: a store need not ship all four.
  for (const char* name : {"LLDP", "PGSP", "DCP_Server", "TCP_Adapter"}) {
    const std::string file = std::string(name) + ".xml";
    (void)file_operator().CopyFiles(log_, JoinPath(paths().Meta(), file),
                                    JoinPath(paths().Data(), file), overwrite);
  }
}

ResultCode Installer::Import() {
  Q9_TRACE(kSite, kEntry, ">> Start");
  log_.Write(">> Import");
  Merger merger(log_, file_operator());
  FileOperator& files = file_operator();
  ResultCode result = CheckArrivedTemplates(kSite);
  if (result != PGSP_OK) return result;
  files.CleanMeta(log_);

  result = merger.MergeAndCopyTemplates(paths().ProgramFilesRoot());
  if (result != PGSP_OK) {
    log_.Write("Error: Can't merge templates");
    Q9_TRACE(kSite, kProgress, "Error in MergeAndCopyTemplates ... Delete MetaFolder");
    // No half-merged meta may survive.
    (void)files.DeleteDirectory(paths().Meta());
    log_.Write("<<<< Import");
    Q9_TRACE(kSite, kResult, "<< return lRet = %d", result);
    return result;
  }

  files.CleanData(log_);
  CopyStaticFiles(1);
  (void)files.CopyLogNamesToMeta(log_);
  AddSubdevicePNIO();
  result = CreateAllLogdevices();
  if (result == PGSP_OK) {
    std::string first;
    if (files.EnumFile(paths().DataLogDevices(), 0, &first) != PGSP_OK) {
      result = kNoLogDeviceCreated;
      log_.Write("Error: Can't create LogDevices");
    }
  }
  log_.Write("<< Import returns with: ", std::to_string(result));
  Q9_TRACE(kSite, kResult, "<< return lRet = %d", result);
  return result;
}

}  // namespace q9
