// Every operation of the store, with every call that it makes failing in its turn.

#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <iterator>
#include <thread>

#include "tests/support/mishap.h"
#include "tests/support/store_case.h"

namespace {

using namespace test;
namespace fs = std::filesystem;

struct Held {
  long nodes = LiveNodes();
  std::ptrdiff_t descriptors =
      std::distance(fs::directory_iterator("/proc/self/fd"), fs::directory_iterator());
  bool operator==(const Held&) const = default;
};

// How the operation goes when nothing fails.
struct Clean {
  explicit Clean(const StoreCase& storeCase);

  Ending ending;
  std::string before;  // what the store holds
  std::string after;
  std::vector<FaultPoint> passed;
  // The numbers of the passages with which these parts end, and of the one where saving begins.
  int reading = 0;  // until what came in is found valid
  int commit = 0;   // until the whole is found valid
  int save = 0;
  int saved = 0;
};

Clean::Clean(const StoreCase& storeCase) {
  Stage stage(storeCase);
  if (storeCase.kind != StoreCase::kOpening) before = stage.Content();
  {
    const Mishap none(Mishap::kNone, 0);
    ending = stage.Run();
    passed = none.Points();
  }
  if (storeCase.kind == StoreCase::kChanging) after = stage.Content();

  const int count = static_cast<int>(passed.size());
  save = count + 1;
  for (int i = 1; i <= count; ++i) {
    const FaultPoint point = passed[static_cast<std::size_t>(i) - 1];
    const bool isValidating = point == FaultPoint::kValidate || point == FaultPoint::kNewValidator;
    if (isValidating && (reading == 0 || reading == i - 1)) reading = i;
    if (isValidating && save > count) commit = i;
    if (point == FaultPoint::kSave) save = i;
    if (point == FaultPoint::kClose && save < i) saved = i;
  }
}

class FaultsTest : public testing::TestWithParam<StoreCase> {
 protected:
  void CheckChange(Stage& stage, const Clean& clean, Mishap::Kind kind, int nth, Ending ending);
  void CheckOpening(Stage& stage, Ending ending) const;
};

bool IsValid(const Files& files, const std::string& name) {
  return files.contains(name) && ContentOf(files.at(name));
}

// One more change is done and saved.
void CheckCommit(Stage& stage) {
  // The lock is free for others.
  std::jthread([&stage] { stage.Store().SetConfiguration(L"", nullptr, nullptr); }).join();
  EXPECT_TRUE(stage.Set(L"u"));
  const std::string content = stage.Content();
  EXPECT_NE(content.find("<InstanceId>u<"), content.npos);
  EXPECT_EQ(ContentOf(ReadBytes(stage.Path())), content);
}

void FaultsTest::CheckChange(Stage& stage, const Clean& clean, Mishap::Kind kind, int nth,
                             Ending ending) {
  const std::string main = ReadBytes(stage.Path());
  const std::string content = stage.Content();
  const bool isOld = content == clean.before;
  const bool isNew = content == clean.after;
  const bool isFileSame = ContentOf(main) == content;
  const bool isFileOld = main == stage.Before().at(stage.MainName());
  EXPECT_TRUE(isFileOld || isFileSame) << main;

  const bool isSingle = kind != Mishap::kFailOnward && kind != Mishap::kFailOfItsKind;
  const bool isTrue = ending == Ending::kTrue;
  if (clean.ending != Ending::kTrue) {
    EXPECT_FALSE(isTrue);
    EXPECT_TRUE(isFileOld);
  } else if (kind == Mishap::kShort || kind == Mishap::kShortOnward) {
    EXPECT_TRUE(isTrue && isNew && isFileSame);
  } else if (nth <= clean.commit) {
    // What fails may be a step with a failure of its own, after which the operation goes on.
    EXPECT_TRUE(isTrue ? isFileSame : isFileOld);
    EXPECT_TRUE(nth > clean.reading || !isSingle || (isTrue ? isNew : isOld));
  } else if (nth < clean.save && isSingle) {
    EXPECT_TRUE(isTrue && isNew && isFileSame) << "of the temporary copy nothing is told";
  } else if (nth <= clean.saved) {
    EXPECT_TRUE(isNew);
    EXPECT_TRUE(!isSingle || isTrue || ending == GetParam().atFailedSave);
    EXPECT_TRUE(!isTrue || isFileSame || GetParam().atFailedSave == Ending::kTrue);
  } else {
    EXPECT_TRUE(ending == Ending::kFalse && isNew && isFileSame) << "validated once more";
  }
  if (clean.ending == Ending::kTrue) CheckCommit(stage);
}

void FaultsTest::CheckOpening(Stage& stage, Ending ending) const {
  EXPECT_NE(ending, Ending::kRaised);
  const bool canOpen =
      IsValid(stage.Before(), stage.MainName()) || IsValid(stage.Before(), "main.backup.xml");
  EXPECT_TRUE(ending == Ending::kTrue || stage.Open() == canOpen);
  if (!canOpen) return;
  EXPECT_EQ(ContentOf(ReadBytes(stage.Path())), stage.Content());
  CheckCommit(stage);
}

TEST_P(FaultsTest, WhateverFailsTheResultIsTheToldOneAndTheFilesAreWhole) {
  const Clean clean(GetParam());
  Stage stage(GetParam());
  stage.Close();
  const Held held;
  int failed = 0;
  for (const auto kind : {Mishap::kFail, Mishap::kFailOnward, Mishap::kFailOfItsKind,
                          Mishap::kShort, Mishap::kShortOnward}) {
    const bool isOnward = kind == Mishap::kFailOnward || kind == Mishap::kFailOfItsKind;
    const bool isShort = kind == Mishap::kShort || kind == Mishap::kShortOnward;
    bool happened = true;
    for (int nth = 1; happened; nth += kStride) {
      const std::size_t last = std::min(clean.passed.size(), static_cast<std::size_t>(nth)) - 1;
      const char* const name = isShort ? "write" : NameOf(clean.passed[last]);
      SCOPED_TRACE("number " + std::to_string(nth) + ", " + name + ", kind " +
                   std::to_string(kind));
      stage.Reset();
      Ending ending;
      {
        const Mishap mishap(kind, nth);
        ending = stage.Run();
        happened = mishap.Happened();
      }
      stage.CheckFiles();
      for (const auto& [file, content] : stage.Read())
        EXPECT_TRUE(!IsLeftover(file) || isOnward) << file;
      switch (GetParam().kind) {
        case StoreCase::kReading:
          EXPECT_NE(ending, Ending::kRaised) << "raised, or the text is not as told";
          EXPECT_EQ(stage.Read(), stage.Before());
          EXPECT_EQ(stage.Content(), clean.before);
          break;
        case StoreCase::kChanging:
          if (happened) CheckChange(stage, clean, kind, nth, ending);
          break;
        case StoreCase::kOpening:
          CheckOpening(stage, ending);
          break;
        case StoreCase::kClosing:
          EXPECT_EQ(ending, Ending::kTrue);
          break;
      }
      EXPECT_TRUE(happened || ending == clean.ending);
      stage.Close();
      // What could not be removed is removed by the next that writes this file.
      const bool isWritten =
          GetParam().kind == StoreCase::kReading || GetParam().kind == StoreCase::kChanging;
      for (const auto& [file, content] : stage.Read())
        EXPECT_TRUE(!IsLeftover(file) || !isWritten || file.find(".tmp.") != file.npos) << file;
      EXPECT_TRUE(Held() == held);
      failed += happened ? 1 : 0;
      if (HasFailure()) return;
    }
  }
  RecordProperty("calls_failed", failed);
}

class OpeningTest : public testing::TestWithParam<StoreCase> {};

// What passes by says nothing about the file. Whatever call on it fails, however often, nothing is
// lost; without the failure the store opens as if nothing had been.
TEST_P(OpeningTest, AFailureToReadIsNoVerdict) {
  Stage stage(GetParam());
  if (stage.IsOpen()) stage.Close();
  const Files before = stage.Before();
  const std::string main = stage.MainName();
  const bool isGood = IsValid(before, main);
  const bool canHeal = IsValid(before, "main.backup.xml");
  const auto isKept = [&](const Files& files) {
    if (!before.contains(main)) return true;
    if (files.contains(main) && files.at(main) == before.at(main)) return true;
    return std::any_of(files.begin(), files.end(), [&](const auto& file) {
      return file.first.ends_with(".bad") && file.second == before.at(main);
    });
  };
  using enum FaultPoint;
  for (const char* failing : {"main.xml", "real/file.xml", "main.backup.xml"}) {
    for (const auto call : {kOpen, kFstat, kRead, kLstat, kReadlink, kLseek, kAccess}) {
      for (const int error : {EMFILE, ENFILE, EIO, ESTALE, EACCES, ELOOP, ENOMEM}) {
        bool happened = true;
        for (int nth = 0; happened; ++nth) {  // 0: all of them
          SCOPED_TRACE(std::string(NameOf(call)) + " of " + failing + ", number " +
                       std::to_string(nth) + ", " + std::strerror(error));
          stage.Reset();
          Ending ending;
          {
            const Mishap mishap(nth == 0 ? Mishap::kFailOnward : Mishap::kFail, nth,
                                {{call, failing, error}});
            ending = stage.Run();
            happened = mishap.Happened();
          }
          const Files files = stage.Read();
          EXPECT_TRUE(!isGood || files.at(main) == before.at(main));
          EXPECT_TRUE(isKept(files));
          EXPECT_TRUE(!canHeal || IsValid(files, "main.backup.xml"));
          EXPECT_TRUE(ending != Ending::kTrue || stage.Content() == ContentOf(files.at(main)));
          EXPECT_EQ(stage.Open(), isGood || canHeal);
          EXPECT_TRUE(isKept(stage.Read()));
          const std::string opened = isGood ? main : "main.backup.xml";
          EXPECT_TRUE(!before.contains(opened) || !IsValid(before, opened) ||
                      stage.Content() == ContentOf(before.at(opened)));
          if (HasFailure()) return;
        }
      }
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Operations, OpeningTest, testing::ValuesIn(OpeningCases()), NameOfCase);

INSTANTIATE_TEST_SUITE_P(Operations, FaultsTest, testing::ValuesIn(StoreCases()), NameOfCase);

}  // namespace
