// Import and Update from the command line on a copy of the sample store,
// with the board simulator creating the log devices.
#include <filesystem>
#include <functional>
#include <regex>

#include <gtest/gtest.h>

#include "tool_runner.h"

namespace q9::testing {
namespace {

namespace fs = std::filesystem;

using Names = std::vector<std::string>;

const Names kMergedDefaultLogDevices = {
    "Automation-OnlineAccess-LDT-CL1613.H1.xml", "Automation-OnlineAccess-LDT-CL1613.TCPIP.xml",
    "Automation-OnlineAccess-LDT-KB-USB.KBUS.xml", "Automation-OnlineAccess-LDT-Loomnet.ISO.xml",
    "Automation-OnlineAccess-LDT-Loomnet.TCPIP.Auto.xml",
    "Automation-OnlineAccess-LDT-Loomnet.TCPIP.xml"};
const Names kLogDevices = {"CL1613.H1.xml",     "CL1613.TCPIP.xml",       "CP TCP-Std.xml",
                           "KB-USB.KBUS.xml",   "Loomnet.ISO.xml",        "Loomnet.TCPIP.Auto.xml",
                           "Loomnet.TCPIP.xml"};

class ImportUpdateTest : public ::testing::Test {
 public:
  ImportUpdateTest() : store_(runner_.UseSampleStore()) {}

  Names FilesIn(const std::string& relative) const {
    Names names;
    if (!fs::is_directory(Path(relative))) return names;
    for (const auto& entry : fs::directory_iterator(Path(relative))) {
      if (entry.is_regular_file()) names.push_back(entry.path().filename().string());
    }
    std::sort(names.begin(), names.end());
    return names;
  }

  std::string Path(const std::string& relative) const { return store_ + "/" + relative; }
  std::string Read(const std::string& relative) const { return ReadText(Path(relative)); }
  void Write(const std::string& relative, const std::string& text) const {
    runner_.dir().WriteFile(fs::relative(Path(relative), runner_.dir().path()), text);
  }

  // Sets the value of the parameter `name` in the file, as a user would.
  void SetValue(const std::string& relative, const std::string& name, const std::string& value) {
    const std::regex parameter("<Name>" + name + "</Name><Value>[^<]*</Value>");
    const std::string text = Read(relative);
    ASSERT_TRUE(std::regex_search(text, parameter)) << relative << " has no " << name;
    Write(relative, std::regex_replace(text, parameter,
                                       "<Name>" + name + "</Name><Value>" + value + "</Value>"));
  }

  std::string Value(const std::string& relative, const std::string& name) const {
    const std::regex parameter("<Name>" + name + "</Name><Value>([^<]*)</Value>");
    std::smatch match;
    const std::string text = Read(relative);
    return std::regex_search(text, match, parameter) ? match[1].str() : "<none>";
  }

  void Import() { ASSERT_EQ(runner_.Run({"-i"}), 0) << runner_.LogBody(); }

  void UseFreshStore() {
    fs::remove_all(store_);
    store_ = runner_.UseSampleStore();
  }

