// Several processes tracing through one section at once.
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <functional>
#include <map>
#include <regex>
#include <sstream>

#include "temp_dir.h"
#include "test_env.h"
#include "trace/trace.h"
#include "trace/trace_client.h"
#include "trace/trace_ring.h"

namespace q9 {
namespace {

constexpr TraceSite kWriter{"Merge", "Writer: "};
constexpr int kRecords = 1500;

// Forks `count` children that run `body(index)` at the same time and end with
// its result as their exit status, without running exit handlers. Gives each
// child's status, -1 for one that could not start or died from a signal.
std::vector<int> RunInChildProcesses(int count, const std::function<int(int index)>& body) {
  std::vector<pid_t> children;
  std::fflush(nullptr);  // buffered output must not be written twice
  for (int i = 0; i < count; ++i) {
    const pid_t pid = ::fork();
    if (pid == 0) ::_exit(body(i));
    children.push_back(pid);
  }
  std::vector<int> statuses;
  for (const pid_t pid : children) {
    int status = 0;
    const bool exited = pid > 0 && ::waitpid(pid, &status, 0) == pid && WIFEXITED(status);
    statuses.push_back(exited ? WEXITSTATUS(status) : -1);
  }
  return statuses;
}

class TraceProcessesTest : public ::testing::Test {
 protected:
  void SetUp() override {
    t_.SetTrace({{"Level", "0x40"}, {"Path", dir_.path()}, {"FileName", "shared"}});
  }
  // The children made the objects, so the parent's double does not know them.
  void TearDown() override {
    TraceClient::Stop();
    (void)t_.shared.RemoveSharedMemory(names_.section);
    (void)t_.shared.RemoveSharedMemory(names_.ring);
  }
  void Start() { TraceClient::Start(t_.env, "q9cfgImp64x", names_); }
  // Two children start their own clients, as separate programs would, and
  // trace at the same time.
  void RunTwoWriters() {
    const auto writer = [this](int child) {
      Start();
      for (int i = 0; i < kRecords; ++i) {
        Q9_TRACE(kWriter, trace_level::kProgress, "child %d record %d %s", child, i,
                 std::string(120, 'x').c_str());
      }
      return 0;
    };
    ASSERT_EQ(RunInChildProcesses(2, writer), (std::vector<int>{0, 0}));
  }
  // Checks that every line is one whole record and that each child's
  // records keep their order; returns the number of records per child.
  static std::map<int, int> CheckWholeRecords(const std::string& text) {
    const std::regex record(
        "\\d{4}-\\d\\d-\\d\\d \\d\\d:\\d\\d:\\d\\d P\\d{9}T000000007 L0040 IMP "
        "Merge\\(trace_multiprocess_test\\.cpp:\\d+\\) q9cfgImp64x \\d+,\\d+ Writer:  "
        "child (\\d) record (\\d+) x{120}");
    std::map<int, int> next, counts;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);) {
      std::smatch match;
      if (!std::regex_match(line, match, record)) {
        ADD_FAILURE() << "not a whole record: " << line;
        continue;
      }
      const int child = std::stoi(match[1]);
      EXPECT_GE(std::stoi(match[2]), next[child]) << line;
      next[child] = std::stoi(match[2]) + 1;
      ++counts[child];
    }
    return counts;
  }

  testing::TempDir dir_;
  testing::TestEnv t_;
  TraceObjectNames names_;
};

TEST_F(TraceProcessesTest, TwoProcessesWriteWholeRecordsToOneFileOrSharedMemory) {
  const std::map<int, int> all = {{0, kRecords}, {1, kRecords}};
  RunTwoWriters();
  EXPECT_EQ(CheckWholeRecords(testing::ReadText(dir_.Path("shared1.TRC"))), all);

  t_.SetTrace({{"Output", "SM"},
               {"sm_size", std::to_string(sizeof(TraceRingHeader) + 4000 * sizeof(TraceRingSlot))}});
  RunTwoWriters();
  std::unique_ptr<SharedMemory> memory;
  ASSERT_EQ(t_.shared.MapSharedMemory(names_.ring, 0, false, &memory), 0);
  std::string text;
  TraceRingReader(memory->address(), memory->size()).ReadNew([&](std::string_view r) {
    text.append(r).append("\n");
  });
  EXPECT_EQ(CheckWholeRecords(text), all);
}

TEST_F(TraceProcessesTest, TwoProcessesSwitchFilesTogether) {
  t_.SetTrace("Byte/File", "60000");
  RunTwoWriters();
  size_t largest = 0;
  for (const char* file : {"shared1.TRC", "shared2.TRC"}) {
    const std::string text = testing::ReadText(dir_.Path(file));
    EXPECT_LE(text.size(), 60000u);
    largest = std::max(largest, text.size());
    CheckWholeRecords(text);
  }
  // The file left at the last switch was full up to the record that did not
  // fit; writers that lose track of each other leave holes.
  EXPECT_GT(largest, 60000u - 300);
}

TEST_F(TraceProcessesTest, WriterThatDiedHoldingTheMutexDoesNotBlockOthers) {
  const auto die_holding_the_mutex = [this](int) {
    TraceSection::Failure failure;
    OsError error;
    // Static, so the section stays mapped until the process ends, as it
    // does when a writer is killed inside a record.
    static std::unique_ptr<TraceSection> section;
    section = TraceSection::Open(t_.shared, names_.section, &failure, &error);
    return section != nullptr && section->Lock() == MutexLockResult::kLocked ? 0 : 1;
  };
  ASSERT_EQ(RunInChildProcesses(1, die_holding_the_mutex), std::vector<int>{0});
  t_.SetTrace({{"Output", "DBG"}, {"Format", "TEXT"}});
  Start();
  Q9_TRACE(kWriter, trace_level::kProgress, "first");
  Q9_TRACE(kWriter, trace_level::kProgress, "second");
  EXPECT_EQ(t_.process.debug_output, "Writer:  first\nWriter:  second\n");
}

}  // namespace
}  // namespace q9
