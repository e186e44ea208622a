#include "bench/bench.h"

#include <fcntl.h>
#include <malloc.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <iostream>
#include <iterator>
#include <map>
#include <utility>

namespace bench {
namespace {

// Stores of this size and larger take long: one iteration, three repetitions.
constexpr std::size_t kHuge = 100000;

}  // namespace

Settings g_Settings{std::filesystem::current_path() / "bench-files",
                    CFGEX_BENCH_EXAMPLES,
                    {100, 1000, 10000, 100000},
                    {10, 100, 1000, 10000}};

void Require(bool done, std::string_view what) {
  if (done) return;
  std::cerr << "the benchmark stops: failed to " << what << "\n";
  std::quick_exit(1);
}

const StoreData& Data(std::size_t size) {
  static std::map<std::size_t, StoreData> stores;
  const auto [entry, isNew] = stores.try_emplace(size);
  if (isNew) entry->second = MakeStore(size);
  return entry->second;
}

const std::string& Xml(std::size_t size) {
  static std::map<std::size_t, std::string> texts;
  const auto [entry, isNew] = texts.try_emplace(size);
  if (isNew) entry->second = ToXml(Data(size));
  return entry->second;
}

std::filesystem::path Directory(const std::string& subject, std::size_t size) {
  const auto path = g_Settings.directory / (subject + "-" + std::to_string(size));
  std::filesystem::remove_all(path);
  std::filesystem::create_directories(path);
  return path;
}

std::filesystem::path Schema() { return g_Settings.examples / "building.xsd"; }

namespace {

void WriteAll(int descriptor, std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t written = ::write(descriptor, bytes.data(), bytes.size());
    Require(written > 0, "write a file");
    bytes.remove_prefix(static_cast<std::size_t>(written));
  }
}

}  // namespace

void WriteDurably(const std::filesystem::path& path, std::string_view bytes) {
  const std::string made = path.string() + ".new";
  const int file = ::open(made.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
  Require(file >= 0, "make a file");
  WriteAll(file, bytes);
  Require(::fsync(file) == 0 && ::close(file) == 0, "flush a file");
  Require(::rename(made.c_str(), path.c_str()) == 0, "rename a file");
  const int directory = ::open(path.parent_path().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  Require(directory >= 0 && ::fsync(directory) == 0 && ::close(directory) == 0,
          "flush a directory");
}

void WriteFile(const std::filesystem::path& path, std::string_view bytes) {
  std::ofstream file(path, std::ios::binary);
  file.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  Require(static_cast<bool>(file.flush()), "write a file");
}

std::string ReadFile(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  std::string text{std::istreambuf_iterator<char>(file), {}};
  Require(static_cast<bool>(file) && !text.empty(), "read a file");
  return text;
}

double HeapInUse() {
  const struct mallinfo2 info = mallinfo2();
  return static_cast<double>(info.uordblks + info.hblkhd);
}

std::size_t Iterations(std::size_t size) {
  if (size <= 1000) return 20;
  return size < kHuge ? 5 : 1;
}

benchmark::internal::Benchmark* Register(const std::string& operation, const std::string& subject,
                                         std::size_t size, std::size_t iterations, Run run) {
  const std::string name = operation + "/" + subject + "/" + std::to_string(size);
  auto* made = benchmark::RegisterBenchmark(name.c_str(), std::move(run));
  made->UseRealTime()->Unit(benchmark::kMicrosecond);
  if (iterations != 0) made->Iterations(static_cast<benchmark::IterationCount>(iterations));
  if (size >= kHuge) made->Repetitions(3);
  return made;
}

std::vector<std::string> ChangedRules(std::size_t size) {
  std::vector<std::string> texts;
  for (const char* message : kMessages) {
    for (const std::size_t rule : SpreadRules(Data(size)))
      texts.push_back(RuleDocument(Data(size), rule, message));
  }
  return texts;
}

std::vector<std::size_t> SpreadRules(const StoreData& store) {
  constexpr std::size_t kCount = 10;
  std::vector<std::size_t> rules;
  for (std::size_t i = 0; i < kCount; ++i)
    rules.push_back(store.rules[i * store.rules.size() / kCount]);
  return rules;
}

}  // namespace bench
