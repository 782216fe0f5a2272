#include "trace/trace_client.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <regex>
#include <string>
#include <vector>

#include "fault_injection_file_system.h"
#include "temp_dir.h"
#include "test_env.h"
#include "trace/trace.h"
#include "trace/trace_engine_output.h"

namespace q9 {
namespace {

using testing::ReadText;

constexpr TraceSite kImport{"Installer", "Import: "};

void TraceEveryLevel() {
  Q9_TRACE(kImport, trace_level::kEntry, ">> Start");
  Q9_TRACE(kImport, trace_level::kWarning, "warning");
  Q9_TRACE(kImport, trace_level::kProgress, "progress %d", 64);
  Q9_TRACE(kImport, trace_level::kResult, "<< return lRet = %d", 2);
}

class TraceClientTest : public ::testing::Test {
 protected:
  void TearDown() override { TraceClient::Stop(); }
  void Start() { TraceClient::Start(t_.env, "q9cfgImp64x", names_); }
  // Text records on the debugger output: each line is "label message".
  void UseDebuggerText(const char* level) {
    t_.SetTrace({{"Level", level}, {"Output", "DBG"}, {"Format", "TEXT"}});
  }
  std::string& debug() { return t_.process.debug_output; }

  testing::TempDir dir_;
  testing::TestEnv t_;
  TraceObjectNames names_;
};

TEST_F(TraceClientTest, WithoutTheKeyNothingIsTracedAndNoFileCreated) {
  testing::FaultInjectionFileSystem files(Env::Default().files());
  files.FailAll(os_error::kAccessDenied);  // counted, never done: the default trace file stays
  Env env(files, t_.registry, t_.folders, t_.libraries, t_.shared, t_.clock, t_.process);
  TraceClient::Start(env, "q9cfgImp64x", names_);
  EXPECT_FALSE(TraceLevelEnabled(0xFFFFFFFF));
  TraceRecord(kImport, 0xFFFFFFFF, __FILE__, __LINE__, "forced");
  EXPECT_EQ(debug(), "");
  EXPECT_EQ(files.mutating_operations(), 0u);
}

// Opening a trace file that is a folder fails while the client holds its
// lock; neither that failure nor anything traced about it may take the lock
// a second time (a stall and tracing switched off with the shared section, a
// hang with the in-process lock).
TEST_F(TraceClientTest, ErrorsTracedWhileTheClientWritesDoNotStallIt) {
  t_.SetTrace({{"Level", "0x48"}, {"Path", dir_.path() + "/"}, {"FileName", "x"}});
  dir_.MakeDir("x1.TRC");
  for (bool with_section : {true, false}) {
    t_.shared.map_error = with_section ? 0 : os_error::kAccessDenied;
    Start();
    Q9_TRACE(kImport, trace_level::kProgress, "lost, the file is a folder");
    Q9_TRACE(kImport, trace_level::kProgress, "lost too");
    EXPECT_TRUE(TraceLevelEnabled(64)) << with_section;
    TraceClient::Stop();
  }
}

TEST_F(TraceClientTest, LevelMaskSelectsTheRecordsWrittenToTheFile) {
  t_.SetTrace({{"Level", "0x48"}, {"Output", "file"}, {"Path", dir_.path()}, {"FileName", "cfgimp"}});
  Start();
  EXPECT_TRUE(TraceLevelEnabled(8) && TraceLevelEnabled(64));
  EXPECT_FALSE(TraceLevelEnabled(16) || TraceLevelEnabled(128));
  TraceEveryLevel();
  const std::string text = ReadText(dir_.Path("cfgimp1.TRC"));
  const std::regex records(
      "2027-01-15 08:00:00 P000004242T000000007 L0008 IMP "
      "Installer\\(trace_client_test\\.cpp:\\d+\\) q9cfgImp64x 1800000000000000,1 Import:  >> "
      "Start\n"
      "2027-01-15 08:00:00 P000004242T000000007 L0040 IMP "
      "Installer\\(trace_client_test\\.cpp:\\d+\\) q9cfgImp64x 1800000000000000,2 Import:  "
      "progress 64\n");
  EXPECT_TRUE(std::regex_match(text, records)) << text;
  EXPECT_FALSE(testing::PathExists(dir_.Path("cfgimp2.TRC")));
}

// The section outlives every process: what the last writer left in it must
// not outweigh the modification times once no writer is left.
TEST_F(TraceClientTest, AtStartUpTheFileModifiedLastIsContinued) {
  t_.SetTrace({{"Level", "0x40"}, {"Path", dir_.path() + "/"}, {"FileName", "x"},
               {"Format", "TEXT"}, {"Byte/File", "20"}});
  const auto age = [&](int index, int seconds) {
    std::filesystem::last_write_time(dir_.Path("x" + std::to_string(index) + ".TRC"),
                                     std::filesystem::file_time_type::clock::now() +
                                         std::chrono::seconds(seconds));
  };
  dir_.WriteFile("x1.TRC", "one\n");
  dir_.WriteFile("x2.TRC", "two\n");
  age(1, -20);
  age(2, -10);
  Start();
  Q9_TRACE(kImport, trace_level::kProgress, "a");
  TraceClient::Stop();
  EXPECT_EQ(ReadText(dir_.Path("x2.TRC")), "two\nImport:  a\n");

  // The run ended on file 2; file 1 is changed later without a writer.
  age(1, 100);
  Start();
  Q9_TRACE(kImport, trace_level::kProgress, "b");
  EXPECT_EQ(ReadText(dir_.Path("x1.TRC")), "one\nImport:  b\n");
}

TEST_F(TraceClientTest, FilterListsLetOnlyMatchingRecordsThrough) {
  UseDebuggerText("0xFF");
  t_.SetTrace({{"Module", "installer; Merge"}, {"FctName", "Import"}, {"String", "Start;lRet"},
               {"TraceId", "imp"}});
  Start();
  TraceEveryLevel();
  Q9_TRACE((TraceSite{"Merge", "Merge: "}), 8, ">> Start");
  Q9_TRACE((TraceSite{"Main", "Import: "}), 8, ">> Start");
  EXPECT_EQ(debug(), "Import:  >> Start\nImport:  << return lRet = 2\n");

  t_.SetTrace("TraceId", "OTHER");
  Start();
  TraceEveryLevel();
  EXPECT_EQ(debug(), "Import:  >> Start\nImport:  << return lRet = 2\n");
}

TEST_F(TraceClientTest, ConsultReadsTheConfigurationAndAFailedSectionAgainAfterItsInterval) {
  UseDebuggerText("0x40");
  t_.SetTrace("Consult", "60");
  Start();
  t_.SetTrace("Level", "0x08");
  t_.clock.Advance(59);
  Q9_TRACE(kImport, trace_level::kProgress, "at 59");
  Q9_TRACE(kImport, trace_level::kEntry, "not yet");
  t_.clock.Advance(1);
  Q9_TRACE(kImport, trace_level::kProgress, "dropped under the new level");
  Q9_TRACE(kImport, trace_level::kEntry, "now");
  EXPECT_EQ(debug(), "Import:  at 59\nImport:  now\n");

  // Without "Consult" the registry is not looked at again.
  t_.SetTrace("Consult", "0");
  Start();
  t_.SetTrace("Level", "0x40");
  t_.clock.Advance(1000);
  Q9_TRACE(kImport, trace_level::kEntry, "still");
  EXPECT_EQ(debug(), "Import:  at 59\nImport:  now\nImport:  still\n");

  // A section that failed is created at the next reading.
  debug().clear();
  UseDebuggerText("0x40");
  t_.SetTrace("Consult", "60");
  t_.shared.map_error = os_error::kAccessDenied;
  Start();
  t_.shared.map_error = 0;
  t_.clock.Advance(60);
  Q9_TRACE(kImport, trace_level::kProgress, "read again");
  // Only a client that now uses the section sees the signal.
  t_.SetTrace("Level", "0x10");
  ASSERT_EQ(SignalTraceReconfiguration(t_.shared, names_.section), 0);
  Q9_TRACE(kImport, trace_level::kWarning, "signalled");
  EXPECT_EQ(debug(),
            "ERROR: Can't create Q9TRC_SECTION, GetLastError()=5 \nImport:  read again\n"
            "Import:  signalled\n");
}

TEST_F(TraceClientTest, DeviceAndSerialPortReceiveWholeLines) {
  names_.vxd_device = dir_.WriteFile("vxd", "");
  names_.com2 = dir_.WriteFile("ttyS1", "");
  UseDebuggerText("0x40");
  for (const char* output : {"vxd", "COM2"}) {
    t_.SetTrace("Output", output);
    Start();
    Q9_TRACE(kImport, trace_level::kProgress, "to %s", output);
  }
  EXPECT_EQ(ReadText(names_.vxd_device), "Import:  to vxd\n");
  EXPECT_EQ(ReadText(names_.com2), "Import:  to COM2\n");
  EXPECT_EQ(debug(), "");
}

TEST_F(TraceClientTest, UnusableDestinationsAreReportedAndTheProgramGoesOn) {
  names_.vxd_device = dir_.Path("no-such-device");
  names_.com1 = dir_.Path("no-such-port");
  UseDebuggerText("0x40");
  struct Case {
    const char* output;
    OsError mutex_error, device_error;
    std::string report;
    bool foreign_section = false;  // its layout is not ours
  };
  const std::string traced = "Import:  still traced\n";
  const Case cases[] = {
      // Only the maker of the section initialises its mutex: this case goes first.
      {"DBG", 31, 0, "ERROR: Can't create Q9TRC_MUTEX, GetLastError()=31 \n" + traced},
      {"VXD", 0, 0, "Unable to open VxD, got error code !\n"},
      {"VXD", 0, os_error::kNotSupported,
       "Unable to open VxD, device does not support DeviceIOCTL\n"},
      {"PIPE", 0, 0, "Fehler im QTOOL-Tracesystem, bitte wenden Sie sich an den Hersteller !\n"},
      {"COM1", 0, 0, ""},
      // A section that is not ours does not stop the records (one that cannot
      // be made at all is shown where the configuration is read again).
      {"DBG", 0, 0, "ERROR: Can't create Q9TRC_SECTION, GetLastError()=183 \n" + traced, true},
  };
  for (const Case& c : cases) {
    debug().clear();
    t_.SetTrace("Output", c.output);
    t_.shared.mutex_error = c.mutex_error;
    t_.shared.device_error = c.device_error;
    if (c.foreign_section) {
      std::unique_ptr<SharedMemory> section;
      ASSERT_EQ(t_.shared.MapSharedMemory(names_.section, 0, false, &section), 0);
      static_cast<TraceSectionLayout*>(section->address())->layout_size += 8;
    }
    Start();
    Q9_TRACE(kImport, trace_level::kProgress, "still traced");
    EXPECT_EQ(debug(), c.report) << c.output << " " << c.mutex_error << c.device_error;
  }
}

// What the fake engine was handed.
std::vector<std::string> engine_calls;
int engine_session = 0;

TEST_F(TraceClientTest, TraceEngineGetsTheRecordsOrIsReportedMissing) {
  UseDebuggerText("0x40");
  t_.SetTrace("Output", "Q9TRACEENGINE");
  t_.folders.program_files = "/opt/common";
  Start();
  Q9_TRACE(kImport, trace_level::kProgress, "nowhere");
  const std::string library =
      "/opt/common/Kestrel/Automation/TraceEngine/bin/libQ9TraceEngine64X.so";
  EXPECT_EQ(t_.libraries.loaded_path, library);
  EXPECT_EQ(debug(), "TraceClient error 0xC0001400: " + library + "\n");

  debug().clear();
  const TraceOpenAFunction open = [](const char* settings, const char* meta, const char* version) {
    engine_calls.push_back(std::string("open ") + settings + " " + meta + " " + version);
    return static_cast<void*>(&engine_session);
  };
  const TraceWriteFunction write = [](void* session, uint32_t level, const char* record) {
    engine_calls.push_back("write " + std::to_string(level) + " " + record);
    return session == &engine_session ? 0 : 1;
  };
  const TraceCommandFunction command = [](void*, const char* text) {
    engine_calls.push_back(std::string("command ") + text);
    return 0;
  };
  const TraceCloseFunction close = [](void*) {
    engine_calls.push_back("close");
    return 0;
  };
  t_.libraries.symbols = {{"TraceOpenA", reinterpret_cast<void*>(open)},
                          {"TraceWrite", reinterpret_cast<void*>(write)},
                          {"TraceClose", reinterpret_cast<void*>(close)}};
  Start();
  Q9_TRACE(kImport, trace_level::kProgress, "nowhere");
  EXPECT_EQ(debug(), "TraceClient error 0xC0001401: TraceCommand\n");
  EXPECT_TRUE(engine_calls.empty());

  debug().clear();
  t_.libraries.symbols["TraceCommand"] = reinterpret_cast<void*>(command);
  Start();
  Q9_TRACE(kImport, trace_level::kProgress, "engine record");
  TraceClient::Stop();
  const std::string settings = "/opt/common/Kestrel/q9net/meta/trace/Settings/Q9sdd_Trace";
  EXPECT_EQ(engine_calls,
            (std::vector<std::string>{
                "open " + settings + "Settings.xml " + settings + "MetaInfo.xml 1.0.0.0",
                "command client=q9cfgImp64x", "write 64 Import:  engine record", "close"}));
  EXPECT_EQ(debug(), "");
}

}  // namespace
}  // namespace q9
