// The version stamp of a template: the "MajorVersion" and "MinorVersion"
// attributes of its root element.
#pragma once

#include <string>

#include "platform/result_code.h"
#include "xml/template_document.h"
#include "xml/xml_context.h"

namespace q9 {

// Writes `major` and `minor` into the root element's attributes named
// "MajorVersion" and "MinorVersion" (unprefixed; names compared ignoring
// case). Returns 0 when at least one was there, 87 when `major` or `minor` is
// empty or not IsXmlText or the document is not loaded, 8040 when the root
// carries neither.
// The document is marked modified only when a value changed.
[[nodiscard]] ResultCode SetTemplateVersion(TemplateDocument& document, const std::string& major,
                                            const std::string& minor);

// The same on the file `path` (file-name rule applied), saved once when a
// value changed. Returns SetTemplateVersion's results, 87 also for an empty
// path, and 8508 when the file cannot be loaded (the file is then, as on
// 8040, not touched).
[[nodiscard]] ResultCode SetTemplateVersion(XmlContext& xml, const std::string& path,
                                            const std::string& major, const std::string& minor);

}  // namespace q9
