// Every operation of the store, in a process that ends in the midst of it.

#include <gtest/gtest.h>

#include <algorithm>
#include <set>

#include "tests/support/mishap.h"
#include "tests/support/store_case.h"

namespace {

using namespace test;

class CrashTest : public testing::TestWithParam<StoreCase> {
 protected:
  void SetUp() override { Learn(); }
  void TearDown() override { RecordProperty("kills", m_Kills); }

  bool Crash(Stage& stage, Mishap::Kind kind, int nth) {
    const bool ended = EndsInChild(kind, nth, [&] { stage.Run(); });
    m_Kills += ended ? 1 : 0;
    return ended;
  }
  // Has what each crash leaves looked at, until something is not right.
  template <class Look>
  void CrashEverywhere(Stage& stage, Look&& look) {
    for (const auto kind : {Mishap::kEnd, Mishap::kEndAfterPart}) {
      for (int nth = 1; !HasFailure() && Crash(stage, kind, nth); nth += kStride) {
        SCOPED_TRACE("at " + std::to_string(nth) + ", kind " + std::to_string(kind));
        look();
      }
      stage.Write(stage.Before());
    }
  }
  // Opens what a crash left, as a new process would, and looks at all that is there. Gives what is
  // there when it is closed again.
  Files Succeed(const Files& remains) const;

  // What the main file may hold after a crash, if it is whole.
  std::set<std::string> m_Contents;

 private:
  void Learn();

  int m_Kills = 0;
};

void CrashTest::Learn() {
  Stage stage(GetParam());
  for (const std::string& name : {stage.MainName(), std::string("main.backup.xml")}) {
    const auto file = stage.Before().find(name);
    if (file == stage.Before().end() || !m_Contents.empty()) continue;
    if (const auto content = ContentOf(file->second)) m_Contents.insert(*content);
  }
  if (GetParam().kind != StoreCase::kChanging) return;
  stage.Run();
  m_Contents.insert(ContentOf(ReadBytes(stage.Path())).value_or("not valid"));
}

Files CrashTest::Succeed(const Files& remains) const {
  Stage successor(GetParam());
  successor.Close();
  successor.Write(remains);
  successor.CheckFiles();
  EXPECT_EQ(successor.Open(), !m_Contents.empty());
  if (!m_Contents.empty()) {
    EXPECT_TRUE(m_Contents.contains(successor.Content())) << successor.Content();
    EXPECT_TRUE(successor.Set(L"u"));
  }
  successor.Close();
  return successor.Read();
}

TEST_P(CrashTest, ANewProcessFindsTheOldOrTheNewConfiguration) {
  Stage stage(GetParam());
  CrashEverywhere(stage, [&] {
    for (const auto& [name, content] : Succeed(stage.Read())) {
      // These wait for the next writing of their like.
      const bool waits = name == ".main.tmp.xml.cfgex-new" || name == ".cfgex-new";
      EXPECT_TRUE(!IsLeftover(name) || waits || m_Contents.empty()) << name;
    }
    stage.Write(stage.Before());
  });
}

// What a crash leaves is the same each time, so that it is there once. Bad files are not leftovers:
// there is one for each file that was found bad.
TEST_P(CrashTest, LeftoversDoNotPileUp) {
  Stage stage(GetParam());
  std::set<std::string> names;
  CrashEverywhere(stage, [&] {
    Files files = stage.Before();
    files.merge(stage.Read());
    stage.Write(files);
    for (const auto& [name, content] : files)
      if (!name.ends_with(".bad")) names.insert(name);
  });
  // The three files, with at most one beside each, and one for all bad files.
  EXPECT_LE(names.size(), 7U) << testing::PrintToString(names);
}

class TwoCrashesTest : public CrashTest {};

// A process that ends while it opens what a process left that ended while it opened.
TEST_P(TwoCrashesTest, LoseNothingEither) {
  Stage stage(GetParam());
  constexpr int kSample = 5;
  for (int first = 1; Crash(stage, Mishap::kEnd, first); first += 3 * kStride) {
    const Files remains = stage.Read();
    Stage second(GetParam());
    second.Write(remains);
    for (int nth = 1 + first % kSample; Crash(second, Mishap::kEnd, nth); nth += kSample) {
      SCOPED_TRACE("at " + std::to_string(first) + ", then at " + std::to_string(nth));
      Succeed(second.Read());
      if (HasFailure()) return;
      second.Write(remains);
    }
    stage.Write(stage.Before());
  }
}

INSTANTIATE_TEST_SUITE_P(Operations, CrashTest, testing::ValuesIn(StoreCases()), NameOfCase);

INSTANTIATE_TEST_SUITE_P(Openings, TwoCrashesTest, testing::ValuesIn(OpeningCases()), NameOfCase);

}  // namespace
