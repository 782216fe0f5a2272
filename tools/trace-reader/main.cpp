#include <iostream>
#include <string>
#include <vector>

#include "platform/env.h"
#include "trace_reader.h"

int main(int argc, char** argv) {
  const std::vector<std::string> args(argv + 1, argv + argc);
  // Following ends when the user interrupts the program.
  return q9::RunTraceReader(args, q9::Env::Default().shared(), std::cout, std::cerr,
                            [] { return true; });
}
