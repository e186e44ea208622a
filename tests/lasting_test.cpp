// What holds for long: many commits, long chains, many threads.

#include <gtest/gtest.h>
#include <malloc.h>

#include <atomic>
#include <thread>

#include "tests/support/sample.h"

namespace {

using namespace test;

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
    for (int i = 0; i < times; ++i) ASSERT_TRUE(sample.Set(document));
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
  for (int i = 0; i < kLinks; ++i)  // the last one leads nowhere
    chain += Item(L"P", std::to_wstring(i), RefTo(L"P", std::to_wstring(i + 1)));
  Sample sample({chain});
  const std::wstring read = sample.Get(L"0");
  ASSERT_FALSE(read.empty());
  Ids changed;
  ASSERT_TRUE(sample.Set(read, &changed));
  EXPECT_EQ(changed.size(), static_cast<std::size_t>(kLinks + 1));
  EXPECT_EQ(changed.back(), std::to_wstring(kLinks).c_str());
  sample.Reopen();
  EXPECT_EQ(sample.Get(L"0").size(), read.size());
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

}  // namespace
