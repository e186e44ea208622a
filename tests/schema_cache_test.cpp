// What the schema cache accepts, and how it validates.
#include <gtest/gtest.h>

#include "platform/dom/schema_collection.h"
#include "tests/support/dom.h"

namespace {

using namespace test;

// What `add` says to a schema whose file is `path`: "" when it is accepted.
std::string Add(const std::string& schema, const std::wstring& path = L"",
                const std::wstring& ns = L"") {
  const auto doc = Parse(schema, path.empty() ? "" : Narrow(path));
  const auto cache = MakeCounted<SchemaCollection>();
  try {
    cache->Add(ns, doc.get());
  } catch (const _com_error& error) {
    EXPECT_STRNE(error.what(), "");
    EXPECT_FALSE(cache->getSchema(ns));
    return error.what();
  }
  EXPECT_TRUE(cache->getSchema(ns));
  return "";
}

std::string Numbered(const std::string& pattern, int from, int to) {
  std::string result;
  for (int i = from; i < to; ++i)
    for (const char c : pattern)
      result += c == '#' ? std::to_string(i) : c == '@' ? std::to_string(i + 1) : std::string{c};
  return result;
}

TEST(SchemaCache, RefusesWhatDoesNotCompileAndSaysWhy) {
  const std::string a = "<xs:element name='a'/>";
  const std::string target = "targetNamespace='urn:a'";
  for (const std::string& bad :
       {std::string("<schema/>"),
        std::string("<xs:element xmlns:xs='http://www.w3.org/2001/XMLSchema'/>"),
        Schema("<xs:element name='a' type='p:none'/>"), Schema(a + a), Schema(a, target)})
    EXPECT_NE(Add(bad), "") << bad;
  EXPECT_NE(Add(Schema("<xs:element name='a' type='xs:none'/>")).find("none"), std::string::npos);
  EXPECT_NE(Add(Schema(a), L"", L"urn:a"), "");
  EXPECT_EQ(Add(Schema(a)), "");
  EXPECT_EQ(Add(Schema(a, target), L"", L"urn:a"), "");
}

TEST(SchemaCache, RefusesWhatTheEngineWouldNotGetDoneWith) {
  const std::string substitution = "<xs:element name='e#' substitutionGroup='e@'/>";
  const std::string group =
      "<xs:group name='g#'><xs:sequence><xs:group ref='g@'/><xs:group ref='g@'/></xs:sequence>"
      "</xs:group>";
  const std::string last =
      "<xs:group name='g#'><xs:sequence><xs:element name='x'/></xs:sequence></xs:group>";
  const std::string use = "<xs:complexType name='t'><xs:group ref='g0'/></xs:complexType>";
  const std::string extension =
      "<xs:complexType name='t#'><xs:complexContent><xs:extension base='t@'/></xs:complexContent>"
      "</xs:complexType>";
  const std::string attributes =
      "<xs:attributeGroup name='a#'><xs:attributeGroup ref='a@'/><xs:attributeGroup ref='a@'/>"
      "</xs:attributeGroup>";
  const std::string unions =
      "<xs:simpleType name='u#'><xs:union memberTypes='u@ u@'/></xs:simpleType>";
  const std::string number =
      "<xs:simpleType name='u#'><xs:restriction base='xs:int'/></xs:simpleType>";
  const std::string optional = "<xs:element name='e#' minOccurs='0'/>";
  const std::string open = "<xs:complexType name='t'><xs:sequence>";
  const std::string close = "</xs:sequence></xs:complexType>";
  const auto pattern = [](const std::string& value) {
    return "<xs:simpleType name='p'><xs:restriction base='xs:string'><xs:pattern value='" + value +
           "'/></xs:restriction></xs:simpleType>";
  };
  const auto enumeration = [](const std::string& name, const std::string& base, int values) {
    return "<xs:simpleType name='" + name + "'><xs:restriction base='" + base + "'>" +
           Numbered("<xs:enumeration value='v#'/>", 0, values) +
           "</xs:restriction></xs:simpleType>";
  };
  const std::string attribute = "<xs:attribute name='a#'/>";
  const std::string defaulted = "<xs:element name='e#' type='E' default='v0'/>";
  const std::string many = "minOccurs='100000' maxOccurs='1000000000'";
  const struct {
    const char* name;
    std::string body;
    bool accepted;
  } cases[] = {
      {"substitution for itself", "<xs:element name='a' substitutionGroup='a'/>", false},
      {"substitution in a circle",
       Numbered(substitution, 0, 3) + "<xs:element name='e3' substitutionGroup='e0'/>", false},
      {"a chain of substitutions", Numbered(substitution, 0, 50) + "<xs:element name='e50'/>",
       true},
      {"groups that double 10 times", Numbered(group, 0, 10) + Numbered(last, 10, 11) + use, true},
      {"groups that double 60 times", Numbered(group, 0, 60) + Numbered(last, 60, 61) + use, false},
      {"the same, empty and used nowhere",
       Numbered(group, 0, 60) + "<xs:group name='g60'><xs:sequence/></xs:group>", false},
      {"groups in a circle",
       Numbered(group, 0, 2) + Numbered(group, 2, 3) +
           "<xs:group name='g3'>"
           "<xs:choice><xs:group ref='g0'/></xs:choice></xs:group>",
       false},
      {"a recursive element in a group",
       "<xs:group name='g'><xs:sequence><xs:element name='e' "
       "minOccurs='0'><xs:complexType><xs:group ref='g'/></xs:complexType></xs:element>"
       "</xs:sequence></xs:group>",
       true},
      {"500 extensions", Numbered(extension, 0, 500) + "<xs:complexType name='t500'/>", true},
      {"10000 extensions", Numbered(extension, 0, 10000) + "<xs:complexType name='t10000'/>",
       false},
      {"types in a circle",
       Numbered(extension, 0, 2) + Numbered(extension, 2, 3) +
           "<xs:complexType name='t3'><xs:complexContent><xs:extension "
           "base='t0'/></xs:complexContent>"
           "</xs:complexType>",
       false},
      {"a union with itself",
       "<xs:simpleType name='u'><xs:union memberTypes='u xs:int'/>"
       "</xs:simpleType>",
       false},
      {"attribute groups that double",
       Numbered(attributes, 0, 60) +
           "<xs:attributeGroup name='a60'><xs:attribute name='x'/></xs:attributeGroup>",
       false},
      {"attribute groups that double and hold nothing",
       Numbered(attributes, 0, 60) + "<xs:attributeGroup name='a60'/>", false},
      {"unions that double 10 times", Numbered(unions, 0, 10) + Numbered(number, 10, 11), true},
      {"unions that double 60 times", Numbered(unions, 0, 60) + Numbered(number, 60, 61), false},
      {"300 optional elements", open + Numbered(optional, 0, 300) + close, true},
      {"5000 optional elements", open + Numbered(optional, 0, 5000) + close, false},
      {"1000 optional elements, repeated",
       "<xs:complexType name='t'><xs:choice maxOccurs='unbounded'>" + Numbered(optional, 0, 1000) +
           "</xs:choice></xs:complexType>",
       false},
      {"300 optional parts of a pattern", pattern(Numbered("a?(b|)", 0, 150)), true},
      {"5000 optional characters of a pattern", pattern(Numbered("a?b*", 0, 2500)), false},
      {"5000 alternatives with nothing", pattern(Numbered("(a|)", 0, 5000)), false},
      {"a pattern of 20000 characters", pattern(Numbered("a[b-d]+", 0, 3000)), true},
      {"1000 attributes",
       "<xs:complexType name='t'>" + Numbered(attribute, 0, 1000) + "</xs:complexType>", true},
      {"100000 attributes",
       "<xs:complexType name='t'>" + Numbered(attribute, 0, 100'000) + "</xs:complexType>", false},
      {"an enumeration of 100000 values", enumeration("E", "xs:string", 100'000), true},
      {"one within another", enumeration("E", "xs:string", 40'000) + enumeration("F", "E", 40'000),
       false},
      {"one of unions of it",
       enumeration("E", "xs:string", 40'000) +
           "<xs:simpleType name='U'><xs:union memberTypes='xs:int E'/></xs:simpleType>" +
           enumeration("F", "U", 40'000),
       false},
      {"defaults of it", enumeration("E", "xs:string", 40'000) + Numbered(defaulted, 0, 40'000),
       false},
      {"large occurrence numbers",
       open + "<xs:element name='a' " + many + "/><xs:choice " + many + "><xs:element name='b' " +
           many + "/><xs:element name='c'/></xs:choice>" + close,
       true},
  };
  for (const auto& each : cases)
    EXPECT_EQ(Add(Schema(each.body)).empty(), each.accepted)
        << each.name << ": " << Add(Schema(each.body));
}

TEST(SchemaCache, IncludesOnlyHarmlessLocalFiles) {
  const Folder folder;
  const std::string good = Schema("<xs:complexType name='T'/>");
  WriteBytes(folder.Path(L"good one.xsd"), good);
  WriteBytes(folder.Path(L"50%.xsd"), good);
  WriteBytes(folder.Path(L"\u00e4.xsd"), good);
  WriteBytes(folder.Path(L"broken.xsd"), "<xs:schema");
  WriteBytes(folder.Path(L"dtd.xsd"), "<!DOCTYPE a>" + good);
  WriteBytes(folder.Path(L"entity.xsd"),
             "<!DOCTYPE a [<!ENTITY e SYSTEM 'good%20one.xsd'>]>" + good);
  WriteBytes(folder.Path(L"indirect.xsd"), Schema("<xs:include schemaLocation='dtd.xsd'/>"));
  WriteBytes(folder.Path(L"cycle.xsd"),
             Schema("<xs:include schemaLocation='main%20file.xsd'/><xs:complexType name='T'/>"));
  const std::string root = Narrow(folder.Path(L""));
  const std::pair<std::string, bool> cases[] = {
      {"good%20one.xsd", true},
      {"./x/../good%20one.xsd", true},
      {"50%25.xsd", true},
      {"%C3%A4.xsd", true},
      {"cycle.xsd", true},
      {root + "good%20one.xsd", true},
      {"file://" + root + "good%20one.xsd", true},
      {"file://localhost" + root + "good%20one.xsd", true},
      {"missing.xsd", false},
      {".", false},
      {"broken.xsd", false},
      {"dtd.xsd", false},
      {"entity.xsd", false},
      {"indirect.xsd", false},
      {"http://localhost:9/good.xsd", false},
      {"ftp://localhost:9/good.xsd", false},
      {"file://elsewhere" + root + "good%20one.xsd", false},
      {"//elsewhere" + root + "good%20one.xsd", false},
      {"good%20one.xsd?x", false},
      {"good%20one.xsd#x", false},
      {"%FF.xsd", false},
      {":", false},
  };
  const std::wstring main = folder.Path(L"main file.xsd");
  for (const auto& [location, accepted] : cases) {
    // A main file includes itself through "cycle.xsd", so it has to be there.
    const std::string schema =
        Schema("<xs:include schemaLocation='" + location + "'/><xs:element name='a' type='T'/>");
    WriteBytes(main, schema);
    EXPECT_EQ(Add(schema, main).empty(), accepted) << location << ": " << Add(schema, main);
  }
  for (const char* link : {"import namespace='urn:a'", "redefine"}) {
    EXPECT_NE(Add(Schema(std::string("<xs:") + link + " schemaLocation='http://localhost:9/a'/>")),
              "")
        << link;
  }
  EXPECT_EQ(Add(Schema("<xs:import namespace='urn:a'/>")), "");
}

TEST(SchemaCache, TakesOneSchemaAndStaysAsItWas) {
  const auto cache = MakeCounted<SchemaCollection>();
  const auto good = Parse(Schema("<xs:element name='a'/>"));
  const auto doc = Parse("<a/>");
  EXPECT_THROW(cache->Validate(doc.get()), _com_error);
  EXPECT_THROW(cache->Add(L"", Parse("<a/>").get()), _com_error);
  cache->Add(L"", good.get());
  EXPECT_THROW(cache->Add(L"", Parse(Schema("<xs:element name='b'/>")).get()), _com_error);
  EXPECT_EQ(cache->Validate(doc.get()).code, 0);
}

constexpr const char* kIds =
    "<xs:element name='r'><xs:complexType><xs:sequence><xs:element name='e' maxOccurs='unbounded'>"
    "<xs:complexType><xs:attribute name='id' type='xs:ID'/><xs:attribute name='ref' "
    "type='xs:IDREF'/></xs:complexType></xs:element></xs:sequence><xs:attribute name='d' "
    "default='x'/></xs:complexType></xs:element>";

TEST(SchemaCache, ValidatingLeavesTheDocumentAndItsVerdictAsTheyWere) {
  const auto cache = MakeCounted<SchemaCollection>();
  cache->Add(L"", Parse(Schema(kIds)).get());
  const auto valid = Parse("<r><e id='a'/><e id='b' ref='a'/></r>");
  const auto twice = Parse("<r>\n<e id='a'/>\n<e id='a'/></r>");
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(cache->Validate(valid.get()).code, 0);
    const ValidationOutcome outcome = cache->Validate(twice.get());
    EXPECT_NE(outcome.code, 0);
    EXPECT_EQ(outcome.line, 3);
    EXPECT_NE(outcome.reason.find(L"id"), std::wstring::npos);
    EXPECT_NE(outcome.reason.back(), L'\n');
    for (const auto* doc : {valid.get(), twice.get()}) {
      EXPECT_EQ(doc->ids, nullptr);
      EXPECT_EQ(doc->refs, nullptr);
      EXPECT_EQ(xmlDocGetRootElement(doc)->properties, nullptr);
    }
  }
}

TEST(SchemaCache, ServesDocumentsOfTheInterface) {
  const auto cache = CreateObject<IXMLDOMSchemaCollection2>(L"MSXML2.XMLSchemaCache.6.0");
  const DocumentPtr schema = Load(Wide(Schema(kIds)));
  {
    const FailCall fail(FaultPoint::kAdd, 1);
    EXPECT_THROW(cache->add(L"", schema), _com_error);
  }
  EXPECT_THROW(cache->add(L"", nullptr), _com_error);
  cache->add(L"", schema);

  const DocumentPtr doc = Load(L"<r>t<e id='a'/></r>");
  const ComPtr<IXMLDOMNode> element = doc->selectSingleNode(L"/r/e");
  EXPECT_FALSE(cache->getDeclaration(element));  // not bound to this cache
  doc->putref_schemas(cache);
  EXPECT_EQ(cache->getDeclaration(element)->get_name(), L"e");
  EXPECT_TRUE(As<ISchemaElement>(cache->getDeclaration(element)));
  EXPECT_FALSE(cache->getDeclaration(doc->selectSingleNode(L"/r/text()")));
  EXPECT_FALSE(cache->getDeclaration(doc));
  EXPECT_THROW(cache->getDeclaration(nullptr), _com_error);
}

}  // namespace
