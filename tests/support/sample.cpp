#include "tests/support/sample.h"

#include <stdexcept>

#include "platform/dom/create_object.h"
#include "platform/dom/dom.h"

namespace test {

std::string SchemaText(const std::string& file) {
  return ReadBytes(Wide(CFGEX_TEST_DATA "/schemas/" + file));
}

const std::string kSampleSchema = SchemaText("sample.xsd");
const std::string kNamesDiffer =
    "<xs:unique name='n'><xs:selector xpath='Category/*'/><xs:field xpath='Name'/></xs:unique>";
const std::string kReferencesLeadSomewhere =
    "<xs:unique name='u'><xs:selector xpath='Category/*'/><xs:field "
    "xpath='InstanceId'/></xs:unique>"
    "<xs:keyref name='k' refer='u'><xs:selector xpath='Category/*/Ref'/>"
    "<xs:field xpath='InstanceId'/></xs:keyref>";

std::string SampleSchemaWith(const std::string& constraint) {
  std::string schema = kSampleSchema;
  return schema.insert(schema.find("</xs:element>\n  <xs:element name=\"Category\">"), constraint);
}

std::wstring Item(const std::wstring& category, const std::wstring& id,
                  const std::wstring& fields) {
  return L"<" + category + L"><InstanceId>" + id + L"</InstanceId>" + fields + L"</" + category +
         L">";
}

namespace {

std::wstring ReferenceChildren(const Target& target) {
  return L"<Category>" + target.first + L"</Category><InstanceId>" + target.second +
         L"</InstanceId>";
}

}  // namespace

std::wstring RefTo(const std::wstring& category, const std::wstring& id) {
  return L"<Ref>" + ReferenceChildren({category, id}) + L"</Ref>";
}

std::wstring RefsTo(const std::vector<Target>& targets) {
  std::wstring text = L"<Refs>";
  for (const Target& target : targets) text += L"<Item>" + ReferenceChildren(target) + L"</Item>";
  return text + L"</Refs>";
}

std::wstring PartRefTo(const std::wstring& category, const std::wstring& id) {
  return L"<Part><Label>l</Label>" + RefTo(category, id) + L"</Part>";
}

std::wstring EveryField() {
  const std::wstring self = ReferenceChildren({L"P", L"a"});
  return L"<Name>n</Name><Short>s</Short><Count>-5</Count><Size>7</Size><Rank>3</Rank><On>true</On>"
         L"<When>2006-01-02T03:04:05Z</When><Level>4</Level><Far>f</Far><Ref>" +
         self + L"</Ref><Link>" + self + L"</Link><Refs><Item>" + self +
         L"</Item></Refs><Part><Label>l</Label><Ref>" + self +
         L"</Ref><Part><Label>m</Label></Part></Part><Parts><Item><Label>1</Label></Item><Item/>"
         L"</Parts><Texts><Item>t</Item></Texts><Tags><Item>g</Item></Tags><Numbers><Item>-1</Item>"
         L"</Numbers><Sizes><Item>1</Item></Sizes><Flags><Item>true</Item></Flags><Plain/>";
}

std::wstring Configuration(const std::vector<std::wstring>& groups) {
  std::wstring text = L"<Configuration>";
  for (const std::wstring& group : groups) text += L"<Category>" + group + L"</Category>";
  return text + L"</Configuration>";
}

std::wstring Document(const std::wstring& id, const std::vector<std::wstring>& groups) {
  const std::size_t afterName = std::wstring_view(L"<Configuration").size();
  return Configuration(groups).insert(afterName, L" instance_id=\"" + id + L"\"");
}

std::wstring Alone(const std::wstring& id, const std::wstring& fields) {
  return Document(id, {Item(L"P", id, fields)});
}

Sample::Sample(const std::vector<std::wstring>& groups, const std::string& schema,
               Folder::Place place)
    : folder(place), schemaFile(folder.Path(L"schema.xsd")), configFile(folder.Path(L"main.xml")) {
  WriteBytes(schemaFile, schema);
  WriteBytes(configFile, Narrow(Configuration(groups)));
  if (!option.Initialize(schemaFile.c_str())) throw std::runtime_error("the schema is refused");
  Reopen();
}

void Sample::Reopen() {
  store.reset();
  store = std::make_unique<CCfgConfigurationEx>(option);
  if (!store->Initialize(configFile.c_str())) throw std::runtime_error("the file is refused");
}

std::wstring Sample::Get(const std::wstring& id) {
  OS::x_wstring xml;
  return store->GetConfiguration(id.c_str(), xml) ? xml.str() : L"";
}

bool Sample::Set(const std::wstring& xml, Ids* changed) {
  return store->SetConfiguration(xml.c_str(), changed, nullptr);
}
bool Sample::Set(const CCfgInstance& instance) { return Set(XmlOf(instance)); }

std::string Sample::Layout() const { return Layout(Wide(ReadBytes(configFile))); }

std::string Sample::Layout(const std::wstring& xml) {
  const auto document = CreateObject<IXMLDOMDocument2>(L"MSXML2.DOMDocument.6.0");
  if (!document->loadXML(xml)) return "not well-formed";
  std::string layout;
  const ComPtr<IXMLDOMNodeList> groups = document->selectNodes(L"/Configuration/Category");
  for (long g = 0; g < groups->get_length(); ++g) {
    const ComPtr<IXMLDOMNodeList> items = groups->get_item(g)->selectNodes(L"*");
    layout += '[';
    for (long i = 0; i < items->get_length(); ++i) {
      const auto item = As<IXMLDOMElement>(items->get_item(i));
      const ComPtr<IXMLDOMNode> id = item->selectSingleNode(L"InstanceId");
      layout += (i > 0 ? " " : "") + Narrow(item->get_tagName() + L":" + id->get_text());
    }
    layout += ']';
  }
  return layout;
}

std::string TextOf(const CCfgObject& object, const wchar_t* field) {
  OS::x_wstring text;
  return object.GetFieldValue(field, text) ? Narrow(text.str()) : "none";
}

std::wstring XmlOf(const CCfgInstance& instance) {
  OS::x_wstring xml;
  return instance.GetXml(xml) ? xml.str() : L"";
}

std::string Join(const Ids& ids) {
  std::string text;
  for (const OS::x_wstring& id : ids) text += (text.empty() ? "" : " ") + Narrow(id.str());
  return text;
}

}  // namespace test
