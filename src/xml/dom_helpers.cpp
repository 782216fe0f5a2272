#include "xml/dom_helpers.h"

#include "platform/path.h"

namespace q9 {
namespace {

bool IsBlankText(const xmlNode* node) {
  return node != nullptr && node->type == XML_TEXT_NODE && xmlIsBlankNode(node) != 0;
}

void AppendTextBelow(const xmlNode* node, std::string* text) {
  for (const xmlNode* child = node->children; child != nullptr; child = child->next) {
    if (child->type == XML_TEXT_NODE || child->type == XML_CDATA_SECTION_NODE) {
      if (child->content != nullptr) text->append(FromXml(child->content));
    } else if (child->type == XML_ELEMENT_NODE) {
      AppendTextBelow(child, text);
    }
  }
}

}  // namespace

bool IsElement(const xmlNode* node) { return node != nullptr && node->type == XML_ELEMENT_NODE; }

std::string_view LocalName(const xmlNode* node) {
  return node != nullptr && node->name != nullptr ? FromXml(node->name) : std::string_view();
}

bool IsElementNamed(const xmlNode* node, std::string_view name) {
  return IsElement(node) && LocalName(node) == name;
}

bool IsElementNamedIgnoreCase(const xmlNode* node, std::string_view name) {
  return IsElement(node) && EqualsIgnoreCase(LocalName(node), name);
}

xmlNode* NextElementInDocumentOrder(const xmlNode* current, const xmlNode* top) {
  const xmlNode* node = current;
  // Down first, then along, then up until a sibling turns up.
  if (node->children != nullptr) {
    node = node->children;
  } else {
    while (node != top && node->next == nullptr) node = node->parent;
    if (node == top) return nullptr;
    node = node->next;
  }
  while (!IsElement(node)) {
    if (node->type == XML_ENTITY_REF_NODE || node->children == nullptr) {
      while (node != top && node->next == nullptr) node = node->parent;
      if (node == top) return nullptr;
      node = node->next;
    } else {
      node = node->children;
    }
  }
  return const_cast<xmlNode*>(node);
}

std::string ElementText(const xmlNode* node) {
  std::string text;
  if (node != nullptr) AppendTextBelow(node, &text);
  return text;
}

void SetElementText(xmlNode* node, std::string_view text) {
  // xmlNodeSetContent would parse "&..." as entity references; add text instead.
  xmlNodeSetContent(node, nullptr);
  xmlNodeAddContentLen(node, reinterpret_cast<const xmlChar*>(text.data()),
                       static_cast<int>(text.size()));
}

xmlNode* AppendTextElement(xmlNode* parent, const char* name, std::string_view text) {
  xmlNode* element = xmlNewDocNode(parent->doc, parent->ns, ToXml(name), nullptr);
  if (element == nullptr) return nullptr;
  SetElementText(element, text);
  return xmlAddChild(parent, element);
}

xmlNode* AppendChildIndented(xmlNode* parent, XmlNodePtr child) {
  // Layout [indent][last element][trailing blank] becomes
  // [indent][last element][indent][child][trailing blank]. Text nodes are
  // inserted next to elements only, where libxml2 does not merge them.
  xmlNode* last_element = xmlLastElementChild(parent);
  xmlNode* trailing = parent->last;
  if (last_element == nullptr || !IsBlankText(last_element->prev) || !IsBlankText(trailing) ||
      trailing->prev != last_element) {
    return xmlAddChild(parent, child.release());
  }
  xmlNode* added = xmlAddPrevSibling(trailing, child.release());
  xmlNode* indent = xmlNewDocText(parent->doc, last_element->prev->content);
  if (indent != nullptr) xmlAddPrevSibling(added, indent);
  return added;
}

void RemoveNodeWithIndentation(xmlNode* node) {
  if (IsBlankText(node->prev)) {
    xmlNode* blank = node->prev;
    xmlUnlinkNode(blank);
    xmlFreeNode(blank);
  }
  xmlUnlinkNode(node);
  xmlFreeNode(node);
}

}  // namespace q9
