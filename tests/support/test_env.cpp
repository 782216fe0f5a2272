#include "test_env.h"

#include <atomic>

#include "platform/path.h"

namespace q9::testing {
namespace {

class FakeKey : public RegistryKey {
 public:
  explicit FakeKey(std::map<std::string, RegistryValue> values) : values_(std::move(values)) {}
  bool QueryValue(std::string_view name, RegistryValue* value) const override {
    const auto it = values_.find(FoldedAscii(name));
    if (it == values_.end()) return false;
    *value = it->second;
    return true;
  }

 private:
  std::map<std::string, RegistryValue> values_;
};

class FakeLibrary : public DynamicLibrary {
 public:
  explicit FakeLibrary(std::map<std::string, void*> symbols) : symbols_(std::move(symbols)) {}
  void* Symbol(const char* name) override {
    const auto it = symbols_.find(name);
    return it == symbols_.end() ? nullptr : it->second;
  }

 private:
  std::map<std::string, void*> symbols_;
};

}  // namespace

bool FakeProcess::GetEnvironmentVariable(const char* name, std::string* value) {
  const auto it = variables.find(name);
  if (it == variables.end() || it->second.empty()) return false;
  *value = it->second;
  return true;
}

void FakeRegistry::Set(const std::string& key, const std::string& name,
                       const RegistryValue& value) {
  keys_[FoldedAscii(key)][FoldedAscii(name)] = value;
}

bool FakeRegistry::OpenKey(std::string_view key_path, std::unique_ptr<RegistryKey>* key) {
  const auto it = keys_.find(FoldedAscii(key_path));
  if (it == keys_.end()) return false;
  *key = std::make_unique<FakeKey>(it->second);
  return true;
}

OsError FakeLibraries::Load(const std::string& path, std::unique_ptr<DynamicLibrary>* library) {
  loaded_path = path;
  ++loads;
  if (symbols.empty()) return os_error::kModNotFound;
  *library = std::make_unique<FakeLibrary>(symbols);
  return os_error::kSuccess;
}

IsolatedSharedObjects::IsolatedSharedObjects() {
  static std::atomic<int> counter{0};
  stem_ = "/q9test-" + std::to_string(Env::Default().process().ProcessId()) + "-" +
          std::to_string(counter++) + "-";
}

}  // namespace q9::testing
