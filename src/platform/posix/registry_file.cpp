#include "platform/posix/registry_file.h"

#include <cstdlib>

#include "platform/path.h"
#include "platform/posix/reg_file_parser.h"

namespace q9 {
namespace {

// The values of a key as they were when it was opened.
class SnapshotKey final : public RegistryKey {
 public:
  explicit SnapshotKey(RegistryValues values) : values_(std::move(values)) {}

  bool QueryValue(std::string_view name, RegistryValue* value) const override {
    const auto it = values_.find(FoldedAscii(name));
    if (it == values_.end()) return false;
    *value = it->second;
    return true;
  }

 private:
  RegistryValues values_;
};

}  // namespace

std::string RegistryFile::FilePath() const {
  if (!path_.empty()) return path_;
  const char* configured = std::getenv("Q9_REGISTRY_FILE");
  if (configured == nullptr || *configured == '\0') return "/etc/opt/Kestrel/registry.reg";
  return configured;
}

// The whole file, or false when it cannot be opened as a regular file, fails
// to read or exceeds kMaxFileBytes.
bool RegistryFile::ReadBounded(std::string* bytes) {
  std::unique_ptr<SequentialFile> file;
  if (files_.OpenSequential(FilePath(), &file) != os_error::kSuccess) return false;
  bytes->clear();
  char buffer[64 * 1024];
  for (;;) {
    size_t read = 0;
    if (file->Read(buffer, sizeof buffer, &read) != os_error::kSuccess) return false;
    if (read == 0) return true;
    bytes->append(buffer, read);
    if (bytes->size() > kMaxFileBytes) return false;
  }
}

bool RegistryFile::OpenKey(std::string_view key_path, std::unique_ptr<RegistryKey>* key) {
  key->reset();
  std::string bytes;
  if (!ReadBounded(&bytes)) return false;
  const RegistryHive hive = ParseRegFile(bytes);
  const RegistryValues* values = hive.FindKey(key_path);
  if (values == nullptr) return false;
  *key = std::make_unique<SnapshotKey>(*values);
  return true;
}

}  // namespace q9
