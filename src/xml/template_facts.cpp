#include "xml/template_facts.h"

#include <algorithm>

#include "platform/path.h"
#include "trace/trace.h"
#include "xml/streaming_reader.h"
#include "xml/template_document.h"
#include "xml/template_namespace.h"
#include "xml/xml_context.h"

namespace q9 {
namespace {

// The key id of files whose values could not be read: always a candidate.
constexpr uint32_t kUnreadable = 0;
constexpr uint32_t kNoKey = UINT32_MAX;

std::string FoldedPath(const std::string& path) { return FoldedAscii(ApplyFileNameRule(path)); }

// Values that compare equal ignoring case give one key. NUL joins them: no
// XML value can hold it.
void AppendToKey(std::string_view value, std::string* key) {
  *key += FoldedAscii(value);
  *key += '\0';
}

bool SameStamp(const FileInfo& a, const FileInfo& b) {
  return a.size == b.size && a.modified_ns == b.modified_ns && a.is_directory == b.is_directory;
}

}  // namespace

template <typename Derive, typename Read>
ResultCode TemplateFacts::Lookup(const std::string& path, const std::string& key,
                                 const char* label, std::string* value, Derive derive, Read read) {
  FileInfo stamp;
  if (path.empty() || value == nullptr ||
      xml_.env().files().GetFileInfo(ApplyFileNameRule(path), &stamp) != os_error::kSuccess) {
    File unkept;
    return read(unkept);
  }
  File& file = files_[FoldedPath(path)];
  if (file.path != path || !SameStamp(file.stamp, stamp)) {
    file = File{path, stamp, {}, {}};
  }
  auto known = file.facts.find(key);
  if (known == file.facts.end()) {
    if (std::optional<Fact> derived = derive(file)) {
      known = file.facts.emplace(key, std::move(*derived)).first;
    } else {
      const ResultCode result = read(file);
      // A file that could not be opened may be readable next time.
      if (result != PGSP_ERR_CANT_LOAD_XML_FILE) file.facts.emplace(key, Fact{result, *value});
      return result;
    }
  }
  // The records the reader would have written, so the trace reads the same.
  const TraceSite site{"q9xmlHelper", label};
  Q9_TRACE(site, trace_level::kEntry, ">> Start");
  Q9_TRACE(site, trace_level::kResult, "<< return lRet = %d", known->second.first);
  *value = known->second.second;
  return known->second.first;
}

void TemplateFacts::Forget(const std::string& path) {
  const std::string file = ApplyFileNameRule(path);
  files_.erase(FoldedAscii(file));
  // Every index hears of it: a file name says nothing of another folder, and
  // a folder spelled differently must not keep a stale key.
  for (auto& [id, index] : indexes_) index.written.emplace_back(BaseName(file));
}

void TemplateFacts::ForgetBelow(const std::string& folder) {
  const std::optional<std::string> key = FoldedPathKey(folder);
  if (!key || *key == std::string(1, kPathSeparator)) {
    ForgetAll();
    return;
  }
  const std::string below = *key + kPathSeparator;
  // Paths that give no key of their own may name anything: they go too.
  const auto inside = [&](const std::string& path) {
    const std::optional<std::string> own = FoldedPathKey(path);
    return !own || *own == *key || own->starts_with(below);
  };
  std::erase_if(files_, [&](const auto& file) { return inside(file.second.path); });
  std::erase_if(indexes_, [&](const auto& index) { return inside(index.second.folder); });
}

void TemplateFacts::Copied(const std::string& from, const std::string& to) {
  Forget(to);
  const auto source = files_.find(FoldedPath(from));
  FileInfo from_stamp;
  FileInfo to_stamp;
  if (source == files_.end() || source->second.path != from ||
      xml_.env().files().GetFileInfo(ApplyFileNameRule(from), &from_stamp) != os_error::kSuccess ||
      !SameStamp(source->second.stamp, from_stamp) ||
      xml_.env().files().GetFileInfo(ApplyFileNameRule(to), &to_stamp) != os_error::kSuccess) {
    return;
  }
  File copy = source->second;
  copy.path = to;
  copy.stamp = to_stamp;
  files_.insert_or_assign(FoldedPath(to), std::move(copy));
}

void TemplateFacts::Loaded(const std::string& path, const TemplateDocument& document) {
  FileInfo stamp;
  const xmlNode* root = document.root();
  if (path.empty() || root == nullptr ||
      xml_.env().files().GetFileInfo(ApplyFileNameRule(path), &stamp) != os_error::kSuccess) {
    return;
  }
  File& file = files_[FoldedPath(path)];
  if (file.path != path || !SameStamp(file.stamp, stamp)) file = File{path, stamp, {}, {}};
  if (file.root) return;
  // The reader names a prefixed attribute "prefix:name" and skips it here;
  // one without a prefix never has a namespace. Its value is taken the way
  // the reader takes it.
  std::map<std::string, std::string> attributes;
  for (const xmlAttr* attribute = root->properties; attribute != nullptr;
       attribute = attribute->next) {
    if (attribute->ns != nullptr) continue;
    XmlCharPtr value(xmlGetNoNsProp(root, attribute->name));
    attributes[FromXml(attribute->name)] = value != nullptr ? FromXml(value.get()) : "";
  }
  file.root = std::move(attributes);
}

uint32_t TemplateFacts::NextCandidate(const std::string& folder,
                                      std::span<const IdentityField> fields,
                                      std::span<const std::string> wanted, uint32_t from) {
  std::shared_ptr<const std::vector<DirEntry>> listing;
  if (xml_.env().files().ListDirectoryShared(folder, &listing) != os_error::kSuccess) return from;
  std::string id = FoldedAscii(folder);
  for (const IdentityField& field : fields) {
    id.append(1, '\0').append(field.section).append(1, '/').append(field.name);
  }
  FolderIndex& index = indexes_[id];
  if (index.folder != folder) {
    index = FolderIndex{};
    index.folder = folder;
    index.positions.emplace_back();  // kUnreadable
  }
  const bool same = index.listing.lock() == listing;
  if (!same || index.listing_size != listing->size() || !index.written.empty()) {
    if (!same || !Grow(index, *listing, fields)) Update(index, listing, fields);
  }

  std::string key;
  for (const std::string& value : wanted) AppendToKey(value, &key);
  auto next = static_cast<uint32_t>(index.files.size());
  const auto first_from = [&](const std::vector<uint32_t>& positions) {
    const auto found = std::lower_bound(positions.begin(), positions.end(), from);
    if (found != positions.end()) next = std::min(next, *found);
  };
  first_from(index.positions[kUnreadable]);
  if (const auto known = index.key_ids.find(key); known != index.key_ids.end()) {
    first_from(index.positions[known->second]);
  }
  return next;
}

void TemplateFacts::Update(FolderIndex& index,
                           const std::shared_ptr<const std::vector<DirEntry>>& listing,
                           std::span<const IdentityField> fields) {
  // Positions of the entries whose names equal a written one ignoring case.
  std::vector<size_t> rewritten;
  for (const std::string& name : index.written) {
    for (const DirEntry& entry : EntriesEqualIgnoringCase(*listing, name)) {
      rewritten.push_back(static_cast<size_t>(&entry - listing->data()));
    }
  }
  std::sort(rewritten.begin(), rewritten.end());
  auto next_rewritten = rewritten.begin();

  std::vector<std::string>& files = index.spare;
  std::vector<uint32_t> keys;
  files.clear();
  files.reserve(listing->size());
  keys.reserve(listing->size());
  // Both listings are in walk order, so a file that stayed is at the old
  // cursor, or one further when the file before it went; a file met nowhere
  // near is looked up, which the facts answer from memory unless it changed.
  size_t old = 0;
  for (size_t position = 0; position < listing->size(); ++position) {
    const DirEntry& entry = (*listing)[position];
    while (next_rewritten != rewritten.end() && *next_rewritten < position) ++next_rewritten;
    const bool written = next_rewritten != rewritten.end() && *next_rewritten == position;
    if (entry.is_directory) continue;
    uint32_t key = kNoKey;
    for (size_t at = old; at < std::min(old + 2, index.files.size()); ++at) {
      if (index.files[at] == entry.name) {
        key = index.keys[at];
        files.push_back(std::move(index.files[at]));
        old = at + 1;
        break;
      }
    }
    if (key == kNoKey) files.push_back(entry.name);
    if (key == kNoKey || key == kUnreadable || written) key = KeyOf(index, entry.name, fields);
    keys.push_back(key);
  }
  std::swap(index.files, index.spare);
  index.keys = std::move(keys);
  IndexPositions(index);
  index.listing = listing;
  index.listing_size = listing->size();
  index.has_folders = std::any_of(listing->begin(), listing->end(),
                                  [](const DirEntry& entry) { return entry.is_directory; });
  index.written.clear();
}

bool TemplateFacts::Grow(FolderIndex& index, const std::vector<DirEntry>& listing,
                         std::span<const IdentityField> fields) {
  // Without folders a file's walk position is its place in the listing.
  if (index.has_folders) return false;
  const auto known = [&](const std::string& name) {
    const auto at = std::lower_bound(index.files.begin(), index.files.end(), name,
                                     [](const std::string& file, const std::string& wanted) {
                                       return StoreOrderLess(file, wanted);
                                     });
    return at != index.files.end() && *at == name;
  };
  std::vector<size_t> touched;  // positions of the written names' entries
  size_t added = 0;
  for (const std::string& name : index.written) {
    for (const DirEntry& entry : EntriesEqualIgnoringCase(listing, name)) {
      const auto position = static_cast<size_t>(&entry - listing.data());
      if (std::find(touched.begin(), touched.end(), position) != touched.end()) continue;
      if (entry.is_directory) return false;
      touched.push_back(position);
      if (!known(entry.name)) ++added;
    }
  }
  if (listing.size() != index.listing_size + added) return false;
  std::sort(touched.begin(), touched.end());
  for (const size_t position : touched) {
    const std::string& name = listing[position].name;
    if (position >= index.files.size() || index.files[position] != name) {
      index.files.insert(index.files.begin() + static_cast<std::ptrdiff_t>(position), name);
      index.keys.insert(index.keys.begin() + static_cast<std::ptrdiff_t>(position), kNoKey);
    }
    index.keys[position] = KeyOf(index, name, fields);
  }
  IndexPositions(index);
  index.listing_size = listing.size();
  index.written.clear();
  return true;
}

void TemplateFacts::IndexPositions(FolderIndex& index) {
  for (std::vector<uint32_t>& positions : index.positions) positions.clear();
  for (uint32_t position = 0; position < index.keys.size(); ++position) {
    index.positions[index.keys[position]].push_back(position);
  }
}

uint32_t TemplateFacts::KeyOf(FolderIndex& index, const std::string& name,
                              std::span<const IdentityField> fields) {
  const std::string path = JoinPath(index.folder, name);
  std::string key;
  for (const IdentityField& field : fields) {
    std::string value;
    const ResultCode result =
        field.section.empty()
            ? RootAttribute(path, std::string(field.name), &value)
            : ParameterValue(path, std::string(field.section), std::string(field.name), &value);
    if (result == PGSP_ERR_CANT_LOAD_XML_FILE) return kUnreadable;
    AppendToKey(value, &key);
  }
  const auto [known, added] =
      index.key_ids.try_emplace(std::move(key), static_cast<uint32_t>(index.positions.size()));
  if (added) index.positions.emplace_back();
  return known->second;
}

ResultCode TemplateFacts::RootAttribute(const std::string& path, const std::string& attribute,
                                        std::string* value) {
  // One read of the first element answers for all its plain attributes: a
  // file's identity and versions are asked for one attribute at a time.
  const bool plain = attribute.find(':') == std::string::npos && attribute != "xmlns";
  return Lookup(
      path, attribute, "ReadRootAttribute: ", value,
      [&](const File& file) -> std::optional<Fact> {
        if (!plain || !file.root) return std::nullopt;
        const auto found = file.root->find(attribute);
        return found == file.root->end() ? Fact{kStreamValueNotFound, ""}
                                         : Fact{PGSP_OK, found->second};
      },
      [&](File& file) {
        std::map<std::string, std::string> attributes;
        const ResultCode result =
            ReadRootAttribute(xml_, path, attribute, value, plain ? &attributes : nullptr);
        if (plain && result != PGSP_ERR_CANT_LOAD_XML_FILE) file.root = std::move(attributes);
        return result;
      });
}

ResultCode TemplateFacts::ParameterValue(const std::string& path, const std::string& section,
                                         const std::string& parameter, std::string* value) {
  // '\n' cannot occur in an attribute name, so the keys of the two kinds never meet.
  return Lookup(
      path, section + '\n' + parameter, "ReadParameterValue: ", value,
      [](const File&) -> std::optional<Fact> { return std::nullopt; },
      [&](File&) { return ReadParameterValue(xml_, path, section, parameter, value); });
}

}  // namespace q9
