#include <gtest/gtest.h>

#include <filesystem>
#include <memory>

#include "merge/merges.h"
#include "merge/section_entries.h"
#include "temp_dir.h"
#include "test_env.h"
#include "trace_capture.h"
#include "xml/parameter_section.h"

namespace q9 {
namespace {

using testing::ReadText;
using testing::TempDir;

const std::string kInstall = std::string(Q9_SAMPLE_STORE) + "/Install/DefaultLogdevices/";
const std::string kBaseFile = "Automation-OnlineAccess-LDT-Loomnet.TCPIP.xml";
const std::string kExtension = kInstall + "Automation-OnlineAccess-LDT-Loomnet.TCPIP_Ext.xml";

class DefaultLogDeviceMergeTest : public ::testing::Test {
 protected:
  void SetUp() override { log_text_.clear(); }
  // A copy of the sample store's TCP template where meta keeps it.
  std::string CopyOfBase(const std::string& folder) {
    const std::string target = dir_.MakeDir(folder) + "/" + kBaseFile;
    std::filesystem::copy_file(kInstall + kBaseFile, target);
    return target;
  }

  testing::TestEnv test_env_;
  testing::TraceCapture traces_{test_env_};
  XmlContext xml_{test_env_.env};
  std::string log_text_;
  InstallLog log_{test_env_.env, std::make_unique<testing::StringFile>(&log_text_)};
  TempDir dir_;
};

TEST_F(DefaultLogDeviceMergeTest, ExtensionAddsToItsBaseWithoutOverwriting) {
  const std::string target = CopyOfBase("meta/DefaultLogDevices");
  MergeDefaultLogDevices(xml_, log_, kExtension, target, 0);

  const auto passed = [](const std::string& assembly, const std::string& path) {
    return "Add Parameter: sName=RoutingSheet, sAssembly=" + assembly + ", sPath=" + path +
           ", Value=";
  };
  const std::string ui32 = passed("Kestrel.Corvane.PropertySheets.Routing.dll", "bin\\x86");
  const std::string ui64 = passed("Kestrel.Corvane.PropertySheets.Routing64.dll", "bin\\x64");
  const std::string desc64 =
      "Add Parameter: sName=DescText, sAssembly=Kestrel.Corvane.Resources64.dll, sPath=bin\\x64, "
      "Value=1214";
  EXPECT_EQ(traces_.Messages("MergeDefaultLogDevices: "),
            (std::vector<std::string>{
                ">> Start", "Merging: " + kExtension + " with: " + target,
                "For Parameter: ConnectTimeout, different Value found (no overwrite): 60",
                "Add Parameter: RoutingEnabled, with Value: true",
                "Add Parameter: MaxRoutingHops, with Value: 8",
                "Add Parameter: ExtensionName, with Value: Loomnet Routing",
                "Add Parameter: MaxConnections, with Value: 64",
                "Add Parameter: RoutingTable, with Value: routing\\loomnet.rtb",
                "Delete duplicate Parameter: MaxConnections from SpareSection",
                "In Subdevice: RFC1006, add Parameter: MaxPduSize, with Value: 960",
                "In Subdevice: ROUTING, add Parameter: L4DRIVER, with Value: q9orout64x.dll",
                "In Subdevice: ROUTING, add Parameter: Priority, with Value: 3",
                "add Parameter: SpareSection, in Load Section",
                ui32, ui32, ui32, ui32,
                ui64, ui64, ui64, ui64,
                desc64, desc64,
                "For Parameter: sName=DescText, different Value found: Value=1214",
                "<< End"}));
  EXPECT_EQ(log_text_,
            ">> MergeDefaultLogDevices\nMerging " + kExtension + " with " + target +
                "\nEnumerate and merge Parameters from:  <LocalSettings>, <NetworkSettings>, "
                "<Bindings>, <Ndi>, <SpareSection> and <DeviceHeader>\n"
                "Enumerate and merge Parameters from:  <SpareSection>\nMerge Subdevices\n"
                "Enumerate and merge Parameters from:  <Load>\n"
                "Enumerate and merge Parameters from:  <UserInterface>\n<< MergeDefaultLogDevices\n");
}

// One load and one save must leave exactly the bytes that loading, changing
// and saving the file for every single write leaves.
TEST_F(DefaultLogDeviceMergeTest, OneSaveLeavesTheBytesOfOneSavePerWrite) {
  for (const uint8_t overwrite : {0, 1}) {
    const std::string merged = CopyOfBase("merged" + std::to_string(overwrite) + "/LogDevices");
    const std::string stepwise = CopyOfBase("stepwise" + std::to_string(overwrite) + "/LogDevices");
    MergeDefaultLogDevices(xml_, log_, kExtension, merged, overwrite);

    const auto set = [&](int32_t section, const char* name, const char* value, const char* kind) {
      return SetSectionParameter(xml_, stepwise, section, name, value, kind);
    };
    const auto subdevice = [&](const char* subdev, const char* name, const char* value,
                               const char* kind) {
      return WriteSubdeviceParameter(xml_, stepwise, subdev, name, value, kind, 1);
    };
    const auto ui = [&](int32_t section, const char* name, const char* assembly, const char* path,
                        const char* resource_id) {
      return WriteUserInterfaceEntry(xml_, stepwise, section, name, assembly, path, std::nullopt,
                                     resource_id);
    };
    if (overwrite == 1) {
      ASSERT_EQ(set(0, "ConnectTimeout", "60", "ParameterInt"), PGSP_OK);
    }
    // A braced list runs its calls in order.
    const std::vector<ResultCode> results = {
        set(0, "RoutingEnabled", "true", "ParameterBool"),
        set(0, "MaxRoutingHops", "8", "ParameterInt"),
        set(4, "ExtensionName", "Loomnet Routing", "Parameter"),
        set(5, "MaxConnections", "64", "ParameterInt"),
        set(5, "RoutingTable", "routing\\loomnet.rtb", "Parameter"),
        DeleteSectionParameter(xml_, stepwise, 5, "MaxConnections"),
        subdevice("RFC1006", "MaxPduSize", "960", "ParameterInt"),
        subdevice("ROUTING", "L4DRIVER", "q9orout64x.dll", "Parameter"),
        subdevice("ROUTING", "Priority", "3", "ParameterInt"),
        AddLoadEntry(xml_, stepwise, "SpareSection"),
        ui(0, "RoutingSheet", "Kestrel.Corvane.PropertySheets.Routing.dll", "bin\\x86", ""),
        ui(1, "RoutingSheet", "Kestrel.Corvane.PropertySheets.Routing64.dll", "bin\\x64", ""),
        ui(1, "DescText", "Kestrel.Corvane.Resources64.dll", "bin\\x64", "1214"),
    };
    EXPECT_EQ(results, std::vector<ResultCode>(results.size(), PGSP_OK));
    EXPECT_EQ(ReadText(merged), ReadText(stepwise)) << "overwrite " << int{overwrite};
  }
}

TEST_F(DefaultLogDeviceMergeTest, OnlyOverwriteOneReplacesValuesAndSubdevicesKeepTheOldFirst) {
  const std::string source = dir_.WriteFile(
      "Install/s.xml",
      "<LogDevice><LocalSettings><Parameter><Name>A</Name><Value>new</Value></Parameter>"
      "</LocalSettings><Bindings><Subdevices><Subdevice SubdevName=\"S\"><Parameter><Name>P</Name>"
      "<Value>new</Value></Parameter></Subdevice></Subdevices></Bindings></LogDevice>");
  const std::string original =
      "<LogDevice><LocalSettings><Parameter><Name>A</Name><Value>old</Value></Parameter>"
      "<Parameter><Name>T</Name><Value>target only</Value></Parameter></LocalSettings>"
      "<Bindings><Subdevices><Subdevice SubdevName=\"S\"><Parameter><Name>P</Name><Value>old"
      "</Value></Parameter></Subdevice></Subdevices></Bindings></LogDevice>\n";
  for (const uint8_t overwrite : {0, 1, 2}) {
    const std::string target = dir_.WriteFile("meta/t.xml", original);
    MergeDefaultLogDevices(xml_, log_, source, target, overwrite);
    const std::string expected =
        overwrite != 1
            ? original
            : "<LogDevice><LocalSettings><Parameter><Name>A</Name><Value>new</Value></Parameter>"
              "<Parameter><Name>T</Name><Value>target only</Value></Parameter></LocalSettings>"
              "<Bindings><Subdevices><Subdevice SubdevName=\"S\"><Parameter><Name>P</Name><Value>"
              "old</Value></Parameter><Parameter><Name>P</Name><Value>new</Value></Parameter>"
              "</Subdevice></Subdevices></Bindings></LogDevice>\n";
    EXPECT_EQ(ReadText(target), expected) << "overwrite " << int{overwrite};
  }
}

}  // namespace
}  // namespace q9
