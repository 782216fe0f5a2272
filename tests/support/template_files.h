// Small templates of each kind, valid against the sample store's schemas
// (given the attributes those require), for tests that need real files.
#pragma once

#include <string>
#include <string_view>

namespace q9::testing {

// `attributes` is the root element's attribute text, such as
// R"(DeviceID="A" CP_TYPE="B" MajorVersion="1")"; `body` goes after the
// DeviceHeader section, which holds DeviceName = `device_name`.
std::string LogDeviceXml(std::string_view attributes, std::string_view device_name,
                         std::string_view body = "");
// A protocol with one parameter section holding one Param named `param`.
std::string ProtocolXml(std::string_view attributes, std::string_view param = "Baudrate");
// A board with one board attribute named `attribute`.
std::string BoardXml(std::string_view attributes, std::string_view attribute = "BoardName");
// A log name with one parameter.
std::string LogNameXml(std::string_view name);

}  // namespace q9::testing
