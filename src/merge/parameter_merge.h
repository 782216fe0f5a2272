// The parameter-section step of the default-log-device and board merges.
#pragma once

#include <cstdint>
#include <initializer_list>

#include "trace/trace.h"
#include "xml/parameter_section.h"
#include "xml/template_document.h"

namespace q9 {

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
