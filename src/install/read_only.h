// Clearing of read-only flags in the store before an operation runs, so that
// merges and deletions are not refused by files a user or a package marked
// read-only.
#pragma once

#include <string>

#include "log/install_log.h"
#include "platform/env.h"
#include "platform/result_code.h"
#include "store/store_paths.h"

namespace q9 {

// Clears the read-only flag of every file below data, meta and Install, in
// that order; the first failing folder ends the walk with its code.
[[nodiscard]] ResultCode CheckAndRemoveReadOnlyFlagForAllXmls(FileSystem& files,
                                                              const StorePaths& paths,
                                                              InstallLog& log);
// Clears the read-only flag of every file below `directory` (folders keep
// theirs): 0, 87 for an empty path, or the OS error of the listing.
[[nodiscard]] ResultCode RemoveReadOnlyFlagForAllFilesIn(FileSystem& files,
                                                         const std::string& directory);

}  // namespace q9
