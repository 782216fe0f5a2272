#include "xml/template_node.h"

#include <algorithm>

#include "xml/template_namespace.h"

namespace q9 {
namespace {

XmlNodePtr NewElement(xmlDoc* doc, const std::string& qualified_name, const std::string& uri) {
  if (!IsWritableElementName(qualified_name)) return nullptr;
  const size_t colon = qualified_name.find(':');
  const std::string prefix = colon == std::string::npos ? "" : qualified_name.substr(0, colon);
  const std::string local =
      colon == std::string::npos ? qualified_name : qualified_name.substr(colon + 1);
  // A prefix must stand for a namespace.
  if (!prefix.empty() && uri.empty()) return nullptr;
  XmlNodePtr node(xmlNewDocNode(doc, nullptr, ToXml(local.c_str()), nullptr));
  if (node == nullptr) return nullptr;

  const xmlChar* prefix_or_default = prefix.empty() ? nullptr : ToXml(prefix.c_str());
  xmlNode* root = xmlDocGetRootElement(doc);
  xmlNs* in_scope = root != nullptr ? xmlSearchNs(doc, root, prefix_or_default) : nullptr;
  const std::string in_scope_uri =
      in_scope != nullptr && in_scope->href != nullptr ? FromXml(in_scope->href) : "";
  if (uri.empty()) {
    // Leaving a default namespace of the root: say so, or the saved element
    // would re-read in that namespace.
    if (!in_scope_uri.empty() && xmlNewNs(node.get(), ToXml(""), nullptr) == nullptr)
      return nullptr;
    return node;
  }
  if (in_scope != nullptr && in_scope_uri == uri) {
    xmlSetNs(node.get(), in_scope);
    return node;
  }
  xmlNs* own = xmlNewNs(node.get(), ToXml(uri.c_str()), prefix_or_default);
  if (own == nullptr) return nullptr;
  xmlSetNs(node.get(), own);
  return node;
}

}  // namespace

bool IsWritableElementName(std::string_view name) {
  const std::string text(name);
  if (text.empty() || text.find('\0') != std::string::npos ||
      xmlValidateQName(ToXml(text.c_str()), 0) != 0) return false;
  const std::string_view prefix = name.substr(0, std::min(name.find(':'), name.size()));
  return prefix == name || (prefix != "xml" && prefix != "xmlns");
}

XmlNodePtr CreateTemplateNode(int32_t node_type, const char* name,
                              const std::string& namespace_prefix,
                              const TemplateDocument* document) {
  if (document == nullptr || !document->loaded()) return nullptr;
  xmlDoc* doc = document->doc();
  const std::string node_name = name != nullptr ? name : "";
  switch (node_type) {
    case kElementNode:
      return NewElement(doc, node_name, NamespaceForPrefix(namespace_prefix));
    case kTextNode:
      return XmlNodePtr(xmlNewDocText(doc, ToXml("")));
    case kCDataNode:
      return XmlNodePtr(xmlNewCDataBlock(doc, ToXml(""), 0));
    case kCommentNode:
      return XmlNodePtr(xmlNewDocComment(doc, ToXml("")));
    case kProcessingInstructionNode:
      if (xmlValidateName(ToXml(node_name.c_str()), 0) != 0) return nullptr;
      return XmlNodePtr(xmlNewDocPI(doc, ToXml(node_name.c_str()), nullptr));
    default:
      return nullptr;
  }
}

}  // namespace q9
