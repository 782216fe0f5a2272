#include "platform/posix/shared_objects_posix.h"

#include <fcntl.h>
#include <pthread.h>
#include <sys/file.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <termios.h>
#include <time.h>
#include <unistd.h>

#include <cerrno>

#include "platform/posix/errno_map.h"

namespace q9 {
namespace {

static_assert(sizeof(pthread_mutex_t) <= sizeof(SharedMutexStorage));
static_assert(alignof(pthread_mutex_t) <= alignof(SharedMutexStorage));

// A writer that holds the mutex (or an object's lock) longer than this is
// taken to be stuck; the record is dropped rather than the tool hung.
constexpr time_t kLockTimeoutSeconds = 2;

pthread_mutex_t* AsMutex(SharedMutexStorage* storage) {
  return reinterpret_cast<pthread_mutex_t*>(storage->bytes);
}

class FdCloser {
 public:
  explicit FdCloser(int fd) : fd_(fd) {}
  FdCloser(const FdCloser&) = delete;
  FdCloser& operator=(const FdCloser&) = delete;
  ~FdCloser() {
    if (fd_ >= 0) ::close(fd_);
  }
  int get() const { return fd_; }
  int Release() {
    const int fd = fd_;
    fd_ = -1;
    return fd;
  }

 private:
  int fd_;
};

timespec DeadlineAfter(time_t seconds) {
  timespec deadline;
  ::clock_gettime(CLOCK_MONOTONIC, &deadline);
  deadline.tv_sec += seconds;
  return deadline;
}

bool IsPast(const timespec& deadline) {
  timespec now;
  ::clock_gettime(CLOCK_MONOTONIC, &now);
  return now.tv_sec > deadline.tv_sec ||
         (now.tv_sec == deadline.tv_sec && now.tv_nsec >= deadline.tv_nsec);
}

// Keeps its descriptor: the object's lock belongs to it.
class PosixSharedMemory final : public SharedMemory {
 public:
  PosixSharedMemory(int fd, void* address, size_t size, uint64_t object_id)
      : fd_(fd), address_(address), size_(size), object_id_(object_id) {}
  PosixSharedMemory(const PosixSharedMemory&) = delete;
  PosixSharedMemory& operator=(const PosixSharedMemory&) = delete;
  ~PosixSharedMemory() override { ::munmap(address_, size_); }
  void* address() override { return address_; }
  size_t size() const override { return size_; }
  uint64_t object_id() const override { return object_id_; }

  OsError LockObject(ObjectLock kind, bool wait) override {
    const int operation = (kind == ObjectLock::kShared ? LOCK_SH : LOCK_EX) | LOCK_NB;
    const timespec deadline = DeadlineAfter(kLockTimeoutSeconds);
    for (;;) {
      if (::flock(fd_.get(), operation) == 0) return os_error::kSuccess;
      if (errno == EINTR) continue;
      if (errno != EWOULDBLOCK) return OsErrorFromErrno(errno);
      if (!wait || IsPast(deadline)) return os_error::kSharingViolation;
      const timespec pause{0, 1'000'000};
      ::nanosleep(&pause, nullptr);
    }
  }
  void UnlockObject() override { ::flock(fd_.get(), LOCK_UN); }

 private:
  FdCloser fd_;
  void* address_;
  size_t size_;
  uint64_t object_id_;
};

// Grows the object without ever shrinking it, so two processes that ask for
// different sizes at once cannot cut a mapping short under each other.
int GrowTo(int fd, size_t size) {
  const int rc = ::posix_fallocate(fd, 0, static_cast<off_t>(size));
  if (rc == 0) return 0;
  if (rc != EOPNOTSUPP && rc != EINVAL) return rc;
  struct stat st;
  if (::fstat(fd, &st) != 0) return errno;
  if (static_cast<size_t>(st.st_size) >= size) return 0;
  return ::ftruncate(fd, static_cast<off_t>(size)) == 0 ? 0 : errno;
}

// `*created` tells whether this call made the object.
int OpenOrCreate(const std::string& name, bool create, bool* created) {
  *created = false;
  if (!create) return ::shm_open(name.c_str(), O_RDWR | O_CLOEXEC, 0);
  int fd = ::shm_open(name.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0660);
  if (fd >= 0) {
    *created = true;
    // The umask must not take the group's access away.
    ::fchmod(fd, 0660);
    return fd;
  }
  if (errno != EEXIST) return -1;
  return ::shm_open(name.c_str(), O_RDWR | O_CLOEXEC, 0);
}

// Maps all of the object open on `fd`, which the mapping then owns.
OsError MapAll(int fd, int protection, std::unique_ptr<SharedMemory>* memory) {
  FdCloser owned(fd);
  struct stat st;
  if (::fstat(fd, &st) != 0) return OsErrorFromErrno(errno);
  const size_t size = static_cast<size_t>(st.st_size);
  if (size == 0) return os_error::kFileNotFound;
  void* address = ::mmap(nullptr, size, protection, MAP_SHARED, fd, 0);
  if (address == MAP_FAILED) return OsErrorFromErrno(errno);
  *memory = std::make_unique<PosixSharedMemory>(owned.Release(), address, size,
                                                static_cast<uint64_t>(st.st_ino));
  return os_error::kSuccess;
}

OsError DeviceOpenError(int err, const std::string& path) {
  switch (err) {
    case ENXIO:
    case ENODEV:
    case ENOTTY:
    case EOPNOTSUPP: return os_error::kNotSupported;
    default: return OsErrorFromErrno(err, path);
  }
}

// Writes without blocking: a device that cannot take a record now loses it,
// and the tool goes on.
class PosixDeviceFile final : public WritableFile {
 public:
  explicit PosixDeviceFile(int fd) : fd_(fd) {}
  OsError Append(std::string_view data) override {
    while (!data.empty()) {
      const ssize_t n = ::write(fd_.get(), data.data(), data.size());
      if (n < 0) {
        if (errno == EINTR) continue;
        return OsErrorFromErrno(errno);
      }
      data.remove_prefix(static_cast<size_t>(n));
    }
    return os_error::kSuccess;
  }
  OsError Flush() override { return os_error::kSuccess; }
  OsError Close() override {
    const int fd = fd_.Release();
    return fd < 0 || ::close(fd) == 0 ? os_error::kSuccess : OsErrorFromErrno(errno);
  }

