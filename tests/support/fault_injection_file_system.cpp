#include "fault_injection_file_system.h"

namespace q9::testing {

// Forwards to the wrapped file while its owner lets it; once dropped it
// writes nothing but reports success.
class FaultInjectionWritableFile final : public WritableFile {
 public:
  FaultInjectionWritableFile(FaultInjectionFileSystem& owner, std::unique_ptr<WritableFile> base)
      : owner_(owner), base_(std::move(base)) {}

  OsError Append(std::string_view data) override {
    return owner_.Apply(owner_.Mutate(), [&] { return base_->Append(data); });
  }
  OsError Flush() override {
    return owner_.Apply(owner_.Read(), [&] { return base_->Flush(); });
  }
  OsError Close() override {
    // The descriptor is released whatever the verdict.
    const OsError closed = base_->Close();
    return owner_.Apply(owner_.Read(), [closed] { return closed; });
  }

 private:
  FaultInjectionFileSystem& owner_;
  std::unique_ptr<WritableFile> base_;
};

namespace {

// What OpenWritable hands out once the process is taken to be dead.
class DroppedWritableFile final : public WritableFile {
 public:
  OsError Append(std::string_view) override { return os_error::kSuccess; }
  OsError Flush() override { return os_error::kSuccess; }
  OsError Close() override { return os_error::kSuccess; }
};

}  // namespace

void FaultInjectionFileSystem::FailFrom(uint64_t n, OsError error) {
  mode_ = Mode::kFail;
  fault_from_ = n;
  error_ = error;
}

void FaultInjectionFileSystem::CrashFrom(uint64_t n) {
  mode_ = Mode::kCrash;
  fault_from_ = n;
}

FaultInjectionFileSystem::Verdict FaultInjectionFileSystem::Mutate() {
  const uint64_t number = ++count_;
  if (mode_ == Mode::kNone || number < fault_from_) return Verdict::kForward;
  fired_ = true;
  return mode_ == Mode::kFail ? Verdict::kFail : Verdict::kDrop;
}

FaultInjectionFileSystem::Verdict FaultInjectionFileSystem::Read() {
  if (mode_ == Mode::kFail && count_ >= fault_from_) {
    fired_ = true;
    return Verdict::kFail;
  }
  return Verdict::kForward;
}

template <typename Operation>
OsError FaultInjectionFileSystem::Apply(Verdict verdict, Operation operation) {
  switch (verdict) {
    case Verdict::kFail: return error_;
    case Verdict::kDrop: return os_error::kSuccess;
    case Verdict::kForward: break;
  }
  return operation();
}

OsError FaultInjectionFileSystem::ListDirectory(const std::string& dir,
                                                std::vector<DirEntry>* entries) {
  entries->clear();
  return Apply(Read(), [&] { return base_.ListDirectory(dir, entries); });
}

OsError FaultInjectionFileSystem::GetFileInfo(const std::string& path, FileInfo* info) {
  return Apply(Read(), [&] { return base_.GetFileInfo(path, info); });
}

OsError FaultInjectionFileSystem::SetReadOnly(const std::string& path, bool read_only) {
  return Apply(Mutate(), [&] { return base_.SetReadOnly(path, read_only); });
}

OsError FaultInjectionFileSystem::CreateDirectory(const std::string& path) {
  return Apply(Mutate(), [&] { return base_.CreateDirectory(path); });
}

OsError FaultInjectionFileSystem::DeleteFile(const std::string& path) {
  return Apply(Mutate(), [&] { return base_.DeleteFile(path); });
}

OsError FaultInjectionFileSystem::CopyFile(const std::string& from, const std::string& to,
                                           bool overwrite) {
  return Apply(Mutate(), [&] { return base_.CopyFile(from, to, overwrite); });
}

OsError FaultInjectionFileSystem::CopyTree(const std::string& from, const std::string& to) {
  return Apply(Mutate(), [&] { return base_.CopyTree(from, to); });
}

OsError FaultInjectionFileSystem::DeleteTree(const std::string& path) {
  return Apply(Mutate(), [&] { return base_.DeleteTree(path); });
}

OsError FaultInjectionFileSystem::ReadFileAtMost(const std::string& path, uint64_t limit,
                                                 std::string* contents) {
  contents->clear();
  reads_.push_back(path);
  return Apply(Read(), [&] { return base_.ReadFileAtMost(path, limit, contents); });
}

OsError FaultInjectionFileSystem::WriteFileAtomic(const std::string& path,
                                                  std::string_view contents) {
  return Apply(Mutate(), [&] { return base_.WriteFileAtomic(path, contents); });
}

OsError FaultInjectionFileSystem::OpenWritable(const std::string& path, OpenMode mode,
                                               std::unique_ptr<WritableFile>* file) {
  file->reset();
  const Verdict verdict = Mutate();
  if (verdict == Verdict::kDrop) {
    *file = std::make_unique<DroppedWritableFile>();
    return os_error::kSuccess;
  }
  std::unique_ptr<WritableFile> base_file;
  const OsError error = Apply(verdict, [&] { return base_.OpenWritable(path, mode, &base_file); });
  if (error == os_error::kSuccess) {
    *file = std::make_unique<FaultInjectionWritableFile>(*this, std::move(base_file));
  }
  return error;
}

Env EnvWithFileSystem(FileSystem& files) {
  Env& real = Env::Default();
  return Env(files, real.registry(), real.folders(), real.libraries(), real.shared(),
             real.clock(), real.process());
}

}  // namespace q9::testing
