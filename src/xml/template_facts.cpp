#include "xml/template_facts.h"

#include "trace/trace.h"
#include "xml/streaming_reader.h"
#include "xml/template_namespace.h"
#include "xml/xml_context.h"

namespace q9 {
namespace {

std::string FoldedPath(const std::string& path) {
  std::string folded = ApplyFileNameRule(path);
  for (char& c : folded) {
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  }
  return folded;
}

bool SameStamp(const FileInfo& a, const FileInfo& b) {
  return a.size == b.size && a.modified_ns == b.modified_ns && a.is_directory == b.is_directory;
}

}  // namespace

template <typename Read>
ResultCode TemplateFacts::Lookup(const std::string& path, const std::string& key,
                                 const char* label, std::string* value, Read read) {
  FileInfo stamp;
  if (path.empty() || value == nullptr ||
      xml_.env().files().GetFileInfo(ApplyFileNameRule(path), &stamp) != os_error::kSuccess) {
    return read();
  }
  File& file = files_[FoldedPath(path)];
  if (file.path != path || !SameStamp(file.stamp, stamp)) {
    file.path = path;
    file.stamp = stamp;
    file.facts.clear();
  }
  const auto known = file.facts.find(key);
  if (known == file.facts.end()) {
    const ResultCode result = read();
    // A file that could not be opened may be readable next time.
    if (result != PGSP_ERR_CANT_LOAD_XML_FILE) file.facts.emplace(key, Fact{result, *value});
    return result;
  }
  // The records the reader would have written, so the trace reads the same.
  const TraceSite site{"q9xmlHelper", label};
  Q9_TRACE(site, trace_level::kEntry, ">> Start");
  Q9_TRACE(site, trace_level::kResult, "<< return lRet = %d", known->second.first);
  *value = known->second.second;
  return known->second.first;
}

void TemplateFacts::Forget(const std::string& path) { files_.erase(FoldedPath(path)); }

ResultCode TemplateFacts::RootAttribute(const std::string& path, const std::string& attribute,
                                        std::string* value) {
  return Lookup(path, attribute, "ReadRootAttribute: ", value,
                [&] { return ReadRootAttribute(xml_, path, attribute, value); });
}

ResultCode TemplateFacts::ParameterValue(const std::string& path, const std::string& section,
                                         const std::string& parameter, std::string* value) {
  // '\n' cannot occur in an attribute name, so the keys of the two kinds never meet.
  return Lookup(path, section + '\n' + parameter, "ReadParameterValue: ", value,
                [&] { return ReadParameterValue(xml_, path, section, parameter, value); });
}

}  // namespace q9
