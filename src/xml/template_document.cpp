#include "xml/template_document.h"

#include "xml/xml_context.h"

#include <limits>

#include "platform/path.h"
#include "trace/trace.h"
#include "xml/template_namespace.h"

namespace q9 {
namespace {

constexpr std::string_view kUtf8Bom = "\xEF\xBB\xBF";

bool StartsWith(std::string_view text, std::string_view prefix) {
  return text.substr(0, prefix.size()) == prefix;
}

bool HasUtf8Bom(std::string_view bytes) { return StartsWith(bytes, kUtf8Bom); }

bool BeginsWithDeclaration(std::string_view bytes) {
  using namespace std::string_view_literals;
  if (HasUtf8Bom(bytes)) bytes.remove_prefix(kUtf8Bom.size());
  // "<?xml-stylesheet ...?>" is a processing instruction, not a declaration.
  const auto declaration_end = [](char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; };
  return (StartsWith(bytes, "<?xml") && bytes.size() > 5 && declaration_end(bytes[5])) ||
         StartsWith(bytes, "\xFF\xFE<\0?\0x\0m\0l\0"sv) ||  // UTF-16LE
         StartsWith(bytes, "\xFE\xFF\0<\0?\0x\0m\0l"sv);    // UTF-16BE
}

// The file's line ends, judged by its first line.
bool UsesCrlf(std::string_view bytes) {
  const size_t newline = bytes.find('\n');
  return newline != std::string_view::npos && newline > 0 && bytes[newline - 1] == '\r';
}

bool IsUtf16(const xmlDoc* doc) {
  return doc->encoding != nullptr && xmlStrncasecmp(doc->encoding, ToXml("UTF-16"), 6) == 0;
}

int AppendToString(void* context, const char* buffer, int length) {
  static_cast<std::string*>(context)->append(buffer, static_cast<size_t>(length));
  return length;
}

int CloseNothing(void*) { return 0; }

std::string WithCrlf(const std::string& text) {
  // The serialiser writes raw line feeds only as line ends (a carriage return
  // in content comes out as "&#13;"), so every LF is a line end here.
  std::string converted;
  converted.reserve(text.size() + text.size() / 32);
  for (char c : text) {
    if (c == '\n') converted += '\r';
    converted += c;
  }
  return converted;
}

}  // namespace

ResultCode TemplateDocument::Load(XmlContext& xml, const std::string& path,
                                  TemplateDocument* document, XmlParseFailure* failure) {
  *document = TemplateDocument();
  // libxml2 parses at most 2 GiB; a larger file is refused before it is read
  // into memory.
  FileInfo info;
  if (xml.env().files().GetFileInfo(path, &info) == os_error::kSuccess && !info.is_directory &&
      info.size > static_cast<uint64_t>(std::numeric_limits<int>::max())) {
    if (failure != nullptr) *failure = {"the file is too large to be parsed", 0};
    return PGSP_ERR_CANT_LOAD_XML_FILE;
  }
  std::string bytes;
  const OsError read = xml.env().files().ReadFile(path, &bytes);
  if (read != os_error::kSuccess) {
    if (failure != nullptr) {
      *failure = {"cannot read the file (error " + std::to_string(read) + ")", 0};
    }
    return PGSP_ERR_CANT_LOAD_XML_FILE;
  }
  XmlDocPtr doc = ParseDocument(bytes, path, failure);
  if (doc == nullptr) return PGSP_ERR_CANT_LOAD_XML_FILE;
  document->doc_ = std::move(doc);
  document->path_ = path;
  document->had_declaration_ = BeginsWithDeclaration(bytes);
  document->had_bom_ = HasUtf8Bom(bytes);
  document->had_crlf_ = UsesCrlf(bytes);
  return PGSP_OK;
}

ResultCode TemplateDocument::Save(XmlContext& xml) const {
  if (doc_ == nullptr) return PGSP_ERR_CANT_LOAD_XML_FILE;
  std::string text;
  if (had_bom_) text += kUtf8Bom;
  const int options = had_declaration_ ? 0 : XML_SAVE_NO_DECL;
  // UTF-16 must be asked for by name; every other encoding is kept when none is given.
  const char* encoding = IsUtf16(doc_.get()) ? FromXml(doc_->encoding) : nullptr;
  XmlSaveCtxtPtr save(xmlSaveToIO(AppendToString, CloseNothing, &text, encoding, options));
  if (save == nullptr) return PGSP_ERR_CANT_LOAD_XML_FILE;
  const long written = xmlSaveDoc(save.get(), doc_.get());
  // Write errors show only when the context is closed.
  if (xmlSaveClose(save.release()) < 0 || written < 0) return PGSP_ERR_CANT_LOAD_XML_FILE;
  if (had_crlf_ && !IsUtf16(doc_.get())) text = WithCrlf(text);
  const OsError error = xml.env().files().WriteFileAtomic(path_, text);
  xml.facts().Forget(path_);
  return error;
}

ResultCode CheckFileSize(XmlContext& xml, const std::string& path) {
  constexpr TraceSite kSite{"q9xmlHelper", "CheckFileSize: "};
  const std::string file = ApplyFileNameRule(path);
  FileInfo info;
  if (xml.env().files().GetFileInfo(file, &info) != os_error::kSuccess) {
    Q9_TRACE(kSite, trace_level::kResult, "Error: FILE_NOT_FOUND : %s", file.c_str());
    return kFileAttributesUnreadable;
  }
  // Only the low 32 bits of the size count: 4 GiB and more wrap around.
  const uint32_t low_size = static_cast<uint32_t>(info.size & 0xFFFFFFFFu);
  if (low_size > kMaxTemplateFileSize) {
    Q9_TRACE(kSite, trace_level::kWarning, "Warning: FILE_TOO_LARGE : %s", file.c_str());
    return PGSP_ERR_CANT_LOAD_XML_FILE;
  }
  return PGSP_OK;
}

}  // namespace q9
