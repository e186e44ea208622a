// The store when memory runs out: in its turn, each allocation that an operation makes is refused,
// those of libxml2 included.
//
// The operators below take the place of the library's own and the tests' in this program; outside
// of a Shortage they do what those do.

#include <gtest/gtest.h>
#include <libxml/xmlerror.h>
#include <libxml/xmlmemory.h>
#include <malloc.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <new>
#include <set>
#include <string>
#include <utility>

#include "platform/dom/create_object.h"
#include "platform/dom/dom.h"
#include "tests/support/mishap.h"
#include "tests/support/store_case.h"

namespace {

bool g_Counts = false;
long g_Until = 0;       // allocations up to the one that is refused; below 0 afterwards
bool g_Onward = false;  // all that come after it are refused as well

bool Refuses() {
  const bool refuses = g_Counts && (--g_Until == 0 || (g_Onward && g_Until < 0));
  if (refuses) errno = ENOMEM;  // as malloc does
  return refuses;
}
void* Allocate(std::size_t size) { return Refuses() ? nullptr : std::malloc(size != 0 ? size : 1); }

// For the engine. Where it lacks memory it may free what it never set, or free a block twice: that
// ends the child at once, and never gives a block of somebody else away.
bool g_IsEngineShort = false;
constexpr int kFresh = 0xA5;  // such bytes are no address

void EngineFree(void* block) {
#ifndef CFGEX_SANITIZED  // which see to that themselves
  constexpr int kFreed = 0x5A;
  if (g_IsEngineShort && block != nullptr) {
    const auto* bytes = static_cast<const unsigned char*>(block);
    const std::size_t size = ::malloc_usable_size(block);
    if (std::all_of(bytes, bytes + size, [](int byte) { return byte == kFreed; })) std::abort();
    std::memset(block, kFreed, size);
    return;  // it stays allocated
  }
#endif
  std::free(block);
}
void* EngineAllocate(std::size_t size) {
  void* block = Allocate(size);
  g_IsEngineShort = g_IsEngineShort || block == nullptr;
  return block != nullptr ? std::memset(block, kFresh, size) : nullptr;
}
void* EngineReallocate(void* block, std::size_t size) {
  void* fresh = EngineAllocate(size);
  if (fresh == nullptr || block == nullptr) return fresh;
  std::memcpy(fresh, block, std::min(size, ::malloc_usable_size(block)));
  EngineFree(block);
  return fresh;
}
char* EngineDuplicate(const char* text) {
  const std::size_t size = std::strlen(text) + 1;
  void* copy = EngineAllocate(size);
  return static_cast<char*>(copy != nullptr ? std::memcpy(copy, text, size) : nullptr);
}

// Refuses the nth allocation of its time.
class Shortage {
 public:
  Shortage(long nth, bool onward) {
    g_Until = nth;
    g_Onward = onward;
    g_Counts = true;
  }
  ~Shortage() { g_Counts = false; }
  Shortage(const Shortage&) = delete;
  Shortage& operator=(const Shortage&) = delete;
};

bool Happened() { return g_Until <= 0; }

// Whether the body raises that there is no memory.
template <class Body>
bool LacksMemory(long nth, bool onward, Body&& body) {
  const Shortage shortage(nth, onward);
  try {
    body();
    return false;
  } catch (const std::bad_alloc&) {
    return true;
  } catch (const CCfgExException& failure) {
    if (failure.GetErrorCode() != CFGEX_ERROR_OUT_OF_MEMORY) throw;
    return true;
  }
}

}  // namespace

#ifdef CFGEX_SANITIZED
// A heap that the engine broke ends the child by a signal there, too.
extern "C" const char* __asan_default_options();  // NOLINT(bugprone-reserved-identifier)
extern "C" const char* __asan_default_options() { return "abort_on_error=1"; }
#endif

