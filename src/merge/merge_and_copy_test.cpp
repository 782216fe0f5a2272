#include "merge/merge_and_copy.h"

#include <filesystem>

#include <gtest/gtest.h>

#include "temp_dir.h"
#include "template_files.h"
#include "test_env.h"
#include "trace_capture.h"
#include "xml/streaming_reader.h"

namespace q9 {
namespace {

using testing::BoardXml;
using testing::LogDeviceXml;
using testing::ProtocolXml;
using testing::ReadText;
using testing::TraceCapture;

constexpr const char* kMerge = "MergeAndCopyTemplates: ";

// A default log device whose LocalSettings/Timeout says where it came from.
std::string Device(const std::string& attributes, const std::string& timeout,
                   const std::string& device_name = "DEV") {
  return LogDeviceXml(attributes, device_name,
                      "  <LocalSettings>\n    <ParameterInt><Name>Timeout</Name><Value>" +
                          timeout + "</Value></ParameterInt>\n  </LocalSettings>\n");
}

class MergeAndCopyTest : public ::testing::Test {
 protected:
  MergeAndCopyTest()
      : log_(test_.env, std::make_unique<testing::StringFile>(&log_text_)),
        paths_(test_.env, dir_.MakeDir("data"), dir_.MakeDir("files")),
        files_(test_.env, xml_, paths_),
        merger_(log_, files_) {
    std::filesystem::copy(Q9_SAMPLE_STORE "/Schemes", dir_.MakeDir("files/Schemes"));
    MakeKindFolders();
    log_text_.clear();
  }

  void MakeKindFolders() {
    for (const char* kind : {"DefaultLogDevices", "Protocols", "Boards"}) {
      dir_.MakeDir(std::string("files/meta/") + kind);
    }
    for (const char* kind : {"DefaultLogdevices", "Protocols", "Boards"}) {
      dir_.MakeDir(std::string("files/Install/") + kind);
    }
  }
  // Install's folder is spelled "DefaultLogdevices" in a real store; the
  // merger finds it under either spelling. Returns the path as the merger
  // names it.
  std::string Install(const std::string& relative, const std::string& contents) {
    std::string on_disk = relative;
    if (on_disk.rfind("DefaultLogDevices/", 0) == 0) on_disk.replace(0, 17, "DefaultLogdevices");
    dir_.WriteFile("files/Install/" + on_disk, contents);
    return dir_.Path("files/Install/" + relative);
  }
  // Reads as the program does, resolving letter case.
  std::string Read(const std::string& path) {
    std::string contents;
    return test_.env.files().ReadFile(path, &contents) == 0 ? contents : "<missing>";
  }
  std::string Meta(const std::string& relative, const std::string& contents) {
    return dir_.WriteFile("files/meta/" + relative, contents);
  }
  ResultCode Run() { return merger_.MergeAndCopyTemplates(paths_.ProgramFilesRoot()); }
  std::string Timeout(const std::string& path) {
    std::string value;
    (void)ReadParameterValue(xml_, path, "LocalSettings", "Timeout", &value);
    return value;
  }
  std::vector<std::string> Names(const std::string& folder) {
    std::vector<std::string> names;
    std::string name;
    for (uint32_t i = 0; files_.EnumFile(folder, i, &name) == PGSP_OK; ++i) names.push_back(name);
    return names;
  }
  // Gives the meta kind folders other than `kind` a template, so that the
  // final check does not end the run early.
  void FillOtherKinds(const std::string& kind) {
    if (kind != "DefaultLogDevices") Meta("DefaultLogDevices/o.xml", Device(R"(DeviceID="O" CP_TYPE="X")", "0"));
    if (kind != "Protocols") Meta("Protocols/o.xml", ProtocolXml(R"(Name="OTHER")"));
    if (kind != "Boards") Meta("Boards/o.xml", BoardXml(R"(DeviceID="OTHER" CP_TYPE="X")"));
  }

