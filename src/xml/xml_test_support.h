// Test helpers of the XML layer: the trace records written during a test, and
// an Env whose file system records what it was asked to read.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "platform/env.h"

namespace q9::testing {

struct TraceLine {
  std::string module;
  std::string function;
  uint32_t level = 0;
  std::string text;
};

// Every trace record since the last ClearTraces(), in order.
const std::vector<TraceLine>& CapturedTraces();
void ClearTraces();
// True when a record of `function` at `level` has exactly the text `text`.
bool HasTrace(std::string_view function, uint32_t level, std::string_view text);

// The real file system, with a list of the paths it was asked to read.
class RecordingFileSystem final : public FileSystem {
 public:
  explicit RecordingFileSystem(FileSystem& real) : real_(real) {}
  const std::vector<std::string>& reads() const { return reads_; }

  OsError ListDirectory(const std::string& dir, std::vector<DirEntry>* entries) override {
    return real_.ListDirectory(dir, entries);
  }
  OsError GetFileInfo(const std::string& path, FileInfo* info) override {
    return real_.GetFileInfo(path, info);
  }
  OsError SetReadOnly(const std::string& path, bool read_only) override {
    return real_.SetReadOnly(path, read_only);
  }
  OsError CreateDirectory(const std::string& path) override { return real_.CreateDirectory(path); }
  OsError DeleteFile(const std::string& path) override { return real_.DeleteFile(path); }
  OsError CopyFile(const std::string& from, const std::string& to, bool overwrite) override {
    return real_.CopyFile(from, to, overwrite);
  }
  OsError CopyTree(const std::string& from, const std::string& to) override {
    return real_.CopyTree(from, to);
  }
  OsError DeleteTree(const std::string& path) override { return real_.DeleteTree(path); }
  OsError ReadFile(const std::string& path, std::string* contents) override {
    reads_.push_back(path);
    return real_.ReadFile(path, contents);
  }
  OsError OpenSequential(const std::string& path, std::unique_ptr<SequentialFile>* file) override {
    reads_.push_back(path);
    return real_.OpenSequential(path, file);
  }
  OsError WriteFileAtomic(const std::string& path, std::string_view contents) override {
    return real_.WriteFileAtomic(path, contents);
  }
  OsError OpenWritable(const std::string& path, OpenMode mode,
                       std::unique_ptr<WritableFile>* file) override {
    return real_.OpenWritable(path, mode, file);
  }

 private:
  FileSystem& real_;
  std::vector<std::string> reads_;
};

// The default Env with `files` in place of its file system.
class EnvWithFiles {
 public:
  explicit EnvWithFiles(FileSystem& files);
  Env& env() { return env_; }

 private:
  Env env_;
};

// Names of the entries of `dir` that start with the temporary-file prefix of
// atomic writes (".q9tmp-").
std::vector<std::string> LeftoverTemporaryFiles(const std::string& dir);

}  // namespace q9::testing
