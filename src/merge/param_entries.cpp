#include "merge/param_entries.h"

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

void AddConstraint(const TemplateDocument& target, xmlNode* param, const std::string& name,
                   const std::string& value) {
  xmlNode* constraint = AddElement(target, param, "Constraint", {"ValueCollection"});
  if (constraint == nullptr) return;
  xmlSetProp(constraint, ToXml("Name"), ToXml(name.c_str()));
  xmlSetProp(constraint, ToXml("Value"), ToXml(value.c_str()));
}

void AddValue(const TemplateDocument& target, xmlNode* collection, const std::string& text) {
  if (xmlNode* value = AddElement(target, collection, "Value")) SetElementText(value, text);
}

}  // namespace q9
