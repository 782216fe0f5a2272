// One merge of a 100-parameter default log device into its meta copy:
//   unchanged: equal versions and values, so nothing is saved;
//   changed: 20 values differ and 20 parameters are new (overwrite 1), so the
//   target is saved once.
// The target is written back before every timed merge, outside the timing;
// a plain atomic save of the target is the floor that the changed case adds.
#include <benchmark/benchmark.h>

#include <cstdlib>
#include <iterator>
#include <string>

#include "log/install_log.h"
#include "merge/merges.h"
#include "platform/env.h"
#include "platform/path.h"
#include "xml/template_namespace.h"

namespace q9 {
namespace {

constexpr const char* kSections[] = {"LocalSettings", "NetworkSettings", "Bindings", "Ndi"};

// 100 parameters, 25 in each of four sections; the first `changed` carry
// another value and `added` more stand at the end of LocalSettings.
std::string Device(int changed, int added) {
  std::string xml = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<LogDevice xmlns=\"" +
                    NamespaceForPrefix("dev") +
                    "\" DeviceID=\"ETH\" CP_TYPE=\"TCPIP\" MajorVersion=\"5\" MinorVersion=\"2\">\n"
                    "  <DeviceHeader>\n"
                    "    <Parameter><Name>DeviceName</Name><Value>Bench</Value></Parameter>\n"
                    "  </DeviceHeader>\n";
  int number = 0;
  for (size_t s = 0; s < std::size(kSections); ++s) {
    const std::string section = kSections[s];
    xml += "  <" + section + ">\n";
    for (int i = 0; i < 25; ++i, ++number) {
      const std::string value = number < changed ? "changed" : "value " + std::to_string(number);
      xml += "    <Parameter><Name>P" + std::to_string(number) + "</Name><Value>" + value +
             "</Value></Parameter>\n";
    }
    if (s == 0) {
      for (int i = 0; i < added; ++i) {
        xml += "    <ParameterInt><Name>New" + std::to_string(i) + "</Name><Value>" +
               std::to_string(i) + "</Value></ParameterInt>\n";
      }
    }
    xml += "  </" + section + ">\n";
  }
  return xml +
         "  <SpareSection/>\n"
         "  <Load>\n    <RelevantSection>LocalSettings</RelevantSection>\n  </Load>\n"
         "  <UserInterface>\n    <ParameterAssemblyLink><Name>PropSheet</Name><Assembly>a.dll"
         "</Assembly><Path>bin</Path><Function>Show</Function></ParameterAssemblyLink>\n"
         "  </UserInterface>\n</LogDevice>\n";
}

class Store {
 public:
  Store() : env_(Env::Default()) {
    folder_ = "/tmp/q9-merge-benchmark-" + std::to_string(env_.process().ProcessId());
    (void)env_.files().CreateDirectory(folder_);
    (void)env_.files().CreateDirectory(JoinPath(folder_, "DefaultLogDevices"));
  }
  ~Store() { (void)env_.files().DeleteTree(folder_); }

  Env& env() { return env_; }
  std::string Path(const std::string& name) const {
    return JoinPath(JoinPath(folder_, "DefaultLogDevices"), name);
  }
  void Write(const std::string& path, const std::string& text) {
    if (env_.files().WriteFileAtomic(path, text) != 0) std::abort();
  }

 private:
  Env& env_;
  std::string folder_;
};

void RunMerge(benchmark::State& state, int changed, int added) {
  Store store;
  XmlContext xml(store.env());
  InstallLog log(store.env(), nullptr);
  const std::string source = store.Path("source.xml");
  const std::string target = store.Path("target.xml");
  const std::string target_text = Device(0, 0);
  store.Write(source, Device(changed, added));
  for (auto _ : state) {
    state.PauseTiming();
    store.Write(target, target_text);
    state.ResumeTiming();
    MergeDefaultLogDevices(xml, log, source, target, 1);
  }
}

void BM_MergeDefaultLogDeviceUnchanged(benchmark::State& state) { RunMerge(state, 0, 0); }
BENCHMARK(BM_MergeDefaultLogDeviceUnchanged)->Unit(benchmark::kMicrosecond);

void BM_MergeDefaultLogDevice20Changed20New(benchmark::State& state) { RunMerge(state, 20, 20); }
BENCHMARK(BM_MergeDefaultLogDevice20Changed20New)->Unit(benchmark::kMicrosecond);

// The floor of the changed case: one atomic save of the target.
void BM_AtomicSaveOfTarget(benchmark::State& state) {
  Store store;
  const std::string text = Device(20, 20);
  for (auto _ : state) store.Write(store.Path("target.xml"), text);
}
BENCHMARK(BM_AtomicSaveOfTarget)->Unit(benchmark::kMicrosecond);

}  // namespace
}  // namespace q9

BENCHMARK_MAIN();
