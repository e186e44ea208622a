// The generator of default instances: what it makes of each construct of a schema.
#include "platform/dom/xml_schema.h"

#include <gtest/gtest.h>

#include <functional>
#include <sstream>
#include <stdexcept>
#include <thread>
#include <vector>

#include "platform/schema/schema_reader.h"
#include "tests/support/dom.h"

namespace {

using namespace test;

// Records the course of a generation and leaves optional elements out, but those named in `keep`.
struct Recorder : CXMLSchema::CSchemaElementCallback {
  void OnStart() override { log += "<"; }
  void OnEnd() override { log += ">"; }
  void OnElement(CSchemaElementInfo& info) override {
    const auto node = As<IXMLDOMElement>(info.GetNode());
    const auto declaration = info.GetDeclaration();
    const std::string name = Narrow(node->get_tagName());
    const std::string min = declaration ? Narrow(declaration->get_minOccurs()) : "-";
    log += name + min + " ";
    EXPECT_TRUE(!declaration || name.ends_with(Narrow(declaration->get_name()))) << name;
    EXPECT_EQ(node->get_childNodes()->get_length(), node->get_text().empty() ? 0 : 1) << name;
    info.SetOmitted(min == "0" && keep.find(name) == keep.npos);
    if (act) act(info);
  }
  std::string log;
  std::string keep;
  std::function<void(CSchemaElementInfo&)> act;
};

std::wstring Data(const std::wstring& name) { return Wide(CFGEX_TEST_DATA "/generator/") + name; }
// A schema in which `r` holds `particles` in a row.
std::string Row(const std::string& particles) {
  return Schema("<xs:element name='r'><xs:complexType><xs:sequence>" + particles +
                "</xs:sequence></xs:complexType></xs:element>");
}

class XmlSchema : public testing::Test {
 protected:
  std::string Generate(const std::string& schema, const wchar_t* name = L"r",
                       const wchar_t* scope = nullptr) {
    WriteBytes(path, schema);
    CXMLSchema generator;
    EXPECT_TRUE(generator.LoadSchema(path.c_str())) << schema;
    return Narrow(generator.CreateXmlInstance(name, recorder, scope));
  }
  Folder folder;
  std::wstring path = folder.Path(L"a.xsd");
  Recorder recorder;
};

// The cases are in data/generator/cases.txt, which tells their form.
TEST_F(XmlSchema, EachConstructHasItsDefaultForm) {
  WriteBytes(folder.Path(L"plain.xsd"), ReadBytes(Data(L"plain.xsd")));
  std::istringstream file(ReadBytes(Data(L"cases.txt")));
  std::string line, body, attributes;
  while (std::getline(file, line) && line[0] != '#') continue;  // what the file says of itself
  int cases = 0;
  while (std::getline(file, line)) {
    if (line.starts_with("@ ")) {
      attributes = line.substr(2);
    } else if (line.starts_with("=>")) {
      const std::string expected = line.size() > 3 ? line.substr(3) : "";
      EXPECT_EQ(Generate(Schema(body, attributes)), expected) << body;
      body = attributes = "";
      ++cases;
    } else if (!line.starts_with('#')) {
      body += line + "\n";
    }
  }
  EXPECT_EQ(cases, 31);
}

TEST_F(XmlSchema, NamesAreLookedForBelowTheScopeThenGlobally) {
  const std::string schema = ReadBytes(Data(L"names.xsd"));
  const struct {
    const wchar_t *name, *scope;
    const char *text, *log;
  } cases[] = {
      {L"part", L"one", "<part>1</part>", "<part0 >"},
      {L"part", L"two", "<part>2</part>", "<part0 >"},
      {L"part", nullptr, "<part>g</part>", "<part1 >"},
      {L"part", L"unknown", "<part>g</part>", "<part1 >"},
      {L"two", L"two", "<two/>", "<two1 >"},
      {L"T", L"one", "<T><x/></T>", "<T- part0 x1 >"},
      {L"S", nullptr, "<S/>", "<S- >"},
      {L"deep", nullptr, "", ""},
      {L"part", L"kinds", "<part>k</part>", "<part0 >"},  // before the derived types of its level
      {L"only", L"kinds", "<only>d</only>", "<only0 >"},
      {L"only", L"one", "", ""},
      {L"none", nullptr, "", ""},
      {L"int", nullptr, "", ""},
      {L"", L"one", "", ""},
      {nullptr, nullptr, "", ""},
  };
  for (const auto& each : cases) {
    recorder.log.clear();
    EXPECT_EQ(Generate(schema, each.name, each.scope), each.text);
    EXPECT_EQ(recorder.log, each.log) << each.text;
  }
}

TEST_F(XmlSchema, TheCallbackSeesEachElementBeforeItsChildrenAndDecides) {
  const std::string schema = ReadBytes(Data(L"optional.xsd"));
  EXPECT_EQ(Generate(schema), "<r><c>3</c></r>");
  EXPECT_EQ(recorder.log, "<r1 a0 m0 r0 c1 >");
  recorder.keep = "am";
  EXPECT_EQ(Generate(schema), "<r><a><b/></a><m/><c>3</c></r>");
  recorder.keep = "r";  // without an end
  EXPECT_EQ(Generate(schema), "");
  recorder.act = [](auto& info) { info.GetNode()->put_text(L"x"); };
  recorder.keep = "";
  EXPECT_EQ(Generate(schema), "<r>x<c>x</c></r>");
  int asked = 0;  // an element may contain itself below an optional one
  recorder.act = [&](auto& info) { info.SetOmitted(++asked == 4); };
  EXPECT_EQ(Generate(Row("<xs:element name='o' minOccurs='0'><xs:complexType><xs:sequence>"
                         "<xs:element ref='r'/></xs:sequence></xs:complexType></xs:element>")),
            "<r><o><r/></o></r>");
}

TEST_F(XmlSchema, FailuresPassThroughAndLeaveNothingBehind) {
  const std::string schema = Row("<xs:element name='a' minOccurs='3' maxOccurs='3'/>");
  Generate(schema);  // the schema is kept
  const long before = LiveNodes();
  using enum FaultPoint;
  for (const auto point : {kCreateElement, kAppendChild, kGetXml}) {
    const FailCall fail(point, point == kGetXml ? 1 : 2);
    EXPECT_THROW(Generate(schema), _com_error) << NameOf(point);
    EXPECT_EQ(LiveNodes(), before) << NameOf(point);
  }
  int calls = 0;
  recorder.act = [&](auto&) {
    if (++calls == 3) throw std::runtime_error("callback");
  };
  EXPECT_THROW(Generate(schema), std::runtime_error);
  EXPECT_EQ(LiveNodes(), before);
}

TEST_F(XmlSchema, WhatCannotBeLoadedGeneratesNothing) {
  CXMLSchema generator;
  EXPECT_TRUE(generator.CreateXmlInstance(L"r", recorder, nullptr).empty());
  WriteBytes(path, Row(""));
  ASSERT_TRUE(generator.LoadSchema(path.c_str()));
  for (const std::string& text :
       {std::string("<a"), std::string("<a/>"),
        Schema("<xs:include schemaLocation='missing.xsd'/>"), "<!DOCTYPE a>" + Row("")}) {
    WriteBytes(path, text);
    EXPECT_FALSE(generator.LoadSchema(path.c_str())) << text;
    EXPECT_TRUE(generator.CreateXmlInstance(L"r", recorder, nullptr).empty());
  }
  EXPECT_FALSE(generator.LoadSchema(folder.Path(L"none.xsd").c_str()));
  EXPECT_FALSE(generator.LoadSchema(nullptr));
}

TEST_F(XmlSchema, AFewSchemasAreKeptUntilOneOfTheirFilesChanges) {
  const auto text_of = [](const std::wstring& file) {
    CXMLSchema generator;
    Recorder own;
    EXPECT_TRUE(generator.LoadSchema(file.c_str()));
    return Narrow(generator.CreateXmlInstance(L"r", own, nullptr));
  };
  const auto opened = [&](const std::wstring& file) {
    const FailCall count(FaultPoint::kOpen, 0);
    text_of(file);
    return count.Passed();
  };
  const auto open_until_kept = [&](const std::wstring& file) {
    int tries = 0;
    while (opened(file) != 0 && tries < 100'000) ++tries;
    EXPECT_LT(tries, 100'000);
  };
  const std::wstring part = folder.Path(L"part.xsd");
  WriteBytes(path, Schema("<xs:include schemaLocation='part.xsd'/>"));
  for (const std::string value : {"a", "b", "c"}) {  // the size of the file stays
    WriteBytes(part, Schema("<xs:element name='r' default='" + value + "'/>"));
    std::vector<std::thread> threads;
    for (const std::wstring& file : {path, part, path}) {
      threads.emplace_back([&, file] {
        for (int i = 0; i < 20; ++i) EXPECT_EQ(text_of(file), "<r>" + value + "</r>");
      });
    }
    for (std::thread& thread : threads) thread.join();
    open_until_kept(path);
  }
  for (std::size_t i = 0; i < kKeptSchemaFiles; ++i) {
    EXPECT_EQ(opened(path), 0);
    WriteBytes(folder.Path(std::to_wstring(i)), Row(""));
    open_until_kept(folder.Path(std::to_wstring(i)));
  }
  for (std::size_t i = 0; i < kKeptSchemaFiles; ++i) opened(folder.Path(std::to_wstring(i)));
  EXPECT_EQ(opened(path), 2);
}

}  // namespace
