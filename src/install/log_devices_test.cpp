// The board library's loading and the log-device steps around it.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "install/board_library.h"
#include "install/installer.h"
#include "temp_dir.h"
#include "test_env.h"

namespace q9 {
namespace {

using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::StartsWith;

int32_t ReturnsZero() { return 0; }
int32_t ReturnsSeventeen() { return 17; }

// The namespace elements the program adds to these templates carry.
const std::string kNs =
    " xmlns=\"http://www.kestrel.example/Automation/Corvane.Device.Driver/LogDevice\"";

// The TCP template with `ndi` in its Ndi section.
std::string TcpDevice(const std::string& ndi) {
  return "<LogDevice xmlns=\"urn:ld\" DeviceID=\"ETH\" CP_TYPE=\"TCPIP\"><DeviceHeader><Parameter>"
         "<Name>DeviceName</Name><Value>Loomnet.TCPIP</Value></Parameter></DeviceHeader><Ndi>" +
         ndi + "</Ndi></LogDevice>";
}

class LogDevicesTest : public ::testing::Test {
 protected:
  LogDevicesTest() : log_(env_, std::make_unique<testing::StringFile>(&log_text_)) {
    dir_.MakeDir("data/data");
    dir_.MakeDir("files/meta/DefaultLogDevices");
    log_text_.clear();  // the log's dated first line
  }

  Installer& installer() {
    if (!installer_) {
      installer_ = std::make_unique<Installer>(env_, log_, dir_.Path("data"), dir_.Path("files"));
      log_text_.clear();
    }
    return *installer_;
  }

