// Doubles for the trace tests: an in-memory registry, a clock that moves
// when told, a process that keeps its debugger output, fake libraries, real
// shared objects under names of their own that can be made to fail, and the
// Env that bundles them with the real file system.
#pragma once

#include <atomic>
#include <ctime>
#include <map>
#include <string>

#include "platform/env.h"
#include "platform/posix/shared_objects_posix.h"
#include "trace/trace_client.h"

namespace q9::testing {

// Holds the trace configuration key only, once a value is set. Value names
// are matched as spelled.
class MemoryRegistry final : public Registry, public RegistryKey {
 public:
  bool OpenKey(std::string_view path, std::unique_ptr<RegistryKey>* key) override {
    if (values_.empty() || path != "Software\\KESTREL\\TELAN\\TrcParams") return false;
    *key = std::make_unique<MemoryRegistry>(*this);
    return true;
  }
  bool QueryValue(std::string_view name, RegistryValue* value) const override {
    const auto it = values_.find(std::string(name));
    if (it != values_.end()) *value = it->second;
    return it != values_.end();
  }
  void Set(const std::string& name, const std::string& text,
           RegistryType type = RegistryType::kString) {
    values_[name] = RegistryValue{type, text, {}};
  }

 private:
  std::map<std::string, RegistryValue> values_;
};

class ManualClock final : public Clock {
 public:
  uint64_t NowMicros() override { return micros; }
  std::time_t Now() override { return static_cast<std::time_t>(micros / 1'000'000); }
  std::tm LocalTime(std::time_t t) override { return *std::gmtime(&t); }
  void Advance(uint64_t seconds) { micros += seconds * 1'000'000; }

  uint64_t micros = 1'800'000'000'000'000;  // 2027-01-15 08:00:00 UTC
};

class RecordingProcess final : public Process {
 public:
  bool GetEnvironmentVariable(const char*, std::string*) override { return false; }
  int32_t InitializeCom() override { return 0; }
  void UninitializeCom() override {}
  OsError PrepareTraceSecurity() override { return 0; }
  void ReleaseTraceSecurity() override {}
  uint32_t ProcessId() override { return Env::Default().process().ProcessId(); }
  uint32_t ThreadId() override { return 7; }
  void DebugOutput(std::string_view text) override { debug_output.append(text); }
  void ShowWarning(std::string_view) override {}

  std::string debug_output;
};

// A library exists once a test lists its symbols.
class FakeLibraries final : public DynamicLibraries, public DynamicLibrary {
 public:
  OsError Load(const std::string& path, std::unique_ptr<DynamicLibrary>* library) override {
    loaded_path = path;
    if (symbols.empty()) return os_error::kModNotFound;
    *library = std::make_unique<FakeLibraries>(*this);
    return os_error::kSuccess;
  }
  void* Symbol(const char* name) override {
    const auto it = symbols.find(name);
    return it == symbols.end() ? nullptr : it->second;
  }

  std::map<std::string, void*> symbols;
  std::string loaded_path;
};

class TestSharedObjects final : public PosixSharedObjects {
 public:
  OsError MapSharedMemory(const std::string& name, size_t min_size, bool create,
                          std::unique_ptr<SharedMemory>* memory) override {
    return map_error != 0 ? map_error
                          : PosixSharedObjects::MapSharedMemory(name, min_size, create, memory);
  }
  OsError InitSharedMutex(SharedMutexStorage* mutex) override {
    return mutex_error != 0 ? mutex_error : PosixSharedObjects::InitSharedMutex(mutex);
  }
  OsError OpenDevice(const std::string& path, std::unique_ptr<WritableFile>* device) override {
    return device_error != 0 ? device_error : PosixSharedObjects::OpenDevice(path, device);
  }

  OsError map_error = 0;
  OsError mutex_error = 0;
  OsError device_error = 0;
};

// Object names no other test process uses.
inline TraceObjectNames UniqueTraceNames() {
  static std::atomic<int> counter{0};
  const std::string stem = "/q9test-" + std::to_string(Env::Default().process().ProcessId()) +
                           "-" + std::to_string(counter++) + "-";
  TraceObjectNames names;
  names.section = stem + "SECTION";
  names.ring = stem + "SDD";
  return names;
}

struct TraceTestEnv {
  TraceTestEnv()
      : env(Env::Default().files(), registry, Env::Default().folders(), libraries, shared, clock,
            process) {}
  ~TraceTestEnv() {
    TraceClient::Stop();
    (void)shared.RemoveSharedMemory(names.section);
    (void)shared.RemoveSharedMemory(names.ring);
  }
  void Start() { TraceClient::Start(env, "q9cfgImp64x", names); }

  MemoryRegistry registry;
  FakeLibraries libraries;
  TestSharedObjects shared;
  ManualClock clock;
  RecordingProcess process;
  TraceObjectNames names = UniqueTraceNames();
  Env env;
};

}  // namespace q9::testing
