#include "trace/file_trace_output.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "temp_dir.h"

namespace q9 {
namespace {

using testing::ReadText;
using testing::TempDir;

class FileTraceOutputTest : public ::testing::Test {
 protected:
  std::string File(int index) const { return TraceFileName(dir_.Path("trace"), index); }
  void WriteFile(int index, const std::string& text, int age_seconds) {
    dir_.WriteFile("trace" + std::to_string(index) + ".TRC", text);
    std::filesystem::last_write_time(File(index), base_time_ - std::chrono::seconds(age_seconds));
  }
  std::unique_ptr<FileTraceOutput> Open(uint64_t max_bytes = 1000) {
    auto output = std::make_unique<FileTraceOutput>(Env::Default().files(), dir_.Path("trace"),
                                                    max_bytes, &state_);
    output->ChooseCurrentFile();
    return output;
  }

  TempDir dir_;
  TraceFileState state_;
  const std::filesystem::file_time_type base_time_ = std::filesystem::file_time_type::clock::now();
};

TEST_F(FileTraceOutputTest, NamesTheTwoFiles) {
  EXPECT_EQ(TraceFileName("/tmp/Q9FILE", 1), "/tmp/Q9FILE1.TRC");
  EXPECT_EQ(TraceFileName("/tmp/cfgimp", 2), "/tmp/cfgimp2.TRC");
}

TEST_F(FileTraceOutputTest, StartsWithFileOneWhenNeitherExistsAndCreatesNothingBeforeARecord) {
  auto output = Open();
  EXPECT_FALSE(testing::PathExists(File(1)));
  output->Write(8, "a\n");
  EXPECT_EQ(ReadText(File(1)), "a\n");
  EXPECT_FALSE(testing::PathExists(File(2)));
}

TEST_F(FileTraceOutputTest, ContinuesTheOnlyFileThatExists) {
  WriteFile(2, "old\n", 100);
  Open()->Write(8, "new\n");
  EXPECT_EQ(ReadText(File(2)), "old\nnew\n");
  EXPECT_FALSE(testing::PathExists(File(1)));
}

TEST_F(FileTraceOutputTest, ContinuesTheFileModifiedLastAndFileOneOnEqualTimes) {
  WriteFile(1, "one\n", 50);
  WriteFile(2, "two\n", 10);
  Open()->Write(8, "x\n");
  EXPECT_EQ(ReadText(File(2)), "two\nx\n");

  WriteFile(1, "one\n", 5);
  WriteFile(2, "two\n", 10);
  Open()->Write(8, "y\n");
  EXPECT_EQ(ReadText(File(1)), "one\ny\n");

  WriteFile(1, "one\n", 7);
  WriteFile(2, "two\n", 7);
  Open()->Write(8, "z\n");
  EXPECT_EQ(ReadText(File(1)), "one\nz\n");
  EXPECT_EQ(ReadText(File(2)), "two\n");
}

TEST_F(FileTraceOutputTest, JoinsTheFileOfAWriterAlreadyAtWork) {
  auto running = Open(10);
  running->Write(8, "a111\n");
  running->Write(8, "a222\n");
  running->Write(8, "a333\n");  // now in file 2
  WriteFile(1, "a111\na222\n", 3);
  std::filesystem::last_write_time(File(2), base_time_ - std::chrono::seconds(3));
  Open(10)->Write(8, "b111\n");
  EXPECT_EQ(ReadText(File(2)), "a333\nb111\n");

  // Once the file no longer matches, the modification times decide again.
  WriteFile(2, "changed\n", 3);
  Open(100)->Write(8, "c111\n");
  EXPECT_EQ(ReadText(File(1)), "a111\na222\nc111\n");
}

TEST_F(FileTraceOutputTest, SwitchesToTheOtherFileEmptiedWhenTheMaximumIsReached) {
  WriteFile(2, "stale\n", 100);
  WriteFile(1, "", 50);
  auto output = Open(10);
  output->Write(8, "1111\n");
  output->Write(8, "2222\n");  // exactly 10 bytes: still file 1
  EXPECT_EQ(ReadText(File(1)), "1111\n2222\n");
  output->Write(8, "3333\n");
  EXPECT_EQ(ReadText(File(2)), "3333\n");
  output->Write(8, "4444\n");
  output->Write(8, "5555\n");
  EXPECT_EQ(ReadText(File(1)), "5555\n");
  EXPECT_EQ(ReadText(File(2)), "3333\n4444\n");
}

TEST_F(FileTraceOutputTest, WritersSharingTheStateSwitchTogether) {
  auto first = Open(10);
  auto second = Open(10);
  first->Write(8, "a111\n");
  second->Write(8, "b111\n");
  first->Write(8, "a222\n");  // takes both writers to file 2
  second->Write(8, "b222\n");
  EXPECT_EQ(ReadText(File(1)), "a111\nb111\n");
  EXPECT_EQ(ReadText(File(2)), "a222\nb222\n");
}

}  // namespace
}  // namespace q9
