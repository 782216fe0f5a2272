#include "platform/caching_file_system.h"

#include "platform/path.h"

namespace q9 {

// Why the keys are right. The file systems below resolve a path component
// that does not exist as spelled to an entry equal to it ignoring ASCII case.
// So two spellings can only name one entry when they are equal after ASCII
// folding, and a change can only alter the answer for spellings that fold to
// the changed path, to a path below it, or (for entries made or removed) to
// its folder. Answers are kept per exact spelling, because "A" and "a" may
// both exist and then each names itself, and they are dropped by folded key,
// which reaches every spelling at once. Lexical folding only holds for paths
// without "." or ".." components or doubled separators, and relative paths
// depend on the working folder: such paths are passed through unkept, and a
// change through one drops everything. A folder reached through a symbolic
// link is a second name the keys cannot see; the store is walked without
// following links and addressed from one root, and DiscardCache serves code
// that changes files some other way.
namespace {

// Failures that follow from the tree itself (missing, a folder where a file
// is wanted or the reverse, a name too long) are as stable as answers; the
// others (device, sharing, resources) are asked again every time.
bool Keepable(OsError error) {
  switch (error) {
    case os_error::kSuccess:
    case os_error::kFileNotFound:
    case os_error::kPathNotFound:
    case os_error::kAccessDenied:
    case os_error::kNotADirectory:
    case os_error::kFilenameTooLong:
      return true;
    default:
      return false;
  }
}

uint64_t Size(const std::vector<DirEntry>& entries) {
  uint64_t size = 0;
  for (const DirEntry& entry : entries) size += sizeof entry + entry.name.size();
  return size;
}

}  // namespace

// Drops what the file kept on every write, so a read after an append (or the
// close that flushes it) goes to the disk again.
class CachingWritableFile final : public WritableFile {
 public:
  CachingWritableFile(CachingFileSystem& owner, std::string path,
                      std::unique_ptr<WritableFile> base)
      : owner_(owner), path_(std::move(path)), base_(std::move(base)) {}
  ~CachingWritableFile() override {
    base_.reset();
    owner_.Forget(path_, false);
  }

  OsError Append(std::string_view data) override { return Changed(base_->Append(data)); }
  OsError Flush() override { return Changed(base_->Flush()); }
  OsError Close() override { return Changed(base_->Close()); }

 private:
  OsError Changed(OsError error) {
    owner_.Forget(path_, false);
    return error;
  }

