// Schemas that others wrote, in tests/data/foreign: whatever element is generated from them is
// valid by the word of the engine, or what is wrong with it is what its schema makes so.
#include <gtest/gtest.h>
#include <libxml/xmlschemas.h>

#include <algorithm>
#include <filesystem>
#include <map>
#include <set>
#include <string>
#include <string_view>

#include "platform/dom/engine.h"
#include "platform/dom/node_tree.h"
#include "platform/schema/schema_cache.h"
#include "platform/schema/schema_documents.h"
#include "platform/schema/xml_schema.h"
#include "tests/support/support.h"

namespace {

// Treats elements as a category does for its default objects.
struct Defaults : cfgex::CXMLSchema::CSchemaElementCallback {
  void OnStart() override {}
  void OnEnd() override {}
  void OnElement(cfgex::CSchemaElementInfo& info) override {
    const auto declaration = info.GetDeclaration();
    if (declaration->get_minOccurs() == L"0")
      info.SetOmitted(true);
    else if (declaration->get_defaultValue().empty() && declaration->get_fixedValue().empty())
      info.GetNode()->put_text(L"");
  }
};

// What is declared with a value somewhere in the schema, and so is never left empty.
std::set<std::string> NamesWithValues(const xmlNode* c_root) {
  std::set<std::string> names;
  for (const xmlNode* c_at = c_root; c_at != nullptr; c_at = cfgex::NextInTree(c_at, c_root))
    if (cfgex::IsXsdElement(c_at) &&
        !(cfgex::RawAttribute(c_at, "default") + cfgex::RawAttribute(c_at, "fixed")).empty())
      names.insert(cfgex::RawAttribute(c_at, "name"));
  return names;
}

enum class Verdict { kValid, kNeedsValue, kNeedsWildcard, kBroken };

struct Judgement {
  const std::set<std::string>& with_values;
  Verdict verdict = Verdict::kValid;
  std::string messages{};

  static void Take(void* self, cfgex::EngineError* error) {
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

TEST(ForeignSchemas, GeneratedElementsLackNothingButValues) {
  int schemas = 0;
  std::map<Verdict, int> counts;
  for (const auto& entry : std::filesystem::directory_iterator(CFGEX_TEST_DATA "/foreign")) {
    if (entry.path().extension() != ".xsd") continue;
    const std::string path = entry.path().string();
    SCOPED_TRACE(path);
    ++schemas;
    const cfgex::EngineScope scope;
    const auto document =
        cfgex::ParseXml(test::ReadBytes(test::Wide(path)), cfgex::TextEncoding::kDeclared, path);
    xmlSchemaParserCtxt* c_parser = xmlSchemaNewDocParserCtxt(document.get());
    const cfgex::XmlSchemaPtr schema(xmlSchemaParse(c_parser));
    xmlSchemaFreeParserCtxt(c_parser);
    ASSERT_NE(schema, nullptr);
    cfgex::CXMLSchema generator;
    ASSERT_TRUE(generator.LoadSchema(test::Wide(path).c_str()));

    const xmlNode* c_root = xmlDocGetRootElement(document.get());
    const std::set<std::string> with_values = NamesWithValues(c_root);
    for (const xmlNode* c_each = c_root->children; c_each != nullptr; c_each = c_each->next) {
      if (!cfgex::IsXsdElement(c_each, "element")) continue;
      const std::wstring name = test::Wide(cfgex::RawAttribute(c_each, "name"));
      Defaults defaults;
      const auto text = test::Narrow(generator.CreateXmlInstance(name.c_str(), defaults, nullptr));
      const auto instance = cfgex::ParseXml(text, cfgex::TextEncoding::kUtf8, "");
      ASSERT_NE(instance, nullptr) << text;
      Judgement judgement{with_values};
      xmlSchemaValidCtxt* c_validator = xmlSchemaNewValidCtxt(schema.get());
      xmlSchemaSetValidStructuredErrors(c_validator, &Judgement::Take, &judgement);
      const int result = xmlSchemaValidateDoc(c_validator, instance.get());
      xmlSchemaFreeValidCtxt(c_validator);
      EXPECT_EQ(result == 0, judgement.verdict == Verdict::kValid) << text;
      EXPECT_NE(judgement.verdict, Verdict::kBroken) << judgement.messages << text;
      ++counts[judgement.verdict];
    }
  }
  EXPECT_EQ(schemas, 13);
  EXPECT_EQ(counts[Verdict::kValid], 25);
  EXPECT_EQ(counts[Verdict::kNeedsValue], 44);
  EXPECT_EQ(counts[Verdict::kNeedsWildcard], 1);
}

}  // namespace
