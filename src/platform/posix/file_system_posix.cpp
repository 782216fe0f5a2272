#include "platform/posix/file_system_posix.h"

#include <dirent.h>
#include <fcntl.h>
#include <stdio.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <system_error>

#include "platform/path.h"
#include "platform/posix/errno_map.h"

namespace q9 {
namespace {

// Closes a descriptor on every return path.
class ScopedFd {
 public:
  explicit ScopedFd(int fd = -1) : fd_(fd) {}
  ScopedFd(const ScopedFd&) = delete;
  ScopedFd& operator=(const ScopedFd&) = delete;
  ScopedFd(ScopedFd&& other) noexcept : fd_(other.fd_) { other.fd_ = -1; }
  ~ScopedFd() { Reset(); }
  int get() const { return fd_; }
  void Adopt(int fd) {
    Reset();
    fd_ = fd;
  }
  int Reset() {
    const int result = fd_ >= 0 ? ::close(fd_) : 0;
    fd_ = -1;
    return result;
  }

 private:
  int fd_;
};

struct DirCloser {
  void operator()(DIR* dir) const { ::closedir(dir); }
};
using ScopedDir = std::unique_ptr<DIR, DirCloser>;

constexpr std::string_view kTempPrefix = ".q9tmp-";

bool StoreOrder(const DirEntry& a, const DirEntry& b) { return StoreOrderLess(a.name, b.name); }

bool Exists(const std::string& path) {
  struct stat st;
  return ::lstat(path.c_str(), &st) == 0;
}

bool IsDirectory(const std::string& path) {
  struct stat st;
  return ::stat(path.c_str(), &st) == 0 && S_ISDIR(st.st_mode);
}

OsError WriteAll(FailureNotes& notes, int fd, std::string_view data) {
  while (!data.empty()) {
    const ssize_t n = ::write(fd, data.data(), data.size());
    if (n < 0) {
      if (errno == EINTR) continue;
      return notes.FromErrno(errno);
    }
    data.remove_prefix(static_cast<size_t>(n));
  }
  return os_error::kSuccess;
}

OsError SyncFolderOf(const std::string& path) {
  std::string folder(ParentPath(path));
  if (folder.empty()) folder = path.starts_with('/') ? "/" : ".";
  ScopedFd fd(::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  // The step itself has happened; a folder that cannot be opened or flushed
  // (some file systems refuse fsync on folders) must not turn it into a failure.
  if (fd.get() >= 0) (void)::fsync(fd.get());
  return os_error::kSuccess;
}

// Opens a regular file for reading. Pipes and devices are refused before
// anything blocks on them or reads without end; folders too (5, as Windows).
OsError OpenRegularFile(FailureNotes& notes, const std::string& path, ScopedFd* fd,
                        struct stat* st) {
  fd->Adopt(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  if (fd->get() < 0) return notes.FromErrno(errno, path);
  if (::fstat(fd->get(), st) != 0) return notes.FromErrno(errno, path);
  if (!S_ISREG(st->st_mode)) return os_error::kAccessDenied;
  return os_error::kSuccess;
}

// Renames without replacing an existing target. File systems without
// renameat2 (some network and FUSE mounts) get a hard link instead.
int RenameNoReplace(const char* from, const char* to) {
  if (::renameat2(AT_FDCWD, from, AT_FDCWD, to, RENAME_NOREPLACE) == 0) return 0;
  if (errno != EINVAL && errno != ENOSYS) return -1;
  if (::link(from, to) != 0) return -1;
  ::unlink(from);
  return 0;
}

// A temporary file beside `target` that disappears unless Commit() renames it
// over the target. Its name starts with kTempPrefix so leftovers of a killed
// process are recognisable; listings leave them out.
class TempFile {
 public:
  TempFile(FailureNotes& notes, const std::string& target) : notes_(notes), target_(target) {}
  TempFile(const TempFile&) = delete;
  TempFile& operator=(const TempFile&) = delete;
  ~TempFile() {
    fd_.Reset();
    if (!path_.empty()) ::unlink(path_.c_str());
  }

  OsError Create(mode_t mode) {
    // The name is cut so that a target name of legal length still leaves room
    // for the prefix and the random suffix.
    const std::string_view base = BaseName(target_).substr(0, 200);
    path_ = JoinPath(ParentPath(target_), std::string(kTempPrefix) + std::string(base) + ".XXXXXX");
    fd_.Adopt(::mkostemp(path_.data(), O_CLOEXEC));
    if (fd_.get() < 0) {
      const OsError error = notes_.FromErrno(errno, target_);
      path_.clear();
      return error;
    }
    if (::fchmod(fd_.get(), mode) != 0) return notes_.FromErrno(errno);
    return os_error::kSuccess;
  }

  int fd() const { return fd_.get(); }

  // Flushes the data and renames it over the target (or next to no existing
  // one when `replace` is false).
  OsError Commit(bool replace) {
    if (::fsync(fd_.get()) != 0) return notes_.FromErrno(errno);
    if (fd_.Reset() != 0) return notes_.FromErrno(errno);
    if (replace) {
      if (::rename(path_.c_str(), target_.c_str()) != 0) return notes_.FromErrno(errno, target_);
    } else if (RenameNoReplace(path_.c_str(), target_.c_str()) != 0) {
      if (errno == EEXIST) return os_error::kFileExists;
      return notes_.FromErrno(errno, target_);
    }
    path_.clear();
    return SyncFolderOf(target_);
  }

 private:
  FailureNotes& notes_;
  std::string target_;
  std::string path_;
  ScopedFd fd_;
};

// Refuses what Windows refuses when a file is about to be replaced.
OsError CheckReplaceable(FailureNotes& notes, const std::string& path, bool overwrite) {
  struct stat st;
  if (::stat(path.c_str(), &st) != 0) {
    return errno == ENOENT ? os_error::kSuccess : notes.FromErrno(errno, path);
  }
  if (!overwrite) return os_error::kFileExists;
  if (S_ISDIR(st.st_mode) || (st.st_mode & S_IWUSR) == 0) return os_error::kAccessDenied;
  return os_error::kSuccess;
}

class PosixWritableFile final : public WritableFile {
 public:
  PosixWritableFile(ScopedFd fd, std::shared_ptr<FailureNotes> notes)
      : fd_(std::move(fd)), notes_(std::move(notes)) {}
  OsError Append(std::string_view data) override {
    if (fd_.get() < 0) return os_error::kInvalidParameter;
    return WriteAll(*notes_, fd_.get(), data);
  }
  OsError Flush() override { return os_error::kSuccess; }  // write() leaves nothing buffered
  OsError Close() override {
    if (fd_.get() < 0) return os_error::kSuccess;
    return fd_.Reset() == 0 ? os_error::kSuccess : notes_->FromErrno(errno);
  }

 private:
  ScopedFd fd_;
  std::shared_ptr<FailureNotes> notes_;
};

class PosixSequentialFile final : public SequentialFile {
 public:
  PosixSequentialFile(ScopedFd fd, std::shared_ptr<FailureNotes> notes)
      : fd_(std::move(fd)), notes_(std::move(notes)) {}
  OsError Read(char* buffer, size_t capacity, size_t* read) override {
    *read = 0;
    for (;;) {
      const ssize_t n = ::read(fd_.get(), buffer, capacity);
      if (n >= 0) {
        *read = static_cast<size_t>(n);
        return os_error::kSuccess;
      }
      if (errno != EINTR) return notes_->FromErrno(errno);
    }
  }

 private:
  ScopedFd fd_;
  std::shared_ptr<FailureNotes> notes_;
};

}  // namespace

const char kPathSeparator = '/';

bool PosixFileSystem::ResolvedByKeptListings(const std::string& path, std::string* real) const {
  // The root's own spelling is the resolved one (see ConfinedStart). Below
  // it, a kept listing shows each component under its name, or under the
  // other spelling that the disk search would find; a component that no kept
  // listing shows (a new name, a temporary file, a folder whose listing was
  // just dropped) is left to the disk. Folders are not listed for a single
  // look-up: after a delete that would relist the folder for every file.
  FolderNames* names = names_.load();
  const size_t start = ConfinedStart(path);
  if (names == nullptr || start == 0) return false;
  std::string resolved = path.substr(0, start - 1);
  DirEntry entry;
  for (size_t pos = start; pos <= path.size();) {
    const size_t end = std::min(path.find('/', pos), path.size());
    const std::string_view name = std::string_view(path).substr(pos, end - pos);
    // A listing is kept under the folder's spelling as it was asked for.
    if (name.empty() || name == "." || name == ".." || name.starts_with(kTempPrefix) ||
        !names->LookUp(path.substr(0, pos - 1), name, /*list=*/false, &entry) ||
        entry.name.empty()) {
      return false;
    }
    resolved += '/';
    resolved += entry.name;
    pos = end + 1;
  }
  *real = std::move(resolved);
  return true;
}

std::string PosixFileSystem::Resolve(const std::string& path) {
  // Kept listings answer first; what they do not show is asked of the disk.
  if (std::string real; ResolvedByKeptListings(path, &real)) return real;
  if (path.empty() || Exists(path)) return path;
  // Every prefix of a path that exists as spelled exists too, so the longest
  // such prefix is looked for from the end, where spellings usually differ,
  // and kept without asking again.
  size_t existing = 0;
  for (size_t end = path.rfind('/'); end != std::string::npos && end > 0;
       end = path.rfind('/', end - 1)) {
    if (Exists(path.substr(0, end))) {
      existing = end;
      break;
    }
  }
  std::string resolved = path.starts_with('/') ? "/" : "";
  size_t pos = resolved.size();
  while (pos <= path.size()) {
    size_t end = path.find('/', pos);
    if (end == std::string::npos) end = path.size();
    const std::string component = path.substr(pos, end - pos);
    pos = end + 1;
    if (component.empty()) continue;
    std::string candidate = resolved.empty() || resolved.ends_with('/')
                                ? resolved + component
                                : resolved + '/' + component;
    if (end > existing && EntryKind(candidate) == Kind::kMissing) {
      std::string match;
      if (component != "." && component != ".." && FindIgnoringCase(resolved, component, &match)) {
        candidate = resolved.empty() || resolved.ends_with('/') ? resolved + match
                                                                : resolved + '/' + match;
      } else {
        // Nothing matches: keep the rest as spelled.
        if (end < path.size()) candidate += path.substr(end);
        return candidate;
      }
    }
    resolved = std::move(candidate);
  }
  return resolved;
}

// Links below the store roots are checked component by component on the
// resolved path instead of opening every component with O_NOFOLLOW: the
// case-insensitive resolution walks the components anyway, and the roots
// (which may be links, as may everything above them) must still be
// followed. What this leaves open is a link swapped in between the check and
// the use by someone who can already write inside the store.
void PosixFileSystem::ConfineLinksBelow(std::vector<std::string> roots) {
  confined_roots_.clear();
  for (const std::string& root : roots) {
    if (root.empty()) continue;
    std::string real = Resolve(root);
    while (real.size() > 1 && real.ends_with('/')) real.pop_back();
    confined_roots_.push_back(std::move(real));
  }
}

size_t PosixFileSystem::ConfinedStart(const std::string& real) const {
  // The innermost root counts, so a root that is a link inside the other
  // root stays usable.
  size_t start = 0;
  for (const std::string& root : confined_roots_) {
    const size_t prefix = root == "/" ? 1 : root.size() + 1;
    if (prefix > start && real.size() > prefix && real.starts_with(root) &&
        real[prefix - 1] == '/') {
      start = prefix;
    }
  }
  return start;
}

PosixFileSystem::Kind PosixFileSystem::KeptKind(const std::string& real, bool list) const {
  FolderNames* names = names_.load();
  const size_t slash = real.rfind('/');
  const size_t start = ConfinedStart(real);
  if (names == nullptr || start == 0 || slash == std::string::npos || slash + 1 < start) {
    return Kind::kUnknown;
  }
  const std::string_view name = std::string_view(real).substr(slash + 1);
  if (name.empty() || name == "." || name == "..") return Kind::kUnknown;
  DirEntry entry;
  // Only an entry listed under exactly this name counts: what a listing
  // leaves out (temporary files, names it does not have yet) is asked of the
  // disk.
  if (!names->LookUp(real.substr(0, slash), name, list, &entry) || entry.name != name) {
    return Kind::kUnknown;
  }
  return entry.is_link ? Kind::kLink : Kind::kOther;
}

PosixFileSystem::Kind PosixFileSystem::EntryKind(const std::string& real) const {
  const Kind kept = KeptKind(real, /*list=*/true);
  if (kept != Kind::kUnknown) return kept;
  struct stat st;
  if (::lstat(real.c_str(), &st) != 0) return Kind::kMissing;
  return S_ISLNK(st.st_mode) ? Kind::kLink : Kind::kOther;
}

bool PosixFileSystem::LastIsLinkBelowRoot(const std::string& real) const {
  const size_t start = ConfinedStart(real);
  const size_t end = real.find_last_not_of('/') + 1;
  if (start == 0 || end <= start) return false;
  const std::string entry = real.substr(0, end);
  if (EntryKind(entry) != Kind::kLink) return false;
  notes_->LinkNotFollowed(entry);
  return true;
}

OsError PosixFileSystem::RefuseLinksBelowRoot(const std::string& real, LastComponent last) const {
  const size_t start = ConfinedStart(real);
  if (start == 0) return os_error::kSuccess;
  for (size_t end = start; end < real.size(); ++end) {
    end = real.find('/', end);
    if (end == std::string::npos) end = real.size();
    const bool is_last = real.find_first_not_of('/', end) == std::string::npos;
    if (is_last && last == LastComponent::kTakeAsItIs) break;
    const std::string prefix = real.substr(0, end);
    const Kind kind = EntryKind(prefix);
    // What does not exist is left to the operation to report.
    if (kind == Kind::kMissing) break;
    if (kind == Kind::kLink) {
      notes_->LinkNotFollowed(prefix);
      return os_error::kAccessDenied;
    }
    if (is_last) break;
  }
  return os_error::kSuccess;
}

OsError PosixFileSystem::ResolveConfined(const std::string& path, LastComponent last,
                                         std::string* real) {
  *real = Resolve(path);
  return RefuseLinksBelowRoot(*real, last);
}

// Every new file's name is looked for this way, so the folder is scanned
// rather than listed and sorted (unless a wrapper knows its entries): of
// several matches the first in store order wins, as in a listing.
bool PosixFileSystem::FindIgnoringCase(const std::string& folder, const std::string& name,
                                       std::string* match) {
  FolderNames* names = names_.load();
  DirEntry entry;
  if (names != nullptr && names->LookUp(folder, name, /*list=*/true, &entry)) {
    *match = std::move(entry.name);
    return !match->empty();
  }
  ScopedDir handle(::opendir(folder.empty() ? "." : folder.c_str()));
  if (!handle) return false;
  bool found = false;
  while (const dirent* entry = ::readdir(handle.get())) {
    const std::string_view candidate = entry->d_name;
    if (candidate == "." || candidate == ".." || candidate.starts_with(kTempPrefix) ||
        !EqualsIgnoreCase(candidate, name) || (found && !StoreOrderLess(candidate, *match))) {
      continue;
    }
    *match = candidate;
    found = true;
  }
  return found;
}

OsError PosixFileSystem::ReadFolder(const std::string& dir, std::vector<DirEntry>* entries) {
  entries->clear();
  ScopedDir handle(::opendir(dir.c_str()));
  if (!handle) {
    // A missing folder in a search pattern is a missing path on Windows.
    return errno == ENOENT ? os_error::kPathNotFound : notes_->FromErrno(errno, dir);
  }
  errno = 0;
  while (const dirent* entry = ::readdir(handle.get())) {
    const std::string name = entry->d_name;
    if (name == "." || name == ".." || name.starts_with(kTempPrefix)) continue;
    DirEntry listed{name, entry->d_type == DT_DIR, entry->d_type == DT_LNK};
    if (entry->d_type == DT_UNKNOWN) {
      struct stat st;
      listed.is_link = ::lstat(JoinPath(dir, name).c_str(), &st) == 0 && S_ISLNK(st.st_mode);
      listed.is_directory = !listed.is_link && S_ISDIR(st.st_mode);
    }
    if (listed.is_link) listed.is_directory = IsDirectory(JoinPath(dir, name));
    entries->push_back(std::move(listed));
    errno = 0;
  }
  if (errno != 0) return notes_->FromErrno(errno, dir);
  std::sort(entries->begin(), entries->end(), StoreOrder);
  return os_error::kSuccess;
}

OsError PosixFileSystem::ListDirectory(const std::string& dir, std::vector<DirEntry>* entries) {
  if (dir.empty()) return os_error::kPathNotFound;
  std::string real;
  const OsError error = ResolveConfined(dir, LastComponent::kRefuseLink, &real);
  if (error != os_error::kSuccess) return error;
  return ReadFolder(real, entries);
}

OsError PosixFileSystem::GetFileInfo(const std::string& path, FileInfo* info) {
  std::string real;
  const OsError error = ResolveConfined(path, LastComponent::kTakeAsItIs, &real);
  if (error != os_error::kSuccess) return error;
  // Below a store root a link describes itself, not its target. The folders
  // above it were checked with the resolution.
  const bool is_confined_link = LastIsLinkBelowRoot(real);
  const auto stat_call = is_confined_link ? ::lstat : ::stat;
  struct stat st;
  if (real.empty() || stat_call(real.c_str(), &st) != 0) {
    return real.empty() ? os_error::kPathNotFound : notes_->FromErrno(errno, real);
  }
  info->is_directory = S_ISDIR(st.st_mode);
  info->read_only = (st.st_mode & S_IWUSR) == 0;
  info->size = static_cast<uint64_t>(st.st_size);
  info->modified_ns = static_cast<int64_t>(st.st_mtim.tv_sec) * 1'000'000'000 + st.st_mtim.tv_nsec;
  return os_error::kSuccess;
}

OsError PosixFileSystem::SetReadOnly(const std::string& path, bool read_only) {
  std::string real;
  const OsError error = ResolveConfined(path, LastComponent::kTakeAsItIs, &real);
  if (error != os_error::kSuccess) return error;
  struct stat st;
  if (::lstat(real.c_str(), &st) != 0) return notes_->FromErrno(errno, real);
  if (S_ISLNK(st.st_mode)) return os_error::kAccessDenied;
  const mode_t mode = read_only ? (st.st_mode & ~S_IWUSR) : (st.st_mode | S_IWUSR);
  if (::chmod(real.c_str(), mode & 07777) != 0) return notes_->FromErrno(errno, real);
  return os_error::kSuccess;
}

OsError PosixFileSystem::CreateDirectory(const std::string& path) {
  if (path.empty()) return os_error::kPathNotFound;
  std::string real;
  const OsError error = ResolveConfined(path, LastComponent::kTakeAsItIs, &real);
  if (error != os_error::kSuccess) return error;
  if (::mkdir(real.c_str(), 0777) != 0) return notes_->FromErrno(errno, real);
  return SyncFolderOf(real);
}

OsError PosixFileSystem::DeleteFile(const std::string& path) {
  if (path.empty()) return os_error::kPathNotFound;
  std::string real;
  const OsError error = ResolveConfined(path, LastComponent::kTakeAsItIs, &real);
  if (error != os_error::kSuccess) return error;
  struct stat st;
  if (::lstat(real.c_str(), &st) != 0) return notes_->FromErrno(errno, real);
  if (S_ISDIR(st.st_mode) || (!S_ISLNK(st.st_mode) && (st.st_mode & S_IWUSR) == 0)) {
    return os_error::kAccessDenied;
  }
  if (::unlink(real.c_str()) != 0) return notes_->FromErrno(errno, real);
  return os_error::kSuccess;
}

OsError PosixFileSystem::CopyFile(const std::string& from, const std::string& to,
                                  bool overwrite) {
  if (from.empty() || to.empty()) return os_error::kPathNotFound;
  std::string source;
  std::string target;
  OsError error = ResolveConfined(from, LastComponent::kRefuseLink, &source);
  if (error == os_error::kSuccess) error = ResolveConfined(to, LastComponent::kRefuseLink, &target);
  if (error != os_error::kSuccess) return error;
  return CopyOneFile(source, target, overwrite, /*replace_read_only=*/false);
}

OsError PosixFileSystem::CopyOneFile(const std::string& from, const std::string& to,
                                     bool overwrite, bool replace_read_only) {
  ScopedFd source;
  struct stat st;
  OsError error = OpenRegularFile(*notes_, from, &source, &st);
  if (error != os_error::kSuccess) return error;
  error = CheckReplaceable(*notes_, to, overwrite);
  if (error == os_error::kAccessDenied && replace_read_only && !IsDirectory(to)) {
    error = os_error::kSuccess;
  }
  if (error != os_error::kSuccess) return error;

  TempFile temp(*notes_, to);
  const mode_t writable = (st.st_mode & 07777) | S_IRUSR | S_IWUSR;
  if ((error = temp.Create(writable)) != os_error::kSuccess) return error;
  char buffer[64 * 1024];
  for (;;) {
    const ssize_t n = ::read(source.get(), buffer, sizeof buffer);
    if (n < 0) {
      if (errno == EINTR) continue;
      return notes_->FromErrno(errno, from);
    }
    if (n == 0) break;
    if ((error = WriteAll(*notes_, temp.fd(), std::string_view(buffer, static_cast<size_t>(n)))) !=
        os_error::kSuccess) {
      return error;
    }
  }
  // The copy keeps the source's permission bits, read-only flag included.
  if ((st.st_mode & 07777) != writable && ::fchmod(temp.fd(), st.st_mode & 07777) != 0) {
    return notes_->FromErrno(errno);
  }
  return temp.Commit(overwrite);
}

OsError PosixFileSystem::CopyTree(const std::string& from, const std::string& to) {
  if (from.empty() || to.empty()) return os_error::kPathNotFound;
  std::string source;
  OsError error = ResolveConfined(from, LastComponent::kTakeAsItIs, &source);
  if (error != os_error::kSuccess) return error;
  std::string target;
  error = ResolveConfined(to, LastComponent::kTakeAsItIs, &target);
  if (error != os_error::kSuccess) return error;
  // A store folder that is a link is copied as the link it is.
  if (RefuseLinksBelowRoot(source, LastComponent::kRefuseLink) != os_error::kSuccess) {
    return CopyLink(source, target);
  }
  return CopyTreeResolved(source, target);
}

OsError PosixFileSystem::CopyTreeResolved(const std::string& from, const std::string& to) {
  // A link in the target (planted, or copied there before) is not a way out.
  if (RefuseLinksBelowRoot(to, LastComponent::kRefuseLink) != os_error::kSuccess) {
    return os_error::kAccessDenied;
  }
  std::vector<DirEntry> entries;
  OsError error = ReadFolder(from, &entries);
  if (error != os_error::kSuccess) return error;
  if (!IsDirectory(to)) {
    if (::mkdir(to.c_str(), 0777) != 0) return notes_->FromErrno(errno, to);
  }
  for (const DirEntry& entry : entries) {
    const std::string source = JoinPath(from, entry.name);
    const std::string target = JoinPath(to, entry.name);
    if (entry.is_link) {
      error = CopyLink(source, target);
    } else if (entry.is_directory) {
      error = CopyTreeResolved(source, target);
    } else {
      error = CopyOneFile(source, target, /*overwrite=*/true, /*replace_read_only=*/true);
    }
    if (error != os_error::kSuccess) return error;
  }
  return SyncFolderOf(to);
}

// A link is copied as a link, so a backup neither follows it out of the
// store nor copies a loop without end.
OsError PosixFileSystem::CopyLink(const std::string& from, const std::string& to) {
  std::string destination(4096, '\0');
  const ssize_t n = ::readlink(from.c_str(), destination.data(), destination.size() - 1);
  if (n < 0) return notes_->FromErrno(errno, from);
  destination.resize(static_cast<size_t>(n));
  struct stat st;
  if (::lstat(to.c_str(), &st) == 0) {
    if (S_ISDIR(st.st_mode)) return os_error::kAccessDenied;
    if (::unlink(to.c_str()) != 0) return notes_->FromErrno(errno, to);
  }
  if (::symlink(destination.c_str(), to.c_str()) != 0) return notes_->FromErrno(errno, to);
  return os_error::kSuccess;
}

OsError PosixFileSystem::DeleteTree(const std::string& path) {
  if (path.empty()) return os_error::kPathNotFound;
  std::string real;
  const OsError error = ResolveConfined(path, LastComponent::kTakeAsItIs, &real);
  if (error != os_error::kSuccess) return error;
  struct stat st;
  if (::lstat(real.c_str(), &st) != 0) return notes_->FromErrno(errno, real);
  if (!S_ISDIR(st.st_mode)) return os_error::kNotADirectory;
  AddOwnerWriteToFolders(real);
  std::error_code ec;
  std::filesystem::remove_all(real, ec);
  if (ec) return notes_->FromErrno(ec.value(), real);
  return os_error::kSuccess;
}

namespace {

// The one way files are opened for reading: resolved, regular files only.
OsError OpenForReading(PosixFileSystem& files, FailureNotes& notes, const std::string& path,
                       std::string* real, ScopedFd* fd, struct stat* st) {
  if (path.empty()) return os_error::kPathNotFound;
  const OsError error =
      files.ResolveConfined(path, PosixFileSystem::LastComponent::kRefuseLink, real);
  if (error != os_error::kSuccess) return error;
  return OpenRegularFile(notes, *real, fd, st);
}

}  // namespace

OsError PosixFileSystem::ReadFileAtMost(const std::string& path, uint64_t limit,
                                        std::string* contents) {
  contents->clear();
  std::string real;
  ScopedFd fd;
  struct stat st;
  const OsError error = OpenForReading(*this, *notes_, path, &real, &fd, &st);
  if (error != os_error::kSuccess) return error;
  if (static_cast<uint64_t>(st.st_size) > limit) return os_error::kFileTooLarge;
  contents->reserve(static_cast<size_t>(st.st_size));
  char buffer[64 * 1024];
  for (;;) {
    const ssize_t n = ::read(fd.get(), buffer, sizeof buffer);
    if (n < 0) {
      if (errno == EINTR) continue;
      contents->clear();
      return notes_->FromErrno(errno, real);
    }
    if (n == 0) break;
    contents->append(buffer, static_cast<size_t>(n));
    if (contents->size() > limit) {
      contents->clear();
      contents->shrink_to_fit();
      return os_error::kFileTooLarge;
    }
  }
  return os_error::kSuccess;
}

OsError PosixFileSystem::OpenSequential(const std::string& path,
                                        std::unique_ptr<SequentialFile>* file) {
  file->reset();
  std::string real;
  ScopedFd fd;
  struct stat st;
  const OsError error = OpenForReading(*this, *notes_, path, &real, &fd, &st);
  if (error != os_error::kSuccess) return error;
  *file = std::make_unique<PosixSequentialFile>(std::move(fd), notes_);
  return os_error::kSuccess;
}

OsError PosixFileSystem::WriteFileAtomic(const std::string& path, std::string_view contents) {
  if (path.empty()) return os_error::kPathNotFound;
  std::string real;
  OsError error = ResolveConfined(path, LastComponent::kRefuseLink, &real);
  if (error != os_error::kSuccess) return error;
  error = CheckReplaceable(*notes_, real, /*overwrite=*/true);
  if (error != os_error::kSuccess) return error;
  struct stat st;
  const mode_t mode = ::stat(real.c_str(), &st) == 0 ? (st.st_mode & 07777) : 0666 & ~CurrentUmask();
  TempFile temp(*notes_, real);
  if ((error = temp.Create(mode | S_IRUSR | S_IWUSR)) != os_error::kSuccess) return error;
  if ((error = WriteAll(*notes_, temp.fd(), contents)) != os_error::kSuccess) return error;
  return temp.Commit(/*replace=*/true);
}

OsError PosixFileSystem::OpenWritable(const std::string& path, OpenMode mode,
                                      std::unique_ptr<WritableFile>* file) {
  file->reset();
  if (path.empty()) return os_error::kPathNotFound;
  std::string real;
  const OsError error = ResolveConfined(path, LastComponent::kRefuseLink, &real);
  if (error != os_error::kSuccess) return error;
  // Non-blocking first, so a pipe without a reader cannot stall the open;
  // only regular files are written to.
  const int flags = O_WRONLY | O_CREAT | O_CLOEXEC | O_NONBLOCK |
                    (mode == OpenMode::kTruncate ? O_TRUNC : O_APPEND);
  ScopedFd fd;
  fd.Adopt(::open(real.c_str(), flags, 0666));
  if (fd.get() < 0) return notes_->FromErrno(errno, real);
  struct stat st;
  if (::fstat(fd.get(), &st) != 0) return notes_->FromErrno(errno, real);
  if (!S_ISREG(st.st_mode)) return os_error::kAccessDenied;
  if (::fcntl(fd.get(), F_SETFL, flags & (O_APPEND)) != 0) return notes_->FromErrno(errno, real);
  *file = std::make_unique<PosixWritableFile>(std::move(fd), notes_);
  return os_error::kSuccess;
}

mode_t PosixFileSystem::CurrentUmask() {
  // Reading the mask through umask() would change it for other threads for a
  // moment; the kernel reports it without side effects.
  std::string status;
  if (ReadFile("/proc/self/status", &status) == os_error::kSuccess) {
    const size_t at = status.find("Umask:");
    if (at != std::string::npos) {
      return static_cast<mode_t>(std::strtoul(status.c_str() + at + 6, nullptr, 8));
    }
  }
  return 022;
}

void AddOwnerWriteToFolders(const std::string& real_root) {
  namespace fs = std::filesystem;
  std::error_code ec;
  fs::permissions(real_root, fs::perms::owner_write, fs::perm_options::add, ec);
  // The iterator does not descend into linked folders, and a linked folder
  // is not a directory to symlink_status, so nothing outside gets the bit.
  for (fs::recursive_directory_iterator it(real_root, ec), end; !ec && it != end;
       it.increment(ec)) {
    if (fs::is_directory(it->symlink_status(ec))) {
      fs::permissions(it->path(), fs::perms::owner_write, fs::perm_options::add, ec);
    }
  }
}

}  // namespace q9
