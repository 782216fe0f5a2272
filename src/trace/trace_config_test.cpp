#include "trace/trace_config.h"

#include <gtest/gtest.h>

#include "trace/trace_test_env.h"

namespace q9 {
namespace {

using testing::MemoryRegistry;

TEST(TraceConfigTest, MissingKeyKeepsEveryDefault) {
  MemoryRegistry registry;
  const TraceConfig config = ReadTraceConfig(registry);
  EXPECT_FALSE(config.key_present);
  EXPECT_EQ(config.level_mask, 0u);
  EXPECT_EQ(config.output, TraceOutputKind::kFile);
  EXPECT_EQ(config.layout, TraceLayout::kStandard);
  EXPECT_EQ(config.bytes_per_file, 2'097'152u);
  EXPECT_EQ(config.shared_memory_size, 2'000'000u);
  EXPECT_EQ(TraceFileBase(config), "/tmp/Q9FILE");
}

TEST(TraceConfigTest, LevelTakesItsBaseFromTheText) {
  EXPECT_EQ(ParseTraceLevel("0x48"), 0x48u);
  EXPECT_EQ(ParseTraceLevel("0X48"), 0x48u);
  EXPECT_EQ(ParseTraceLevel("072"), 072u);
  EXPECT_EQ(ParseTraceLevel("72"), 72u);
  EXPECT_EQ(ParseTraceLevel("0xC8 trailing"), 0xC8u);
  EXPECT_EQ(ParseTraceLevel("-1"), 0xFFFFFFFFu);
  EXPECT_EQ(ParseTraceLevel("0x1FFFFFFFF"), 0xFFFFFFFFu);
  EXPECT_EQ(ParseTraceLevel("none"), 0u);
}

TEST(TraceConfigTest, FormatAndOutputCompareWithoutCase) {
  EXPECT_EQ(ParseTraceLayout("short"), TraceLayout::kShort);
  EXPECT_EQ(ParseTraceLayout("Time"), TraceLayout::kTime);
  EXPECT_EQ(ParseTraceLayout("TEXT"), TraceLayout::kText);
  EXPECT_EQ(ParseTraceLayout("LONG"), TraceLayout::kStandard);

  MemoryRegistry registry;
  registry.Set("Output", "file");
  EXPECT_EQ(ReadTraceConfig(registry).output, TraceOutputKind::kFile);
  registry.Set("Output", "q9TraceEngine");
  EXPECT_EQ(ReadTraceConfig(registry).output, TraceOutputKind::kTraceEngine);
  registry.Set("Output", "Sm");
  EXPECT_EQ(ReadTraceConfig(registry).output, TraceOutputKind::kSharedMemory);
  registry.Set("Output", "printer");
  EXPECT_EQ(ReadTraceConfig(registry).output, TraceOutputKind::kFile);
  const std::pair<const char*, TraceOutputKind> codes[] = {
      {"VXD", TraceOutputKind::kVxd}, {"COM1", TraceOutputKind::kCom1},
      {"COM2", TraceOutputKind::kCom2}, {"PIPE", TraceOutputKind::kPipe},
      {"DBG", TraceOutputKind::kDebugger}};
  for (const auto& [text, kind] : codes) {
    registry.Set("Output", text);
    EXPECT_EQ(ReadTraceConfig(registry).output, kind) << text;
  }
}

TEST(TraceConfigTest, FileSizeAndPathsOnlyWithFileOutput) {
  MemoryRegistry registry;
  registry.Set("Byte/File", "0");
  EXPECT_EQ(ReadTraceConfig(registry).bytes_per_file, 2'097'152u);
  registry.Set("Byte/File", "-400");
  EXPECT_EQ(ReadTraceConfig(registry).bytes_per_file, 2'097'152u);
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
  EXPECT_EQ(TraceFileBase(config), "/tmp/Q9FILE");
}

TEST(TraceConfigTest, FileBaseJoinsPathAndName) {
  TraceConfig config;
  config.path = "/tmp/";
  config.file_name = "cfgimp";
  EXPECT_EQ(TraceFileBase(config), "/tmp/cfgimp");
  config.file_name.clear();
  EXPECT_EQ(TraceFileBase(config), "/tmp/");
  config.path.clear();
  config.file_name = "cfgimp";
  EXPECT_EQ(TraceFileBase(config), "cfgimp");
}

TEST(TraceConfigTest, OnlyNonEmptyStringsThatFitTheBufferCount) {
  MemoryRegistry registry;
  registry.Set("Level", "0x40", RegistryType::kDword);
  registry.Set("Format", "");
  registry.Set("Consult", "30", RegistryType::kExpandString);
  EXPECT_EQ(ReadTraceConfig(registry).level_mask, 0u);
  EXPECT_EQ(ReadTraceConfig(registry).consult_seconds, 0u);

  registry.Set("Level", "0x40");
  registry.Set("Consult", "30");
  registry.Set("Path", "/" + std::string(258, 'p'));  // 259 bytes and the terminator fit
  registry.Set("FileName", std::string(260, 'f'));    // does not fit
  const TraceConfig config = ReadTraceConfig(registry);
  EXPECT_EQ(config.level_mask, 0x40u);
  EXPECT_EQ(config.consult_seconds, 30u);
  EXPECT_EQ(config.path.size(), 259u);
  EXPECT_TRUE(config.file_name.empty());
}

TEST(TraceFilterListTest, SplitsTrimsAndStopsAtAHundred) {
  const TraceFilterList list = TraceFilterList::Parse(" Merge ; FileOperator;;Main ");
  EXPECT_EQ(list.entries(), (std::vector<std::string>{"Merge", "FileOperator", "Main"}));
  EXPECT_TRUE(list.HasName("fileoperator"));
  EXPECT_FALSE(list.HasName("File"));
  EXPECT_TRUE(TraceFilterList::Parse("").empty());

  std::string many;
  for (int i = 0; i < 120; ++i) many += "m" + std::to_string(i) + ";";
  const TraceFilterList capped = TraceFilterList::Parse(many);
  EXPECT_EQ(capped.entries().size(), 100u);
  EXPECT_TRUE(capped.HasName("m99"));
  EXPECT_FALSE(capped.HasName("m100"));

  const TraceFilterList texts = TraceFilterList::Parse("Start;lRet");
  EXPECT_TRUE(texts.OccursIn("<< return lRet = 3"));
  EXPECT_FALSE(texts.OccursIn("<< return lret = 3"));
}

}  // namespace
}  // namespace q9
