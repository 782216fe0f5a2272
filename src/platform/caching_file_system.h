// A FileSystem that wraps another one and keeps what it read (listings, file
// information, file bytes) until a change made through it touches them, so a
// run that walks a folder by index or reads a template many times asks the
// disk once.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "platform/env.h"

namespace q9 {

// Every answer equals what the wrapped file system would give at that moment,
// provided nothing but this object changes the files (call DiscardCache after
// code that writes behind its back). Files it returns must not outlive it.
// Safe to use from several threads. While this object lives, the wrapped
// file system looks up a name not spelled as on disk in the listings kept
// here, each folder listed once, instead of searching the folder each time.
class CachingFileSystem final : public FileSystem, private FolderNames {
 public:
  // Bytes of larger files are not kept (the template size limit).
  static constexpr uint64_t kLargestKeptFile = 10'000'000;
  // A stream of a file up to this size is read from the whole file kept.
  static constexpr uint64_t kLargestFileReadWholeForAStream = 256 << 10;
  // What it keeps in all, roughly; past it everything is dropped.
  static constexpr uint64_t kDefaultBudget = 256ull << 20;

  explicit CachingFileSystem(FileSystem& base, uint64_t budget = kDefaultBudget)
      : base_(base), budget_(budget) {
    base_.LookUpNamesIn(this);
  }
  ~CachingFileSystem() override { base_.LookUpNamesIn(nullptr); }
  CachingFileSystem(const CachingFileSystem&) = delete;
  CachingFileSystem& operator=(const CachingFileSystem&) = delete;

  OsError ListDirectory(const std::string& dir, std::vector<DirEntry>* entries) override;
  OsError ListDirectoryShared(const std::string& dir,
                              std::shared_ptr<const std::vector<DirEntry>>* entries) override;
  OsError GetFileInfo(const std::string& path, FileInfo* info) override;
  OsError SetReadOnly(const std::string& path, bool read_only) override;
  OsError CreateDirectory(const std::string& path) override;
  OsError DeleteFile(const std::string& path) override;
  OsError CopyFile(const std::string& from, const std::string& to, bool overwrite) override;
  OsError CopyTree(const std::string& from, const std::string& to) override;
  OsError DeleteTree(const std::string& path) override;
  OsError ReadFileAtMost(const std::string& path, uint64_t limit,
                         std::string* contents) override;
  OsError WriteFileAtomic(const std::string& path, std::string_view contents) override;
  OsError OpenSequential(const std::string& path, std::unique_ptr<SequentialFile>* file) override;
  OsError OpenWritable(const std::string& path, OpenMode mode,
                       std::unique_ptr<WritableFile>* file) override;
  void DiscardCache() override;
  // What was kept may have come through a link that is no longer followed.
  void ConfineLinksBelow(std::vector<std::string> roots) override {
    DiscardCache();
    base_.ConfineLinksBelow(std::move(roots));
  }
  std::vector<FailureNote> TakeFailureNotes() override { return base_.TakeFailureNotes(); }

 private:
  friend class CachingWritableFile;

  // Always built with both members given: clang 14 crashes on default member
  // initialisers of a nested template used before the class is complete.
  template <typename T>
  struct Answer {
    OsError error;
    T value;
  };
  // What was read through one spelling of a path.
  struct Kept {
    std::string spelling;
    std::optional<Answer<std::shared_ptr<const std::vector<DirEntry>>>> listing;
    std::optional<Answer<FileInfo>> info;
    std::optional<Answer<std::string>> contents;
  };
  using Bucket = std::vector<Kept>;

  // Drops what `path` and everything below it kept; with `parent_too` also
  // the folder that holds it, whose listing and time the change alters.
  void Forget(const std::string& path, bool parent_too);
  // After a file was written at `path` (`error` tells how that went): drops
  // what the file and its folder's time kept, and keeps the folder's
  // listing, with the file added when the write made it. A run that saves
  // or copies file after file into one folder so never lists it again.
  // `contents`, when known, are kept as the file's bytes.
  void FileWritten(const std::string& path, OsError error,
                   std::optional<std::string_view> contents);
  // The entry kept for `path`, created when missing; nullptr when the path
  // is one the cache does not keep. Valid until the next Find or Charge.
  Kept* Find(const std::string& path);
  // Answers from the listing kept under exactly the spelling `folder`,
  // listing the folder first when none is kept and `list` is true.
  bool LookUp(const std::string& folder, std::string_view name, bool list,
              DirEntry* match) override;
  // The listing kept for exactly the spelling `folder` (listed now when none
  // is and `list` is true), or nullptr when there is none.
  const std::vector<DirEntry>* KeptListing(const std::string& folder, bool list);
  // Forgets the recent listings of `key` and, unless `only_key`, of every
  // folder below it.
  void ForgetRecent(std::string_view key, bool only_key);
  // Counts `bytes` against the budget; over it, everything goes.
  void Charge(uint64_t bytes);
  void DropAllLocked();

  FileSystem& base_;
  const uint64_t budget_;
  // Recursive: a read holds it across the call below, which may ask
  // LookUp.
  std::recursive_mutex mutex_;
  // Keyed by the path folded to ASCII upper case: every spelling that can
  // name one entry shares a key, and a folder's subtree is one key range.
  std::map<std::string, Bucket> kept_;
  uint64_t charged_ = 0;
  // The last folders LookUp answered for. Every path checked below asks for
  // each of its folders in turn, call after call, and a look-up in kept_ by
  // the folded key costs more than the comparison of a few spellings. An
  // entry goes as soon as its listing is dropped or replaced.
  struct Recent {
    std::string key;
    std::string spelling;
    const std::vector<DirEntry>* entries;
  };
  std::vector<Recent> recent_;
};

}  // namespace q9
