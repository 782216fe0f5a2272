#include "platform/posix/registry_file.h"

#include <stdlib.h>
#include <sys/stat.h>

#include <gtest/gtest.h>

#include "platform/posix/file_system_posix.h"
#include "fault_injection_file_system.h"
#include "temp_dir.h"

namespace q9 {
namespace {

constexpr char kTrcParams[] =
    "Windows Registry Editor Version 5.00\n\n"
    "[HKEY_LOCAL_MACHINE\\Software\\KESTREL\\TELAN\\TrcParams]\n"
    "\"Level\"=\"0xC8\"\n"
    "\"Consult\"=dword:0000003c\n";

class RegistryFileTest : public ::testing::Test {
 protected:
  // The text value `name` of `key_path`, "<no key>" or "<no value>".
  std::string Query(Registry& registry, std::string_view key_path, std::string_view name) {
    std::unique_ptr<RegistryKey> key;
    if (!registry.OpenKey(key_path, &key)) return key == nullptr ? "<no key>" : "<key set>";
    RegistryValue value;
    if (!key->QueryValue(name, &value)) return "<no value>";
    return value.text;
  }

  PosixFileSystem files_;
  testing::TempDir dir_;
};

TEST_F(RegistryFileTest, OpensKeysAndValuesIgnoringCaseReadingTheFileAtEachOpen) {
  const std::string path = dir_.WriteFile("registry.reg", kTrcParams);
  RegistryFile registry(files_, path);
  EXPECT_EQ(Query(registry, "SOFTWARE\\Kestrel\\TELAN\\trcparams", "LEVEL"), "0xC8");
  EXPECT_EQ(Query(registry, "Software\\KESTREL\\TELAN\\TrcParams", "Output"), "<no value>");
  EXPECT_EQ(Query(registry, "Software\\KESTREL\\TELAN\\Other", "Level"), "<no key>");
  EXPECT_EQ(Query(registry, "Software/KESTREL/TELAN/TrcParams", "Level"), "<no key>");

  // A key already open is a snapshot.
  std::unique_ptr<RegistryKey> before;
  ASSERT_TRUE(registry.OpenKey("Software\\KESTREL\\TELAN\\TrcParams", &before));
  dir_.WriteFile("registry.reg", std::string(kTrcParams) + "\"Level\"=\"0x10\"\n");
  EXPECT_EQ(Query(registry, "Software\\KESTREL\\TELAN\\TrcParams", "Level"), "0x10");
  RegistryValue value;
  ASSERT_TRUE(before->QueryValue("level", &value));
  EXPECT_EQ(value.text, "0xC8");
}

TEST_F(RegistryFileTest, AMissingUnreadableOrOversizedFileHasNoKeys) {
  RegistryFile missing(files_, dir_.Path("none.reg"));
  EXPECT_EQ(Query(missing, "Software", ""), "<no key>");
  RegistryFile folder(files_, dir_.MakeDir("folder.reg"));
  EXPECT_EQ(Query(folder, "Software", ""), "<no key>");
  // A pipe without a writer would block a plain open for ever.
  const std::string fifo = dir_.Path("fifo.reg");
  ASSERT_EQ(::mkfifo(fifo.c_str(), 0600), 0);
  RegistryFile pipe(files_, fifo);
  EXPECT_EQ(Query(pipe, "Software", ""), "<no key>");

  std::string huge = kTrcParams;
  huge.resize(RegistryFile::kMaxFileBytes + 1, '\n');
  RegistryFile oversized(files_, dir_.WriteFile("huge.reg", huge));
  EXPECT_EQ(Query(oversized, "Software\\KESTREL\\TELAN\\TrcParams", "Level"), "<no key>");
  huge.resize(RegistryFile::kMaxFileBytes);
  RegistryFile at_limit(files_, dir_.WriteFile("limit.reg", huge));
  EXPECT_EQ(Query(at_limit, "Software\\KESTREL\\TELAN\\TrcParams", "Level"), "0xC8");
}

TEST_F(RegistryFileTest, TheDefaultRegistryFollowsTheEnvironmentVariable) {
  const char* saved = ::getenv("Q9_REGISTRY_FILE");
  const std::string restore = saved != nullptr ? saved : "";
  ::setenv("Q9_REGISTRY_FILE", dir_.WriteFile("env.reg", kTrcParams).c_str(), 1);
  RegistryFile registry(files_);
  EXPECT_EQ(Query(registry, "Software\\KESTREL\\TELAN\\TrcParams", "Level"), "0xC8");
  ::setenv("Q9_REGISTRY_FILE", dir_.Path("gone.reg").c_str(), 1);
  EXPECT_EQ(Query(registry, "Software\\KESTREL\\TELAN\\TrcParams", "Level"), "<no key>");
  // Empty means unset: the default file, not the path "".
  ::setenv("Q9_REGISTRY_FILE", "", 1);
  testing::FaultInjectionFileSystem recorder(files_);
  RegistryFile unset(recorder);
  (void)Query(unset, "Software", "");
  EXPECT_EQ(recorder.reads(), std::vector<std::string>{"/etc/opt/Kestrel/registry.reg"});
  if (saved != nullptr) ::setenv("Q9_REGISTRY_FILE", restore.c_str(), 1);
  else ::unsetenv("Q9_REGISTRY_FILE");
}

}  // namespace
}  // namespace q9
