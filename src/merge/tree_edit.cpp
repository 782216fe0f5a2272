#include "merge/tree_edit.h"

#include "xml/dom_helpers.h"
#include "xml/template_node.h"

namespace q9 {
namespace {

const char* KindPrefix(const std::string& path) {
  if (path.find("Boards") != std::string::npos) return "brd";
  if (path.find("LogDevices") != std::string::npos) return "dev";
  if (path.find("Protocols") != std::string::npos) return "pro";
  return nullptr;
}

bool IsBlankText(const xmlNode* node) {
  return node != nullptr && node->type == XML_TEXT_NODE && xmlIsBlankNode(node) != 0;
}

xmlNode* FirstFollower(const xmlNode* parent, std::initializer_list<std::string_view> followers) {
  for (xmlNode* child = parent->children; child != nullptr; child = child->next) {
    for (std::string_view name : followers) {
      if (IsElementNamed(child, name)) return child;
    }
  }
  return nullptr;
}

// [indent][next] becomes [indent][child][indent][next].
xmlNode* InsertBeforeIndented(xmlNode* next, XmlNodePtr child) {
  xmlNode* added = xmlAddPrevSibling(next, child.release());
  if (added != nullptr && IsBlankText(added->prev)) {
    xmlNode* indent = xmlNewDocText(next->doc, added->prev->content);
    if (indent != nullptr) xmlAddPrevSibling(next, indent);
  }
  return added;
}

}  // namespace

xmlNode* FirstElementNamed(const TemplateDocument& document, std::string_view name) {
  xmlNode* root = document.root();
  if (IsElementNamed(root, name)) return root;
  for (xmlNode* element = NextElementInDocumentOrder(root, root); element != nullptr;
       element = NextElementInDocumentOrder(element, root)) {
    if (IsElementNamed(element, name)) return element;
  }
  return nullptr;
}

xmlNode* ChildNamed(const xmlNode* parent, std::string_view name) {
  if (parent == nullptr) return nullptr;
  for (xmlNode* child = parent->children; child != nullptr; child = child->next) {
    if (IsElementNamed(child, name)) return child;
  }
  return nullptr;
}

std::string AttributeText(const xmlNode* element, const char* name) {
  XmlCharPtr value(xmlGetProp(element, ToXml(name)));
  return value != nullptr ? FromXml(value.get()) : "";
}

xmlNode* ChildWithAttribute(const xmlNode* parent, std::string_view element,
                            const char* attribute, std::string_view value) {
  if (parent == nullptr) return nullptr;
  for (xmlNode* child = parent->children; child != nullptr; child = child->next) {
    if (IsElementNamed(child, element) && AttributeText(child, attribute) == value) return child;
  }
  return nullptr;
}

xmlNode* AddElement(const TemplateDocument& document, xmlNode* parent, const char* name,
                    std::initializer_list<std::string_view> followers) {
  XmlNodePtr element;
  if (const char* prefix = KindPrefix(document.path())) {
    element = CreateTemplateNode(kElementNode, name, prefix, &document);
  } else if (xmlValidateNCName(ToXml(name), 0) == 0) {
    element.reset(xmlNewDocNode(document.doc(), parent->ns, ToXml(name), nullptr));
  }
  if (element == nullptr) return nullptr;
  if (xmlNode* next = FirstFollower(parent, followers)) {
    return InsertBeforeIndented(next, std::move(element));
  }
  return AppendChildIndented(parent, std::move(element));
}

}  // namespace q9
