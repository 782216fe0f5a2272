// FileSystem on POSIX, with the case-insensitive path resolution, the store's
// enumeration order and the atomic copies and saves of the store.
#pragma once

#include <sys/types.h>

#include <atomic>
#include <memory>

#include "platform/env.h"
#include "platform/posix/errno_map.h"

namespace q9 {

class PosixFileSystem final : public FileSystem {
 public:
  OsError ListDirectory(const std::string& dir, std::vector<DirEntry>* entries) override;
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
  void ConfineLinksBelow(std::vector<std::string> roots) override;
  void LookUpNamesIn(FolderNames* names) override { names_.store(names); }
  std::vector<FailureNote> TakeFailureNotes() override { return notes_->Take(); }

  // `path` as it exists on disk: each component that does not exist as
  // spelled is replaced by the first entry (in store order) that equals it
  // ignoring ASCII case. Components that match nothing stay as spelled.
  std::string Resolve(const std::string& path);

  // Whether the last component of a path may itself be a link: operations
  // that act on the entry (delete, lstat, copy as a link) take it as it is,
  // those that would read or write through it refuse it.
  enum class LastComponent { kRefuseLink, kTakeAsItIs };
  // Resolve(path), or 5 when that leads through a link below a confined root.
  OsError ResolveConfined(const std::string& path, LastComponent last, std::string* real);

 private:
  OsError ReadFolder(const std::string& dir, std::vector<DirEntry>* entries);
  bool FindIgnoringCase(const std::string& folder, const std::string& name, std::string* match);
  OsError CopyOneFile(const std::string& from, const std::string& to, bool overwrite,
                      bool replace_read_only);
  OsError CopyTreeResolved(const std::string& from, const std::string& to);
  OsError CopyLink(const std::string& from, const std::string& to);
  mode_t CurrentUmask();

  // 0, or 5 (noted with the link's name) when a component of the resolved
  // path `real` below a confined root is a symbolic link.
  OsError RefuseLinksBelowRoot(const std::string& real, LastComponent last) const;
  enum class Kind { kUnknown, kMissing, kLink, kOther };
  // What the listing a wrapper keeps of its folder says of the entry `real`
  // below a confined root, without asking the disk: kLink or kOther when it
  // lists that very name, else kUnknown.
  // With `list`, a folder whose listing is not kept is listed first.
  Kind KeptKind(const std::string& real, bool list) const;
  // True, with the path as the disk spells it in `real`, when kept listings
  // show every component of `path` below its confined root, under its name
  // or under the one other spelling that the disk search would find.
  bool ResolvedByKeptListings(const std::string& path, std::string* real) const;
  // The kind of the entry `real` (never kUnknown), from the kept listing or
  // else from the disk; a path that cannot be examined counts as missing.
  Kind EntryKind(const std::string& real) const;
  // Whether the last component of `real` lies below a confined root and is
  // a symbolic link (then noted, as RefuseLinksBelowRoot notes it).
  bool LastIsLinkBelowRoot(const std::string& real) const;
  // Where the components below the innermost confined root holding `real`
  // begin; 0 when no root holds it.
  size_t ConfinedStart(const std::string& real) const;

  // Resolved, without a trailing separator (but "/" for the file-system root).
  std::vector<std::string> confined_roots_;
  // Asked before a folder is searched; may be null.
  std::atomic<FolderNames*> names_ = nullptr;
  // Shared with the files this object opens.
  std::shared_ptr<FailureNotes> notes_ = std::make_shared<FailureNotes>();
};

// Gives the folder `real_root` and every folder below it owner-write, never
// following a link, so that a recursive delete can empty them as the shell's
// delete does. Folders it cannot reach are left to the delete to report.
void AddOwnerWriteToFolders(const std::string& real_root);

}  // namespace q9
