// One template file loaded as a libxml2 document, and the operations on whole
// template files: the size check, node creation for the section merges and the
// version stamp.
#pragma once

#include <string>

#include "platform/result_code.h"
#include "xml/xml_context.h"
#include "xml/xml_handles.h"
#include "xml/xml_library.h"

namespace q9 {

// Largest template file, in bytes; compared with the low 32 bits of the size.
inline constexpr uint64_t kMaxTemplateFileSize = 10'000'000;

// A template file in memory. It remembers how the file began (XML declaration
// or not, UTF-8 byte-order mark, CRLF line ends) so that Save writes back the
// same bytes for the parts nobody changed. Not copyable; one per call.
class TemplateDocument {
 public:
  TemplateDocument() = default;
  TemplateDocument(TemplateDocument&&) = default;
  TemplateDocument& operator=(TemplateDocument&&) = default;

  // Reads `path` exactly as given (callers apply the file-name rule) through
  // the run's Env and parses it with ParseDocument. Returns 0, or 8508 when the file
  // cannot be read (missing, a directory, unreadable) or does not parse; the
  // reason goes to `failure` when given. `document` is empty on failure.
  [[nodiscard]] static ResultCode Load(XmlContext& xml, const std::string& path,
                                       TemplateDocument* document,
                                       XmlParseFailure* failure = nullptr);

  // Serialises the whole document and replaces the file at path() in one
  // atomic write through the run's Env. Returns 0, the Windows error number of the
  // write (the file is then as it was), or 8508 when serialising failed.
  [[nodiscard]] ResultCode Save(XmlContext& xml) const;

  bool loaded() const { return doc_ != nullptr; }
  xmlDoc* doc() const { return doc_.get(); }
  // The document element; never null for a loaded document.
  xmlNode* root() const { return xmlDocGetRootElement(doc_.get()); }
  const std::string& path() const { return path_; }

 private:
  XmlDocPtr doc_;
  std::string path_;
  bool had_declaration_ = false;
  bool had_bom_ = false;
  bool had_crlf_ = false;
};

// Applies the file-name rule to `path` and checks the file: 0 when it exists
// and the low 32 bits of its size are at most kMaxTemplateFileSize; 8503 when
// its attributes cannot be read (traced at level 128); 8508 when it is larger
// (traced as a warning at level 16).
[[nodiscard]] ResultCode CheckFileSize(XmlContext& xml, const std::string& path);

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
// their element with xmlSetProp), or when the name is not a valid XML name.
XmlNodePtr CreateTemplateNode(int32_t node_type, const char* name,
                              const std::string& namespace_prefix,
                              const TemplateDocument* document);

// Applies the file-name rule and writes `major` and `minor` into the root
// element's attributes named "MajorVersion" and "MinorVersion" (names compared
// ignoring case). Returns 0 when at least one was there (the file is saved
// once), 87 when an argument is empty, 8508 when the file cannot be loaded,
// 8040 when the root carries neither (the file is not touched).
[[nodiscard]] ResultCode SetTemplateVersion(XmlContext& xml, const std::string& path,
                                            const std::string& major, const std::string& minor);

}  // namespace q9
