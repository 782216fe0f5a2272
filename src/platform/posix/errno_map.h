// Translation of errno values into the Windows error numbers the program reports.
#pragma once

#include <string>

#include "platform/os_error.h"

namespace q9 {

// The Windows number for `err`. ENOENT becomes 3 instead of 2 when the folder
// that should hold `path` is missing too. Unlisted values become 31.
OsError OsErrorFromErrno(int err, const std::string& path = std::string());

}  // namespace q9
