// The registry on POSIX: a read-only text file in the .reg export format
// (grammar in reg_file_parser.h).
#pragma once

#include <cstddef>
#include <string>

#include "platform/env.h"

namespace q9 {

// Reads the file named by Q9_REGISTRY_FILE (an empty value counts as unset),
// else /etc/opt/Kestrel/registry.reg, each time a key is opened, so changes
// made while the program runs are seen. The file is opened as the file system
// opens every file, so a pipe or a device there cannot stall the program.
// A missing or unreadable file has no keys, and so has a file larger than
// kMaxFileBytes: a registry file is a few kilobytes, and the bound keeps a
// wrong path (a device, a huge log) from being read into memory. OpenKey
// keeps no state, so threads may call it at the same time.
class RegistryFile final : public Registry {
 public:
  static constexpr size_t kMaxFileBytes = 16 * 1024 * 1024;

  explicit RegistryFile(FileSystem& files) : files_(files) {}
  // A registry on a fixed file, for tests.
  RegistryFile(FileSystem& files, std::string path) : files_(files), path_(std::move(path)) {}

  bool OpenKey(std::string_view key_path, std::unique_ptr<RegistryKey>* key) override;

 private:
  std::string FilePath() const;
  bool ReadBounded(std::string* bytes);
  FileSystem& files_;
  std::string path_;
};

}  // namespace q9
