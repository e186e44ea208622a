// Schemas that others wrote, from Debian packages (scripts/install-dependencies.sh): whatever
// element is generated from them is valid by the word of the engine, or what is wrong with it is
// what its schema makes so.
#include <gtest/gtest.h>
#include <libxml/xmlschemas.h>

#include <algorithm>
#include <fstream>
#include <map>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "platform/dom/schema_collection.h"
#include "platform/dom/xml_schema.h"
#include "platform/schema/schema_documents.h"
#include "platform/tree/engine.h"
#include "platform/tree/nodes.h"
#include "tests/support/support.h"

namespace {

// Treats elements as a category does for its default objects.
struct Defaults : CXMLSchema::CSchemaElementCallback {
  void OnStart() override {}
  void OnEnd() override {}
  void OnElement(CSchemaElementInfo& info) override {
    const auto declaration = info.GetDeclaration();
    if (declaration->get_minOccurs() == L"0")
      info.SetOmitted(true);
    else if (declaration->get_defaultValue().empty() && declaration->get_fixedValue().empty())
      info.GetNode()->put_text(L"");
  }
};

// What is declared with a value wherever it is declared, and so is never left empty.
std::set<std::string> NamesWithValues(const xmlNode* c_root) {
  std::set<std::string> with, without;
  for (const xmlNode* c_at = c_root; c_at != nullptr; c_at = NextInTree(c_at, c_root)) {
    if (!IsXsdElement(c_at)) continue;
    const bool has_value = !(RawAttribute(c_at, "default") + RawAttribute(c_at, "fixed")).empty();
    (has_value ? with : without).insert(RawAttribute(c_at, "name"));
  }
  std::erase_if(with, [&](const std::string& name) { return without.contains(name); });
  return with;
}

enum class Verdict { kValid, kNeedsValue, kNeedsWildcard, kBroken };

struct Judgement {
  const std::set<std::string>& with_values;
  Verdict verdict = Verdict::kValid;
  std::string messages{};

  static void Take(void* self, EngineError* error) {
    auto& judgement = *static_cast<Judgement*>(self);
    judgement.messages += error->message;
    judgement.verdict = std::max(judgement.verdict, judgement.Of(*error));
  }

  Verdict Of(const xmlError& error) const {
    const std::string_view message = error.message;
    if (error.code >= XML_SCHEMAV_CVC_DATATYPE_VALID_1_2_1 &&
        error.code <= XML_SCHEMAV_CVC_ENUMERATION_VALID) {
      // "Element '{namespace}name', attribute 'name': what is wrong with the value"
      const auto named = message.substr(0, message.find("': "));
      const std::string name(named.substr(named.find_last_of("'}") + 1));
      const bool is_empty =
          message.find(" '' is not") != message.npos || message.find(" value '' ") != message.npos;
      return is_empty && !with_values.contains(name) ? Verdict::kNeedsValue : Verdict::kBroken;
    }
    // A wildcard is the one thing that the engine writes with a star, as "{namespace}*".
    const bool wants_wildcard = message.ends_with("* ).\n") && message.find(", ") == message.npos;
    return error.code == XML_SCHEMAV_ELEMENT_CONTENT && wants_wildcard ? Verdict::kNeedsWildcard
                                                                       : Verdict::kBroken;
  }
};

// The schemas that an installed package brought.
std::vector<std::string> SchemasOf(const std::string& package) {
  std::vector<std::string> paths;
  std::ifstream files("/var/lib/dpkg/info/" + package + ".list");
  for (std::string path; std::getline(files, path);)
    if (path.ends_with(".xsd")) paths.push_back(path);
  return paths;
}

class ForeignSchemas : public testing::Test {
 protected:
  // False for a schema that is not usable, as one that wants documents of the network.
  bool GenerateAll(const std::string& path) {
    const EngineScope scope;
    const auto document =
        ParseXml(test::ReadBytes(test::Wide(path)), TextEncoding::kDeclared, path);
    xmlSchemaParserCtxt* c_parser = xmlSchemaNewDocParserCtxt(document.get());
    const XmlSchemaPtr schema(xmlSchemaParse(c_parser));
    xmlSchemaFreeParserCtxt(c_parser);
    CXMLSchema generator;
    if (schema == nullptr || !generator.LoadSchema(test::Wide(path).c_str())) return false;

    const xmlNode* c_root = xmlDocGetRootElement(document.get());
    const std::set<std::string> with_values = NamesWithValues(c_root);
    for (const xmlNode* c_each = c_root->children; c_each != nullptr; c_each = c_each->next) {
      if (!IsXsdElement(c_each, "element")) continue;
      if (RawAttribute(c_each, "abstract") == "true") continue;
      const std::wstring name = test::Wide(RawAttribute(c_each, "name"));
      Defaults defaults;
      const auto text = test::Narrow(generator.CreateXmlInstance(name.c_str(), defaults, nullptr));
      ++counts[Judge(*schema, text, with_values)];
    }
    return true;
  }

  static Verdict Judge(xmlSchema& schema, const std::string& text,
                       const std::set<std::string>& with_values) {
    const auto instance = ParseXml(text, TextEncoding::kUtf8, "");
    EXPECT_NE(instance, nullptr) << text;
    if (instance == nullptr) return Verdict::kBroken;
    Judgement judgement{with_values};
    xmlSchemaValidCtxt* c_validator = xmlSchemaNewValidCtxt(&schema);
    xmlSchemaSetValidStructuredErrors(c_validator, &Judgement::Take, &judgement);
    const int result = xmlSchemaValidateDoc(c_validator, instance.get());
    xmlSchemaFreeValidCtxt(c_validator);
    EXPECT_EQ(result == 0, judgement.verdict == Verdict::kValid) << text;
    EXPECT_NE(judgement.verdict, Verdict::kBroken) << judgement.messages << text;
    return judgement.verdict;
  }

  std::map<Verdict, int> counts;
};

TEST_F(ForeignSchemas, GeneratedElementsLackNothingButValues) {
  // How many each package of Debian 12 has, and how many of these are usable.
  const struct {
    const char* package;
    std::size_t schemas;
    int usable;
  } packages[] = {
      {"gdal-data", 7, 7},
      {"ismrmrd-schema", 1, 1},
      {"opensaml-schemas", 49, 33},  // the others import from the network, or from another package
      {"xmltooling-schemas", 7, 6},
  };
  if (std::ranges::all_of(packages, [](auto& each) { return SchemasOf(each.package).empty(); }))
    GTEST_SKIP() << "scripts/install-dependencies.sh installs the packages with the schemas";
  for (const auto& each : packages) {
    SCOPED_TRACE(each.package);
    const std::vector<std::string> paths = SchemasOf(each.package);
    EXPECT_EQ(paths.size(), each.schemas) << "scripts/install-dependencies.sh installs them";
    int usable = 0;
    for (const std::string& path : paths) {
      SCOPED_TRACE(path);
      usable += GenerateAll(path) ? 1 : 0;
    }
    EXPECT_EQ(usable, each.usable);
  }
  EXPECT_EQ(counts[Verdict::kValid], 93);
  EXPECT_EQ(counts[Verdict::kNeedsValue], 18);
  EXPECT_EQ(counts[Verdict::kNeedsWildcard], 5);
}

}  // namespace