// Not inline, where a compiler would see `new` beside `free`.
[[gnu::noinline]] void* operator new(std::size_t size) {
  void* block = Allocate(size);
  if (block == nullptr) throw std::bad_alloc();
  return block;
}
[[gnu::noinline]] void* operator new[](std::size_t size) { return operator new(size); }
[[gnu::noinline]] void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  return Allocate(size);
}
[[gnu::noinline]] void* operator new[](std::size_t size, const std::nothrow_t&) noexcept {
  return Allocate(size);
}
[[gnu::noinline]] void operator delete(void* block) noexcept { std::free(block); }
[[gnu::noinline]] void operator delete(void* block, std::size_t) noexcept { std::free(block); }
[[gnu::noinline]] void operator delete[](void* block) noexcept { std::free(block); }
[[gnu::noinline]] void operator delete[](void* block, std::size_t) noexcept { std::free(block); }

namespace {

using namespace test;

int g_Reports = 0;
void CountReport(void*, const char*, ...) { ++g_Reports; }

[[maybe_unused]] const bool g_IsSetUp = [] {
  xmlMemSetup(EngineFree, EngineAllocate, EngineReallocate, EngineDuplicate);
  xmlSetGenericErrorFunc(nullptr, CountReport);
  return true;
}();

// --- The children of the sweep, each with one allocation refused

enum End { kFine = 0, kNothingRefused = 70, kFault = 71, kEngineCrash = 72 };

// An engine that lacked memory crashes in some places, or breaks the heap, and what comes upon that
// crashes later.
void OnCrash(int signal) {
  if (g_IsEngineShort) ::_exit(kEngineCrash);
  ::signal(signal, SIG_DFL);  // to come once more
}

void PrepareForCrash() {
  for (const int signal : {SIGSEGV, SIGBUS, SIGABRT, SIGFPE}) ::signal(signal, OnCrash);
  ::alarm(60);
}

template <class Body>
int InChild(Body&& body) {
  std::fflush(nullptr);
  const pid_t child = ::fork();
  if (child < 0) throw std::runtime_error("fork");
  if (child == 0) {
    PrepareForCrash();
    int end = kFault;
    try {
      end = body();
    } catch (const std::exception& failure) {
      std::printf("%s\n", failure.what());
    }
    std::fflush(nullptr);
    ::_exit(end);
  }
  int status = -1;
  ::waitpid(child, &status, 0);
  if (WIFEXITED(status)) return WEXITSTATUS(status);
  ADD_FAILURE() << "ended by signal " << WTERMSIG(status);
  return kFault;
}

int Failures() {
  return testing::UnitTest::GetInstance()->current_test_info()->result()->total_part_count();
}

// Refuses each allocation of `attempt(nth, onward)` in a child of its own, alone and with all that
// come after it, until it says that none was refused. `afterCrash` looks at what a child left in
// which the engine crashed.
template <class Attempt, class AfterCrash = void (*)()>
void SweepInChildren(
    Attempt&& attempt, AfterCrash&& afterCrash = [] {}) {
  int refused = 0;
  int crashes = 0;
  for (const bool onward : {false, true}) {
    int end = kFine;
    for (long nth = 1; end != kNothingRefused; nth += onward ? 5 * kStride : kStride) {
      SCOPED_TRACE((onward ? "from allocation " : "allocation ") + std::to_string(nth));
      end = InChild([&] {
        const int failures = Failures();  // a child begins with those of its parent
        const bool happened = attempt(nth, onward);
        EXPECT_EQ(g_Reports, 0) << "the library is silent";
        if (Failures() != failures) return kFault;
        return happened ? kFine : kNothingRefused;
      });
      if (end == kEngineCrash) {
        ++crashes;
        afterCrash();
      } else {
        EXPECT_TRUE(end == kFine || end == kNothingRefused) << end;
      }
      refused += end != kNothingRefused ? 1 : 0;
    }
  }
  // More than the engine's own few of a hundred would be the library's. A sample is no such share.
  if (kStride == 1) {
    EXPECT_LE(crashes, refused / 14);
  }
  testing::Test::RecordProperty("allocations_refused", refused);
  testing::Test::RecordProperty("engine_crashes", crashes);
}

// What an operation does when nothing is refused.
struct Clean {
  Ending ending = Ending::kFalse;
  std::wstring read;
  std::string before;     // what the store holds
  std::string after;      // and what it holds then
  std::string main;       // the main file afterwards
  bool isUsable = false;  // whether one more commit is done
  std::string next;       // and the main file then
  // What the store may hold after a crash, which may come late: old or new, or that and one more
  // commit.
  std::set<std::string> afterCrash;
};

class Sweep : public testing::TestWithParam<StoreCase> {
 protected:
  Sweep() : m_Stage(GetParam()) { m_Stage.Close(); }

