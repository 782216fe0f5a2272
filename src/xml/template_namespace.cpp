#include "xml/template_namespace.h"

#include <array>
#include <utility>

namespace q9 {
namespace {

struct PrefixEntry {
  std::string_view prefix;
  std::string_view suffix;  // appended to the base
};

constexpr std::array<PrefixEntry, 8> kPrefixes{{
    {"dev", "/LogDevice"},
    {"nam", "/LogName"},
    {"notif", "/Notification"},
    {"driv", "/DriverInfo"},
    {"pgsp", "/PGSP"},
    {"x", ""},
    {"brd", "/Boards"},
    {"pro", "/Protocols"},
}};

std::string WithBase(std::string_view suffix) {
  std::string uri = TemplateNamespaceBase();
  uri += suffix;
  return uri;
}

}  // namespace

const std::string& TemplateNamespaceBase() {
  static const std::string base =
      std::string(Q9_NAMESPACE_HOST) + "/Automation/Corvane.Device.Driver";
  return base;
}

std::string NamespaceForPrefix(std::string_view prefix) {
  for (const PrefixEntry& entry : kPrefixes) {
    if (entry.prefix == prefix) return WithBase(entry.suffix);
  }
  return {};
}

std::string NamespaceForSchemaName(std::string_view schema_name) {
  // The schema name alone tells the file kind; the file is never looked into.
  if (schema_name == "Corvane.Device.Driver.Logdevice" ||
      schema_name == "DefaultLogDevices.Schema") {
    return WithBase("/LogDevice");
  }
  if (schema_name == "Corvane.Device.Driver.Logname") return WithBase("/LogName");
  if (schema_name == "Protocols.Schema") return WithBase("/Protocols");
  if (schema_name == "Boards.Schema") return WithBase("/Boards");
  if (schema_name == "DriverInfo.Schema") return WithBase("/DriverInfo");
  return {};
}

const char* PrefixForSection(std::string_view section_name) {
  if (section_name == "Parameters") return "nam";
  if (section_name == "NotificationSection") return "notif";
  if (section_name == "Updates" || section_name == "PGSP_Section" ||
      section_name == "DateTimeSection") {
    return "pgsp";
  }
  return "dev";
}

std::string ApplyFileNameRule(std::string_view path) {
  std::string result(path);
  if (result.find(".xml") == std::string::npos) result += ".xml";
  return result;
}

}  // namespace q9
