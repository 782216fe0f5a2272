#include <algorithm>
#include <string>
#include <vector>

#include "merge/merge_areas.h"
#include "merge/merges.h"
#include "merge/parameter_merge.h"
#include "merge/section_entries.h"
#include "platform/path.h"
#include "xml/parameter_section.h"

namespace q9 {
namespace {

constexpr TraceSite kSite{"Merge", "MergeDefaultLogDevices: "};

constexpr int32_t kSpareSection = static_cast<int32_t>(ParameterSection::kSpareSection);

// A parameter of SpareSection that one of the sections 0 to 4 also holds
// leaves SpareSection; the other copy stays.
void RemoveSpareDuplicates(TemplateDocument& target) {
  const AllSections sections = AllSectionParameters(target);
  const std::vector<ParameterEntry>& spares = sections[kSpareSection];
  for (const ParameterEntry& spare : spares) {
    const bool duplicate = std::any_of(
        sections.begin(), sections.begin() + kSpareSection, [&](const auto& entries) {
          return std::any_of(entries.begin(), entries.end(), [&](const ParameterEntry& entry) {
            return EqualsIgnoreCase(entry.name, spare.name);
          });
        });
    if (!duplicate) continue;
    (void)DeleteSectionParameter(target, kSpareSection, spare.name);
    Q9_TRACE(kSite, trace_level::kProgress, "Delete duplicate Parameter: %s from SpareSection",
             spare.name.c_str());
  }
}

std::vector<SubdeviceParameter> SubdeviceParameters(const TemplateDocument& document) {
  std::vector<SubdeviceParameter> entries;
  SubdeviceParameter entry;
  for (int32_t index = 0; ReadSubdeviceParameter(document, index, &entry) == PGSP_OK; ++index) {
    entries.push_back(entry);
  }
  return entries;
}

// A match needs the same subdevice and the same name. The writer always
// appends, so an overwrite leaves the old parameter in front of the new one.
void MergeSubdevices(const TemplateDocument& source, TemplateDocument& target, uint8_t overwrite) {
  const std::vector<SubdeviceParameter> into = SubdeviceParameters(target);
  for (const SubdeviceParameter& entry : SubdeviceParameters(source)) {
    const auto found = std::find_if(into.begin(), into.end(), [&](const SubdeviceParameter& other) {
      return other.subdev_name == entry.subdev_name && EqualsIgnoreCase(other.name, entry.name);
    });
    const auto write = [&] {
      (void)WriteSubdeviceParameter(target, entry.subdev_name, entry.name, entry.value, entry.kind,
                                    1);
    };
    if (found == into.end()) {
      write();
      Q9_TRACE(kSite, trace_level::kProgress, "In Subdevice: %s, add Parameter: %s, with Value: %s",
               entry.subdev_name.c_str(), entry.name.c_str(), entry.value.c_str());
    } else if (found->value != entry.value && overwrite == 1) {
      write();
      Q9_TRACE(kSite, trace_level::kProgress, "For Parameter: %s, different Value found (overwrite): %s",
               entry.name.c_str(), entry.value.c_str());
    } else if (found->value != entry.value) {
      Q9_TRACE(kSite, trace_level::kProgress,
               "For Parameter: %s, different Value found (no overwrite): %s", entry.name.c_str(),
               entry.value.c_str());
    }
  }
}

std::vector<std::string> LoadEntries(const TemplateDocument& document) {
  std::vector<std::string> entries;
  std::string text;
  for (int32_t index = 0; ReadLoadEntry(document, index, &text) == PGSP_OK; ++index) {
    entries.push_back(text);
  }
  return entries;
}

// Load entries are only ever added, never changed, removed or reordered.
void MergeLoadEntries(const TemplateDocument& source, TemplateDocument& target) {
  const std::vector<std::string> into = LoadEntries(target);
  for (const std::string& text : LoadEntries(source)) {
    if (std::find(into.begin(), into.end(), text) != into.end()) continue;
    (void)AddLoadEntry(target, text);
    Q9_TRACE(kSite, trace_level::kProgress, "add Parameter: %s, in Load Section", text.c_str());
  }
}

}  // namespace

void MergeDefaultLogDevices(XmlContext& xml, InstallLog& log, const std::string& source_file,
                            const std::string& target_file, uint8_t overwrite,
                            TemplateDocument* source, const AllSections* source_sections) {
  RunMerge(xml, log, "MergeDefaultLogDevices", kSite, source_file, target_file, source,
           [&](const TemplateDocument& source, TemplateDocument& target) {
             log.Write("Enumerate and merge Parameters from:  <LocalSettings>, <NetworkSettings>, "
                       "<Bindings>, <Ndi>, <SpareSection> and <DeviceHeader>");
             if (source_sections != nullptr) {
               MergeParameterSections(*source_sections, target, {0, 1, 2, 3, 4, 5}, overwrite,
                                      kSite);
             } else {
               MergeParameterSections(source, target, {0, 1, 2, 3, 4, 5}, overwrite, kSite);
             }
             log.Write("Enumerate and merge Parameters from:  <SpareSection>");
             RemoveSpareDuplicates(target);
             log.Write("Merge Subdevices");
             MergeSubdevices(source, target, overwrite);
             log.Write("Enumerate and merge Parameters from:  <Load>");
             MergeLoadEntries(source, target);
             log.Write("Enumerate and merge Parameters from:  <UserInterface>");
             MergeUserInterfaces(source, target, kSite);
           });
}

}  // namespace q9
