#include "fault_injection_file_system.h"

#include <gtest/gtest.h>

#include "platform/posix/file_system_posix.h"
#include "temp_dir.h"

namespace q9::testing {
namespace {

// The tests that use the double see a broken disk, and the changes asked for,
// only through it: here every call must fail, reads included, be counted
// when it would change something, and change nothing on the disk.
TEST(FaultInjectionFileSystemTest, FailuresAreReportedAndLeaveEverythingUntouched) {
  TempDir dir;
  PosixFileSystem real;
  FaultInjectionFileSystem fs(real);
  const std::string file = dir.WriteFile("keep/file.xml", "original");
  dir.WriteFile("tree/inner.xml", "inner");
  const auto before = Snapshot(dir.path());
  fs.FailAll(os_error::kAccessDenied);
  std::unique_ptr<WritableFile> out;
  std::string contents;
  std::vector<DirEntry> entries;
  FileInfo info;
  // In call order: the eight mutating operations, then reads.
  const std::vector<OsError> results = {
      fs.SetReadOnly(file, true),
      fs.CreateDirectory(dir.Path("new")),
      fs.DeleteFile(file),
      fs.CopyFile(file, dir.Path("copy.xml"), false),
      fs.CopyTree(dir.Path("tree"), dir.Path("tree2")),
      fs.DeleteTree(dir.Path("tree")),
      fs.WriteFileAtomic(file, "changed"),
      fs.OpenWritable(file, OpenMode::kTruncate, &out),
      fs.ReadFile(file, &contents),
      fs.ListDirectory(dir.path(), &entries),
      fs.GetFileInfo(file, &info),
  };
  EXPECT_EQ(results, std::vector<OsError>(results.size(), os_error::kAccessDenied));
  EXPECT_EQ(out, nullptr);
  EXPECT_EQ(fs.mutating_operations(), 8u);
  EXPECT_EQ(Snapshot(dir.path()), before);
}

}  // namespace
}  // namespace q9::testing
