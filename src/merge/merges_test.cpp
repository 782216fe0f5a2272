#include "merge/merges.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <functional>
#include <memory>

#include "merge/section_entries.h"
#include "temp_dir.h"
#include "test_env.h"
#include "trace_capture.h"
#include "xml/parameter_section.h"

namespace q9 {
namespace {

using testing::ReadText;

constexpr char kBase[] = "http://www.kestrel.example/Automation/Corvane.Device.Driver";
const std::string kInstall = std::string(Q9_SAMPLE_STORE) + "/Install/DefaultLogdevices/";
const std::string kBaseFile = "Automation-OnlineAccess-LDT-Loomnet.TCPIP.xml";
const std::string kExtension = kInstall + "Automation-OnlineAccess-LDT-Loomnet.TCPIP_Ext.xml";

// `text` with the first `from` of each pair replaced by its `to`: a merge
// changes its target in place, so what it leaves reads best as its edits.
std::string Edited(std::string text,
                   const std::vector<std::pair<std::string, std::string>>& edits) {
  for (const auto& [from, to] : edits) {
    const size_t at = text.find(from);
    EXPECT_NE(at, std::string::npos) << from;
    if (at != std::string::npos) text.replace(at, from.size(), to);
  }
  return text;
}

class MergesTest : public ::testing::Test {
 protected:
  // Only the merge's own lines, not the log's first line.
  void SetUp() override { log_text_.clear(); }

  // `body` inside a root `root` in the namespace `kind`, in a folder named
  // after the kind, as the store keeps it.
  std::string Write(const std::string& folder, const std::string& name, const std::string& root,
                    const std::string& kind, const std::string& attributes,
                    const std::string& body) {
    return dir_.WriteFile(folder + "/" + name, "<" + root + " xmlns=\"" + kBase + "/" + kind +
                                                   "\" " + attributes + ">\n" + body + "</" +
                                                   root + ">\n");
  }

