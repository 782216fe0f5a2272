// Parameters inside the named sections of a template: read by index, set,
// created and deleted by name. Every operation loads the file itself, and
// saves it whole (atomically) over its own path only when it changed it.
//
// A parameter is an element "Parameter" (text), "ParameterInt" or
// "ParameterBool" with the children "Name" and "Value", whose text contents
// are its name and value. Names of elements are compared by local name.
#pragma once

#include <string>
#include <string_view>

#include "platform/result_code.h"
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
//     a valid XML name, since it becomes an element name.
// Returns 0, or 87 when a rule is broken.
[[nodiscard]] ResultCode CheckParameterValue(std::string_view name, std::string_view type,
                                             std::string_view value, std::string* element_name,
                                             std::string* stored_value);

// The `parameter_index`-th parameter (0-based) of section `section_index`,
// counting the "Parameter", "ParameterInt" and "ParameterBool" children (exact
// names) of every element whose name equals the section's ignoring case, in
// document order, below the document element. Of several "Name" or "Value"
// children the last counts; a missing one gives "". The file-name rule
// applies. Returns 0 with the entry; 259 when there is no such parameter
// (also, once the file has loaded, for a section index outside 0 to 7); 87
// for an empty path or a null output; CheckFileSize's result when it is not
// 0; 8508 when the file cannot be loaded.
[[nodiscard]] ResultCode GetSectionParameter(XmlContext& xml, const std::string& path,
                                             int32_t section_index, int32_t parameter_index,
                                             std::string* name, std::string* value,
                                             std::string* kind);

// Sets the value of the parameter `name` (ignoring case) of kind `type` (see
// CheckParameterValue) in the section elements named exactly after
// `section_index`, or creates it in the first of them, in the namespace that
// the section name selects (PrefixForSection), with children "Name" and
// "Value". Returns 0 when set or created (a failed save is traced, not
// reported); 87 for an empty path or name, a section index outside 0 to 7 or
// a broken value rule, before the file is read; 8508 when the file cannot be
// loaded; 14 when the document has no element of the section's name.
[[nodiscard]] ResultCode SetSectionParameter(XmlContext& xml, const std::string& path,
                                             int32_t section_index, const std::string& name,
                                             const std::string& value, const std::string& type);

// Removes the first parameter (any of the three kinds, names compared
// ignoring case) whose "Name" text equals `name` ignoring case, searching the
// elements named after `section_index` ignoring case. Returns 0 when removed
// and saved; 14 when there is none; 87 for an empty path or name or a section
// index outside 0 to 7; 8508 when the file cannot be loaded.
[[nodiscard]] ResultCode DeleteSectionParameter(XmlContext& xml, const std::string& path,
                                                int32_t section_index, const std::string& name);

// SetSectionParameter with the section given by its element name ("" means
// "SpareSection", matched exactly) and the type "" meaning "string". Also
// returns CheckFileSize's result when that is not 0. A section element that
// is missing is not created: 14.
[[nodiscard]] ResultCode Q9XMLSetValue(XmlContext& xml, const std::string& path,
                                       const std::string& section, const std::string& name,
                                       const std::string& value, const std::string& type);

}  // namespace q9
