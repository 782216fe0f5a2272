#include "merge/merge_areas.h"

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "merge/section_entries.h"
#include "merge/template_io.h"

namespace q9 {
namespace {

std::vector<UserInterfaceEntry> UserInterfaceEntries(const TemplateDocument& document,
                                                     int32_t section) {
  std::vector<UserInterfaceEntry> entries;
  UserInterfaceEntry entry;
  for (int32_t index = 0; ReadUserInterfaceEntry(document, section, index, &entry) == PGSP_OK;
       ++index) {
    entries.push_back(entry);
  }
  return entries;
}

}  // namespace

bool LoadMergePair(XmlContext& xml, const std::string& source_file,
                   const std::string& target_file, TemplateDocument* source,
                   TemplateDocument* target, const TraceSite& site, TwinLoad* twin) {
  TwinLoad own;
  if (twin == nullptr) twin = &own;
  twin->twin = source;
  twin->same = false;
  for (const auto& [path, document] : {std::pair{&source_file, source}, {&target_file, target}}) {
    if (document->loaded()) continue;
    const ResultCode loaded =
        LoadTemplate(xml, *path, document, document == target ? twin : nullptr);
    if (loaded != PGSP_OK) {
      Q9_TRACE(site, trace_level::kProgress, "Error: %s cannot be loaded (%d), nothing merged",
               path->c_str(), loaded);
      return false;
    }
  }
  return true;
}

void SaveMergeTarget(XmlContext& xml, const TemplateDocument& target, const TraceSite& site) {
  if (!target.modified()) return;
  const ResultCode saved = target.Save(xml);
  if (saved != PGSP_OK) {
    Q9_TRACE(site, trace_level::kProgress, "Error: saving %s failed (%d)", target.path().c_str(),
             saved);
  }
}

void RunMerge(XmlContext& xml, InstallLog& log, const std::string& name, const TraceSite& site,
              const std::string& source_file, const std::string& target_file,
              TemplateDocument* source,
              const std::function<void(const TemplateDocument&, TemplateDocument&)>& steps) {
  Q9_TRACE(site, trace_level::kEntry, ">> Start");
  log.Write(">> ", name);
  log.Write("Merging ", source_file, " with ", target_file);
  Q9_TRACE(site, trace_level::kProgress, "Merging: %s with: %s", source_file.c_str(),
           target_file.c_str());
  TemplateDocument own_source;
  if (source == nullptr) source = &own_source;
  TemplateDocument target;
  if (LoadMergePair(xml, source_file, target_file, source, &target, site)) {
    steps(*source, target);
    SaveMergeTarget(xml, target, site);
  }
  log.Write("<< ", name);
  Q9_TRACE(site, trace_level::kResult, "<< End");
}

void MergeUserInterfaces(const TemplateDocument& source, TemplateDocument& target,
                         const TraceSite& site) {
  for (int32_t section : {kUserInterfaceSection, kUserInterface64Section}) {
    const std::vector<UserInterfaceEntry> from = UserInterfaceEntries(source, section);
    const std::vector<UserInterfaceEntry> into = UserInterfaceEntries(target, section);
    for (const UserInterfaceEntry& entry : from) {
      for (const UserInterfaceEntry& existing : into) {
        if (existing.name == entry.name) {
          Q9_TRACE(site, trace_level::kProgress, "For Parameter: sName=%s, different Value found: Value=%s",
                   entry.name.c_str(), entry.value.c_str());
          break;
        }
        Q9_TRACE(site, trace_level::kProgress,
                 "Add Parameter: sName=%s, sAssembly=%s, sPath=%s, Value=%s", entry.name.c_str(),
                 entry.assembly.c_str(), entry.path.c_str(), entry.value.c_str());
      }
      // The source's entry always wins, whatever the search found.
      const bool as_function = entry.name == "PropSheet" || entry.name == "Diagnosis";
      const std::optional<std::string> value = entry.value;
      (void)WriteUserInterfaceEntry(target, section, entry.name, entry.assembly, entry.path,
                                    as_function ? value : std::nullopt,
                                    as_function ? std::nullopt : value);
    }
  }
}

}  // namespace q9
