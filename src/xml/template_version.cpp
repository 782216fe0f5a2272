#include "xml/template_version.h"

#include "platform/path.h"
#include "trace/trace.h"
#include "xml/dom_helpers.h"
#include "xml/template_namespace.h"

namespace q9 {
namespace {

constexpr TraceSite kSite{"q9xmlHelper", "SetTemplateVersion: "};

ResultCode Traced(ResultCode result) {
  Q9_TRACE(kSite, trace_level::kResult, "<< return lRet = %d", result);
  return result;
}

// Stamps the root element; the arguments are checked.
ResultCode StampVersion(TemplateDocument& document, const std::string& major,
                        const std::string& minor) {
  bool found = false;
  xmlNode* root = document.root();
  for (xmlAttr* attribute = root->properties; attribute != nullptr; attribute = attribute->next) {
    // The whole name counts: "x:MajorVersion" is another attribute.
    if (attribute->ns != nullptr && attribute->ns->prefix != nullptr) continue;
    const std::string_view name = FromXml(attribute->name);
    const std::string* text = EqualsIgnoreCase(name, "MajorVersion")   ? &major
                              : EqualsIgnoreCase(name, "MinorVersion") ? &minor
                                                                       : nullptr;
    if (text == nullptr) continue;
    found = true;
    XmlCharPtr current(xmlGetNoNsProp(root, attribute->name));
    if (current != nullptr && FromXml(current.get()) == *text) continue;
    // xmlSetNsProp stores the text literally (no entity parsing).
    xmlSetNsProp(root, attribute->ns, attribute->name, ToXml(text->c_str()));
    document.MarkModified();
  }
  return found ? PGSP_OK : kNoVersionAttribute;
}

// Empty texts, and texts XML cannot carry, are bad arguments.
bool AreVersionTexts(const std::string& major, const std::string& minor) {
  return !major.empty() && !minor.empty() && IsXmlText(major) && IsXmlText(minor);
}

}  // namespace

ResultCode SetTemplateVersion(TemplateDocument& document, const std::string& major,
                              const std::string& minor) {
  Q9_TRACE(kSite, trace_level::kEntry, ">> Start");
  if (!document.loaded() || !AreVersionTexts(major, minor)) {
    return Traced(PGSP_ERR_INVALID_PARAMETERS);
  }
  return Traced(StampVersion(document, major, minor));
}

ResultCode SetTemplateVersion(XmlContext& xml, const std::string& path, const std::string& major,
                              const std::string& minor) {
  Q9_TRACE(kSite, trace_level::kEntry, ">> Start");
  if (path.empty() || !AreVersionTexts(major, minor)) {
    return Traced(PGSP_ERR_INVALID_PARAMETERS);
  }
  TemplateDocument document;
  const ResultCode loaded = TemplateDocument::Load(xml, ApplyFileNameRule(path), &document);
  if (loaded != PGSP_OK) return Traced(loaded);
  const ResultCode result = StampVersion(document, major, minor);
  if (document.modified()) {
    // A failed save is traced but, like every writer of the layer, not reported.
    const ResultCode saved = document.Save(xml);
    if (saved != PGSP_OK) Q9_TRACE(kSite, trace_level::kProgress, "saving failed: %d", saved);
  }
  return Traced(result);
}

}  // namespace q9
