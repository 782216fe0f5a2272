// The `Param` vocabulary that protocol and board templates share: a `Param
// Name= Type=` holds `Constraint Name= Value=` elements and at most one
// `ValueCollection` of `Value` texts. Params are matched by their Name
// attribute inside their parent, constraints by their Name attribute inside
// their Param, values by their text inside their collection.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "xml/template_document.h"

namespace q9 {

// The child elements of `parent` named `name`, in order (none for null).
std::vector<xmlNode*> ChildrenNamed(const xmlNode* parent, std::string_view name);

// The texts of the `Value` children of `collection` (none for null).
std::vector<std::string> CollectionValues(const xmlNode* collection);

// The child `element` of `parent` whose Name attribute is `name`; created
// (with that attribute, before the first of `followers`) when it is missing,
// which sets `*changed`. Null when it cannot be created.
xmlNode* FindOrAddNamed(const TemplateDocument& target, xmlNode* parent, const char* element,
                        const std::string& name, bool* changed,
                        std::initializer_list<std::string_view> followers = {});

// The child `element` of `parent`, created (before the first of `followers`)
// when it is missing, which sets `*changed`. Null when it cannot be created.
xmlNode* FindOrAddChild(const TemplateDocument& target, xmlNode* parent, const char* element,
                        bool* changed, std::initializer_list<std::string_view> followers = {});

// A copy of the source Param `from` in the target's `parent`: the Param of
// that name, created with the source's Type when it is missing.
xmlNode* FindOrAddParam(const TemplateDocument& target, xmlNode* parent, const xmlNode* from,
                        bool* changed);

// Adds a `Constraint Name= Value=` to `param`, in front of its ValueCollection.
void AddConstraint(const TemplateDocument& target, xmlNode* param, const std::string& name,
                   const std::string& value);

// Appends a `Value` holding `text` to `collection`.
void AddValue(const TemplateDocument& target, xmlNode* collection, const std::string& text);

}  // namespace q9
