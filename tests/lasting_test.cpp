// What holds for long: many commits, long chains, hostile texts, many threads.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <malloc.h>
#include <unistd.h>

#include <atomic>
#include <thread>

#include "tests/support/sample.h"

namespace {

using namespace test;

// An instance that refers to `next`, or to nothing if that is empty.
std::wstring Link(const std::wstring& id, const std::wstring& next) {
  return Item(L"P", id, next.empty() ? L"" : RefTo(L"P", next));
}

#ifdef CFGEX_SANITIZED
constexpr int kReplacements = 500;
constexpr int kLinks = 20000;
#else
constexpr int kReplacements = 100000;
constexpr int kLinks = 100000;
#endif

TEST(LastingTest, ReplacingAnInstanceLeavesMemoryWhereItWas) {
  Sample sample({Item(L"P", L"a", RefTo(L"Q", L"b")) + Item(L"P", L"c"),
                 Item(L"Q", L"b") + Item(L"Q", L"d")});
  const std::wstring document =
      Document(L"a", {Item(L"P", L"a", L"<Name>n</Name>" + RefTo(L"Q", L"b")), Item(L"Q", L"b")});
  // The disk is not what is looked at: no save gets as far as that.
  const FailCall fail(FaultPoint::kOpen, 1, true);
  const auto replace = [&](int times) {
    for (int i = 0; i < times; ++i)
      ASSERT_TRUE(sample.store->SetConfiguration(document.c_str(), nullptr, nullptr));
    for (int i = 0; i < times / 100; ++i) {
      // A view outlives the element that it sees.
      CCfgInstance instance(document.c_str(), sample.option);
      CCfgInstance reached(sample.option);
      ASSERT_TRUE(instance.GetFieldValue(L"Ref", reached));
      ASSERT_TRUE(instance.SetFieldValue(L"Ref", CCfgInstance(document.c_str(), sample.option)));
    }
  };
  replace(kReplacements / 10);
  const long nodes = test::LiveNodes();
  const auto used = static_cast<long>(mallinfo2().uordblks);
  replace(kReplacements);
  EXPECT_EQ(test::LiveNodes(), nodes);
  EXPECT_LT(static_cast<long>(mallinfo2().uordblks), used + 20000);
}

TEST(LastingTest, ALongChainIsReadAndWritten) {
  std::wstring chain;
  for (int i = 0; i < kLinks; ++i)
    chain += Link(std::to_wstring(i), i + 1 < kLinks ? std::to_wstring(i + 1) : L"");
  Sample sample({chain});
  const std::wstring read = sample.Get(L"0");
  ASSERT_FALSE(read.empty());
  Ids changed;
  ASSERT_TRUE(sample.store->SetConfiguration(read.c_str(), &changed, nullptr));
  EXPECT_EQ(changed.size(), static_cast<std::size_t>(kLinks));
  EXPECT_EQ(changed.back(), std::to_wstring(kLinks - 1).c_str());
  sample.Reopen();
  EXPECT_EQ(sample.Get(L"0").size(), read.size());
}

// Takes what the process writes to its standard output and error while it lives.
class Captured {
 public:
  Captured() : m_Out(dup(1)), m_Err(dup(2)) {
    const int file = open(Narrow(m_File).c_str(), O_CREAT | O_WRONLY | O_TRUNC, 0600);
    dup2(file, 1);
    dup2(file, 2);
    close(file);
  }
  ~Captured() {
    Restore(m_Out, 1);
    Restore(m_Err, 2);
  }
  std::string Text() const { return ReadBytes(m_File); }

