#include "trace/trace_client.h"

#include <gtest/gtest.h>

#include <cstring>
#include <regex>
#include <string>
#include <vector>

#include "temp_dir.h"
#include "trace/trace.h"
#include "trace/trace_engine_output.h"
#include "trace/trace_ring.h"
#include "trace/trace_test_env.h"

namespace q9 {
namespace {

using testing::ReadText;
using testing::TempDir;

constexpr TraceSite kImport{"Installer", "Import: "};
constexpr TraceSite kMerge{"Merge", "MergeAndCopyTemplates: "};

// Writes one record at each of the program's levels.
void TraceEveryLevel() {
  Q9_TRACE(kImport, 8, ">> Start");
  Q9_TRACE(kImport, 16, "warning %d", 16);
  Q9_TRACE(kImport, 64, "progress %d", 64);
  Q9_TRACE(kImport, 128, "<< return lRet = %d", 2);
}

class TraceClientTest : public ::testing::Test {
 protected:
  // Text records on the debugger output, so each line is "label message".
  void UseDebuggerText(const char* level) {
    t_.registry.Set("Level", level);
    t_.registry.Set("Output", "DBG");
    t_.registry.Set("Format", "TEXT");
  }
  std::string& debug() { return t_.process.debug_output; }

  TempDir dir_;
  testing::TraceTestEnv t_;
};

TEST_F(TraceClientTest, WithoutTheKeyNothingIsTracedAndNoFileCreated) {
  const bool default_file_existed = testing::PathExists("/tmp/Q9FILE1.TRC");
  t_.Start();
  EXPECT_FALSE(TraceLevelEnabled(0xFFFFFFFF));
  TraceEveryLevel();
  TraceRecord(kImport, 0xFFFFFFFF, __FILE__, __LINE__, "forced");
  EXPECT_EQ(debug(), "");
  EXPECT_EQ(testing::PathExists("/tmp/Q9FILE1.TRC"), default_file_existed);
}

TEST_F(TraceClientTest, LevelMaskSelectsRecordsWrittenToTheFile) {
  t_.registry.Set("Level", "0x48");
  t_.registry.Set("Output", "file");
  t_.registry.Set("Path", dir_.path());
  t_.registry.Set("FileName", "cfgimp");
  t_.Start();
  EXPECT_TRUE(TraceLevelEnabled(8));
  EXPECT_TRUE(TraceLevelEnabled(64));
  EXPECT_FALSE(TraceLevelEnabled(16));
  EXPECT_FALSE(TraceLevelEnabled(128));
  TraceEveryLevel();
  const std::string text = ReadText(dir_.Path("cfgimp1.TRC"));
  const std::regex records(
      "\\d{4}-\\d\\d-\\d\\d \\d\\d:\\d\\d:\\d\\d P\\d{9}T000000007 L0008 IMP "
      "Installer\\(trace_client_test\\.cpp:\\d+\\) q9cfgImp64x \\d+,1 Import:  >> Start\n"
      "\\d{4}-\\d\\d-\\d\\d \\d\\d:\\d\\d:\\d\\d P\\d{9}T000000007 L0040 IMP "
      "Installer\\(trace_client_test\\.cpp:\\d+\\) q9cfgImp64x \\d+,2 Import:  progress 64\n");
  EXPECT_TRUE(std::regex_match(text, records)) << text;
  EXPECT_FALSE(testing::PathExists(dir_.Path("cfgimp2.TRC")));
}

TEST_F(TraceClientTest, RecordTakesTheClockAndIsCutAtTheBuffer) {
  t_.registry.Set("Level", "0xFF");
  t_.registry.Set("Output", "DBG");
  t_.registry.Set("Format", "short");
  t_.Start();
  Q9_TRACE(kImport, 64, "%s", std::string(1000, 'm').c_str());
  ASSERT_EQ(debug().size(), 419u);
  EXPECT_EQ(debug().substr(0, 35), "08:00:00 L0040 IMP q9cfgImp64x Inst");
  EXPECT_EQ(debug().substr(417), "m\n");
}

TEST_F(TraceClientTest, FilterListsLetOnlyMatchingRecordsThrough) {
  UseDebuggerText("0xFF");
  t_.registry.Set("Module", "installer; Merge");
  t_.registry.Set("FctName", "Import");
  t_.registry.Set("String", "Start;lRet");
  t_.registry.Set("TraceId", "imp");
  t_.Start();
  TraceEveryLevel();
  Q9_TRACE(kMerge, 8, ">> Start");
  EXPECT_EQ(debug(), "Import:  >> Start\nImport:  << return lRet = 2\n");

  t_.registry.Set("TraceId", "OTHER");
  t_.Start();
  TraceEveryLevel();
  EXPECT_EQ(debug(), "Import:  >> Start\nImport:  << return lRet = 2\n");
}

TEST_F(TraceClientTest, ControlWordChangeMakesTheNextRecordReadTheConfigurationAgain) {
  UseDebuggerText("0x40");
  t_.Start();
  t_.registry.Set("Level", "0x08");
  Q9_TRACE(kImport, 8, "before");
  Q9_TRACE(kImport, 64, "old level");
  ASSERT_EQ(SignalTraceReconfiguration(t_.shared, t_.names.section), 0);
  EXPECT_TRUE(TraceLevelEnabled(16));  // the writer must look
  Q9_TRACE(kImport, 64, "dropped under the new level");
  Q9_TRACE(kImport, 8, "after");
  EXPECT_EQ(debug(), "Import:  old level\nImport:  after\n");
  EXPECT_FALSE(TraceLevelEnabled(16));
}

TEST_F(TraceClientTest, ConsultReadsTheConfigurationAgainAfterItsInterval) {
  UseDebuggerText("0x40");
  t_.registry.Set("Consult", "60");
  t_.Start();
  t_.registry.Set("Level", "0x48");
  t_.clock.Advance(59);
  Q9_TRACE(kImport, 64, "at 59");
  Q9_TRACE(kImport, 8, "not yet");
  t_.clock.Advance(1);
  Q9_TRACE(kImport, 64, "at 60");
  Q9_TRACE(kImport, 8, "now");
  EXPECT_EQ(debug(), "Import:  at 59\nImport:  at 60\nImport:  now\n");

  // Without "Consult" the registry is not looked at again.
  t_.registry.Set("Consult", "0");
  t_.Start();
  t_.registry.Set("Level", "0x40");
  t_.clock.Advance(1000);
  Q9_TRACE(kImport, 8, "still");
  EXPECT_EQ(debug(), "Import:  at 59\nImport:  at 60\nImport:  now\nImport:  still\n");
}

TEST_F(TraceClientTest, SharedMemoryOutputHoldsTheRecordsInOrder) {
  t_.registry.Set("Level", "0x40");
  t_.registry.Set("Output", "SM");
  t_.registry.Set("Format", "TEXT");
  t_.registry.Set("sm_size", "100000");
  t_.Start();
  for (int i = 0; i < 3; ++i) Q9_TRACE(kMerge, 64, "record %d", i);
  std::unique_ptr<SharedMemory> memory;
  ASSERT_EQ(t_.shared.MapSharedMemory(t_.names.ring, 0, false, &memory), 0);
  EXPECT_EQ(memory->size(), 100000u);
  TraceRingReader reader(memory->address(), memory->size());
  std::vector<std::string> records;
  EXPECT_EQ(reader.ReadNew([&](std::string_view r) { records.emplace_back(r); }), 0u);
  EXPECT_EQ(records, (std::vector<std::string>{"MergeAndCopyTemplates:  record 0",
                                               "MergeAndCopyTemplates:  record 1",
                                               "MergeAndCopyTemplates:  record 2"}));
}

TEST_F(TraceClientTest, DeviceAndSerialPortTakeWholeLines) {
  t_.names.vxd_device = dir_.WriteFile("vxd", "");
  t_.names.com2 = dir_.WriteFile("ttyS1", "");
  UseDebuggerText("0x40");
  t_.registry.Set("Output", "vxd");
  t_.Start();
  Q9_TRACE(kImport, 64, "to the device");
  t_.registry.Set("Output", "COM2");
  t_.Start();
  Q9_TRACE(kImport, 64, "to the port");
  EXPECT_EQ(ReadText(t_.names.vxd_device), "Import:  to the device\n");
  EXPECT_EQ(ReadText(t_.names.com2), "Import:  to the port\n");
  EXPECT_EQ(debug(), "");
}

TEST_F(TraceClientTest, UnusableDestinationsReportAndLeaveTheProgramRunning) {
  t_.names.vxd_device = dir_.Path("no-such-device");
  t_.names.com1 = dir_.Path("no-such-port");
  UseDebuggerText("0x40");
  const std::pair<const char*, const char*> cases[] = {
      {"VXD", "Unable to open VxD, got error code !\n"},
      {"PIPE", "Fehler im QTOOL-Tracesystem, bitte wenden Sie sich an den Hersteller !\n"},
      {"COM1", ""},
  };
  for (const auto& [output, report] : cases) {
    debug().clear();
    t_.registry.Set("Output", output);
    t_.Start();
    Q9_TRACE(kImport, 64, "lost");
    EXPECT_EQ(debug(), report) << output;
  }
  debug().clear();
  t_.shared.device_error = os_error::kNotSupported;
  t_.registry.Set("Output", "VXD");
  t_.Start();
  EXPECT_EQ(debug(), "Unable to open VxD, device does not support DeviceIOCTL\n");
}

TEST_F(TraceClientTest, SectionAndMutexFailuresAreReportedAndTracingGoesOn) {
  UseDebuggerText("0x40");
  t_.shared.map_error = 5;
  t_.Start();
  Q9_TRACE(kImport, 64, "still traced");
  EXPECT_EQ(debug(), "ERROR: Can't create Q9TRC_SECTION, GetLastError()=5 \nImport:  still traced\n");

  debug().clear();
  t_.shared.map_error = 0;
  t_.shared.mutex_error = 31;
  t_.Start();
  Q9_TRACE(kImport, 64, "again");
  EXPECT_EQ(debug(), "ERROR: Can't create Q9TRC_MUTEX, GetLastError()=31 \nImport:  again\n");
}

// The fake engine records what the client hands it.
struct EngineLog {
  std::vector<std::string> calls;
};
EngineLog engine_log;
int engine_session = 0;

void* FakeOpen(const char* settings, const char* meta, const char* version) {
  engine_log.calls.push_back(std::string("open ") + std::strrchr(settings, '/') + " " +
                             std::strrchr(meta, '/') + " " + version);
  return &engine_session;
}
int32_t FakeCommand(void* session, const char* command) {
  engine_log.calls.push_back(std::string("command ") + command +
                             (session == &engine_session ? "" : " wrong session"));
  return 0;
}
int32_t FakeWrite(void*, uint32_t level, const char* record) {
  engine_log.calls.push_back("write " + std::to_string(level) + " " + record);
  return 0;
}
int32_t FakeClose(void*) {
  engine_log.calls.push_back("close");
  return 0;
}

class TraceEngineTest : public TraceClientTest {
 protected:
  void SetUp() override {
    engine_log.calls.clear();
    UseDebuggerText("0x40");
    t_.registry.Set("Output", "Q9TRACEENGINE");
    t_.libraries.symbols = {{"TraceOpenA", reinterpret_cast<void*>(&FakeOpen)},
                            {"TraceCommand", reinterpret_cast<void*>(&FakeCommand)},
                            {"TraceWrite", reinterpret_cast<void*>(&FakeWrite)},
                            {"TraceClose", reinterpret_cast<void*>(&FakeClose)}};
  }
};

TEST_F(TraceEngineTest, RecordsGoThroughTheEngineSession) {
  t_.libraries.present = true;
  t_.Start();
  Q9_TRACE(kImport, 64, "engine record");
  TraceClient::Stop();
  EXPECT_EQ(t_.libraries.loaded_path, TraceEngineLibraryPath(t_.env.folders()));
  EXPECT_TRUE(t_.libraries.loaded_path.ends_with(
      "/Kestrel/Automation/TraceEngine/bin/libQ9TraceEngine64X.so"));
  EXPECT_EQ(engine_log.calls,
            (std::vector<std::string>{
                "open /Q9sdd_TraceSettings.xml /Q9sdd_TraceMetaInfo.xml 1.0.0.0",
                "command client=q9cfgImp64x", "write 64 Import:  engine record", "close"}));
  EXPECT_EQ(debug(), "");
}

TEST_F(TraceEngineTest, MissingLibraryOrEntryPointIsReported) {
  t_.Start();
  Q9_TRACE(kImport, 64, "nowhere");
  EXPECT_EQ(debug(), "TraceClient error 0xC0001400: " + t_.libraries.loaded_path + "\n");

  debug().clear();
  t_.libraries.present = true;
  t_.libraries.symbols.erase("TraceCommand");
  t_.Start();
  Q9_TRACE(kImport, 64, "nowhere");
  EXPECT_EQ(debug(), "TraceClient error 0xC0001401: TraceCommand\n");
  EXPECT_TRUE(engine_log.calls.empty());
}

}  // namespace
}  // namespace q9