  testing::TempDir dir_;
  testing::TestEnv test_;
  testing::FakeLibraries& libraries_ = test_.libraries;
  Env& env_ = test_.env;
  std::string log_text_;
  InstallLog log_;
  std::unique_ptr<Installer> installer_;
};

TEST_F(LogDevicesTest, LibraryIsFoundByVariableThenBesideTheProgramThenByTheLoader) {
  const std::string exe_folder = dir_.MakeDir("bin");
  const std::string beside = dir_.WriteFile("bin/libq9BrdCtl64x.so", "");
  const std::string empty_folder = dir_.MakeDir("empty-bin");
  // The variable ("" is unset), the program's folder and the library's path.
  const std::tuple<std::string, std::string, std::string> cases[] = {
      {"/x/custom.so", exe_folder, "/x/custom.so"},
      {"", exe_folder, beside},
      {"", empty_folder, "libq9BrdCtl64x.so"},
      {"", "", "libq9BrdCtl64x.so"},
  };
  for (const auto& [variable, executable_folder, expected] : cases) {
    test_.process.variables["Q9_BOARD_LIBRARY"] = variable;
    test_.folders.executable = executable_folder;
    EXPECT_EQ(BoardLibrary::Locate(env_), expected) << variable << " " << executable_folder;
  }
}

TEST_F(LogDevicesTest, LibraryIsLoadedOnceAndItsCodesPassThrough) {
  libraries_.symbols = {{kCreateAllLogdevicesSymbol, reinterpret_cast<void*>(&ReturnsZero)},
                        {kScanSymbol, reinterpret_cast<void*>(&ReturnsSeventeen)}};
  BoardLibrary library(env_, log_);
  EXPECT_EQ(library.CreateAllLogdevices(), 0);
  EXPECT_EQ(library.Scan(), 17);
  EXPECT_EQ(libraries_.loads, 1);
  EXPECT_EQ(log_text_, "");
  // ScanBoards returns and logs the library's code.
  EXPECT_EQ(installer().ScanBoards(), 17);
  EXPECT_EQ(log_text_, ">> ScanBoards\n<< ScanBoards returns with: 17\n");
}

TEST_F(LogDevicesTest, MissingLibraryOrSymbolIsLoggedByName) {
  test_.process.variables["Q9_BOARD_LIBRARY"] = "/nowhere/lib.so";
  {
    BoardLibrary missing(env_, log_);
    EXPECT_EQ(missing.Scan(), os_error::kModNotFound);
    EXPECT_EQ(missing.CreateAllLogdevices(), os_error::kModNotFound);
    EXPECT_EQ(libraries_.loads, 1);  // a failed load is not retried
    EXPECT_EQ(log_text_, "Error: Can't load board library: /nowhere/lib.so\n");
  }
  log_text_.clear();
  libraries_.symbols = {{kCreateAllLogdevicesSymbol, reinterpret_cast<void*>(&ReturnsZero)}};
  BoardLibrary without_scan(env_, log_);
  EXPECT_EQ(without_scan.Scan(), os_error::kProcNotFound);
  EXPECT_EQ(log_text_, "Error: Board library /nowhere/lib.so has no function: PGSP_ScanBL\n");
}

TEST_F(LogDevicesTest, CreateAllLogdevicesLogsTheLibraryCodeAndReturnsTheStandardDevices) {
  const std::string tcp_template = dir_.WriteFile(
      "files/meta/DefaultLogDevices/Automation-OnlineAccess-LDT-Loomnet.TCPIP.xml",
      TcpDevice("<ParameterBool><Name>hidden</Name><Value>false</Value></ParameterBool>"));
  libraries_.symbols = {{kCreateAllLogdevicesSymbol, reinterpret_cast<void*>(&ReturnsSeventeen)}};
  EXPECT_EQ(installer().CreateAllLogdevices(), PGSP_OK);
  const std::string device = dir_.Path("data/data/LogDevices/CP TCP-Std.xml");
  EXPECT_THAT(log_text_, StartsWith(">> CreateAllLogdevices\n>> PGSP_CreateAllLogdevicesBL\n"
                                    "<< PGSP_CreateAllLogdevicesBL returns with: 17\n"
                                    ">> CreateTCPStdLogDevice\n"));
  EXPECT_THAT(log_text_, HasSubstr(tcp_template + "   copied to:   " + device + "\n"));
  EXPECT_THAT(log_text_, EndsWith("<< CreateTCPStdLogDevice returns with: 0\n"
                                  "<< CreateAllLogdevices returns with: 0\n"));
  // The standard device is the template, shown and marked static.
  EXPECT_EQ(testing::ReadText(device),
            TcpDevice("<ParameterBool><Name>hidden</Name><Value>true</Value></ParameterBool>"
                      "<ParameterBool" + kNs + "><Name>static_logdevice</Name><Value>true</Value>"
                      "</ParameterBool>") + "\n");
}

TEST_F(LogDevicesTest, StandardDeviceFailsWithTheCopyCodeOrAtTheFirstFlagWithoutNdi) {
  libraries_.symbols = {{kCreateAllLogdevicesSymbol, reinterpret_cast<void*>(&ReturnsZero)}};
  EXPECT_EQ(installer().CreateAllLogdevices(), ERR_COPY_FAILED);
  EXPECT_THAT(log_text_, EndsWith("<< CreateTCPStdLogDevice returns with: 8512\n"
                                  "<< CreateAllLogdevices returns with: 8512\n"));
  EXPECT_FALSE(testing::PathExists(dir_.Path("data/data/LogDevices/CP TCP-Std.xml")));

  dir_.WriteFile("files/meta/DefaultLogDevices/Automation-OnlineAccess-LDT-Loomnet.TCPIP.xml",
                 "<LogDevice xmlns=\"urn:ld\"><DeviceHeader/></LogDevice>");
  EXPECT_EQ(installer().CreateTCPStdLogDevice(), kEntryMissing);
  EXPECT_THAT(log_text_, EndsWith("<< CreateTCPStdLogDevice returns with: 14\n"));
}

TEST_F(LogDevicesTest, OnlyH1DevicesGetOnePnioSubdeviceHoweverOftenItRuns) {
  const auto device = [](const char* cp_type) {
    return std::string("<LogDevice xmlns=\"urn:ld\"") + cp_type +
           "><DeviceHeader/><Bindings/></LogDevice>";
  };
  const std::string h1 = dir_.WriteFile("files/meta/DefaultLogDevices/h1.xml",
                                        device(" CP_TYPE=\"H1\""));
  const std::pair<std::string, std::string> untouched[] = {
      {"tcp.xml", device(" CP_TYPE=\"TCPIP\"")}, {"lower.xml", device(" CP_TYPE=\"h1\"")},
      {"none.xml", device("")}, {"broken.xml", "<LogDevice CP_TYPE=\"H1\""}};
  for (const auto& [name, contents] : untouched) {
    dir_.WriteFile("files/meta/DefaultLogDevices/" + name, contents);
  }
  installer().AddSubdevicePNIO();
  installer().AddSubdevicePNIO();
  EXPECT_EQ(testing::ReadText(h1),
            "<LogDevice xmlns=\"urn:ld\" CP_TYPE=\"H1\"><DeviceHeader/><Bindings><Subdevices" +
                kNs + "><Subdevice" + kNs + " SubdevName=\"PNIO\"><Parameter" + kNs +
                "><Name>L4DRIVER</Name><Value>q9opnio64x.dll</Value></Parameter></Subdevice>"
                "</Subdevices></Bindings></LogDevice>\n");
  for (const auto& [name, contents] : untouched) {
    EXPECT_EQ(testing::ReadText(dir_.Path("files/meta/DefaultLogDevices/" + name)), contents);
  }
  EXPECT_EQ(log_text_, ">> AddSubdevicePNIO\n<< AddSubdevicePNIO\n"
                       ">> AddSubdevicePNIO\n<< AddSubdevicePNIO\n");
}

}  // namespace
}  // namespace q9
