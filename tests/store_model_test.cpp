// Random stores and random operations, held against the model of tests/store_model.h.
//
// A sequence follows from its seed alone: a store of up to 12 instances, then 60 operations. After
// each the result, the ids reported, the file and what the store answers for every id must mean
// what those of the model do (Canonical). When they differ, a short sequence that fails is
// printed. New ids of deep copies are random: they are taken from where they stand in the file.
//
//   CFGEX_MODEL_SEED=7        the first seed (1)
//   CFGEX_MODEL_SEQUENCES=1   how many seeds from there on (30)

#include <gtest/gtest.h>

#include <utility>

#include "tests/store_trial.h"

namespace {

using namespace test;
using namespace test::model;

constexpr size_t kOperations = 60;

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

// The sequence without operations and instances that it fails without, too.
Sequence Shrunk(Sequence sequence) {
  const auto without = [&sequence](auto& list) {
    for (std::size_t i = list.size(); i-- > 0;) {
      const auto leftOut = list[i];
      const auto place = list.erase(list.begin() + static_cast<ptrdiff_t>(i));
      if (!Trial(sequence).Failed()) list.insert(place, leftOut);
    }
  };
  without(sequence.operations);
  for (Group& group : sequence.start) without(group);
  without(sequence.operations);
  return sequence;
}

TEST(StoreModelTest, AnySequenceOfOperationsDoesWhatTheModelDoes) {
  const auto first = static_cast<unsigned>(Setting("CFGEX_MODEL_SEED", 1));
  const std::size_t count = Setting("CFGEX_MODEL_SEQUENCES", 30);
  for (unsigned seed = first; seed - first < count; ++seed) {
    const Sequence sequence = MakeSequence(seed);
    if (Trial(sequence).Failed())
      ADD_FAILURE() << "seed " << seed << ", a short sequence that fails:\n"
                    << Trial(Shrunk(sequence)).Report();
    if (HasFailure()) break;
  }
}

}  // namespace
