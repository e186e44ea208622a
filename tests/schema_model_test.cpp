// What the model of a schema says about its components and about the elements of a document.
#include <gtest/gtest.h>

#include <sstream>

#include "platform/dom/schema_collection.h"
#include "platform/tree/nodes.h"
#include "tests/support/dom.h"

namespace {

using namespace test;

const std::string kConstructs = CFGEX_TEST_DATA "/schemas/constructs.xsd";

ComPtr<SchemaCache> CacheOf(const std::string& schema, const std::string& url = "") {
  auto cache = MakeCounted<SchemaCollection>();
  cache->Add(L"", Parse(schema, url).get());
  return cache;
}

ComPtr<SchemaCache> Constructs() { return CacheOf(ReadBytes(Wide(kConstructs)), kConstructs); }

ComPtr<ISchemaType> Type(SchemaCache& cache, const wchar_t* name) {
  return As<ISchemaType>(cache.getSchema(L"")->get_types()->itemByName(name));
}

// The names of the direct base types, with blanks between.
std::string Bases(ISchemaType& type) {
  const auto bases = type.get_baseTypes();
  std::string result;
  for (long i = 0; i < bases->get_length(); ++i)
    result += (i == 0 ? "" : " ") + Narrow(bases->get_item(i)->get_name());
  return result;
}

// One line per element: its name, and the type (before it "complex" if it is) and minOccurs of its
// declaration, or "-".
std::string Declarations(const SchemaCache& cache, xmlDoc* c_doc) {
  std::string result;
  const auto* c_root = reinterpret_cast<xmlNode*>(c_doc);
  for (xmlNode* c_node = c_doc->children; c_node; c_node = NextInTree(c_node, c_root)) {
    if (c_node->type != XML_ELEMENT_NODE) continue;
    result += reinterpret_cast<const char*>(c_node->name);
    auto* element = dynamic_cast<ISchemaElement*>(cache.DeclarationOf(c_node));
    if (element == nullptr) {
      result += " -\n";
      continue;
    }
    EXPECT_STREQ(Narrow(element->get_name()).c_str(), reinterpret_cast<const char*>(c_node->name));
    const auto type = element->get_type();
    result += As<ISchemaComplexType>(type) ? " complex " : " ";
    result += Narrow(type->get_name()) + " " + Narrow(element->get_minOccurs()) + "\n";
  }
  return result;
}

TEST(SchemaModel, BuiltInTypesHaveTheirDirectBaseAlone) {
  // https://www.w3.org/TR/xmlschema-2/#built-in-datatypes
  const std::pair<const char*, std::vector<const char*>> cases[] = {
      {"anyType", {"anySimpleType"}},
      {"anySimpleType", {"string",   "boolean",  "decimal",   "float",        "double", "duration",
                         "dateTime", "time",     "date",      "gYearMonth",   "gYear",  "gMonthDay",
                         "gDay",     "gMonth",   "hexBinary", "base64Binary", "anyURI", "QName",
                         "NOTATION", "NMTOKENS", "IDREFS",    "ENTITIES"}},
      {"string", {"normalizedString"}},
      {"normalizedString", {"token"}},
      {"token", {"language", "NMTOKEN", "Name"}},
      {"Name", {"NCName"}},
      {"NCName", {"ID", "IDREF", "ENTITY"}},
      {"decimal", {"integer"}},
      {"integer", {"nonPositiveInteger", "long", "nonNegativeInteger"}},
      {"nonPositiveInteger", {"negativeInteger"}},
      {"long", {"int"}},
      {"int", {"short"}},
      {"short", {"byte"}},
      {"nonNegativeInteger", {"unsignedLong", "positiveInteger"}},
      {"unsignedLong", {"unsignedInt"}},
      {"unsignedInt", {"unsignedShort"}},
      {"unsignedShort", {"unsignedByte"}},
  };
  // Each is reached as the type of an element, as an application does.
  std::string schema;
  std::string text = "<r>";
  for (const auto& [base, names] : cases) {
    for (const std::string name : names) {
      schema += "<xs:element name='" + name + "' type='xs:" + name + "'/>";
      text += "<" + name + "/>";
    }
  }
  const auto cache = CacheOf(Schema("<xs:element name='r'><xs:complexType><xs:sequence>" + schema +
                                    "</xs:sequence></xs:complexType></xs:element>"));
  const auto doc = Parse(text + "</r>");
  xmlNode* c_node = xmlDocGetRootElement(doc.get())->children;
  for (const auto& [base, names] : cases) {
    for (const char* name : names) {
      auto* element = dynamic_cast<ISchemaElement*>(cache->DeclarationOf(c_node));
      ASSERT_NE(element, nullptr) << name;
      EXPECT_EQ(Narrow(element->get_type()->get_name()), name);
      EXPECT_EQ(Bases(*element->get_type().get()), base) << name;
      EXPECT_FALSE(element->get_type()->get_schema()) << name;
      EXPECT_FALSE(As<ISchemaComplexType>(element->get_type())) << name;
      c_node = c_node->next;
    }
  }
}

TEST(SchemaModel, ElementsAreDeclaredAtEveryDepth) {
  const auto cache = Constructs();
  const auto doc = Parse(
      "<root xmlns:o='urn:other'><plain/><untyped><root/><x/></untyped>"
      "<pick><left/><right/><first/><second/><third/></pick><every><two/><one/></every>"
      "<derived><b/><m/><d><deep/></d><x/></derived><adjusted><original/><added/></adjusted>"
      "<measure/><circle><node/></circle><shape/><o:thing><o:qualified><deep/></o:qualified>"
      "<local/><qualified/></o:thing><node><node><node/></node></node><never/><b/></root>");
  EXPECT_EQ(Declarations(*cache, doc.get()),
            "root complex  1\nplain positiveInteger 0\nuntyped complex anyType 1\n"
            "root complex  1\nx -\n"
            "pick complex  0\nleft string 1\nright Short 1\nfirst string 1\nsecond string 1\n"
            "third string 1\nevery complex  1\ntwo Numbers 1\none Colour 0\n"
            "derived complex Derived 1\nb string 1\nm string 0\nd complex Included 1\n"
            "deep InnerType 1\nx -\n"
            "adjusted complex Adjusted 1\noriginal int 1\nadded int 1\n"
            "measure complex NarrowMeasure 1\ncircle complex Node 1\nnode complex Node 0\n"
            "shape complex Node 0\nthing complex Thing 1\nqualified complex Included 1\n"
            "deep InnerType 1\nlocal InnerType 1\nqualified -\n"
            "node complex Node 1\nnode complex Node 0\nnode complex Node 0\nnever -\nb -\n");
}

TEST(SchemaModel, TheTypeNamedInTheDocumentDecides) {
  const auto cache = Constructs();
  const std::string head =
      "<root xmlns:xsi='http://www.w3.org/2001/XMLSchema-instance' xmlns:o='urn:other' "
      "xmlns:xs='http://www.w3.org/2001/XMLSchema'>";
  const struct {
    const char* body;
    const char* expected;  // without the root's line
  } cases[] = {
      {"<untyped xsi:type='Derived'><b/><d><deep/></d><x/></untyped>",
       "untyped complex anyType 1\nb string 1\nd complex Included 1\ndeep InnerType 1\nx -\n"},
      {"<derived xsi:type=' Narrowed '><b/><m/></derived>",
       "derived complex Derived 1\nb string 1\nm -\n"},
      {"<untyped xsi:type='o:Thing'><o:qualified/></untyped>",
       "untyped complex anyType 1\nqualified complex Included 1\n"},
      {"<untyped xsi:type='o:Derived'><b/></untyped>", "untyped complex anyType 1\nb -\n"},
      {"<untyped xsi:type='none:Derived'><b/></untyped>", "untyped complex anyType 1\nb -\n"},
      {"<untyped xsi:type='xs:string'><root/></untyped>", "untyped complex anyType 1\nroot -\n"},
      {"<untyped><x xsi:type='Adjusted'><added/></x></untyped>",
       "untyped complex anyType 1\nx -\nadded int 1\n"},
      {"<x xsi:type='Adjusted'><added/></x>", "x -\nadded -\n"},
  };
  for (const auto& each : cases) {
    const auto doc = Parse(head + each.body + "</root>");
    EXPECT_EQ(Declarations(*cache, doc.get()), std::string("root complex  1\n") + each.expected)
        << each.body;
  }
}

TEST(SchemaModel, WildcardsLeadToGlobalElements) {
  const auto cache = Constructs();
  const auto doc = Parse(
      "<root xmlns:o='urn:other'><open><strict><round><node/></round><unknown><round/></unknown>"
      "</strict><lax><shape/><unknown><round/></unknown><o:thing/></lax>"
      "<skip><round><node/></round><o:thing/></skip><others><o:thing/><round/></others>"
      "</open></root>");
  EXPECT_EQ(Declarations(*cache, doc.get()),
            "root complex  1\nopen complex Open 0\nstrict complex  1\nround complex Node 1\n"
            "node complex Node 0\nunknown -\nround -\n"
            "lax complex  1\nshape complex Node 1\nunknown -\nround complex Node 1\n"
            "thing complex Thing 1\n"
            "skip complex  1\nround -\nnode -\nthing -\n"
            "others complex  1\nthing complex Thing 1\nround -\n");
}

TEST(SchemaModel, GlobalTypesAndTheirBases) {
  const auto cache = Constructs();
  const std::pair<const wchar_t*, const char*> cases[] = {
      {L"Base", "anyType"},      {L"Middle", "Base"},           {L"Derived", "Middle"},
      {L"Narrowed", "Middle"},   {L"Measure", "Colour"},        {L"NarrowMeasure", "Measure"},
      {L"Adjusted", "Adjusted"}, {L"Short", "Short"},           {L"Node", "anyType"},
      {L"Open", "anyType"},      {L"Included", "anyType"},      {L"InnerType", "string"},
      {L"Colour", "token"},      {L"Numbers", "anySimpleType"}, {L"Either", "Colour int "},
  };
  const auto types = cache->getSchema(L"")->get_types();
  EXPECT_EQ(types->get_length(), static_cast<long>(std::size(cases)));
  for (const auto& [name, bases] : cases) {
    const auto type = Type(*cache, name);
    ASSERT_TRUE(type) << Narrow(name);
    EXPECT_EQ(type->get_name(), name);
    EXPECT_EQ(Bases(*type.get()), bases) << Narrow(name);
    EXPECT_EQ(type->get_schema(), cache->getSchema(L"")) << Narrow(name);
  }
  // The type that a redefinition starts from is behind it, and derives as it was written.
  const auto original = As<ISchemaType>(Type(*cache, L"Short")->get_baseTypes()->get_item(0));
  EXPECT_EQ(Bases(*original.get()), "string");
  EXPECT_FALSE(types->itemByName(L"Thing"));
  EXPECT_FALSE(types->itemByName(L""));
  EXPECT_FALSE(types->get_item(-1));
  EXPECT_FALSE(types->get_item(types->get_length()));
}

TEST(SchemaModel, ValuesOfDeclarations) {
  const auto cache = Constructs();
  EXPECT_EQ(cache->getSchema(L"")->get_version(), L"1.2.3");
  EXPECT_FALSE(cache->getSchema(L"urn:other"));
  const auto doc = Parse("<root xmlns:o='urn:other'><plain/><pick><left/></pick><o:thing/></root>");
  const auto element = [&](xmlNode* c_node) {
    return As<ISchemaElement>(cache->DeclarationOf(c_node));
  };
  xmlNode* c_plain = xmlDocGetRootElement(doc.get())->children;
  EXPECT_EQ(element(c_plain)->get_defaultValue(), L"7");
  EXPECT_EQ(element(c_plain)->get_fixedValue(), L"");
  EXPECT_EQ(element(c_plain)->get_schema(), cache->getSchema(L""));
  EXPECT_EQ(element(c_plain->next->children)->get_fixedValue(), L"l");
  // A declaration of another namespace has that one's schema, with that one's types.
  const auto other = element(c_plain->next->next)->get_schema();
  EXPECT_TRUE(other->get_types()->itemByName(L"Thing"));
  EXPECT_TRUE(other->get_types()->itemByName(L"Included"));
  EXPECT_FALSE(other->get_types()->itemByName(L"Derived"));
}

TEST(SchemaModel, AnItemKeepsEverythingAlive) {
  auto cache = Constructs();
  const auto type = Type(*cache, L"Derived");
  cache = nullptr;
  const auto middle = As<ISchemaType>(type->get_baseTypes()->get_item(0));
  EXPECT_EQ(Bases(*middle.get()), "Base");
  EXPECT_TRUE(middle->get_schema()->get_types()->itemByName(L"Node"));
}

TEST(SchemaModel, AttributesAndTextOfComplexTypes) {
  const auto cache = Constructs();
  const SchemaModel& model = *cache->Model();
  const auto attributes = [&](const ISchemaComplexType& type) {
    std::string result;
    for (const AttributeUse* use : type.Attributes()) {
      result += "{" + use->ns + "}" + use->local_name + ":" + use->type->local_name;
      if (use->use == AttributeUseKind::kRequired) result += "!";
      result += Narrow(use->default_value + use->fixed_value) + " ";
    }
    return result;
  };
  const auto type = [&](const char* ns, const char* name) -> const ISchemaComplexType& {
    return *model.FindType({ns, name})->complex;
  };
  EXPECT_EQ(attributes(type("", "Derived")), "{}kept:int! {}gone:int ");
  EXPECT_EQ(attributes(type("", "Narrowed")), "{}kept:int! ");
  EXPECT_EQ(attributes(type("", "NarrowMeasure")), "{}unit:anySimpleTypemm ");
  EXPECT_EQ(attributes(type("urn:other", "Thing")), "{urn:other}q:InnerType! ");
  EXPECT_EQ(attributes(type("urn:other", "Included")), "{}a:InnerType ");
  const auto* root = model.FindElement({"", "root"});
  const Particle& pick = root->type->complex->particle->group->particles[2];
  EXPECT_EQ(attributes(*pick.element->type->complex), "{}extra:stringe {}mark:anySimpleType! ");

  EXPECT_FALSE(type("", "Derived").is_mixed);
  EXPECT_TRUE(type("", "Node").is_mixed);
  EXPECT_TRUE(type("", "NarrowMeasure").has_simple_content);
  EXPECT_TRUE(type("", "Base").is_abstract);
  EXPECT_EQ(type("", "NarrowMeasure").simple_content->base->local_name, "Colour");
}

// Ten thousand types over one list of ten thousand members took all of the memory.
TEST(SchemaModel, LongListsAreHeldOnce) {
  const auto cache = CacheOf(
      Schema("<xs:simpleType name='U'><xs:union memberTypes='xs:string xs:int'/></xs:simpleType>"
             "<xs:simpleType name='U1'><xs:restriction base='U'/></xs:simpleType>"
             "<xs:element name='h' type='U'/><xs:element name='m' substitutionGroup='h'/>"
             "<xs:element name='r'><xs:complexType><xs:sequence><xs:element ref='h'/></xs:sequence>"
             "</xs:complexType></xs:element>"));
  const SchemaModel& model = *cache->Model();
  EXPECT_EQ(model.FindType({"", "U"})->simple->members.size(), 2u);
  EXPECT_TRUE(model.FindType({"", "U1"})->simple->members.empty());
  EXPECT_EQ(model.FindType({"", "U1"})->simple->variety, Variety::kUnion);
  const auto& content = *model.FindElement({"", "r"})->type->complex->particle->group;
  const ISchemaElement* use = content.particles.front().element;
  EXPECT_TRUE(use->substitutes.empty());
  EXPECT_EQ(use->AllSubstitutes().size(), 1u);
}

TEST(SchemaModel, LongChainsOfDerivation) {
  std::ostringstream schema;
  std::ostringstream text;
  schema << "<xs:element name='r' type='t150'/><xs:complexType name='t0'/>";
  for (int i = 1; i <= 150; ++i) {
    schema << "<xs:complexType name='t" << i << "'><xs:complexContent><xs:extension base='t"
           << i - 1 << "'><xs:sequence><xs:element name='e" << i << "' type='xs:int'/>"
           << "</xs:sequence></xs:extension></xs:complexContent></xs:complexType>";
    text << "<e" << i << ">1</e" << i << ">";
  }
  const auto cache = CacheOf(Schema(schema.str()));
  const auto doc = Parse("<r>" + text.str() + "</r>");
  EXPECT_EQ(cache->Validate(doc.get()).code, 0);
  for (xmlNode* c_node = xmlDocGetRootElement(doc.get())->children; c_node; c_node = c_node->next)
    EXPECT_NE(cache->DeclarationOf(c_node), nullptr) << c_node->name;
}

}  // namespace