  CachingFileSystem& owner_;
  std::string path_;
  std::unique_ptr<WritableFile> base_;
};

// Reads hold the lock across the call below, so an answer is stored before
// any later change can forget it; changes run unlocked and forget afterwards,
// which also drops what a read saw half-way through them.

OsError CachingFileSystem::ListDirectory(const std::string& dir, std::vector<DirEntry>* entries) {
  std::shared_ptr<const std::vector<DirEntry>> listing;
  const OsError error = ListDirectoryShared(dir, &listing);
  *entries = *listing;
  return error;
}

OsError CachingFileSystem::ListDirectoryShared(
    const std::string& dir, std::shared_ptr<const std::vector<DirEntry>>* entries) {
  std::lock_guard lock(mutex_);
  Kept* kept = Find(dir);
  if (kept != nullptr && kept->listing) {
    *entries = kept->listing->value;
    return kept->listing->error;
  }
  auto listing = std::make_shared<std::vector<DirEntry>>();
  const OsError error = base_.ListDirectory(dir, listing.get());
  *entries = listing;
  if (kept != nullptr && Keepable(error)) {
    kept->listing = Answer<std::shared_ptr<const std::vector<DirEntry>>>{error, listing};
    Charge(Size(*listing));
  }
  return error;
}

OsError CachingFileSystem::GetFileInfo(const std::string& path, FileInfo* info) {
  std::lock_guard lock(mutex_);
  Kept* kept = Find(path);
  if (kept != nullptr && kept->info) {
    if (kept->info->error == os_error::kSuccess) *info = kept->info->value;
    return kept->info->error;
  }
  const OsError error = base_.GetFileInfo(path, info);
  if (kept != nullptr && Keepable(error)) {
    kept->info = Answer<FileInfo>{error, error == os_error::kSuccess ? *info : FileInfo{}};
    Charge(sizeof(FileInfo));
  }
  return error;
}

OsError CachingFileSystem::ReadFileAtMost(const std::string& path, uint64_t limit,
                                          std::string* contents) {
  std::lock_guard lock(mutex_);
  Kept* kept = Find(path);
  if (kept != nullptr && kept->contents) {
    if (kept->contents->value.size() > limit) {
      contents->clear();
      return os_error::kFileTooLarge;
    }
    *contents = kept->contents->value;
    return kept->contents->error;
  }
  const OsError error = base_.ReadFileAtMost(path, limit, contents);
  if (kept != nullptr && Keepable(error) && contents->size() <= kLargestKeptFile) {
    kept->contents = Answer<std::string>{error, *contents};
    Charge(contents->size());
  }
  return error;
}

OsError CachingFileSystem::OpenSequential(const std::string& path,
                                          std::unique_ptr<SequentialFile>* file) {
  {
    std::lock_guard lock(mutex_);
    const Kept* kept = Find(path);
    if (kept != nullptr && kept->contents) {
      if (kept->contents->error == os_error::kSuccess) {
        *file = std::make_unique<MemorySequentialFile>(kept->contents->value);
      }
      return kept->contents->error;
    }
  }
  // A small file is read whole and kept, as the whole file is usually read
  // soon after its first look; a reader that stops early in a large one
  // should not pay for all of it, so that one is streamed and not kept.
  std::string contents;
  const OsError error = ReadFileAtMost(path, kLargestFileReadWholeForAStream, &contents);
  if (error == os_error::kFileTooLarge) return base_.OpenSequential(path, file);
  if (error == os_error::kSuccess) *file = std::make_unique<MemorySequentialFile>(std::move(contents));
  return error;
}

OsError CachingFileSystem::SetReadOnly(const std::string& path, bool read_only) {
  const OsError error = base_.SetReadOnly(path, read_only);
  // The folder's listing does not show the flag; keeping it lets a walk by
  // index clear flags file by file without listing the folder again.
  Forget(path, false);
  return error;
}

OsError CachingFileSystem::CreateDirectory(const std::string& path) {
  const OsError error = base_.CreateDirectory(path);
  Forget(path, true);
  return error;
}

OsError CachingFileSystem::DeleteFile(const std::string& path) {
  const OsError error = base_.DeleteFile(path);
  Forget(path, true);
  return error;
}

OsError CachingFileSystem::CopyFile(const std::string& from, const std::string& to,
                                    bool overwrite) {
  std::optional<std::string> bytes;
  {
    std::lock_guard lock(mutex_);
    const Kept* source = Find(from);
    if (source != nullptr && source->contents && source->contents->error == os_error::kSuccess) {
      bytes = source->contents->value;
    }
  }
  const OsError error = base_.CopyFile(from, to, overwrite);
  FileWritten(to, error, bytes);
  return error;
}

OsError CachingFileSystem::CopyTree(const std::string& from, const std::string& to) {
  const OsError error = base_.CopyTree(from, to);
  Forget(to, true);
  return error;
}

OsError CachingFileSystem::DeleteTree(const std::string& path) {
  const OsError error = base_.DeleteTree(path);
  Forget(path, true);
  return error;
}

OsError CachingFileSystem::WriteFileAtomic(const std::string& path, std::string_view contents) {
  const OsError error = base_.WriteFileAtomic(path, contents);
  FileWritten(path, error, contents);
  return error;
}

OsError CachingFileSystem::OpenWritable(const std::string& path, OpenMode mode,
                                        std::unique_ptr<WritableFile>* file) {
  file->reset();
  std::unique_ptr<WritableFile> base_file;
  const OsError error = base_.OpenWritable(path, mode, &base_file);
  Forget(path, true);
  if (error == os_error::kSuccess) {
    *file = std::make_unique<CachingWritableFile>(*this, path, std::move(base_file));
  }
  return error;
}

void CachingFileSystem::DiscardCache() {
  std::lock_guard lock(mutex_);
  DropAllLocked();
}

void CachingFileSystem::Forget(const std::string& path, bool parent_too) {
  std::lock_guard lock(mutex_);
  const std::optional<std::string> key = FoldedPathKey(path);
  if (!key || *key == std::string(1, kPathSeparator)) {
    DropAllLocked();
    return;
  }
  kept_.erase(*key);
  ForgetRecent(*key, false);
  const std::string below = *key + kPathSeparator;
  auto it = kept_.lower_bound(below);
  while (it != kept_.end() && it->first.starts_with(below)) it = kept_.erase(it);
  if (parent_too) {
    std::string parent(ParentPath(*key));
    if (parent.empty()) parent = std::string(1, kPathSeparator);
    kept_.erase(parent);
    ForgetRecent(parent, true);
  }
}

void CachingFileSystem::FileWritten(const std::string& path, OsError error,
                                    std::optional<std::string_view> contents) {
  const std::optional<std::string> key = FoldedPathKey(path);
  const std::string_view name = BaseName(path);
  if (!key || name.empty()) {
    Forget(path, true);
    return;
  }
  Forget(path, false);
  std::lock_guard lock(mutex_);
  // The bytes just written are what the file holds now, under this spelling,
  // so the reads that usually follow a save or copy need not go to the disk.
  if (error == os_error::kSuccess && contents && contents->size() <= kLargestKeptFile) {
    Kept* kept = Find(path);
    if (kept != nullptr) {
      kept->contents = Answer<std::string>{os_error::kSuccess, std::string(*contents)};
      Charge(contents->size());
      if (kept_.empty()) return;  // over the budget: everything went
    }
  }
  std::string parent(ParentPath(*key));
  if (parent.empty()) parent = std::string(1, kPathSeparator);
  const auto folder = kept_.find(parent);
  if (folder == kept_.end()) return;
  for (Kept& kept : folder->second) {
    kept.info.reset();  // the folder's time moved
    if (!kept.listing || kept.listing->error != os_error::kSuccess) continue;
    const std::vector<DirEntry>& entries = *kept.listing->value;
    // The file systems below write to an entry that equals the name ignoring
    // case when there is one, so then the names stay as they are.
    const std::span<const DirEntry> equal = EntriesEqualIgnoringCase(entries, name);
    if (!equal.empty()) continue;
    if (error != os_error::kSuccess) {
      kept.listing.reset();  // a failed write may still have left a file
      ForgetRecent(parent, true);
      continue;
    }
    // A listing a caller still holds is read-only to it, so it gets a copy;
    // one only this object holds grows in place, which saves a run that
    // writes file after file into one folder a copy per file.
    const auto at = equal.data() - entries.data();
    std::shared_ptr<const std::vector<DirEntry>>& shared = kept.listing->value;
    if (shared.use_count() != 1) {
      shared = std::make_shared<std::vector<DirEntry>>(entries);
      ForgetRecent(parent, true);
    }
    // Every kept listing was made as a non-const vector.
    auto& own = const_cast<std::vector<DirEntry>&>(*shared);
    own.insert(own.begin() + at, DirEntry{std::string(name), false, false});
    Charge(sizeof(DirEntry) + name.size());
    if (kept_.empty()) return;  // over the budget: everything went
  }
}

bool CachingFileSystem::LookUp(const std::string& folder, std::string_view name, bool list,
                               DirEntry* match) {
  std::lock_guard lock(mutex_);
  const std::vector<DirEntry>* entries = KeptListing(folder, list);
  if (entries == nullptr) return false;
  const std::span<const DirEntry> equal = EntriesEqualIgnoringCase(*entries, name);
  const auto exact = std::find_if(equal.begin(), equal.end(),
                                  [&](const DirEntry& entry) { return entry.name == name; });
  *match = exact != equal.end() ? *exact : equal.empty() ? DirEntry{} : equal.front();
  return true;
}

const std::vector<DirEntry>* CachingFileSystem::KeptListing(const std::string& folder,
                                                            bool list) {
  for (const Recent& recent : recent_) {
    if (recent.spelling == folder) return recent.entries;
  }
  const std::optional<std::string> key = FoldedPathKey(folder);
  if (!key) return nullptr;
  // The folder is listed and kept when it was not, so that the next name
  // looked up in it costs no search either. A read that holds an entry
  // while the file system below calls this holds one for a path inside
  // `folder`, which sits under a longer key, so nothing added here moves it;
  // and the budget is enforced by the next call, not here, for the same
  // reason.
  const auto spelled = [&](const Kept& kept) { return kept.spelling == folder; };
  if (!list) {
    const auto found = kept_.find(*key);
    if (found == kept_.end()) return nullptr;
    const auto kept = std::find_if(found->second.begin(), found->second.end(), spelled);
    if (kept == found->second.end() || !kept->listing ||
        kept->listing->error != os_error::kSuccess) {
      return nullptr;
    }
    return kept->listing->value.get();
  }
  Bucket* bucket = &kept_[*key];
  if (std::none_of(bucket->begin(), bucket->end(), spelled)) {
    bucket->push_back(Kept{folder, {}, {}, {}});
    charged_ += sizeof(Kept) + key->size() + folder.size();
  }
  Kept* kept = &*std::find_if(bucket->begin(), bucket->end(), spelled);
  if (!kept->listing) {
    auto listing = std::make_shared<std::vector<DirEntry>>();
    const OsError error = base_.ListDirectory(folder, listing.get());
    if (!Keepable(error)) return nullptr;
    bucket = &kept_[*key];
    kept = &*std::find_if(bucket->begin(), bucket->end(), spelled);
    charged_ += Size(*listing);
    kept->listing = Answer<std::shared_ptr<const std::vector<DirEntry>>>{error, std::move(listing)};
  }
  if (kept->listing->error != os_error::kSuccess) return nullptr;
  constexpr size_t kRecentFolders = 8;
  if (recent_.size() == kRecentFolders) recent_.erase(recent_.begin());
  recent_.push_back(Recent{*key, folder, kept->listing->value.get()});
  return recent_.back().entries;
}

void CachingFileSystem::ForgetRecent(std::string_view key, bool only_key) {
  std::erase_if(recent_, [&](const Recent& recent) {
    return recent.key == key ||
           (!only_key && recent.key.size() > key.size() && recent.key.starts_with(key) &&
            (key.ends_with(kPathSeparator) || recent.key[key.size()] == kPathSeparator));
  });
}

CachingFileSystem::Kept* CachingFileSystem::Find(const std::string& path) {
  const std::optional<std::string> key = FoldedPathKey(path);
  if (!key) return nullptr;
  if (const auto found = kept_.find(*key); found != kept_.end()) {
    for (Kept& kept : found->second) {
      if (kept.spelling == path) return &kept;
    }
  }
  Charge(sizeof(Kept) + key->size() + path.size());
  return &kept_[*key].emplace_back(Kept{path, {}, {}, {}});
}

void CachingFileSystem::Charge(uint64_t bytes) {
  charged_ += bytes;
  if (charged_ > budget_) DropAllLocked();
}

void CachingFileSystem::DropAllLocked() {
  kept_.clear();
  recent_.clear();
  charged_ = 0;
}

}  // namespace q9
