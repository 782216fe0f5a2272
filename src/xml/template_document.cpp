#include "xml/template_document.h"

#include "xml/xml_context.h"

#include "platform/path.h"
#include "trace/trace.h"
#include "xml/template_namespace.h"

namespace q9 {
namespace {

constexpr std::string_view kUtf8Bom = "\xEF\xBB\xBF";
constexpr TraceSite kSizeSite{"q9xmlHelper", "CheckFileSize: "};

ResultCode RefuseTooLarge(const std::string& file) {
  Q9_TRACE(kSizeSite, trace_level::kWarning, "Warning: FILE_TOO_LARGE : %s", file.c_str());
  return PGSP_ERR_CANT_LOAD_XML_FILE;
}

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

// Appends the document to `text`, in `encoding` (null: its own).
bool Serialize(xmlDoc* doc, const char* encoding, int options, std::string* text) {
  XmlSaveCtxtPtr save(xmlSaveToIO(AppendToString, CloseNothing, text, encoding, options));
  if (save == nullptr) return false;
  const long written = xmlSaveDoc(save.get(), doc);
  // Write errors show only when the context is closed.
  return xmlSaveClose(save.release()) >= 0 && written >= 0;
}

// True for the encodings that libxml2 converts itself (no declaration, UTF-8,
// UTF-16, Latin-1, ASCII): what it writes in them always loads again. Any
// other encoding goes through iconv and is checked by reading the text back.
bool WritesBackSafely(const xmlDoc* doc) {
  if (doc->encoding == nullptr) return true;
  switch (xmlParseCharEncoding(FromXml(doc->encoding))) {
    case XML_CHAR_ENCODING_UTF8:
    case XML_CHAR_ENCODING_UTF16LE:
    case XML_CHAR_ENCODING_UTF16BE:
    case XML_CHAR_ENCODING_8859_1:
    case XML_CHAR_ENCODING_ASCII:
      return true;
    default:
      return false;
  }
}

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
                                  TemplateDocument* document, XmlParseFailure* failure,
                                  TwinLoad* twin) {
  *document = TemplateDocument();
  // Every load is bounded, so no caller can read a huge file into memory. The
  // whole size counts here: a file of 4 GiB and more that the wrapped
  // comparison of CheckFileSize lets through is refused as well, and so is
  // one that grew after that check.
  std::string bytes;
  const OsError read = xml.env().files().ReadFileAtMost(path, kMaxTemplateFileSize, &bytes);
  if (read == os_error::kFileTooLarge) {
    if (failure != nullptr) *failure = {"the file is larger than the size limit", 0};
    return RefuseTooLarge(path);
  }
  if (read != os_error::kSuccess) {
    if (failure != nullptr) {
      *failure = {"cannot read the file (error " + std::to_string(read) + ")", 0};
    }
    return PGSP_ERR_CANT_LOAD_XML_FILE;
  }
  const TemplateDocument* copy_of = nullptr;
  if (twin != nullptr) {
    // A twin changed since its load no longer shows what its bytes hold.
    twin->same = twin->twin != nullptr && twin->twin->loaded() && !twin->twin->modified() &&
                 twin->twin->bytes_ == bytes;
    if (twin->same && twin->skip) return PGSP_OK;
    if (twin->same) copy_of = twin->twin;
  }
  // A copy of the twin's tree is what parsing the same bytes would build,
  // at about half the cost; only its name is this file's.
  XmlDocPtr doc = copy_of != nullptr ? XmlDocPtr(xmlCopyDoc(copy_of->doc(), 1))
                                     : ParseDocument(bytes, path, failure);
  if (doc == nullptr) return PGSP_ERR_CANT_LOAD_XML_FILE;
  if (copy_of != nullptr) {
    xmlFree(const_cast<xmlChar*>(doc->URL));
    doc->URL = xmlStrdup(ToXml(path.c_str()));
  }
  document->doc_ = std::move(doc);
  document->path_ = path;
  document->had_declaration_ = BeginsWithDeclaration(bytes);
  document->had_bom_ = HasUtf8Bom(bytes);
  document->had_crlf_ = UsesCrlf(bytes);
  document->bytes_ = std::move(bytes);
  return PGSP_OK;
}

ResultCode TemplateDocument::Save(XmlContext& xml) const {
  if (doc_ == nullptr) return PGSP_ERR_CANT_LOAD_XML_FILE;
  XmlErrorsToTrace quiet(doc_->URL != nullptr ? FromXml(doc_->URL) : path_);
  std::string text;
  if (had_bom_) text += kUtf8Bom;
  const int options = had_declaration_ ? 0 : XML_SAVE_NO_DECL;
  // UTF-16 must be asked for by name; every other encoding is kept when none is given.
  const char* encoding = IsUtf16(doc_.get()) ? FromXml(doc_->encoding) : nullptr;
  if (!Serialize(doc_.get(), encoding, options, &text)) return PGSP_ERR_CANT_LOAD_XML_FILE;
  if (!WritesBackSafely(doc_.get()) && ParseDocument(text, path_) == nullptr) {
    // libxml2 writes some encodings (UTF-7, the ISO-2022 family) so that the
    // file no longer loads; such a document is saved as UTF-8 instead.
    text.clear();
    if (!Serialize(doc_.get(), "UTF-8", options, &text)) return PGSP_ERR_CANT_LOAD_XML_FILE;
  }
  if (had_crlf_ && !IsUtf16(doc_.get())) text = WithCrlf(text);
  const OsError error = xml.env().files().WriteFileAtomic(path_, text);
  xml.facts().Forget(path_);
  return error;
}

ResultCode CheckFileSize(XmlContext& xml, const std::string& path) {
  const std::string file = ApplyFileNameRule(path);
  FileInfo info;
  if (xml.env().files().GetFileInfo(file, &info) != os_error::kSuccess) {
    Q9_TRACE(kSizeSite, trace_level::kResult, "Error: FILE_NOT_FOUND : %s", file.c_str());
    return kFileAttributesUnreadable;
  }
  // Only the low 32 bits of the size count: 4 GiB and more wrap around.
  const uint32_t low_size = static_cast<uint32_t>(info.size & 0xFFFFFFFFu);
  if (low_size > kMaxTemplateFileSize) return RefuseTooLarge(file);
  return PGSP_OK;
}

}  // namespace q9
