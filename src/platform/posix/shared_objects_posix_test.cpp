#include "platform/posix/shared_objects_posix.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstring>

#include "temp_dir.h"

namespace q9 {
namespace {

class PosixSharedObjectsTest : public ::testing::Test {
 protected:
  ~PosixSharedObjectsTest() override { (void)shared_.RemoveSharedMemory(name_); }

  PosixSharedObjects shared_;
  const std::string name_ = "/q9test-objects-" + std::to_string(::getpid());
};

TEST_F(PosixSharedObjectsTest, CreatesZeroedGroupObjectsNeverShrinksThemAndRemovesOnlyWhatItMade) {
  const mode_t old_mask = ::umask(077);
  std::unique_ptr<SharedMemory> first;
  const OsError created = shared_.MapSharedMemory(name_, 8192, true, &first);
  ::umask(old_mask);
  ASSERT_EQ(created, 0);
  ASSERT_EQ(first->size(), 8192u);
  EXPECT_EQ(static_cast<unsigned char*>(first->address())[8191], 0);
  struct stat st;
  ASSERT_EQ(::stat(("/dev/shm" + name_).c_str(), &st), 0);
  EXPECT_EQ(st.st_mode & 0777, 0660u);

  std::strcpy(static_cast<char*>(first->address()), "shared");
  std::unique_ptr<SharedMemory> smaller;
  ASSERT_EQ(shared_.MapSharedMemory(name_, 100, true, &smaller), 0);
  EXPECT_EQ(smaller->size(), 8192u);
  EXPECT_STREQ(static_cast<char*>(smaller->address()), "shared");
  std::unique_ptr<SharedMemory> existing;
  ASSERT_EQ(shared_.MapSharedMemory(name_, 0, false, &existing), 0);
  EXPECT_EQ(existing->size(), 8192u);

  ASSERT_EQ(shared_.RemoveSharedMemory(name_), 0);
  EXPECT_EQ(shared_.MapSharedMemory(name_, 0, false, &existing), 2);
  EXPECT_EQ(existing, nullptr);

  // No size fits in an off_t this large, so growing fails without using
  // memory; the object is removed only when this call made it.
  EXPECT_NE(shared_.MapSharedMemory(name_, SIZE_MAX, true, &existing), 0);
  EXPECT_FALSE(testing::PathExists("/dev/shm" + name_));
  ASSERT_EQ(shared_.MapSharedMemory(name_, 100, true, &existing), 0);
  EXPECT_NE(shared_.MapSharedMemory(name_, SIZE_MAX, true, &existing), 0);
  EXPECT_TRUE(testing::PathExists("/dev/shm" + name_));
}

// Locks belong to each mapping, not to the process: the trace section counts
// its users, several of them in one test process, this way.
TEST_F(PosixSharedObjectsTest, ObjectLocksExcludeOtherMappingsUntilReleased) {
  std::unique_ptr<SharedMemory> first;
  std::unique_ptr<SharedMemory> second;
  ASSERT_EQ(shared_.MapSharedMemory(name_, 64, true, &first), 0);
  ASSERT_EQ(shared_.MapSharedMemoryReadOnly(name_, &second), 0);
  EXPECT_EQ(first->object_id(), second->object_id());
  ASSERT_EQ(first->LockObject(ObjectLock::kShared, false), 0);
  EXPECT_EQ(second->LockObject(ObjectLock::kExclusive, false), 32);
  EXPECT_EQ(second->LockObject(ObjectLock::kShared, false), 0);
  EXPECT_EQ(first->LockObject(ObjectLock::kExclusive, false), 32);
  second->UnlockObject();
  EXPECT_EQ(first->LockObject(ObjectLock::kExclusive, false), 0);
  first.reset();
  EXPECT_EQ(second->LockObject(ObjectLock::kExclusive, false), 0);
}

TEST_F(PosixSharedObjectsTest, DevicesReportWhyTheyCannotBeOpened) {
  testing::TempDir dir;
  std::unique_ptr<WritableFile> device;
  EXPECT_EQ(shared_.OpenDevice(dir.Path("missing"), &device), 2);
  // A pipe without a reader takes no requests, like a device without driver.
  const std::string fifo = dir.Path("fifo");
  ASSERT_EQ(::mkfifo(fifo.c_str(), 0600), 0);
  EXPECT_EQ(shared_.OpenDevice(fifo, &device), 50);
  EXPECT_EQ(device, nullptr);

  const std::string plain = dir.WriteFile("port", "");
  std::unique_ptr<WritableFile> port;
  ASSERT_EQ(shared_.OpenSerialPort(plain, &port), 0);
  EXPECT_EQ(port->Append("record\n"), 0);
  EXPECT_EQ(port->Close(), 0);
  EXPECT_EQ(testing::ReadText(plain), "record\n");
  EXPECT_EQ(shared_.OpenSerialPort(dir.Path("missing"), &port), 2);
}

}  // namespace
}  // namespace q9
