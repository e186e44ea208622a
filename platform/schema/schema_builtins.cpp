// The types that every schema has.
#include "platform/os/encoding.h"
#include "platform/schema/schema_documents.h"
#include "platform/schema/schema_model.h"

namespace cfgex::internal {
namespace {

// https://www.w3.org/TR/xmlschema-2/#built-in-datatypes
constexpr struct {
  const char* base;  // is in a row above
  const char* names;
} kBuiltins[] = {
    {"anySimpleType",
     "string boolean decimal float double duration dateTime time date gYearMonth gYear gMonthDay "
     "gDay gMonth hexBinary base64Binary anyURI QName NOTATION NMTOKENS IDREFS ENTITIES"},
    {"string", "normalizedString"},
    {"normalizedString", "token"},
    {"token", "language NMTOKEN Name"},
    {"Name", "NCName"},
    {"NCName", "ID IDREF ENTITY"},
    {"decimal", "integer"},
    {"integer", "nonPositiveInteger long nonNegativeInteger"},
    {"nonPositiveInteger", "negativeInteger"},
    {"long", "int"},
    {"int", "short"},
    {"short", "byte"},
    {"nonNegativeInteger", "unsignedLong positiveInteger"},
    {"unsignedLong", "unsignedInt"},
    {"unsignedInt", "unsignedShort"},
    {"unsignedShort", "unsignedByte"},
};
constexpr struct {
  const char* name;
  const char* item;
} kLists[] = {{"NMTOKENS", "NMTOKEN"}, {"IDREFS", "IDREF"}, {"ENTITIES", "ENTITY"}};

void Name(SchemaModel& model, ISchemaType& type, std::string_view name, ISchemaType* base) {
  type.ns = kXsdNamespace;
  type.local_name = name;
  type.name = FromUtf8(name);
  type.base = base;
  if (base != nullptr) type.base_types.Add(*base);
  model.global_types.emplace(type.Key(), &type);
}

}  // namespace

SchemaModel::SchemaModel() {
  // Anything at all, declared where there is a global declaration for it.
  any_type = &complex_types.emplace_back(*this);
  Name(*this, *any_type, "anyType", nullptr);
  Wildcard& wildcard = wildcards.emplace_back();
  wildcard.process = ProcessContents::kLax;
  Particle& particle = contents.emplace_back();
  particle.kind = ParticleKind::kWildcard;
  particle.min = 0;
  particle.max = kUnbounded;
  particle.wildcard = &wildcard;
  ChildTable& table = tables.emplace_back();
  table.wildcards.push_back(&wildcard);
  any_type->is_mixed = true;
  any_type->particle = &particle;
  any_type->children = &table;

  any_simple_type = &simple_types.emplace_back(*this);
  Name(*this, *any_simple_type, "anySimpleType", any_type);

  const auto find = [this](std::string_view name) { return FindType({kXsdNamespace, name}); };
  for (const auto& [base, names] : kBuiltins) {
    for (const std::string_view name : Words(names)) {
      SimpleType& type = simple_types.emplace_back(*this);
      Name(*this, type, name, find(base));
      if (type.base == any_simple_type || name == "token") type.blanks = Blanks::kCollapse;
      if (name == "string") type.blanks = Blanks::kPreserve;
      if (name == "normalizedString") type.blanks = Blanks::kReplace;
    }
  }
  for (const auto& [name, item] : kLists) {
    SimpleType& list = *find(name)->simple;
    list.variety = Variety::kList;
    list.item_type = find(item)->simple;
  }
}

}  // namespace cfgex::internal
