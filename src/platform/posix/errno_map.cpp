#include "platform/posix/errno_map.h"

#include <cerrno>
#include <cstring>
#include <sys/stat.h>

#include <utility>

#include "platform/path.h"

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
    case ENOTDIR: return os_error::kNotADirectory;
    case EINVAL: return os_error::kInvalidParameter;
    case EIO: return os_error::kIoDevice;
    default: return os_error::kGenFailure;
  }
}

OsError FailureNotes::FromErrno(int err, const std::string& path) {
  const OsError error = OsErrorFromErrno(err, path);
  // No Windows number fits; keep what the system said for the developers.
  if (error == os_error::kGenFailure) {
    Add({FailureNote::Kind::kUnmappedError, err, std::strerror(err)});
  }
  return error;
}

void FailureNotes::LinkNotFollowed(const std::string& link) {
  Add({FailureNote::Kind::kLinkNotFollowed, 0, link});
}

void FailureNotes::Add(FailureNote note) {
  const std::lock_guard<std::mutex> lock(mutex_);
  if (notes_.size() < kMaxKept) notes_.push_back(std::move(note));
  any_.store(true, std::memory_order_relaxed);
}

std::vector<FailureNote> FailureNotes::Take() {
  if (!any_.load(std::memory_order_relaxed)) return {};
  const std::lock_guard<std::mutex> lock(mutex_);
  any_.store(false, std::memory_order_relaxed);
  return std::exchange(notes_, {});
}

}  // namespace q9
