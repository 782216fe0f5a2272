// Loading the templates that the section operations and the merges work on,
// and the text check of everything they write.
#pragma once

#include <string>
#include <string_view>

#include "platform/result_code.h"
#include "xml/template_document.h"
#include "xml/xml_context.h"

namespace q9 {

// Applies the file-name rule, checks the size (CheckFileSize's result when it
// is not 0) and loads the file (8508 when it does not parse).
[[nodiscard]] ResultCode LoadTemplate(XmlContext& xml, const std::string& path,
                                      TemplateDocument* document);

// True when `text` is UTF-8 that an XML 1.0 document can hold: no C0 control
// but tab, line feed and carriage return, no surrogate, no U+FFFE or U+FFFF.
bool IsXmlText(std::string_view text);

}  // namespace q9
