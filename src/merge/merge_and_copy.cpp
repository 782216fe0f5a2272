#include "merge/merge_and_copy.h"

#include <algorithm>
#include <climits>
#include <cstdint>
#include <unordered_map>
#include <vector>

#include "merge/merges.h"
#include "merge/template_io.h"
#include "platform/path.h"
#include "trace/trace.h"
#include "xml/parameter_section.h"
#include "xml/validation.h"

namespace q9 {
namespace {

using trace_level::kEntry;
using trace_level::kProgress;
using trace_level::kResult;

constexpr TraceSite kSite{"Merge", "MergeAndCopyTemplates: "};

// The two modem templates are never merged; the IE one is named without
// ".xml", so only a file of exactly that name goes.
constexpr const char* kAutoModem = "Automation-OnlineAccess-LDT-TS Adapter.Auto.Modem";
constexpr const char* kIeModem = "Automation-OnlineAccess-LDT-TS Adapter IE.Modem";

// A version attribute as a number the way _wtol reads it: leading white
// space, a sign, then digits up to the first other character; nothing
// readable is 0 and overflow sticks at the 32-bit limits.
int64_t VersionNumber(std::string_view text) {
  size_t i = 0;
  while (i < text.size() && (text[i] == ' ' || (text[i] >= '\t' && text[i] <= '\r'))) ++i;
  bool negative = false;
  if (i < text.size() && (text[i] == '+' || text[i] == '-')) negative = text[i++] == '-';
  int64_t number = 0;
  for (; i < text.size() && text[i] >= '0' && text[i] <= '9'; ++i) {
    number = std::min<int64_t>(number * 10 + (text[i] - '0'), int64_t{INT32_MAX} + 1);
  }
  number = negative ? -number : number;
  return std::clamp<int64_t>(number, INT32_MIN, INT32_MAX);
}

std::string Root(XmlContext& xml, const std::string& path, std::string_view attribute) {
  std::string value;
  (void)xml.facts().RootAttribute(path, std::string(attribute), &value);
  return value;
}

std::string DeviceName(XmlContext& xml, const std::string& path) {
  std::string value;
  (void)xml.facts().ParameterValue(path, "DeviceHeader", "DeviceName", &value);
  return value;
}

}  // namespace

struct Merger::Folders {
  std::string schemes;
  std::string install_default_log_devices;
  std::string install_protocols;
  std::string install_boards;
  std::string meta_default_log_devices;
  std::string meta_protocols;
  std::string meta_boards;
};

ResultCode Merger::ValidateValues(const std::string& path, TemplateDocument* document,
                                  AllSections* sections) {
  static constexpr TraceSite kValidate{"Merge", "ValidateValues: "};
  Q9_TRACE(kValidate, kEntry, ">> Start validating %s", path.c_str());
  std::vector<std::string> keys;
  TemplateDocument own;
  if (document == nullptr) document = &own;
  AllSections own_sections;
  if (sections == nullptr) sections = &own_sections;
  if (LoadTemplate(files_.xml(), path, document) == PGSP_OK) {
    *sections = AllSectionParameters(*document);
    for (const std::vector<ParameterEntry>& section : *sections) {
      for (const ParameterEntry& entry : section) {
        keys.push_back(entry.name + "&&" + entry.value + "&&" + entry.kind);
      }
    }
  }
  // The first key, in file order, that occurs again is the one reported.
  std::unordered_map<std::string_view, int> counts;
  for (const std::string& key : keys) ++counts[key];
  for (const std::string& key : keys) {
    if (counts[key] > 1) {
      Q9_TRACE(kValidate, kProgress, "Error: Double Entry found %s", key.c_str());
      Q9_TRACE(kValidate, kResult, "<< return lRet = %d", PGSP_ERR_INVALID_PARAMETERS);
      return PGSP_ERR_INVALID_PARAMETERS;
    }
  }
  Q9_TRACE(kValidate, kResult, "<< return lRet = %d", PGSP_OK);
  return PGSP_OK;
}

void Merger::MergeDefaultLogDeviceFile(const Folders& folders, const std::string& name) {
  XmlContext& xml = files_.xml();
  const std::string source = JoinPath(folders.install_default_log_devices, name);
  TemplateDocument document;
  AllSections sections;
  if (ValidateValues(source, &document, &sections) != PGSP_OK) return;
  if (ValidateFile(xml, source, folders.schemes, "Corvane.Device.Driver.Logdevice", &document) !=
      PGSP_OK) {
    Q9_TRACE(kSite, kProgress, "Invalid file: %s not coppied to meta", source.c_str());
    log_.Write("Warning: Invalid file: ", source);
    return;
  }
  // Read in this order, and every value of each meta file below, so the
  // trace shows the same look-ups whatever matches.
  const std::string device_id = Root(xml, source, "DeviceID");
  const std::string cp_type = Root(xml, source, "CP_TYPE");
  const int64_t big_s = VersionNumber(Root(xml, source, "MajorVersion"));
  const int64_t s_minor = VersionNumber(Root(xml, source, "MinorVersion"));
  const std::string extension = Root(xml, source, "Extension");
  const std::string device_name = DeviceName(xml, source);
  const std::string& meta = folders.meta_default_log_devices;
  static constexpr IdentityField kIdentity[] = {
      {"", "DeviceID"}, {"", "CP_TYPE"}, {"DeviceHeader", "DeviceName"}};
  const std::string wanted[] = {device_id, cp_type, device_name};
  std::string meta_name;
  for (uint32_t index = 0;
       files_.EnumFileLike(meta, kIdentity, wanted, &index, &meta_name) == PGSP_OK; ++index) {
    const std::string target = JoinPath(meta, meta_name);
    const std::string target_device_id = Root(xml, target, "DeviceID");
    const std::string target_cp_type = Root(xml, target, "CP_TYPE");
    const int64_t d = VersionNumber(Root(xml, target, "MajorVersion"));
    const int64_t d_minor = VersionNumber(Root(xml, target, "MinorVersion"));
    const std::string target_device_name = DeviceName(xml, target);
    if (!EqualsIgnoreCase(target_device_id, device_id) ||
        !EqualsIgnoreCase(target_cp_type, cp_type) ||
        !EqualsIgnoreCase(target_device_name, device_name)) {
      continue;
    }
    uint8_t overwrite = 0;
    if (EqualsIgnoreCase(extension, "true") || !EqualsIgnoreCase(name, meta_name)) {
      Q9_TRACE(kSite, kProgress, "Merge extension");
    } else if (d == 0 && big_s == 0) {
      Q9_TRACE(kSite, kProgress, "Merge .. without Version");
    } else if (d == 0) {
      Q9_TRACE(kSite, kProgress, "Merge ... Compatibility");
      overwrite = 1;
    } else if (big_s == 0) {
      Q9_TRACE(kSite, kProgress, "Merge .. no Major Version in source File -> Spezial");
    } else if (big_s == d && s_minor >= d_minor) {
      Q9_TRACE(kSite, kProgress, "Merge .. source MinorVersion > dest MinorVersion");
      overwrite = 1;
    } else if (big_s == d) {
      Q9_TRACE(kSite, kProgress, "Merge .. dest MinorVersion > source MinorVersion");
    } else if (big_s > d) {
      Q9_TRACE(kSite, kProgress, "Copy .. source MajorVersion > dest MajorVersion");
      (void)files_.CopyFiles(log_, source, JoinPath(meta, name), 1);
      return;
    } else {
      Q9_TRACE(kSite, kProgress, "Merge .. dest MajorVersion > source MajorVersion");
    }
    MergeDefaultLogDevices(xml, log_, source, target, overwrite, &document,
                           document.loaded() ? &sections : nullptr);
    return;  // only the first match is handled
  }
  (void)files_.CopyFiles(log_, source, JoinPath(meta, name), 0);
}

void Merger::MergeProtocolOrBoardFile(const Folders& folders, bool protocol,
                                      const std::string& name) {
  XmlContext& xml = files_.xml();
  const std::string& install = protocol ? folders.install_protocols : folders.install_boards;
  const std::string& meta = protocol ? folders.meta_protocols : folders.meta_boards;
  const std::string source = JoinPath(install, name);
  if (ValidateFile(files_.xml(), source, folders.schemes,
                   protocol ? "Protocols.Schema" : "Boards.Schema") != PGSP_OK) {
    Q9_TRACE(kSite, kProgress, "Invalid file: %s not coppied to meta", source.c_str());
    log_.Write("Warning: Invalid file: ", source);
    return;
  }
  // A protocol is known by its Name, a board by DeviceID and CP_TYPE.
  static constexpr IdentityField kProtocolIdentity[] = {{"", "Name"}};
  static constexpr IdentityField kBoardIdentity[] = {{"", "DeviceID"}, {"", "CP_TYPE"}};
  const std::span<const IdentityField> fields =
      protocol ? std::span<const IdentityField>(kProtocolIdentity) : kBoardIdentity;
  const auto identity = [&](const std::string& path) {
    std::vector<std::string> values;
    for (const IdentityField& field : fields) values.push_back(Root(xml, path, field.name));
    return values;
  };
  const std::vector<std::string> wanted = identity(source);
  const std::string source_major = Root(xml, source, "MajorVersion");
  const std::string source_minor = Root(xml, source, "MinorVersion");
  const auto merge = [&](const std::string& target) {
    if (protocol) {
      MergeProtocols(xml, log_, source, target);
    } else {
      MergeBoards(xml, log_, source, target);
    }
  };
  int handled = 0;
  std::string meta_name;
  for (uint32_t index = 0;
       files_.EnumFileLike(meta, fields, wanted, &index, &meta_name) == PGSP_OK; ++index) {
    const std::string target = JoinPath(meta, meta_name);
    const std::vector<std::string> found = identity(target);
    const std::string target_major = Root(xml, target, "MajorVersion");
    const std::string target_minor = Root(xml, target, "MinorVersion");
    bool same = true;
    for (size_t i = 0; i < wanted.size(); ++i) same = same && EqualsIgnoreCase(found[i], wanted[i]);
    if (!same) continue;
    const int64_t big_s = VersionNumber(source_major);
    const int64_t d = VersionNumber(target_major);
    if (target_major.empty() && source_major.empty()) {
      Q9_TRACE(kSite, kProgress, "Merge .. without Version");
      merge(target);
    } else if (target_major.empty()) {
      Q9_TRACE(kSite, kProgress, "Merge .. compatibility");
      merge(target);
    } else if (source_major.empty()) {
      Q9_TRACE(kSite, kProgress, "Merge .. no Major Version in source File -> Spezial");
      merge(target);
    } else if (big_s == d && VersionNumber(source_minor) >= VersionNumber(target_minor)) {
      Q9_TRACE(kSite, kProgress, "Merge .. different Minor Version");
      merge(target);
    } else if (big_s > d) {
      Q9_TRACE(kSite, kProgress, "Copy .. different Major Version");
      (void)files_.CopyFiles(log_, source, JoinPath(meta, name), 1);
    } else {
      continue;  // the newer meta template stays and the match does not count
    }
    ++handled;
  }
  // Also when every match was newer: then the copy without overwrite fails
  // on a meta file of the same name and leaves it alone.
  if (handled == 0) (void)files_.CopyFiles(log_, source, JoinPath(meta, name), 0);
}

ResultCode Merger::MergeAndCopyTemplates(const std::string& program_files_root) {
  Q9_TRACE(kSite, kEntry, ">> Start");
  log_.Write(">> MergeAndCopyTemplates");
  const std::string install = JoinPath(program_files_root, "Install");
  const std::string meta_root = JoinPath(program_files_root, "meta");
  const Folders folders{JoinPath(program_files_root, "Schemes"),
                        JoinPath(install, "DefaultLogDevices"),
                        JoinPath(install, "Protocols"),
                        JoinPath(install, "Boards"),
                        JoinPath(meta_root, "DefaultLogDevices"),
                        JoinPath(meta_root, "Protocols"),
                        JoinPath(meta_root, "Boards")};
  FileSystem& fs = files_.env().files();
  (void)fs.DeleteFile(JoinPath(folders.install_default_log_devices, std::string(kAutoModem) + ".xml"));
  (void)fs.DeleteFile(JoinPath(folders.install_default_log_devices, kIeModem));
  (void)fs.DeleteFile(JoinPath(folders.meta_default_log_devices, std::string(kAutoModem) + ".xml"));
  (void)fs.DeleteFile(JoinPath(folders.meta_default_log_devices, kIeModem));

  std::string name;
  log_.Write("Merge DefaultLogDevices");
  for (uint32_t index = 0;
       files_.EnumFile(folders.install_default_log_devices, index, &name) == PGSP_OK; ++index) {
    if (EqualsIgnoreCase(name, kAutoModem) || EqualsIgnoreCase(name, kIeModem)) continue;
    MergeDefaultLogDeviceFile(folders, name);
  }
  log_.Write("Merge Protocols");
  for (uint32_t index = 0; files_.EnumFile(folders.install_protocols, index, &name) == PGSP_OK;
       ++index) {
    MergeProtocolOrBoardFile(folders, true, name);
  }
  log_.Write("Merge Boards");
  for (uint32_t index = 0; files_.EnumFile(folders.install_boards, index, &name) == PGSP_OK;
       ++index) {
    MergeProtocolOrBoardFile(folders, false, name);
  }

  const struct {
    const std::string& folder;
    const char* empty_text;
  } checks[] = {
      {folders.meta_default_log_devices, "DEF_LOGDEVICES (or more) meta subfolders is empty"},
      {folders.meta_protocols, "PROTOCOLS (or more) meta subfolders is empty"},
      {folders.meta_boards, "BOARDS (or more) meta subfolders is empty"},
  };
  for (const auto& check : checks) {
    if (files_.EnumFile(check.folder, 0, &name) != PGSP_OK) {
      Q9_TRACE(kSite, kProgress, "%s", check.empty_text);
      return kMetaKindFolderEmpty;
    }
  }
  Q9_TRACE(kSite, kResult, "<< return PGSP_OK");
  return PGSP_OK;
}

}  // namespace q9
