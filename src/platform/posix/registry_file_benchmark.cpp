// Cost of opening a registry key, which reads and parses the whole file each
// time: a file of the usual size and ones near the size bound.
#include <benchmark/benchmark.h>

#include <string>

#include "platform/posix/reg_file_parser.h"

namespace q9 {
namespace {

// A version 5 file of `keys` sections with four values each.
std::string RegFile(int keys) {
  std::string text = "Windows Registry Editor Version 5.00\r\n\r\n";
  for (int i = 0; i < keys; ++i) {
    const std::string n = std::to_string(i);
    text += "[HKEY_LOCAL_MACHINE\\SOFTWARE\\Kestrel\\Key" + n + "]\r\n";
    text += "\"Path\"=\"/var/opt/Kestrel/Automation/Corvane OAM/" + n + "\"\r\n";
    text += "\"Level\"=dword:000000c8\r\n";
    text += "\"List\"=hex(7):61,00,62,00,00,00,63,00,00,00,00,00\r\n";
    text += "@=\"default\"\r\n";
  }
  return text;
}

void BM_ParseRegFile(benchmark::State& state) {
  const std::string text = RegFile(static_cast<int>(state.range(0)));
  for (auto _ : state) {
    RegistryHive hive = ParseRegFile(text);
    benchmark::DoNotOptimize(hive.FindKey("software\\kestrel\\key0"));
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * text.size()));
}
BENCHMARK(BM_ParseRegFile)->Arg(2)->Arg(1000)->Arg(60000)->Unit(benchmark::kMicrosecond);

}  // namespace
}  // namespace q9

BENCHMARK_MAIN();