  void Learn();
  bool Try(long nth, bool onward);  // whether an allocation was refused
  void CheckFiles() const;
  void CheckStore(bool raised);
  void CheckNewStore();

  std::string Main() const { return WithIdsNumbered(ReadBytes(m_Stage.Path())); }
  bool IsOpening() const { return GetParam().kind == StoreCase::kOpening; }
  bool IsClosing() const { return GetParam().kind == StoreCase::kClosing; }

  Stage m_Stage;
  Clean m_Clean;
};

void Sweep::Learn() {
  m_Stage.Reset();
  if (!IsOpening()) m_Clean.before = m_Stage.Content();
  m_Clean.ending = m_Stage.Run();
  m_Clean.read = m_Stage.read;
  m_Clean.main = Main();
  for (const auto& [name, bytes] : m_Stage.Before())
    ContentOf(bytes, GetParam().isStrict);  // which remembers it
  ContentOf(ReadBytes(m_Stage.Path()));
  if (!m_Stage.IsOpen()) return;
  m_Clean.after = m_Stage.Content();
  m_Clean.isUsable = m_Stage.Set(L"u");
  m_Clean.next = Main();
  m_Clean.afterCrash = {m_Clean.before, m_Clean.after, m_Stage.Content()};
  m_Stage.Close();
  m_Stage.Reset();
  if (m_Stage.IsOpen() && m_Stage.Set(L"u")) m_Clean.afterCrash.insert(m_Stage.Content());
  m_Stage.Close();
}

// A good file is never put aside.
void Sweep::CheckFiles() const {
  m_Stage.CheckFiles();
  const Files& before = m_Stage.Before();
  const auto main = before.find(m_Stage.MainName());
  if (IsClosing() || main == before.end() || !ContentOf(main->second, GetParam().isStrict)) return;
  for (const auto& [name, bytes] : m_Stage.Read()) EXPECT_FALSE(name.ends_with(".bad")) << name;
}

void Sweep::CheckStore(bool raised) {
  if (!m_Stage.IsOpen()) return;
  const std::string content = m_Stage.Content();
  EXPECT_TRUE(content == m_Clean.after ||
              (raised && (content.empty() || content == m_Clean.before)))
      << content;
  if (content == m_Clean.after) {
    EXPECT_EQ(m_Stage.Set(L"u"), m_Clean.isUsable);
    if (m_Clean.isUsable) {
      EXPECT_EQ(Main(), m_Clean.next);
    }
  } else {
    EXPECT_EQ(m_Stage.Set(L"u"), !content.empty());
  }
}

// Another store finds what is there.
void Sweep::CheckNewStore() {
  const bool canOpen = !m_Clean.isUsable || m_Stage.Open();
  EXPECT_TRUE(canOpen);
  if (!m_Clean.isUsable) return;
  const std::string content = m_Stage.Content();
  EXPECT_TRUE(m_Clean.afterCrash.contains(content)) << content;
  m_Stage.Close();
}

bool Sweep::Try(long nth, bool onward) {
  m_Stage.Reset();
  Ending ending = Ending::kOutOfMemory;  // also where the case itself lacks memory, not the store
  LacksMemory(nth, onward, [&] { ending = m_Stage.Run(); });
  if (!Happened()) return false;
  const bool raised = ending == Ending::kOutOfMemory;
  EXPECT_TRUE(raised || ending == m_Clean.ending) << "lack of memory is no answer";
  EXPECT_TRUE(raised || m_Stage.read == m_Clean.read);
  CheckFiles();
  CheckStore(raised);
  m_Stage.Close();
  return true;
}

TEST_P(Sweep, LosesNothingWhateverAllocationIsRefused) {
  Learn();
  SweepInChildren([this](long nth, bool onward) { return Try(nth, onward); },
                  [this] {
                    CheckFiles();
                    CheckNewStore();
                  });
}

// An object gets an array of references, whose targets come along, and is written.
Ending SettingReferences(Stage& stage) {
  const bool counts = std::exchange(g_Counts, false);
  CCfgConfigurationEx& store = stage.Store();
  CCfgInstanceArray targets;
  OS::x_wstring text;
  for (const wchar_t* id : {L"t", L"a"}) {
    if (!store.GetConfiguration(id, L"P", text)) return Ending::kFalse;
    targets.AddItem(CCfgInstance(text, stage.Option()));
  }
  CCfgInstance holder(Document(L"k", {Item(L"P", L"k", RefsTo({}))}).c_str(), stage.Option());
  g_Counts = counts;
  const bool isDone = holder.SetFieldValue(L"Refs", targets) && holder.GetXml(text) &&
                      store.SetConfiguration(text, nullptr, nullptr);
  return isDone ? Ending::kTrue : Ending::kFalse;
}

std::vector<StoreCase> Cases() {
  std::vector<StoreCase> cases;
  for (const StoreCase& each : StoreCases()) {
    const std::string name = each.name;
    if (name.find("link") != name.npos || name.find("tenth") != name.npos) continue;
    cases.push_back(each);
    if (name != "opening a damaged file") continue;
    static const std::string twins = Narrow(
        Configuration({Item(L"P", L"a", L"<Name>n</Name>") + Item(L"P", L"s", L"<Name>n</Name>")}));
    StoreCase duplicate = each;
    duplicate.name = "opening a duplicate key";
    duplicate.main = twins.c_str();
    duplicate.isStrict = true;
    cases.push_back(duplicate);
  }
  cases.push_back({"setting references", StoreCase::kChanging, SettingReferences});
  return cases;
}

INSTANTIATE_TEST_SUITE_P(Operations, Sweep, testing::ValuesIn(Cases()), NameOfCase);

// A schema with what a reading of it could pass over: a default, and a type of which a part of the
// store does not show whether it is valid.
std::string TyingSchema() {
  std::string schema = kSampleSchema;
  const std::string_view named = "<xs:element name=\"Name\" type=\"xs:string\" minOccurs=\"0\"/>";
  schema.replace(schema.find(named), named.size(),
                 "<xs:element name='Name' type='ShortType' default='abc'/>");
  schema.insert(schema.rfind("</xs:complexType>"), "<xs:attribute name='Mark' type='xs:ID'/>");
  return schema;
}

// What is told of a schema, what it makes, and what it lets into a file.
std::string Behaviour(CCfgOption& option) {
  const Folder folder(Folder::Place::kMemory);
  CCfgInstance instance(option);
  OS::x_wstring xml;
  const bool isMade = CCfgCategory(L"P", option).CreateInstance(instance) && instance.GetXml(xml);
  CCfgConfigurationEx store(option);
  const std::wstring path = folder.Path(L"main.xml");
  WriteBytes(path, Narrow(Configuration({})));
  std::string behaviour = WithIdsNumbered(Narrow(isMade ? xml.str() : L"none"));
  behaviour += store.Initialize(path.c_str()) ? " opens" : " does not open";
  for (const wchar_t* id : {L"a", L"b"}) {
    const std::wstring item =
        L"<P Mark='m'><InstanceId>" + std::wstring(id) + L"</InstanceId><Name>x</Name></P>";
    store.SetConfiguration(Document(id, {item}).c_str(), nullptr, nullptr);
    behaviour += ReadBytes(path);
  }
  return behaviour;
}

// A schema that was read without memory is read whole, or not at all; so is what it makes.
TEST(SchemaMemoryTest, ASchemaAndWhatItMakesAreWholeOrRaised) {
  const Folder folder(Folder::Place::kMemory);
  const std::wstring path = folder.Path(L"tying.xsd");
  WriteBytes(path, TyingSchema());
  CCfgOption clean;
  ASSERT_TRUE(clean.Initialize(path.c_str()));
  const std::string behaviour = Behaviour(clean);
  EXPECT_NE(behaviour.find("<Name>abc<"), behaviour.npos) << behaviour;
  EXPECT_EQ(behaviour.find("<InstanceId>b<"), behaviour.npos) << behaviour;

  const auto reads = [&](long nth, bool onward) {
    CCfgOption option;
    bool isRead = false;
    const bool raised = LacksMemory(nth, onward, [&] { isRead = option.Initialize(path.c_str()); });
    const bool happened = Happened();
    EXPECT_NE(raised, isRead) << "lack of memory is no answer";
    EXPECT_TRUE(isRead || option.Initialize(path.c_str()));
    EXPECT_EQ(Behaviour(option), behaviour);
    return happened;
  };
  const auto makes = [&](long nth, bool onward) {
    CCfgInstance instance(clean);
    CCfgObject part(clean);
    bool isMade = false;
    const bool raised = LacksMemory(nth, onward, [&] {
      isMade = CCfgCategory(L"P", clean).CreateInstance(instance) &&
               CCfgCategory(L"P", clean).CreateObject(L"Part", part);
    });
    const bool happened = Happened();
    EXPECT_NE(raised, isMade) << "lack of memory is no answer";
    EXPECT_EQ(Behaviour(clean), behaviour);
    return happened;
  };
  SweepInChildren(reads);
  SweepInChildren(makes);
}

#ifndef CFGEX_SANITIZED  // which take all of the address space
// The same with a limit that the system sets: whatever it is, the file and its backup stay.
TEST(AddressSpaceTest, AFileThatDoesNotFitIsLeftAlone) {
  const Folder folder(Folder::Place::kMemory);
  Sample sample({});  // for its schema
  std::vector<std::wstring> items;
  for (int i = 0; i < 30000; ++i)
    items.push_back(Item(L"P", L"p" + std::to_wstring(i), L"<Name>n</Name><Count>1</Count>"));
  const std::wstring path = folder.Path(L"main.xml");
  WriteBytes(path, Narrow(Configuration(items)));
  WriteBytes(folder.Path(L"main.backup.xml"), Narrow(Configuration({items[0]})));
  const std::string main = ReadBytes(path);
  const std::string backup = ReadBytes(folder.Path(L"main.backup.xml"));

  std::ifstream pages("/proc/self/statm");
  rlim_t used = 0;
  pages >> used;
  int raised = 0;
  int end = kFault;
  for (rlim_t more = 1; end != kNothingRefused && more < 1024; more += 1 + more / 4) {
    SCOPED_TRACE(std::to_string(more) + " MiB");
    end = InChild([&] {
      const rlim_t limit = used * static_cast<rlim_t>(::getpagesize()) + (more << 20);
      const rlimit space = {limit, limit};
      ::setrlimit(RLIMIT_AS, &space);
      CCfgConfigurationEx store(sample.option);
      g_IsEngineShort = true;  // it may crash
      const bool lacks = LacksMemory(-1, false, [&] {
        if (!store.Initialize(path.c_str())) throw std::runtime_error("not opened");
      });
      return lacks ? kFine : kNothingRefused;
    });
    EXPECT_TRUE(end == kFine || end == kNothingRefused || end == kEngineCrash) << end;
    raised += end == kFine ? 1 : 0;
    EXPECT_EQ(ReadBytes(path), main);
    const std::string now = ReadBytes(folder.Path(L"main.backup.xml"));
    EXPECT_TRUE(now == backup || (end == kNothingRefused && now == main));
  }
  EXPECT_EQ(end, kNothingRefused);
  EXPECT_GT(raised, 5);
}
#endif

struct Change {
  const char* name;
  void (*make)(IXMLDOMDocument2& document, IXMLDOMElement& root);
  // The engine is asked again where it said nothing of a refusal, and has memory then.
  bool asksAgain = false;
};

// Each change is raised as a failure or done; nothing is freed twice, and nobody hears of it.
TEST(EngineMemoryTest, AChangeWithoutMemoryIsRaisedInSilence) {
  const Change changes[] = {
      {"createElement, known", [](auto& document, auto&) { document.createElement(L"known"); }},
      {"createElement, new", [](auto& document, auto&) { document.createElement(L"new"); }},
      {"createNode", [](auto& document,
                        auto&) { document.createNode(DomNodeType::kAttribute, L"x:a", L"urn:x"); }},
      {"setAttribute, new", [](auto&, auto& root) { root.setAttribute(L"b", L"v"); }},
      {"setAttribute", [](auto&, auto& root) { root.setAttribute(L"a", L"v"); }},
      {"setAttribute, a namespace", [](auto&, auto& root) { root.setAttribute(L"xmlns:z", L"u"); }},
      {"setAttributeNode, and its namespace",
       [](auto& document, auto& root) {
         const bool counts = std::exchange(g_Counts, false);
         const auto made = document.createNode(DomNodeType::kAttribute, L"x:a", L"urn:x");
         g_Counts = counts;
         root.setAttributeNode(As<IXMLDOMAttribute>(made));
       }},
      {"put_text", [](auto&, auto& root) { root.put_text(L"text"); }},
      {"cloneNode", [](auto&, auto& root) { root.cloneNode(true); }},
      {"a path with what is no character",
       [](auto&, auto& root) {
         try {
           root.selectNodes(L"known\xFFFE");
         } catch (const _com_error&) {  // NOLINT(bugprone-empty-catch): it is no path
         }
       },
       true},
      {"moving",
       [](auto&, auto& root) {
         const auto other = CreateObject<IXMLDOMDocument2>(L"MSXML2.DOMDocument.6.0");
         const bool counts = std::exchange(g_Counts, false);
         other->loadXML(L"<o><x:fresh xmlns:x='urn:x' x:a='1'>t<!--c--><?p i?></x:fresh></o>");
         g_Counts = counts;
         const auto from = other->get_documentElement();
         root.appendChild(from->get_childNodes()->get_item(0));
       }},
  };
  for (const Change& change : changes) {
    bool happened = true;
    for (int nth = 1; happened; ++nth) {
      const auto document = CreateObject<IXMLDOMDocument2>(L"MSXML2.DOMDocument.6.0");
      ASSERT_TRUE(document->loadXML(
          L"<known a='1' xmlns:y='urn:y'><known b='2'>t<!--c--><?p i?></known></known>"));
      const auto root = document->get_documentElement();
      const std::wstring before = document->get_documentElement()->get_xml();
      const bool raised = LacksMemory(nth, false, [&] { change.make(*document, *root); });
      happened = Happened();
      EXPECT_TRUE(raised == happened || (happened && change.asksAgain))
          << change.name << ", allocation " << nth;
      if (!raised) continue;
      EXPECT_EQ(root->get_xml(), before) << change.name << ", allocation " << nth;
    }
    EXPECT_EQ(std::exchange(g_Reports, 0), 0) << change.name;
  }
}

}  // namespace
