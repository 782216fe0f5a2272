#include "xml/parameter_section.h"

#include <array>
#include <cstdlib>

#include "platform/path.h"
#include "trace/trace.h"
#include "xml/dom_helpers.h"
#include "xml/template_document.h"
#include "xml/template_namespace.h"
#include "xml/template_node.h"

namespace q9 {
namespace {

// Views rather than pointers: the walks compare every element against all of
// them, and a view knows its length. Each views a whole literal, so data()
// is terminated.
constexpr std::array<std::string_view, 8> kSectionNames{
    "LocalSettings", "NetworkSettings", "Bindings",        "Ndi",
    "DeviceHeader",  "SpareSection",    "BoardAttributes", "Install",
};

constexpr std::string_view kForbiddenAsciiNameCharacters = " []^!\"$%&()=?'#+><*|;,";
constexpr std::array<std::string_view, 2> kForbiddenNonAsciiNameCharacters{
    "\xC2\xA7",  // U+00A7 section sign
    "\xC2\xB4",  // U+00B4 acute accent
};

bool IsParameterKind(const xmlNode* node) {
  return IsElementNamed(node, "Parameter") || IsElementNamed(node, "ParameterInt") ||
         IsElementNamed(node, "ParameterBool");
}

bool IsParameterKindIgnoreCase(const xmlNode* node) {
  return IsElementNamedIgnoreCase(node, "Parameter") ||
         IsElementNamedIgnoreCase(node, "ParameterInt") ||
         IsElementNamedIgnoreCase(node, "ParameterBool");
}

bool IsValidParameterName(std::string_view name) {
  if (name.find_first_of(kForbiddenAsciiNameCharacters) != std::string_view::npos) return false;
  for (std::string_view character : kForbiddenNonAsciiNameCharacters) {
    if (name.find(character) != std::string_view::npos) return false;
  }
  return true;
}

// As the C library's string-to-long conversion reads it: leading white space
// and a sign allowed, at least one digit, nothing after the digits.
bool IsLongText(std::string_view value) {
  const std::string text(value);
  char* end = nullptr;
  std::strtol(text.c_str(), &end, 10);
  return end != text.c_str() && end == text.c_str() + text.size();
}

// True when `parameter` has a "Name" child whose text equals `name` ignoring case.
bool HasName(const xmlNode* parameter, std::string_view name) {
  for (const xmlNode* child = parameter->children; child != nullptr; child = child->next) {
    if (IsElementNamed(child, "Name") && EqualsIgnoreCase(ElementText(child), name)) return true;
  }
  return false;
}

// Calls visit(section) for every element below the root named `section`
// (compared as `same_name` says) in document order, until visit returns true.
template <typename SameName, typename Visit>
bool ForEachSection(const TemplateDocument& document, std::string_view section, SameName same_name,
                    Visit visit) {
  const xmlNode* root = document.root();
  for (xmlNode* element = NextElementInDocumentOrder(root, root); element != nullptr;
       element = NextElementInDocumentOrder(element, root)) {
    if (same_name(element, section) && visit(element)) return true;
  }
  return false;
}

xmlNode* FindParameter(const TemplateDocument& document, std::string_view section,
                       std::string_view element_name, std::string_view name) {
  xmlNode* found = nullptr;
  ForEachSection(document, section, IsElementNamed, [&](xmlNode* element) {
    for (xmlNode* child = element->children; child != nullptr; child = child->next) {
      if (HasElementName(child, element_name) && HasName(child, name)) {
        found = child;
        return true;
      }
    }
    return false;
  });
  return found;
}

// Gives `parameter` the value `value`; false when it had it already.
bool SetParameterValue(xmlNode* parameter, std::string_view value) {
  xmlNode* value_element = nullptr;
  for (xmlNode* child = parameter->children; child != nullptr; child = child->next) {
    if (IsElementNamed(child, "Value")) value_element = child;
  }
  if (value_element == nullptr) {
    AppendTextElement(parameter, "Value", value);
    return true;
  }
  if (ElementText(value_element) == value) return false;
  SetElementText(value_element, value);
  return true;
}

ResultCode CreateParameter(const TemplateDocument& document, const std::string& section,
                           const std::string& element_name, const std::string& name,
                           const std::string& value) {
  xmlNode* section_element = nullptr;
  ForEachSection(document, section, IsElementNamed, [&](xmlNode* element) {
    section_element = element;
    return true;
  });
  if (section_element == nullptr) return kEntryMissing;
  XmlNodePtr parameter =
      CreateTemplateNode(kElementNode, element_name.c_str(), PrefixForSection(section), &document);
  if (parameter == nullptr) return kElementNotCreated;
  xmlNode* added = AppendChildIndented(section_element, std::move(parameter));
  if (AppendTextElement(added, "Name", name) == nullptr ||
      AppendTextElement(added, "Value", value) == nullptr) {
    RemoveNodeWithIndentation(added);  // no half-made parameter stays behind
    return kElementNotCreated;
  }
  return PGSP_OK;
}

// A checked write of one parameter value.
struct ParameterWrite {
  std::string section;
  std::string element_name;
  std::string name;
  std::string value;
};

// The argument checks of SetSectionParameter, path aside: false for 87.
bool PrepareSectionWrite(int32_t section_index, const std::string& name, const std::string& value,
                         const std::string& type, ParameterWrite* write) {
  const char* section = SectionElementName(section_index);
  if (name.empty() || section == nullptr) return false;
  write->section = section;
  write->name = name;
  return CheckParameterValue(name, type, value, &write->element_name, &write->value) == PGSP_OK;
}

// The argument checks of Q9XMLSetValue, path aside: false for 87.
bool PrepareNamedWrite(const std::string& section, const std::string& name,
                       const std::string& value, const std::string& type, ParameterWrite* write) {
  if (name.empty()) return false;
  write->section = section.empty() ? "SpareSection" : section;
  write->name = name;
  return CheckParameterValue(name, type, value, &write->element_name, &write->value) == PGSP_OK;
}

struct WriteOutcome {
  ResultCode result;
  bool created;
};

// Sets or creates the parameter and marks the document when it changed.
WriteOutcome ApplyWrite(TemplateDocument& document, const TraceSite& site,
                        const ParameterWrite& write) {
  if (xmlNode* parameter = FindParameter(document, write.section, write.element_name, write.name)) {
    if (SetParameterValue(parameter, write.value)) document.MarkModified();
    return {PGSP_OK, false};
  }
  Q9_TRACE(site, trace_level::kProgress, "Parameter was not found .. Create it!");
  const ResultCode created =
      CreateParameter(document, write.section, write.element_name, write.name, write.value);
  if (created != PGSP_OK) return {created, false};
  document.MarkModified();
  return {PGSP_OK, true};
}

void SaveIfModified(XmlContext& xml, const TemplateDocument& document, const TraceSite& site) {
  if (!document.modified()) return;
  // The callers rely on 0 after a change; a failed save leaves the file as
  // it was and is only traced.
  const ResultCode saved = document.Save(xml);
  if (saved != PGSP_OK) {
    Q9_TRACE(site, trace_level::kProgress, "saving %s failed: %d", document.path().c_str(), saved);
  }
}

ResultCode Traced(const TraceSite& site, ResultCode result) {
  Q9_TRACE(site, trace_level::kResult, "<< return lRet = %d", result);
  return result;
}

// Ends a write: a creation with "<< PGSP_OK", then the result, which
// Q9XMLSetValue reports only when it is a failure.
ResultCode FinishWrite(const TraceSite& site, WriteOutcome outcome, bool report_success) {
  if (outcome.created) Q9_TRACE(site, trace_level::kResult, "<< PGSP_OK");
  if (outcome.result == PGSP_OK && !report_success) return PGSP_OK;
  return Traced(site, outcome.result);
}

// The first parameter of any kind (ignoring case) named `name` in the
// sections named `section` (ignoring case); null when there is none.
xmlNode* FindParameterToDelete(const TemplateDocument& document, const char* section,
                               const std::string& name) {
  xmlNode* found = nullptr;
  ForEachSection(document, section, IsElementNamedIgnoreCase, [&](xmlNode* element) {
    for (xmlNode* child = element->children; child != nullptr; child = child->next) {
      if (IsParameterKindIgnoreCase(child) && HasName(child, name)) {
        found = child;
        return true;
      }
    }
    return false;
  });
  return found;
}

ResultCode DeleteFound(TemplateDocument& document, const char* section, const std::string& name) {
  xmlNode* doomed = FindParameterToDelete(document, section, name);
  if (doomed == nullptr) return kEntryMissing;
  RemoveNodeWithIndentation(doomed);
  document.MarkModified();
  return PGSP_OK;
}

// Calls visit(parameter) for the parameters of section `section_index` in
// the order the index walk counts them, until visit returns true.
template <typename Visit>
void ForEachSectionParameter(const TemplateDocument& document, int32_t section_index, Visit visit) {
  const char* section = SectionElementName(section_index);
  if (section == nullptr || !document.loaded()) return;
  ForEachSection(document, section, IsElementNamedIgnoreCase, [&](xmlNode* element) {
    for (const xmlNode* child = element->children; child != nullptr; child = child->next) {
      if (IsParameterKind(child) && visit(child)) return true;
    }
    return false;
  });
}

ParameterEntry EntryOf(const xmlNode* parameter) {
  ParameterEntry entry;
  entry.kind = std::string(LocalName(parameter));
  for (const xmlNode* child = parameter->children; child != nullptr; child = child->next) {
    if (IsElementNamed(child, "Name")) entry.name = ElementText(child);
    if (IsElementNamed(child, "Value")) entry.value = ElementText(child);
  }
  return entry;
}

}  // namespace

const char* SectionElementName(int32_t index) {
  if (index < 0 || index >= static_cast<int32_t>(kSectionNames.size())) return nullptr;
  return kSectionNames[static_cast<size_t>(index)].data();
}

ResultCode CheckParameterValue(std::string_view name, std::string_view type, std::string_view value,
                               std::string* element_name, std::string* stored_value) {
  *stored_value = std::string(value);
  // What XML cannot carry would make a file that never loads again.
  if (!IsXmlText(name) || !IsXmlText(value) || !IsXmlText(type)) {
    return PGSP_ERR_INVALID_PARAMETERS;
  }
  if (type.empty() || type == "string") {
    *element_name = "Parameter";
    const bool ok =
        IsValidParameterName(name) && value.find_first_of("<>") == std::string_view::npos;
    return ok ? PGSP_OK : PGSP_ERR_INVALID_PARAMETERS;
  }
  if (type == "int") {
    *element_name = "ParameterInt";
    return IsLongText(value) ? PGSP_OK : PGSP_ERR_INVALID_PARAMETERS;
  }
  if (type == "bool") {
    *element_name = "ParameterBool";
    const bool is_true = EqualsIgnoreCase(value, "true");
    if (!is_true && !EqualsIgnoreCase(value, "false")) return PGSP_ERR_INVALID_PARAMETERS;
    *stored_value = is_true ? "true" : "false";
    return PGSP_OK;
  }
  // Any other type names the element itself, prefix and all; it must be a
  // name that saves namespace-valid.
  *element_name = std::string(type);
  return IsWritableElementName(type) ? PGSP_OK : PGSP_ERR_INVALID_PARAMETERS;
}

ResultCode GetSectionParameter(const TemplateDocument& document, int32_t section_index,
                               int32_t parameter_index, ParameterEntry* entry) {
  if (entry == nullptr) return PGSP_ERR_INVALID_PARAMETERS;
  int32_t count = 0;
  const xmlNode* found = nullptr;
  ForEachSectionParameter(document, section_index, [&](const xmlNode* parameter) {
    if (count++ != parameter_index) return false;
    found = parameter;
    return true;
  });
  if (found == nullptr) return PGSP_ERR_NO_MORE_ITEMS;
  *entry = EntryOf(found);
  return PGSP_OK;
}

std::vector<ParameterEntry> SectionParameters(const TemplateDocument& document,
                                              int32_t section_index) {
  std::vector<ParameterEntry> entries;
  ForEachSectionParameter(document, section_index, [&](const xmlNode* parameter) {
    entries.push_back(EntryOf(parameter));
    return false;
  });
  return entries;
}

AllSections AllSectionParameters(const TemplateDocument& document) {
  static_assert(std::tuple_size_v<AllSections> == kSectionNames.size());
  AllSections sections;
  if (!document.loaded()) return sections;
  const xmlNode* root = document.root();
  for (xmlNode* element = NextElementInDocumentOrder(root, root); element != nullptr;
       element = NextElementInDocumentOrder(element, root)) {
    const std::string_view name = LocalName(element);
    for (size_t index = 0; index < kSectionNames.size(); ++index) {
      // Most elements are parameters, names and values: the length rules
      // them out before any comparison of characters.
      if (name.size() != kSectionNames[index].size() ||
          !EqualsIgnoreCase(name, kSectionNames[index])) {
        continue;
      }
      for (const xmlNode* child = element->children; child != nullptr; child = child->next) {
        if (IsParameterKind(child)) sections[index].push_back(EntryOf(child));
      }
      break;
    }
  }
  return sections;
}

ResultCode GetSectionParameter(XmlContext& xml, const std::string& path, int32_t section_index,
                               int32_t parameter_index, std::string* name, std::string* value,
                               std::string* kind) {
  constexpr TraceSite kSite{"q9xmlHelper", "GetSectionParameter: "};
  if (path.empty() || name == nullptr || value == nullptr || kind == nullptr) {
    return PGSP_ERR_INVALID_PARAMETERS;
  }
  const std::string file = ApplyFileNameRule(path);
  ResultCode result = CheckFileSize(xml, file);
  if (result != PGSP_OK) return result;
  TemplateDocument document;
  result = TemplateDocument::Load(xml, file, &document);
  if (result != PGSP_OK) return Traced(kSite, result);
  ParameterEntry entry;
  result = GetSectionParameter(document, section_index, parameter_index, &entry);
  if (result != PGSP_OK) return result;
  *name = std::move(entry.name);
  *value = std::move(entry.value);
  *kind = std::move(entry.kind);
  return PGSP_OK;
}

ResultCode SetSectionParameter(TemplateDocument& document, int32_t section_index,
                               const std::string& name, const std::string& value,
                               const std::string& type) {
  constexpr TraceSite kSite{"q9xmlHelper", "SetSectionParameter: "};
  Q9_TRACE(kSite, trace_level::kEntry, ">> Start");
  ParameterWrite write;
  if (!document.loaded() || !PrepareSectionWrite(section_index, name, value, type, &write)) {
    return Traced(kSite, PGSP_ERR_INVALID_PARAMETERS);
  }
  return FinishWrite(kSite, ApplyWrite(document, kSite, write), true);
}

ResultCode SetSectionParameter(XmlContext& xml, const std::string& path, int32_t section_index,
                               const std::string& name, const std::string& value,
                               const std::string& type) {
  constexpr TraceSite kSite{"q9xmlHelper", "SetSectionParameter: "};
  Q9_TRACE(kSite, trace_level::kEntry, ">> Start");
  ParameterWrite write;
  if (path.empty() || !PrepareSectionWrite(section_index, name, value, type, &write)) {
    return Traced(kSite, PGSP_ERR_INVALID_PARAMETERS);
  }
  TemplateDocument document;
  const ResultCode loaded = TemplateDocument::Load(xml, ApplyFileNameRule(path), &document);
  if (loaded != PGSP_OK) return Traced(kSite, loaded);
  const WriteOutcome outcome = ApplyWrite(document, kSite, write);
  SaveIfModified(xml, document, kSite);
  return FinishWrite(kSite, outcome, true);
}

ResultCode DeleteSectionParameter(TemplateDocument& document, int32_t section_index,
                                  const std::string& name) {
  constexpr TraceSite kSite{"q9xmlHelper", "DeleteSectionParameter: "};
  Q9_TRACE(kSite, trace_level::kEntry, ">> Start");
  const char* section = SectionElementName(section_index);
  if (!document.loaded() || name.empty() || section == nullptr) {
    return Traced(kSite, PGSP_ERR_INVALID_PARAMETERS);
  }
  return Traced(kSite, DeleteFound(document, section, name));
}

ResultCode DeleteSectionParameter(XmlContext& xml, const std::string& path, int32_t section_index,
                                  const std::string& name) {
  constexpr TraceSite kSite{"q9xmlHelper", "DeleteSectionParameter: "};
  Q9_TRACE(kSite, trace_level::kEntry, ">> Start");
  const char* section = SectionElementName(section_index);
  if (path.empty() || name.empty() || section == nullptr) {
    return Traced(kSite, PGSP_ERR_INVALID_PARAMETERS);
  }
  TemplateDocument document;
  const ResultCode loaded = TemplateDocument::Load(xml, ApplyFileNameRule(path), &document);
  if (loaded != PGSP_OK) return Traced(kSite, loaded);
  const ResultCode result = DeleteFound(document, section, name);
  SaveIfModified(xml, document, kSite);
  return Traced(kSite, result);
}

ResultCode Q9XMLSetValue(TemplateDocument& document, const std::string& section,
                         const std::string& name, const std::string& value,
                         const std::string& type) {
  constexpr TraceSite kSite{"q9xmlHelper", "Q9XMLSetValue: "};
  Q9_TRACE(kSite, trace_level::kEntry, ">> Start");
  ParameterWrite write;
  if (!document.loaded() || !PrepareNamedWrite(section, name, value, type, &write)) {
    return Traced(kSite, PGSP_ERR_INVALID_PARAMETERS);
  }
  return FinishWrite(kSite, ApplyWrite(document, kSite, write), false);
}

ResultCode Q9XMLSetValue(XmlContext& xml, const std::string& path, const std::string& section,
                         const std::string& name, const std::string& value,
                         const std::string& type) {
  constexpr TraceSite kSite{"q9xmlHelper", "Q9XMLSetValue: "};
  Q9_TRACE(kSite, trace_level::kEntry, ">> Start");
  ParameterWrite write;
  if (path.empty() || !PrepareNamedWrite(section, name, value, type, &write)) {
    return Traced(kSite, PGSP_ERR_INVALID_PARAMETERS);
  }
  const std::string file = ApplyFileNameRule(path);
  const ResultCode size = CheckFileSize(xml, file);
  if (size != PGSP_OK) return Traced(kSite, size);
  TemplateDocument document;
  if (TemplateDocument::Load(xml, file, &document) != PGSP_OK) {
    // Traced at the entry level, unlike the other results of this operation:
    // readers of the trace filter on the level this record has always had.
    Q9_TRACE(kSite, trace_level::kEntry, "<< Return PGSP_ERR_CANT_LOAD_XML_FILE");
    return PGSP_ERR_CANT_LOAD_XML_FILE;
  }
  const WriteOutcome outcome = ApplyWrite(document, kSite, write);
  SaveIfModified(xml, document, kSite);
  return FinishWrite(kSite, outcome, false);
}

}  // namespace q9
