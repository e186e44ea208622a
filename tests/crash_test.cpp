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
  // What the main file may hold after a crash, if it is whole.
  void Learn(Stage& stage);
  // Opens what a crash left, as a new process would, and looks at all that is there.
  void CheckRemains(Stage& stage) const;
  bool Crash(Stage& stage, Mishap::Kind kind, int nth) {
    return EndsInChild(kind, nth, [&] { stage.Run(); });
  }

  std::set<std::string> m_Contents;
  int m_Kills = 0;
};

void CrashTest::Learn(Stage& stage) {
  const auto main = stage.Before().find(stage.MainName());
  if (main != stage.Before().end()) {
    if (const auto content = ContentOf(main->second)) m_Contents.insert(*content);
  }
  const auto backup = stage.Before().find("main.backup.xml");
  if (m_Contents.empty() && backup != stage.Before().end()) {
    if (const auto content = ContentOf(backup->second)) m_Contents.insert(*content);
  }
  if (GetParam().kind != StoreCase::kChanging) return;
  Stage done(GetParam());
  done.Run();
  m_Contents.insert(ContentOf(ReadBytes(done.Path())).value_or("not valid"));
}

void CrashTest::CheckRemains(Stage& stage) const {
  stage.CheckFiles();
  EXPECT_EQ(stage.Open(), !m_Contents.empty());
  if (m_Contents.empty()) return;
  EXPECT_TRUE(m_Contents.contains(stage.Content())) << stage.Content();
  EXPECT_TRUE(stage.Set(L"u"));
}

TEST_P(CrashTest, ANewProcessFindsTheOldOrTheNewConfiguration) {
  Stage stage(GetParam());
  Learn(stage);
  for (const auto kind : {Mishap::kEnd, Mishap::kEndAfterPart}) {
    for (int nth = 1; Crash(stage, kind, nth); nth += kStride, ++m_Kills) {
      SCOPED_TRACE("at " + std::to_string(nth) + ", kind " + std::to_string(kind));
      Stage successor(GetParam());
      successor.Close();
      successor.Write(stage.Read());
      CheckRemains(successor);
      successor.Close();
      for (const auto& [name, content] : successor.Read()) {
        // These wait for the next writing of their like.
        const bool waits = name == ".main.tmp.xml.cfgex-new" || name == ".cfgex-new";
        EXPECT_TRUE(!IsLeftover(name) || waits || m_Contents.empty()) << name;
      }
      if (HasFailure()) return;
      stage.Write(stage.Before());
    }
    stage.Write(stage.Before());
  }
  RecordProperty("kills", m_Kills);
}

// What a crash leaves is the same each time, so that it is there once. Bad files are not leftovers:
// there is one for each file that was found bad.
TEST_P(CrashTest, LeftoversDoNotPileUp) {
  Stage stage(GetParam());
  std::set<std::string> names;
  for (const auto kind : {Mishap::kEnd, Mishap::kEndAfterPart}) {
    for (int nth = 1; Crash(stage, kind, nth); nth += kStride, ++m_Kills) {
      Files files = stage.Read();
      for (const auto& [name, content] : files)
        if (!name.ends_with(".bad")) names.insert(name);
      for (const auto& [name, content] : stage.Before()) files[name] = content;
      stage.Write(files);
    }
  }
  // The three files, with at most one beside each, and one for all bad files.
  EXPECT_LE(names.size(), 7U) << testing::PrintToString(names);
  RecordProperty("kills", m_Kills);
}

class TwoCrashesTest : public CrashTest {};

// A process that ends while it opens what a process left that ended while it opened.
TEST_P(TwoCrashesTest, LoseNothingEither) {
  Stage stage(GetParam());
  Learn(stage);
  constexpr int kSample = 5;
  for (int first = 1; Crash(stage, Mishap::kEnd, first); first += 3 * kStride, ++m_Kills) {
    const Files remains = stage.Read();
    Stage second(GetParam());
    second.Write(remains);
    for (int nth = 1 + first % kSample; Crash(second, Mishap::kEnd, nth); nth += kSample) {
      SCOPED_TRACE("at " + std::to_string(first) + ", then at " + std::to_string(nth));
      ++m_Kills;
      Stage successor(GetParam());
      successor.Close();
      successor.Write(second.Read());
      CheckRemains(successor);
      if (HasFailure()) return;
      second.Write(remains);
    }
    stage.Write(stage.Before());
  }
  RecordProperty("kills", m_Kills);
}

INSTANTIATE_TEST_SUITE_P(Operations, CrashTest,
                         testing::ValuesIn(StoreCases().begin(), StoreCases().end()), NameOfCase);

INSTANTIATE_TEST_SUITE_P(Openings, TwoCrashesTest, testing::ValuesIn(OpeningCases()), NameOfCase);

}  // namespace
