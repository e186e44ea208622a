// The types that every schema has.
#pragma once

#include <string_view>

namespace cfgex::internal {

class SchemaModel;

// The namespace of schemas themselves, and of the built-in types.
inline constexpr std::string_view kXsdNamespace = "http://www.w3.org/2001/XMLSchema";

// Puts "anyType", "anySimpleType" and all built-in simple types of XML Schema 1.0 into an empty
// model.
void AddBuiltins(SchemaModel& model);

}  // namespace cfgex::internal
