// Cost of a disabled trace call, and records per second to the trace files
// and to the shared-memory ring, each record formatted and written whole
// under the cross-process mutex.
//
//   build/default/src/trace/trace_benchmark
#include <benchmark/benchmark.h>

#include <filesystem>
#include <fstream>
#include <string>

#include "test_env.h"
#include "trace/trace.h"
#include "trace/trace_client.h"
#include "trace/trace_config.h"

namespace q9 {
namespace {

constexpr TraceSite kSite{"FileOperator", "CopyFiles: "};

// The real platform with an in-memory trace configuration and private
// shared-object names.
class BenchmarkTrace {
 public:
  explicit BenchmarkTrace(const char* output)
      : folder_(std::filesystem::temp_directory_path() /
                ("q9trace-bench-" + std::to_string(Env::Default().process().ProcessId()))),
        env_(Env::Default().files(), registry_, Env::Default().folders(),
             Env::Default().libraries(), shared_, Env::Default().clock(),
             Env::Default().process()) {
    std::filesystem::create_directories(folder_);
    registry_.SetString(kTraceConfigKey, "Level", "0x40");
    registry_.SetString(kTraceConfigKey, "Output", output);
    registry_.SetString(kTraceConfigKey, "Path", folder_.string());
    registry_.SetString(kTraceConfigKey, "FileName", "bench");
    TraceClient::Start(env_, "q9cfgImp64x");
  }
  // True when both trace files hold whole records only.
  bool FilesHoldWholeRecords() const {
    for (const char* name : {"bench1.TRC", "bench2.TRC"}) {
      std::ifstream in(folder_ / name);
      for (std::string line; std::getline(in, line);) {
        if (!line.starts_with("20") || !line.ends_with(" to its backup folder")) return false;
      }
    }
    return true;
  }
  ~BenchmarkTrace() {
    TraceClient::Stop();
    std::filesystem::remove_all(folder_);
  }

 private:
  std::filesystem::path folder_;
  testing::FakeRegistry registry_;
  testing::IsolatedSharedObjects shared_;
  Env env_;
};

// Disabled calls, sixteen per iteration so that the loop's own cost is
// spread over them; "per_call" is the cost of one call.
void BM_DisabledTraceCall(benchmark::State& state) {
  BenchmarkTrace trace("FILE");
  constexpr int kCalls = 16;
  for (auto _ : state) {
    for (int i = 0; i < kCalls / 4; ++i) {
      Q9_TRACE(kSite, trace_level::kEntry, ">> Start");
      Q9_TRACE(kSite, trace_level::kWarning, "warning");
      Q9_TRACE(kSite, trace_level::kResult, "<< return lRet = %d", i);
      Q9_TRACE(kSite, trace_level::kEntry, ">> Start");
    }
  }
  state.counters["per_call"] = benchmark::Counter(
      static_cast<double>(state.iterations()) * kCalls,
      benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}
BENCHMARK(BM_DisabledTraceCall);

void WriteRecords(benchmark::State& state) {
  int i = 0;
  for (auto _ : state) {
    Q9_TRACE(kSite, trace_level::kProgress, "copied file %d of the store to its backup folder",
             ++i);
  }
  state.SetItemsProcessed(state.iterations());
}

void BM_RecordsToFile(benchmark::State& state) {
  BenchmarkTrace trace("FILE");
  WriteRecords(state);
  if (!trace.FilesHoldWholeRecords()) state.SkipWithError("a trace file holds a torn record");
}
BENCHMARK(BM_RecordsToFile)->MinTime(2.0);

void BM_RecordsToSharedMemory(benchmark::State& state) {
  BenchmarkTrace trace("SM");
  WriteRecords(state);
}
BENCHMARK(BM_RecordsToSharedMemory)->MinTime(1.0);

}  // namespace
}  // namespace q9

BENCHMARK_MAIN();
