#include "trace/trace_config.h"

#include <gtest/gtest.h>

#include "test_env.h"

namespace q9 {
namespace {

// The trace configuration key only, once a value is set.
class TraceRegistry : public testing::FakeRegistry {
 public:
  void Set(const std::string& name, const std::string& text,
           RegistryType type = RegistryType::kString) {
    FakeRegistry::Set(kTraceConfigKey, name, RegistryValue{type, text, {}});
  }
};

TEST(TraceConfigTest, ValuesFollowTheirParsingRules) {
  EXPECT_EQ(ParseTraceLevel("0x48"), 0x48u);
  EXPECT_EQ(ParseTraceLevel("072"), 072u);
  EXPECT_EQ(ParseTraceLevel("72"), 72u);
  EXPECT_EQ(ParseTraceLevel("-1"), 0xFFFFFFFFu);
  EXPECT_EQ(ParseTraceLayout("short"), TraceLayout::kShort);
  EXPECT_EQ(ParseTraceLayout("Time"), TraceLayout::kTime);
  EXPECT_EQ(ParseTraceLayout("TEXT"), TraceLayout::kText);
  EXPECT_EQ(ParseTraceLayout("LONG"), TraceLayout::kStandard);

  // Each known output is shown by the trace client's tests; the file is the
  // default, also for a name that is none of them.
  TraceRegistry registry;
  EXPECT_FALSE(ReadTraceConfig(registry).key_present);
  EXPECT_EQ(ReadTraceConfig(registry).output, TraceOutputKind::kFile);
  registry.Set("Output", "printer");
  EXPECT_EQ(ReadTraceConfig(registry).output, TraceOutputKind::kFile);
}

TEST(TraceConfigTest, FileSettingsOnlyWithFileOutputSizeOnlyWithSharedMemoryAndOnlyStringsThatFit) {
  TraceRegistry registry;
  for (const char* kept : {"0", "-400", "many"}) {
    registry.Set("Byte/File", kept);
    EXPECT_EQ(ReadTraceConfig(registry).bytes_per_file, 2'097'152u) << kept;
  }
  registry.Set("Byte/File", "4096");
  registry.Set("Path", "/var/log/q9");
  registry.Set("FileName", "cfgimp");
  registry.Set("sm_size", "65536");
  TraceConfig config = ReadTraceConfig(registry);
  EXPECT_EQ(config.bytes_per_file, 4096u);
  EXPECT_EQ(config.shared_memory_size, 2'000'000u);
  EXPECT_EQ(TraceFileBase(config), "/var/log/q9/cfgimp");

  registry.Set("Output", "SM");
  config = ReadTraceConfig(registry);
  EXPECT_EQ(config.shared_memory_size, 65536u);
  EXPECT_EQ(config.bytes_per_file, 2'097'152u);
  registry.Set("sm_size", "20000000000");  // held to the ceiling, not 20 GB of memory
  EXPECT_EQ(ReadTraceConfig(registry).shared_memory_size, TraceConfig::kMaxSharedMemorySize);
  EXPECT_EQ(TraceFileBase(config), "/tmp/Q9FILE");
  config.path = "/tmp/";
  config.file_name = "cfgimp";
  EXPECT_EQ(TraceFileBase(config), "/tmp/cfgimp");

  // Only non-empty strings that fit the buffer count.
  TraceRegistry strings;
  strings.Set("Level", "0x40", RegistryType::kDword);
  strings.Set("Consult", "30", RegistryType::kExpandString);
  EXPECT_EQ(ReadTraceConfig(strings).level_mask, 0u);
  EXPECT_EQ(ReadTraceConfig(strings).consult_seconds, 0u);
  strings.Set("Level", "0x40");
  strings.Set("Consult", "30");
  strings.Set("Path", std::string(259, 'p'));      // fits with its terminator
  strings.Set("FileName", std::string(260, 'f'));  // does not
  config = ReadTraceConfig(strings);
  EXPECT_EQ(config.level_mask, 0x40u);
  EXPECT_EQ(config.consult_seconds, 30u);
  EXPECT_EQ(config.path.size(), 259u);
  EXPECT_TRUE(config.file_name.empty());
}

TEST(TraceFilterListTest, SplitsAtSemicolonsAndStopsAtAHundred) {
  const TraceFilterList list = TraceFilterList::Parse(" Merge ; FileOperator;;Main ");
  EXPECT_EQ(list.entries(), (std::vector<std::string>{"Merge", "FileOperator", "Main"}));
  EXPECT_TRUE(list.HasName("fileoperator"));
  EXPECT_FALSE(list.HasName("File"));
  EXPECT_TRUE(list.OccursIn("in Merge step"));
  EXPECT_FALSE(list.OccursIn("in merge step"));

  std::string many;
  for (int i = 0; i < 120; ++i) many += "m" + std::to_string(i) + ";";
  const TraceFilterList capped = TraceFilterList::Parse(many);
  EXPECT_EQ(capped.entries().size(), 100u);
  EXPECT_FALSE(capped.HasName("m100"));
}

}  // namespace
}  // namespace q9
