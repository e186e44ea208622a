// What the subjects of the benchmark share: options, sizes, and the floor's durable write.
//
// A benchmark is called OPERATION/SUBJECT/SIZE, the size being the number of instances of the store
// or of the closure. A subject keeps its stores from one repetition to the next; every operation
// leaves them as it found them, but for the order of instances and a changed text.
#pragma once

#include <benchmark/benchmark.h>

#include <cstddef>
#include <filesystem>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "bench/store_data.h"

namespace bench {

struct Settings {
  std::filesystem::path directory;  // for the files that are written; empty at the start
  std::filesystem::path examples;   // where building.xsd is
  std::vector<std::size_t> stores;  // sizes of stores
  std::vector<std::size_t> chains;  // sizes of closures
};
extern Settings g_Settings;

// Ends the program with a message unless `done`: an operation that failed must not be timed.
void Require(bool done, std::string_view what);

// The store of this size and its file; made once.
const StoreData& Data(std::size_t size);
const std::string& Xml(std::size_t size);

// A new empty directory for the files of one subject.
std::filesystem::path Directory(const std::string& subject, std::size_t size);
std::filesystem::path Schema();

// Makes `bytes` the content of `path`: written to a new file, flushed, renamed over it, and the
// directory flushed.
void WriteDurably(const std::filesystem::path& path, std::string_view bytes);
// For preparations.
void WriteFile(const std::filesystem::path& path, std::string_view bytes);
std::string ReadFile(const std::filesystem::path& path);

// The heap in use, large blocks included, in bytes.
double HeapInUse();

// How often an operation whose time grows with the store runs per repetition; 0 leaves that to the
// framework.
std::size_t Iterations(std::size_t size);

using Run = std::function<void(benchmark::State&)>;
// Registers an operation, measured in real time; it runs `iterations` times per repetition, if
// given.
benchmark::internal::Benchmark* Register(const std::string& operation, const std::string& subject,
                                         std::size_t size, std::size_t iterations, Run run);

// The documents that commits take in turn: each of the spread rules, with one message and then with
// another.
constexpr const char* kMessages[] = {"The gates are open", "The gates are closed"};
std::vector<std::string> ChangedRules(std::size_t size);

// Ten rules, evenly spread over the store. Every size has ten, so they take the same room in the
// caches of the machine.
std::vector<std::size_t> SpreadRules(const StoreData& store);

// The subjects. Those that were not built are absent from bench_main.cpp's list.
void RegisterFloor();
void RegisterByHand();
void RegisterCfgex();
void RegisterCfgexClosures();
void RegisterLibyang();
void RegisterXsdcxx();
void RegisterSqlite();

}  // namespace bench
