// The writers of parameter sections on any document, name, value and type.
// Input: a control byte (section and operation), then name, value and type,
// each ended by a NUL byte, then the document. Besides memory and undefined
// behaviour it checks that every file a writer saved loads again, and that a
// parameter the writer created reads back with the value it stored.
#include <cstdlib>

#include "fuzz_support.h"
#include "platform/path.h"
#include "xml/parameter_section.h"
#include "xml/template_document.h"
#include "xml/xml_context.h"

namespace {

using q9::XmlContext;

// True when GetSectionParameter finds `name` (ignoring case) in `section`,
// with `value` when that is given.
bool HasParameter(XmlContext& xml, const std::string& path, int32_t section,
                  const std::string& name, const std::string* value) {
  for (int32_t index = 0;; ++index) {
    std::string found_name;
    std::string found_value;
    std::string kind;
    if (q9::GetSectionParameter(xml, path, section, index, &found_name, &found_value, &kind) != 0) {
      return false;
    }
    if (q9::EqualsIgnoreCase(found_name, name) && (value == nullptr || *value == found_value)) {
      return true;
    }
  }
}

void LoadsAgain(XmlContext& xml, const std::string& path) {
  q9::TemplateDocument document;
  if (q9::TemplateDocument::Load(xml, path, &document) != 0) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::vector<std::string> parts = q9::fuzz::SplitInput(data, size, 5);
  if (parts.size() < 5 || parts[0].empty()) return 0;
  const auto control = static_cast<unsigned char>(parts[0][0]);
  const int32_t section = control % 8;
  const std::string& name = parts[1];
  const std::string& value = parts[2];
  const std::string& type = parts[3];
  XmlContext xml(q9::fuzz::FuzzEnv());
  const std::string path = q9::fuzz::WriteSandboxFile("section.xml", parts[4]);

  if (control & 8) {
    if (q9::DeleteSectionParameter(xml, path, section, name) == 0) LoadsAgain(xml, path);
    return 0;
  }
  const bool existed = HasParameter(xml, path, section, name, nullptr);
  if (q9::SetSectionParameter(xml, path, section, name, value, type) != 0) return 0;
  LoadsAgain(xml, path);
  std::string element;
  std::string stored;
  const bool listed_kind = type.empty() || type == "string" || type == "int" || type == "bool";
  const bool valid = q9::CheckParameterValue(name, type, value, &element, &stored) == 0;
  if (!existed && listed_kind && valid && !HasParameter(xml, path, section, name, &stored)) {
    std::abort();
  }
  return 0;
}