  ToolRunner runner_;
  std::string store_;
};

TEST_F(ImportUpdateTest, ImportFillsTheStoreAndUpdateKeepsWhatUsersSetInAnyLetterCase) {
  Import();
  EXPECT_EQ(FilesIn("meta/DefaultLogDevices"), kMergedDefaultLogDevices);
  EXPECT_EQ(FilesIn("meta/Protocols").size(), 3u);
  EXPECT_EQ(FilesIn("meta/Boards").size(), 3u);
  EXPECT_EQ(FilesIn("data"), (Names{"DCP_Server.xml", "LLDP.xml", "PGSP.xml", "TCP_Adapter.xml"}));
  EXPECT_EQ(FilesIn("data/LogNames").size(), 2u);
  EXPECT_EQ(FilesIn("data/LogDevices"), kLogDevices);
  EXPECT_TRUE(runner_.LogBody().ends_with(
      "<< Import returns with: 0\nCfgImp ended with return-value: 0\n"));

  // What a user changes between the runs: sections 0, 1, 3 and 5 of a log
  // device, and a KBUS device that the library no longer creates.
  const std::string device = "data/LogDevices/CL1613.H1.xml";
  const std::map<std::string, std::string> user_values = {
      {"ConnectTimeout", "45"}, {"RetransmissionTime", "700"}, {"Service", "q9user"},
      {"TraceModule", "LUSER"}};
  for (const auto& [name, value] : user_values) SetValue(device, name, value);
  SetValue("data/LogDevices/KB-USB.KBUS.xml", "DeviceDescription", "mine");
  const std::string kbus = Read("data/LogDevices/KB-USB.KBUS.xml");
  Write("boards.txt", "CL1613\nETH  # no KBUSB board\n");
  runner_.environment()["Q9_BOARD_SIM_BOARDS"] = Path("boards.txt");

  EXPECT_EQ(runner_.Run({"-up"}), 0) << runner_.LogBody();
  for (const auto& [name, value] : user_values) EXPECT_EQ(Value(device, name), value) << name;
  EXPECT_EQ(Read("data/LogDevices/KB-USB.KBUS.xml"), kbus);
  EXPECT_EQ(FilesIn("data/LogDevices"), kLogDevices);
  EXPECT_FALSE(fs::exists(Path("meta(backup)")) || fs::exists(Path("LogDevices(backup)")));

  // A device the library creates in other letter case is merged too.
  SetValue("data/LogDevices/Loomnet.ISO.xml", "ConnectTimeout", "12");
  // Lower case keeps ".xml" in the name; an upper-case ".XML" would get the
  // file-name rule's ".xml" appended by the readers and merge nothing.
  runner_.environment()["Q9_BOARD_SIM_NAME_CASE"] = "lower";
  EXPECT_EQ(runner_.Run({"up"}), 0);
  EXPECT_EQ(Value("data/LogDevices/loomnet.iso.xml", "ConnectTimeout"), "12") << runner_.LogBody();
}

TEST_F(ImportUpdateTest, ImportFailuresLeaveTheStoreAsTheyFoundIt) {
  const struct {
    const char* what;
    std::function<void(ImportUpdateTest&)> prepare;
    int exit_status;
    bool meta_removed;
    const char* ending;
  } cases[] = {
      {"Install without boards",
       [](ImportUpdateTest& t) { fs::remove_all(t.Path("Install/Boards")); }, 4, false,
       "InstallTemplates are empty!!!\nCfgImp ended with return-value: 4\n"},
      {"no protocol survives the merge",
       [](ImportUpdateTest& t) {
         fs::remove_all(t.Path("Install/Protocols"));
         t.Write("Install/Protocols/Automation-OnlineAccess-PT-H1.xml", "not xml");
       },
       3, true, "Error: Can't merge templates\n<<<< Import\nCfgImp ended with return-value: 3\n"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    UseFreshStore();
    Write("data/LogDevices/old.xml", "<old/>");
    c.prepare(*this);
    const auto data = Snapshot(Path("data"));
    const auto meta = Snapshot(Path("meta"));
    EXPECT_EQ(runner_.Run({"i"}), c.exit_status);
    EXPECT_EQ(Snapshot(Path("data")), data);
    EXPECT_EQ(Snapshot(Path("meta")), c.meta_removed ? decltype(meta){} : meta);
    EXPECT_TRUE(runner_.LogBody().ends_with(c.ending)) << runner_.LogBody();
  }
}

TEST_F(ImportUpdateTest, BoardLibraryFaultsAreOnlyLoggedByImport) {
  const struct {
    const char* library;
    const char* log_text;
  } cases[] = {
      {"/nonexistent/libq9BrdCtl64x.so",
       "Error: Can't load board library: /nonexistent/libq9BrdCtl64x.so\n"
       "<< PGSP_CreateAllLogdevicesBL returns with: 126\n"},
      {Q9_NO_SYMBOLS_LIBRARY,
       "Error: Board library " Q9_NO_SYMBOLS_LIBRARY " has no function: PGSP_CreateAllLogdevicesBL\n"
       "<< PGSP_CreateAllLogdevicesBL returns with: 127\n"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.log_text);
    runner_.environment()["Q9_BOARD_LIBRARY"] = c.library;
    EXPECT_EQ(runner_.Run({"-i"}), 0);
    EXPECT_NE(runner_.LogBody().find(c.log_text), std::string::npos) << runner_.LogBody();
    // The standard device alone counts as created; nothing Import wrote is lost.
    EXPECT_EQ(FilesIn("data/LogDevices"), Names{"CP TCP-Std.xml"});
    EXPECT_EQ(FilesIn("meta/DefaultLogDevices"), kMergedDefaultLogDevices);
    EXPECT_EQ(FilesIn("data").size(), 4u);
  }
}

TEST_F(ImportUpdateTest, EachUpdateFailureRestoresWhatItMust) {
  const struct {
    const char* what;
    std::function<void(ImportUpdateTest&)> prepare;
    int exit_status;
    bool meta_kept;  // else merged again; data/LogDevices is always as before
    const char* ending;
  } cases[] = {
      {"meta cannot be backed up",
       [](ImportUpdateTest& t) { t.Write("meta(backup)", "a file in the way"); }, 64, true,
       "Error: Can't create Backup Directory\nCfgImp ended with return-value: 8512\n"},
      {"a meta kind folder empty after the merge",
       [](ImportUpdateTest& t) {
         for (const char* kind : {"Install/Protocols", "meta/Protocols"}) {
           fs::remove_all(t.Path(kind));
           fs::create_directories(t.Path(kind));
         }
         t.Write("Install/Protocols/Automation-OnlineAccess-PT-H1.xml", "not xml");
       },
       3, true, "<< Update returns with: 3   because MergeAndCopyTemplates failed!\n"
                "CfgImp ended with return-value: 3\n"},
      {"log devices cannot be backed up",
       [](ImportUpdateTest& t) {
         fs::remove_all(t.Path("data/LogDevices"));
         t.Write("data/LogDevices", "a file in the way");
       },
       64, false, "<<<< Update\nCfgImp ended with return-value: 8512\n"},
      {"standard device cannot be made",
       [](ImportUpdateTest& t) {
         for (const char* dir : {"Install/DefaultLogdevices", "meta/DefaultLogDevices"}) {
           fs::remove(t.Path(dir) + "/Automation-OnlineAccess-LDT-Loomnet.TCPIP.xml");
           fs::remove(t.Path(dir) + "/Automation-OnlineAccess-LDT-Loomnet.TCPIP_Ext.xml");
         }
       },
       64, false, "<< Update returns with: 8512   because CreateAllLogdevices failed!\n"
                  "CfgImp ended with return-value: 8512\n"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    UseFreshStore();
    Import();
    SetValue("data/LogDevices/CL1613.H1.xml", "ConnectTimeout", "45");
    c.prepare(*this);
    const auto meta = Snapshot(Path("meta"));
    const auto devices = Snapshot(Path("data/LogDevices"));
    EXPECT_EQ(runner_.Run({"-up"}), c.exit_status);
    if (c.meta_kept) {
      EXPECT_EQ(Snapshot(Path("meta")), meta);
    }
    EXPECT_EQ(Snapshot(Path("data/LogDevices")), devices);
    EXPECT_FALSE(fs::is_directory(Path("meta(backup)")));
    EXPECT_FALSE(fs::exists(Path("LogDevices(backup)")));
    EXPECT_TRUE(runner_.LogBody().ends_with(c.ending)) << runner_.LogBody();
  }
}

}  // namespace
}  // namespace q9::testing
