// Parameters inside the named sections of a template: read by index, set,
// created and deleted by name, on a loaded document or on a file.
//
// A parameter is an element "Parameter" (text), "ParameterInt" or
// "ParameterBool" with the children "Name" and "Value", whose text contents
// are its name and value. Names of elements are compared by local name.
#pragma once

#include <array>
#include <string>
#include <string_view>
#include <vector>

#include "platform/result_code.h"
#include "xml/template_document.h"
#include "xml/xml_context.h"

namespace q9 {

// One parameter: its name, its value (always text) and its kind, the element
// name ("Parameter", "ParameterInt" or "ParameterBool").
struct ParameterEntry {
  std::string name;
  std::string value;
  std::string kind;
};

// The sections that the index-based operations address.
enum class ParameterSection : int32_t {
  kLocalSettings = 0,
  kNetworkSettings = 1,
  kBindings = 2,
  kNdi = 3,
  kDeviceHeader = 4,
  kSpareSection = 5,
  kBoardAttributes = 6,
  kInstall = 7,
};

// The element name of section `index` ("LocalSettings" ... "Install"); null
// for an index outside 0 to 7.
const char* SectionElementName(int32_t index);

// Checks `value` against `type` and gives the element name of the parameter
// and the value as it is stored:
//   "string" or "": "Parameter"; the name must contain none of the 24
//     forbidden characters (space [ ] ^ ! " § $ % & ( ) = ? ´ ' # + > < * | ; ,)
//     and the value neither "<" nor ">";
//   "int": "ParameterInt"; the whole value must read as a base-10 long, with
//     leading white space and sign allowed and nothing after the digits;
//   "bool": "ParameterBool"; "true" or "false" in any case, stored lower case;
//   anything else: an element of that name, value unchecked; the name must be
//     IsWritableElementName ("a:Custom" is written with "a" declared for the
//     section's namespace and matched again by prefix and local name).
// Name, value and type must all be IsXmlText. Returns 0, or 87 when a rule
// is broken.
[[nodiscard]] ResultCode CheckParameterValue(std::string_view name, std::string_view type,
                                             std::string_view value, std::string* element_name,
                                             std::string* stored_value);

// The `parameter_index`-th parameter (0-based) of section `section_index`,
// counting the "Parameter", "ParameterInt" and "ParameterBool" children (exact
// names) of every element whose name equals the section's ignoring case, in
// document order, below the document element. Of several "Name" or "Value"
// children the last counts; a missing one gives "". Returns 0 with the entry;
// 259 when there is no such parameter (also for a section index outside 0 to
// 7); 87 for a null `entry`.
[[nodiscard]] ResultCode GetSectionParameter(const TemplateDocument& document,
                                             int32_t section_index, int32_t parameter_index,
                                             ParameterEntry* entry);

// Every parameter of the section in one pass: what the index walk would yield.
// Nothing for a document that is not loaded.
std::vector<ParameterEntry> SectionParameters(const TemplateDocument& document,
                                              int32_t section_index);

// SectionParameters of the sections 0 to 7, by index, from one walk of the
// document: for code that reads several sections before it changes any.
using AllSections = std::array<std::vector<ParameterEntry>, 8>;
AllSections AllSectionParameters(const TemplateDocument& document);

// Sets the value of the parameter `name` (ignoring case) of kind `type` (see
// CheckParameterValue) in the section elements named exactly after
// `section_index`, or creates it in the first of them, in the namespace that
// the section name selects (PrefixForSection), with children "Name" and
// "Value". Returns 0 when set or created; 87 for a document that is not
// loaded, an empty name, a section index outside 0 to 7 or a broken value
// rule; 14 when the document has no element of the section's name. Setting
// the text a value already has is no change.
[[nodiscard]] ResultCode SetSectionParameter(TemplateDocument& document, int32_t section_index,
                                             const std::string& name, const std::string& value,
                                             const std::string& type);

// Removes the first parameter (any of the three kinds, names compared
// ignoring case) whose "Name" text equals `name` ignoring case, searching the
// elements named after `section_index` ignoring case. Returns 0 when removed;
// 14 when there is none; 87 for a document that is not loaded, an empty name
// or a section index outside 0 to 7.
[[nodiscard]] ResultCode DeleteSectionParameter(TemplateDocument& document, int32_t section_index,
                                                const std::string& name);

// SetSectionParameter with the section given by its element name ("" means
// "SpareSection", matched exactly) and the type "" meaning "string". A
// section element that is missing is not created: 14.
[[nodiscard]] ResultCode Q9XMLSetValue(TemplateDocument& document, const std::string& section,
                                       const std::string& name, const std::string& value,
                                       const std::string& type);

// The operations on the file `path` (file-name rule applied): each loads the
// file through `xml`, applies the operation above and saves the file whole
// (atomically) when the document was modified. A failed save is traced, not
// reported. Beyond the results above they return 87 also for an empty path
// (every 87 comes before the file is read) and 8508 when the file cannot be
// loaded; GetSectionParameter and Q9XMLSetValue first return CheckFileSize's
// result when it is not 0. GetSectionParameter returns 87 for any null output.
[[nodiscard]] ResultCode GetSectionParameter(XmlContext& xml, const std::string& path,
                                             int32_t section_index, int32_t parameter_index,
                                             std::string* name, std::string* value,
                                             std::string* kind);
[[nodiscard]] ResultCode SetSectionParameter(XmlContext& xml, const std::string& path,
                                             int32_t section_index, const std::string& name,
                                             const std::string& value, const std::string& type);
[[nodiscard]] ResultCode DeleteSectionParameter(XmlContext& xml, const std::string& path,
                                                int32_t section_index, const std::string& name);
[[nodiscard]] ResultCode Q9XMLSetValue(XmlContext& xml, const std::string& path,
                                       const std::string& section, const std::string& name,
                                       const std::string& value, const std::string& type);

}  // namespace q9
