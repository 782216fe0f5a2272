// Brings the templates that arrived in the Install tree into meta: validates
// each, finds the meta template of the same identity and copies or merges it
// as the two versions decide.
#pragma once

#include <string>

#include "log/install_log.h"
#include "platform/result_code.h"
#include "store/file_operator.h"

namespace q9 {

class Merger {
 public:
  Merger(InstallLog& log, FileOperator& files) : log_(log), files_(files) {}

  // Default log devices, then protocols, then boards. Returns 0, or 3 when a
  // meta kind folder is empty afterwards.
  [[nodiscard]] ResultCode MergeAndCopyTemplates(const std::string& program_files_root);

 private:
  InstallLog& log_;
  FileOperator& files_;
};

}  // namespace q9
