#include "xml/validation.h"

#include "platform/path.h"
#include "trace/trace.h"
#include "xml/schema_cache.h"
#include "xml/template_namespace.h"
#include "xml/xml_library.h"

namespace q9 {
namespace {

constexpr TraceSite kSite{"q9xmlHelper", "ValidateFile: "};

std::string TargetNamespaceOf(const xmlDoc* schema) {
  XmlCharPtr value(xmlGetNoNsProp(xmlDocGetRootElement(schema), ToXml("targetNamespace")));
  return value != nullptr ? FromXml(value.get()) : "";
}

ResultCode InvalidArguments() {
  Q9_TRACE(kSite, trace_level::kResult, "<< return PGSP_ERR_INVALID_PARAMETERS, path is NULL");
  return PGSP_ERR_INVALID_PARAMETERS;
}

ResultCode SchemaNotLoaded(const std::string& schema_name) {
  Q9_TRACE(kSite, trace_level::kProgress, "Schema file: %s, not found", schema_name.c_str());
  Q9_TRACE(kSite, trace_level::kResult, "<< return ERR_CANT_LOAD_SCHEME");
  return ERR_CANT_LOAD_SCHEME;
}

ResultCode Invalid(const std::string& reason) {
  Q9_TRACE(kSite, trace_level::kProgress, "INVALID FILE, reason: %s", reason.c_str());
  Q9_TRACE(kSite, trace_level::kResult, "<< return lRet = %d", kInvalidAgainstSchema);
  return kInvalidAgainstSchema;
}

// Compiles the parsed schema in `schema`; false when no compiler could be
// made. A schema that does not compile keeps the reason in `failure`.
bool Compile(XmlContext& xml, const std::string& schema_path, const std::string& schema_name,
             CompiledSchema* schema) {
  XmlSchemaParserCtxtPtr parser(xmlSchemaNewDocParserCtxt(schema->source.doc()));
  if (parser == nullptr) return false;
  FirstXmlError errors;
  xmlSchemaSetParserStructuredErrors(parser.get(), FirstXmlError::Collect, &errors);
  {
    XmlErrorsToTrace quiet(schema_path);
    SchemaFolderScope includes(xml.env(), std::string(ParentPath(schema_path)));
    schema->schema.reset(xmlSchemaParse(parser.get()));
  }
  if (schema->schema == nullptr) {
    schema->failure =
        "the schema " + schema_name + " does not compile: " + errors.failure.Describe();
  }
  schema->target_namespace = TargetNamespaceOf(schema->source.doc());
  return true;
}

// The compiled schema of `schema_name`, from the run's cache or read and
// compiled now. 8509 (traced) when the schema file cannot be loaded; 8505
// when no compiler could be made, which the caller reports only after its
// own load check, as the order of the results demands.
ResultCode FindSchema(XmlContext& xml, const std::string& schema_folder,
                      const std::string& schema_name, const CompiledSchema** found) {
  const std::string schema_path = JoinPath(schema_folder, schema_name) + ".xsd";
  *found = xml.schemas().Find(schema_path);
  if (*found != nullptr) return PGSP_OK;
  CompiledSchema schema;
  if (TemplateDocument::Load(xml, schema_path, &schema.source) != PGSP_OK) {
    return SchemaNotLoaded(schema_name);
  }
  if (!Compile(xml, schema_path, schema_name, &schema)) return kXmlObjectNotCreated;
  *found = &xml.schemas().Keep(schema_path, std::move(schema));
  return PGSP_OK;
}

ResultCode ValidateAgainst(const CompiledSchema& schema, const std::string& schema_name,
                           const TemplateDocument& document) {
  // A schema that was loaded but does not compile describes nothing the file
  // may contain, so the file is reported invalid, as a document whose
  // namespace has no schema in the cache is.
  if (schema.schema == nullptr) return Invalid(schema.failure);

  // A schema filed under another namespace than its own describes nothing the
  // file may contain, so the file cannot be valid against it.
  const std::string expected = NamespaceForSchemaName(schema_name);
  if (schema.target_namespace != expected) {
    return Invalid("the schema's targetNamespace \"" + schema.target_namespace + "\" is not \"" +
                   expected + "\", the namespace of " + schema_name);
  }

  XmlSchemaValidCtxtPtr validator(xmlSchemaNewValidCtxt(schema.schema.get()));
  if (validator == nullptr) return kXmlObjectNotCreated;
  FirstXmlError invalid;
  xmlSchemaSetValidStructuredErrors(validator.get(), FirstXmlError::Collect, &invalid);
  XmlErrorsToTrace quiet(document.path());
  if (xmlSchemaValidateDoc(validator.get(), document.doc()) != 0) {
    return Invalid(invalid.any ? invalid.failure.Describe() : "the validator failed");
  }
  Q9_TRACE(kSite, trace_level::kResult, "<< return PGSP_OK");
  return PGSP_OK;
}

}  // namespace

ResultCode ValidateFile(XmlContext& xml, const std::string& xml_path,
                        const std::string& schema_folder, const std::string& schema_name,
                        const TemplateDocument* loaded) {
  Q9_TRACE(kSite, trace_level::kEntry, ">> Start");
  if (xml_path.empty() || schema_folder.empty() || schema_name.empty()) return InvalidArguments();
  Q9_TRACE(kSite, trace_level::kProgress, "Validating XML file: %s", xml_path.c_str());

  const CompiledSchema* schema = nullptr;
  const ResultCode found = FindSchema(xml, schema_folder, schema_name, &schema);
  if (found == ERR_CANT_LOAD_SCHEME) return found;
  TemplateDocument own;
  if (loaded == nullptr || !loaded->loaded()) {
    if (TemplateDocument::Load(xml, ApplyFileNameRule(xml_path), &own) != PGSP_OK) {
      return PGSP_ERR_CANT_LOAD_XML_FILE;
    }
    loaded = &own;
  }
  if (found != PGSP_OK) return found;
  return ValidateAgainst(*schema, schema_name, *loaded);
}

ResultCode ValidateDocument(XmlContext& xml, const TemplateDocument& document,
                            const std::string& schema_folder, const std::string& schema_name) {
  Q9_TRACE(kSite, trace_level::kEntry, ">> Start");
  if (!document.loaded() || schema_folder.empty() || schema_name.empty()) {
    return InvalidArguments();
  }
  Q9_TRACE(kSite, trace_level::kProgress, "Validating XML file: %s", document.path().c_str());

  const CompiledSchema* schema = nullptr;
  const ResultCode found = FindSchema(xml, schema_folder, schema_name, &schema);
  if (found != PGSP_OK) return found;
  return ValidateAgainst(*schema, schema_name, document);
}

}  // namespace q9
