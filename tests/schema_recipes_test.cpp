// What docs/schema-guide.md says to the authors of schemas: the starter schema, the recipes in
// examples/recipes, a schema that changes, and where the validator departs from the standard.
#include <gtest/gtest.h>
#include <libxml/xmlversion.h>

#include "platform/dom/dom.h"
#include "src/field_type.h"
#include "tests/support/sample.h"

namespace {
using namespace test;

std::string SchemaWith(const std::string& fields, const std::string& types = "") {
  return "<xs:schema xmlns:xs='http://www.w3.org/2001/XMLSchema' version='1.0.0.0'><xs:include "
         "schemaLocation='" CFGEX_SCHEMA_DIR
         "/cfgex-types.xsd'/><xs:element name='Configuration'>"
         "<xs:complexType><xs:sequence><xs:element name='Category' minOccurs='0' maxOccurs='9'>"
         "<xs:complexType><xs:sequence><xs:element ref='P' minOccurs='0' maxOccurs='9'/>"
         "</xs:sequence></xs:complexType></xs:element></xs:sequence><xs:attributeGroup "
         "ref='HeaderAttributes'/></xs:complexType></xs:element><xs:element name='P' type='PType'/>"
         "<xs:complexType name='PType'><xs:sequence><xs:element name='InstanceId' "
         "type='InstanceIdType'/>" +
         fields + "</xs:sequence></xs:complexType>" + types + "</xs:schema>";
}

// Every type that the library knows by name, but for those of XML Schema itself.
TEST(StarterSchemaTest, HasAllNamedTypesAsFieldsKnowThem) {
  int named = 0;
  for (int number = 0; number < static_cast<int>(FieldType::kUnknown); ++number) {
    const auto type = static_cast<FieldType>(number);
    const std::string name = Narrow(GetFieldTypeName(type));
    if (!name.ends_with("Type")) continue;
    ++named;
    const bool isId = type == FieldType::kInstanceId;
    const bool isBase =
        type == FieldType::kEmbeddedObject || type == FieldType::kEmbeddedObjectArray;
    const std::string derived =
        isId ? "<xs:simpleType name='Own'><xs:restriction base='InstanceIdType'/></xs:simpleType>"
             : "<xs:complexType name='Own'><xs:complexContent><xs:extension base='" + name +
                   "'/></xs:complexContent></xs:complexType>";
    const std::string fields =
        "<xs:element name='Plain' type='" + name + "'/><xs:element name='Derived' type='Own'/>";
    const std::wstring content = isId ? L"x"
                                 : type == FieldType::kReference
                                     ? L"<Category>P</Category><InstanceId></InstanceId>"
                                     : L"";
    Sample sample(
        {Item(L"P", L"a", L"<Plain>" + content + L"</Plain><Derived>" + content + L"</Derived>")},
        SchemaWith(fields, derived));
    const CCfgInstance instance = sample.Read(L"a");
    const auto root = As<IXMLDOMElement>(instance.GetRawInterface());
    ASSERT_TRUE(root) << name;
    const auto field = [&](const wchar_t* path) {
      return As<IXMLDOMElement>(root->selectSingleNode(path));
    };
    EXPECT_EQ(CheckFieldType(field(L"Plain"), type), !isBase) << name;
    EXPECT_TRUE(CheckFieldType(field(L"Derived"), type)) << name;
  }
  EXPECT_EQ(named, 10);
}

class RecipesTest : public testing::Test {
 protected:
  CCfgInstance New(const wchar_t* category, const wchar_t* id) {
    CCfgInstance instance(option);
    EXPECT_TRUE(CCfgCategory(category, option).CreateInstance(instance)) << Narrow(category);
    EXPECT_TRUE(instance.SetInstanceId(id));
    return instance;
  }
  static std::string Schema() {
    std::string schema = ReadBytes(Wide(CFGEX_EXAMPLES "/recipes/recipes.xsd"));
    const std::string folder = "../../schema";
    return schema.replace(schema.find(folder), folder.size(), CFGEX_SCHEMA_DIR);
  }

