#include "merge/param_entries.h"

#include <algorithm>

#include "merge/tree_edit.h"
#include "xml/dom_helpers.h"

namespace q9 {

std::vector<xmlNode*> ChildrenNamed(const xmlNode* parent, std::string_view name) {
  std::vector<xmlNode*> children;
  if (parent == nullptr) return children;
  for (xmlNode* child = parent->children; child != nullptr; child = child->next) {
    if (IsElementNamed(child, name)) children.push_back(child);
  }
  return children;
}

std::vector<std::string> CollectionValues(const xmlNode* collection) {
  std::vector<std::string> values;
  for (const xmlNode* value : ChildrenNamed(collection, "Value")) {
    values.push_back(ElementText(value));
  }
  return values;
}

xmlNode* FindOrAddNamed(const TemplateDocument& target, xmlNode* parent, const char* element,
                        const std::string& name, bool* changed,
                        std::initializer_list<std::string_view> followers) {
  if (xmlNode* found = ChildWithAttribute(parent, element, "Name", name)) return found;
  xmlNode* added = AddElement(target, parent, element, followers);
  if (added == nullptr) return nullptr;
  xmlSetProp(added, ToXml("Name"), ToXml(name.c_str()));
  *changed = true;
  return added;
}

xmlNode* FindOrAddChild(const TemplateDocument& target, xmlNode* parent, const char* element,
                        bool* changed, std::initializer_list<std::string_view> followers) {
  if (xmlNode* found = ChildNamed(parent, element)) return found;
  xmlNode* added = AddElement(target, parent, element, followers);
  if (added != nullptr) *changed = true;
  return added;
}

xmlNode* FindOrAddParam(const TemplateDocument& target, xmlNode* parent, const xmlNode* from,
                        bool* changed) {
  bool added = false;
  xmlNode* param = FindOrAddNamed(target, parent, "Param", AttributeText(from, "Name"), &added);
  if (added && xmlHasProp(from, ToXml("Type")) != nullptr) {
    xmlSetProp(param, ToXml("Type"), ToXml(AttributeText(from, "Type").c_str()));
  }
  *changed = *changed || added;
  return param;
}

std::vector<std::pair<std::string, std::string>> AddConstraintsMissingIn(
    const TemplateDocument& target, const xmlNode* from, xmlNode* into, bool* changed) {
  std::vector<std::pair<std::string, std::string>> added;
  for (const xmlNode* constraint : ChildrenNamed(from, "Constraint")) {
    std::string name = AttributeText(constraint, "Name");
    if (ChildWithAttribute(into, "Constraint", "Name", name) != nullptr) continue;
    xmlNode* copy = AddElement(target, into, "Constraint", {"ValueCollection"});
    if (copy == nullptr) continue;
    std::string value = AttributeText(constraint, "Value");
    xmlSetProp(copy, ToXml("Name"), ToXml(name.c_str()));
    xmlSetProp(copy, ToXml("Value"), ToXml(value.c_str()));
    *changed = true;
    added.emplace_back(std::move(name), std::move(value));
  }
  return added;
}

void AddValue(const TemplateDocument& target, xmlNode* collection, const std::string& text) {
  if (xmlNode* value = AddElement(target, collection, "Value")) SetElementText(value, text);
}

std::vector<std::string> AddValuesMissingIn(const TemplateDocument& target, const xmlNode* from,
                                            xmlNode* into, bool* changed) {
  std::vector<std::string> added;
  const xmlNode* collection = ChildNamed(from, "ValueCollection");
  if (collection == nullptr) return added;
  xmlNode* target_collection = FindOrAddChild(target, into, "ValueCollection", changed);
  if (target_collection == nullptr) return added;
  const std::vector<std::string> present = CollectionValues(target_collection);
  for (const std::string& text : CollectionValues(collection)) {
    if (std::find(present.begin(), present.end(), text) != present.end()) continue;
    AddValue(target, target_collection, text);
    *changed = true;
    added.push_back(text);
  }
  return added;
}

}  // namespace q9
