#include "xml/xml_context.h"

#include "xml/schema_cache.h"

namespace q9 {

XmlContext::XmlContext(Env& env) : env_(env), schemas_(std::make_unique<SchemaCache>()) {}

XmlContext::~XmlContext() = default;

}  // namespace q9
