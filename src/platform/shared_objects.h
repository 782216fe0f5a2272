// Named objects shared between processes of the communication stack (the
// trace section with its mutex, the shared-memory trace output) and the
// character devices the trace facility writes to.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

#include "platform/env.h"
#include "platform/os_error.h"

namespace q9 {

enum class ObjectLock { kShared, kExclusive };

// A mapping of a named shared-memory object; unmapped when destroyed. The
// object itself stays until it is removed.
class SharedMemory {
 public:
  virtual ~SharedMemory() = default;
  // Read-only mappings fault on writes.
  virtual void* address() = 0;
  virtual size_t size() const = 0;
  // Tells objects apart: a name removed and made again names another one.
  virtual uint64_t object_id() const = 0;

  // Takes, or converts to `kind`, an advisory lock on the object held
  // through this mapping until it is unlocked or unmapped: shared locks
  // coexist, an exclusive one excludes every other. The system drops the
  // lock of a process that dies. With `wait` a conflicting lock is waited
  // for up to 2 s; 32 (sharing violation) when it stays. A conversion may let
  // another holder in between.
  [[nodiscard]] virtual OsError LockObject(ObjectLock kind, bool wait) = 0;
  virtual void UnlockObject() = 0;
};

// Room for a process-shared mutex inside shared memory. The platform's mutex
// type must fit; the POSIX implementation checks that at compile time.
struct alignas(16) SharedMutexStorage {
  unsigned char bytes[64];
};

enum class MutexLockResult {
  kLocked,     // the caller owns the mutex
  kRecovered,  // owned, after its previous owner died holding it
  kFailed,     // not owned
};

class SharedObjects {
 public:
  virtual ~SharedObjects() = default;

  // Builds the security identifiers that guard the shared trace objects;
  // returns 0 or the last-error value.
  [[nodiscard]] virtual OsError PrepareTraceSecurity() = 0;
  // Frees what PrepareTraceSecurity built.
  virtual void ReleaseTraceSecurity() = 0;

  // Opens the shared-memory object `name` ("/NAME"), creating it with mode
  // 0660 when `create` is set and it is missing, grows it to at least
  // `min_size` bytes and maps all of it. With `min_size` 0 the object must
  // exist and be non-empty. Fresh objects read as zeros.
  [[nodiscard]] virtual OsError MapSharedMemory(const std::string& name, size_t min_size,
                                                bool create,
                                                std::unique_ptr<SharedMemory>* memory) = 0;
  // Maps the existing, non-empty object `name` for reading only, so a
  // process without write access can follow it.
  [[nodiscard]] virtual OsError MapSharedMemoryReadOnly(const std::string& name,
                                                        std::unique_ptr<SharedMemory>* memory) = 0;
  // Removes the name; mappings stay valid until they are released.
  virtual OsError RemoveSharedMemory(const std::string& name) = 0;

  // Initialises a process-shared mutex that survives its owner's death.
  [[nodiscard]] virtual OsError InitSharedMutex(SharedMutexStorage* mutex) = 0;
  virtual MutexLockResult LockSharedMutex(SharedMutexStorage* mutex) = 0;
  virtual void UnlockSharedMutex(SharedMutexStorage* mutex) = 0;

  // Opens a character device for writing without creating it; writes never
  // block (a record the device cannot take now is lost). A device whose
  // driver does not take requests reports 50 (not supported).
  [[nodiscard]] virtual OsError OpenDevice(const std::string& path,
                                           std::unique_ptr<WritableFile>* device) = 0;
  // Opens a serial port for writing at 9600 baud, 8 data bits, no parity,
  // one stop bit, writes never blocking. Something that is not a terminal is
  // written as it is.
  [[nodiscard]] virtual OsError OpenSerialPort(const std::string& path,
                                               std::unique_ptr<WritableFile>* port) = 0;
};

}  // namespace q9