 private:
  FdCloser fd_;
};

void SetSerialLine(int fd) {
  termios tio;
  if (::isatty(fd) == 0 || ::tcgetattr(fd, &tio) != 0) return;
  ::cfmakeraw(&tio);
  tio.c_cflag &= ~static_cast<tcflag_t>(PARENB | CSTOPB | CSIZE | CRTSCTS);
  tio.c_cflag |= CS8 | CLOCAL | CREAD;
  ::cfsetispeed(&tio, B9600);
  ::cfsetospeed(&tio, B9600);
  ::tcsetattr(fd, TCSANOW, &tio);
}

}  // namespace

OsError PosixSharedObjects::MapSharedMemory(const std::string& name, size_t min_size, bool create,
                                            std::unique_ptr<SharedMemory>* memory) {
  memory->reset();
  bool created = false;
  FdCloser fd(OpenOrCreate(name, create, &created));
  if (fd.get() < 0) return OsErrorFromErrno(errno);
  if (min_size > 0) {
    const int rc = GrowTo(fd.get(), min_size);
    if (rc != 0) {
      // An empty object would only be in the way of the next attempt.
      if (created) ::shm_unlink(name.c_str());
      return OsErrorFromErrno(rc);
    }
  }
  return MapAll(fd.Release(), PROT_READ | PROT_WRITE, memory);
}

OsError PosixSharedObjects::MapSharedMemoryReadOnly(const std::string& name,
                                                    std::unique_ptr<SharedMemory>* memory) {
  memory->reset();
  const int fd = ::shm_open(name.c_str(), O_RDONLY | O_CLOEXEC, 0);
  if (fd < 0) return OsErrorFromErrno(errno);
  return MapAll(fd, PROT_READ, memory);
}

OsError PosixSharedObjects::RemoveSharedMemory(const std::string& name) {
  return ::shm_unlink(name.c_str()) == 0 ? os_error::kSuccess : OsErrorFromErrno(errno);
}

OsError PosixSharedObjects::InitSharedMutex(SharedMutexStorage* mutex) {
  pthread_mutexattr_t attr;
  int rc = ::pthread_mutexattr_init(&attr);
  if (rc != 0) return OsErrorFromErrno(rc);
  rc = ::pthread_mutexattr_setpshared(&attr, PTHREAD_PROCESS_SHARED);
  if (rc == 0) rc = ::pthread_mutexattr_setrobust(&attr, PTHREAD_MUTEX_ROBUST);
  if (rc == 0) rc = ::pthread_mutex_init(AsMutex(mutex), &attr);
  ::pthread_mutexattr_destroy(&attr);
  return OsErrorFromErrno(rc);
}

MutexLockResult PosixSharedObjects::LockSharedMutex(SharedMutexStorage* mutex) {
  // The deadline costs a clock read; most locks are free and need none.
  int rc = ::pthread_mutex_trylock(AsMutex(mutex));
  if (rc == EBUSY) {
    const timespec deadline = DeadlineAfter(kLockTimeoutSeconds);
    rc = ::pthread_mutex_clocklock(AsMutex(mutex), CLOCK_MONOTONIC, &deadline);
  }
  if (rc == 0) return MutexLockResult::kLocked;
  if (rc == EOWNERDEAD) {
    // The previous owner died inside its critical section; what it guarded
    // is whole records only, so the state is usable as it stands.
    ::pthread_mutex_consistent(AsMutex(mutex));
    return MutexLockResult::kRecovered;
  }
  return MutexLockResult::kFailed;
}

void PosixSharedObjects::UnlockSharedMutex(SharedMutexStorage* mutex) {
  ::pthread_mutex_unlock(AsMutex(mutex));
}

OsError PosixSharedObjects::OpenDevice(const std::string& path,
                                       std::unique_ptr<WritableFile>* device) {
  device->reset();
  const int fd = ::open(path.c_str(), O_WRONLY | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
  if (fd < 0) return DeviceOpenError(errno, path);
  *device = std::make_unique<PosixDeviceFile>(fd);
  return os_error::kSuccess;
}

OsError PosixSharedObjects::OpenSerialPort(const std::string& path,
                                           std::unique_ptr<WritableFile>* port) {
  port->reset();
  const int fd = ::open(path.c_str(), O_WRONLY | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
  if (fd < 0) return OsErrorFromErrno(errno, path);
  SetSerialLine(fd);
  *port = std::make_unique<PosixDeviceFile>(fd);
  return os_error::kSuccess;
}

}  // namespace q9
