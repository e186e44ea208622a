// Mixed operations from eight threads for as long as wanted: on one store, or each on a store of
// its own over one schema. The memory must stay where it was after the first round, and the files
// valid at every moment.
//
//   cfgex_soak one|each [OPERATIONS]      1,000,000 if not given
//
// The files are made where TMPDIR says. Prints a line per round; ends with 1 when something is not
// as it must be.
//
// A round is a tenth of the operations. After it, nothing of the workers is left in the stores, so
// that what is in use then can be compared between rounds.

#include <malloc.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <fstream>
#include <future>
#include <map>
#include <optional>
#include <random>
#include <stdexcept>
#include <thread>

#include "src/instance_document.h"
#include "tests/support/sample.h"

namespace {

using namespace test;

constexpr int kThreads = 8;
constexpr int kRounds = 10;
// How many instances of P every worker has at most, and how many of R all workers of a store write.
constexpr int kOwnInstances = 6;
constexpr int kSharedInstances = 4;
#ifdef CFGEX_SANITIZED
constexpr bool kIsSanitized = true;  // then memory is not the program's alone
#else
constexpr bool kIsSanitized = false;
#endif
// What the kept texts of the files may differ by from round to round.
constexpr long kBytesInUseTolerance = 100'000;
constexpr long kResidentTolerance = 8'000'000;

void Require(bool holds, const char* what, const std::wstring& id = L"") {
  if (!holds) throw std::runtime_error(std::string(what) + " " + Narrow(id));
}

std::wstring ValueName(int value) { return L"n" + std::to_wstring(value); }

// An instance with all fields that the workers write.
std::wstring InstanceText(const std::wstring& category, const std::wstring& id,
                          const std::wstring& target = L"") {
  return Item(category, id,
              L"<Name>n0</Name><Count>0</Count><On>true</On><When>2024-01-01T00:00:00Z</When>"
              L"<Level>1</Level>" +
                  RefTo(L"Q", target) +
                  L"<Part><Label>part</Label><Part><Label>inner</Label></Part></Part><Texts/>"
                  L"<Tags/>");
}

// Writes the value in several places.
void Fill(CCfgInstance& instance, int value, const std::wstring& id) {
  CCfgStringArray texts;
  for (int i = 0; i < value % 7; ++i) texts.AddItem(ValueName(i).c_str());
  Require(instance.SetFieldValue(L"Name", ValueName(value).c_str()) &&
              instance.SetFieldValue(L"Count", value) &&
              instance.SetFieldValue(L"On", value % 2 == 0) &&
              instance.SetFieldValue(L"When", OS::CTime(2024, 1, 1 + value % 28, 0, 0, 0)) &&
              instance.SetFieldValue(L"Texts", texts) &&
              instance.SetFieldValue(L"Tags", Ids(static_cast<std::size_t>(value) % 5, L"<&>")),
          "a field is not written:", id);
}

// The value, which all its places tell alike.
int ValueOf(const CCfgInstance& instance, const std::wstring& id) {
  int count = -1;
  Ids tags;
  CCfgStringArray texts;
  Require(instance.GetFieldValue(L"Count", count) && instance.GetFieldValue(L"Tags", tags) &&
              instance.GetFieldValue(L"Texts", texts),
          "a field is not read:", id);
  const auto size = static_cast<std::size_t>(count);
  Require(TextOf(instance, L"Name") == Narrow(ValueName(count)) && tags.size() == size % 5 &&
              texts.GetItemCount() == size % 7,
          "fields that were written together differ:", id);
  return count;
}

// One thread: it does random operations on a store. Only the worker writes and removes its own
// instances, so that it knows what the store holds of them.
class Worker {
 public:
  Worker(int number, CCfgOption option, CCfgConfigurationEx store)
      : m_Number(number),
        m_Option(option),
        m_Store(store),
        m_Random(static_cast<unsigned int>(number) + 1U) {}

  void Run(long operations) {
    for (long i = 0; i < operations; ++i) DoOne();
  }
  // Whether the store holds of this worker's instances exactly what it expects.
  void CheckAll() {
    for (int number = 0; number < kOwnInstances; ++number) {
      const std::wstring id = Id(L'p', number);
      const auto own = m_Present.find(id);
      Require((own == m_Present.end()) == Get(id).empty(), "an instance is lost or back:", id);
      if (own != m_Present.end()) Check(id, own->second);
    }
  }
  // Takes everything of this worker out of the store.
  void Clear() {
    for (const auto& [id, value] : m_Present) Remove(id);
    m_Present.clear();
  }

