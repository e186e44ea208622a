// The store when memory runs out: in its turn, each allocation that an operation makes fails once.
//
// The operators below take the place of the library's own and the tests' in this program; outside
// of RunShortOfMemory they do what those do.

#include <gtest/gtest.h>
#include <libxml/xmlerror.h>
#include <libxml/xmlmemory.h>

#include <cstdlib>
#include <new>
#include <utility>

#include "platform/create_object.h"
#include "platform/dom/dom.h"
#include "tests/support/mishap.h"
#include "tests/support/store_case.h"

namespace {

thread_local long g_Until = 0;  // allocations up to the one that fails; 0 for none

}  // namespace

// Not inline, where a compiler would see `new` beside `free`.
[[gnu::noinline]] void* operator new(std::size_t size) {
  const bool fails = g_Until > 0 && --g_Until == 0;
  void* block = fails ? nullptr : std::malloc(size != 0 ? size : 1);
  if (block == nullptr) throw std::bad_alloc();
  return block;
}
[[gnu::noinline]] void* operator new[](std::size_t size) { return operator new(size); }
[[gnu::noinline]] void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  return std::malloc(size != 0 ? size : 1);
}
[[gnu::noinline]] void* operator new[](std::size_t size, const std::nothrow_t&) noexcept {
  return std::malloc(size != 0 ? size : 1);
}
[[gnu::noinline]] void operator delete(void* block) noexcept { std::free(block); }
[[gnu::noinline]] void operator delete(void* block, std::size_t) noexcept { std::free(block); }
[[gnu::noinline]] void operator delete[](void* block) noexcept { std::free(block); }
[[gnu::noinline]] void operator delete[](void* block, std::size_t) noexcept { std::free(block); }

