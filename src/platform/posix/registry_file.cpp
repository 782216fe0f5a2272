#include "platform/posix/registry_file.h"

#include <cstdlib>
#include <fstream>

#include "platform/posix/reg_file_parser.h"

namespace q9 {
namespace {

// The whole file, or false when it cannot be read or exceeds `limit` bytes.
bool ReadBounded(const std::string& path, size_t limit, std::string* bytes) {
  std::ifstream in(path, std::ios::binary);
  if (!in) return false;
  bytes->clear();
  char buffer[64 * 1024];
  while (in.read(buffer, sizeof buffer) || in.gcount() > 0) {
    bytes->append(buffer, static_cast<size_t>(in.gcount()));
    if (bytes->size() > limit) return false;
  }
  return !in.bad();
}

// The values of a key as they were when it was opened.
class SnapshotKey final : public RegistryKey {
 public:
  explicit SnapshotKey(RegistryValues values) : values_(std::move(values)) {}

  bool QueryValue(std::string_view name, RegistryValue* value) const override {
    const auto it = values_.find(FoldRegistryName(name));
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
  return configured != nullptr ? configured : "/etc/opt/Kestrel/registry.reg";
}

bool RegistryFile::OpenKey(std::string_view key_path, std::unique_ptr<RegistryKey>* key) {
  key->reset();
  std::string bytes;
  if (!ReadBounded(FilePath(), kMaxFileBytes, &bytes)) return false;
  const RegistryHive hive = ParseRegFile(bytes);
  const RegistryValues* values = hive.FindKey(key_path);
  if (values == nullptr) return false;
  *key = std::make_unique<SnapshotKey>(*values);
  return true;
}

}  // namespace q9
