#include "xml/streaming_reader.h"

#include <algorithm>
#include <limits>
#include <vector>

#include "platform/path.h"
#include "trace/trace.h"
#include "xml/template_namespace.h"
#include "xml/xml_library.h"

namespace q9 {
namespace {

void IgnoreReaderError(void*, xmlErrorPtr) {}

constexpr uint64_t kNoOffset = std::numeric_limits<uint64_t>::max();

// The bytes of the file as the reader asks for them. From `careful_from` on
// they are handed out one at a time, so that the reader parses no further
// than it must to give its next node.
struct PieceSource {
  SequentialFile* file = nullptr;
  uint64_t careful_from = kNoOffset;
  uint64_t offset = 0;            // bytes handed out so far
  uint64_t last_piece_start = 0;  // where the latest piece began
};

int ReadPiece(void* context, char* buffer, int length) {
  auto* source = static_cast<PieceSource*>(context);
  if (length < 0) return -1;
  uint64_t wanted = static_cast<uint64_t>(length);
  if (source->offset >= source->careful_from) {
    wanted = std::min<uint64_t>(wanted, 1);
  } else {
    wanted = std::min(wanted, source->careful_from - source->offset);
  }
  size_t read = 0;
  if (source->file->Read(buffer, static_cast<size_t>(wanted), &read) != os_error::kSuccess) {
    return -1;
  }
  source->last_piece_start = source->offset;
  source->offset += read;
  return static_cast<int>(read);
}

int KeepFileOpen(void*) { return 0; }  // the stream owns the file

// A pull reader over a file read piece by piece through the Env, so a look-up
// that matches early reads only the beginning of the file.
class TemplateStream {
 public:
  explicit TemplateStream(const std::string& path) : quiet_(path) {}

  // 0, or 8508 when the file cannot be opened or the reader cannot be made.
  // Pieces from `careful_from` on are one byte long.
  ResultCode Open(XmlContext& xml, const std::string& path, uint64_t careful_from) {
    InitializeXmlLibrary();
    if (xml.env().files().OpenSequential(path, &file_) != os_error::kSuccess) {
      return PGSP_ERR_CANT_LOAD_XML_FILE;
    }
    source_.file = file_.get();
    source_.careful_from = careful_from;
    // No XML_PARSER_LOADDTD, no XML_PARSER_SUBST_ENTITIES: nothing outside
    // the file is ever read, and a document type stops the walk below.
    reader_.reset(xmlReaderForIO(ReadPiece, KeepFileOpen, &source_, path.c_str(), nullptr,
                                 XML_PARSE_NONET | XML_PARSE_BIG_LINES));
    if (reader_ == nullptr) return PGSP_ERR_CANT_LOAD_XML_FILE;
    xmlTextReaderSetStructuredErrorHandler(reader_.get(), IgnoreReaderError, nullptr);
    return PGSP_OK;
  }

  // Moves to the next node; false at the end, on malformed text and on a
  // document type declaration.
  bool Next() {
    const int read = xmlTextReaderRead(reader_.get());
    if (read < 0) broken_ = true;
    return read == 1 && xmlTextReaderNodeType(reader_.get()) != XML_READER_TYPE_DOCUMENT_TYPE;
  }

  // True once the reader stopped at malformed text. The reader parses the
  // pieces it asks for whole, so the damage lies in the latest piece, and
  // nodes before it in that piece may never have been given out.
  bool broken() const { return broken_; }
  uint64_t damaged_piece_start() const { return source_.last_piece_start; }

