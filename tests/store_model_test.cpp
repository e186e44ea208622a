// Random stores and random operations, held against the model of tests/store_model.h.
//
// A sequence follows from its seed alone: a store of up to 12 instances, then 60 operations. After
// each the result, the ids reported, the file and what the store answers for every id must mean
// what those of the model do (Canonical). When they differ, the shortest sequence that fails is
// printed. New ids of deep copies are random: they are taken from where they stand in the file.
//
//   CFGEX_MODEL_SEED=7        the first seed (1)
//   CFGEX_MODEL_SEQUENCES=1   how many seeds from there on (30)

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <utility>

#include "tests/store_trial.h"

namespace {

using namespace test;
using namespace test::model;

constexpr size_t kOperations = 60;
constexpr int kShrinkingRuns = 3000;

Sequence MakeSequence(unsigned seed) {
  Dice dice(seed);
  Sequence sequence;
  sequence.frame = AnyFrame(dice);
  sequence.start = AnyStart(dice);
  using enum Operation::Kind;
  static const Operation::Kind kMixture[] = {kWrite,  kWrite,  kWrite,  kInsert,  kInsert,  kInsert,
                                             kInsert, kInsert, kRemove, kShallow, kShallow, kDeep,
                                             kDeep,   kReopen, kReopen, kTouch};
  for (size_t i = 0; i < kOperations; ++i)
    sequence.operations.push_back(
        {kMixture[dice.Below(std::size(kMixture))], seed * 1000 + static_cast<unsigned>(i)});
  return sequence;
}

// The shortest sequence that fails among those that leave something of this one out.
Sequence Shrunk(Sequence sequence) {
  int runs = 0;
  bool shrunk = true;
  const auto keepIfFailing = [&](const Sequence& smaller) {
    if (++runs > kShrinkingRuns || !Trial(smaller).Failed()) return false;
    sequence = smaller;
    return shrunk = true;
  };
  while (std::exchange(shrunk, false)) {
    for (size_t length = std::max<size_t>(1, sequence.operations.size() / 2); length > 0;
         length /= 2)
      for (size_t from = 0; from + length <= sequence.operations.size();) {
        Sequence smaller = sequence;
        const auto first = smaller.operations.begin() + static_cast<ptrdiff_t>(from);
        smaller.operations.erase(first, first + static_cast<ptrdiff_t>(length));
        if (!keepIfFailing(smaller)) from += length;
      }
    for (size_t g = sequence.start.size(); g-- > 0;) {
      for (size_t i = sequence.start[g].size(); i-- > 0;) {
        Sequence smaller = sequence;
        smaller.start[g].erase(smaller.start[g].begin() + static_cast<ptrdiff_t>(i));
        if (keepIfFailing(smaller)) continue;
        for (size_t r = sequence.start[g][i].references.size(); r-- > 0;) {
          smaller = sequence;
          auto& references = smaller.start[g][i].references;
          references.erase(references.begin() + static_cast<ptrdiff_t>(r));
          keepIfFailing(smaller);
        }
      }
      Sequence smaller = sequence;
      smaller.start.erase(smaller.start.begin() + static_cast<ptrdiff_t>(g));
      keepIfFailing(smaller);
    }
  }
  return sequence;
}

unsigned Setting(const char* name, unsigned otherwise) {
  const char* text = std::getenv(name);
  return text != nullptr ? static_cast<unsigned>(std::strtoul(text, nullptr, 10)) : otherwise;
}

// Temporary folders in memory, if the system has such a place: every operation syncs its file.
class FoldersInMemory {
 public:
  FoldersInMemory() {
    if (m_Before == nullptr && std::filesystem::is_directory("/dev/shm"))
      setenv("TMPDIR", "/dev/shm", 1);
  }
  ~FoldersInMemory() {
    if (m_Before == nullptr) unsetenv("TMPDIR");
  }
  FoldersInMemory(const FoldersInMemory&) = delete;
  FoldersInMemory& operator=(const FoldersInMemory&) = delete;

 private:
  const char* const m_Before = std::getenv("TMPDIR");
};

TEST(StoreModelTest, AnySequenceOfOperationsDoesWhatTheModelDoes) {
  const FoldersInMemory inMemory;
  const unsigned first = Setting("CFGEX_MODEL_SEED", 1);
  const unsigned count = Setting("CFGEX_MODEL_SEQUENCES", 30);
  for (unsigned seed = first; seed - first < count; ++seed) {
    const Sequence sequence = MakeSequence(seed);
    if (Trial(sequence).Failed())
      ADD_FAILURE() << "seed " << seed << ", the shortest sequence that fails:\n"
                    << Trial(Shrunk(sequence)).Report();
    if (HasFailure()) break;
  }
}

}  // namespace
