#include "platform/posix/errno_map.h"

#include <cerrno>
#include <cstring>
#include <sys/stat.h>

#include "platform/path.h"
#include "trace/trace.h"

namespace q9 {
namespace {

bool ParentFolderExists(const std::string& path) {
  const std::string parent(ParentPath(path));
  if (parent.empty()) return true;
  struct stat st;
  return ::stat(parent.c_str(), &st) == 0 && S_ISDIR(st.st_mode);
}

}  // namespace

OsError OsErrorFromErrno(int err, const std::string& path) {
  switch (err) {
    case 0: return os_error::kSuccess;
    case ENOENT:
      return ParentFolderExists(path) ? os_error::kFileNotFound : os_error::kPathNotFound;
    case EACCES:
    case EPERM: return os_error::kAccessDenied;
    case EEXIST: return os_error::kAlreadyExists;
    case ENOTEMPTY: return os_error::kDirNotEmpty;
    case ENOSPC: return os_error::kDiskFull;
    case EROFS: return os_error::kWriteProtect;
    case EBUSY:
    case ETXTBSY: return os_error::kSharingViolation;
    case ENAMETOOLONG: return os_error::kFilenameTooLong;
    case ENOTDIR: return os_error::kDirectory;
    case EINVAL: return os_error::kInvalidParameter;
    case EIO: return os_error::kIoDevice;
    default: {
      // No Windows number fits; keep what the system said for the developers.
      static constexpr TraceSite kSite{"Env", "OsErrorFromErrno: "};
      Q9_TRACE(kSite, 64, "errno %d (%s) reported as %d", err, std::strerror(err),
               os_error::kGenFailure);
      return os_error::kGenFailure;
    }
  }
}

}  // namespace q9
