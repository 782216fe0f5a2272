// Operating-system error numbers as the program reports them. Setup programs
// see the same numbers on every platform, so the POSIX build translates errno
// into the Windows values below.
#pragma once

#include <cstdint>

namespace q9 {

using OsError = int32_t;

namespace os_error {
inline constexpr OsError kSuccess = 0;
inline constexpr OsError kFileNotFound = 2;
inline constexpr OsError kPathNotFound = 3;
inline constexpr OsError kAccessDenied = 5;
inline constexpr OsError kNoMoreFiles = 18;
inline constexpr OsError kWriteProtect = 19;
inline constexpr OsError kGenFailure = 31;
inline constexpr OsError kSharingViolation = 32;
inline constexpr OsError kFileExists = 80;
inline constexpr OsError kInvalidParameter = 87;
inline constexpr OsError kDiskFull = 112;
inline constexpr OsError kModNotFound = 126;
inline constexpr OsError kProcNotFound = 127;
inline constexpr OsError kDirNotEmpty = 145;
inline constexpr OsError kAlreadyExists = 183;
inline constexpr OsError kFileTooLarge = 223;
inline constexpr OsError kFilenameTooLong = 206;
inline constexpr OsError kNotADirectory = 267;
inline constexpr OsError kNotSupported = 50;
inline constexpr OsError kIoDevice = 1117;
}  // namespace os_error

}  // namespace q9
