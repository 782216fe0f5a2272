// An Env for tests: the real file system, with doubles for everything else,
// so a test sets up exactly the configuration it needs without touching the
// machine's.
#pragma once

#include <ctime>
#include <initializer_list>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "platform/env.h"
#include "platform/posix/shared_objects_posix.h"
#include "platform/shared_objects.h"
#include "trace/trace_config.h"

namespace q9::testing {

class FakeProcess : public Process {
 public:
  std::map<std::string, std::string> variables;
  int32_t com_result = 0;
  int com_uninitialized = 0;
  std::string debug_output;
  std::vector<std::string> warnings;

  bool GetEnvironmentVariable(const char* name, std::string* value) override;
  int32_t InitializeCom() override { return com_result; }
  void UninitializeCom() override { ++com_uninitialized; }
  uint32_t ProcessId() override { return 4242; }
  uint32_t ThreadId() override { return 7; }
  void DebugOutput(std::string_view text) override { debug_output += text; }
  void ShowWarning(std::string_view text) override { warnings.emplace_back(text); }
};

class FakeKnownFolders : public KnownFolders {
 public:
  std::string app_data;       // empty: the query fails
  std::string program_files;  // empty: the query fails
  std::string executable;

  bool CommonAppData(std::string* path) override { return Get(app_data, path); }
  bool CommonProgramFiles(std::string* path) override { return Get(program_files, path); }
  bool ExecutableFolder(std::string* path) override { return Get(executable, path); }

 private:
  static bool Get(const std::string& value, std::string* path) {
    if (!value.empty()) *path = value;
    return !value.empty();
  }
};

// Keys and value names compare ignoring ASCII case, as in the real registry.
class FakeRegistry : public Registry {
 public:
  void SetString(const std::string& key, const std::string& name, const std::string& text) {
    Set(key, name, RegistryValue{RegistryType::kString, text, {}});
  }
  void Set(const std::string& key, const std::string& name, const RegistryValue& value);
  bool OpenKey(std::string_view key_path, std::unique_ptr<RegistryKey>* key) override;

 private:
  std::map<std::string, std::map<std::string, RegistryValue>> keys_;  // case-folded
};

// Time that moves only when told; local time is UTC.
class ManualClock : public Clock {
 public:
  uint64_t micros = 1'800'000'000'000'000;  // 2027-01-15 08:00:00 UTC

  uint64_t NowMicros() override { return micros; }
  std::time_t Now() override { return static_cast<std::time_t>(micros / 1'000'000); }
  std::tm LocalTime(std::time_t t) override { return *std::gmtime(&t); }
  void Advance(uint64_t seconds) { micros += seconds * 1'000'000; }
};

// A library exists once a test lists its symbols.
class FakeLibraries : public DynamicLibraries {
 public:
  std::map<std::string, void*> symbols;
  std::string loaded_path;
  int loads = 0;

  OsError Load(const std::string& path, std::unique_ptr<DynamicLibrary>* library) override;
};

// The real shared objects under names of this test process's own, so tests
// never meet the machine's trace section or each other's; the objects it
// created are removed when it goes away. Non-zero errors make the calls fail
// (map_error the writable mappings only).
class IsolatedSharedObjects : public PosixSharedObjects {
 public:
  IsolatedSharedObjects();
  ~IsolatedSharedObjects() override {
    for (const std::string& name : created_) (void)PosixSharedObjects::RemoveSharedMemory(name);
  }

  OsError MapSharedMemory(const std::string& name, size_t min_size, bool create,
                          std::unique_ptr<SharedMemory>* memory) override {
    if (map_error != 0) return map_error;
    const OsError error =
        PosixSharedObjects::MapSharedMemory(Isolated(name), min_size, create, memory);
    if (error == 0 && create) created_.insert(Isolated(name));
    return error;
  }
  OsError MapSharedMemoryReadOnly(const std::string& name,
                                  std::unique_ptr<SharedMemory>* memory) override {
    return PosixSharedObjects::MapSharedMemoryReadOnly(Isolated(name), memory);
  }
  OsError RemoveSharedMemory(const std::string& name) override {
    return PosixSharedObjects::RemoveSharedMemory(Isolated(name));
  }
  OsError InitSharedMutex(SharedMutexStorage* mutex) override {
    return mutex_error != 0 ? mutex_error : PosixSharedObjects::InitSharedMutex(mutex);
  }
  OsError OpenDevice(const std::string& path, std::unique_ptr<WritableFile>* device) override {
    return device_error != 0 ? device_error : PosixSharedObjects::OpenDevice(path, device);
  }
  OsError PrepareTraceSecurity() override { return security_result; }
  void ReleaseTraceSecurity() override { ++security_released; }

  // The name the real object has for `name`.
  std::string Isolated(const std::string& name) const {
    return stem_ + (name.starts_with('/') ? name.substr(1) : name);
  }

  OsError map_error = 0;
  OsError mutex_error = 0;
  OsError device_error = 0;
  OsError security_result = 0;
  int security_released = 0;

 private:
  std::string stem_;
  std::set<std::string> created_;
};

struct TestEnv {
  // Sets string values of the trace configuration key.
  void SetTrace(const std::string& name, const std::string& text) {
    registry.SetString(kTraceConfigKey, name, text);
  }
  void SetTrace(std::initializer_list<std::pair<std::string, std::string>> values) {
    for (const auto& [name, text] : values) SetTrace(name, text);
  }
  FakeProcess process;
  FakeKnownFolders folders;
  FakeRegistry registry;
  IsolatedSharedObjects shared;
  FakeLibraries libraries;
  ManualClock clock;
  Env env{Env::Default().files(), registry, folders, libraries, shared, clock, process};
};

// A WritableFile that appends to a string owned by the test.
class StringFile : public WritableFile {
 public:
  explicit StringFile(std::string* text) : text_(text) {}
  OsError Append(std::string_view data) override {
    text_->append(data);
    return 0;
  }
  OsError Flush() override { return 0; }
  OsError Close() override { return 0; }

 private:
  std::string* text_;
};

}  // namespace q9::testing
