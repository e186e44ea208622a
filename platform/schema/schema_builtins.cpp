#include "platform/schema/schema_builtins.h"

#include <iterator>

#include "platform/os/encoding.h"
#include "platform/schema/schema_model.h"

namespace cfgex::internal {
namespace {

struct Builtin {
  const char* name;
  const char* base;  // stands above in the table
  const char* item;  // of a list
};

// https://www.w3.org/TR/xmlschema-2/#built-in-datatypes
constexpr Builtin kBuiltins[] = {
    {"string", "anySimpleType", nullptr},
    {"boolean", "anySimpleType", nullptr},
    {"decimal", "anySimpleType", nullptr},
    {"float", "anySimpleType", nullptr},
    {"double", "anySimpleType", nullptr},
    {"duration", "anySimpleType", nullptr},
    {"dateTime", "anySimpleType", nullptr},
    {"time", "anySimpleType", nullptr},
    {"date", "anySimpleType", nullptr},
    {"gYearMonth", "anySimpleType", nullptr},
    {"gYear", "anySimpleType", nullptr},
    {"gMonthDay", "anySimpleType", nullptr},
    {"gDay", "anySimpleType", nullptr},
    {"gMonth", "anySimpleType", nullptr},
    {"hexBinary", "anySimpleType", nullptr},
    {"base64Binary", "anySimpleType", nullptr},
    {"anyURI", "anySimpleType", nullptr},
    {"QName", "anySimpleType", nullptr},
    {"NOTATION", "anySimpleType", nullptr},
    {"normalizedString", "string", nullptr},
    {"token", "normalizedString", nullptr},
    {"language", "token", nullptr},
    {"NMTOKEN", "token", nullptr},
    {"NMTOKENS", "anySimpleType", "NMTOKEN"},
    {"Name", "token", nullptr},
    {"NCName", "Name", nullptr},
    {"ID", "NCName", nullptr},
    {"IDREF", "NCName", nullptr},
    {"IDREFS", "anySimpleType", "IDREF"},
    {"ENTITY", "NCName", nullptr},
    {"ENTITIES", "anySimpleType", "ENTITY"},
    {"integer", "decimal", nullptr},
    {"nonPositiveInteger", "integer", nullptr},
    {"negativeInteger", "nonPositiveInteger", nullptr},
    {"long", "integer", nullptr},
    {"int", "long", nullptr},
    {"short", "int", nullptr},
    {"byte", "short", nullptr},
    {"nonNegativeInteger", "integer", nullptr},
    {"unsignedLong", "nonNegativeInteger", nullptr},
    {"unsignedInt", "unsignedLong", nullptr},
    {"unsignedShort", "unsignedInt", nullptr},
    {"unsignedByte", "unsignedShort", nullptr},
    {"positiveInteger", "nonNegativeInteger", nullptr},
};

void Name(SchemaModel& model, ISchemaType& type, std::string_view name, ISchemaType* base) {
  type.ns = kXsdNamespace;
  type.local_name = name;
  type.name = FromUtf8(name);
  type.base = base;
  if (base != nullptr) type.base_types.Add(*base);
  model.global_types.emplace(type.Key(), &type);
}

}  // namespace

void AddBuiltins(SchemaModel& model) {
  // Anything at all, declared where there is a global declaration for it.
  ISchemaComplexType& any = model.complex_types.emplace_back(model.owner);
  model.any_type = &any;
  Name(model, any, "anyType", nullptr);
  Wildcard& wildcard = model.wildcards.emplace_back();
  wildcard.process = ProcessContents::kLax;
  Particle& particle = model.contents.emplace_back();
  particle.kind = ParticleKind::kWildcard;
  particle.min = 0;
  particle.max = kUnbounded;
  particle.wildcard = &wildcard;
  ChildTable& table = model.tables.emplace_back();
  table.wildcards.push_back(&wildcard);
  any.is_mixed = true;
  any.content = ContentKind::kMixed;
  any.particle = &particle;
  any.children = &table;

  SimpleType& any_simple = model.simple_types.emplace_back(model.owner);
  model.any_simple_type = &any_simple;
  Name(model, any_simple, "anySimpleType", &any);

  for (const Builtin& builtin : kBuiltins) {
    SimpleType& type = model.simple_types.emplace_back(model.owner);
    Name(model, type, builtin.name, model.FindType({kXsdNamespace, builtin.base}));
    if (type.base == model.any_simple_type || type.local_name == "token")
      type.blanks = Blanks::kCollapse;
    if (type.local_name == "string") type.blanks = Blanks::kPreserve;
    if (type.local_name == "normalizedString") type.blanks = Blanks::kReplace;
    if (builtin.item != nullptr) {
      type.variety = Variety::kList;
      type.item_type = model.FindType({kXsdNamespace, builtin.item})->simple;
    }
  }
}

}  // namespace cfgex::internal
