#include "trace/tracing_file_system.h"

#include <filesystem>

#include <gtest/gtest.h>

#include "platform/posix/file_system_posix.h"
#include "temp_dir.h"
#include "trace_capture.h"

namespace q9 {
namespace {

TEST(TracingFileSystemTest, TracesWhatThePlatformNotedWithTheCall) {
  testing::TempDir dir;
  dir.WriteFile("outside/x.xml", "outside");
  dir.MakeDir("store");
  std::filesystem::create_directory_symlink(dir.Path("outside"), dir.Path("store/meta"));
  std::filesystem::create_symlink(dir.Path("loop"), dir.Path("loop"));
  PosixFileSystem posix;
  posix.ConfineLinksBelow({dir.Path("store")});
  TracingFileSystem files(posix);
  testing::TraceCapture trace;

  std::string text;
  EXPECT_EQ(files.ReadFile(dir.Path("store/meta/x.xml"), &text), 5);
  EXPECT_TRUE(trace.Has("Env", "FileSystem: ", 64,
                        "Symbolic link not followed: " + dir.Path("store/meta")));
  std::unique_ptr<SequentialFile> file;
  EXPECT_EQ(files.OpenSequential(dir.Path("loop"), &file), 31);
  const std::vector<std::string> unmapped = trace.Messages("OsErrorFromErrno: ");
  ASSERT_EQ(unmapped.size(), 1u);
  EXPECT_TRUE(unmapped[0].starts_with("errno ")) << unmapped[0];
  EXPECT_TRUE(unmapped[0].ends_with(") reported as 31")) << unmapped[0];
}

}  // namespace
}  // namespace q9
