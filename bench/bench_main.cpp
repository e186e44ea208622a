// Compares the library with a floor, with the same operations written by hand, and with other
// programs.
//
//   open          from the file to a store that answers
//   read          an alarm rule and the two instances that it reaches, as text; ten rules in turn
//   read-any      the same, all rules of the store in random order
//   get-*, set-*  one typed field of a loaded instance: int, bool, text, and an int two levels down
//   commit        one changed alarm rule is stored, and the store written to the disk
//   commit-memory the same without writing the file
//   insert        an alarm rule with the two that it reaches; saved
//   remove        the same
//   copy, copy-deep   an alarm rule becomes a copy of another; saved
//   create        a new instance from the schema
//   closure-*     a chain of N references, read, written, removed, deep-copied
//   threads-*     eight threads that read, from one store or from one each
//   memory        heap in use per instance, in bytes, as the counter "bytes"
//   write, memcpy, validate, serialise   the parts of the floor
//
// Options, beside the framework's own:
//
//   --quick          stores of 100 and 1,000 instances, closures to 100, one repetition
//   --directory=DIR  where files are written; its file system matters
//   --examples=DIR   where the example's schema is
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <string>
#include <string_view>
#include <vector>

#include "bench/bench.h"

namespace {

bool HasOption(const std::vector<std::string>& arguments, std::string_view name) {
  for (const std::string& argument : arguments) {
    if (argument.starts_with(name)) return true;
  }
  return false;
}

void RegisterAll() {
  bench::RegisterFloor();
  bench::RegisterByHand();
  bench::RegisterCfgex();
  bench::RegisterCfgexClosures();
#ifdef CFGEX_BENCH_LIBYANG
  bench::RegisterLibyang();
#endif
#ifdef CFGEX_BENCH_XSDCXX
  bench::RegisterXsdcxx();
#endif
#ifdef CFGEX_BENCH_SQLITE
  bench::RegisterSqlite();
#endif
}

}  // namespace

int main(int argc, char** argv) {
  using bench::g_Settings;
  bool quick = false;
  std::vector<std::string> arguments;
  for (int i = 0; i < argc; ++i) {
    const std::string argument = argv[i];
    if (argument == "--quick") {
      quick = true;
    } else if (argument.starts_with("--directory=")) {
      g_Settings.directory = argument.substr(std::strlen("--directory="));
    } else if (argument.starts_with("--examples=")) {
      g_Settings.examples = argument.substr(std::strlen("--examples="));
    } else {
      arguments.push_back(argument);
    }
  }
  if (quick) {
    g_Settings.stores = {100, 1000};
    g_Settings.chains = {10, 100};
  }
  const auto set = [&](std::string_view name, std::string_view value) {
    if (!HasOption(arguments, name))
      arguments.push_back(std::string(name) + "=" + std::string(value));
  };
  set("--benchmark_repetitions", quick ? "1" : "5");
  set("--benchmark_min_time", quick ? "0.02" : "0.25");
  set("--benchmark_enable_random_interleaving", quick ? "false" : "true");
  set("--benchmark_report_aggregates_only", quick ? "false" : "true");

  std::vector<char*> raw;
  for (std::string& argument : arguments) raw.push_back(argument.data());
  int count = static_cast<int>(raw.size());
  benchmark::Initialize(&count, raw.data());
  if (benchmark::ReportUnrecognizedArguments(count, raw.data())) return 2;
  std::filesystem::create_directories(g_Settings.directory);
  RegisterAll();
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  std::filesystem::remove_all(g_Settings.directory);
  std::cout.flush();
  std::quick_exit(0);  // the stores that are still open have no files to go back to
}
