#include <cstdlib>
#include <string>
#include <vector>

#include "merge/merge_areas.h"
#include "merge/merges.h"
#include "merge/parameter_merge.h"
#include "platform/path.h"
#include "xml/parameter_section.h"

namespace q9 {
namespace {

constexpr TraceSite kSite{"Merge", "MergeLogDevices: "};

// A version attribute as a number; empty or not a number counts as 0.
long VersionNumber(const TemplateDocument& document, const char* attribute) {
  XmlCharPtr text(xmlGetProp(document.root(), ToXml(attribute)));
  return text != nullptr ? std::strtol(FromXml(text.get()), nullptr, 10) : 0;
}

// Traces the case that the two versions make and tells whether the values
// are carried over: only a newer major version in the new file stops them.
bool VersionsAllowMerge(long new_major, long new_minor, long old_major, long old_minor) {
  const char* text = nullptr;
  if (old_major == 0 && new_major == 0) {
    text = "Merge ... no Versions";
  } else if (old_major == 0) {
    text = "Merge ... compatibility";
  } else if (new_major == 0) {
    text = "Merge ... no Version in new LogDevice";
  } else if (new_major == old_major) {
    if (new_minor >= old_minor) text = "Merge ... different Minor Version in LogDevices";
  } else if (new_major < old_major) {
    text = "Merge ... older Version in new LogDevice";
  } else {
    Q9_TRACE(kSite, trace_level::kEntry, "no Merge .. different Major Version in LogDevices");
    return false;
  }
  if (text != nullptr) Q9_TRACE(kSite, trace_level::kEntry, "%s", text);
  return true;
}

// The backed-up value of every parameter wins; parameters that only the new
// file has stay as they are.
void CarryOverSection(const std::vector<ParameterEntry>& backed_up, TemplateDocument& fresh,
                      int32_t section) {
  const std::vector<ParameterEntry> fresh_entries = SectionParameters(fresh, section);
  const EntriesByName fresh_by_name(fresh_entries);
  for (const ParameterEntry& old : backed_up) {
    const ParameterEntry* found = fresh_by_name.First(old.name);
    if (found != nullptr && found->value == old.value) continue;
    if (found != nullptr) {
      Q9_TRACE(kSite, trace_level::kProgress, "FOUND PARAMETER: %s, WITH DIFFERENT NEW VALUE %s",
               old.name.c_str(), found->value.c_str());
      Q9_TRACE(kSite, trace_level::kProgress, "Set old value: %s", old.value.c_str());
    }
    const ResultCode written = SetSectionParameter(fresh, section, old.name, old.value, old.kind);
    Q9_TRACE(kSite, trace_level::kProgress, "return %d", written);
    if (found == nullptr) {
      Q9_TRACE(kSite, trace_level::kProgress, "Add Parameter: %s, with Value: %s",
               old.name.c_str(), old.value.c_str());
    }
  }
}

// Warns the user that the interface `name` starts from its defaults again.
void WarnOfReset(Env& env, const std::string& name) {
  env.process().ShowWarning("The interface parameter assignment of the interface " + name +
                            " are reset to default. Please check the properties of this "
                            "interface and change if necessary.");
  Q9_TRACE(kSite, trace_level::kWarning, "Warning: MajorVersion different: %s", name.c_str());
}

constexpr ParameterSection kCarriedSections[] = {
    ParameterSection::kLocalSettings, ParameterSection::kNetworkSettings, ParameterSection::kNdi,
    ParameterSection::kSpareSection};

// Whether carrying `sections` over into a document of the same bytes would
// write: only where a section holds one name twice (ignoring case) with
// different values, as the first of them is the one compared.
bool CarryOverChangesItsTwin(const AllSections& sections) {
  for (const ParameterSection section : kCarriedSections) {
    const std::vector<ParameterEntry>& entries = sections[static_cast<size_t>(section)];
    const EntriesByName by_name(entries);
    for (const ParameterEntry& entry : entries) {
      if (by_name.First(entry.name)->value != entry.value) return true;
    }
  }
  return false;
}

void CarryOver(XmlContext& xml, const std::string& new_file, const std::string& backed_up_file) {
  TemplateDocument backed_up;
  TemplateDocument fresh;
  TwinLoad same_bytes;
  same_bytes.skip = true;
  if (!LoadMergePair(xml, backed_up_file, new_file, &backed_up, &fresh, kSite, &same_bytes)) {
    return;
  }
  const AllSections backed_up_sections = AllSectionParameters(backed_up);
  // A new device with the backed-up bytes (an update that changed neither
  // its template nor the device) mostly takes nothing over: it stands for
  // itself then, not even copied, and unsaved, and the trace reads the same.
  const bool twin = same_bytes.same && !CarryOverChangesItsTwin(backed_up_sections);
  if (same_bytes.same && !twin &&
      !LoadMergePair(xml, backed_up_file, new_file, &backed_up, &fresh, kSite)) {
    return;
  }
  const TemplateDocument& fresh_view = twin ? backed_up : fresh;
  if (!VersionsAllowMerge(VersionNumber(fresh_view, "MajorVersion"),
                          VersionNumber(fresh_view, "MinorVersion"),
                          VersionNumber(backed_up, "MajorVersion"),
                          VersionNumber(backed_up, "MinorVersion"))) {
    WarnOfReset(xml.env(), std::string(BaseName(backed_up_file)));
    return;
  }
  for (const ParameterSection section : kCarriedSections) {
    if (section == ParameterSection::kNdi) {
      Q9_TRACE(kSite, trace_level::kProgress, "Merge NdiSection ...");
    } else if (section == ParameterSection::kSpareSection) {
      Q9_TRACE(kSite, trace_level::kProgress, "Merge SpareSection...");
    }
    if (twin) continue;
    CarryOverSection(backed_up_sections[static_cast<size_t>(section)], fresh,
                     static_cast<int32_t>(section));
  }
  if (!twin) SaveMergeTarget(xml, fresh, kSite);
}

}  // namespace

void MergeLogDevices(XmlContext& xml, InstallLog& /*log*/, const std::string& new_file,
                     const std::string& backed_up_file) {
  Q9_TRACE(kSite, trace_level::kEntry, ">> Start");
  Q9_TRACE(kSite, trace_level::kProgress, "Merging new LogDevice: %s,  with backed up LogDevice: %s",
           new_file.c_str(), backed_up_file.c_str());
  CarryOver(xml, new_file, backed_up_file);
  Q9_TRACE(kSite, trace_level::kResult, "<< End");
}

}  // namespace q9
