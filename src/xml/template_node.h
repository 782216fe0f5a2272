// Node creation for the section merges: elements in the namespace of a
// template kind, owned by a document but not yet inserted.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "xml/template_document.h"
#include "xml/xml_handles.h"

namespace q9 {

// DOM node types that CreateTemplateNode accepts.
enum TemplateNodeType : int32_t {
  kElementNode = 1,
  kTextNode = 3,
  kCDataNode = 4,
  kProcessingInstructionNode = 7,
  kCommentNode = 8,
};

// Creates a node of `node_type` owned by `document` but not inserted anywhere.
// An element is put in the namespace that `namespace_prefix` selects
// (NamespaceForPrefix; no namespace for an unknown prefix); the prefix only
// selects, it is not written into the name. A name "p:Local" keeps the prefix
// p for that namespace. The element carries its own namespace declaration
// unless the document element has that namespace in scope under the same
// prefix, so it saves and re-reads in its namespace wherever it is inserted
// (below an element that redeclares the prefix, declare it yourself). The name
// of a processing instruction is its target; text, CDATA and comment nodes are
// created empty. `name` may be null (an empty name). Returns null when
// `document` is null or not loaded, for any other type (attributes are set on
// their element with xmlSetProp), or when the name is not IsWritableElementName.
// True when `name` can name an element that is namespace-valid once its prefix
// (if any) is declared: a qualified name whose prefix is neither "xml" nor
// "xmlns", which no element may use for a namespace of its own.
bool IsWritableElementName(std::string_view name);

XmlNodePtr CreateTemplateNode(int32_t node_type, const char* name,
                              const std::string& namespace_prefix,
                              const TemplateDocument* document);

}  // namespace q9