 private:
  int Pick(int count) { return std::uniform_int_distribution<int>(0, count - 1)(m_Random); }
  std::wstring Id(wchar_t kind, int number) const {
    return L"w" + std::to_wstring(m_Number) + L"-" + kind + std::to_wstring(number);
  }
  std::wstring PickPresent() {
    return std::next(m_Present.begin(), Pick(static_cast<int>(m_Present.size())))->first;
  }
  std::wstring Get(const std::wstring& id) {
    OS::x_wstring xml;
    return m_Store.GetConfiguration(id.c_str(), xml) ? xml.str() : L"";
  }
  CCfgInstance Read(const std::wstring& id) { return CCfgInstance(Get(id).c_str(), m_Option); }
  bool Set(const CCfgInstance& instance) {
    return m_Store.SetConfiguration(XmlOf(instance).c_str(), nullptr, nullptr);
  }
  // The target that comes along with the instance, or nothing.
  std::wstring TargetOf(const std::wstring& id) {
    CCfgInstance target(m_Option);
    return Read(id).GetFieldValue(L"Ref", target) ? target.GetInstanceId().str() : L"";
  }
  void Check(const std::wstring& id, int value) {
    const CCfgInstance instance = Read(id);
    Require(instance.GetInstanceId() == id.c_str(), "missing, or another:", id);
    Require(ValueOf(instance, id) == value, "an old value came:", id);
  }
  void Remove(const std::wstring& id) {
    Require(m_Store.RemoveConfiguration(Get(id).c_str(), nullptr), "not removed:", id);
    Require(Get(id).empty(), "it is still there:", id);
  }

  void Write();
  void Copy(bool deep);
  void EditObjects();
  void WriteShared();
  void OfferInvalid();
  void DoOne();

  int m_Number;
  CCfgOption m_Option;
  CCfgConfigurationEx m_Store;
  std::mt19937 m_Random;
  int m_NextValue = 0;
  std::map<std::wstring, int> m_Present;  // own instances of P, and their values
};

void Worker::Write() {
  const std::wstring id = Id(L'p', Pick(kOwnInstances));
  const std::wstring target = Pick(3) == 0 ? L"" : Id(L'q', Pick(kOwnInstances));
  std::vector<std::wstring> groups{InstanceText(L"P", id, target)};
  if (!target.empty()) groups.push_back(InstanceText(L"Q", target));
  CCfgInstance instance(Document(id, groups).c_str(), m_Option);
  Fill(instance, ++m_NextValue, id);
  Require(Set(instance), "not written:", id);
  m_Present[id] = m_NextValue;
  Require(TargetOf(id) == target, "its target is lost or back:", id);
}

void Worker::Copy(bool deep) {
  const std::wstring source = PickPresent();
  const std::wstring target = PickPresent();
  if (source == target) return;
  const std::wstring reached = TargetOf(source);
  if (!m_Store.CopyConfiguration(source.c_str(), target.c_str(), deep, nullptr, nullptr))
    Require(false, "not copied:", target);
  m_Present[target] = m_Present[source];
  Check(target, m_Present[target]);
  const std::wstring copied = TargetOf(target);
  // What the source names and the store does not hold is made by a deep copy.
  Require(deep ? copied != reached || copied.empty() : copied == reached,
          "the copy has another target than it should:", target);
}

// Views of objects outlive what they see, and one document's part goes into another's.
void Worker::EditObjects() {
  const std::wstring id = PickPresent();
  CCfgInstance instance = Read(id);
  CCfgObject inner(m_Option), otherPart(m_Option);
  const CCfgInstance other(Document(L"o", {InstanceText(L"Q", L"o")}).c_str(), m_Option);
  const std::wstring label = ValueName(m_NextValue);
  Require(instance.GetFieldValue(L"Part/Part", inner) && other.GetFieldValue(L"Part", otherPart) &&
              otherPart.SetFieldValue(L"Label", label.c_str()) &&
              instance.SetFieldValue(L"Part", otherPart),
          "not embedded:", id);
  Require(inner.SetFieldValue(L"Label", L"detached"), "label of what was cut out:", id);
  Require(TextOf(instance, L"Part/Label") == Narrow(label), "label:", id);
  CCfgInstance reached(m_Option);
  Require(instance.SetFieldValue(L"Ref", other) && instance.GetFieldValue(L"Ref", reached),
          "reference:", id);
}

// Others write it too: any whole value will do.
void Worker::WriteShared() {
  const std::wstring id = L"shared-" + std::to_wstring(Pick(kSharedInstances));
  CCfgInstance instance = Read(id);
  ValueOf(instance, id);
  Fill(instance, ++m_NextValue, id);
  Require(Set(instance), "not written:", id);
}

void Worker::OfferInvalid() {
  const std::wstring id = PickPresent();
  CCfgInstance instance = Read(id);
  Require(instance.SetFieldValue(L"Level", 99) && !Set(instance), "an invalid one was taken:", id);
  Require(!m_Store.SetConfiguration(XmlOf(instance).substr(0, 100).c_str(), nullptr, nullptr),
          "half of a text was taken:", id);
}

void Worker::DoOne() {
  const int dice = Pick(100);
  if (dice < 20 || m_Present.empty()) return Write();
  if (dice < 28) return WriteShared();
  if (dice < 35) {
    const std::wstring id = PickPresent();
    Remove(id);
    m_Present.erase(id);
    return;
  }
  if (dice < 47) return Copy(dice % 2 == 0);
  if (dice < 55) return EditObjects();
  if (dice < 60) return OfferInvalid();
  const std::wstring id = PickPresent();
  Check(id, m_Present[id]);
}

struct Memory {
  long inUse = static_cast<long>(mallinfo2().uordblks);  // bytes
  long resident = 0;                                     // bytes