namespace {

using namespace test;

// Runs `operation` again and again, each time from `begin` on and with the next allocation failing,
// until none fails. After each time `check` looks at what came out; false where memory was lacking.
template <class Begin, class Operation, class Check>
void RunShortOfMemory(Begin&& begin, Operation&& operation, Check&& check) {
  bool happened = true;
  int failed = 0;
  for (long nth = 1; happened && !testing::Test::HasFailure(); nth += kStride) {
    SCOPED_TRACE("allocation " + std::to_string(nth));
    begin();
    bool result = false;
    g_Until = nth;
    try {
      result = operation();
    } catch (const std::bad_alloc&) {
      result = false;
    }
    happened = std::exchange(g_Until, 0) == 0;
    failed += happened ? 1 : 0;
    check(result);
  }
  testing::Test::RecordProperty("allocations_failed", failed);
}

class MemoryTest : public testing::TestWithParam<StoreCase> {};

TEST_P(MemoryTest, LeavesWholeFilesNoRemainsAndAStoreThatWorksOrHoldsNothing) {
  Stage stage(GetParam());
  const auto content = [&] { return ContentOf(ReadBytes(stage.Path())); };
  RunShortOfMemory([&] { stage.Reset(); }, [&] { return stage.Run() == Ending::kTrue; },
                   [&](bool isDone) {
                     for (const auto& [name, text] : stage.Read())
                       EXPECT_FALSE(IsLeftover(name)) << name;
                     if (GetParam().kind == StoreCase::kOpening) {
                       EXPECT_EQ(stage.Set(L"u"), isDone) << "what is not loaded takes nothing";
                       if (!isDone) return;
                       EXPECT_EQ(content(), stage.Content());
                     } else if (GetParam().kind == StoreCase::kChanging) {
                       EXPECT_TRUE(content());
                       EXPECT_TRUE(stage.Set(L"u"));
                       EXPECT_EQ(content(), stage.Content());
                     }
                   });
}

std::vector<StoreCase> SomeCases() {
  std::vector<StoreCase> cases;
  for (const StoreCase& storeCase : StoreCases()) {
    for (const char* name : {"inserting", "the twentieth commit", "opening",
                             "opening a damaged file", "closing what is not valid"})
      if (storeCase.name == std::string(name)) cases.push_back(storeCase);
  }
  return cases;
}

INSTANTIATE_TEST_SUITE_P(Operations, MemoryTest, testing::ValuesIn(SomeCases()), NameOfCase);

// A store that goes from one file to another must not save the second one's content in the first.
TEST(MemoryShortTest, AFileIsNeverSavedUnderThePathOfAnother) {
  Sample sample({Item(L"P", L"a")});
  const std::string first = ReadBytes(sample.configFile);
  const std::wstring second = sample.folder.Path(std::wstring(100, L'x') + L".xml");
  WriteBytes(second, Narrow(Configuration({Item(L"P", L"b")})));
  RunShortOfMemory(
      [&] {
        sample.store = std::make_unique<CCfgConfigurationEx>(sample.option);
        ASSERT_TRUE(sample.store->Initialize(sample.configFile.c_str()));
      },
      [&] { return sample.store->Initialize(second.c_str()); },
      [&](bool isOpen) {
        const std::wstring one = Document(L"c", {Item(L"P", L"c")});
        EXPECT_EQ(sample.store->SetConfiguration(one.c_str(), nullptr, nullptr), isOpen);
        EXPECT_EQ(ReadBytes(sample.configFile), first);
      });
}

// The engine asks for its memory elsewhere.
thread_local int g_EngineUntil = 0;
void* EngineAllocate(std::size_t size) {
  const bool fails = g_EngineUntil > 0 && --g_EngineUntil == 0;
  return fails ? nullptr : std::malloc(size);
}

int g_Reports = 0;
void CountReport(void*, const char*, ...) { ++g_Reports; }

struct Change {
  const char* name;
  void (*make)(cfgex::IXMLDOMDocument2& document, cfgex::IXMLDOMElement& root);
};

// Each change is raised as a failure or done; nothing is freed twice, and nobody hears of it.
TEST(EngineMemoryTest, AChangeWithoutMemoryIsRaisedInSilence) {
  using namespace cfgex;
  const Change changes[] = {
      {"createElement, known", [](auto& document, auto&) { document.createElement(L"known"); }},
      {"createElement, new", [](auto& document, auto&) { document.createElement(L"new"); }},
      {"createNode", [](auto& document,
                        auto&) { document.createNode(DomNodeType::kAttribute, L"x:a", L"urn:x"); }},
      {"setAttribute, new", [](auto&, auto& root) { root.setAttribute(L"b", L"v"); }},
      {"setAttribute", [](auto&, auto& root) { root.setAttribute(L"a", L"v"); }},
      {"setAttribute, a namespace", [](auto&, auto& root) { root.setAttribute(L"xmlns:z", L"u"); }},
      {"put_text", [](auto&, auto& root) { root.put_text(L"text"); }},
      {"cloneNode", [](auto&, auto& root) { root.cloneNode(true); }},
      {"moving",
       [](auto&, auto& root) {
         const auto other = CreateObject<IXMLDOMDocument2>(L"MSXML2.DOMDocument.6.0");
         const long kept = std::exchange(g_EngineUntil, 0);
         other->loadXML(L"<o><x:fresh xmlns:x='urn:x' x:a='1'>t<!--c--><?p i?></x:fresh></o>");
         g_EngineUntil = static_cast<int>(kept);
         const auto from = other->get_documentElement();
         root.appendChild(from->get_childNodes()->get_item(0));
       }},
  };
  xmlFreeFunc release = nullptr;
  xmlMallocFunc allocate = nullptr;
  xmlReallocFunc reallocate = nullptr;
  xmlStrdupFunc duplicate = nullptr;
  xmlMemGet(&release, &allocate, &reallocate, &duplicate);
  xmlMemSetup(release, EngineAllocate, reallocate, duplicate);
  xmlSetGenericErrorFunc(nullptr, CountReport);
  for (const Change& change : changes) {
    bool happened = true;
    for (int nth = 1; happened; ++nth) {
      const auto document = CreateObject<IXMLDOMDocument2>(L"MSXML2.DOMDocument.6.0");
      ASSERT_TRUE(document->loadXML(
          L"<known a='1' xmlns:y='urn:y'><known b='2'>t<!--c--><?p i?></known></known>"));
      const auto root = document->get_documentElement();
      const std::wstring before = document->get_documentElement()->get_xml();
      bool raised = false;
      g_EngineUntil = nth;
      try {
        change.make(*document, *root);
      } catch (const _com_error&) {
        raised = true;
      }
      happened = std::exchange(g_EngineUntil, 0) == 0;
      EXPECT_EQ(raised, happened) << change.name << ", allocation " << nth;
      if (!raised) continue;
      EXPECT_EQ(root->get_xml(), before) << change.name << ", allocation " << nth;
    }
    EXPECT_EQ(std::exchange(g_Reports, 0), 0) << change.name;
  }
  xmlSetGenericErrorFunc(nullptr, nullptr);
  xmlMemSetup(release, allocate, reallocate, duplicate);
}

}  // namespace
