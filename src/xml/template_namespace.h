// The XML namespaces of template kinds, the schema names that select them, and
// the file-name rule that every template operation applies to its path.
#pragma once

#include <string>
#include <string_view>

namespace q9 {

// host + "/Automation/Corvane.Device.Driver"; the host is a build setting.
const std::string& TemplateNamespaceBase();

// The namespace URI that a node-creation prefix ("dev", "nam", "notif", "driv",
// "pgsp", "x", "brd", "pro") selects; "" for any other prefix. Case-sensitive.
std::string NamespaceForPrefix(std::string_view prefix);

// The namespace URI under which ValidateFile adds the schema of `schema_name`;
// "" for a name the table does not map. Case-sensitive.
std::string NamespaceForSchemaName(std::string_view schema_name);

// The node-creation prefix for a new parameter in the section `section_name`:
// "nam" for "Parameters", "notif" for "NotificationSection", "pgsp" for
// "Updates", "PGSP_Section" and "DateTimeSection", "dev" for every other name.
const char* PrefixForSection(std::string_view section_name);

// `path` with ".xml" appended unless it contains ".xml" anywhere (so
// "a.xml.bak" stays as it is). Case-sensitive, as the store's names are.
std::string ApplyFileNameRule(std::string_view path);

}  // namespace q9
