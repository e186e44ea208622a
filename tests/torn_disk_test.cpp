// What the disk may hold after the power went in the midst of an operation of the store. A process
// that is killed cannot show that a flush is missing, the model of tests/support/disk_model.h can.

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <optional>
#include <set>

#include "tests/support/disk_model.h"
#include "tests/support/store_case.h"

namespace {

using namespace test;

Files WithoutLeftovers(Files files) {
  std::erase_if(files, [](const auto& file) { return IsLeftover(file.first); });
  return files;
}

// The files as they are after each of the replacements that an operation makes, one after another.
std::vector<Files> StepsOf(const Recording& recording) {
  Files files = recording.before;
  std::vector<Files> steps = {WithoutLeftovers(files)};
  for (const DiskEvent& event : recording.events) {
    if (event.kind == DiskEvent::kContent) files[event.name] = event.content;
    if (event.kind != DiskEvent::kRename) continue;
    files[event.newName] = files[event.name];
    files.erase(event.name);
    steps.push_back(WithoutLeftovers(files));
  }
  return steps;
}

// Whether every file is an old or a new one, as a whole; the new ones came in the order in which
// they were made; and all of them are there once the operation is over.
bool IsSound(const DiskState& state, const std::vector<Files>& steps) {
  const Files files = WithoutLeftovers(state.files);
  return state.isAtEnd ? files == steps.back()
                       : std::find(steps.begin(), steps.end(), files) != steps.end();
}

class TornDiskTest : public testing::TestWithParam<StoreCase> {
 protected:
  TornDiskTest() : m_Stage(GetParam()) {
    m_Recording = Record(m_Stage.GetFolder().Root(), [this] { m_Stage.Run(); });
    m_Steps = StepsOf(m_Recording);
  }

  Stage m_Stage;
  Recording m_Recording;
  std::vector<Files> m_Steps;
};

TEST_P(TornDiskTest, EveryStateOpensToTheOldOrTheNewConfiguration) {
  const std::string main = m_Stage.MainName();
  std::set<std::optional<std::string>> allowed;
  for (const Files& files : m_Steps) {
    if (files.contains(main)) allowed.insert(ContentOf(files.at(main)));
  }
  const std::vector<DiskState> states = StatesOf(m_Recording);
  for (const DiskState& state : states) {
    EXPECT_TRUE(IsSound(state, m_Steps)) << testing::PrintToString(state.files);
    m_Stage.Close();
    m_Stage.Write(state.files);
    if (m_Stage.Open()) {
      EXPECT_TRUE(allowed.contains(m_Stage.Content()));
    } else {
      EXPECT_TRUE(allowed.contains(std::nullopt)) << "one can be opened";
    }
    if (HasFailure()) break;
  }
  RecordProperty("disk_states", static_cast<int>(states.size()));
}

INSTANTIATE_TEST_SUITE_P(Operations, TornDiskTest, testing::ValuesIn(StoreCases()), NameOfCase);

// What is flushed and why: the kind of operation, the flush, and the file that it is there for.
std::string RoleOf(const StoreCase& storeCase, const std::vector<DiskEvent>& events,
                   std::size_t flush) {
  const bool isFile = events[flush].kind == DiskEvent::kSyncFile;
  std::size_t rename = flush;
  while (events[rename].kind != DiskEvent::kRename) rename += isFile ? 1U : std::size_t(-1);
  std::string name = events[rename].newName;
  if (name.ends_with(".bad")) name = "bad file";
  if (name == "real/file.xml") name = "main.xml";
  return std::to_string(storeCase.kind) + (isFile ? ", content of " : ", name of ") + name;
}

// A flush of a directory shows where another file changes afterwards, or the operation is over: not
// in each operation, but for each thing that is flushed in one.
TEST(FlushTest, NoneCanBeLeftOut) {
  std::map<std::string, bool> shows;
  int states = 0;
  int flushes = 0;
  for (const StoreCase& storeCase : StoreCases()) {
    Stage stage(storeCase);
    const Recording recording = Record(stage.GetFolder().Root(), [&] { stage.Run(); });
    const std::vector<Files> steps = StepsOf(recording);
    for (std::size_t i = 0; i < recording.events.size(); ++i) {
      const bool isFile = recording.events[i].kind == DiskEvent::kSyncFile;
      if (!isFile && recording.events[i].kind != DiskEvent::kSyncDirectory) continue;
      Recording without = recording;
      without.events.erase(without.events.begin() + static_cast<std::ptrdiff_t>(i));
      const std::vector<DiskState> found = StatesOf(without);
      const bool isUnsound = std::any_of(found.begin(), found.end(), [&](const DiskState& state) {
        return !IsSound(state, steps);
      });
      EXPECT_TRUE(isUnsound || !isFile) << storeCase.name << ", " << recording.events[i].name;
      bool& role = shows[RoleOf(storeCase, recording.events, i)];
      role = role || isUnsound;
      states += static_cast<int>(found.size());
      ++flushes;
    }
  }
  for (const auto& [role, hasShown] : shows) EXPECT_TRUE(hasShown) << role;
  // Content and name of: main and temporary when changing; main, backup and a bad one when opening;
  // backup and a bad one when closing.
  EXPECT_EQ(shows.size(), 14U) << testing::PrintToString(shows);
  RecordProperty("disk_states", states);
  RecordProperty("flushes_left_out", flushes);
}

}  // namespace
