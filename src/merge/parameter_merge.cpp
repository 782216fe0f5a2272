#include "merge/parameter_merge.h"

#include <string>
#include <vector>

#include "platform/path.h"
#include "xml/parameter_section.h"

namespace q9 {
namespace {

const ParameterEntry* FindByName(const std::vector<ParameterEntry>& entries,
                                 const std::string& name) {
  for (const ParameterEntry& entry : entries) {
    if (EqualsIgnoreCase(entry.name, name)) return &entry;
  }
  return nullptr;
}

}  // namespace

void MergeParameterSections(const TemplateDocument& source, TemplateDocument& target,
                            std::initializer_list<int32_t> sections, uint8_t overwrite,
                            const TraceSite& site) {
  MergeParameterSections(AllSectionParameters(source), target, sections, overwrite, site);
}

void MergeParameterSections(const AllSections& source_sections, TemplateDocument& target,
                            std::initializer_list<int32_t> sections, uint8_t overwrite,
                            const TraceSite& site) {
  for (int32_t section : sections) {
    const std::vector<ParameterEntry>& from = source_sections[static_cast<size_t>(section)];
    // The target is read again for each section: the ones before changed it.
    const std::vector<ParameterEntry> into = SectionParameters(target, section);
    for (const ParameterEntry& entry : from) {
      const ParameterEntry* found = FindByName(into, entry.name);
      if (found == nullptr) {
        // Results of single writes are not reported: the merge goes on.
        (void)SetSectionParameter(target, section, entry.name, entry.value, entry.kind);
        Q9_TRACE(site, trace_level::kProgress, "Add Parameter: %s, with Value: %s",
                 entry.name.c_str(), entry.value.c_str());
      } else if (found->value != entry.value && overwrite == 1) {
        (void)SetSectionParameter(target, section, entry.name, entry.value, entry.kind);
        Q9_TRACE(site, trace_level::kProgress, "For Parameter: %s, different Value found (overwrite): %s",
                 entry.name.c_str(), entry.value.c_str());
      } else if (found->value != entry.value) {
        Q9_TRACE(site, trace_level::kProgress,
                 "For Parameter: %s, different Value found (no overwrite): %s", entry.name.c_str(),
                 entry.value.c_str());
      }
    }
  }
}

}  // namespace q9