  Sample sample{{}, Schema()};
  CCfgOption option = sample.option;
};

TEST_F(RecipesTest, ANewInstanceHasItsDefaultsAndNoOptionalField) {
  CCfgInstance room = New(L"Room", L"r");
  for (const auto& [field, expected] :
       {std::pair(L"Kind", "office"), std::pair(L"PostalCode", ""), std::pair(L"Name", "")})
    EXPECT_EQ(TextOf(room, field), expected);
  int warmest = 0;
  unsigned int format = 0;
  EXPECT_TRUE(room.GetFieldValue(L"Comfort/Warmest", warmest) && warmest == 250);
  EXPECT_TRUE(room.GetFieldValue(L"Format", format) && format == 3);
  EXPECT_EQ(TextOf(room, L"Remarks"), "none");
  EXPECT_FALSE(room.SetFieldValue(L"Remarks", L"new"));
  EXPECT_TRUE(sample.Set(room));
}

TEST_F(RecipesTest, WhatTheSchemaForbidsIsRefusedOnStoring) {
  const auto stored = [&](const wchar_t* field, const auto& value) {
    CCfgInstance room = New(L"Room", L"r");
    EXPECT_TRUE(room.SetFieldValue(field, value)) << Narrow(field);
    return sample.Set(room);
  };
  const auto offsets = [](int count, long value) {
    CCfgIntegerArray array;
    for (int i = 0; i < count; ++i) array.AddItem(value);
    return array;
  };
  EXPECT_TRUE(stored(L"Kind", L"laboratory"));
  EXPECT_FALSE(stored(L"Kind", L"garage"));
  EXPECT_TRUE(stored(L"PostalCode", L"1234"));
  EXPECT_FALSE(stored(L"PostalCode", L"12"));
  EXPECT_TRUE(stored(L"SetPoint", 1200));
  EXPECT_FALSE(stored(L"SetPoint", 1201));
  EXPECT_FALSE(stored(L"Format", 4U));
  EXPECT_TRUE(stored(L"Offsets", offsets(24, 5)));
  EXPECT_FALSE(stored(L"Offsets", offsets(25, 5)));
  EXPECT_FALSE(stored(L"Offsets", offsets(1, 1201)));
  EXPECT_FALSE(stored(L"Controller", New(L"Room", L"other")));  // bound to devices
}

TEST_F(RecipesTest, AnObjectOfAnotherKindIsPutInAsAWhole) {
  CCfgInstance device = New(L"Device", L"d");
  unsigned int baud = 0;
  EXPECT_TRUE(device.GetFieldValue(L"Driver/Baud", baud) && baud == 9600);  // the first kind
  ASSERT_TRUE(sample.Set(device));

  const CCfgInstance other(
      Document(L"e", {Item(L"Device", L"e",
                           L"<Driver xmlns:xsi=\"http://www.w3.org/2001/XMLSchema-instance\" "
                           L"xsi:type=\"NetworkDriverType\"><Enabled>true</Enabled><Host>h</Host>"
                           L"</Driver><Rooms/>")})
          .c_str(),
      option);
  CCfgObject driver(option);
  ASSERT_TRUE(other.GetFieldValue(L"Driver", driver));
  EXPECT_TRUE(device.SetFieldValue(L"Driver", driver));
  EXPECT_TRUE(device.SetFieldValue(L"Driver/Host", L"plant.example"));
  EXPECT_FALSE(device.GetFieldValue(L"Driver/Baud", baud));
  EXPECT_TRUE(sample.Set(device));

  CCfgObject field(option);  // what only one of the kinds declares
  for (const wchar_t* name : {L"Baud", L"Host"})
    EXPECT_TRUE(CCfgCategory(L"Device", option).CreateObject(name, field)) << Narrow(name);
}

TEST_F(RecipesTest, AListOfObjectsGrowsThroughTheText) {
  ASSERT_TRUE(sample.Set(New(L"Rule", L"rule")));
  std::wstring xml = sample.Get(L"rule");
  // [add-object]
  const std::wstring empty = L"<Escalation/>";
  xml.replace(xml.find(empty), empty.size(),
              L"<Escalation><Step><AfterMinutes>5</AfterMinutes></Step></Escalation>");
  // [end]
  ASSERT_TRUE(sample.Set(xml));

  CCfgInstance rule = sample.Read(L"rule");
  CCfgObjectArray steps;
  ASSERT_TRUE(rule.GetFieldValue(L"Escalation", steps));
  ASSERT_EQ(steps.GetItemCount(), 1U);
  CCfgObject step(option);
  steps.GetItem(0, step);
  EXPECT_TRUE(step.SetFieldValue(L"AfterMinutes", 10U));
  unsigned int minutes = 0;
  EXPECT_TRUE(rule.GetFieldValue(L"Escalation/Step[1]/AfterMinutes", minutes) && minutes == 10);
  EXPECT_FALSE(rule.SetFieldValue(L"Escalation", steps));
}

constexpr const char* kName = "<xs:element name='Name' type='xs:string'/>";
constexpr const char* kPhone = "<xs:element name='Phone' type='xs:string' minOccurs='0'/>";

TEST(SchemaVersionsTest, AnOptionalFieldIsAddedThroughTheText) {
  Sample sample({Item(L"P", L"a", L"<Name>n</Name>")}, SchemaWith(kName));
  const std::wstring newer = sample.folder.Path(L"newer.xsd");
  WriteBytes(newer, SchemaWith(std::string(kName) + kPhone));
  sample.store.reset();
  CCfgOption option;
  ASSERT_TRUE(option.Initialize(newer.c_str()));
  {
    CCfgConfigurationEx store(option);
    ASSERT_TRUE(store.Initialize(sample.configFile.c_str()));
    OS::x_wstring text;
    ASSERT_TRUE(store.GetConfiguration(L"a", text));
    // [add-field]
    CCfgInstance person(text, option);
    OS::x_wstring phone;
    if (!person.GetFieldValue(L"Phone", phone)) {
      std::wstring xml = text.str();
      xml.insert(xml.find(L"</Name>") + 7, L"<Phone/>");
      person = CCfgInstance(xml.c_str(), option);
    }
    const bool changed = person.SetFieldValue(L"Phone", L"112");
    // [end]
    EXPECT_TRUE(changed);
    ASSERT_TRUE(person.GetXml(text));
    EXPECT_TRUE(store.SetConfiguration(text, nullptr, nullptr));
  }
  // The older schema refuses the file, and with it the backup.
  const std::string file = ReadBytes(sample.configFile);
  CCfgConfigurationEx older(sample.option);
  EXPECT_FALSE(older.Initialize(sample.configFile.c_str()));
  EXPECT_EQ(ReadBytes(sample.configFile), file);
}

TEST(RedefinitionTest, AddsAStepToAnApplicationsOwnTypesAlone) {
  const Folder folder;
  WriteBytes(folder.Path(L"own.xsd"),
             "<xs:schema xmlns:xs='http://www.w3.org/2001/XMLSchema'><xs:simpleType "
             "name='LevelType'><xs:restriction base='xs:integer'/></xs:simpleType></xs:schema>");
  const std::string redefined =
      "<xs:redefine schemaLocation='own.xsd'><xs:simpleType name='LevelType'><xs:restriction "
      "base='LevelType'><xs:maxInclusive value='9'/></xs:restriction></xs:simpleType>"
      "</xs:redefine><xs:redefine schemaLocation='" CFGEX_SCHEMA_DIR
      "/cfgex-types.xsd'>"
      "<xs:complexType name='StringArrayType'><xs:complexContent><xs:restriction "
      "base='StringArrayType'><xs:sequence><xs:element name='Item' type='xs:string' minOccurs='0' "
      "maxOccurs='2'/></xs:sequence></xs:restriction></xs:complexContent></xs:complexType>"
      "</xs:redefine>";
  std::string schema = SchemaWith(
      "<xs:element name='Level' type='LevelType' default='1'/>"
      "<xs:element name='Texts' type='StringArrayType'/>");
  const std::size_t include = schema.find("<xs:include");
  schema.replace(include, schema.find("/>", include) + 2 - include, redefined);
  WriteBytes(folder.Path(L"main.xsd"), schema);
  CCfgOption option;
  ASSERT_TRUE(option.Initialize(folder.Path(L"main.xsd").c_str()));
  CCfgInstance instance(option);
  ASSERT_TRUE(CCfgCategory(L"P", option).CreateInstance(instance));
  EXPECT_FALSE(instance.SetFieldValue(L"Level", 2));
  EXPECT_TRUE(instance.SetFieldValue(L"Texts", std::vector<OS::x_wstring>{L"a"}));
}

TEST(ValidatorTest, DepartsFromTheStandardAsTheGuideSays) {
  const std::string schema = SchemaWith(
      "<xs:choice><xs:element name='Int' type='xs:int'/><xs:element name='Integer' "
      "type='xs:integer'/><xs:element name='Unsigned' type='xs:nonNegativeInteger'/>"
      "<xs:element name='Flag' type='xs:boolean'/><xs:element name='Date' type='xs:dateTime'/>"
      "<xs:element name='Ref' type='xs:IDREF'/><xs:element name='Wrong' type='WrongType'/>"
      "</xs:choice>",
      "<xs:complexType name='WrongType'><xs:complexContent><xs:restriction "
      "base='IntegerArrayType'><xs:sequence><xs:element name='Item' type='xs:string' "
      "maxOccurs='5'/></xs:sequence></xs:restriction></xs:complexContent></xs:complexType>");
  Sample sample({}, schema);
  const std::wstring digits(24, L'9');
  constexpr bool kIsMended = LIBXML_VERSION >= 21504;
  for (const auto& [field, valid] : std::vector<std::pair<std::wstring, bool>>{
           {L"<Int>5</Int>", true},
           {L"<Int> 5 </Int>", kIsMended},
           {L"<Integer> 5 </Integer>", true},
           {L"<Unsigned> 5 </Unsigned>", true},
           {L"<Flag> true </Flag>", true},
           {L"<Date> 2024-01-01T00:00:00Z </Date>", kIsMended},
           {L"<Integer>" + digits + L"</Integer>", true},
           {L"<Integer>9" + digits + L"</Integer>", kIsMended},
           {L"<Ref>nobody</Ref>", true},
           {L"<Wrong><Item>no number</Item></Wrong>", true}}) {
    EXPECT_EQ(sample.Set(Alone(L"a", field)), valid) << Narrow(field);
  }
}

}  // namespace
