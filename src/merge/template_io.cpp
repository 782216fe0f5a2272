#include "merge/template_io.h"

#include <libxml/chvalid.h>
#include <libxml/xmlstring.h>

#include "xml/template_namespace.h"

namespace q9 {

ResultCode LoadTemplate(XmlContext& xml, const std::string& path, TemplateDocument* document) {
  const std::string file = ApplyFileNameRule(path);
  const ResultCode size = CheckFileSize(xml, file);
  if (size != PGSP_OK) return size;
  return TemplateDocument::Load(xml, file, document);
}

bool IsXmlText(std::string_view text) {
  size_t offset = 0;
  while (offset < text.size()) {
    // Invalid UTF-8 reads as -1.
    int length = static_cast<int>(text.size() - offset);
    const int code = xmlGetUTF8Char(ToXml(text.data() + offset), &length);
    if (code < 0 || length <= 0) return false;
    // xmlIsChar: tab, LF, CR, U+0020-U+D7FF, U+E000-U+FFFD, U+10000 and above.
    if (!xmlIsChar(static_cast<unsigned int>(code))) return false;
    offset += static_cast<size_t>(length);
  }
  return true;
}

}  // namespace q9
