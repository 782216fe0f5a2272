#include "xml/validation.h"

#include "platform/path.h"
#include "trace/trace.h"
#include "xml/template_document.h"
#include "xml/template_namespace.h"
#include "xml/xml_library.h"

namespace q9 {
namespace {

constexpr TraceSite kSite{"q9xmlHelper", "ValidateFile: "};

std::string TargetNamespaceOf(const xmlDoc* schema) {
  XmlCharPtr value(xmlGetNoNsProp(xmlDocGetRootElement(schema), ToXml("targetNamespace")));
  return value != nullptr ? FromXml(value.get()) : "";
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

// Compiles the schema document; null with the reason in `errors` on failure.
XmlSchemaPtr CompileSchema(XmlContext& xml, xmlDoc* schema_doc, const std::string& schema_path,
                           FirstXmlError* errors, bool* out_of_memory) {
  XmlSchemaParserCtxtPtr parser(xmlSchemaNewDocParserCtxt(schema_doc));
  if (parser == nullptr) {
    *out_of_memory = true;
    return nullptr;
  }
  xmlSchemaSetParserStructuredErrors(parser.get(), FirstXmlError::Collect, errors);
  SchemaFolderScope includes(xml.env(), std::string(ParentPath(schema_path)));
  return XmlSchemaPtr(xmlSchemaParse(parser.get()));
}

}  // namespace

ResultCode ValidateFile(XmlContext& xml, const std::string& xml_path,
                        const std::string& schema_folder, const std::string& schema_name) {
  Q9_TRACE(kSite, trace_level::kEntry, ">> Start");
  if (xml_path.empty() || schema_folder.empty() || schema_name.empty()) {
    Q9_TRACE(kSite, trace_level::kResult, "<< return PGSP_ERR_INVALID_PARAMETERS, path is NULL");
    return PGSP_ERR_INVALID_PARAMETERS;
  }
  Q9_TRACE(kSite, trace_level::kProgress, "Validating XML file: %s", xml_path.c_str());

  TemplateDocument schema;
  const std::string schema_path = JoinPath(schema_folder, schema_name) + ".xsd";
  if (TemplateDocument::Load(xml, schema_path, &schema) != PGSP_OK)
    return SchemaNotLoaded(schema_name);

  TemplateDocument document;
  if (TemplateDocument::Load(xml, ApplyFileNameRule(xml_path), &document) != PGSP_OK) {
    return PGSP_ERR_CANT_LOAD_XML_FILE;
  }

  FirstXmlError errors;
  bool out_of_memory = false;
  XmlSchemaPtr compiled = CompileSchema(xml, schema.doc(), schema_path, &errors, &out_of_memory);
  if (out_of_memory) return kXmlObjectNotCreated;
  // The schema file was loaded; one that does not compile describes nothing
  // the file may contain, so the file is reported invalid, as a document
  // whose namespace has no schema in the cache is.
  if (compiled == nullptr) {
    return Invalid("the schema " + schema_name + " does not compile: " +
                   errors.failure.Describe());
  }

  // A schema filed under another namespace than its own describes nothing the
  // file may contain, so the file cannot be valid against it.
  const std::string expected = NamespaceForSchemaName(schema_name);
  const std::string target = TargetNamespaceOf(schema.doc());
  if (target != expected) {
    return Invalid("the schema's targetNamespace \"" + target + "\" is not \"" + expected +
                   "\", the namespace of " + schema_name);
  }

  XmlSchemaValidCtxtPtr validator(xmlSchemaNewValidCtxt(compiled.get()));
  if (validator == nullptr) return kXmlObjectNotCreated;
  FirstXmlError invalid;
  xmlSchemaSetValidStructuredErrors(validator.get(), FirstXmlError::Collect, &invalid);
  if (xmlSchemaValidateDoc(validator.get(), document.doc()) != 0) {
    return Invalid(invalid.any ? invalid.failure.Describe() : "the validator failed");
  }
  Q9_TRACE(kSite, trace_level::kResult, "<< return PGSP_OK");
  return PGSP_OK;
}

}  // namespace q9
