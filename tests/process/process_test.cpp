// What the library does to the process around it, and what that may do to the library.
//
//   cfgex_process_test CASE
//
// Ends with 0 when the case holds; says what does not otherwise.

#include <fcntl.h>
#include <libxml/parser.h>
#include <libxml/xmlerror.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <clocale>
#include <condition_variable>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <functional>
#include <locale>
#include <map>
#include <mutex>
#include <sstream>
#include <thread>
#include <vector>

#include "tests/process/scenario.h"

namespace {

using process::ChangeZone;
using process::OpenSite;
using process::Require;
using process::Site;
using process::UseEverything;

// --- traces

// All of a process that a library might leave changed, by name.
std::map<std::string, std::string> Surroundings() {
  std::map<std::string, std::string> found;
  sigset_t blocked{};
  pthread_sigmask(SIG_SETMASK, nullptr, &blocked);
  for (int number = 1; number < NSIG; ++number) {
    struct sigaction action {};
    sigaction(number, nullptr, &action);
    std::ostringstream signal;
    signal << reinterpret_cast<void*>(action.sa_handler) << sigismember(&blocked, number);
    found["signal " + std::to_string(number)] = signal.str();
  }
  for (char** entry = environ; *entry != nullptr; ++entry) found["environment"] += *entry;
  for (int number = 0; number < 256; ++number)
    if (fcntl(number, F_GETFD) != -1)
      found["descriptor " + std::to_string(number)] =
          std::filesystem::read_symlink("/proc/self/fd/" + std::to_string(number));
  found["locale"] = std::setlocale(LC_ALL, nullptr) + std::locale().name();
  found["working directory"] = std::filesystem::current_path();
  const mode_t mask = umask(0);
  umask(mask);
  found["umask"] = std::to_string(mask);
  return found;
}

void Traces() {
  umask(0027);
  const auto before = Surroundings();
  UseEverything();
  const auto after = Surroundings();
  for (const auto& [name, value] : after)
    Require(before.contains(name) && before.at(name) == value, name);
  Require(after.size() == before.size(), "something is gone");
}

// --- locales

std::string FileMadeIn(const char* locale) {
  Require(std::setlocale(LC_ALL, locale) != nullptr, locale);
  std::locale::global(std::locale(locale));
  UseEverything();
  OpenSite site;
  site.Change(1234567);
  std::string bytes = site.Bytes("building.xml");
  Require(bytes.find("<Floor>-1234567</Floor>") != bytes.npos, "a number");
  Require(bytes.find("<LastInspection>2026-02-03T04:05:06Z<") != bytes.npos, "a date");
  Require(bytes.find("<Description>-1234567<") != bytes.npos, "a variant's number");
  Require(bytes.find("<Enabled>false<") != bytes.npos, "a boolean");
  return bytes;
}

void Locales() {
  const std::string expected = FileMadeIn("C");
  for (const char* locale : {"C.UTF-8", "de_DE.UTF-8", "tr_TR.UTF-8"}) {
    if (std::setlocale(LC_ALL, locale) == nullptr) {
      std::printf("no %s here\n", locale);
    } else {
      Require(FileMadeIn(locale) == expected, std::string("the file differs in ") + locale);
    }
  }
}

// --- fork

// In the child of a process whose other threads are not in the library at that moment.
void Fork() {
  OpenSite site;
  // The thread lives until the last child has ended: a child takes a finished one for a leak.
  constexpr int kEnd = 1000;
  std::mutex mutex;
  std::condition_variable turn;
  int round = 0;
  int done = 0;
  const std::jthread thread([&] {
    std::unique_lock lock(mutex);
    for (int next = 1;; ++next) {
      turn.wait(lock, [&] { return round >= next; });
      if (round == kEnd) return;
      lock.unlock();
      site.Change(0);
      lock.lock();
      done = next;
      turn.notify_all();
    }
  });
  struct AtEnd {
    std::function<void()> run;
    ~AtEnd() { run(); }
  } const atEnd{[&] {
    const std::lock_guard lock(mutex);
    round = kEnd;
    turn.notify_all();
  }};
  for (int next = 1; next <= 10; ++next) {
    std::unique_lock lock(mutex);
    round = next;
    turn.notify_all();
    turn.wait(lock, [&] { return done == next; });
    const pid_t child = fork();
    if (child == 0) {
      alarm(60);
      int status = 1;
      try {
        site.Change(100 + next);  // the store that came along
        UseEverything();          // and one of its own
        status = 0;
      } catch (const std::exception& failure) {
        std::fprintf(stderr, "child: %s\n", failure.what());
      }
      _exit(status);
    }
    int status = 0;
    Require(waitpid(child, &status, 0) == child && status == 0, "the child failed");
  }
}

// --- engine

int g_Reports = 0;
int g_Loads = 0;
xmlExternalEntityLoader g_DefaultLoader = nullptr;
void CountReport(void* /*context*/, const char* /*format*/, ...) { ++g_Reports; }
#if LIBXML_VERSION >= 21200
void CountError(void* /*context*/, const xmlError* /*error*/) { ++g_Reports; }
#else
void CountError(void* /*context*/, xmlError* /*error*/) { ++g_Reports; }
#endif
// What a schema includes is asked for here, whoever compiles it. Nothing else may be.
xmlParserInputPtr CountLoad(const char* url, const char* id, xmlParserCtxtPtr context) {
  if (url != nullptr && std::string(url).ends_with("/cfgex-types.xsd"))
    return g_DefaultLoader(url, id, context);
  ++g_Loads;
  return nullptr;
}

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"

// The application uses the engine too, with settings of its own and a document that it keeps.
void Engine() {
  const char text[] = "<!DOCTYPE a [<!ENTITY e 'x'>]>\n<a> <b id='1'>&e;</b> </a>";
  xmlDocPtr kept = xmlReadMemory(text, sizeof text - 1, "kept.xml", nullptr, XML_PARSE_NOENT);
  Require(kept != nullptr, "the application's document");
  int context = 0;
  xmlSetStructuredErrorFunc(&context, CountError);
  xmlSetGenericErrorFunc(&context, CountReport);
  g_DefaultLoader = xmlGetExternalEntityLoader();
  xmlSetExternalEntityLoader(CountLoad);
  xmlKeepBlanksDefault(0);
  xmlSubstituteEntitiesDefault(1);
  xmlLineNumbersDefault(0);
  xmlPedanticParserDefault(1);
  xmlLoadExtDtdDefaultValue = 6;
  xmlDoValidityCheckingDefaultValue = 1;
  xmlIndentTreeOutput = 0;
  xmlInitParser();
  const std::string expected = FileMadeIn("C");

  Require(g_Reports == 0, "the application's handlers were called");
  Require(g_Loads == 0, "the application's entity loader was called");
  Require(xmlGetExternalEntityLoader() == CountLoad, "the entity loader");
  Require(xmlStructuredError == CountError && xmlStructuredErrorContext == &context &&
              xmlGenericError == CountReport && xmlGenericErrorContext == &context,
          "the error handlers");
  Require(xmlKeepBlanksDefault(1) == 0 && xmlSubstituteEntitiesDefault(0) == 1 &&
              xmlPedanticParserDefault(0) == 1 && xmlLoadExtDtdDefaultValue == 6 &&
              xmlDoValidityCheckingDefaultValue == 1 && xmlIndentTreeOutput == 0,
          "the settings");
  xmlChar* content = xmlNodeGetContent(xmlDocGetRootElement(kept));
  Require(std::strchr(reinterpret_cast<const char*>(content), 'x') != nullptr, "its document");
  xmlFree(content);
  Require(xmlReadMemory("<a", 2, nullptr, nullptr, 0) == nullptr && g_Reports > 0,
          "its own errors go to its handlers");
  xmlFreeDoc(kept);

  xmlLoadExtDtdDefaultValue = 0;
  xmlDoValidityCheckingDefaultValue = 0;
  Require(FileMadeIn("C") == expected, "the application's settings reach the file");
}

// --- memory

std::atomic<long> g_Blocks{0};
void* CountedMalloc(size_t size) {
  ++g_Blocks;
  return std::malloc(size);
}
void CountedFree(void* block) {
  if (block != nullptr) --g_Blocks;
  std::free(block);
}
void* CountedRealloc(void* block, size_t size) {
  if (block == nullptr) ++g_Blocks;
  return std::realloc(block, size);
}
char* CountedStrdup(const char* text) {
  ++g_Blocks;
  return strdup(text);
}

// The application has given the engine memory functions of its own.
void Memory() {
  xmlMemSetup(CountedFree, CountedMalloc, CountedRealloc, CountedStrdup);
  UseEverything();
  const long blocks = g_Blocks;
  Require(blocks > 0, "not called");
  for (int i = 0; i < 5; ++i) UseEverything();
  Require(g_Blocks == blocks, "the engine's memory is not given back");
}

// --- cleanup

// The application ends its own use of the engine while the library holds nothing, and goes on.
void Cleanup() {
  for (int i = 0; i < 3; ++i) {
    UseEverything();
    xmlCleanupParser();
    std::vector<std::jthread> threads;
    for (int number = 0; number < 4; ++number) threads.emplace_back(UseEverything);
    threads.clear();
    xmlCleanupParser();
    xmlInitParser();
  }
}
#pragma GCC diagnostic pop

// --- exit

// A store that ends with the process, after main, while a thread that used it still waits.
void Exit() {
  static const Site site;
  static CCfgOption option;
  static CCfgConfigurationEx store(option);
  Require(option.Initialize(site.Path("building.xsd").c_str()), "schema");
  const pid_t child = fork();
  if (child == 0) {
    // The folder is the parent's.
    static CCfgConfigurationEx* const own = new CCfgConfigurationEx(option);
    Require(own->Initialize(site.Path("building.xml").c_str()), "open");
    static const struct AtExit {
      ~AtExit() {
        CCfgInstance made(option);
        const bool created = CCfgCategory(L"Zone", option).CreateInstance(made);
        delete own;  // renews the backup
        _exit(created ? 0 : 1);
      }
    } atExit;
    std::thread([] {
      ChangeZone(*own, option, 4321);
      CCfgInstance made(option);
      CCfgCategory(L"Zone", option).CreateInstance(made);
    }).join();
    std::exit(1);
  }
  int status = 0;
  Require(waitpid(child, &status, 0) == child && status == 0, "the process ended badly");
  Require(site.Bytes("building.backup.xml") == site.Bytes("building.xml"), "the backup");
  Require(site.Bytes("building.xml").find("4321") != std::string::npos, "the change");
}

}  // namespace

int main(int count, char** arguments) {
  const struct {
    const char* name;
    void (*run)();
  } cases[] = {{"traces", Traces}, {"locales", Locales}, {"fork", Fork}, {"engine", Engine},
               {"memory", Memory}, {"cleanup", Cleanup}, {"exit", Exit}};
  for (const auto& one : cases) {
    if (count != 2 || std::strcmp(arguments[1], one.name) != 0) continue;
    try {
      one.run();
      return 0;
    } catch (const std::exception& failure) {
      std::fprintf(stderr, "%s: %s\n", one.name, failure.what());
      return 1;
    }
  }
  std::fprintf(stderr, "usage: cfgex_process_test CASE\n");
  return 2;
}
