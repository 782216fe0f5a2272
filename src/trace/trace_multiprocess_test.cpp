// Several processes tracing through one section at once.
#include <gtest/gtest.h>

#include <map>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

#include "platform/child_process.h"
#include "temp_dir.h"
#include "trace/file_trace_output.h"
#include "trace/trace.h"
#include "trace/trace_ring.h"
#include "trace/trace_test_env.h"

namespace q9 {
namespace {

using testing::ReadText;

constexpr TraceSite kWriter{"Merge", "Writer: "};
constexpr int kRecords = 1500;
const std::string kPadding(120, 'x');

// Each child starts its own client, as a separate program would.
int TraceAsChild(testing::TraceTestEnv& t, int child) {
  t.Start();
  for (int i = 0; i < kRecords; ++i) {
    Q9_TRACE(kWriter, 64, "child %d record %d %s", child, i, kPadding.c_str());
  }
  TraceClient::Stop();
  return 0;
}

// Checks that every line is one whole record and that each child's records
// appear in the order written; returns the number of records per child.
std::map<int, int> CheckWholeRecords(const std::vector<std::string>& lines) {
  const std::regex record(
      "\\d{4}-\\d\\d-\\d\\d \\d\\d:\\d\\d:\\d\\d P\\d{9}T000000007 L0040 IMP "
      "Merge\\(trace_multiprocess_test\\.cpp:\\d+\\) q9cfgImp64x \\d+,\\d+ Writer:  "
      "child (\\d) record (\\d+) x{120}");
  std::map<int, int> next;
  std::map<int, int> counts;
  for (const std::string& line : lines) {
    std::smatch match;
    if (!std::regex_match(line, match, record)) {
      ADD_FAILURE() << "not a whole record: " << line;
      continue;
    }
    const int child = std::stoi(match[1]);
    const int index = std::stoi(match[2]);
    EXPECT_GE(index, next[child]) << line;
    next[child] = index + 1;
    ++counts[child];
  }
  return counts;
}

std::vector<std::string> Lines(const std::string& text) {
  std::vector<std::string> lines;
  std::istringstream in(text);
  for (std::string line; std::getline(in, line);) lines.push_back(line);
  EXPECT_TRUE(text.empty() || text.back() == '\n');
  return lines;
}

class TraceProcessesTest : public ::testing::Test {
 protected:
  void UseFiles(const char* bytes_per_file) {
    t_.registry.Set("Level", "0x40");
    t_.registry.Set("Path", dir_.path());
    t_.registry.Set("FileName", "shared");
    t_.registry.Set("Byte/File", bytes_per_file);
  }
  std::vector<int> RunTwoWriters() {
    return RunInChildProcesses(2, [this](int child) { return TraceAsChild(t_, child); });
  }

  testing::TempDir dir_;
  testing::TraceTestEnv t_;
};

TEST_F(TraceProcessesTest, TwoProcessesWriteWholeRecordsToOneFile) {
  UseFiles("100000000");
  ASSERT_EQ(RunTwoWriters(), (std::vector<int>{0, 0}));
  const auto counts = CheckWholeRecords(Lines(ReadText(dir_.Path("shared1.TRC"))));
  EXPECT_EQ(counts, (std::map<int, int>{{0, kRecords}, {1, kRecords}}));
}

TEST_F(TraceProcessesTest, TwoProcessesSwitchFilesTogether) {
  UseFiles("60000");
  ASSERT_EQ(RunTwoWriters(), (std::vector<int>{0, 0}));
  size_t largest = 0;
  for (const int index : {1, 2}) {
    const std::string text = ReadText(dir_.Path("shared" + std::to_string(index) + ".TRC"));
    EXPECT_LE(text.size(), 60000u);
    largest = std::max(largest, text.size());
    CheckWholeRecords(Lines(text));
  }
  // The file left before the last switch was filled up to the record that
  // did not fit; a writer with a private size would switch much earlier.
  EXPECT_GT(largest, 60000u - 300);
}

TEST_F(TraceProcessesTest, TwoProcessesWriteWholeRecordsToSharedMemory) {
  t_.registry.Set("Level", "0x40");
  t_.registry.Set("Output", "SM");
  t_.registry.Set("sm_size", std::to_string(sizeof(TraceRingHeader) + 4000 * sizeof(TraceRingSlot)));
  ASSERT_EQ(RunTwoWriters(), (std::vector<int>{0, 0}));
  std::unique_ptr<SharedMemory> memory;
  ASSERT_EQ(t_.shared.MapSharedMemory(t_.names.ring, 0, false, &memory), 0);
  TraceRingReader reader(memory->address(), memory->size());
  std::vector<std::string> lines;
  EXPECT_EQ(reader.ReadNew([&](std::string_view r) { lines.emplace_back(r); }), 0u);
  EXPECT_EQ(CheckWholeRecords(lines), (std::map<int, int>{{0, kRecords}, {1, kRecords}}));
}

TEST_F(TraceProcessesTest, WriterThatDiedHoldingTheMutexDoesNotBlockOthers) {
  const auto die_holding_the_mutex = [this](int) {
    TraceSection::Failure failure;
    OsError error;
    // Static, so the section stays mapped until the process ends, as it
    // does when a writer is killed inside a record.
    static std::unique_ptr<TraceSection> section;
    section = TraceSection::Open(t_.shared, t_.names.section, &failure, &error);
    if (section == nullptr || section->Lock() != MutexLockResult::kLocked) return 1;
    return 0;
  };
  ASSERT_EQ(RunInChildProcesses(1, die_holding_the_mutex), std::vector<int>{0});
  t_.registry.Set("Level", "0x40");
  t_.registry.Set("Output", "DBG");
  t_.registry.Set("Format", "TEXT");
  t_.Start();
  Q9_TRACE(kWriter, 64, "first");
  Q9_TRACE(kWriter, 64, "second");
  EXPECT_EQ(t_.process.debug_output, "Writer:  first\nWriter:  second\n");
}

TEST_F(TraceProcessesTest, ControlWordChangedByAnotherProcessTakesEffect) {
  t_.registry.Set("Level", "0x40");
  t_.registry.Set("Output", "DBG");
  t_.registry.Set("Format", "TEXT");
  t_.Start();
  t_.registry.Set("Level", "0x10");
  Q9_TRACE(kWriter, 16, "unseen");
  const auto signal = [this](int) {
    return SignalTraceReconfiguration(t_.shared, t_.names.section) == 0 ? 0 : 1;
  };
  ASSERT_EQ(RunInChildProcesses(1, signal), std::vector<int>{0});
  Q9_TRACE(kWriter, 16, "seen");
  EXPECT_EQ(t_.process.debug_output, "Writer:  seen\n");
}

}  // namespace
}  // namespace q9
