#include <string>
#include <vector>

#include "merge/merge_areas.h"
#include "merge/merges.h"
#include "merge/param_entries.h"
#include "merge/tree_edit.h"

namespace q9 {
namespace {

constexpr TraceSite kSite{"Merge", "MergeProtocols: "};

// The ParamSection that lists what users may change: its Params are the
// user's, so they are added when missing and otherwise left alone.
constexpr std::string_view kUserSection = "USER";

// Calls visit(source param, target param, section name) for every Param of the
// source's sections but USER, creating the target's section and Param first.
template <typename Visit>
void ForEachParam(const TemplateDocument& source, const TemplateDocument& target, bool* changed,
                  Visit visit) {
  xmlNode* into = FirstElementNamed(target, "ParamSections");
  if (into == nullptr) return;
  for (const xmlNode* section : ChildrenNamed(FirstElementNamed(source, "ParamSections"), "ParamSection")) {
    const std::string section_name = AttributeText(section, "Name");
    if (section_name == kUserSection) continue;
    xmlNode* target_section = FindOrAddNamed(target, into, "ParamSection", section_name, changed);
    if (target_section == nullptr) continue;
    for (const xmlNode* param : ChildrenNamed(section, "Param")) {
      if (xmlNode* target_param = FindOrAddParam(target, target_section, param, changed)) {
        visit(param, target_param);
      }
    }
  }
}

void AddMissingConstraints(const TemplateDocument& source, const TemplateDocument& target,
                           bool* changed) {
  ForEachParam(source, target, changed, [&](const xmlNode* param, xmlNode* target_param) {
    for (const auto& [name, value] : AddConstraintsMissingIn(target, param, target_param, changed)) {
      Q9_TRACE(kSite, trace_level::kProgress, "For Param: %s, add Constraint: %s, with Value: %s",
               AttributeText(param, "Name").c_str(), name.c_str(), value.c_str());
    }
  });
}

// The protocol's limits belong to its maker: a newer value replaces the old.
void OverwriteConstraintValues(const TemplateDocument& source, const TemplateDocument& target,
                               bool* changed) {
  ForEachParam(source, target, changed, [&](const xmlNode* param, xmlNode* target_param) {
    for (const xmlNode* constraint : ChildrenNamed(param, "Constraint")) {
      const std::string name = AttributeText(constraint, "Name");
      const std::string value = AttributeText(constraint, "Value");
      xmlNode* existing = ChildWithAttribute(target_param, "Constraint", "Name", name);
      if (existing == nullptr || AttributeText(existing, "Value") == value) continue;
      xmlSetProp(existing, ToXml("Value"), ToXml(value.c_str()));
      *changed = true;
      Q9_TRACE(kSite, trace_level::kProgress,
               "For Param: %s, in Constraint: %s, different Value found (overwrite): %s",
               AttributeText(param, "Name").c_str(), name.c_str(), value.c_str());
    }
  });
}

void AddMissingValues(const TemplateDocument& source, const TemplateDocument& target,
                      bool* changed) {
  ForEachParam(source, target, changed, [&](const xmlNode* param, xmlNode* target_param) {
    for (const std::string& value : AddValuesMissingIn(target, param, target_param, changed)) {
      Q9_TRACE(kSite, trace_level::kProgress, "Add Value: %s to Parameter: %s", value.c_str(),
               AttributeText(param, "Name").c_str());
    }
  });
}

// A Param of the source's USER section that the target's lacks is added with
// its constraints and values; one the target has stays as the user left it.
void AddMissingUserParams(const TemplateDocument& source, const TemplateDocument& target,
                          bool* changed) {
  const xmlNode* from = ChildWithAttribute(FirstElementNamed(source, "ParamSections"),
                                           "ParamSection", "Name", kUserSection);
  xmlNode* sections = FirstElementNamed(target, "ParamSections");
  if (from == nullptr || sections == nullptr) return;
  xmlNode* into = FindOrAddNamed(target, sections, "ParamSection", std::string(kUserSection), changed);
  if (into == nullptr) return;
  for (const xmlNode* param : ChildrenNamed(from, "Param")) {
    const std::string name = AttributeText(param, "Name");
    if (ChildWithAttribute(into, "Param", "Name", name) != nullptr) continue;
    xmlNode* added = FindOrAddParam(target, into, param, changed);
    if (added == nullptr) continue;
    AddConstraintsMissingIn(target, param, added, changed);
    for (const std::string& value : AddValuesMissingIn(target, param, added, changed)) {
      Q9_TRACE(kSite, trace_level::kProgress, "To USER from Parameter: %s, add Param-Value: %s - %s",
               name.c_str(), AttributeText(param, "Type").c_str(), value.c_str());
    }
  }
}

}  // namespace

void MergeProtocols(XmlContext& xml, InstallLog& log, const std::string& source_file,
                    const std::string& target_file) {
  RunMerge(xml, log, "MergeProtocols", kSite, source_file, target_file, nullptr,
           [&](const TemplateDocument& source, TemplateDocument& target) {
             bool changed = false;
             log.Write("Merge ParamSections");
             AddMissingConstraints(source, target, &changed);
             log.Write("Merge ValueCollection");
             OverwriteConstraintValues(source, target, &changed);
             log.Write("Merge ValueCollections and Parameters");
             AddMissingValues(source, target, &changed);
             AddMissingUserParams(source, target, &changed);
             log.Write("Merge Parameters from:  <UserInterface>");
             if (changed) target.MarkModified();
             MergeUserInterfaces(source, target, kSite);
           });
}

}  // namespace q9
