// Small navigation and editing steps on libxml2 trees, shared by the template
// operations. Element names are compared by local name (the prefix of a
// qualified name is never part of the comparison).
#pragma once

#include <string>
#include <string_view>

#include "xml/xml_handles.h"

namespace q9 {

// True when `text` is UTF-8 that an XML 1.0 document can hold: no C0 control
// but tab, line feed and carriage return, no surrogate, no U+FFFE or U+FFFF.
// Every text a caller hands to a writer passes this check first.
bool IsXmlText(std::string_view text);

bool IsElement(const xmlNode* node);
// Element whose local name equals `name` exactly.
bool IsElementNamed(const xmlNode* node, std::string_view name);
// Element named `name`: by local name when `name` has no prefix, by prefix
// and local name when it has one ("a:Custom" is not "b:Custom").
bool HasElementName(const xmlNode* node, std::string_view name);
// Element whose local name equals `name` ignoring ASCII case.
bool IsElementNamedIgnoreCase(const xmlNode* node, std::string_view name);
std::string_view LocalName(const xmlNode* node);

// The element after `current` in document order among the descendants of
// `top` (which is never returned); null at the end. Start with current == top.
xmlNode* NextElementInDocumentOrder(const xmlNode* current, const xmlNode* top);

// All text and CDATA below `node`, in document order. Documents never contain
// entity references (DTDs are refused), so this is bounded by the file size.
std::string ElementText(const xmlNode* node);

// Replaces the children of `node` by one text node holding `text` literally
// ("&" and "<" are characters, not markup).
void SetElementText(xmlNode* node, std::string_view text);

// Creates an element named `name` in the namespace of `parent`, holding `text`,
// and appends it as the last child of `parent`.
xmlNode* AppendTextElement(xmlNode* parent, const char* name, std::string_view text);

// Appends `child` as the last element of `parent`, repeating the indentation
// that the existing elements have so the file keeps its layout.
xmlNode* AppendChildIndented(xmlNode* parent, XmlNodePtr child);

// Unlinks and frees `node` together with the blank text in front of it, so no
// empty line is left where it stood.
void RemoveNodeWithIndentation(xmlNode* node);

}  // namespace q9
