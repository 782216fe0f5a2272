#include "xml/dom_helpers.h"

#include <libxml/chvalid.h>

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

// The length of the UTF-8 sequence that `lead` starts; 0 for a byte that
// cannot start one.
size_t Utf8SequenceLength(unsigned char lead) {
  if (lead < 0x80) return 1;
  if (lead >= 0xC2 && lead <= 0xDF) return 2;
  if (lead >= 0xE0 && lead <= 0xEF) return 3;
  if (lead >= 0xF0 && lead <= 0xF4) return 4;
  return 0;
}

}  // namespace

bool IsElement(const xmlNode* node) { return node != nullptr && node->type == XML_ELEMENT_NODE; }

std::string_view LocalName(const xmlNode* node) {
  return node != nullptr && node->name != nullptr ? FromXml(node->name) : std::string_view();
}

// The walks compare every element's name, mostly against names it does not
// have: the comparisons stop at the first difference instead of measuring
// the element's name first.
bool IsElementNamed(const xmlNode* node, std::string_view name) {
  if (!IsElement(node) || node->name == nullptr) return false;
  const xmlChar* own = node->name;
  for (const char wanted : name) {
    // A shorter name ends at its terminator, which no wanted character is.
    if (*own != static_cast<xmlChar>(wanted)) return false;
    ++own;
  }
  return *own == '\0';
}

bool HasElementName(const xmlNode* node, std::string_view name) {
  const size_t colon = name.find(':');
  if (colon == std::string_view::npos) return IsElementNamed(node, name);
  const xmlNs* ns = IsElement(node) ? node->ns : nullptr;
  return ns != nullptr && ns->prefix != nullptr && FromXml(ns->prefix) == name.substr(0, colon) &&
         LocalName(node) == name.substr(colon + 1);
}

bool IsElementNamedIgnoreCase(const xmlNode* node, std::string_view name) {
  if (!IsElement(node) || node->name == nullptr) return false;
  const char* own = FromXml(node->name);
  for (const char wanted : name) {
    if (FoldAscii(*own) != FoldAscii(wanted)) return false;
    ++own;
  }
  return *own == '\0';
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

bool IsXmlText(std::string_view text) {
  for (size_t i = 0; i < text.size();) {
    const auto lead = static_cast<unsigned char>(text[i]);
    const size_t length = Utf8SequenceLength(lead);
    if (length == 0 || i + length > text.size()) return false;
    uint32_t code = length == 1 ? lead : lead & (0x7Fu >> length);
    for (size_t k = 1; k < length; ++k) {
      const auto next = static_cast<unsigned char>(text[i + k]);
      if ((next & 0xC0) != 0x80) return false;
      code = (code << 6) | (next & 0x3Fu);
    }
    // An overlong form would smuggle "<" or NUL past the check.
    constexpr uint32_t kSmallest[] = {0, 0, 0x80, 0x800, 0x10000};
    if (length > 1 && code < kSmallest[length]) return false;
    // xmlIsChar: tab, LF, CR, U+0020-U+D7FF, U+E000-U+FFFD, U+10000-U+10FFFF.
    if (!xmlIsChar(code)) return false;
    i += length;
  }
  return true;
}

}  // namespace q9
