#include "xml/xml_library.h"

#include <libxml/parserInternals.h>
#include <libxml/uri.h>
#include <libxml/xmlerror.h>
#include <libxml/xmlschemastypes.h>

#include <climits>
#include <cstdarg>
#include <cstdio>
#include <mutex>

#include "platform/path.h"
#include "trace/trace.h"

namespace q9 {
namespace {

// The loader is process-wide in libxml2, so the folder it may read from is
// handed to it per thread by SchemaFolderScope. Outside a scope it refuses all.
struct SchemaFolderGrant {
  Env* env = nullptr;
  std::string folder;
};
thread_local SchemaFolderGrant t_grant;

std::string LocalPathOf(std::string_view url) {
  constexpr std::string_view kFileScheme = "file://";
  if (url.substr(0, kFileScheme.size()) == kFileScheme) url.remove_prefix(kFileScheme.size());
  if (url.find("://") != std::string_view::npos) return {};  // network or other schemes
  return std::string(url);
}

// libxml2 escapes the references it resolves against a base ("Corvane OAM"
// becomes "Corvane%20OAM"); the file system wants the name itself.
std::string UnescapedPath(const std::string& path) {
  if (path.find('%') == std::string::npos) return path;
  XmlCharPtr plain(ToXmlOwned(xmlURIUnescapeString(path.c_str(), 0, nullptr)));
  return plain != nullptr ? FromXml(plain.get()) : path;
}

xmlParserInputPtr InputFromBytes(const std::string& bytes, const char* url, xmlParserCtxtPtr ctxt) {
  if (bytes.size() > INT_MAX) return nullptr;
  // The buffer copies the bytes, so they need not outlive this call.
  xmlParserInputBufferPtr buffer = xmlParserInputBufferCreateMem(
      bytes.data(), static_cast<int>(bytes.size()), XML_CHAR_ENCODING_NONE);
  if (buffer == nullptr) return nullptr;
  xmlParserInputPtr input = xmlNewIOInputStream(ctxt, buffer, XML_CHAR_ENCODING_NONE);
  if (input == nullptr) {
    xmlFreeParserInputBuffer(buffer);
    return nullptr;
  }
  // The file name is the base for the included schema's own references.
  input->filename = FromXml(xmlStrdup(ToXml(url)));
  return input;
}

constexpr TraceSite kLibrarySite{"q9xmlHelper", "libxml2: "};

// True when the folder's entry `name` is a symbolic link; the entry is found
// as the file system finds it, by its name or else ignoring case.
bool IsLinkInFolder(Env& env, const std::string& folder, std::string_view name) {
  std::vector<DirEntry> entries;
  if (env.files().ListDirectory(folder, &entries) != os_error::kSuccess) return false;
  const DirEntry* found = nullptr;
  for (const DirEntry& entry : entries) {
    if (entry.name == name) return entry.is_link;
    if (found == nullptr && EqualsIgnoreCase(entry.name, name)) found = &entry;
  }
  return found != nullptr && found->is_link;
}

xmlParserInputPtr GuardedEntityLoader(const char* url, const char* /*id*/, xmlParserCtxtPtr ctxt) {
  if (url == nullptr || t_grant.env == nullptr) return nullptr;
  std::string path = LocalPathOf(url);
  if (ParentPath(path) != t_grant.folder) path = UnescapedPath(path);
  if (path.empty() || ParentPath(path) != t_grant.folder) {
    Q9_TRACE(kLibrarySite, trace_level::kProgress, "%s refused: not in the schema folder", url);
    return nullptr;
  }
  const std::string_view name = BaseName(path);
  if (name.empty() || name == "." || name == "..") return nullptr;
  if (IsLinkInFolder(*t_grant.env, t_grant.folder, name)) {
    Q9_TRACE(kLibrarySite, trace_level::kProgress, "%s refused: a symbolic link", path.c_str());
    return nullptr;
  }
  std::string bytes;
  if (t_grant.env->files().ReadFileAtMost(path, kMaxTemplateFileSize, &bytes) != 0) {
    return nullptr;
  }
  return InputFromBytes(bytes, url, ctxt);
}

void InitializeOnce() {
  xmlInitParser();
  xmlSchemaInitTypes();
  xmlSetExternalEntityLoader(GuardedEntityLoader);
}

// Errors of one parse land in the FirstXmlError at ctxt->_private.
void CollectParseError(void* user_data, xmlErrorPtr error) {
  auto* ctxt = static_cast<xmlParserCtxtPtr>(user_data);
  if (ctxt->_private != nullptr) static_cast<FirstXmlError*>(ctxt->_private)->Record(error);
}

// A document type declaration may declare entities that reach other files or
// blow up on expansion; templates never carry one, so the parse stops there.
void RefuseDocumentType(void* user_data, const xmlChar*, const xmlChar*, const xmlChar*) {
  auto* ctxt = static_cast<xmlParserCtxtPtr>(user_data);
  auto* errors = static_cast<FirstXmlError*>(ctxt->_private);
  if (errors != nullptr && !errors->any) {
    errors->any = true;
    errors->failure = {"document type declarations are not allowed", xmlSAX2GetLineNumber(ctxt)};
  }
  xmlStopParser(ctxt);
}

void TraceLibraryError(void* context, xmlErrorPtr error) {
  if (error == nullptr) return;
  const auto* scope = static_cast<const XmlErrorsToTrace*>(context);
  std::string message = error->message != nullptr ? error->message : "unknown error";
  while (!message.empty() && message.back() == '\n') message.pop_back();
  const char* file = error->file != nullptr ? error->file : scope->file().c_str();
  const uint32_t level =
      error->level >= XML_ERR_ERROR ? trace_level::kProgress : trace_level::kWarning;
  Q9_TRACE(kLibrarySite, level, "%s, line %d: %s", file, error->line, message.c_str());
}

// The few messages libxml2 prints without a structure come in pieces.
void TraceGenericError(void* context, const char* format, ...) {
  char message[512];
  va_list arguments;
  va_start(arguments, format);
  std::vsnprintf(message, sizeof message, format, arguments);
  va_end(arguments);
  const auto* scope = static_cast<const XmlErrorsToTrace*>(context);
  Q9_TRACE(kLibrarySite, trace_level::kWarning, "%s: %s", scope->file().c_str(), message);
}

}  // namespace

XmlErrorsToTrace::XmlErrorsToTrace(std::string file)
    : file_(std::move(file)),
      previous_structured_(xmlStructuredError),
      previous_structured_context_(xmlStructuredErrorContext),
      previous_generic_(xmlGenericError),
      previous_generic_context_(xmlGenericErrorContext) {
  xmlSetStructuredErrorFunc(this, TraceLibraryError);
  xmlSetGenericErrorFunc(this, TraceGenericError);
}

XmlErrorsToTrace::~XmlErrorsToTrace() {
  xmlSetStructuredErrorFunc(previous_structured_context_, previous_structured_);
  xmlSetGenericErrorFunc(previous_generic_context_, previous_generic_);
}

void InitializeXmlLibrary() {
  static std::once_flag once;
  std::call_once(once, InitializeOnce);
}

SchemaFolderScope::SchemaFolderScope(Env& env, std::string folder) {
  t_grant.env = &env;
  t_grant.folder = std::move(folder);
}

SchemaFolderScope::~SchemaFolderScope() {
  t_grant.env = nullptr;
  t_grant.folder.clear();
}

void FirstXmlError::Record(const xmlError* error) {
  // Warnings (such as a skipped second import) are not the reason for a failure.
  if (any || error == nullptr || error->level < XML_ERR_ERROR) return;
  any = true;
  failure.message = error->message != nullptr ? error->message : "unknown error";
  while (!failure.message.empty() && failure.message.back() == '\n') failure.message.pop_back();
  failure.line = error->line;
}

void FirstXmlError::Collect(void* context, xmlErrorPtr error) {
  static_cast<FirstXmlError*>(context)->Record(error);
}

std::string XmlParseFailure::Describe() const {
  if (line <= 0) return message;
  return message + " (line " + std::to_string(line) + ")";
}

XmlDocPtr ParseDocument(std::string_view bytes, const std::string& url, XmlParseFailure* failure) {
  InitializeXmlLibrary();
  XmlErrorsToTrace quiet(url);
  FirstXmlError errors;
  auto fail = [&](const char* fallback) {
    if (failure != nullptr) *failure = errors.any ? errors.failure : XmlParseFailure{fallback, 0};
    return XmlDocPtr();
  };
  if (bytes.size() > INT_MAX) return fail("file too large to parse");
  XmlParserCtxtPtr ctxt(xmlNewParserCtxt());
  if (ctxt == nullptr) return fail("out of memory");
  ctxt->_private = &errors;
  ctxt->sax->serror = CollectParseError;
  ctxt->sax->internalSubset = RefuseDocumentType;
  // COMPACT keeps short texts (names, numbers) inside their nodes instead of
  // one allocation each: templates are mostly such texts. libxml2's own edit
  // and free functions know the form; nothing here writes node->content.
  XmlDocPtr doc(xmlCtxtReadMemory(ctxt.get(), bytes.data(), static_cast<int>(bytes.size()),
                                  url.c_str(), nullptr,
                                  XML_PARSE_NONET | XML_PARSE_BIG_LINES | XML_PARSE_COMPACT));
  const bool stopped = ctxt->errNo == XML_ERR_USER_STOP;
  if (doc == nullptr || stopped || !ctxt->wellFormed ||
      xmlDocGetRootElement(doc.get()) == nullptr) {
    return fail("not a well-formed document");
  }
  return doc;
}

}  // namespace q9
