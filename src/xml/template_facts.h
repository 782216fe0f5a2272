// The identity and version values of template files, read with the
// streaming readers once per file and kept for the run. The merge walks the
// meta folder once for every arriving template, so without this every meta
// file would be stream-read again for each of them.
#pragma once

#include <string>
#include <unordered_map>
#include <utility>

#include "platform/env.h"
#include "platform/result_code.h"

namespace q9 {

class XmlContext;  // xml/xml_context.h, which holds the run's one index

class TemplateFacts {
 public:
  explicit TemplateFacts(XmlContext& xml) : xml_(xml) {}
  TemplateFacts(const TemplateFacts&) = delete;
  TemplateFacts& operator=(const TemplateFacts&) = delete;

  // Same arguments, results and traces as ReadRootAttribute and
  // ReadParameterValue. What was read is answered again until the program
  // writes the file (see Forget) or its size or modification time changes
  // (a writer outside the program). A file that cannot be opened is looked
  // at again every time.
  [[nodiscard]] ResultCode RootAttribute(const std::string& path, const std::string& attribute,
                                         std::string* value);
  [[nodiscard]] ResultCode ParameterValue(const std::string& path, const std::string& section,
                                          const std::string& parameter, std::string* value);

  // Drops what is known of the file `path` (file-name rule applied, any
  // letter case). The program's writers call it after every write of a
  // file: a rewrite within the file system's timestamp granularity can keep
  // size and modification time.
  void Forget(const std::string& path);
  // Drops everything, after a write that may have touched any file.
  void ForgetAll() { files_.clear(); }

 private:
  using Fact = std::pair<ResultCode, std::string>;
  struct File {
    std::string path;  // as spelled when read; another spelling reads anew
    FileInfo stamp;
    std::unordered_map<std::string, Fact> facts;  // by look-up key
  };
  template <typename Read>
  ResultCode Lookup(const std::string& path, const std::string& key, const char* label,
                    std::string* value, Read read);

  XmlContext& xml_;
  // By the file's path with ASCII letters folded, as paths resolve.
  std::unordered_map<std::string, File> files_;
};

}  // namespace q9
