// The POSIX Env: known folders, libraries, clock and process services, and
// the bundle returned by Env::Default().
#include <dlfcn.h>
#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>

#include "platform/env.h"
#include "platform/path.h"
#include "platform/posix/file_system_posix.h"
#include "platform/posix/registry_file.h"
#include "platform/posix/shared_objects_posix.h"

namespace q9 {
namespace {

bool ReadEnvironment(const char* name, std::string* value) {
  // An empty value counts as unset, as Windows reports it.
  const char* text = std::getenv(name);
  if (text == nullptr || *text == '\0') return false;
  *value = text;
  return true;
}

// Known folders map to the FHS locations; packaging and tests move them with
// environment variables.
class PosixKnownFolders final : public KnownFolders {
 public:
  bool CommonAppData(std::string* path) override {
    if (!ReadEnvironment("Q9_COMMON_APPDATA", path)) *path = "/var/opt";
    return true;
  }
  bool CommonProgramFiles(std::string* path) override {
    if (!ReadEnvironment("Q9_COMMON_FILES", path)) *path = "/opt";
    return true;
  }
  bool ExecutableFolder(std::string* path) override {
    char buffer[4096];
    const ssize_t n = ::readlink("/proc/self/exe", buffer, sizeof buffer - 1);
    if (n <= 0) return false;
    *path = std::string(ParentPath(std::string_view(buffer, static_cast<size_t>(n))));
    return true;
  }
};

class PosixDynamicLibrary final : public DynamicLibrary {
 public:
  explicit PosixDynamicLibrary(void* handle) : handle_(handle) {}
  PosixDynamicLibrary(const PosixDynamicLibrary&) = delete;
  PosixDynamicLibrary& operator=(const PosixDynamicLibrary&) = delete;
  ~PosixDynamicLibrary() override { ::dlclose(handle_); }
  void* Symbol(const char* name) override { return ::dlsym(handle_, name); }

 private:
  void* handle_;
};

class PosixDynamicLibraries final : public DynamicLibraries {
 public:
  OsError Load(const std::string& path, std::unique_ptr<DynamicLibrary>* library) override {
    library->reset();
    void* handle = ::dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (handle == nullptr) return os_error::kModNotFound;
    *library = std::make_unique<PosixDynamicLibrary>(handle);
    return os_error::kSuccess;
  }
};

class PosixClock final : public Clock {
 public:
  uint64_t NowMicros() override {
    timespec ts;
    ::clock_gettime(CLOCK_MONOTONIC, &ts);
    return static_cast<uint64_t>(ts.tv_sec) * 1'000'000 + static_cast<uint64_t>(ts.tv_nsec) / 1000;
  }
  std::time_t Now() override { return std::time(nullptr); }
  std::tm LocalTime(std::time_t t) override {
    std::tm result{};
    ::localtime_r(&t, &result);
    return result;
  }
};

class PosixProcess final : public Process {
 public:
  bool GetEnvironmentVariable(const char* name, std::string* value) override {
    return ReadEnvironment(name, value);
  }
  int32_t InitializeCom() override { return 0; }  // no COM on POSIX
  void UninitializeCom() override {}
  uint32_t ProcessId() override { return static_cast<uint32_t>(::getpid()); }
  uint32_t ThreadId() override { return static_cast<uint32_t>(::syscall(SYS_gettid)); }
  void DebugOutput(std::string_view text) override {
    std::fwrite(text.data(), 1, text.size(), stderr);
  }
  void ShowWarning(std::string_view text) override {
    std::fprintf(stderr, "Warning: %.*s\n", static_cast<int>(text.size()), text.data());
  }
};

}  // namespace

Env& Env::Default() {
  static PosixFileSystem files;
  static RegistryFile registry(files);
  static PosixKnownFolders folders;
  static PosixDynamicLibraries libraries;
  static PosixSharedObjects shared;
  static PosixClock clock;
  static PosixProcess process;
  static Env env(files, registry, folders, libraries, shared, clock, process);
  return env;
}

}  // namespace q9