 private:
  static void Restore(int from, int to) {
    dup2(from, to);
    close(from);
  }
  Folder m_Folder;
  std::wstring m_File = m_Folder.Path(L"out");
  int m_Out;
  int m_Err;
};

TEST(HostileTest, IsRefusedInSilenceWithNothingLost) {
  std::wstring deep;
  for (int i = 0; i < 100000; ++i) deep += L"<a>";
  std::wstring bomb = L"<!DOCTYPE Configuration [<!ENTITY e0 'x'>";
  for (int i = 1; i < 20; ++i) {
    const std::wstring inner = L"&e" + std::to_wstring(i - 1) + L";";
    bomb += L"<!ENTITY e" + std::to_wstring(i) + L" '";
    for (int j = 0; j < 10; ++j) bomb += inner;
    bomb += L"'>";
  }
  bomb += L"]>" + Document(L"a", {Item(L"P", L"a", L"<Name>&e19;</Name>")});
  const std::wstring outside = L"<!DOCTYPE Configuration [<!ENTITY e SYSTEM '/etc/passwd'>]>" +
                               Document(L"a", {Item(L"P", L"a", L"<Name>&e;</Name>")});
  std::wstring nestedParts = L"<Label/>";
  for (int i = 0; i < 2000; ++i) nestedParts = L"<Part>" + nestedParts + L"</Part>";
  const std::wstring texts[] = {
      L"",
      L"\xFEFF",
      L"<",
      L"\x1",
      L"<a>\xD800</a>",
      deep,
      bomb,
      outside,
      L"<?xml version='1.0' encoding='EBCDIC-CP-BE'?><a/",
      L"<a xmlns:x='y' x:b='1' x:b='2'/>",
      Document(L"a", {Item(L"P", L"a", nestedParts)}),
      L"<Configuration instance_id='a'><Category><P/></Category></Configuration>"};
  Sample sample({Item(L"P", L"a")});
  const std::string before = ReadBytes(sample.configFile);
  const Captured captured;
  for (const std::wstring& text : texts) {
    EXPECT_FALSE(sample.store->SetConfiguration(text.c_str(), nullptr, nullptr));
    EXPECT_FALSE(sample.store->RemoveConfiguration(text.c_str(), nullptr));
    EXPECT_FALSE(CCfgInstance(sample.option).Initialize(text.c_str()));
    EXPECT_EQ(ReadBytes(sample.configFile), before);
  }
  const std::string files[] = {"",
                               "\xff\xfe<\0a\0",
                               "<a>\xff</a>",
                               Narrow(deep.substr(0, 300000)),
                               Narrow(bomb),
                               "\0\0\0\0",
                               "<?xml version='1.0' encoding='none'?><a/>",
                               "<?xml version='1.0' encoding='UTF-16'?><a/>",
                               "\xfe\xff\x00<\xd8\x00\xd8\x00",
                               "<?xml version='1.0' encoding='UTF-7'?><a>+AD",
                               std::string(1, '\x0c')};
  for (const std::string& bytes : files) {
    WriteBytes(sample.folder.Path(L"bad.xml"), bytes);
    CCfgConfigurationEx store(sample.option);
    EXPECT_FALSE(store.Initialize(sample.folder.Path(L"bad.xml").c_str()));
    CCfgOption option;
    EXPECT_FALSE(option.Initialize(sample.folder.Path(L"bad.xml").c_str()));
  }
  EXPECT_FALSE(sample.Get(L"a").empty());
  EXPECT_EQ(captured.Text(), "");
}

TEST(ThreadsTest, ManyThreadsShareOneStoreWhileItIsInitialisedAnew) {
  std::wstring items;
  for (int i = 0; i < 8; ++i)
    items += Item(L"P", L"p" + std::to_wstring(i), L"<Count>0</Count>" + RefTo(L"Q", L"q"));
  Sample sample({items, Item(L"Q", L"q")});
  std::atomic<int> answered{0};
  const auto work = [&sample, &answered](int number, CCfgConfigurationEx store) {
    const std::wstring id = L"p" + std::to_wstring(number);
    for (int round = 0; round < 40; ++round) {
      OS::x_wstring xml;
      // The file is gone from memory for a moment whenever it is initialised anew.
      if (!store.GetConfiguration(id.c_str(), xml)) continue;
      CCfgInstance instance(xml, sample.option);
      if (!instance.SetFieldValue(L"Count", round)) continue;
      if (instance.GetXml(xml) && store.SetConfiguration(xml, nullptr, nullptr)) ++answered;
    }
  };
  {
    std::vector<std::jthread> threads;
    for (int number = 0; number < 8; ++number) threads.emplace_back(work, number, *sample.store);
    threads.emplace_back([&sample, store = *sample.store]() mutable {
      for (int round = 0; round < 40; ++round) store.Initialize(sample.configFile.c_str());
    });
  }
  EXPECT_GT(answered, 0);
  sample.Reopen();
  EXPECT_EQ(sample.Get(L"p7").empty(), false);
}

TEST(ThreadsTest, TheSingletonIsMadeOnce) {
  CCfgOption::CloseSingleton();
  std::atomic<CCfgOption*> seen[8] = {};
  {
    std::vector<std::jthread> threads;
    for (auto& slot : seen) threads.emplace_back([&slot] { slot = CCfgOption::Instance(); });
  }
  for (auto& slot : seen) EXPECT_EQ(slot, seen[0]);
}

}  // namespace
