// The schemas a run has compiled, so each schema file is read and compiled
// once per run however many templates are validated against it.
#pragma once

#include <map>
#include <string>

#include "xml/template_document.h"
#include "xml/xml_handles.h"

namespace q9 {

// One schema file as the run compiled it.
struct CompiledSchema {
  TemplateDocument source;       // the compiled schema points into this tree
  XmlSchemaPtr schema;           // null when the schema did not compile
  std::string failure;           // why it did not compile, for the trace
  std::string target_namespace;  // its targetNamespace, "" when it has none
};

class SchemaCache {
 public:
  // The schema kept for the schema file `schema_path`; null when none is.
  const CompiledSchema* Find(const std::string& schema_path) const;
  // Keeps `schema` for `schema_path` for the rest of the run.
  const CompiledSchema& Keep(const std::string& schema_path, CompiledSchema schema);

 private:
  std::map<std::string, CompiledSchema> schemas_;
};

}  // namespace q9
