// Sequences of operations on a store, held against the model of tests/store_model.h. The bytes up
// to the first 0xff choose the store to begin with. Each further piece between 0xff is an
// operation: its first byte the kind, the others what is chosen in it.
//
// Holds after each operation: the result, the ids reported, the file, and what the store answers
// for every id are those of the model.

#include <algorithm>

#include "fuzz/support.h"
#include "tests/store_trial.h"

using namespace test::model;

namespace {

constexpr std::size_t kOperations = 16;

std::string_view NextPiece(std::string_view& input) {
  const std::size_t end = std::min(input.find('\xff'), input.size());
  const std::string_view piece = input.substr(0, end);
  input.remove_prefix(std::min(end + 1, input.size()));
  return piece;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
  std::string_view input(reinterpret_cast<const char*>(data), size);
  Sequence sequence;
  Dice dice(0, NextPiece(input));
  sequence.frame = AnyFrame(dice);
  sequence.start = AnyStart(dice);
  while (!input.empty() && sequence.operations.size() < kOperations) {
    const std::string_view piece = NextPiece(input);
    if (piece.empty()) continue;
    const auto kind =
        static_cast<Operation::Kind>(static_cast<unsigned char>(piece[0]) % Operation::kKinds);
    sequence.operations.push_back({kind, 0, std::string(piece.substr(1))});
  }
  const Trial trial(sequence);
  CHECK(!trial.Failed(), trial.Report());
  return 0;
}
