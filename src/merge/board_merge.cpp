#include <algorithm>
#include <string>
#include <vector>

#include "merge/merge_areas.h"
#include "merge/merges.h"
#include "merge/param_entries.h"
#include "merge/parameter_merge.h"
#include "merge/tree_edit.h"
#include "xml/parameter_section.h"

namespace q9 {
namespace {

constexpr TraceSite kSite{"Merge", "MergeBoards: "};

bool Contains(const std::vector<std::string>& texts, const std::string& text) {
  return std::find(texts.begin(), texts.end(), text) != texts.end();
}

// Calls visit(source param, target param) for every Param of the source's
// Constraints, creating the target's Constraints and Param first.
template <typename Visit>
void ForEachConstraintParam(const TemplateDocument& source, const TemplateDocument& target,
                            bool* changed, Visit visit) {
  const xmlNode* from = FirstElementNamed(source, "Constraints");
  if (from == nullptr) return;
  xmlNode* into = FindOrAddChild(
      target, target.root(), "Constraints", changed,
      {"NotSupportedSection", "BaseSupportedSection", "UserInterface", "UserInterface64"});
  if (into == nullptr) return;
  for (const xmlNode* param : ChildrenNamed(from, "Param")) {
    if (xmlNode* target_param = FindOrAddParam(target, into, param, changed)) {
      visit(param, target_param);
    }
  }
}

// A constraint the target has keeps its value.
void AddMissingConstraints(const TemplateDocument& source, const TemplateDocument& target,
                           bool* changed) {
  ForEachConstraintParam(source, target, changed, [&](const xmlNode* param, xmlNode* target_param) {
    for (const auto& [name, value] : AddConstraintsMissingIn(target, param, target_param, changed)) {
      Q9_TRACE(kSite, trace_level::kProgress, "To Parameter: %s, add Constraint: %s, with Value: %s",
               AttributeText(param, "Name").c_str(), name.c_str(), value.c_str());
    }
  });
}

void AddMissingConstraintValues(const TemplateDocument& source, const TemplateDocument& target,
                                bool* changed) {
  ForEachConstraintParam(source, target, changed, [&](const xmlNode* param, xmlNode* target_param) {
    for (const std::string& value : AddValuesMissingIn(target, param, target_param, changed)) {
      Q9_TRACE(kSite, trace_level::kProgress, "To Parameter: %s, in collection add Value: %s",
               AttributeText(param, "Name").c_str(), value.c_str());
    }
  });
}

struct SupportCollection {
  const char* section;
  const char* collection;
  const char* created_trace;
  std::initializer_list<std::string_view> followers;
};

// Values the source's collection has and the target's lacks are added; the
// target's section and collection are created when missing.
void MergeSupportCollection(const TemplateDocument& source, const TemplateDocument& target,
                            const SupportCollection& kind, bool* changed) {
  const xmlNode* from = ChildNamed(FirstElementNamed(source, kind.section), kind.collection);
  if (from == nullptr) return;
  xmlNode* section = FindOrAddChild(target, target.root(), kind.section, changed, kind.followers);
  if (section == nullptr) return;
  xmlNode* into = ChildNamed(section, kind.collection);
  if (into == nullptr) {
    Q9_TRACE(kSite, trace_level::kProgress, "%s", kind.created_trace);
    into = FindOrAddChild(target, section, kind.collection, changed);
    if (into == nullptr) return;
  }
  const std::vector<std::string> present = CollectionValues(into);
  for (const std::string& value : CollectionValues(from)) {
    if (Contains(present, value)) {
      Q9_TRACE(kSite, trace_level::kProgress, "Value found ... no action");
      continue;
    }
    AddValue(target, into, value);
    *changed = true;
    Q9_TRACE(kSite, trace_level::kProgress, "Value not found ... Add Value: %s", value.c_str());
  }
}

}  // namespace

void MergeBoards(XmlContext& xml, InstallLog& log, const std::string& source_file,
                 const std::string& target_file) {
  RunMerge(xml, log, "MergeBoards", kSite, source_file, target_file, nullptr,
           [&](const TemplateDocument& source, TemplateDocument& target) {
             bool changed = false;
             log.Write("Merge Parameters from :  <BoardAttributes> and <Install>");
             // Board settings a user changed survive, as in a merge without overwrite.
             MergeParameterSections(source, target,
                                    {static_cast<int32_t>(ParameterSection::kBoardAttributes),
                                     static_cast<int32_t>(ParameterSection::kInstall)},
                                    0, kSite);
             log.Write("Merge Parameters from :  <Constraints>");
             AddMissingConstraints(source, target, &changed);
             log.Write("Merge ValueCollections from :  <Constraints>");
             AddMissingConstraintValues(source, target, &changed);
             log.Write("Merge ValueCollections from :  <NotSupportedSection> and "
                       "<BaseSupportedSection>");
             MergeSupportCollection(source, target,
                                    {"NotSupportedSection", "NotSupported",
                                     "Kein NotSupported gefunden -> Create it",
                                     {"BaseSupportedSection", "UserInterface", "UserInterface64"}},
                                    &changed);
             MergeSupportCollection(source, target,
                                    {"BaseSupportedSection", "BaseSupported",
                                     "Kein BaseSupported gefunden -> Create it",
                                     {"UserInterface", "UserInterface64"}},
                                    &changed);
             log.Write("Merge Parameters from :  <UserInterface>");
             if (changed) target.MarkModified();
             MergeUserInterfaces(source, target, kSite);
           });
}

}  // namespace q9