  // A copy of the sample store's TCP template in `folder`, as meta keeps it.
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
  testing::TempDir dir_;
};

TEST_F(MergesTest, ExtensionAddsToItsBaseWithoutOverwriting) {
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
                ui32, ui32, ui32, ui32, ui64, ui64, ui64, ui64, desc64, desc64,
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
TEST_F(MergesTest, OneSaveLeavesTheBytesOfOneSavePerWrite) {
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

TEST_F(MergesTest, OnlyOverwriteOneReplacesValuesAndSubdevicesKeepTheOldFirst) {
  const std::string source = dir_.WriteFile(
      "Install/s.xml",
      "<LogDevice><LocalSettings><Parameter><Name>A</Name><Value>new</Value></Parameter>"
      "</LocalSettings><Bindings><Subdevices><Subdevice SubdevName=\"S\"><Parameter><Name>P</Name>"
      "<Value>new</Value></Parameter></Subdevice></Subdevices></Bindings></LogDevice>");
  const std::string original =
      "<LogDevice><LocalSettings><Parameter><Name>A</Name><Value>old</Value></Parameter>"
      "<Parameter><Name>T</Name><Value>target only</Value></Parameter>"
      // Only the first of two names equal ignoring case is compared.
      "<Parameter><Name>a</Name><Value>new</Value></Parameter></LocalSettings>"
      "<Bindings><Subdevices><Subdevice SubdevName=\"S\"><Parameter><Name>P</Name><Value>old"
      "</Value></Parameter></Subdevice></Subdevices></Bindings></LogDevice>\n";
  for (const uint8_t overwrite : {0, 1, 2}) {
    const std::string target = dir_.WriteFile("meta/t.xml", original);
    MergeDefaultLogDevices(xml_, log_, source, target, overwrite);
    const std::string expected =
        overwrite != 1 ? original
                       : Edited(original, {{"<Value>old</Value>", "<Value>new</Value>"},
                                           {"</Parameter></Subdevice>",
                                            "</Parameter><Parameter><Name>P</Name><Value>new"
                                            "</Value></Parameter></Subdevice>"}});
    EXPECT_EQ(ReadText(target), expected) << "overwrite " << int{overwrite};
  }
}

// A value may hold elements of a later section: once it is replaced they are
// gone, and the later section is read as it is then.
TEST_F(MergesTest, SectionsAfterAWriteAreReadAgain) {
  const std::string network =
      "<NetworkSettings><Parameter><Name>B</Name><Value>1</Value></Parameter></NetworkSettings>";
  const std::string source = dir_.WriteFile(
      "Install/s.xml", "<LogDevice><LocalSettings><Parameter><Name>A</Name><Value>new</Value>"
                       "</Parameter></LocalSettings>" + network + "</LogDevice>");
  const std::string target = dir_.WriteFile(
      "meta/t.xml", "<LogDevice><LocalSettings><Parameter><Name>A</Name><Value>old" + network +
                        "</Value></Parameter></LocalSettings></LogDevice>");
  MergeDefaultLogDevices(xml_, log_, source, target, 1);
  const std::vector<std::string> messages = traces_.Messages("MergeDefaultLogDevices: ");
  EXPECT_EQ(std::count(messages.begin(), messages.end(), "Add Parameter: B, with Value: 1"), 1);
}

TEST_F(MergesTest, ProtocolGainsWhatTheSourceAddsAndKeepsWhatTheUserChose) {
  // A TCPIP protocol in `folder` whose sections Transport and USER hold the given Params.
  const auto protocol = [&](const std::string& folder, const std::string& transport,
                            const std::string& user) {
    return Write(folder, "p.xml", "Protocol", "Protocols", "Name=\"TCPIP\"",
                 "  <ParamSections>\n    <ParamSection Name=\"Transport\">\n" + transport +
                     "    </ParamSection>\n    <ParamSection Name=\"USER\">\n" + user +
                     "    </ParamSection>\n  </ParamSections>\n");
  };
  const std::string source = protocol(
      "Install",
      "      <Param Name=\"Timeout\" Type=\"int\"><Constraint Name=\"Min\" Value=\"1\"/>"
      "<Constraint Name=\"Max\" Value=\"900\"/><ValueCollection><Value>10</Value>"
      "<Value>90</Value></ValueCollection></Param>\n",
      "      <Param Name=\"Timeout\" Type=\"int\"><ValueCollection><Value>10</Value>"
      "<Value>90</Value></ValueCollection></Param>\n"
      "      <Param Name=\"Mode\" Type=\"string\"><ValueCollection><Value>TCP</Value>"
      "</ValueCollection></Param>\n");
  const std::string target = protocol(
      "meta/Protocols",
      "      <Param Name=\"Timeout\" Type=\"int\">\n"
      "        <Constraint Name=\"Max\" Value=\"600\"/>\n"
      "        <ValueCollection><Value>10</Value><Value>30</Value></ValueCollection>\n"
      "      </Param>\n"
      "      <Param Name=\"Local\"/>\n",
      "      <Param Name=\"Timeout\" Type=\"int\"><ValueCollection><Value>30</Value>"
      "</ValueCollection></Param>\n");
  const std::string before = ReadText(target);
  MergeProtocols(xml_, log_, source, target);

  // The maker's limits win; values are only added; the user's USER entry
  // stays, a USER entry the user never had arrives whole.
  EXPECT_EQ(ReadText(target),
            Edited(before, {{"<Constraint Name=\"Max\" Value=\"600\"/>\n",
                             "<Constraint Name=\"Max\" Value=\"900\"/>\n"
                             "        <Constraint Name=\"Min\" Value=\"1\"/>\n"},
                            {"<Value>30</Value></ValueCollection>\n",
                             "<Value>30</Value><Value>90</Value></ValueCollection>\n"},
                            {"</ValueCollection></Param>\n",
                             "</ValueCollection></Param>\n"
                             "      <Param Name=\"Mode\" Type=\"string\"><ValueCollection>"
                             "<Value>TCP</Value></ValueCollection></Param>\n"}}));
  EXPECT_EQ(traces_.Messages("MergeProtocols: "),
            (std::vector<std::string>{
                ">> Start", "Merging: " + source + " with: " + target,
                "For Param: Timeout, add Constraint: Min, with Value: 1",
                "For Param: Timeout, in Constraint: Max, different Value found (overwrite): 900",
                "Add Value: 90 to Parameter: Timeout",
                "To USER from Parameter: Mode, add Param-Value: string - TCP", "<< End"}));
  EXPECT_EQ(log_text_, ">> MergeProtocols\nMerging " + source + " with " + target +
                           "\nMerge ParamSections\nMerge ValueCollection\n"
                           "Merge ValueCollections and Parameters\n"
                           "Merge Parameters from:  <UserInterface>\n<< MergeProtocols\n");
}

TEST_F(MergesTest, LogDeviceKeepsBackedUpValuesUnlessTheMajorVersionGrew) {
  const auto device = [](const std::string& versions, const std::string& local,
                         const std::string& other) {
    return "<LogDevice xmlns=\"" + std::string(kBase) + "/LogDevice\"" +
           (versions.empty() ? "" : " " + versions) + "><DeviceHeader><Parameter><Name>H</Name>"
           "<Value>" + other +
           "</Value></Parameter></DeviceHeader><LocalSettings><Parameter><Name>A</Name><Value>" +
           local + "</Value></Parameter></LocalSettings><Bindings><Parameter><Name>X</Name>"
           "<Value>" + other + "</Value></Parameter></Bindings><SpareSection/></LogDevice>\n";
  };
  // What the user added to the backed-up device besides values of its own.
  const std::pair<std::string, std::string> user_spare = {
      "<SpareSection/>",
      "<SpareSection><ParameterInt><Name>B</Name><Value>7</Value></ParameterInt></SpareSection>"};
  // New and old versions, and the rule traced ("" when the case is merged
  // without a trace of its own).
  const std::tuple<std::string, std::string, std::string> cases[] = {
      {"", "", "Merge ... no Versions"},
      {"MajorVersion=\"2\"", "MinorVersion=\"4\"", "Merge ... compatibility"},
      {"MajorVersion=\"\"", "MajorVersion=\"2\"", "Merge ... no Version in new LogDevice"},
      {"MajorVersion=\"2\" MinorVersion=\"1\"", "MajorVersion=\"2\"",
       "Merge ... different Minor Version in LogDevices"},
      {"MajorVersion=\"2\"", "MajorVersion=\"2\" MinorVersion=\"1\"", ""},
      {"MajorVersion=\"1\" MinorVersion=\"9\"", "MajorVersion=\"2\"",
       "Merge ... older Version in new LogDevice"},
      {"MajorVersion=\"3\"", "MajorVersion=\"2\" MinorVersion=\"7\"",
       "no Merge .. different Major Version in LogDevices"},
  };
  for (const auto& [new_versions, old_versions, rule] : cases) {
    SCOPED_TRACE(new_versions + " over " + old_versions);
    traces_.Clear();
    test_env_.process.warnings.clear();
    const std::string fresh =
        dir_.WriteFile("data/LogDevices/CP1.xml", device(new_versions, "default", "new"));
    const std::string backed_up = dir_.WriteFile(
        "LogDevices(backup)/CP1.xml", Edited(device(old_versions, "user", "old"), {user_spare}));
    MergeLogDevices(xml_, log_, fresh, backed_up);

    const std::vector<std::string> messages = traces_.Messages("MergeLogDevices: ");
    ASSERT_GE(messages.size(), 3u);
    if (!rule.empty()) {
      EXPECT_EQ(messages[2], rule);
    } else {
      EXPECT_EQ(messages[2].rfind("Merge", 0), std::string::npos) << messages[2];
    }
    if (rule.starts_with("no Merge")) {
      EXPECT_EQ(ReadText(fresh), device(new_versions, "default", "new"));
      EXPECT_EQ(test_env_.process.warnings,
                std::vector<std::string>{"The interface parameter assignment of the interface "
                                         "CP1.xml are reset to default. Please check the "
                                         "properties of this interface and change if necessary."});
      continue;
    }
    // Bindings and DeviceHeader are not carried over.
    EXPECT_EQ(ReadText(fresh), Edited(device(new_versions, "user", "new"), {user_spare}));
    EXPECT_TRUE(test_env_.process.warnings.empty());
  }
  // A new device of the backed-up bytes takes nothing over, unless a section
  // holds a name twice: then the first of them is the one compared and set.
  const std::string twin =
      Edited(device("", "1", "x"),
             {{"</LocalSettings>", "<Parameter><Name>a</Name><Value>2</Value></Parameter>"
                                   "</LocalSettings>"}});
  const std::string fresh = dir_.WriteFile("data/LogDevices/CP2.xml", twin);
  MergeLogDevices(xml_, log_, fresh, dir_.WriteFile("LogDevices(backup)/CP2.xml", twin));
  EXPECT_EQ(ReadText(fresh), Edited(twin, {{"<Value>1</Value>", "<Value>2</Value>"}}));
}

// A file that cannot be loaded stops the merge before anything is written;
// sections that are missing are skipped.
TEST_F(MergesTest, UnloadableOrBareTargetsAreLeftAsTheyWere) {
  const std::string valid =
      "<LogDevice><LocalSettings><Parameter><Name>A</Name><Value>1</Value></Parameter>"
      "</LocalSettings><SpareSection><Parameter><Name>A</Name><Value>1</Value></Parameter>"
      "</SpareSection><UserInterface/></LogDevice>";
  const std::function<void(const std::string&, const std::string&)> merges[] = {
      [&](const std::string& s, const std::string& t) { MergeDefaultLogDevices(xml_, log_, s, t, 1); },
      [&](const std::string& s, const std::string& t) { MergeProtocols(xml_, log_, s, t); },
      [&](const std::string& s, const std::string& t) { MergeBoards(xml_, log_, s, t); },
      [&](const std::string& s, const std::string& t) { MergeLogDevices(xml_, log_, t, s); },
  };
  const std::string source = dir_.WriteFile("source.xml", valid);
  const std::string target = dir_.WriteFile("target.xml", valid);
  const std::string malformed = dir_.WriteFile("malformed.xml", valid + "<");
  // A target without any of the sections a merge looks for is left alone.
  const std::string bare = dir_.WriteFile("bare.xml", "<Root/>\n");
  const auto before = testing::Snapshot(dir_.path());
  for (const auto& merge : merges) {
    merge(dir_.Path("missing.xml"), target);
    merge(source, malformed);
    merge(source, dir_.Path("absent.xml"));
    merge(source, bare);
  }
  EXPECT_EQ(testing::Snapshot(dir_.path()), before);
}

TEST_F(MergesTest, BoardGainsConstraintsAndSupportValuesAndKeepsItsAttributes) {
  const std::string source = Write(
      "Install", "b.xml", "Board", "Boards", "DeviceID=\"ETH\" CP_TYPE=\"TCPIP\"",
      "  <BoardAttributes>\n"
      "    <Parameter><Name>BoardName</Name><Value>Adapter 2</Value></Parameter>\n"
      "    <ParameterInt><Name>MaxPorts</Name><Value>4</Value></ParameterInt>\n"
      "  </BoardAttributes>\n"
      "  <Constraints>\n"
      "    <Param Name=\"Baudrate\" Type=\"int\"><Constraint Name=\"Max\" Value=\"100\"/>"
      "<ValueCollection><Value>10</Value></ValueCollection></Param>\n"
      "  </Constraints>\n"
      "  <NotSupportedSection><NotSupported><Value>KBUS</Value><Value>PNIO</Value>"
      "</NotSupported></NotSupportedSection>\n"
      "  <BaseSupportedSection><BaseSupported><Value>H1</Value></BaseSupported>"
      "</BaseSupportedSection>\n");
  const std::string target = Write(
      "meta/Boards", "b.xml", "Board", "Boards", "DeviceID=\"ETH\" CP_TYPE=\"TCPIP\"",
      "  <BoardAttributes>\n"
      "    <Parameter><Name>BoardName</Name><Value>My adapter</Value></Parameter>\n"
      "  </BoardAttributes>\n"
      "  <NotSupportedSection><NotSupported><Value>KBUS</Value></NotSupported>"
      "</NotSupportedSection>\n"
      "  <UserInterface/>\n");
  const std::string before = ReadText(target);
  MergeBoards(xml_, log_, source, target);

  EXPECT_EQ(ReadText(target),
            Edited(before, {{"</BoardAttributes>\n",
                             "  <ParameterInt xmlns=\"" + std::string(kBase) +
                                 "/LogDevice\"><Name>MaxPorts</Name><Value>4</Value>"
                                 "</ParameterInt>\n  </BoardAttributes>\n  <Constraints><Param "
                                 "Name=\"Baudrate\" Type=\"int\"><Constraint Name=\"Max\" "
                                 "Value=\"100\"/><ValueCollection><Value>10</Value>"
                                 "</ValueCollection></Param></Constraints>\n"},
                            {"<Value>KBUS</Value>", "<Value>KBUS</Value><Value>PNIO</Value>"},
                            {"</NotSupportedSection>\n",
                             "</NotSupportedSection>\n  <BaseSupportedSection><BaseSupported>"
                             "<Value>H1</Value></BaseSupported></BaseSupportedSection>\n"}}));
  EXPECT_EQ(traces_.Messages("MergeBoards: "),
            (std::vector<std::string>{
                ">> Start", "Merging: " + source + " with: " + target,
                "For Parameter: BoardName, different Value found (no overwrite): Adapter 2",
                "Add Parameter: MaxPorts, with Value: 4",
                "To Parameter: Baudrate, add Constraint: Max, with Value: 100",
                "To Parameter: Baudrate, in collection add Value: 10", "Value found ... no action",
                "Value not found ... Add Value: PNIO", "Kein BaseSupported gefunden -> Create it",
                "Value not found ... Add Value: H1", "<< End"}));
}

}  // namespace
}  // namespace q9
