// The platform layer. Every access to the file system, the registry, known
// folders, dynamic libraries, shared objects, the clock and the process goes
// through one of the narrow interfaces below, bundled in an Env. The build
// picks the implementation (posix/ or windows/); the rest of the program never
// calls the operating system itself, so tests can hand it doubles.
#pragma once

#include <algorithm>
#include <cstdint>
#include <ctime>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "platform/os_error.h"
#include "platform/path.h"

namespace q9 {

class SharedObjects;  // platform/shared_objects.h

// What a file-system call can tell beyond its error number. The platform
// layer does not trace; the layer above takes these notes from the file
// system and traces them where it knows what the program was doing.
struct FailureNote {
  enum class Kind {
    kUnmappedError,    // a system error that no Windows number fits; reported as 31
    kLinkNotFollowed,  // a symbolic link below a confined root; reported as 5
  };
  Kind kind = Kind::kUnmappedError;
  int system_error = 0;  // kUnmappedError: the system's own number
  std::string text;      // the system's description of it, or the link's path
};

struct DirEntry {
  std::string name;  // bare name, never "." or ".."
  bool is_directory = false;  // also for a link to a folder
  bool is_link = false;       // a symbolic link; walkers do not follow it
};

// The entries of a listing (ordered as ListDirectory orders them) whose names
// equal `name` ignoring ASCII case. They stand together, around where `name`
// would go; the first of them is the one a name resolves to. When there are
// none, the empty span stands where `name` would be inserted.
inline std::span<const DirEntry> EntriesEqualIgnoringCase(std::span<const DirEntry> listing,
                                                          std::string_view name) {
  auto first = std::lower_bound(listing.begin(), listing.end(), name,
                                [](const DirEntry& entry, std::string_view wanted) {
                                  return StoreOrderLess(entry.name, wanted);
                                });
  while (first != listing.begin() && EqualsIgnoreCase((first - 1)->name, name)) --first;
  auto last = first;
  while (last != listing.end() && EqualsIgnoreCase(last->name, name)) ++last;
  return {first, last};
}

struct FileInfo {
  bool is_directory = false;
  bool read_only = false;      // owner may not write
  uint64_t size = 0;           // bytes
  int64_t modified_ns = 0;     // modification time, nanoseconds since the epoch
};

// A file opened for sequential writing. Close() reports errors that earlier
// buffered writes could not; the destructor closes silently.
class WritableFile {
 public:
  virtual ~WritableFile() = default;
  [[nodiscard]] virtual OsError Append(std::string_view data) = 0;
  [[nodiscard]] virtual OsError Flush() = 0;
  [[nodiscard]] virtual OsError Close() = 0;
};

enum class OpenMode { kTruncate, kAppend };

// A file opened for reading from its start, piece by piece, so a reader that
// stops early does not pay for the whole file.
class SequentialFile {
 public:
  virtual ~SequentialFile() = default;
  // Reads up to `capacity` bytes into `buffer`; `*read` is 0 at the end.
  [[nodiscard]] virtual OsError Read(char* buffer, size_t capacity, size_t* read) = 0;
};

// Serves bytes already in memory; the fallback of FileSystem::OpenSequential.
class MemorySequentialFile final : public SequentialFile {
 public:
  explicit MemorySequentialFile(std::string contents) : contents_(std::move(contents)) {}
  OsError Read(char* buffer, size_t capacity, size_t* read) override {
    *read = contents_.copy(buffer, capacity, offset_);
    offset_ += *read;
    return 0;
  }

 private:
  std::string contents_;
  size_t offset_ = 0;
};

// What a wrapper that keeps folder listings knows of a folder's entries,
// offered to the file system below it (FileSystem::LookUpNamesIn).
class FolderNames {
 public:
  virtual ~FolderNames() = default;
  // True when it knows (or, with `list`, has just listed) the entries of the
  // folder spelled exactly `folder`: then `*match` is the entry named
  // exactly `name` if there is one, else the first in listing order whose
  // name equals `name` ignoring ASCII case; its name is empty when none
  // does. False otherwise.
  virtual bool LookUp(const std::string& folder, std::string_view name, bool list,
                      DirEntry* match) = 0;
};

// Paths are UTF-8 and use the native separator. Implementations for a
// case-sensitive file system resolve a path component that does not exist as
// spelled to an existing entry that equals it ignoring ASCII case, so the
// store behaves as on the case-insensitive system it was designed for.
// Every call returns 0 or a Windows error number (see os_error.h).
class FileSystem {
 public:
  virtual ~FileSystem() = default;

