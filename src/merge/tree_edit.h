// Finding and adding elements in the templates that the merges change.
// Element names are compared by local name, exactly.
#pragma once

#include <string>
#include <string_view>

#include "xml/template_document.h"

namespace q9 {

// The document element itself when it is named `name`, else the first such
// element below it in document order; null when there is none.
xmlNode* FirstElementNamed(const TemplateDocument& document, std::string_view name);

// The first child element of `parent` named `element` whose attribute
// `attribute` equals `value`; null when there is none (or no `parent`).
xmlNode* ChildWithAttribute(const xmlNode* parent, std::string_view element,
                            const char* attribute, std::string_view value);

// The first child element of `parent` named `name`; null when there is none
// or `parent` is null (a section the template does not have).
xmlNode* ChildNamed(const xmlNode* parent, std::string_view name);

// The value of attribute `name` of `element`; "" when it is absent.
std::string AttributeText(const xmlNode* element, const char* name);

// Creates an element `name` in the namespace of the template's kind, told by
// its path ("Boards", else "LogDevices", else "Protocols"; a path naming none
// keeps the namespace of `parent`), and inserts it into `parent` before its
// first child element named one of `followers` (so the schema's order holds),
// else as the last child, repeating the indentation of its neighbours.
// Returns null when `name` is not a valid element name.
xmlNode* AddElement(const TemplateDocument& document, xmlNode* parent, const char* name,
                    std::initializer_list<std::string_view> followers = {});

}  // namespace q9
