// Brings the templates that arrived in the Install tree into meta: validates
// each, finds the meta template of the same identity and copies or merges it
// as the two versions decide.
#pragma once

#include <string>

#include "log/install_log.h"
#include "platform/result_code.h"
#include "store/file_operator.h"
#include "xml/parameter_section.h"
#include "xml/template_document.h"

namespace q9 {

class Merger {
 public:
  Merger(InstallLog& log, FileOperator& files) : log_(log), files_(files) {}

  // Default log devices, then protocols, then boards, from the Install tree
  // below `program_files_root` into its meta tree. Identities, versions and
  // file names compare without regard to case; a template that fails
  // validation is left out ("Warning: Invalid file: " + path in the log), one
  // with a double entry too (traced only). Failed merges and copies do not
  // stop the run. Returns 0, or 3 when a meta kind folder is empty afterwards
  // (the kinds after it are not looked at).
  [[nodiscard]] ResultCode MergeAndCopyTemplates(const std::string& program_files_root);

  // 87 ("Error: Double Entry found ..." traced) when two parameters of the
  // sections 0 to 7 of the default log device `path` agree in name, value and
  // kind; otherwise 0, also for a file that does not load (validation reports
  // that one). With `document` given, the file is loaded into it, and with
  // `sections` its parameters are kept there, so that the caller can
  // validate and merge it without reading it again.
  [[nodiscard]] ResultCode ValidateValues(const std::string& path,
                                          TemplateDocument* document = nullptr,
                                          AllSections* sections = nullptr);

 private:
  struct Folders;
  void MergeDefaultLogDeviceFile(const Folders& folders, const std::string& name);
  void MergeProtocolOrBoardFile(const Folders& folders, bool protocol, const std::string& name);

  InstallLog& log_;
  FileOperator& files_;
};

}  // namespace q9
