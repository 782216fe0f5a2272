// Fast read-only look-ups that stream a template with libxml2's pull reader
// instead of building a document, and stop at the first match.
#pragma once

#include <map>
#include <string>

#include "platform/result_code.h"
#include "xml/xml_context.h"

namespace q9 {

// Reads the attribute `attribute_name` (qualified name, exact case) of the
// first element of the file `path` (file-name rule applied). `*value` is
// cleared first. Returns 0 with the value; 87 when the path is empty or
// `value` is null; 8508 when the file cannot be read; 8513 when the
// document has no element, has no such attribute on it (an empty name names
// none), is malformed before
// its first element, or declares a document type.
// With `attributes` given, it also receives every attribute of that element
// whose name has no prefix, as this call would read each of them (nothing
// when the element is not reached).
[[nodiscard]] ResultCode ReadRootAttribute(XmlContext& xml, const std::string& path,
                                           const std::string& attribute_name, std::string* value,
                                           std::map<std::string, std::string>* attributes = nullptr);

// Looks up one parameter: in the elements named `section` ("" means
// "SpareSection"; exact local name, any namespace), anywhere in the document
// and in document order, the first child "Parameter", "ParameterBool" or
// "ParameterInt" that has a child "Name" whose text equals `parameter_name`
// ignoring ASCII case and has a "Value" child; the text of its first "Value"
// child is the result. A parameter of that name without a "Value" child does
// not match and the search goes on (unlike GetSectionParameter, which reads
// the last "Value" and gives "" for none). `*value` is cleared
// first. Returns 0 with the value; 87 when the path or the name is empty or
// `value` is null; 8508 when the file cannot be read; 8513 when nothing
// matches before the document ends or before the reader hits malformed text
// or a document type declaration.
[[nodiscard]] ResultCode ReadParameterValue(XmlContext& xml, const std::string& path,
                                            const std::string& section,
                                            const std::string& parameter_name, std::string* value);

}  // namespace q9