  Memory() {
    std::ifstream("/proc/self/statm") >> resident >> resident;
    resident *= sysconf(_SC_PAGESIZE);
  }
};

class Soak {
 public:
  Soak(bool storeEach, long operations) : m_Operations(operations) {
    const std::wstring schema = m_Folder.Path(L"schema.xsd");
    WriteBytes(schema, kSampleSchema);
    Require(m_Option.Initialize(schema.c_str()), "the schema is refused");
    // A category without instances leaves its empty element in the file, and the next instance gets
    // a new one: so that the files do not grow by that, each category has one that stays.
    std::wstring shared = InstanceText(L"P", L"stays-p") + InstanceText(L"Q", L"stays-q");
    for (int i = 0; i < kSharedInstances; ++i)
      shared += InstanceText(L"R", L"shared-" + std::to_wstring(i));
    for (int i = 0; i < (storeEach ? kThreads : 1); ++i) {
      m_Files.push_back(m_Folder.Path(L"main" + std::to_wstring(i) + L".xml"));
      WriteBytes(m_Files.back(), Narrow(Configuration({shared})));
      m_Stores.emplace_back(m_Option);
      Require(m_Stores.back().Initialize(m_Files.back().c_str()), "the file is refused");
    }
    for (std::size_t i = 0; i < kThreads; ++i)
      m_Workers.emplace_back(static_cast<int>(i), m_Option, m_Stores[i % m_Stores.size()]);
  }

  void Run() {
    std::optional<Memory> first;
    for (int round = 1; round <= kRounds; ++round) {
      const auto start = std::chrono::steady_clock::now();
      RunRound();
      const std::chrono::duration<double> seconds = std::chrono::steady_clock::now() - start;
      const Memory now;
      std::printf(
          "%ld operations, %.1f s; %ld bytes in use, %ld KB resident; %ld looks at the files\n",
          m_Operations / kRounds * round, seconds.count(), now.inUse, now.resident / 1024,
          m_Looks.load());
      std::fflush(stdout);
      if (!first) first = now;
      Require(kIsSanitized || now.inUse < first->inUse + kBytesInUseTolerance,
              "memory is not given back");
      Require(kIsSanitized || now.resident < first->resident + kResidentTolerance,
              "the process grows");
    }
    Require(m_Looks > 0, "nobody looked at the files");
    m_Stores.clear();
    m_Workers.clear();
    for (const std::string& name : m_Folder.Names())
      Require(name.find(".bad") == name.npos && name.find("cfgex-new") == name.npos,
              "left over:", Wide(name));
  }

 private:
  // Not by a store, which would heal the file.
  void CheckFile(const std::wstring& file) const {
    const auto document = NewDocument(m_Option);
    std::wstring reason;
    Require(document && document->load(file), "a file cannot be read");
    Require(ValidateDocument(document, reason), "a file is not valid");
  }

  void RunRound() {
    std::atomic<bool> ended{false};
    auto watcher = std::async(std::launch::async, [&] {
      do {
        for (const std::wstring& file : m_Files) CheckFile(file);
        m_Looks += static_cast<long>(m_Files.size());
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
      } while (!ended);
    });
    std::vector<std::future<void>> threads;
    for (Worker& worker : m_Workers)
      threads.push_back(
          std::async(std::launch::async, [&] { worker.Run(m_Operations / kRounds / kThreads); }));
    for (const auto& thread : threads) thread.wait();
    ended = true;
    threads.push_back(std::move(watcher));
    for (auto& thread : threads) thread.get();
    // What is in memory is what is on disk.
    for (Worker& worker : m_Workers) worker.CheckAll();
    for (std::size_t i = 0; i < m_Stores.size(); ++i)
      Require(m_Stores[i].Initialize(m_Files[i].c_str()), "a file is refused");
    for (Worker& worker : m_Workers) worker.CheckAll();
    for (Worker& worker : m_Workers) worker.Clear();
    malloc_trim(0);
  }

  long m_Operations;
  Folder m_Folder;
  CCfgOption m_Option;
  std::vector<std::wstring> m_Files;
  std::vector<CCfgConfigurationEx> m_Stores;
  std::vector<Worker> m_Workers;
  std::atomic<long> m_Looks{0};
};

}  // namespace

int main(int count, char** arguments) {
  const std::string stores = count > 1 ? arguments[1] : "";
  const long operations = count > 2 ? std::atol(arguments[2]) : 1'000'000;
  if ((stores != "one" && stores != "each") || operations < kRounds * kThreads) {
    std::fprintf(stderr, "usage: cfgex_soak one|each [OPERATIONS]\n");
    return 2;
  }
  try {
    Soak(stores == "each", operations).Run();
    std::puts("memory flat, files valid");
    return 0;
  } catch (const std::exception& failure) {
    std::fprintf(stderr, "cfgex_soak: %s\n", failure.what());
    return 1;
  }
}