  testing::TempDir dir_;
  testing::TestEnv test_;
  XmlContext xml_{test_.env};
  std::string log_text_;
  InstallLog log_;
  StorePaths paths_;
  FileOperator files_;
  Merger merger_;
};

TEST_F(MergeAndCopyTest, DefaultLogDeviceVersionRules) {
  struct Case {
    const char* source;       // root attributes of the Install file
    const char* target;       // root attributes of the meta file
    const char* target_name;  // the meta file's name
    const char* rule;         // the trace of the rule that applies
    const char* timeout;      // the meta value afterwards: I from Install, M kept
  };
  const Case cases[] = {
      {R"(MajorVersion="1" Extension="TRUE")", R"(MajorVersion="1")", "d.xml", "Merge extension", "M"},
      {R"(MajorVersion="9")", R"(MajorVersion="1")", "other.xml", "Merge extension", "M"},
      {"", R"(MajorVersion="abc")", "d.xml", "Merge .. without Version", "M"},
      {R"(MajorVersion="2")", "", "d.xml", "Merge ... Compatibility", "I"},
      {"", R"(MajorVersion="2")", "d.xml", "Merge .. no Major Version in source File -> Spezial", "M"},
      {R"(MajorVersion="02" MinorVersion="1")", R"(MajorVersion=" 2x" MinorVersion="1")", "D.xml",
       "Merge .. source MinorVersion > dest MinorVersion", "I"},
      {R"(MajorVersion="2" MinorVersion="3")", R"(MajorVersion="2" MinorVersion="1")", "d.xml",
       "Merge .. source MinorVersion > dest MinorVersion", "I"},
      {R"(MajorVersion="2" MinorVersion="1")", R"(MajorVersion="2" MinorVersion="3")", "d.xml",
       "Merge .. dest MinorVersion > source MinorVersion", "M"},
      {R"(MajorVersion="3")", R"(MajorVersion="2" MinorVersion="7")", "d.xml",
       "Copy .. source MajorVersion > dest MajorVersion", "I"},
      {R"(MajorVersion="2")", R"(MajorVersion="3")", "d.xml",
       "Merge .. dest MajorVersion > source MajorVersion", "M"},
  };
  FillOtherKinds("DefaultLogDevices");
  for (const Case& c : cases) {
    const std::string source = Install("DefaultLogDevices/d.xml",
                                       Device(R"(DeviceID="A" CP_TYPE="T" )" + std::string(c.source), "1"));
    const std::string target = Meta(std::string("DefaultLogDevices/") + c.target_name,
                                    Device(R"(DeviceID="a" CP_TYPE="t" )" + std::string(c.target), "2", "dev"));
    TraceCapture trace;
    EXPECT_EQ(Run(), PGSP_OK) << c.source;
    EXPECT_TRUE(trace.Has("Merge", kMerge, 64, c.rule)) << c.source << " / " << c.target;
    EXPECT_EQ(Timeout(target), std::string(c.timeout) == "I" ? "1" : "2") << c.source;
    // Copies land under the Install file's name only, and only in the copy row.
    const bool copied = std::string(c.rule).rfind("Copy", 0) == 0;
    EXPECT_EQ(ReadText(target) == Read(source), copied) << c.source;
    EXPECT_EQ(Names(paths_.MetaDefaultLogDevices()).size(), 1u) << c.source;
    std::filesystem::remove(target);
  }
}

TEST_F(MergeAndCopyTest, ADefaultLogDeviceIsMergedIntoTheFirstMatchOnlyAndCopiedWhenNoneMatches) {
  FillOtherKinds("DefaultLogDevices");
  Install("DefaultLogDevices/a.xml", Device(R"(DeviceID="A" CP_TYPE="T" MajorVersion="1" MinorVersion="1")", "1"));
  Install("DefaultLogDevices/new.xml", Device(R"(DeviceID="A" CP_TYPE="T")", "1", "NEW"));
  const std::string first = Meta("DefaultLogDevices/a.xml", Device(R"(DeviceID="A" CP_TYPE="T" MajorVersion="1")", "2"));
  Meta("DefaultLogDevices/b.xml", Device(R"(DeviceID="A" CP_TYPE="T" MajorVersion="1")", "2"));
  TraceCapture trace;
  EXPECT_EQ(Run(), PGSP_OK);
  EXPECT_EQ(Timeout(first), "1");
  EXPECT_EQ(trace.Messages(kMerge),
            (std::vector<std::string>{">> Start", "Merge .. source MinorVersion > dest MinorVersion",
                                      "<< return PGSP_OK"}));
  EXPECT_EQ(Names(paths_.MetaDefaultLogDevices()),
            (std::vector<std::string>{"a.xml", "b.xml", "new.xml"}));
}

TEST_F(MergeAndCopyTest, ProtocolAndBoardVersionRules) {
  struct Case {
    bool protocol;
    const char* source;
    const char* target;
    const char* target_name;
    const char* rule;     // "" when no rule applies
    const char* outcome;  // what the meta file is afterwards
  };
  const Case cases[] = {
      {true, "", "", "p.xml", "Merge .. without Version", "merged"},
      {true, R"(MajorVersion="1")", "", "p.xml", "Merge .. compatibility", "merged"},
      {true, "", R"(MajorVersion="1")", "p.xml", "Merge .. no Major Version in source File -> Spezial", "merged"},
      {true, R"(MajorVersion="0")", R"(MajorVersion="0x")", "p.xml", "Merge .. different Minor Version", "merged"},
      {true, R"(MajorVersion="3")", R"(MajorVersion="2" MinorVersion="9")", "p.xml", "Copy .. different Major Version", "replaced"},
      {true, R"(MajorVersion="2")", R"(MajorVersion="3")", "p.xml", "", "untouched"},
      {true, R"(MajorVersion="2" MinorVersion="1")", R"(MajorVersion="2" MinorVersion="2")", "q.xml", "", "untouched"},
      {true, R"(MajorVersion="3")", R"(MajorVersion="2")", "q.xml", "Copy .. different Major Version", "untouched"},
      {false, "", "", "p.xml", "Merge .. without Version", "merged"},
      {false, R"(MajorVersion="2" MinorVersion="1")", R"(MajorVersion="2" MinorVersion="1")", "P.xml", "Merge .. different Minor Version", "merged"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(std::string(c.source) + " / " + c.target);
    const std::string kind = c.protocol ? "Protocols/" : "Boards/";
    FillOtherKinds(c.protocol ? "Protocols" : "Boards");
    const auto make = [&](const std::string& identity, const char* versions, const char* param) {
      return c.protocol ? ProtocolXml(identity + " " + versions, param)
                        : BoardXml(identity + " " + versions, param);
    };
    const std::string source = Install(kind + "p.xml", make(c.protocol ? R"(Name="N")" : R"(DeviceID="B" CP_TYPE="T")", c.source, "Speed"));
    const std::string target = Meta(kind + c.target_name, make(c.protocol ? R"(Name="n")" : R"(DeviceID="b" CP_TYPE="t")", c.target, "Mine"));
    const std::string before = ReadText(target);
    TraceCapture trace;
    EXPECT_EQ(Run(), PGSP_OK);
    const std::string after = ReadText(target);
    EXPECT_TRUE(*c.rule == '\0' || trace.Has("Merge", kMerge, 64, c.rule));
    // Merged means changed, yet not the Install file's bytes and still with the user's parameter.
    const char* outcome = after == before         ? "untouched"
                          : after == Read(source) ? "replaced"
                          : after.find("Mine") != std::string::npos ? "merged" : "spoilt";
    EXPECT_STREQ(outcome, c.outcome);
    // The Install file's name is in meta afterwards: the target's, or a copy's beside it.
    EXPECT_NE(Read(dir_.Path("files/meta/" + kind + "p.xml")), "<missing>");
    std::filesystem::remove_all(dir_.Path("files/meta"));
    std::filesystem::remove_all(dir_.Path("files/Install"));
    MakeKindFolders();
  }
}

TEST_F(MergeAndCopyTest, EveryMatchingProtocolIsMerged) {
  FillOtherKinds("Protocols");
  Install("Protocols/p.xml", ProtocolXml(R"(Name="N" MajorVersion="2" MinorVersion="1")", "Speed"));
  const std::string a = Meta("Protocols/a.xml", ProtocolXml(R"(Name="N" MajorVersion="2")"));
  const std::string z = Meta("Protocols/z.xml", ProtocolXml(R"(Name="n" MajorVersion="2")"));
  const std::string a_before = ReadText(a);
  const std::string z_before = ReadText(z);
  TraceCapture trace;
  EXPECT_EQ(Run(), PGSP_OK);
  EXPECT_NE(ReadText(a), a_before);
  EXPECT_NE(ReadText(z), z_before);
  EXPECT_EQ(trace.Messages(kMerge),
            (std::vector<std::string>{">> Start", "Merge .. different Minor Version",
                                      "Merge .. different Minor Version", "<< return PGSP_OK"}));
  EXPECT_EQ(Names(paths_.MetaProtocols()), (std::vector<std::string>{"a.xml", "z.xml"}));
}

TEST_F(MergeAndCopyTest, ACopiedOrRewrittenMetaFileIsSeenWithItsNewVersionByTheNextInstallFile) {
  FillOtherKinds("Protocols");
  Meta("Protocols/p.xml", ProtocolXml(R"(Name="N" MajorVersion="2")"));
  // p.xml replaces the meta file (3 > 2); q.xml must then meet version 3 and
  // merge, where the old version would have had it copied in beside.
  Install("Protocols/p.xml", ProtocolXml(R"(Name="N" MajorVersion="3")"));
  Install("Protocols/q.xml", ProtocolXml(R"(Name="N" MajorVersion="3")"));
  TraceCapture trace;
  EXPECT_EQ(Run(), PGSP_OK);
  EXPECT_EQ(trace.Messages(kMerge),
            (std::vector<std::string>{">> Start", "Copy .. different Major Version",
                                      "Merge .. different Minor Version", "<< return PGSP_OK"}));
  EXPECT_EQ(Names(paths_.MetaProtocols()), std::vector<std::string>{"p.xml"});
}

// With the trace off the walks pass over meta files that cannot match; with
// it on they look at each. Both must end alike, also when a copy gives a
// meta file another identity or adds one that the same walk then meets.
TEST_F(MergeAndCopyTest, PassingOverFilesThatCannotMatchChangesNoResult) {
  Meta("DefaultLogDevices/a.xml", Device(R"(DeviceID="x" CP_TYPE="t" MajorVersion="1")", "1", "dev"));
  Meta("DefaultLogDevices/broken.xml", "<LogDevice DeviceID=");
  Install("DefaultLogDevices/a.xml", Device(R"(DeviceID="X" CP_TYPE="T" MajorVersion="2")", "2", "DEV"));
  Install("DefaultLogDevices/b.xml", Device(R"(DeviceID="Y" CP_TYPE="T")", "3"));
  Install("DefaultLogDevices/c.xml", Device(R"(DeviceID="y" CP_TYPE="T")", "4"));
  Meta("Protocols/m.xml", ProtocolXml(R"(Name="N" MajorVersion="1")"));
  Meta("Protocols/x.xml", ProtocolXml(R"(Name="OTHER")"));
  Install("Protocols/x.xml", ProtocolXml(R"(Name="N" MajorVersion="2")", "Speed"));
  Install("Protocols/y.xml", ProtocolXml(R"(Name="n" MajorVersion="2")", "Parity"));
  Install("Protocols/z.xml", ProtocolXml(R"(Name="OTHER")", "Stop"));
  Meta("Boards/b.xml", BoardXml(R"(DeviceID="B" CP_TYPE="T")"));
  Install("Boards/c.xml", BoardXml(R"(DeviceID="b" CP_TYPE="t")", "Slot"));
  const std::string meta = dir_.Path("files/meta");
  std::filesystem::copy(meta, dir_.Path("before"), std::filesystem::copy_options::recursive);
  const auto outcome = [&] { return std::pair(log_text_, testing::Snapshot(meta)); };
  {
    TraceCapture trace;
    EXPECT_EQ(Run(), PGSP_OK);
  }
  const auto examining_each = outcome();
  std::filesystem::remove_all(meta);
  std::filesystem::copy(dir_.Path("before"), meta, std::filesystem::copy_options::recursive);
  xml_.facts().ForgetAll();
  log_text_.clear();
  EXPECT_EQ(Run(), PGSP_OK);
  EXPECT_EQ(outcome(), examining_each);
}

TEST_F(MergeAndCopyTest, RejectedTemplatesStayOutAndBrokenFilesLoseNothing) {
  FillOtherKinds("DefaultLogDevices");
  Meta("DefaultLogDevices/user.xml", Device(R"(DeviceID="U" CP_TYPE="T")", "2"));
  Meta("DefaultLogDevices/broken.xml", "<LogDevice DeviceID=");
  const std::string double_entry = Install("DefaultLogDevices/double.xml",
      LogDeviceXml(R"(DeviceID="X" CP_TYPE="T")", "X",
                   "  <LocalSettings>\n    <ParameterInt><Name>Timeout</Name><Value>5</Value></ParameterInt>\n"
                   "    <ParameterInt><Name>Timeout</Name><Value>5</Value></ParameterInt>\n  </LocalSettings>\n"));
  std::vector<std::string> bad;
  for (const char* kind : {"DefaultLogDevices/", "Protocols/", "Boards/"}) {
    bad.push_back(Install(std::string(kind) + "empty.xml", ""));
    bad.push_back(Install(std::string(kind) + "text.xml", "not XML at all"));
    bad.push_back(Install(std::string(kind) + "malformed.xml", "<Protocol Name=\"N\"><ParamSections>"));
    bad.push_back(Install(std::string(kind) + "huge.xml", std::string(10'000'001, ' ')));
  }
  bad.push_back(Install("DefaultLogDevices/invalid.xml", LogDeviceXml(R"(CP_TYPE="T")", "X")));
  const std::string unreadable = Install("Boards/unreadable.xml", BoardXml(R"(DeviceID="B" CP_TYPE="T")"));
  std::filesystem::permissions(unreadable, std::filesystem::perms::none);
  const bool can_read_anyway = ReadText(unreadable) != "<missing>";  // running as root
  const auto meta = testing::Snapshot(dir_.Path("files/meta"));
  TraceCapture trace;
  EXPECT_EQ(Run(), PGSP_OK);
  EXPECT_TRUE(trace.Has("Merge", "ValidateValues: ", 64,
                        "Error: Double Entry found Timeout&&5&&ParameterInt"));
  EXPECT_FALSE(trace.Has("Merge", kMerge, 64, "Invalid file: " + double_entry + " not coppied to meta"));
  for (const std::string& path : bad) {
    EXPECT_NE(log_text_.find("Warning: Invalid file: " + path + "\n"), std::string::npos) << path;
    EXPECT_TRUE(trace.Has("Merge", kMerge, 64, "Invalid file: " + path + " not coppied to meta")) << path;
  }
  EXPECT_EQ(log_text_.find("double.xml"), std::string::npos);
  // Meta is as it was, but for the board that a root user can read after all.
  auto meta_after = testing::Snapshot(dir_.Path("files/meta"));
  EXPECT_EQ(meta_after.erase("Boards/unreadable.xml"), can_read_anyway ? 1u : 0u);
  EXPECT_EQ(meta_after, meta);
}

TEST_F(MergeAndCopyTest, AnEmptyMetaKindFolderGivesThreeAndEndsTheCheck) {
  Install("DefaultLogDevices/d.xml", Device(R"(DeviceID="D" CP_TYPE="T")", "1"));
  TraceCapture trace;
  EXPECT_EQ(Run(), kMetaKindFolderEmpty);
  EXPECT_EQ(Names(paths_.MetaDefaultLogDevices()), std::vector<std::string>{"d.xml"});
  EXPECT_EQ(trace.Messages(kMerge),
            (std::vector<std::string>{">> Start", "PROTOCOLS (or more) meta subfolders is empty"}));
  EXPECT_EQ(log_text_.rfind(">> MergeAndCopyTemplates\nMerge DefaultLogDevices\n", 0), 0u);
  EXPECT_NE(log_text_.find("Merge Protocols\nMerge Boards\n"), std::string::npos);
}

TEST_F(MergeAndCopyTest, TheModemTemplatesGoExceptAnIeModemWithExtension) {
  FillOtherKinds("DefaultLogDevices");
  for (const char* name : {"Automation-OnlineAccess-LDT-TS Adapter.Auto.Modem.xml",
                           "Automation-OnlineAccess-LDT-TS Adapter IE.Modem"}) {
    Install(std::string("DefaultLogDevices/") + name, Device(R"(DeviceID="M" CP_TYPE="T")", "1"));
    Meta(std::string("DefaultLogDevices/") + name, Device(R"(DeviceID="M" CP_TYPE="T")", "1"));
  }
  Install("DefaultLogDevices/Automation-OnlineAccess-LDT-TS Adapter IE.Modem.xml",
          Device(R"(DeviceID="IE" CP_TYPE="T")", "1"));
  EXPECT_EQ(Run(), PGSP_OK);
  EXPECT_EQ(Names(paths_.InstallDefaultLogDevices()),
            std::vector<std::string>{"Automation-OnlineAccess-LDT-TS Adapter IE.Modem.xml"});
  EXPECT_EQ(Names(paths_.MetaDefaultLogDevices()),
            std::vector<std::string>{"Automation-OnlineAccess-LDT-TS Adapter IE.Modem.xml"});
}

}  // namespace
}  // namespace q9
