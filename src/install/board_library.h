// The board-control library: the closed library that turns the merged
// templates into log-device files and scans the installed boards. It is
// loaded through the Env the first time one of its calls is needed, once per
// run, and stays loaded until the run ends.
#pragma once

#include <memory>
#include <string>

#include "log/install_log.h"
#include "platform/env.h"
#include "platform/result_code.h"

namespace q9 {

inline constexpr char kBoardLibraryFileName[] = "libq9BrdCtl64x.so";
inline constexpr char kCreateAllLogdevicesSymbol[] = "PGSP_CreateAllLogdevicesBL";
inline constexpr char kScanSymbol[] = "PGSP_ScanBL";

class BoardLibrary {
 public:
  BoardLibrary(Env& env, InstallLog& log) : env_(env), log_(log) {}
  BoardLibrary(const BoardLibrary&) = delete;
  BoardLibrary& operator=(const BoardLibrary&) = delete;

  // Each returns the library's own code, 126 when the library cannot be
  // loaded or 127 when it lacks the symbol; the last two are written to the
  // install log with the file or symbol they concern.
  [[nodiscard]] ResultCode CreateAllLogdevices() { return Call(kCreateAllLogdevicesSymbol); }
  [[nodiscard]] ResultCode Scan() { return Call(kScanSymbol); }

  // Where the library is looked for: Q9_BOARD_LIBRARY when it is set and not
  // empty, else the executable's folder when the file is there, else the
  // bare file name for the loader's own search.
  static std::string Locate(Env& env);

 private:
  ResultCode Call(const char* symbol);
  ResultCode Load();

  Env& env_;
  InstallLog& log_;
  std::unique_ptr<DynamicLibrary> library_;
  std::string path_;
  bool load_tried_ = false;
  ResultCode load_result_ = PGSP_OK;
};

}  // namespace q9
