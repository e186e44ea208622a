// The library: closures of growing size. Each chain of users is in a small store of its own, with a
// target for copying, which holds a copy from the start. If the cost is linear, a chain ten times
// as long takes ten times the time, except for what the rest of the store costs.
#include <map>

#include "bench/cfgex_store.h"

namespace bench {
namespace {

constexpr const char* kSubject = "cfgex";
constexpr const wchar_t* kCategory = L"User";

constexpr const wchar_t* kFirstId = L"chain";
constexpr const wchar_t* kTargetId = L"copy";

CCfgConfigurationEx& Store(std::size_t length) {
  static std::map<std::size_t, CCfgConfigurationEx> stores;
  if (const auto found = stores.find(length); found != stores.end()) return found->second;
  StoreData data = MakeStore(kBlockSize);
  AddChain(data, "chain", length);
  AddChain(data, "copy", 1);
  CCfgConfigurationEx store = OpenStore("cfgex-closure", length, ToXml(data));
  Require(store.CopyConfiguration(kFirstId, kTargetId, true, nullptr, nullptr),
          "copy a chain for the first time");
  return stores.emplace(length, store).first->second;
}

}  // namespace

void RegisterCfgexClosures() {
  for (const std::size_t length : g_Settings.chains) {
    const std::size_t iterations = length <= 1000 ? 10 : 2;
    Register("closure-read", kSubject, length, 0, [length](benchmark::State& state) {
      CCfgConfigurationEx& store = Store(length);
      for (auto _ : state) Read(store, kFirstId, kCategory);
    });
    // In memory: writing the file would hide the part that grows with the closure.
    Register("closure-write", kSubject, length, iterations, [length](benchmark::State& state) {
      CCfgConfigurationEx& store = Store(length);
      const OS::x_wstring xml = Read(store, kFirstId, kCategory);
      for (auto _ : state) Require(SetWithoutSaving(store, xml), "write a closure");
    });
    Register("closure-remove", kSubject, length, iterations, [length](benchmark::State& state) {
      CCfgConfigurationEx& store = Store(length);
      const OS::x_wstring xml = Read(store, kFirstId, kCategory);
      for (auto _ : state) {
        Require(store.RemoveConfiguration(xml.c_str(), nullptr), "remove a closure");
        state.PauseTiming();
        Require(SetWithoutSaving(store, xml), "put a closure back");
        state.ResumeTiming();
      }
    });
    Register("closure-copy", kSubject, length, iterations, [length](benchmark::State& state) {
      CCfgConfigurationEx& store = Store(length);
      for (auto _ : state) {
        Require(store.CopyConfiguration(kFirstId, kTargetId, true, nullptr, nullptr),
                "copy a closure");
      }
    });
  }
}

}  // namespace bench
