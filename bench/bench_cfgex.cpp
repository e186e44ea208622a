// The library: every operation on single instances, through the public interface but for the
// commit without a save.
#include <array>
#include <memory>
#include <mutex>
#include <random>

#include "bench/cfgex_store.h"

namespace bench {
namespace {

constexpr const char* kSubject = "cfgex";
constexpr const wchar_t* kCategory = L"AlarmRule";

std::vector<std::wstring> RuleIds(std::size_t size, const std::vector<std::size_t>& rules) {
  std::vector<std::wstring> ids;
  for (const std::size_t rule : rules) ids.push_back(Wide(Data(size).instances[rule].id));
  return ids;
}

// Returns the values in turn, again from the first after the last.
template <class T>
class Turn {
 public:
  explicit Turn(const std::vector<T>& values) : m_Values(values) {}
  const T& Next() {
    const T& value = m_Values[m_Next];
    if (++m_Next == m_Values.size()) m_Next = 0;
    return value;
  }

 private:
  const std::vector<T>& m_Values;
  std::size_t m_Next = 0;
};

// The rules in random order, the same in each run.
std::vector<std::size_t> Shuffled(std::vector<std::size_t> rules) {
  std::mt19937_64 random(7);
  for (std::size_t i = rules.size(); i > 1; --i) std::swap(rules[i - 1], rules[random() % i]);
  return rules;
}

void Reading(benchmark::State& state, std::size_t size, const std::vector<std::size_t>& rules) {
  CCfgConfigurationEx& store = SharedStore(size);
  const std::vector<std::wstring> ids = RuleIds(size, rules);
  Turn turn(ids);
  OS::x_wstring xml;
  for (auto _ : state)
    Require(store.GetConfiguration(turn.Next().c_str(), kCategory, xml), "read a rule");
  Require(xml.str().size() > 1000, "read a rule whole");
}

std::vector<OS::x_wstring> WideChangedRules(std::size_t size) {
  std::vector<OS::x_wstring> texts;
  for (const std::string& text : ChangedRules(size)) texts.emplace_back(Wide(text));
  return texts;
}

void RegisterFields() {
  const auto sensor = [] {
    CCfgConfigurationEx& store = SharedStore(100);
    for (const Instance& instance : Data(100).instances) {
      if (instance.category == "Sensor")
        return CCfgInstance(Read(store, Wide(instance.id), L"Sensor"));
    }
    return CCfgInstance();
  };
  const auto rule = [] {
    return CCfgInstance(Read(SharedStore(100), RuleIds(100, Data(100).rules)[0], kCategory));
  };
  const auto get = [](const char* name, auto open, const wchar_t* field, auto value) {
    Register(name, kSubject, 1, 0, [=](benchmark::State& state) {
      const CCfgInstance instance = open();
      auto read = value;
      for (auto _ : state) Require(instance.GetFieldValue(field, read), "read a field");
      benchmark::DoNotOptimize(read);
    });
  };
  const auto set = [](const char* name, auto open, const wchar_t* field, auto one, auto other) {
    Register(name, kSubject, 1, 0, [=](benchmark::State& state) {
      CCfgInstance instance = open();
      bool first = false;
      for (auto _ : state)
        Require(instance.SetFieldValue(field, (first = !first) ? one : other), "write a field");
    });
  };
  get("get-int", sensor, L"Offset", 0);
  get("get-bool", sensor, L"Enabled", false);
  get("get-text", sensor, L"Name", OS::x_wstring());
  get("get-int-below", rule, L"Trigger/Limit", 0);
  set("set-int", sensor, L"Offset", 12, -7);
  set("set-bool", sensor, L"Enabled", true, false);
  set("set-text", sensor, L"Name", OS::x_wstring(L"Sensor at the gate"),
      OS::x_wstring(L"Sensor in the yard"));
  set("set-int-below", rule, L"Trigger/Limit", 40, 80);
}

void RegisterStores(std::size_t size) {
  const std::size_t iterations = Iterations(size);
  Register("open", kSubject, size, iterations, [size](benchmark::State& state) {
    UseLibrary();
    const auto path = Directory("cfgex-open", size) / "main.xml";
    WriteFile(path, Xml(size));
    for (auto _ : state) {
      auto store = std::make_unique<CCfgConfigurationEx>();
      Require(store->Initialize(path.wstring().c_str()), "open a store");
      state.PauseTiming();
      store.reset();
      state.ResumeTiming();
    }
  });
  Register("read", kSubject, size, 0,
           [size](benchmark::State& state) { Reading(state, size, SpreadRules(Data(size))); });
  Register("read-any", kSubject, size, 0,
           [size](benchmark::State& state) { Reading(state, size, Shuffled(Data(size).rules)); });
  Register("commit", kSubject, size, iterations, [size](benchmark::State& state) {
    CCfgConfigurationEx& store = SharedStore(size);
    const std::vector<OS::x_wstring> texts = WideChangedRules(size);
    Turn turn(texts);
    for (auto _ : state)
      Require(store.SetConfiguration(turn.Next().c_str(), nullptr, nullptr), "commit a rule");
  });
  Register("commit-memory", kSubject, size, iterations, [size](benchmark::State& state) {
    CCfgConfigurationEx& store = SharedStore(size);
    const std::vector<OS::x_wstring> texts = WideChangedRules(size);
    Turn turn(texts);
    for (auto _ : state) Require(SetWithoutSaving(store, turn.Next()), "commit a rule in memory");
  });
  for (const bool inserting : {true, false}) {
    Register(inserting ? "insert" : "remove", kSubject, size, iterations,
             [size, inserting](benchmark::State& state) {
               CCfgConfigurationEx& store = SharedStore(size);
               const std::vector<OS::x_wstring> texts = WideChangedRules(size);
               Turn turn(texts);
               for (auto _ : state) {
                 const OS::x_wstring& xml = turn.Next();
                 if (inserting) state.PauseTiming();
                 Require(store.RemoveConfiguration(xml.c_str(), nullptr), "remove a rule");
                 inserting ? state.ResumeTiming() : state.PauseTiming();
                 Require(store.SetConfiguration(xml.c_str(), nullptr, nullptr), "insert a rule");
                 if (!inserting) state.ResumeTiming();
               }
             });
  }
  for (const bool deep : {false, true}) {
    Register(deep ? "copy-deep" : "copy", kSubject, size, iterations,
             [size, deep](benchmark::State& state) {
               // A store of its own, since the target's old content is lost.
               CCfgConfigurationEx& store =
                   SharedStore(size, deep ? "cfgex-copy-deep" : "cfgex-copy");
               const std::vector<std::wstring> ids = RuleIds(size, Data(size).rules);
               for (auto _ : state) {
                 Require(store.CopyConfiguration(ids.front().c_str(), ids.back().c_str(), deep,
                                                 nullptr, nullptr),
                         "copy a rule");
               }
             });
  }
  Register("memory", kSubject, size, 1, [size](benchmark::State& state) {
    UseLibrary();
    const auto path = Directory("cfgex-memory", size) / "main.xml";
    WriteFile(path, Xml(size));
    for (auto _ : state) {
      const double before = HeapInUse();
      CCfgConfigurationEx store;
      Require(store.Initialize(path.wstring().c_str()), "open a store");
      state.counters["bytes"] = (HeapInUse() - before) / static_cast<double>(size);
      // What the first read adds.
      Read(store, RuleIds(size, Data(size).rules)[0], kCategory);
      state.counters["bytes_used"] = (HeapInUse() - before) / static_cast<double>(size);
    }
  });
}

// Eight threads that read the rules of a store of 1,000 instances. The time is per read and thread;
// the rate is that of all together.
void RegisterThreads() {
  constexpr std::size_t kSize = 1000;
  constexpr std::size_t kThreads = 8;
  for (const bool shared : {true, false}) {
    for (const std::size_t threads : {std::size_t{1}, kThreads}) {
      const auto run = [shared](benchmark::State& state) {
        static std::mutex mutex;
        static std::array<std::unique_ptr<CCfgConfigurationEx>, kThreads> stores;
        const auto own = shared ? 0 : static_cast<std::size_t>(state.thread_index());
        std::vector<std::wstring> ids;
        {
          const std::lock_guard guard(mutex);
          if (!stores[own])
            stores[own] = std::make_unique<CCfgConfigurationEx>(
                OpenStore("cfgex-thread-" + std::to_string(own), kSize, Xml(kSize)));
          ids = RuleIds(kSize, SpreadRules(Data(kSize)));
        }
        CCfgConfigurationEx store = *stores[own];
        Turn turn(ids);
        OS::x_wstring xml;
        for (auto _ : state)
          Require(store.GetConfiguration(turn.Next().c_str(), kCategory, xml), "read a rule");
        state.SetItemsProcessed(state.iterations());
      };
      Register(shared ? "threads-one-store" : "threads-own-store", kSubject, threads, 0, run)
          ->Threads(static_cast<int>(threads));
    }
  }
}

void RegisterCreation() {
  for (const wchar_t* category : {L"Sensor", L"Zone"}) {
    const std::wstring name = category;
    Register("create-" + std::string(name.begin(), name.end()), kSubject, 1, 0,
             [category](benchmark::State& state) {
               UseLibrary();
               CCfgCategory maker(category);
               for (auto _ : state) {
                 CCfgInstance instance;
                 Require(maker.CreateInstance(instance), "create an instance");
               }
             });
  }
}

}  // namespace

void RegisterCfgex() {
  RegisterFields();
  RegisterCreation();
  RegisterThreads();
  for (const std::size_t size : g_Settings.stores) RegisterStores(size);
}

}  // namespace bench
