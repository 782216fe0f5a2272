// The `Param` vocabulary that protocol and board templates share: a `Param
// Name= Type=` holds `Constraint Name= Value=` elements and at most one
// `ValueCollection` of `Value` texts. Params are matched by their Name
// attribute inside their parent, constraints by their Name attribute inside
// their Param, values by their text inside their collection.
#pragma once

#include <string>
#include <string_view>
#include <utility>
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

// Adds to the target Param `into` every constraint of the source Param `from`
// that it lacks, in front of its ValueCollection, and returns them as (name,
// value) in order. Sets `*changed` when it added any.
std::vector<std::pair<std::string, std::string>> AddConstraintsMissingIn(
    const TemplateDocument& target, const xmlNode* from, xmlNode* into, bool* changed);

// Appends a `Value` holding `text` to `collection`.
void AddValue(const TemplateDocument& target, xmlNode* collection, const std::string& text);

// Appends to the collection of the target Param `into` (created when missing)
// every value of the source Param `from`'s collection that it lacks, and
// returns them in order. Sets `*changed` when it changed the target.
std::vector<std::string> AddValuesMissingIn(const TemplateDocument& target, const xmlNode* from,
                                            xmlNode* into, bool* changed);

}  // namespace q9
