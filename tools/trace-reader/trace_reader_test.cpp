#include "trace_reader.h"

#include <gtest/gtest.h>

#include <sstream>

#include "test_env.h"
#include "trace/trace.h"
#include "trace/trace_client.h"
#include "trace/trace_ring.h"

namespace q9 {
namespace {

constexpr TraceSite kSite{"Installer", "Update: "};

class TraceReaderTest : public ::testing::Test {
 protected:
  void SetUp() override {
    t_.SetTrace({{"Level", "0x40"}, {"Output", "SM"}, {"Format", "TEXT"}, {"sm_size", "50000"}});
  }
  void TearDown() override { TraceClient::Stop(); }
  void Start() { TraceClient::Start(t_.env, "q9cfgImp64x", names_); }
  int Run(std::vector<std::string> args, const std::function<bool()>& keep_following = [] {
    return false;
  }) {
    return RunTraceReader(args, t_.shared, out_, err_, keep_following);
  }

  testing::TestEnv t_;
  TraceObjectNames names_;
  std::ostringstream out_;
  std::ostringstream err_;
};

TEST_F(TraceReaderTest, FollowingShowsRecordsAsTheyArrive) {
  int polls = 0;
  const auto writer_between_polls = [&] {
    ++polls;
    if (polls == 2) {  // the ring did not exist at the first look
      Start();
      Q9_TRACE(kSite, trace_level::kProgress, "first");
    }
    if (polls == 3) Q9_TRACE(kSite, trace_level::kProgress, "second");
    return polls <= 3;
  };
  EXPECT_EQ(Run({"--name", names_.ring, "--interval", "1"}, writer_between_polls), 0);
  EXPECT_EQ(out_.str(), "Update:  first\nUpdate:  second\n");
}

TEST_F(TraceReaderTest, ReportsRecordsThatWentRoundTheRingUnreadAndDumpsTheRest) {
  t_.SetTrace("sm_size", "1000");  // two slots
  Start();
  Q9_TRACE(kSite, trace_level::kProgress, "step 1");
  int polls = 0;
  const auto lapping_writer = [&] {
    if (++polls == 2) {
      for (int i = 2; i <= 5; ++i) Q9_TRACE(kSite, trace_level::kProgress, "step %d", i);
    }
    return polls <= 2;
  };
  EXPECT_EQ(Run({"--name", names_.ring, "--interval", "1"}, lapping_writer), 0);
  EXPECT_EQ(out_.str(), "Update:  step 1\nUpdate:  step 4\nUpdate:  step 5\n");
  EXPECT_EQ(err_.str(), "q9trace-reader: 2 records overwritten before they were read\n");

  // A dump shows the records held, oldest first, to a viewer that may not
  // write to the ring.
  out_.str("");
  t_.shared.map_error = os_error::kAccessDenied;
  EXPECT_EQ(Run({"--dump", "--name", names_.ring}), 0);
  EXPECT_EQ(out_.str(), "Update:  step 4\nUpdate:  step 5\n");
}

TEST_F(TraceReaderTest, FollowsARingSetUpAnewOrMadeAgainUnderItsName) {
  Start();
  Q9_TRACE(kSite, trace_level::kProgress, "old 1");
  Q9_TRACE(kSite, trace_level::kProgress, "old 2");
  int polls = 0;
  const auto restarting_writer = [&] {
    if (++polls == 2) {  // a ring spoilt in place is set up anew
      TraceClient::Stop();
      std::unique_ptr<SharedMemory> ring;
      EXPECT_EQ(t_.shared.MapSharedMemory(names_.ring, 0, false, &ring), 0);
      static_cast<TraceRingHeader*>(ring->address())->magic = 0;
      Start();
      Q9_TRACE(kSite, trace_level::kProgress, "anew");
    }
    if (polls == 3) {  // a larger ring under the same name
      TraceClient::Stop();
      EXPECT_EQ(t_.shared.RemoveSharedMemory(names_.ring), 0);
      t_.SetTrace("sm_size", "90000");
      Start();
      Q9_TRACE(kSite, trace_level::kProgress, "replaced");
    }
    return polls <= 3;
  };
  EXPECT_EQ(Run({"--name", names_.ring, "--interval", "1"}, restarting_writer), 0);
  EXPECT_EQ(out_.str(), "Update:  old 1\nUpdate:  old 2\nUpdate:  anew\nUpdate:  replaced\n");
}

TEST_F(TraceReaderTest, RefusesMissingRingsAndUnknownArgumentsAndReconfigures) {
  EXPECT_EQ(Run({"--dump", "--name", names_.ring}), 1);
  EXPECT_EQ(err_.str(), "q9trace-reader: cannot open " + names_.ring + " (error 2)\n");
  for (const auto& args : std::vector<std::vector<std::string>>{
           {"--follow"}, {"--interval", "0"}, {"--dump", "--reconfigure"}}) {
    err_.str("");
    EXPECT_EQ(Run(args), 2);
    EXPECT_TRUE(err_.str().starts_with("usage: q9trace-reader")) << args[0];
  }

  // Reconfiguring makes tracing processes read their configuration again.
  t_.SetTrace("Output", "DBG");
  Start();
  t_.SetTrace("Level", "0x10");
  EXPECT_EQ(Run({"--reconfigure", "--section", names_.section}), 0);
  Q9_TRACE(kSite, trace_level::kWarning, "warning now on");
  EXPECT_EQ(t_.process.debug_output, "Update:  warning now on\n");
}

}  // namespace
}  // namespace q9
