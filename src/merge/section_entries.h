// Entries of the template sections that are not plain parameter sections:
// the user interfaces, the subdevices and the Load section. Each path-based
// operation applies the file-name rule, loads the file through the run's XML
// context and, for a writer, saves it once when it changed something. The
// document-level cores beside them do the same on a loaded document and
// save nothing but mark the document modified when they changed it; the
// merges run them on documents they hold.
//
// Reading by index counts the way the merges rely on: below the section, every
// child before the wanted position advances the counter whatever it is; from
// that position on, the first child of the wanted kind is the entry.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "platform/result_code.h"
#include "xml/template_document.h"
#include "xml/xml_context.h"

namespace q9 {

// Section indexes of the user-interface operations.
inline constexpr int32_t kUserInterfaceSection = 0;    // "UserInterface"
inline constexpr int32_t kUserInterface64Section = 1;  // "UserInterface64"

// One `Resource` or `ParameterAssemblyLink`: the texts of its `Name`,
// `Assembly` and `Path` children, and of its `ResourceId` or `Function` as value.
struct UserInterfaceEntry {
  std::string name;
  std::string assembly;
  std::string path;
  std::string value;
};

// One parameter of a `Subdevice`; `kind` is its element name.
struct SubdeviceParameter {
  std::string subdev_name;
  std::string name;
  std::string value;
  std::string kind;
};

// The `entry_index`-th entry of `UserInterface` (section 0) or
// `UserInterface64` (section 1). Returns 0, 259 when there is none, 87 for an
// empty path or a null output, or the load failure.
[[nodiscard]] ResultCode ReadUserInterfaceEntry(const TemplateDocument& document,
                                                int32_t section_index, int32_t entry_index,
                                                UserInterfaceEntry* entry);
[[nodiscard]] ResultCode ReadUserInterfaceEntry(XmlContext& xml, const std::string& path,
                                                int32_t section_index, int32_t entry_index,
                                                UserInterfaceEntry* entry);

// Updates the entry named `name` of the kind that the last two arguments
// choose (`ParameterAssemblyLink` when only `function` is given, `Resource`
// otherwise), or appends a new one with `Name`, `Assembly` and `Path`, plus
// `Function` for "PropSheet" and "Diagnosis" and `ResourceId` for "DescText",
// "DescDefault", "BaudrateResource" and "BusparamResource". A `Resource` keeps
// its `Assembly` and `Path` where the given text is empty. Saves only when a
// text changed. Returns 0, 87 for an empty path or a text XML cannot hold, 10
// when the section is missing, or the load failure.
[[nodiscard]] ResultCode WriteUserInterfaceEntry(TemplateDocument& document,
                                                 int32_t section_index, const std::string& name,
                                                 const std::string& assembly,
                                                 const std::string& path_text,
                                                 const std::optional<std::string>& function,
                                                 const std::optional<std::string>& resource_id);
[[nodiscard]] ResultCode WriteUserInterfaceEntry(XmlContext& xml, const std::string& path,
                                                 int32_t section_index, const std::string& name,
                                                 const std::string& assembly,
                                                 const std::string& path_text,
                                                 const std::optional<std::string>& function,
                                                 const std::optional<std::string>& resource_id);

// The `entry_index`-th parameter of all `Subdevice` elements together, in
// document order. Returns 0, 259 when there is none, 87, or the load failure.
[[nodiscard]] ResultCode ReadSubdeviceParameter(const TemplateDocument& document,
                                                int32_t entry_index, SubdeviceParameter* entry);
[[nodiscard]] ResultCode ReadSubdeviceParameter(XmlContext& xml, const std::string& path,
                                                int32_t entry_index, SubdeviceParameter* entry);

// Appends a parameter element of kind `kind` ("Parameter", "ParameterInt" or
// "ParameterBool") with `name` and `value` to the subdevice `subdev_name`,
// creating Subdevices (at the end of Bindings) and the Subdevice when they
// are missing. With `append` 0 and the subdevice already there nothing is
// written. Never looks for an existing parameter of that name. Returns 0, 87
// for an empty path or a text XML cannot hold, 10 when an element cannot be
// found or created, or the load failure.
[[nodiscard]] ResultCode WriteSubdeviceParameter(TemplateDocument& document,
                                                 const std::string& subdev_name,
                                                 const std::string& name, const std::string& value,
                                                 const std::string& kind, int32_t append);
[[nodiscard]] ResultCode WriteSubdeviceParameter(XmlContext& xml, const std::string& path,
                                                 const std::string& subdev_name,
                                                 const std::string& name, const std::string& value,
                                                 const std::string& kind, int32_t append);

// The text of the `entry_index`-th child of all `Load` elements together.
// Returns 0, 259 when there is none, 87, or the load failure.
[[nodiscard]] ResultCode ReadLoadEntry(const TemplateDocument& document, int32_t entry_index,
                                       std::string* text);
[[nodiscard]] ResultCode ReadLoadEntry(XmlContext& xml, const std::string& path,
                                       int32_t entry_index, std::string* text);

// Appends a `RelevantSection` holding `text` to the first `Load` element,
// whether or not one with that text is there. Returns 0, 14 when there is no
// `Load`, 10 when the element cannot be created, 87, or the load failure.
[[nodiscard]] ResultCode AddLoadEntry(TemplateDocument& document, const std::string& text);
[[nodiscard]] ResultCode AddLoadEntry(XmlContext& xml, const std::string& path,
                                      const std::string& text);

}  // namespace q9
