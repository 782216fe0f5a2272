// A FileSystem that passes every call on and traces what the wrapped one
// noted beyond its error numbers (see FailureNote): an error that no Windows
// number fits and a symbolic link it did not follow. The program runs on it;
// the trace client writes its own files past it, so a record never leads
// back into the client.
#pragma once

#include "platform/env.h"

namespace q9 {

// Notes of calls made past this object (the registry file, the trace
// client's files) come out with the next call through it. Files it opens
// must not outlive it.
class TracingFileSystem final : public FileSystem {
 public:
  explicit TracingFileSystem(FileSystem& base) : base_(base) {}

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
  void DiscardCache() override { base_.DiscardCache(); }
  void LookUpNamesIn(FolderNames* names) override { base_.LookUpNamesIn(names); }
  void ConfineLinksBelow(std::vector<std::string> roots) override {
    base_.ConfineLinksBelow(std::move(roots));
  }

  // Traces what the wrapped file system noted since it was last asked;
  // returns `result` so a call can pass through it.
  OsError Traced(OsError result);

 private:
  FileSystem& base_;
};

}  // namespace q9
