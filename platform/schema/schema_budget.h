// What a schema may cost the engine.
//
// The engine compiles any schema, though some take it hours or all of the memory. So the reader,
// which sees a schema before the engine, spends one budget on it as it reads it and writes it out,
// and refuses a schema that asks for more. Measured with libxml2 2.9.14, one form taking all of it:
//
//   one content model of 7000 particles       0.2 s  570 MB
//   fifty of 1000 particles                   1.2 s  620 MB
//   one with 2000 optional particles           32 s  120 MB
//   a repeated choice of 500 optional ones     40 s   20 MB
//   one type with 60,000 attributes             8 s   50 MB
//   an enumeration of 30,000 within another    17 s   40 MB
//   unions of 4 million members               0.3 s  260 MB
//   groups of 4 million particles             0.1 s    4 MB
#pragma once

#include <algorithm>
#include <cstddef>
#include <string>

#include "cfgex/com_error.h"

namespace cfgex::internal {

[[noreturn]] inline void RefuseSchema(const std::string& why) {
  throw _com_error(_com_error::kFail, "schema refused: " + why);
}

// Steps of derivation below anyType, of substitution groups, of groups in groups. They cost next to
// nothing, but the engine follows some of them on the stack.
inline constexpr std::size_t kMaxSchemaChain = 1000;

class SchemaBudget {
 public:
  // A content model, or a pattern. Memory goes with the square of the number of particles, time
  // with the cube of the number of those that may be left out. Occurrence numbers cost nothing.
  void SpendOnContent(double particles, double optional) {
    Spend(std::max(particles * particles, optional * optional * optional / 160), "content models");
  }
  // Attributes of a type or an attribute group: the engine compares each with all others.
  void SpendOnAttributes(double count) { Spend(count * count / 80, "attributes"); }
  // Comparisons of a value with one of an enumeration.
  void SpendOnComparisons(double count) { Spend(count / 20, "enumerations"); }
  // What the engine visits when it follows a model group or a union, used or not, to its end. What
  // is referred to twice is followed twice.
  void SpendOnParts(double count) { Spend(count * 10, "groups or unions"); }

 private:
  void Spend(double cost, const char* what) {
    m_Left -= cost;
    if (m_Left < 0) RefuseSchema(std::string(what) + " too large");
  }

  double m_Left = 5e7;
};

}  // namespace cfgex::internal
