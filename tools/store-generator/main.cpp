// store-generator <program-files root> <N>: writes a store of N default log
// devices (and N/10 protocols and boards) for benchmarks.
#include <cstdio>
#include <cstdlib>

#include "store_generator.h"

int main(int argc, char** argv) {
  const int count = argc == 3 ? std::atoi(argv[2]) : 0;
  if (count <= 0) {
    std::fprintf(stderr, "usage: store-generator <program-files root> <N>\n");
    return 87;
  }
  const q9::ResultCode result = q9::GenerateStore(q9::Env::Default(), Q9_SAMPLE_STORE, argv[1], count);
  if (result != 0) std::fprintf(stderr, "store-generator: failed with %d\n", result);
  return result == 0 ? 0 : 1;
}
