// Loading the templates that the section operations and the merges work on.
#pragma once

#include <string>

#include "platform/result_code.h"
#include "xml/template_document.h"
#include "xml/xml_context.h"

namespace q9 {

// Applies the file-name rule, checks the size (CheckFileSize's result when it
// is not 0) and loads the file (8508 when it does not parse). After a load
// the run's facts know the file's root attributes from the document.
[[nodiscard]] ResultCode LoadTemplate(XmlContext& xml, const std::string& path,
                                      TemplateDocument* document, TwinLoad* twin = nullptr);

}  // namespace q9
