// Owning wrappers for libxml2 handles. Every handle the XML layer creates is
// held by one of these from the moment it exists, so every return path frees it.
#pragma once

#include <libxml/parser.h>
#include <libxml/tree.h>
#include <libxml/xmlreader.h>
#include <libxml/xmlsave.h>
#include <libxml/xmlschemas.h>

#include <memory>

namespace q9 {

namespace xml_detail {
struct DocDeleter {
  void operator()(xmlDoc* doc) const { xmlFreeDoc(doc); }
};
struct NodeDeleter {
  // Only for nodes that are not (or no longer) part of a tree.
  void operator()(xmlNode* node) const { xmlFreeNode(node); }
};
struct ParserCtxtDeleter {
  void operator()(xmlParserCtxt* ctxt) const { xmlFreeParserCtxt(ctxt); }
};
struct TextReaderDeleter {
  void operator()(xmlTextReader* reader) const { xmlFreeTextReader(reader); }
};
struct SchemaParserCtxtDeleter {
  void operator()(xmlSchemaParserCtxt* ctxt) const { xmlSchemaFreeParserCtxt(ctxt); }
};
struct SchemaDeleter {
  void operator()(xmlSchema* schema) const { xmlSchemaFree(schema); }
};
struct SchemaValidCtxtDeleter {
  void operator()(xmlSchemaValidCtxt* ctxt) const { xmlSchemaFreeValidCtxt(ctxt); }
};
struct XmlCharDeleter {
  void operator()(xmlChar* text) const { xmlFree(text); }
};
struct SaveCtxtDeleter {
  // Closing here is the fallback for early returns; callers that care about
  // write errors release the handle and check xmlSaveClose themselves.
  void operator()(xmlSaveCtxt* ctxt) const { xmlSaveClose(ctxt); }
};
}  // namespace xml_detail

using XmlDocPtr = std::unique_ptr<xmlDoc, xml_detail::DocDeleter>;
using XmlNodePtr = std::unique_ptr<xmlNode, xml_detail::NodeDeleter>;
using XmlParserCtxtPtr = std::unique_ptr<xmlParserCtxt, xml_detail::ParserCtxtDeleter>;
using XmlTextReaderPtr = std::unique_ptr<xmlTextReader, xml_detail::TextReaderDeleter>;
using XmlSchemaParserCtxtPtr =
    std::unique_ptr<xmlSchemaParserCtxt, xml_detail::SchemaParserCtxtDeleter>;
using XmlSchemaPtr = std::unique_ptr<xmlSchema, xml_detail::SchemaDeleter>;
using XmlSchemaValidCtxtPtr =
    std::unique_ptr<xmlSchemaValidCtxt, xml_detail::SchemaValidCtxtDeleter>;
using XmlCharPtr = std::unique_ptr<xmlChar, xml_detail::XmlCharDeleter>;
using XmlSaveCtxtPtr = std::unique_ptr<xmlSaveCtxt, xml_detail::SaveCtxtDeleter>;

// libxml2 speaks unsigned UTF-8; the program speaks std::string.
inline const xmlChar* ToXml(const char* text) { return reinterpret_cast<const xmlChar*>(text); }
inline const char* FromXml(const xmlChar* text) { return reinterpret_cast<const char*>(text); }
// For the few libxml2 calls that hand out plain char strings to xmlFree.
inline xmlChar* ToXmlOwned(char* text) { return reinterpret_cast<xmlChar*>(text); }

}  // namespace q9
