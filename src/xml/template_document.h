// One template file loaded as a libxml2 document, and the size check that
// every whole-document load of a template makes first.
#pragma once

#include <string>

#include "platform/result_code.h"
#include "xml/xml_context.h"
#include "xml/xml_handles.h"
#include "xml/xml_library.h"

namespace q9 {

class TemplateDocument;

// Spares Load the parse of a file that holds exactly the bytes another
// document was loaded from: the loaded document is then a copy of that twin,
// or with `skip` stays unloaded (for a caller that can do without it).
struct TwinLoad {
  const TemplateDocument* twin = nullptr;  // in
  bool skip = false;                       // in
  bool same = false;                       // out: the file held the twin's bytes
};

// A template file in memory. It remembers how the file began (XML declaration
// or not, UTF-8 byte-order mark, CRLF line ends) so that Save writes back the
// same bytes for the parts nobody changed. Not copyable. A caller that holds
// a document across several changes saves it once, when modified().
class TemplateDocument {
 public:
  TemplateDocument() = default;
  TemplateDocument(TemplateDocument&&) = default;
  TemplateDocument& operator=(TemplateDocument&&) = default;

  // Reads `path` exactly as given (callers apply the file-name rule) through
  // the run's Env and parses it with ParseDocument. Returns 0, or 8508 when the file
  // cannot be read (missing, a directory, unreadable), is larger than
  // kMaxTemplateFileSize (traced as CheckFileSize traces it; the whole size
  // counts) or does not parse; the reason goes to `failure` when given.
  // `document` is empty on failure. With `twin`, see TwinLoad.
  [[nodiscard]] static ResultCode Load(XmlContext& xml, const std::string& path,
                                       TemplateDocument* document,
                                       XmlParseFailure* failure = nullptr,
                                       TwinLoad* twin = nullptr);

  // Serialises the whole document and replaces the file at path() in one
  // atomic write through the run's Env. The declared encoding is kept unless
  // what libxml2 writes in it would not load again; the document is then
  // written as UTF-8 and declared so. Returns 0, the Windows error number of the
  // write (the file is then as it was), or 8508 when serialising failed.
  [[nodiscard]] ResultCode Save(XmlContext& xml) const;

  bool loaded() const { return doc_ != nullptr; }
  // True once a change was made to the tree since it was loaded. Every
  // operation of the layer that changes a document marks it; code that edits
  // the tree itself calls MarkModified().
  bool modified() const { return modified_; }
  void MarkModified() { modified_ = true; }
  xmlDoc* doc() const { return doc_.get(); }
  // The document element; never null for a loaded document.
  xmlNode* root() const { return xmlDocGetRootElement(doc_.get()); }
  const std::string& path() const { return path_; }

 private:
  XmlDocPtr doc_;
  std::string path_;
  std::string bytes_;  // as loaded, for a twin's comparison
  bool had_declaration_ = false;
  bool had_bom_ = false;
  bool had_crlf_ = false;
  bool modified_ = false;
};

// Applies the file-name rule to `path` and checks the file: 0 when it exists
// and the low 32 bits of its size are at most kMaxTemplateFileSize; 8503 when
// its attributes cannot be read (traced at level 128); 8508 when it is larger
// (traced as a warning at level 16).
[[nodiscard]] ResultCode CheckFileSize(XmlContext& xml, const std::string& path);

}  // namespace q9
