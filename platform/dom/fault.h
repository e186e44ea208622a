// What is wrong with a document, said so that a person can mend it.
#pragma once

#include <string>
#include <vector>

#include "platform/dom/dom.h"

namespace cfgex::internal {

// Where something is in a file: both from 1, 0 where not known. A column counts characters as
// far as the engine does, bytes otherwise.
struct Place {
  long line = 0;
  long column = 0;
};

struct Fault {
  // The rule that is broken, by a short name that stays the same: a facet of XML Schema
  // ("pattern", "maxInclusive"...), or one of the names in fault_rules.cpp.
  std::string rule{};
  std::wstring
      message{};        // a sentence in the engine's or our words, without the file and the place
  std::wstring file{};  // set for schemas, which may have several
  Place place{};
  // The element at fault, or the innermost one that was open; it keeps its document. None where
  // there is none.
  ComPtr<IXMLDOMElement> element{};
  std::wstring attribute{};  // the name, if the fault is an attribute's
  bool is_warning = false;
  bool is_partial = false;  // the element was not read to its end
};

struct FaultList {
  std::vector<Fault> faults;  // the first ones
  std::size_t total = 0;      // how many there are
};

}  // namespace cfgex::internal
