// The engine's errors in our terms.
#pragma once

#include <libxml/xmlerror.h>

#include <string>

#include "platform/dom/fault.h"
#include "platform/tree/parser.h"

namespace cfgex::internal {

// The name of the rule that the error tells to be broken.
std::string RuleOf(const xmlError& error);
// The error's text as one line: without what names the element, which a Fault has beside it.
std::wstring MessageOf(const xmlError& error);
// Rule and message of what the library refuses by a rule of its own.
Fault FaultOf(ParseRefusal refusal);
// Whether the error only repeats, for the type, what the one before it said of a facet.
bool RepeatsFacet(int code, int previousCode) noexcept;
// Whatever bytes there are, as text; what is not UTF-8 becomes "?".
std::wstring LenientText(const char* text);

}  // namespace cfgex::internal