  // Entries of `dir` without "." and "..", ordered by their ASCII upper-case
  // form, then bytewise. Temporary files of unfinished saves (left behind by
  // a process that died mid-save) are not part of the store and not listed.
  [[nodiscard]] virtual OsError ListDirectory(const std::string& dir,
                                              std::vector<DirEntry>* entries) = 0;
  // The same listing, shared and read-only, so a walk by index need not copy
  // it at every step. This default lists anew; a caching file system hands
  // out what it keeps. Nothing changes a listing while a caller holds it;
  // one that nobody holds any more may grow in place by the names written
  // into its folder, so a weak_ptr to it does not vouch for its contents.
  [[nodiscard]] virtual OsError ListDirectoryShared(
      const std::string& dir, std::shared_ptr<const std::vector<DirEntry>>* entries) {
    auto listing = std::make_shared<std::vector<DirEntry>>();
    const OsError error = ListDirectory(dir, listing.get());
    *entries = std::move(listing);
    return error;
  }
  [[nodiscard]] virtual OsError GetFileInfo(const std::string& path, FileInfo* info) = 0;
  // Sets or clears the read-only flag and changes nothing else. Refuses (5)
  // symbolic links, so a link in the store never changes a file elsewhere.
  [[nodiscard]] virtual OsError SetReadOnly(const std::string& path, bool read_only) = 0;
  // Creates the last component only; 183 when it exists already.
  [[nodiscard]] virtual OsError CreateDirectory(const std::string& path) = 0;
  // Refuses read-only files (5) and directories.
  [[nodiscard]] virtual OsError DeleteFile(const std::string& path) = 0;
  // Copies atomically: the target is either untouched or complete. Without
  // `overwrite` an existing target is refused (80); a read-only target is
  // refused (5) either way.
  [[nodiscard]] virtual OsError CopyFile(const std::string& from, const std::string& to,
                                         bool overwrite) = 0;
  // Copies the tree `from` to the path `to`, creating it when missing and
  // replacing files that exist there. Symbolic links are copied as links.
  [[nodiscard]] virtual OsError CopyTree(const std::string& from, const std::string& to) = 0;
  // Removes the directory `path` with everything in it.
  [[nodiscard]] virtual OsError DeleteTree(const std::string& path) = 0;
  // Reads a regular file; anything else (folder, pipe, device) gives 5.
  [[nodiscard]] OsError ReadFile(const std::string& path, std::string* contents) {
    return ReadFileAtMost(path, UINT64_MAX, contents);
  }
  // Reads a regular file of at most `limit` bytes; a larger one gives 223 and
  // no contents. The read itself stops past the limit, so a file that grows
  // after its size was looked at costs no more memory than the limit.
  [[nodiscard]] virtual OsError ReadFileAtMost(const std::string& path, uint64_t limit,
                                               std::string* contents) = 0;
  // Replaces `path` atomically with `contents` (temporary file, flush, rename).
  [[nodiscard]] virtual OsError WriteFileAtomic(const std::string& path,
                                                std::string_view contents) = 0;
  // Opens a file for reading piece by piece; fails as ReadFile does. This
  // default reads the whole file at once; implementations override it.
  [[nodiscard]] virtual OsError OpenSequential(const std::string& path,
                                               std::unique_ptr<SequentialFile>* file) {
    std::string contents;
    const OsError error = ReadFile(path, &contents);
    if (error == 0) *file = std::make_unique<MemorySequentialFile>(std::move(contents));
    return error;
  }
  // Opens a file for plain writing (logs, trace files), creating it.
  [[nodiscard]] virtual OsError OpenWritable(const std::string& path, OpenMode mode,
                                             std::unique_ptr<WritableFile>* file) = 0;
  // Forgets whatever an implementation keeps of earlier answers; called after
  // code outside the program (the board-control library) may have changed
  // files. Implementations that keep nothing ignore it.
  virtual void DiscardCache() {}
  // A file system that resolves names ignoring case by searching folders
  // asks `names` first, and searches only the folders it does not know;
  // nullptr stops that. The answers must be what a listing would give at
  // that moment, so `names` must see every change made through this object.
  // Others ignore it; a wrapper in between passes it on when it changes
  // nothing behind the back of `names`.
  virtual void LookUpNamesIn(FolderNames* /*names*/) {}
  // Makes `roots` the folders below which no symbolic link is followed, by
  // any call: a link there is handled as the link itself (listed as a link,
  // deleted or copied as a link) and reading, writing or listing through it
  // fails with 5. The roots themselves may be links. Replaces earlier roots;
  // empty ones are ignored. Wrappers must pass this on.
  virtual void ConfineLinksBelow(std::vector<std::string> roots) = 0;
  // Hands over, and forgets, what calls since the last take noted, those of
  // the files it opened included. Wrappers must pass this on.
  virtual std::vector<FailureNote> TakeFailureNotes() { return {}; }
};

enum class RegistryType : uint32_t {
  kNone = 0,
  kString = 1,        // REG_SZ
  kExpandString = 2,  // REG_EXPAND_SZ
  kBinary = 3,        // REG_BINARY
  kDword = 4,         // REG_DWORD
  kMultiString = 7,   // REG_MULTI_SZ
  kQword = 11,        // REG_QWORD
};

struct RegistryValue {
  RegistryType type = RegistryType::kNone;
  std::string text;          // UTF-8 text for the string types, empty otherwise
  std::vector<uint8_t> data; // the raw value as Windows stores it
};

// One opened key: a snapshot of its values taken when it was opened.
class RegistryKey {
 public:
  virtual ~RegistryKey() = default;
  // Value names compare without regard to ASCII case; "" is the default value.
  [[nodiscard]] virtual bool QueryValue(std::string_view name, RegistryValue* value) const = 0;
};

// The local-machine hive, read only.
class Registry {
 public:
  virtual ~Registry() = default;
  // `key_path` is below HKEY_LOCAL_MACHINE, such as "SOFTWARE\\Kestrel\\...",
  // with backslashes and compared without regard to ASCII case.
  [[nodiscard]] virtual bool OpenKey(std::string_view key_path,
                                     std::unique_ptr<RegistryKey>* key) = 0;
};

class KnownFolders {
 public:
  virtual ~KnownFolders() = default;
  // The folder for all users' program data. Empty overrides count as unset.
  [[nodiscard]] virtual bool CommonAppData(std::string* path) = 0;
  // The shared-components folder under the program files folder.
  [[nodiscard]] virtual bool CommonProgramFiles(std::string* path) = 0;
  // The folder that holds the running executable.
  [[nodiscard]] virtual bool ExecutableFolder(std::string* path) = 0;
};

class DynamicLibrary {
 public:
  virtual ~DynamicLibrary() = default;
  // nullptr when the library has no such symbol.
  virtual void* Symbol(const char* name) = 0;
};

class DynamicLibraries {
 public:
  virtual ~DynamicLibraries() = default;
  // 126 when the library cannot be loaded.
  [[nodiscard]] virtual OsError Load(const std::string& path,
                                     std::unique_ptr<DynamicLibrary>* library) = 0;
};

class Clock {
 public:
  virtual ~Clock() = default;
  // Monotonic microseconds for measuring intervals.
  virtual uint64_t NowMicros() = 0;
  // Wall-clock time, seconds since the epoch.
  virtual std::time_t Now() = 0;
  // Broken-down local time of `t`.
  virtual std::tm LocalTime(std::time_t t) = 0;
};

// Process-wide services that have no better home.
class Process {
 public:
  virtual ~Process() = default;
  [[nodiscard]] virtual bool GetEnvironmentVariable(const char* name, std::string* value) = 0;
  // COM start-up for an apartment-threaded caller: 0 initialised, 1 already
  // initialised, anything else failed. POSIX has no COM and returns 0.
  virtual int32_t InitializeCom() = 0;
  virtual void UninitializeCom() = 0;
  virtual uint32_t ProcessId() = 0;
  virtual uint32_t ThreadId() = 0;
  // Debugger output: standard error on POSIX.
  virtual void DebugOutput(std::string_view text) = 0;
  // A warning shown to a person (a message box on Windows).
  virtual void ShowWarning(std::string_view text) = 0;
};

// The bundle handed to every subsystem. It does not own the parts.
class Env {
 public:
  Env(FileSystem& files, Registry& registry, KnownFolders& folders,
      DynamicLibraries& libraries, SharedObjects& shared, Clock& clock, Process& process)
      : files_(files), registry_(registry), folders_(folders), libraries_(libraries),
        shared_(shared), clock_(clock), process_(process) {}

  // The real platform; lives for the whole process.
  static Env& Default();

  FileSystem& files() const { return files_; }
  Registry& registry() const { return registry_; }
  KnownFolders& folders() const { return folders_; }
  DynamicLibraries& libraries() const { return libraries_; }
  SharedObjects& shared() const { return shared_; }
  Clock& clock() const { return clock_; }
  Process& process() const { return process_; }

 private:
  FileSystem& files_;
  Registry& registry_;
  KnownFolders& folders_;
  DynamicLibraries& libraries_;
  SharedObjects& shared_;
  Clock& clock_;
  Process& process_;
};

}  // namespace q9
