// The identity and version values of template files, read with the
// streaming readers once per file and kept for the run. The merge walks the
// meta folder once for every arriving template, so without this every meta
// file would be stream-read again for each of them; the per-folder identity
// index below lets that walk jump to the files that can match.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "platform/env.h"
#include "platform/result_code.h"

namespace q9 {

class XmlContext;  // xml/xml_context.h, which holds the run's one index
class TemplateDocument;

// One value of a template's identity: the root attribute `name`, or with a
// `section` the parameter `name` of that section.
struct IdentityField {
  std::string_view section;  // empty: a root attribute
  std::string_view name;
};

class TemplateFacts {
 public:
  explicit TemplateFacts(XmlContext& xml) : xml_(xml) {}
  TemplateFacts(const TemplateFacts&) = delete;
  TemplateFacts& operator=(const TemplateFacts&) = delete;

  // Same arguments, results and traces as ReadRootAttribute and
  // ReadParameterValue. What was read is answered again until the program
  // writes the file (see Forget) or its size or modification time changes
  // (a writer outside the program). A file that cannot be opened is looked
  // at again every time.
  [[nodiscard]] ResultCode RootAttribute(const std::string& path, const std::string& attribute,
                                         std::string* value);
  [[nodiscard]] ResultCode ParameterValue(const std::string& path, const std::string& section,
                                          const std::string& parameter, std::string* value);

  // Drops what is known of the file `path` (file-name rule applied, any
  // letter case). The program's writers call it after every write of a
  // file: a rewrite within the file system's timestamp granularity can keep
  // size and modification time.
  void Forget(const std::string& path);
  // After the program copied the file `from` to `to`: forgets `to` as Forget
  // does, and then, when what is known of `from` still holds, knows the same
  // of `to`, whose bytes are the same. A run that copies each arriving
  // template into meta so never reads the copy again for its identity.
  void Copied(const std::string& from, const std::string& to);
  // After the program loaded the file `path` whole into `document`: knows
  // the plain attributes of its first element from the document, exactly as
  // a read of them would find them, so a file's identity and versions are
  // not read a second time right after its load.
  void Loaded(const std::string& path, const TemplateDocument& document);
  // Drops what is known of every file below the folder `folder` (any letter
  // case) and the indexes of the folders there, after a tree copy into it
  // that may have replaced any of them. Everything when the folder's path
  // gives no key (see FoldedPathKey).
  void ForgetBelow(const std::string& folder);
  // Drops everything, after a write that may have touched any file (also
  // one behind the program's back, such as the board-control library's).
  void ForgetAll() {
    files_.clear();
    indexes_.clear();
  }

  // The position, counted as a walk by index over the files of `folder`
  // counts (folders skipped, in listing order), of the first file at `from`
  // or after whose values of `fields` may equal `wanted` ignoring ASCII case.
  // Every file whose values do equal is found; one that cannot be read
  // counts as a possible match, so the caller compares each answer itself.
  // The number of files when none is left; `from` when the folder cannot be
  // listed. The values come from the look-ups above, whose trace records it
  // writes in an order of its own.
  [[nodiscard]] uint32_t NextCandidate(const std::string& folder,
                                       std::span<const IdentityField> fields,
                                       std::span<const std::string> wanted, uint32_t from);

 private:
  using Fact = std::pair<ResultCode, std::string>;
  struct File {
    std::string path;  // as spelled when read; another spelling reads anew
    FileInfo stamp;
    std::unordered_map<std::string, Fact> facts;  // by look-up key
    // The plain attributes of the first element, once a read has seen them.
    std::optional<std::map<std::string, std::string>> root;
  };
  // Answers `key` from `file` when known; else from derive(file) when that
  // knows it; else by read(file), which may note more in `file`.
  template <typename Derive, typename Read>
  ResultCode Lookup(const std::string& path, const std::string& key, const char* label,
                    std::string* value, Derive derive, Read read);

  // The files of one folder by identity. Built from a listing and the facts,
  // and brought up to date when the listing is another one or grew (the
  // folder changed) or a file in it was written: the keys of files whose
  // names stayed are kept, the others are looked up again. It keeps the
  // names itself rather than the listing, so that the file system may grow
  // a listing nobody holds instead of copying it for every new file.
  struct FolderIndex {
    std::string folder;  // as spelled when built
    std::weak_ptr<const std::vector<DirEntry>> listing;
    size_t listing_size = 0;
    std::vector<std::string> files;  // names, in walk order
    std::vector<std::string> spare;  // the previous `files`, reused
    std::vector<uint32_t> keys;      // identity key id by position
    std::unordered_map<std::string, uint32_t> key_ids;  // by folded identity
    std::vector<std::vector<uint32_t>> positions;       // by key id, ascending
    std::vector<std::string> written;  // names forgotten since the last update
    bool has_folders = false;          // in the listing last seen
  };
  void Update(FolderIndex& index, const std::shared_ptr<const std::vector<DirEntry>>& listing,
              std::span<const IdentityField> fields);
  // The cheap case of Update, for a listing that grew in place by new
  // files of the written names (a run copying file after file into the
  // folder): those are inserted and the written ones looked up again, at a
  // cost that does not grow with the folder but for moving numbers. False,
  // changing nothing, when the listing changed in any other way.
  bool Grow(FolderIndex& index, const std::vector<DirEntry>& listing,
            std::span<const IdentityField> fields);
  void IndexPositions(FolderIndex& index);
  uint32_t KeyOf(FolderIndex& index, const std::string& name,
                 std::span<const IdentityField> fields);

  XmlContext& xml_;
  // By the file's path with ASCII letters folded, as paths resolve.
  std::unordered_map<std::string, File> files_;
  // By folded folder path and field names.
  std::unordered_map<std::string, FolderIndex> indexes_;
};

}  // namespace q9
