#include "trace/tracing_file_system.h"

#include "trace/trace.h"

namespace q9 {
namespace {

constexpr TraceSite kUnmappedErrorSite{"Env", "OsErrorFromErrno: "};
constexpr TraceSite kLinkSite{"Env", "FileSystem: "};

class TracingSequentialFile final : public SequentialFile {
 public:
  TracingSequentialFile(TracingFileSystem& files, std::unique_ptr<SequentialFile> base)
      : files_(files), base_(std::move(base)) {}
  OsError Read(char* buffer, size_t capacity, size_t* read) override {
    return files_.Traced(base_->Read(buffer, capacity, read));
  }

 private:
  TracingFileSystem& files_;
  std::unique_ptr<SequentialFile> base_;
};

class TracingWritableFile final : public WritableFile {
 public:
  TracingWritableFile(TracingFileSystem& files, std::unique_ptr<WritableFile> base)
      : files_(files), base_(std::move(base)) {}
  OsError Append(std::string_view data) override { return files_.Traced(base_->Append(data)); }
  OsError Flush() override { return files_.Traced(base_->Flush()); }
  OsError Close() override { return files_.Traced(base_->Close()); }

 private:
  TracingFileSystem& files_;
  std::unique_ptr<WritableFile> base_;
};

}  // namespace

OsError TracingFileSystem::Traced(OsError result) {
  for (const FailureNote& note : base_.TakeFailureNotes()) {
    switch (note.kind) {
      case FailureNote::Kind::kUnmappedError:
        Q9_TRACE(kUnmappedErrorSite, trace_level::kProgress, "errno %d (%s) reported as %d",
                 note.system_error, note.text.c_str(), os_error::kGenFailure);
        break;
      case FailureNote::Kind::kLinkNotFollowed:
        Q9_TRACE(kLinkSite, trace_level::kProgress, "Symbolic link not followed: %s",
                 note.text.c_str());
        break;
    }
  }
  return result;
}

OsError TracingFileSystem::ListDirectory(const std::string& dir, std::vector<DirEntry>* entries) {
  return Traced(base_.ListDirectory(dir, entries));
}

OsError TracingFileSystem::ListDirectoryShared(
    const std::string& dir, std::shared_ptr<const std::vector<DirEntry>>* entries) {
  return Traced(base_.ListDirectoryShared(dir, entries));
}

OsError TracingFileSystem::GetFileInfo(const std::string& path, FileInfo* info) {
  return Traced(base_.GetFileInfo(path, info));
}

OsError TracingFileSystem::SetReadOnly(const std::string& path, bool read_only) {
  return Traced(base_.SetReadOnly(path, read_only));
}

OsError TracingFileSystem::CreateDirectory(const std::string& path) {
  return Traced(base_.CreateDirectory(path));
}

OsError TracingFileSystem::DeleteFile(const std::string& path) {
  return Traced(base_.DeleteFile(path));
}

OsError TracingFileSystem::CopyFile(const std::string& from, const std::string& to,
                                    bool overwrite) {
  return Traced(base_.CopyFile(from, to, overwrite));
}

OsError TracingFileSystem::CopyTree(const std::string& from, const std::string& to) {
  return Traced(base_.CopyTree(from, to));
}

OsError TracingFileSystem::DeleteTree(const std::string& path) {
  return Traced(base_.DeleteTree(path));
}

OsError TracingFileSystem::ReadFileAtMost(const std::string& path, uint64_t limit,
                                          std::string* contents) {
  return Traced(base_.ReadFileAtMost(path, limit, contents));
}

OsError TracingFileSystem::WriteFileAtomic(const std::string& path, std::string_view contents) {
  return Traced(base_.WriteFileAtomic(path, contents));
}

OsError TracingFileSystem::OpenSequential(const std::string& path,
                                          std::unique_ptr<SequentialFile>* file) {
  const OsError error = Traced(base_.OpenSequential(path, file));
  if (error == os_error::kSuccess && *file != nullptr) {
    *file = std::make_unique<TracingSequentialFile>(*this, std::move(*file));
  }
  return error;
}

OsError TracingFileSystem::OpenWritable(const std::string& path, OpenMode mode,
                                        std::unique_ptr<WritableFile>* file) {
  const OsError error = Traced(base_.OpenWritable(path, mode, file));
  if (error == os_error::kSuccess && *file != nullptr) {
    *file = std::make_unique<TracingWritableFile>(*this, std::move(*file));
  }
  return error;
}

}  // namespace q9
