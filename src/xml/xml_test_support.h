// Test helpers of the XML layer: the trace records written during a test, and
// an Env whose file system records what it was asked to read.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "platform/env.h"
#include "trace_capture.h"

namespace q9::testing {

// Every trace record since the last ClearTraces(), in order. The trace client
// is started for the test binary on first use.
std::vector<TraceLine> CapturedTraces();
void ClearTraces();
// True when a record of `function` at `level` has exactly the text `text`.
bool HasTrace(std::string_view function, uint32_t level, std::string_view text);

// The real file system, with a list of the paths it was asked to read.
class RecordingFileSystem final : public FileSystem {
 public:
  explicit RecordingFileSystem(FileSystem& real) : real_(real) {}
  const std::vector<std::string>& reads() const { return reads_; }

  OsError ReadFile(const std::string& path, std::string* contents) override {
    reads_.push_back(path);
    return real_.ReadFile(path, contents);
  }
  OsError OpenSequential(const std::string& path, std::unique_ptr<SequentialFile>* file) override {
    reads_.push_back(path);
    return real_.OpenSequential(path, file);
  }
  // The rest passes straight through.
  OsError ListDirectory(const std::string& d, std::vector<DirEntry>* e) override {
    return real_.ListDirectory(d, e);
  }
  OsError GetFileInfo(const std::string& p, FileInfo* i) override {
    return real_.GetFileInfo(p, i);
  }
  OsError SetReadOnly(const std::string& p, bool r) override { return real_.SetReadOnly(p, r); }
  OsError CreateDirectory(const std::string& p) override { return real_.CreateDirectory(p); }
  OsError DeleteFile(const std::string& p) override { return real_.DeleteFile(p); }
  OsError CopyFile(const std::string& f, const std::string& t, bool o) override {
    return real_.CopyFile(f, t, o);
  }
  OsError CopyTree(const std::string& f, const std::string& t) override {
    return real_.CopyTree(f, t);
  }
  OsError DeleteTree(const std::string& p) override { return real_.DeleteTree(p); }
  OsError WriteFileAtomic(const std::string& p, std::string_view c) override {
    return real_.WriteFileAtomic(p, c);
  }
  OsError OpenWritable(const std::string& p, OpenMode m,
                       std::unique_ptr<WritableFile>* f) override {
    return real_.OpenWritable(p, m, f);
  }

 private:
  FileSystem& real_;
  std::vector<std::string> reads_;
};

// Names of the entries of `dir` that start with the temporary-file prefix of
// atomic writes (".q9tmp-").
std::vector<std::string> LeftoverTemporaryFiles(const std::string& dir);

}  // namespace q9::testing