  bool AtElement() const { return xmlTextReaderNodeType(reader_.get()) == XML_READER_TYPE_ELEMENT; }
  bool AtEndOf(int depth) const {
    return xmlTextReaderNodeType(reader_.get()) == XML_READER_TYPE_END_ELEMENT && Depth() == depth;
  }
  bool AtText() const {
    const int type = xmlTextReaderNodeType(reader_.get());
    return type == XML_READER_TYPE_TEXT || type == XML_READER_TYPE_CDATA ||
           type == XML_READER_TYPE_WHITESPACE || type == XML_READER_TYPE_SIGNIFICANT_WHITESPACE;
  }
  bool IsEmptyElement() const { return xmlTextReaderIsEmptyElement(reader_.get()) == 1; }
  int Depth() const { return xmlTextReaderDepth(reader_.get()); }
  std::string_view LocalName() const {
    const xmlChar* name = xmlTextReaderConstLocalName(reader_.get());
    return name != nullptr ? FromXml(name) : std::string_view();
  }
  std::string_view Value() const {
    const xmlChar* value = xmlTextReaderConstValue(reader_.get());
    return value != nullptr ? FromXml(value) : std::string_view();
  }
  // The attribute of the current element, by qualified name.
  bool Attribute(const std::string& name, std::string* value) const {
    XmlCharPtr text(xmlTextReaderGetAttribute(reader_.get(), ToXml(name.c_str())));
    if (text == nullptr) return false;
    *value = FromXml(text.get());
    return true;
  }

  // The qualified names of the current element's attributes, namespace
  // declarations included.
  std::vector<std::string> AttributeNames() const {
    std::vector<std::string> names;
    for (int at = xmlTextReaderMoveToFirstAttribute(reader_.get()); at == 1;
         at = xmlTextReaderMoveToNextAttribute(reader_.get())) {
      const xmlChar* name = xmlTextReaderConstName(reader_.get());
      if (name != nullptr) names.emplace_back(FromXml(name));
    }
    xmlTextReaderMoveToElement(reader_.get());
    return names;
  }

  // All text inside the current element, which the reader then stands at the
  // end of. Text arrives split over text, CDATA and white-space nodes.
  bool ReadElementText(std::string* text) {
    text->clear();
    if (IsEmptyElement()) return true;  // no end-element node follows
    const int depth = Depth();
    while (Next()) {
      if (AtEndOf(depth)) return true;
      if (AtText()) text->append(Value());
    }
    return false;
  }

