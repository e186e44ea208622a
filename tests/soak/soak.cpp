// Mixed operations from eight threads for as long as wanted: on one store, or each on a store of
// its own over one schema. The memory must stay where it was after the first round, and the files
// valid at every moment.
//
//   cfgex_soak --stores=one|each [--operations=1000000]
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
#include <cstring>
#include <exception>
#include <fstream>
#include <memory>
#include <stdexcept>
#include <thread>
#include <vector>

#include "src/instance_document.h"
#include "tests/soak/soak_worker.h"
#include "tests/support/sample.h"

namespace {

constexpr int kThreads = 8;
constexpr int kRounds = 10;
#ifdef CFGEX_SANITIZED
constexpr bool kIsSanitized = true;  // then memory is not the program's alone
#else
constexpr bool kIsSanitized = false;
#endif
// What the kept texts of the files may differ by from round to round.
constexpr long kBytesInUseTolerance = 100'000;
constexpr long kResidentTolerance = 8'000'000;

struct Memory {
  long inUse = 0;     // bytes
  long resident = 0;  // bytes
};

Memory Measure() {
  Memory now;
  now.inUse = static_cast<long>(mallinfo2().uordblks);
  long pages = 0;
  std::ifstream("/proc/self/statm") >> pages >> pages;
  now.resident = pages * sysconf(_SC_PAGESIZE);
  return now;
}

class Soak {
 public:
  Soak(bool storeEach, long operations) : m_Operations(operations) {
    const std::wstring schema = m_Folder.Path(L"schema.xsd");
    test::WriteBytes(schema, test::kSampleSchema);
    Require(m_Option.Initialize(schema.c_str()), "the schema is refused");
    // A category without instances leaves its empty element in the file, and the next instance gets
    // a new one: so that the files do not grow by that, each category has one that stays.
    std::wstring shared = test::Item(L"P", L"stays-p") + test::Item(L"Q", L"stays-q");
    for (int i = 0; i < soak::kSharedInstances; ++i)
      shared += soak::InstanceText(L"R", soak::SharedId(i), 0);
    for (int i = 0; i < (storeEach ? kThreads : 1); ++i) {
      m_Files.push_back(m_Folder.Path(L"main" + std::to_wstring(i) + L".xml"));
      test::WriteBytes(m_Files.back(), test::Narrow(test::Configuration({shared})));
      m_Stores.emplace_back(m_Option);
      Require(m_Stores.back().Initialize(m_Files.back().c_str()), "the file is refused");
    }
    for (int i = 0; i < kThreads; ++i) m_Workers.emplace_back(i, m_Option);
  }

  void Run() {
    Memory first;
    for (int round = 1; round <= kRounds; ++round) {
      const auto start = std::chrono::steady_clock::now();
      RunRound();
      const std::chrono::duration<double> seconds = std::chrono::steady_clock::now() - start;
      const Memory now = Measure();
      std::printf(
          "%ld operations, %.1f s; %ld bytes in use, %ld KB resident; %ld looks at the files\n",
          m_Operations / kRounds * round, seconds.count(), now.inUse, now.resident / 1024,
          m_Looks.load());
      std::fflush(stdout);
      if (round == 1) first = now;
      Require(kIsSanitized || now.inUse < first.inUse + kBytesInUseTolerance,
              "memory is not given back");
      Require(kIsSanitized || now.resident < first.resident + kResidentTolerance,
              "the process grows");
    }
    Require(m_Looks > 0, "nobody looked at the files");
    m_Stores.clear();
    m_Workers.clear();
    for (const std::string& name : m_Folder.Names())
      Require(name.find(".bad") == name.npos && name.find("cfgex-new") == name.npos,
              ("left over: " + name).c_str());
  }

 private:
  static void Require(bool holds, const char* what) {
    if (!holds) throw std::runtime_error(what);
  }

  // Not by a store, which would heal the file.
  void CheckFile(const std::wstring& file) const {
    const auto document = NewDocument(m_Option);
    std::wstring reason;
    Require(document && document->load(file), "a file cannot be read");
    Require(ValidateDocument(document, reason), "a file is not valid");
  }

  void RunRound() {
    std::atomic<bool> ended{false};
    std::vector<std::exception_ptr> failures(kThreads + 1);
    const auto guarded = [](std::exception_ptr& failure, auto&& body) {
      try {
        body();
      } catch (const std::exception&) {
        failure = std::current_exception();
      }
    };
    {
      std::jthread watcher([&] {
        guarded(failures[kThreads], [&] {
          do {
            for (const std::wstring& file : m_Files) CheckFile(file);
            m_Looks += static_cast<long>(m_Files.size());
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
          } while (!ended);
        });
      });
      std::vector<std::jthread> threads;
      for (std::size_t i = 0; i < kThreads; ++i)
        threads.emplace_back([&, i] {
          guarded(failures[i], [&] {
            m_Workers[i].Run(m_Stores[i % m_Stores.size()], m_Operations / kRounds / kThreads);
          });
        });
      threads.clear();
      ended = true;
    }
    for (const std::exception_ptr& failure : failures)
      if (failure) std::rethrow_exception(failure);
    CheckReopened();
    for (std::size_t i = 0; i < kThreads; ++i) m_Workers[i].Clear(m_Stores[i % m_Stores.size()]);
    malloc_trim(0);
  }

  // What is in memory is what is on disk.
  void CheckReopened() {
    for (std::size_t i = 0; i < kThreads; ++i) m_Workers[i].CheckAll(m_Stores[i % m_Stores.size()]);
    for (std::size_t i = 0; i < m_Stores.size(); ++i)
      Require(m_Stores[i].Initialize(m_Files[i].c_str()), "a file is refused");
    for (std::size_t i = 0; i < kThreads; ++i) m_Workers[i].CheckAll(m_Stores[i % m_Stores.size()]);
  }

  long m_Operations;
  test::Folder m_Folder;
  CCfgOption m_Option;
  std::vector<std::wstring> m_Files;
  std::vector<CCfgConfigurationEx> m_Stores;
  std::vector<soak::Worker> m_Workers;
  std::atomic<long> m_Looks{0};
};

int Usage() {
  std::fprintf(stderr, "usage: cfgex_soak --stores=one|each [--operations=1000000]\n");
  return 2;
}

}  // namespace

int main(int count, char** arguments) {
  std::string stores;
  long operations = 1'000'000;
  for (int i = 1; i < count; ++i) {
    const std::string argument = arguments[i];
    const std::size_t value = argument.find('=') + 1;
    if (argument.starts_with("--stores=")) {
      stores = argument.substr(value);
    } else if (argument.starts_with("--operations=")) {
      operations = std::atol(argument.c_str() + value);
    } else {
      return Usage();
    }
  }
  if ((stores != "one" && stores != "each") || operations < kRounds * kThreads) return Usage();
  try {
    Soak(stores == "each", operations).Run();
    std::puts("memory flat, files valid");
    return 0;
  } catch (const std::exception& failure) {
    std::fprintf(stderr, "cfgex_soak: %s\n", failure.what());
    return 1;
  }
}
