#include "trace/file_trace_output.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "temp_dir.h"

namespace q9 {
namespace {

using testing::ReadText;
using namespace std::chrono_literals;

class FileTraceOutputTest : public ::testing::Test {
 protected:
  std::string File(int index) const { return TraceFileName(dir_.Path("trace"), index); }
  void WriteFile(int index, const std::string& text, int age_seconds) {
    dir_.WriteFile("trace" + std::to_string(index) + ".TRC", text);
    std::filesystem::last_write_time(File(index), now_ - std::chrono::seconds(age_seconds));
  }
  std::unique_ptr<FileTraceOutput> Open(uint64_t max_bytes = 1000) {
    auto output = std::make_unique<FileTraceOutput>(Env::Default().files(), dir_.Path("trace"),
                                                    max_bytes, &state_);
    output->ChooseCurrentFile();
    return output;
  }

  testing::TempDir dir_;
  TraceFileState state_;
  const std::filesystem::file_time_type now_ = std::filesystem::file_time_type::clock::now();
};

TEST_F(FileTraceOutputTest, ChoosesTheFileToContinueByModificationTime) {
  auto output = Open();
  EXPECT_FALSE(testing::PathExists(File(1)));  // nothing before the first record
  output->Write(8, "a\n");
  EXPECT_EQ(ReadText(File(1)), "a\n");
  EXPECT_FALSE(testing::PathExists(File(2)));

  std::filesystem::remove(File(1));
  WriteFile(2, "only\n", 100);
  Open()->Write(8, "b\n");
  EXPECT_EQ(ReadText(File(2)), "only\nb\n");

  state_ = TraceFileState{};  // no writer at work: the times decide
  WriteFile(1, "one\n", 5);
  WriteFile(2, "two\n", 10);
  Open()->Write(8, "c\n");
  EXPECT_EQ(ReadText(File(1)), "one\nc\n");

  state_ = TraceFileState{};
  WriteFile(1, "one\n", 7);
  WriteFile(2, "two\n", 7);
  Open()->Write(8, "d\n");
  EXPECT_EQ(ReadText(File(1)), "one\nd\n");
}

TEST_F(FileTraceOutputTest, WritersShareTheCurrentFileAndSwitchTogetherToTheOtherOneEmptied) {
  WriteFile(2, "stale\n", 100);
  WriteFile(1, "", 50);
  auto first = Open(10);
  auto second = Open(10);
  first->Write(8, "1111\n");
  second->Write(8, "2222\n");  // exactly 10 bytes: still file 1
  first->Write(8, "3333\n");
  second->Write(8, "4444\n");
  EXPECT_EQ(ReadText(File(1)), "1111\n2222\n");
  EXPECT_EQ(ReadText(File(2)), "3333\n4444\n");

  // A writer opened now joins file 2, though equal times would choose file 1.
  for (int index : {1, 2}) std::filesystem::last_write_time(File(index), now_ - 3s);
  Open(100)->Write(8, "b\n");
  EXPECT_EQ(ReadText(File(2)), "3333\n4444\nb\n");
  first->Write(8, "5555\n");
  EXPECT_EQ(ReadText(File(1)), "5555\n");
  // Once the file no longer matches, the modification times decide again.
  WriteFile(1, "changed\n", 3);
  std::filesystem::last_write_time(File(2), now_ - 1s);
  Open(100)->Write(8, "c\n");
  EXPECT_EQ(ReadText(File(2)), "3333\n4444\nb\nc\n");
}

}  // namespace
}  // namespace q9
