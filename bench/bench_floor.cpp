// The floor: the least time that libxml2 and the disk need, without finding or changing anything.
#include <cstring>
#include <vector>

#include "bench/bench.h"
#include "bench/libxml2_util.h"

namespace bench {
namespace {

void Memory(benchmark::State& state, std::size_t size, int options) {
  const auto path = Directory("floor-memory", size) / "main.xml";
  WriteFile(path, Xml(size));
  double used = 0;
  for (auto _ : state) {
    const double before = HeapInUse();
    const DocPtr document = ParseFile(path, options);
    used = HeapInUse() - before;
  }
  state.counters["bytes"] = used / static_cast<double>(size);
}

}  // namespace

void RegisterFloor() {
  for (const std::size_t size : g_Settings.stores) {
    Register("open", "floor", size, Iterations(size), [size](benchmark::State& state) {
      const auto path = Directory("floor-open", size) / "main.xml";
      WriteFile(path, Xml(size));
      CompiledSchema();
      for (auto _ : state) {
        const DocPtr document = ParseFile(path, XML_PARSE_NOBLANKS);
        Validate(document.get());
        WriteDurably(path.parent_path() / "main.backup.xml", ReadFile(path));
        state.PauseTiming();  // the tree stays with a store that is open
        const_cast<DocPtr&>(document).reset();
        state.ResumeTiming();
      }
    });
    Register("write", "floor", size, Iterations(size), [size](benchmark::State& state) {
      const auto path = Directory("floor-write", size) / "main.xml";
      const std::string& bytes = Xml(size);
      for (auto _ : state) WriteDurably(path, bytes);
      state.counters["file"] = static_cast<double>(bytes.size());
    });
    Register("memcpy", "floor", size, 0, [size](benchmark::State& state) {
      const std::string& bytes = Xml(size);
      std::vector<char> copy(bytes.size());
      for (auto _ : state) {
        std::memcpy(copy.data(), bytes.data(), bytes.size());
        benchmark::DoNotOptimize(copy.data());
        benchmark::ClobberMemory();
      }
    });
    const std::size_t iterations = size <= 1000 ? 0 : Iterations(size);
    Register("validate", "floor", size, iterations, [size](benchmark::State& state) {
      const DocPtr document = ParseText(Xml(size), XML_PARSE_NOBLANKS);
      for (auto _ : state) Validate(document.get());
    });
    Register("serialise", "floor", size, iterations, [size](benchmark::State& state) {
      const DocPtr document = ParseText(Xml(size), XML_PARSE_NOBLANKS);
      for (auto _ : state) {
        xmlChar* bytes = nullptr;
        int length = 0;
        xmlDocDumpMemory(document.get(), &bytes, &length);
        Require(bytes != nullptr, "serialise a document");
        xmlFree(bytes);
      }
    });
    // Parsed without options, and without the nodes that hold nothing but white space.
    Register("memory", "floor", size, 1,
             [size](benchmark::State& state) { Memory(state, size, 0); });
    Register("memory-noblanks", "floor", size, 1,
             [size](benchmark::State& state) { Memory(state, size, XML_PARSE_NOBLANKS); });
  }
}

}  // namespace bench
