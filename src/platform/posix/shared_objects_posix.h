// Named shared objects on POSIX: shared-memory objects under /dev/shm,
// robust process-shared pthread mutexes, character devices and serial ports.
#pragma once

#include "platform/shared_objects.h"

namespace q9 {

class PosixSharedObjects : public SharedObjects {
 public:
  OsError MapSharedMemory(const std::string& name, size_t min_size, bool create,
                          std::unique_ptr<SharedMemory>* memory) override;
  OsError MapSharedMemoryReadOnly(const std::string& name,
                                  std::unique_ptr<SharedMemory>* memory) override;
  OsError RemoveSharedMemory(const std::string& name) override;
  // Objects are created with mode 0660; there is nothing to build.
  OsError PrepareTraceSecurity() override { return os_error::kSuccess; }
  void ReleaseTraceSecurity() override {}
  OsError InitSharedMutex(SharedMutexStorage* mutex) override;
  MutexLockResult LockSharedMutex(SharedMutexStorage* mutex) override;
  void UnlockSharedMutex(SharedMutexStorage* mutex) override;
  OsError OpenDevice(const std::string& path, std::unique_ptr<WritableFile>* device) override;
  OsError OpenSerialPort(const std::string& path, std::unique_ptr<WritableFile>* port) override;
};

}  // namespace q9
