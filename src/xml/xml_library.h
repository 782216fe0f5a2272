// Process-wide libxml2 set-up and the one way the layer parses XML text into a
// document: from memory, without network, without DTDs, without entities.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "platform/env.h"
#include "xml/xml_handles.h"

namespace q9 {

// Largest template or schema file read, in bytes; CheckFileSize compares it
// with the low 32 bits of the size.
inline constexpr uint64_t kMaxTemplateFileSize = 10'000'000;

// Initialises the parser and the schema types and installs an external-entity
// loader that refuses every resource, except files directly inside the schema
// folder of a SchemaFolderScope active on the calling thread that are not
// symbolic links (a refused link is traced). The first call
// does the work; later calls return at once. The entry point calls it at
// start-up; every operation of the layer calls it too.
void InitializeXmlLibrary();

// While alive, lets schema compilation on this thread read the files that an
// xs:include or xs:import names, if they lie directly in `folder` (the folder
// part of the main schema's path). They are read through `env`. Scopes do not
// nest.
class SchemaFolderScope {
 public:
  SchemaFolderScope(Env& env, std::string folder);
  SchemaFolderScope(const SchemaFolderScope&) = delete;
  SchemaFolderScope& operator=(const SchemaFolderScope&) = delete;
  ~SchemaFolderScope();
};

// While alive, every message that libxml2 reports on this thread outside a
// context with a handler of its own (encoding and input errors, the writer,
// tree functions) goes to the trace, naming `file`, and never to standard
// error. The handlers it replaces are restored at its end, so nothing is
// left installed between operations. Scopes nest.
class XmlErrorsToTrace {
 public:
  explicit XmlErrorsToTrace(std::string file);
  XmlErrorsToTrace(const XmlErrorsToTrace&) = delete;
  XmlErrorsToTrace& operator=(const XmlErrorsToTrace&) = delete;
  ~XmlErrorsToTrace();

  const std::string& file() const { return file_; }

 private:
  std::string file_;
  xmlStructuredErrorFunc previous_structured_;
  void* previous_structured_context_;
  xmlGenericErrorFunc previous_generic_;
  void* previous_generic_context_;
};

// Why a text did not parse, for the trace.
struct XmlParseFailure {
  std::string message;  // libxml2's text, without the trailing newline
  int line = 0;         // 0 when unknown

  // "message (line N)", or the message alone when the line is unknown.
  std::string Describe() const;
};

// Keeps the first of the errors that libxml2 reports during one operation.
struct FirstXmlError {
  XmlParseFailure failure;
  bool any = false;

  void Record(const xmlError* error);
  // libxml2's structured-error callback shape; `context` is a FirstXmlError.
  static void Collect(void* context, xmlErrorPtr error);
};

// Parses `bytes` into a document whose white space is kept as it is. `url`
// names the document in messages and is the base for relative references.
// Refuses (returns nullptr, with the reason in `failure` when given):
// malformed text, text that is not in its declared or detected encoding, any
// document type declaration, nesting beyond libxml2's default depth, texts over
// 2 GiB. Never reads anything but `bytes`.
XmlDocPtr ParseDocument(std::string_view bytes, const std::string& url,
                        XmlParseFailure* failure = nullptr);

}  // namespace q9
