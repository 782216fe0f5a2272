#include "fault_injection_file_system.h"

namespace q9::testing {

template <typename Operation>
OsError FaultInjectionFileSystem::Mutate(Operation operation) {
  ++count_;
  return Read(operation);
}

template <typename Operation>
OsError FaultInjectionFileSystem::Read(Operation operation) {
  return error_ != os_error::kSuccess ? error_ : operation();
}

OsError FaultInjectionFileSystem::ListDirectory(const std::string& dir,
                                                std::vector<DirEntry>* entries) {
  entries->clear();
  return Read([&] { return base_.ListDirectory(dir, entries); });
}

OsError FaultInjectionFileSystem::GetFileInfo(const std::string& path, FileInfo* info) {
  return Read([&] { return base_.GetFileInfo(path, info); });
}

OsError FaultInjectionFileSystem::SetReadOnly(const std::string& path, bool read_only) {
  return Mutate([&] { return base_.SetReadOnly(path, read_only); });
}

OsError FaultInjectionFileSystem::CreateDirectory(const std::string& path) {
  return Mutate([&] { return base_.CreateDirectory(path); });
}

OsError FaultInjectionFileSystem::DeleteFile(const std::string& path) {
  return Mutate([&] { return base_.DeleteFile(path); });
}

OsError FaultInjectionFileSystem::CopyFile(const std::string& from, const std::string& to,
                                           bool overwrite) {
  return Mutate([&] { return base_.CopyFile(from, to, overwrite); });
}

OsError FaultInjectionFileSystem::CopyTree(const std::string& from, const std::string& to) {
  return Mutate([&] { return base_.CopyTree(from, to); });
}

OsError FaultInjectionFileSystem::DeleteTree(const std::string& path) {
  return Mutate([&] { return base_.DeleteTree(path); });
}

OsError FaultInjectionFileSystem::ReadFileAtMost(const std::string& path, uint64_t limit,
                                                 std::string* contents) {
  contents->clear();
  reads_.push_back(path);
  return Read([&] { return base_.ReadFileAtMost(path, limit, contents); });
}

OsError FaultInjectionFileSystem::WriteFileAtomic(const std::string& path,
                                                  std::string_view contents) {
  return Mutate([&] { return base_.WriteFileAtomic(path, contents); });
}

OsError FaultInjectionFileSystem::OpenWritable(const std::string& path, OpenMode mode,
                                               std::unique_ptr<WritableFile>* file) {
  file->reset();
  return Mutate([&] { return base_.OpenWritable(path, mode, file); });
}

Env EnvWithFileSystem(FileSystem& files) {
  Env& real = Env::Default();
  return Env(files, real.registry(), real.folders(), real.libraries(), real.shared(),
             real.clock(), real.process());
}

}  // namespace q9::testing
