#include "install/installer.h"

#include "trace/trace.h"

namespace q9 {

Installer::Installer(Env& env, InstallLog& log, const std::string& program_data_argument,
                     const std::string& program_files_argument)
    : env_(env), log_(log), xml_(std::make_unique<XmlContext>(env)), board_library_(env, log) {
  store_paths_ = std::make_unique<StorePaths>(env, program_data_argument, program_files_argument);
  log_.Write("Setting ProgDataPath to: ", store_paths_->ProgramDataRoot());
  log_.Write("Setting ProgFilePath to: ", store_paths_->ProgramFilesRoot());
  // From here on no link inside the store leads a step to files elsewhere.
  env_.files().ConfineLinksBelow(
      {store_paths_->ProgramFilesRoot(), store_paths_->ProgramDataRoot()});
  file_operator_ = std::make_unique<FileOperator>(env, *xml_, *store_paths_);
}

Installer::~Installer() {
  // The FileOperator refers to the paths, so it goes first.
  file_operator_.reset();
  store_paths_.reset();
  xml_.reset();
}

ResultCode Installer::CheckArrivedTemplates(const TraceSite& site) {
  // A missing schema is only reported: each validation fails on its own later.
  (void)file_operator().CheckSchemes(log_);
  const ResultCode result = file_operator().InstallTemplatesExist(log_);
  if (result != PGSP_OK) Q9_TRACE(site, trace_level::kResult, "<< return lRet = %d", result);
  return result;
}

}  // namespace q9
