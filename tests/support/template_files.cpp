#include "template_files.h"

#include "xml/template_namespace.h"

namespace q9::testing {
namespace {

std::string Root(std::string_view element, std::string_view kind, std::string_view attributes) {
  std::string text = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<";
  text.append(element).append(" xmlns=\"").append(TemplateNamespaceBase()).append(kind);
  text.append("\" ").append(attributes).append(">\n");
  return text;
}

}  // namespace

std::string LogDeviceXml(std::string_view attributes, std::string_view device_name,
                         std::string_view body) {
  std::string text = Root("LogDevice", "/LogDevice", attributes);
  text.append("  <DeviceHeader>\n    <Parameter><Name>DeviceName</Name><Value>");
  text.append(device_name).append("</Value></Parameter>\n  </DeviceHeader>\n");
  text.append(body).append("</LogDevice>\n");
  return text;
}

std::string ProtocolXml(std::string_view attributes, std::string_view param) {
  std::string text = Root("Protocol", "/Protocols", attributes);
  text.append("  <ParamSections>\n    <ParamSection Name=\"Bus\">\n      <Param Name=\"");
  text.append(param).append("\" Type=\"int\"/>\n    </ParamSection>\n  </ParamSections>\n");
  return text.append("</Protocol>\n");
}

std::string BoardXml(std::string_view attributes, std::string_view attribute) {
  std::string text = Root("Board", "/Boards", attributes);
  text.append("  <BoardAttributes>\n    <Parameter><Name>").append(attribute);
  text.append("</Name><Value>x</Value></Parameter>\n  </BoardAttributes>\n");
  return text.append("</Board>\n");
}

std::string LogNameXml(std::string_view name) {
  std::string text = Root("LogName", "/LogName", "Name=\"" + std::string(name) + "\"");
  text.append("  <Parameters>\n    <Parameter><Name>LogDevice</Name><Value>x</Value>");
  return text.append("</Parameter>\n  </Parameters>\n</LogName>\n");
}

}  // namespace q9::testing
