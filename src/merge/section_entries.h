// Entries of the template sections that are not plain parameter sections:
// the user interfaces, the subdevices and the Load section. Each path-based
// operation applies the file-name rule, loads the file through the run's XML
// context and, for a writer, saves it once when it changed something. The
// document-level cores that these wrap live beside them.
#pragma once

#include <cstdint>
#include <string>

#include "platform/result_code.h"
#include "xml/xml_context.h"

namespace q9 {

// Appends a parameter element of kind `kind` ("Parameter", "ParameterInt" or
// "ParameterBool") with `name` and `value` to the subdevice `subdev_name`,
// creating Subdevices (at the end of Bindings) and the Subdevice when they
// are missing. With `append` 0 and the subdevice already there nothing is
// written. Never looks for an existing parameter of that name. Returns 0, 87
// for an empty path, 10 when an element cannot be found or created, or the
// load failure.
[[nodiscard]] ResultCode WriteSubdeviceParameter(XmlContext& xml, const std::string& path,
                                                 const std::string& subdev_name,
                                                 const std::string& name, const std::string& value,
                                                 const std::string& kind, int32_t append);

}  // namespace q9
