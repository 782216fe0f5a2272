#include "merge/parameter_merge.h"

#include <algorithm>
#include <string>
#include <vector>

#include "platform/path.h"
#include "xml/parameter_section.h"

namespace q9 {
namespace {

// FNV-1a over the upper-case form, so names equal ignoring case hash alike.
uint64_t FoldedHash(std::string_view name) {
  uint64_t hash = 14695981039346656037ull;
  for (char c : name) {
    hash ^= static_cast<unsigned char>(FoldAscii(c));
    hash *= 1099511628211ull;
  }
  return hash;
}

}  // namespace

EntriesByName::EntriesByName(const std::vector<ParameterEntry>& entries) : entries_(entries) {
  hashes_.reserve(entries.size());
  for (size_t position = 0; position < entries.size(); ++position) {
    hashes_.emplace_back(FoldedHash(entries[position].name), position);
  }
  std::sort(hashes_.begin(), hashes_.end());
}

const ParameterEntry* EntriesByName::First(std::string_view name) const {
  const uint64_t hash = FoldedHash(name);
  // Equal hashes sit in ascending positions; a collision is ruled out by
  // comparing the names.
  for (auto it = std::lower_bound(hashes_.begin(), hashes_.end(), std::pair(hash, size_t{0}));
       it != hashes_.end() && it->first == hash; ++it) {
    if (EqualsIgnoreCase(entries_[it->second].name, name)) return &entries_[it->second];
  }
  return nullptr;
}

void MergeParameterSections(const TemplateDocument& source, TemplateDocument& target,
                            std::initializer_list<int32_t> sections, uint8_t overwrite,
                            const TraceSite& site) {
  MergeParameterSections(AllSectionParameters(source), target, sections, overwrite, site);
}

void MergeParameterSections(const AllSections& source_sections, TemplateDocument& target,
                            std::initializer_list<int32_t> sections, uint8_t overwrite,
                            const TraceSite& site) {
  // The target's sections come from one walk until something is written;
  // after a write each section is read again, as the write may have changed
  // it (a value holding elements of another section, however odd).
  const AllSections unwritten = AllSectionParameters(target);
  bool written = false;
  for (int32_t section : sections) {
    const auto index = static_cast<size_t>(section);
    const std::vector<ParameterEntry>& from = source_sections[index];
    const std::vector<ParameterEntry> into =
        written ? SectionParameters(target, section) : unwritten[index];
    const EntriesByName into_by_name(into);
    const auto write = [&](const ParameterEntry& entry) {
      // Results of single writes are not reported: the merge goes on.
      (void)SetSectionParameter(target, section, entry.name, entry.value, entry.kind);
      written = true;
    };
    for (const ParameterEntry& entry : from) {
      const ParameterEntry* found = into_by_name.First(entry.name);
      if (found == nullptr) {
        write(entry);
        Q9_TRACE(site, trace_level::kProgress, "Add Parameter: %s, with Value: %s",
                 entry.name.c_str(), entry.value.c_str());
      } else if (found->value != entry.value && overwrite == 1) {
        write(entry);
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
