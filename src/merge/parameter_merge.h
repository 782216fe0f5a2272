// The parameter-section step of the default-log-device and board merges.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <string_view>
#include <utility>
#include <vector>

#include "trace/trace.h"
#include "xml/parameter_section.h"
#include "xml/template_document.h"

namespace q9 {

// Finds the first of `entries`, in order, whose name equals a given one
// ignoring ASCII case, through a sorted index of name hashes: the merges look
// up every parameter of one section in another, and a scan each time would
// grow with the square of the section. `entries` must outlive the index and
// stay unchanged.
class EntriesByName {
 public:
  explicit EntriesByName(const std::vector<ParameterEntry>& entries);
  // Null when no entry has that name.
  const ParameterEntry* First(std::string_view name) const;

 private:
  const std::vector<ParameterEntry>& entries_;
  std::vector<std::pair<uint64_t, size_t>> hashes_;  // (folded name's hash, position), sorted
};

// For each parameter section in `sections`, in order: every source parameter
// whose name (ignoring case) the target's section lacks is added; one whose
// value differs replaces the target's only when `overwrite` is 1, and is
// traced either way; equal values are left alone. The target's list is read
// before its section is written, so a name the source holds twice is added
// once and then set again.
void MergeParameterSections(const TemplateDocument& source, TemplateDocument& target,
                            std::initializer_list<int32_t> sections, uint8_t overwrite,
                            const TraceSite& site);
// The same with the source's parameters read already.
void MergeParameterSections(const AllSections& source_sections, TemplateDocument& target,
                            std::initializer_list<int32_t> sections, uint8_t overwrite,
                            const TraceSite& site);

}  // namespace q9
