// How large a schema may be. Within these limits the engine compiles it in less than a minute and
// in about 600 MB; beyond them it soon needs hours or all of the memory, so the schema is refused.
//
// What a content model costs was measured. Occurrence numbers cost nothing: the engine counts
// them. Memory goes with the square of the number of particles in one content model, groups and
// inherited content written out and every member of a substitution group counted where its head
// stands (12 bytes for each). Time goes with the cube of the number of optional particles and of
// members of substitution groups among them. A pattern is such an expression as well: its optional
// parts cost the same.
#pragma once

#include <cstddef>

namespace cfgex::internal {

// Steps of derivation below anyType, of a substitution group, of groups in groups.
inline constexpr std::size_t kMaxSchemaChain = 1000;
// The squares of all content models together: one of 7000 particles, or fifty of 1000.
inline constexpr double kMaxContentSquares = 5e7;
// The cubes: one content model with 2000 optional particles, or with 1300 members of a substitution
// group, each of which weighs half as much again.
inline constexpr double kMaxContentCubes = 8e9;
inline constexpr double kSubstituteWeight = 1.5;
// Attributes, and groups of them, that one attribute group writes out to.
inline constexpr double kMaxAttributes = 100'000;
// The squares of the numbers of attributes of all types and groups: one with 60,000, or a hundred
// with 6000. The engine compares each attribute with all others.
inline constexpr double kMaxAttributeSquares = 4e9;
// Values that stand in the schema, each times the number of values in the enumeration that it is
// held against: two enumerations of 30,000, one of them derived from the other.
inline constexpr double kMaxComparisons = 1e9;
// What the engine comes by when it follows all model groups, used or not, to where they end; what
// is referred to twice is followed twice.
inline constexpr double kMaxGroupVisits = 2e7;
// The same for the members of unions, which it writes out as well.
inline constexpr double kMaxUnionVisits = 1e6;

}  // namespace cfgex::internal
