#include "merge/section_entries.h"

#include <array>
#include <string_view>

#include "merge/template_io.h"
#include "merge/tree_edit.h"
#include "xml/dom_helpers.h"

namespace q9 {
namespace {

constexpr std::array<std::string_view, 2> kFunctionNames{"PropSheet", "Diagnosis"};
constexpr std::array<std::string_view, 4> kResourceIdNames{"DescText", "DescDefault",
                                                           "BaudrateResource", "BusparamResource"};

template <size_t N>
bool IsOneOf(std::string_view name, const std::array<std::string_view, N>& names) {
  for (std::string_view candidate : names) {
    if (name == candidate) return true;
  }
  return false;
}

const char* UserInterfaceSectionName(int32_t section_index) {
  if (section_index == kUserInterfaceSection) return "UserInterface";
  if (section_index == kUserInterface64Section) return "UserInterface64";
  return nullptr;
}

bool IsUserInterfaceEntry(const xmlNode* node) {
  return IsElementNamed(node, "Resource") || IsElementNamed(node, "ParameterAssemblyLink");
}

bool IsSubdeviceParameterKind(const xmlNode* node) {
  return IsElementNamed(node, "Parameter") || IsElementNamed(node, "ParameterInt") ||
         IsElementNamed(node, "ParameterBool");
}

// White space between elements is layout, not a child that counts.
bool IsCountedChild(const xmlNode* node) {
  return !(node->type == XML_TEXT_NODE && xmlIsBlankNode(node) != 0);
}

// Calls visit(element) for every element named `name`, in document order.
template <typename Visit>
void ForEachElementNamed(const TemplateDocument& document, std::string_view name, Visit visit) {
  xmlNode* root = document.root();
  if (IsElementNamed(root, name)) visit(root);
  for (xmlNode* element = NextElementInDocumentOrder(root, root); element != nullptr;
       element = NextElementInDocumentOrder(element, root)) {
    if (IsElementNamed(element, name)) visit(element);
  }
}

// Walks the children of `parent` with the counter that the index-based
// readers share: children before the wanted index advance it whatever they
// are; from there the first child that `accept` takes is the entry.
template <typename Accept>
const xmlNode* FindCountedChild(const xmlNode* parent, int32_t wanted, int32_t* counter,
                                Accept accept) {
  for (const xmlNode* child = parent->children; child != nullptr; child = child->next) {
    if (!IsCountedChild(child)) continue;
    if (*counter < wanted) {
      ++*counter;
    } else if (accept(child)) {
      return child;
    }
  }
  return nullptr;
}

std::string ChildText(const xmlNode* parent, std::string_view name) {
  return ElementText(ChildNamed(parent, name));
}

std::string NodeText(const xmlNode* node) {
  if (IsElement(node)) return ElementText(node);
  return node->content != nullptr ? FromXml(node->content) : "";
}

bool AllXmlText(std::initializer_list<std::string_view> texts) {
  for (std::string_view text : texts) {
    if (!IsXmlText(text)) return false;
  }
  return true;
}

}  // namespace

ResultCode WriteUserInterfaceEntry(TemplateDocument& document, int32_t section_index,
                                   const std::string& name, const std::string& assembly,
                                   const std::string& path_text,
                                   const std::optional<std::string>& function,
                                   const std::optional<std::string>& resource_id) {
  if (!AllXmlText({name, assembly, path_text, function.value_or(""), resource_id.value_or("")})) {
    return PGSP_ERR_INVALID_PARAMETERS;
  }
  const char* section_name = UserInterfaceSectionName(section_index);
  xmlNode* section = section_name != nullptr ? FirstElementNamed(document, section_name) : nullptr;
  if (section == nullptr) return kElementNotCreated;
  const bool is_link = !resource_id.has_value() && function.has_value();
  const char* kind = is_link ? "ParameterAssemblyLink" : "Resource";

  for (xmlNode* entry = section->children; entry != nullptr; entry = entry->next) {
    if (!IsElementNamed(entry, kind) || ChildText(entry, "Name") != name) continue;
    const auto replace = [&](xmlNode* child, const std::string& text) {
      if (ElementText(child) == text) return;
      SetElementText(child, text);
      document.MarkModified();
    };
    for (xmlNode* child = entry->children; child != nullptr; child = child->next) {
      if (IsElementNamed(child, "Assembly") && (is_link || !assembly.empty())) {
        replace(child, assembly);
      } else if (IsElementNamed(child, "Path") && (is_link || !path_text.empty())) {
        replace(child, path_text);
      } else if (IsElementNamed(child, "Function") && is_link) {
        replace(child, *function);
      } else if ((IsElementNamed(child, "ResourceId") || IsElementNamed(child, "Function")) &&
                 !is_link && resource_id.has_value()) {
        replace(child, *resource_id);
      }
    }
    return PGSP_OK;
  }

  xmlNode* entry = AddElement(document, section, kind);
  if (entry == nullptr) return kElementNotCreated;
  document.MarkModified();
  AppendTextElement(entry, "Name", name);
  AppendTextElement(entry, "Assembly", assembly);
  AppendTextElement(entry, "Path", path_text);
  if (IsOneOf(name, kFunctionNames)) AppendTextElement(entry, "Function", function.value_or(""));
  if (IsOneOf(name, kResourceIdNames)) {
    AppendTextElement(entry, "ResourceId", resource_id.value_or(""));
  }
  return PGSP_OK;
}

ResultCode WriteSubdeviceParameter(TemplateDocument& document, const std::string& subdev_name,
                                   const std::string& name, const std::string& value,
                                   const std::string& kind, int32_t append) {
  if (!AllXmlText({subdev_name, name, value})) return PGSP_ERR_INVALID_PARAMETERS;
  // Refused before anything is created, so a failed write changes nothing.
  if (xmlValidateNCName(ToXml(kind.c_str()), 0) != 0) return kElementNotCreated;
  bool created = false;
  xmlNode* subdevices = FirstElementNamed(document, "Subdevices");
  if (subdevices == nullptr) {
    xmlNode* bindings = FirstElementNamed(document, "Bindings");
    if (bindings == nullptr) return kElementNotCreated;
    subdevices = AddElement(document, bindings, "Subdevices");
    if (subdevices == nullptr) return kElementNotCreated;
    created = true;
  }
  xmlNode* subdevice = ChildWithAttribute(subdevices, "Subdevice", "SubdevName", subdev_name);
  if (subdevice == nullptr) {
    subdevice = AddElement(document, subdevices, "Subdevice");
    if (subdevice == nullptr) return kElementNotCreated;
    xmlSetProp(subdevice, ToXml("SubdevName"), ToXml(subdev_name.c_str()));
    created = true;
  }
  if (created) document.MarkModified();
  if (append != 1 && !created) return PGSP_OK;
  xmlNode* parameter = AddElement(document, subdevice, kind.c_str());
  if (parameter == nullptr) return kElementNotCreated;
  document.MarkModified();
  AppendTextElement(parameter, "Name", name);
  AppendTextElement(parameter, "Value", value);
  return PGSP_OK;
}

ResultCode AddLoadEntry(TemplateDocument& document, const std::string& text) {
  if (!IsXmlText(text)) return PGSP_ERR_INVALID_PARAMETERS;
  xmlNode* load = FirstElementNamed(document, "Load");
  if (load == nullptr) return kEntryMissing;
  xmlNode* entry = AddElement(document, load, "RelevantSection");
  if (entry == nullptr) return kElementNotCreated;
  SetElementText(entry, text);
  document.MarkModified();
  return PGSP_OK;
}

namespace {

// Loads `path`, runs `change` on the document and saves it when `change`
// succeeded and modified it.
template <typename Change>
ResultCode ChangeFile(XmlContext& xml, const std::string& path, Change change) {
  if (path.empty()) return PGSP_ERR_INVALID_PARAMETERS;
  TemplateDocument document;
  const ResultCode loaded = LoadTemplate(xml, path, &document);
  if (loaded != PGSP_OK) return loaded;
  const ResultCode result = change(document);
  if (document.modified() && result == PGSP_OK) {
    const ResultCode saved = document.Save(xml);
    if (saved != PGSP_OK) return saved;
  }
  return result;
}

template <typename Read>
ResultCode ReadFile(XmlContext& xml, const std::string& path, const void* output, Read read) {
  if (path.empty() || output == nullptr) return PGSP_ERR_INVALID_PARAMETERS;
  TemplateDocument document;
  const ResultCode loaded = LoadTemplate(xml, path, &document);
  if (loaded != PGSP_OK) return loaded;
  return read(document);
}

}  // namespace

ResultCode ReadUserInterfaceEntry(const TemplateDocument& document, int32_t section_index,
                                  int32_t entry_index, UserInterfaceEntry* entry) {
  if (entry == nullptr) return PGSP_ERR_INVALID_PARAMETERS;
  const char* section_name = UserInterfaceSectionName(section_index);
  const xmlNode* section =
      section_name != nullptr ? FirstElementNamed(document, section_name) : nullptr;
  if (section == nullptr) return PGSP_ERR_NO_MORE_ITEMS;
  int32_t counter = 0;
  const xmlNode* found = FindCountedChild(section, entry_index, &counter, IsUserInterfaceEntry);
  if (found == nullptr) return PGSP_ERR_NO_MORE_ITEMS;
  *entry = {};
  for (const xmlNode* child = found->children; child != nullptr; child = child->next) {
    if (IsElementNamed(child, "Name")) entry->name = ElementText(child);
    if (IsElementNamed(child, "Assembly")) entry->assembly = ElementText(child);
    if (IsElementNamed(child, "Path")) entry->path = ElementText(child);
    if (IsElementNamed(child, "ResourceId") || IsElementNamed(child, "Function")) {
      entry->value = ElementText(child);
    }
  }
  return PGSP_OK;
}

ResultCode ReadUserInterfaceEntry(XmlContext& xml, const std::string& path,
                                  int32_t section_index, int32_t entry_index,
                                  UserInterfaceEntry* entry) {
  return ReadFile(xml, path, entry, [&](const TemplateDocument& document) {
    return ReadUserInterfaceEntry(document, section_index, entry_index, entry);
  });
}

ResultCode WriteUserInterfaceEntry(XmlContext& xml, const std::string& path,
                                   int32_t section_index, const std::string& name,
                                   const std::string& assembly, const std::string& path_text,
                                   const std::optional<std::string>& function,
                                   const std::optional<std::string>& resource_id) {
  return ChangeFile(xml, path, [&](TemplateDocument& document) {
    return WriteUserInterfaceEntry(document, section_index, name, assembly, path_text, function,
                                   resource_id);
  });
}

ResultCode ReadSubdeviceParameter(const TemplateDocument& document, int32_t entry_index,
                                  SubdeviceParameter* entry) {
  if (entry == nullptr) return PGSP_ERR_INVALID_PARAMETERS;
  int32_t counter = 0;
  const xmlNode* found = nullptr;
  const xmlNode* found_in = nullptr;
  ForEachElementNamed(document, "Subdevice", [&](const xmlNode* subdevice) {
    if (found != nullptr) return;
    found = FindCountedChild(subdevice, entry_index, &counter, IsSubdeviceParameterKind);
    found_in = subdevice;
  });
  if (found == nullptr) return PGSP_ERR_NO_MORE_ITEMS;
  *entry = {};
  entry->subdev_name = AttributeText(found_in, "SubdevName");
  entry->kind = std::string(LocalName(found));
  entry->name = ChildText(found, "Name");
  entry->value = ChildText(found, "Value");
  return PGSP_OK;
}

ResultCode ReadSubdeviceParameter(XmlContext& xml, const std::string& path, int32_t entry_index,
                                  SubdeviceParameter* entry) {
  return ReadFile(xml, path, entry, [&](const TemplateDocument& document) {
    return ReadSubdeviceParameter(document, entry_index, entry);
  });
}

ResultCode WriteSubdeviceParameter(XmlContext& xml, const std::string& path,
                                   const std::string& subdev_name, const std::string& name,
                                   const std::string& value, const std::string& kind,
                                   int32_t append) {
  return ChangeFile(xml, path, [&](TemplateDocument& document) {
    return WriteSubdeviceParameter(document, subdev_name, name, value, kind, append);
  });
}

ResultCode ReadLoadEntry(const TemplateDocument& document, int32_t entry_index,
                         std::string* text) {
  if (text == nullptr) return PGSP_ERR_INVALID_PARAMETERS;
  int32_t counter = 0;
  const xmlNode* found = nullptr;
  ForEachElementNamed(document, "Load", [&](const xmlNode* load) {
    if (found == nullptr) {
      found = FindCountedChild(load, entry_index, &counter, [](const xmlNode*) { return true; });
    }
  });
  if (found == nullptr) return PGSP_ERR_NO_MORE_ITEMS;
  *text = NodeText(found);
  return PGSP_OK;
}

ResultCode ReadLoadEntry(XmlContext& xml, const std::string& path, int32_t entry_index,
                         std::string* text) {
  return ReadFile(xml, path, text, [&](const TemplateDocument& document) {
    return ReadLoadEntry(document, entry_index, text);
  });
}

ResultCode AddLoadEntry(XmlContext& xml, const std::string& path, const std::string& text) {
  return ChangeFile(xml, path, [&](TemplateDocument& document) {
    return AddLoadEntry(document, text);
  });
}

}  // namespace q9
