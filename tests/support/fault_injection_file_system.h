// A FileSystem that wraps another one, records what it was asked to read and
// counts what it was asked to change, and once told to fails every call, so
// tests can show what code does when the disk breaks.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "platform/env.h"

namespace q9::testing {

// Mutating operations are SetReadOnly, CreateDirectory, DeleteFile, CopyFile,
// CopyTree, DeleteTree, WriteFileAtomic and OpenWritable. Operations may run
// on several threads (a trace writer, say); set the fault before they start.
class FaultInjectionFileSystem final : public FileSystem {
 public:
  explicit FaultInjectionFileSystem(FileSystem& base) : base_(base) {}

  // From now on every operation, reads included, returns `error` without
  // reaching the wrapped file system.
  void FailAll(OsError error) { error_ = error; }
  // How many mutating operations were asked for so far, failed or not.
  uint64_t mutating_operations() const { return count_; }
  // The paths it was asked to read, whole or piece by piece, in order.
  const std::vector<std::string>& reads() const { return reads_; }

  OsError ListDirectory(const std::string& dir, std::vector<DirEntry>* entries) override {
    entries->clear();
    return Read([&] { return base_.ListDirectory(dir, entries); });
  }
  OsError GetFileInfo(const std::string& path, FileInfo* info) override {
    return Read([&] { return base_.GetFileInfo(path, info); });
  }
  OsError SetReadOnly(const std::string& path, bool read_only) override {
    return Mutate([&] { return base_.SetReadOnly(path, read_only); });
  }
  OsError CreateDirectory(const std::string& path) override {
    return Mutate([&] { return base_.CreateDirectory(path); });
  }
  OsError DeleteFile(const std::string& path) override {
    return Mutate([&] { return base_.DeleteFile(path); });
  }
  OsError CopyFile(const std::string& from, const std::string& to, bool overwrite) override {
    return Mutate([&] { return base_.CopyFile(from, to, overwrite); });
  }
  OsError CopyTree(const std::string& from, const std::string& to) override {
    return Mutate([&] { return base_.CopyTree(from, to); });
  }
  OsError DeleteTree(const std::string& path) override {
    return Mutate([&] { return base_.DeleteTree(path); });
  }
  OsError ReadFileAtMost(const std::string& path, uint64_t limit,
                         std::string* contents) override {
    contents->clear();
    reads_.push_back(path);
    return Read([&] { return base_.ReadFileAtMost(path, limit, contents); });
  }
  OsError WriteFileAtomic(const std::string& path, std::string_view contents) override {
    return Mutate([&] { return base_.WriteFileAtomic(path, contents); });
  }
  OsError OpenWritable(const std::string& path, OpenMode mode,
                       std::unique_ptr<WritableFile>* file) override {
    file->reset();
    return Mutate([&] { return base_.OpenWritable(path, mode, file); });
  }
  void ConfineLinksBelow(std::vector<std::string> roots) override {
    base_.ConfineLinksBelow(std::move(roots));
  }
  std::vector<FailureNote> TakeFailureNotes() override { return base_.TakeFailureNotes(); }

 private:
  // Counts one mutating operation and runs it unless the fault has begun.
  template <typename Operation>
  OsError Mutate(Operation operation) {
    ++count_;
    return Read(operation);
  }
  // Runs an operation that changes nothing unless the fault has begun.
  template <typename Operation>
  OsError Read(Operation operation) {
    return error_ != os_error::kSuccess ? error_ : operation();
  }

  FileSystem& base_;
  OsError error_ = os_error::kSuccess;
  std::atomic<uint64_t> count_{0};
  std::vector<std::string> reads_;
};

// Env::Default() with `files` in place of its file system.
inline Env EnvWithFileSystem(FileSystem& files) {
  Env& real = Env::Default();
  return Env(files, real.registry(), real.folders(), real.libraries(), real.shared(),
             real.clock(), real.process());
}

}  // namespace q9::testing
