// How large documents and their parts may be.
#pragma once

#include <cstddef>

namespace cfgex::internal {

// How deep elements may nest in a text that is loaded, the root counting 1.
inline constexpr int kMaxDepth = 1000;
// How long one text may be that is put into a document, in UTF-8: what every release of the engine
// reads.
inline constexpr std::size_t kMaxTextBytes = 1'000'000'000;
// How many attributes an element may have there; the engine's time goes with their square.
inline constexpr int kMaxElementAttributes = 1000;

}  // namespace cfgex::internal
