// Schema validation of template files against the schemas of the store's
// Schemes folder.
#pragma once

#include <string>

#include "platform/result_code.h"
#include "xml/template_document.h"
#include "xml/xml_context.h"

namespace q9 {

// Validates the file `xml_path` (file-name rule applied) against the schema
// file `schema_folder` + separator + `schema_name` + ".xsd". The namespace the
// schema must describe is chosen by `schema_name` alone
// (NamespaceForSchemaName), never by looking into the file. The schema is
// read and compiled at its first use in the run and kept in `xml`.
//
// Checks, in this order, and returns the first that fails:
//   87   an argument is empty;
//   8509 the schema file cannot be read or parsed (even when the XML file is
//        missing too);
//   8508 the XML file cannot be read or parsed;
//   8505 no schema compiler or validator could be created;
//   8506 the schema does not compile, its targetNamespace is not the
//        namespace its name selects, or the file does not satisfy the schema.
// Returns 0 for a valid file. The reason of an 8506 (text and line number)
// goes to the trace. Includes and imports of the schema are
// read only from the schema folder; nothing else is ever read.
// `loaded`, when given and loaded, is the file as the caller loaded it just
// before (nothing written since) and stands in for reading and parsing it
// again; results and traces stay the same.
[[nodiscard]] ResultCode ValidateFile(XmlContext& xml, const std::string& xml_path,
                                      const std::string& schema_folder,
                                      const std::string& schema_name,
                                      const TemplateDocument* loaded = nullptr);

// ValidateFile on a document already loaded: the same checks, results and
// traces, without reading its file again (87 also for a document not loaded).
[[nodiscard]] ResultCode ValidateDocument(XmlContext& xml, const TemplateDocument& document,
                                          const std::string& schema_folder,
                                          const std::string& schema_name);

}  // namespace q9
