#include "platform/posix/registry_file.h"

#include <cstdlib>

namespace q9 {

std::string RegistryFile::FilePath() const {
  if (!path_.empty()) return path_;
  const char* configured = std::getenv("Q9_REGISTRY_FILE");
  return configured != nullptr ? configured : "/etc/opt/Kestrel/registry.reg";
}

bool RegistryFile::OpenKey(std::string_view, std::unique_ptr<RegistryKey>* key) {
  key->reset();
  return false;  // parser not written yet
}

}  // namespace q9
