#include "platform/path.h"
#include "trace/trace.h"
#include "xml/template_document.h"
#include "xml/template_namespace.h"

namespace q9 {

ResultCode SetTemplateVersion(XmlContext& xml, const std::string& path, const std::string& major,
                              const std::string& minor) {
  constexpr TraceSite kSite{"q9xmlHelper", "SetTemplateVersion: "};
  Q9_TRACE(kSite, trace_level::kEntry, ">> Start");
  if (path.empty() || major.empty() || minor.empty()) {
    Q9_TRACE(kSite, trace_level::kResult, "<< return lRet = %d", PGSP_ERR_INVALID_PARAMETERS);
    return PGSP_ERR_INVALID_PARAMETERS;
  }
  TemplateDocument document;
  ResultCode result = TemplateDocument::Load(xml, ApplyFileNameRule(path), &document);
  if (result != PGSP_OK) {
    Q9_TRACE(kSite, trace_level::kResult, "<< return lRet = %d", result);
    return result;
  }
  bool changed = false;
  xmlNode* root = document.root();
  for (xmlAttr* attribute = root->properties; attribute != nullptr; attribute = attribute->next) {
    // The whole name counts: "x:MajorVersion" is another attribute.
    if (attribute->ns != nullptr && attribute->ns->prefix != nullptr) continue;
    const std::string_view name = FromXml(attribute->name);
    const std::string* text = EqualsIgnoreCase(name, "MajorVersion")   ? &major
                              : EqualsIgnoreCase(name, "MinorVersion") ? &minor
                                                                       : nullptr;
    if (text == nullptr) continue;
    // xmlSetNsProp stores the text literally (no entity parsing).
    xmlSetNsProp(root, attribute->ns, attribute->name, ToXml(text->c_str()));
    changed = true;
  }
  result = kNoVersionAttribute;
  if (changed) {
    // A failed save is traced but, like every writer of the layer, not reported.
    const ResultCode saved = document.Save(xml);
    if (saved != PGSP_OK) Q9_TRACE(kSite, trace_level::kProgress, "saving failed: %d", saved);
    result = PGSP_OK;
  }
  Q9_TRACE(kSite, trace_level::kResult, "<< return lRet = %d", result);
  return result;
}

}  // namespace q9
