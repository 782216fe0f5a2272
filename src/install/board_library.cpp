#include "install/board_library.h"

#include <cstdint>

#include "platform/path.h"
#include "trace/trace.h"

namespace q9 {
namespace {

constexpr TraceSite kSite{"Installer", "BoardLibrary: "};

using BoardCall = int32_t (*)();

}  // namespace

std::string BoardLibrary::Locate(Env& env) {
  std::string path;
  if (env.process().GetEnvironmentVariable("Q9_BOARD_LIBRARY", &path) && !path.empty()) {
    return path;
  }
  std::string folder;
  if (env.folders().ExecutableFolder(&folder)) {
    const std::string beside = JoinPath(folder, kBoardLibraryFileName);
    FileInfo info;
    if (env.files().GetFileInfo(beside, &info) == 0 && !info.is_directory) return beside;
  }
  return kBoardLibraryFileName;
}

ResultCode BoardLibrary::Load() {
  // A library that failed to load is not tried again: the run sees one answer.
  if (load_tried_) return load_result_;
  load_tried_ = true;
  path_ = Locate(env_);
  load_result_ = env_.libraries().Load(path_, &library_);
  if (load_result_ != PGSP_OK) {
    Q9_TRACE(kSite, trace_level::kProgress, "Can't load board library %s: %d", path_.c_str(),
             load_result_);
    log_.Write("Error: Can't load board library: ", path_);
  }
  return load_result_;
}

ResultCode BoardLibrary::Call(const char* symbol) {
  const ResultCode loaded = Load();
  if (loaded != PGSP_OK) return loaded;
  const auto call = reinterpret_cast<BoardCall>(library_->Symbol(symbol));
  if (call == nullptr) {
    Q9_TRACE(kSite, trace_level::kProgress, "Board library %s has no %s", path_.c_str(), symbol);
    log_.Write("Error: Board library ", path_, " has no function: ", symbol);
    return os_error::kProcNotFound;
  }
  return call();
}

}  // namespace q9