 private:
  XmlErrorsToTrace quiet_;  // outlives the reader, which may report at its end
  std::unique_ptr<SequentialFile> file_;  // outlives the reader that reads it
  PieceSource source_;
  XmlTextReaderPtr reader_;
  bool broken_ = false;
};

enum class Lookup { kFound, kNotHere, kBroken };

ResultCode Traced(const TraceSite& site, ResultCode result) {
  Q9_TRACE(site, trace_level::kResult, "<< return lRet = %d", result);
  return result;
}

bool IsParameterKind(std::string_view name) {
  return name == "Parameter" || name == "ParameterBool" || name == "ParameterInt";
}

// The reader stands on a non-empty parameter element; reads up to its end.
Lookup ReadParameter(TemplateStream& stream, const std::string& wanted, std::string* value) {
  const int depth = stream.Depth();
  bool name_matches = false;
  bool has_value = false;
  std::string text;
  std::string parameter_value;
  while (stream.Next()) {
    if (stream.AtEndOf(depth)) {
      // A parameter without a value is no match: the search goes on.
      if (!name_matches || !has_value) return Lookup::kNotHere;
      *value = parameter_value;
      return Lookup::kFound;
    }
    if (!stream.AtElement() || stream.Depth() != depth + 1) continue;
    const std::string_view child = stream.LocalName();
    if (child == "Name" || child == "Value") {
      const bool is_name = child == "Name";
      if (!stream.ReadElementText(&text)) return Lookup::kBroken;
      if (is_name) {
        name_matches = EqualsIgnoreCase(text, wanted);
      } else if (!has_value) {  // the first Value child is the value
        parameter_value = text;
        has_value = true;
      }
    }
  }
  return Lookup::kBroken;
}

// The reader stands on a non-empty section element; reads up to its end or
// up to the matching parameter.
Lookup SearchSection(TemplateStream& stream, const std::string& wanted, std::string* value) {
  const int depth = stream.Depth();
  while (stream.Next()) {
    if (stream.AtEndOf(depth)) return Lookup::kNotHere;
    if (!stream.AtElement() || stream.Depth() != depth + 1 || stream.IsEmptyElement() ||
        !IsParameterKind(stream.LocalName())) {
      continue;
    }
    const Lookup lookup = ReadParameter(stream, wanted, value);
    if (lookup != Lookup::kNotHere) return lookup;
  }
  return Lookup::kBroken;
}

// Runs `search` (0 when it found its value, else 8513) on a stream of the
// file `path`. When the reader stopped at malformed text first, the look-up
// runs once more, fed byte by byte from the piece where the damage was found,
// so that a value before the damage is found wherever the pieces ended.
template <typename Search>
ResultCode RunLookUp(XmlContext& xml, const std::string& path, Search search) {
  uint64_t careful_from = kNoOffset;
  for (int attempt = 0; attempt < 2; ++attempt) {
    TemplateStream stream(path);
    const ResultCode opened = stream.Open(xml, path, careful_from);
    if (opened != PGSP_OK) return opened;
    const ResultCode result = search(stream);
    if (result == PGSP_OK || !stream.broken()) return result;
    careful_from = stream.damaged_piece_start();
  }
  return kStreamValueNotFound;
}

}  // namespace

ResultCode ReadRootAttribute(XmlContext& xml, const std::string& path,
                             const std::string& attribute_name, std::string* value,
                             std::map<std::string, std::string>* attributes) {
  constexpr TraceSite kSite{"q9xmlHelper", "ReadRootAttribute: "};
  Q9_TRACE(kSite, trace_level::kEntry, ">> Start");
  // An empty attribute name is no bad argument; it simply names nothing (8513).
  if (path.empty() || value == nullptr) return Traced(kSite, PGSP_ERR_INVALID_PARAMETERS);
  value->clear();
  const auto first_element_attribute = [&](TemplateStream& stream) -> ResultCode {
    while (stream.Next()) {
      if (!stream.AtElement()) continue;
      if (attributes != nullptr) {
        attributes->clear();
        for (const std::string& name : stream.AttributeNames()) {
          // Namespace declarations are attributes to the reader, not plain names.
          if (name.find(':') != std::string::npos || name == "xmlns") continue;
          (void)stream.Attribute(name, &(*attributes)[name]);
        }
      }
      return stream.Attribute(attribute_name, value) ? PGSP_OK : kStreamValueNotFound;
    }
    return kStreamValueNotFound;
  };
  return Traced(kSite, RunLookUp(xml, ApplyFileNameRule(path), first_element_attribute));
}

ResultCode ReadParameterValue(XmlContext& xml, const std::string& path, const std::string& section,
                              const std::string& parameter_name, std::string* value) {
  constexpr TraceSite kSite{"q9xmlHelper", "ReadParameterValue: "};
  Q9_TRACE(kSite, trace_level::kEntry, ">> Start");
  if (path.empty() || parameter_name.empty() || value == nullptr) {
    return Traced(kSite, PGSP_ERR_INVALID_PARAMETERS);
  }
  value->clear();
  const std::string wanted_section = section.empty() ? "SpareSection" : section;
  const auto parameter_value = [&](TemplateStream& stream) -> ResultCode {
    while (stream.Next()) {
      if (!stream.AtElement() || stream.IsEmptyElement() || stream.LocalName() != wanted_section) {
        continue;
      }
      switch (SearchSection(stream, parameter_name, value)) {
        case Lookup::kFound:
          return PGSP_OK;
        case Lookup::kBroken:
          return kStreamValueNotFound;
        case Lookup::kNotHere:
          break;
      }
    }
    return kStreamValueNotFound;
  };
  return Traced(kSite, RunLookUp(xml, ApplyFileNameRule(path), parameter_value));
}

}  // namespace q9
