// What only the POSIX file system has: permission bits. The behaviour every
// FileSystem shares is in file_system_contract_test.cpp.
#include "platform/posix/file_system_posix.h"

#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>

#include <gtest/gtest.h>

#include "temp_dir.h"

namespace q9 {
namespace {

using testing::ReadText;
using testing::TempDir;

mode_t Mode(const std::string& path) {
  struct stat st;
  return ::stat(path.c_str(), &st) == 0 ? (st.st_mode & 07777) : 0;
}

class PosixFileSystemTest : public ::testing::Test {
 protected:
  TempDir dir_;
  PosixFileSystem fs_;
};

TEST_F(PosixFileSystemTest, ReadOnlyFlagIsTheOwnerWriteBitAlone) {
  const std::string file = dir_.WriteFile("f.xml", "x");
  ::chmod(file.c_str(), 0664);
  ASSERT_EQ(fs_.SetReadOnly(file, true), 0);
  EXPECT_EQ(Mode(file), 0464u);  // group write untouched
  ::chmod(file.c_str(), 0404);
  ASSERT_EQ(fs_.SetReadOnly(file, false), 0);
  EXPECT_EQ(Mode(file), 0604u);  // nothing but u+w added
}

TEST_F(PosixFileSystemTest, AtomicWriteKeepsTheFileMode) {
  const std::string file = dir_.WriteFile("t.xml", "old");
  ::chmod(file.c_str(), 0640);
  ASSERT_EQ(fs_.WriteFileAtomic(file, "new"), 0);
  EXPECT_EQ(ReadText(file), "new");
  EXPECT_EQ(Mode(file), 0640u);
}

TEST_F(PosixFileSystemTest, FailedAtomicWriteInALockedFolderLeavesTheOldFile) {
  if (::geteuid() == 0) GTEST_SKIP() << "root writes into read-only folders anyway";
  const std::string file = dir_.WriteFile("ro/t.xml", "old");
  ::chmod(dir_.Path("ro").c_str(), 0555);
  EXPECT_EQ(fs_.WriteFileAtomic(file, "new"), 5);
  ::chmod(dir_.Path("ro").c_str(), 0755);
  EXPECT_EQ(ReadText(file), "old");
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(dir_.Path("ro")),
                          std::filesystem::directory_iterator()),
            1);
}

}  // namespace
}  // namespace q9
