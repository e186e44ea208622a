#include "tests/support/sample.h"

#include <stdexcept>

#include "platform/dom/create_object.h"
#include "platform/dom/dom.h"

namespace test {

const char* const kSampleSchema = R"(<?xml version="1.0"?>
<xs:schema xmlns:xs="http://www.w3.org/2001/XMLSchema" version="1.2.3.4">
  <xs:element name="Configuration">
    <xs:complexType>
      <xs:sequence><xs:element ref="Category" minOccurs="0" maxOccurs="unbounded"/></xs:sequence>
      <xs:attribute name="instance_id" type="xs:string"/>
      <xs:attribute name="major_version" type="xs:string"/>
      <xs:attribute name="minor_version" type="xs:string"/>
      <xs:attribute name="revision" type="xs:string"/>
    </xs:complexType>
  </xs:element>
  <xs:element name="Category">
    <xs:complexType>
      <xs:choice minOccurs="0" maxOccurs="unbounded">
        <xs:element ref="P"/><xs:element ref="Q"/><xs:element ref="R"/>
      </xs:choice>
    </xs:complexType>
  </xs:element>
  <xs:element name="P" type="ItemType"/>
  <xs:element name="Q" type="ItemType"/>
  <xs:element name="R" type="ItemType"/>

  <xs:simpleType name="InstanceIdType"><xs:restriction base="xs:string"/></xs:simpleType>
  <xs:complexType name="ReferenceType">
    <xs:sequence>
      <xs:element name="Category" type="xs:string" minOccurs="0"/>
      <xs:element name="InstanceId" type="xs:string" minOccurs="0"/>
    </xs:sequence>
  </xs:complexType>
  <xs:complexType name="LinkType">
    <xs:complexContent><xs:extension base="ReferenceType"/></xs:complexContent>
  </xs:complexType>
  <xs:complexType name="ReferenceArrayType">
    <xs:sequence>
      <xs:element name="Item" minOccurs="0" maxOccurs="unbounded">
        <xs:complexType>
          <xs:sequence>
            <xs:element name="Category" type="xs:string" minOccurs="0"/>
            <xs:element name="InstanceId" type="xs:string" minOccurs="0"/>
          </xs:sequence>
        </xs:complexType>
      </xs:element>
    </xs:sequence>
  </xs:complexType>
  <xs:complexType name="EmbeddedObjectType"/>
  <xs:complexType name="PartType">
    <xs:complexContent>
      <xs:extension base="EmbeddedObjectType">
        <xs:sequence>
          <xs:element name="Label" type="xs:string" minOccurs="0"/>
          <xs:element name="InstanceId" type="xs:string" minOccurs="0"/>
          <xs:element name="Ref" type="ReferenceType" minOccurs="0"/>
          <xs:element name="Part" type="PartType" minOccurs="0"/>
        </xs:sequence>
      </xs:extension>
    </xs:complexContent>
  </xs:complexType>
  <xs:complexType name="EmbeddedObjectArrayType"/>
  <xs:complexType name="PartArrayType">
    <xs:complexContent>
      <xs:extension base="EmbeddedObjectArrayType">
        <xs:sequence>
          <xs:element name="Item" type="PartType" minOccurs="0" maxOccurs="unbounded"/>
        </xs:sequence>
      </xs:extension>
    </xs:complexContent>
  </xs:complexType>
  <xs:complexType name="StringArrayType">
    <xs:sequence><xs:element name="Item" type="xs:string" minOccurs="0" maxOccurs="unbounded"/></xs:sequence>
  </xs:complexType>
  <xs:complexType name="IntegerArrayType">
    <xs:sequence><xs:element name="Item" type="xs:integer" minOccurs="0" maxOccurs="unbounded"/></xs:sequence>
  </xs:complexType>
  <xs:complexType name="UnsigedIntegerArrayType">
    <xs:sequence>
      <xs:element name="Item" type="xs:nonNegativeInteger" minOccurs="0" maxOccurs="unbounded"/>
    </xs:sequence>
  </xs:complexType>
  <xs:complexType name="BooleanArrayType">
    <xs:sequence><xs:element name="Item" type="xs:boolean" minOccurs="0" maxOccurs="unbounded"/></xs:sequence>
  </xs:complexType>
  <xs:complexType name="TagsType">
    <xs:complexContent><xs:extension base="StringArrayType"/></xs:complexContent>
  </xs:complexType>
  <xs:simpleType name="ShortType">
    <xs:restriction base="xs:string"><xs:pattern value="[a-z]*"/></xs:restriction>
  </xs:simpleType>
  <xs:simpleType name="FarType"><xs:restriction base="ShortType"/></xs:simpleType>
  <xs:simpleType name="LevelType">
    <xs:restriction base="xs:integer"><xs:minInclusive value="1"/><xs:maxInclusive value="9"/></xs:restriction>
  </xs:simpleType>

