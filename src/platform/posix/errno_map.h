// Translation of errno values into the Windows error numbers the program reports.
#pragma once

#include <atomic>
#include <mutex>
#include <string>
#include <vector>

#include "platform/env.h"
#include "platform/os_error.h"

namespace q9 {

// The Windows number for `err`. ENOENT becomes 3 instead of 2 when the folder
// that should hold `path` is missing too. Unlisted values become 31.
OsError OsErrorFromErrno(int err, const std::string& path = std::string());

// What a file system noted for its caller (see FailureNote). Shared by the
// file system and the files it opens; safe to use from several threads.
class FailureNotes {
 public:
  // OsErrorFromErrno, noting the errno value and its text when it becomes 31.
  OsError FromErrno(int err, const std::string& path = std::string());
  void LinkNotFollowed(const std::string& link);
  std::vector<FailureNote> Take();

 private:
  // Nobody may take them for a while (code that reads past the tracing
  // layer); the first ones are the ones that explain.
  static constexpr size_t kMaxKept = 64;
  void Add(FailureNote note);

  std::mutex mutex_;
  std::vector<FailureNote> notes_;
  // Lets the take after every call of the program skip the lock when, as
  // nearly always, nothing was noted.
  std::atomic<bool> any_{false};
};

}  // namespace q9
