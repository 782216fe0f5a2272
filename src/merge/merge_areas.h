// What the merges share: their frame (install-log lines, loading, the one
// save) and the user-interface step. Trace records go under the caller's site.
#pragma once

#include <functional>
#include <string>

#include "log/install_log.h"
#include "trace/trace.h"
#include "xml/template_document.h"
#include "xml/xml_context.h"

namespace q9 {

// Loads the source, then the target; a document loaded already is taken as
// it is. A file that cannot be loaded is traced and false returned: the
// merge then writes nothing. A target file that holds exactly the source's
// bytes is not parsed (see TwinLoad; `skip` as given, `same` is returned).
bool LoadMergePair(XmlContext& xml, const std::string& source_file,
                   const std::string& target_file, TemplateDocument* source,
                   TemplateDocument* target, const TraceSite& site, TwinLoad* twin = nullptr);

// Saves the target, atomically, when the merge modified it; a failed save is
// traced and leaves the file as it was.
void SaveMergeTarget(XmlContext& xml, const TemplateDocument& target, const TraceSite& site);

// One merge of `source_file` into `target_file`: ">> <name>" and the
// "Merging" line in the install log and the start traced, both files loaded,
// `steps` run on them, the target saved when it was modified, "<< <name>"
// logged and the end traced. A file that cannot be loaded skips the steps.
// `source`, when not null, holds the source loaded already or is loaded.
void RunMerge(XmlContext& xml, InstallLog& log, const std::string& name, const TraceSite& site,
              const std::string& source_file, const std::string& target_file,
              TemplateDocument* source,
              const std::function<void(const TemplateDocument&, TemplateDocument&)>& steps);

// For UserInterface and then UserInterface64: every source entry is written
// into the target, "PropSheet" and "Diagnosis" with their value as function,
// every other name with it as resource identifier, after the traces of the
// target entries passed on the way to the one of the same name.
void MergeUserInterfaces(const TemplateDocument& source, TemplateDocument& target,
                         const TraceSite& site);

}  // namespace q9
