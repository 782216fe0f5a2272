#include "fault_injection_file_system.h"

#include <filesystem>

#include <gtest/gtest.h>

#include "platform/posix/file_system_posix.h"
#include "temp_dir.h"

namespace q9::testing {
namespace {

constexpr int kFiles = 5;

class FaultInjectionFileSystemTest : public ::testing::Test {
 protected:
  FaultInjectionFileSystemTest() : fs_(real_) {}

  // A file system user: copies src/0.xml .. src/4.xml to a fresh dst/ one by
  // one and stops at the first failure.
  OsError CopyAll(FileSystem& fs) {
    std::filesystem::remove_all(dir_.Path("dst"));
    dir_.MakeDir("dst");
    for (int i = 0; i < kFiles; ++i) {
      const std::string name = std::to_string(i) + ".xml";
      const OsError error = fs.CopyFile(dir_.Path("src/" + name), dir_.Path("dst/" + name), true);
      if (error != os_error::kSuccess) return error;
    }
    return os_error::kSuccess;
  }

  void MakeSources() {
    for (int i = 0; i < kFiles; ++i) {
      dir_.WriteFile("src/" + std::to_string(i) + ".xml", std::string(1000 + i, 'a' + i));
    }
  }

  // The names in dst/, each checked to be a complete copy.
  std::string CompleteCopies() {
    std::string names;
    for (int i = 0; i < kFiles; ++i) {
      const std::string name = std::to_string(i) + ".xml";
      if (!PathExists(dir_.Path("dst/" + name))) continue;
      EXPECT_EQ(ReadText(dir_.Path("dst/" + name)), ReadText(dir_.Path("src/" + name))) << name;
      names += name + " ";
    }
    return names;
  }

  TempDir dir_;
  PosixFileSystem real_;
  FaultInjectionFileSystem fs_;
};

TEST_F(FaultInjectionFileSystemTest, ACopyLoopFailsAtExactlyTheChosenOperation) {
  MakeSources();
  fs_.FailFrom(3, os_error::kDiskFull);
  EXPECT_EQ(CopyAll(fs_), os_error::kDiskFull);
  EXPECT_TRUE(fs_.fault_fired());
  EXPECT_EQ(fs_.mutating_operations(), 3u);
  EXPECT_EQ(CompleteCopies(), "0.xml 1.xml ");
}

// Loops the crash point over every mutating operation of the run: the files
// before it are complete copies, nothing at or after it was written.
TEST_F(FaultInjectionFileSystemTest, ACrashAtEveryPointLeavesOnlyCompleteFiles) {
  MakeSources();
  ASSERT_EQ(CopyAll(fs_), 0);
  ASSERT_EQ(fs_.mutating_operations(), static_cast<uint64_t>(kFiles));
  std::string expected;
  for (int n = 1; n <= kFiles; ++n) {
    FaultInjectionFileSystem fs(real_);
    fs.CrashFrom(n);
    ASSERT_EQ(CopyAll(fs), 0);
    EXPECT_TRUE(fs.fault_fired());
    EXPECT_EQ(CompleteCopies(), expected) << "crash at " << n;
    expected += std::to_string(n - 1) + ".xml ";
  }
}

TEST_F(FaultInjectionFileSystemTest, FailuresAreReportedAndLeaveEverythingUntouched) {
  const std::string file = dir_.WriteFile("keep/file.xml", "original");
  dir_.WriteFile("tree/inner.xml", "inner");
  fs_.FailFrom(1, os_error::kAccessDenied);
  std::unique_ptr<WritableFile> out;
  std::string contents;
  std::vector<DirEntry> entries;
  FileInfo info;
  // In call order: the eight mutating operations, then reads, which fail as
  // well once the fault has fired.
  const std::vector<OsError> results = {
      fs_.SetReadOnly(file, true),
      fs_.CreateDirectory(dir_.Path("new")),
      fs_.DeleteFile(file),
      fs_.CopyFile(file, dir_.Path("copy.xml"), false),
      fs_.CopyTree(dir_.Path("tree"), dir_.Path("tree2")),
      fs_.DeleteTree(dir_.Path("tree")),
      fs_.WriteFileAtomic(file, "changed"),
      fs_.OpenWritable(file, OpenMode::kTruncate, &out),
      fs_.ReadFile(file, &contents),
      fs_.ListDirectory(dir_.path(), &entries),
      fs_.GetFileInfo(file, &info),
  };
  EXPECT_EQ(results, std::vector<OsError>(results.size(), os_error::kAccessDenied));
  EXPECT_EQ(out, nullptr);
  EXPECT_EQ(fs_.mutating_operations(), 8u);

  EXPECT_EQ(ReadText(file), "original");
  EXPECT_NE(std::filesystem::status(file).permissions() & std::filesystem::perms::owner_write,
            std::filesystem::perms::none);
  EXPECT_EQ(ReadText(dir_.Path("tree/inner.xml")), "inner");
  EXPECT_FALSE(PathExists(dir_.Path("new")));
  EXPECT_FALSE(PathExists(dir_.Path("copy.xml")));
  EXPECT_FALSE(PathExists(dir_.Path("tree2")));
}

TEST_F(FaultInjectionFileSystemTest, WritesThroughAnOpenFileCountAndStopAtTheCrash) {
  const std::string log = dir_.Path("log.txt");
  std::unique_ptr<WritableFile> out;
  ASSERT_EQ(fs_.OpenWritable(log, OpenMode::kTruncate, &out), 0);
  ASSERT_EQ(out->Append("one\n"), 0);
  fs_.CrashFrom(3);
  EXPECT_EQ(out->Append("two\n"), 0);
  EXPECT_EQ(out->Close(), 0);
  EXPECT_EQ(fs_.mutating_operations(), 3u);
  EXPECT_EQ(ReadText(log), "one\n");
  // After the crash nothing new appears, but reads still see the disk.
  std::unique_ptr<WritableFile> late;
  ASSERT_EQ(fs_.OpenWritable(dir_.Path("late.txt"), OpenMode::kTruncate, &late), 0);
  EXPECT_EQ(late->Append("lost"), 0);
  EXPECT_FALSE(PathExists(dir_.Path("late.txt")));
  std::string contents;
  ASSERT_EQ(fs_.ReadFile(log, &contents), 0);
  EXPECT_EQ(contents, "one\n");
}

}  // namespace
}  // namespace q9::testing