  <xs:simpleType name="NameListType"><xs:list itemType="xs:QName"/></xs:simpleType>
  <xs:complexType name="NamesType">
    <xs:simpleContent>
      <xs:extension base="NameListType"><xs:attribute name="of" type="xs:QName"/></xs:extension>
    </xs:simpleContent>
  </xs:complexType>
  <xs:complexType name="AnyType" mixed="true">
    <xs:sequence>
      <xs:any processContents="skip" minOccurs="0" maxOccurs="unbounded"/>
    </xs:sequence>
    <xs:anyAttribute processContents="skip"/>
  </xs:complexType>

  <xs:complexType name="ItemType">
    <xs:sequence>
      <xs:element name="InstanceId" type="InstanceIdType"/>
      <xs:element name="Name" type="xs:string" minOccurs="0"/>
      <xs:element name="Short" type="ShortType" minOccurs="0"/>
      <xs:element name="Count" type="xs:integer" minOccurs="0"/>
      <xs:element name="Size" type="xs:nonNegativeInteger" minOccurs="0"/>
      <xs:element name="Rank" type="xs:positiveInteger" minOccurs="0"/>
      <xs:element name="On" type="xs:boolean" minOccurs="0"/>
      <xs:element name="When" type="xs:dateTime" minOccurs="0"/>
      <xs:element name="Level" type="LevelType" minOccurs="0"/>
      <xs:element name="Far" type="FarType" minOccurs="0"/>
      <xs:element name="Ref" type="ReferenceType" minOccurs="0"/>
      <xs:element name="Link" type="LinkType" minOccurs="0"/>
      <xs:element name="Refs" type="ReferenceArrayType" minOccurs="0"/>
      <xs:element name="Part" type="PartType" minOccurs="0"/>
      <xs:element name="Parts" type="PartArrayType" minOccurs="0"/>
      <xs:element name="Texts" type="StringArrayType" minOccurs="0"/>
      <xs:element name="Tags" type="TagsType" minOccurs="0"/>
      <xs:element name="Numbers" type="IntegerArrayType" minOccurs="0"/>
      <xs:element name="Sizes" type="UnsigedIntegerArrayType" minOccurs="0"/>
      <xs:element name="Flags" type="BooleanArrayType" minOccurs="0"/>
      <xs:element name="Plain" type="EmbeddedObjectType" minOccurs="0"/>
      <xs:element name="Names" type="NamesType" minOccurs="0"/>
      <xs:element name="Nil" type="xs:string" nillable="true" minOccurs="0"/>
      <xs:element name="Any" type="AnyType" minOccurs="0"/>
    </xs:sequence>
  </xs:complexType>
</xs:schema>
)";

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

namespace {

std::wstring Groups(const std::vector<std::wstring>& groups) {
  std::wstring text;
  for (const std::wstring& group : groups) text += L"<Category>" + group + L"</Category>";
  return text;
}

}  // namespace

std::wstring Configuration(const std::vector<std::wstring>& groups) {
  return L"<Configuration>" + Groups(groups) + L"</Configuration>";
}

std::wstring Document(const std::wstring& id, const std::vector<std::wstring>& groups) {
  return L"<Configuration instance_id=\"" + id + L"\">" + Groups(groups) + L"</Configuration>";
}

Sample::Sample(const std::vector<std::wstring>& groups, const char* schema)
    : schemaFile(folder.Path(L"schema.xsd")), configFile(folder.Path(L"main.xml")) {
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

std::string Join(const Ids& ids) {
  std::string text;
  for (const OS::x_wstring& id : ids) text += (text.empty() ? "" : " ") + Narrow(id.str());
  return text;
}

}  // namespace test
