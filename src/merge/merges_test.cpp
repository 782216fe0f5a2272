#include "merge/merges.h"

#include <gtest/gtest.h>

#include <memory>

#include "temp_dir.h"
#include "test_env.h"
#include "trace_capture.h"

namespace q9 {
namespace {

using testing::ReadText;
using testing::TempDir;

constexpr char kBase[] = "http://www.kestrel.example/Automation/Corvane.Device.Driver";

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

  testing::TestEnv test_env_;
  testing::TraceCapture traces_{test_env_};
  XmlContext xml_{test_env_.env};
  std::string log_text_;
  InstallLog log_{test_env_.env, std::make_unique<testing::StringFile>(&log_text_)};
  TempDir dir_;
};

TEST_F(MergesTest, ProtocolGainsWhatTheSourceAddsAndKeepsWhatTheUserChose) {
  const std::string source = Write(
      "Install", "p.xml", "Protocol", "Protocols", "Name=\"TCPIP\"",
      "  <ParamSections>\n"
      "    <ParamSection Name=\"Transport\">\n"
      "      <Param Name=\"Timeout\" Type=\"int\"><Constraint Name=\"Min\" Value=\"1\"/>"
      "<Constraint Name=\"Max\" Value=\"900\"/><ValueCollection><Value>10</Value>"
      "<Value>90</Value></ValueCollection></Param>\n"
      "    </ParamSection>\n"
      "    <ParamSection Name=\"USER\">\n"
      "      <Param Name=\"Timeout\" Type=\"int\"><ValueCollection><Value>10</Value>"
      "<Value>90</Value></ValueCollection></Param>\n"
      "      <Param Name=\"Mode\" Type=\"string\"><ValueCollection><Value>TCP</Value>"
      "</ValueCollection></Param>\n"
      "    </ParamSection>\n"
      "  </ParamSections>\n");
  const std::string target = Write(
      "meta/Protocols", "p.xml", "Protocol", "Protocols", "Name=\"TCPIP\"",
      "  <ParamSections>\n"
      "    <ParamSection Name=\"Transport\">\n"
      "      <Param Name=\"Timeout\" Type=\"int\">\n"
      "        <Constraint Name=\"Max\" Value=\"600\"/>\n"
      "        <ValueCollection><Value>10</Value><Value>30</Value></ValueCollection>\n"
      "      </Param>\n"
      "      <Param Name=\"Local\"/>\n"
      "    </ParamSection>\n"
      "    <ParamSection Name=\"USER\">\n"
      "      <Param Name=\"Timeout\" Type=\"int\"><ValueCollection><Value>30</Value>"
      "</ValueCollection></Param>\n"
      "    </ParamSection>\n"
      "  </ParamSections>\n");
  MergeProtocols(xml_, log_, source, target);

  // The maker's limits win; values are only added; the user's USER entry
  // stays, a USER entry the user never had arrives whole.
  EXPECT_EQ(ReadText(target),
            std::string("<Protocol xmlns=\"") + kBase +
                "/Protocols\" Name=\"TCPIP\">\n"
                "  <ParamSections>\n"
                "    <ParamSection Name=\"Transport\">\n"
                "      <Param Name=\"Timeout\" Type=\"int\">\n"
                "        <Constraint Name=\"Max\" Value=\"900\"/>\n"
                "        <Constraint Name=\"Min\" Value=\"1\"/>\n"
                "        <ValueCollection><Value>10</Value><Value>30</Value><Value>90</Value>"
                "</ValueCollection>\n"
                "      </Param>\n"
                "      <Param Name=\"Local\"/>\n"
                "    </ParamSection>\n"
                "    <ParamSection Name=\"USER\">\n"
                "      <Param Name=\"Timeout\" Type=\"int\"><ValueCollection><Value>30</Value>"
                "</ValueCollection></Param>\n"
                "      <Param Name=\"Mode\" Type=\"string\"><ValueCollection><Value>TCP</Value>"
                "</ValueCollection></Param>\n"
                "    </ParamSection>\n"
                "  </ParamSections>\n"
                "</Protocol>\n");
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

}  // namespace
}  // namespace q9
