// The per-kind merges of templates. Each takes the install log and two paths;
// the first file is only read, the second is the one that is changed and
// saved, atomically and once, and only when something changed. None of them
// reports a result: failures of single reads and writes go to the trace, and
// a source or target that cannot be loaded leaves the target as it was.
#pragma once

#include <cstdint>
#include <string>

#include "log/install_log.h"
#include "xml/parameter_section.h"
#include "xml/template_document.h"
#include "xml/xml_context.h"

namespace q9 {

// Merges the default log device `source_file` into `target_file`: parameter
// sections, SpareSection clean-up, subdevices, Load entries, user interfaces.
// Only `overwrite` == 1 lets a source value replace a target value.
// `source`, when given and loaded, is `source_file` as the caller loaded it
// just before, and is used instead of loading the file again; so are its
// parameters, `source_sections`, when given with it.
void MergeDefaultLogDevices(XmlContext& xml, InstallLog& log, const std::string& source_file,
                            const std::string& target_file, uint8_t overwrite,
                            TemplateDocument* source = nullptr,
                            const AllSections* source_sections = nullptr);

// Merges the protocol `source_file` into `target_file`; nothing that only the
// target has is removed.
void MergeProtocols(XmlContext& xml, InstallLog& log, const std::string& source_file,
                    const std::string& target_file);

// Merges the board `source_file` into `target_file`; nothing that only the
// target has is removed.
void MergeBoards(XmlContext& xml, InstallLog& log, const std::string& source_file,
                 const std::string& target_file);

// Carries the values of the backed-up log device `backed_up_file` over into
// the newly created `new_file` (sections 0, 1, 3 and 5), unless the new file
// has a newer major version: then the user is warned and nothing is written.
void MergeLogDevices(XmlContext& xml, InstallLog& log, const std::string& new_file,
                     const std::string& backed_up_file);

}  // namespace q9
