// A small configuration for the tests of the store and of objects.
//
// The schema knows three categories, P, Q and R, of one and the same type, ItemType. All its fields
// but the id are optional, in this order:
//   Name "string"  Short a pattern over string  Count "integer"  Size "nonNegativeInteger"
//   Rank "positiveInteger"  On "boolean"  When "dateTime"  Level 1 to 9  Far two steps from string
//   Ref "ReferenceType"  Refs "ReferenceArrayType"  Part an embedded object with Label, Ref and an
//   inner Part  Parts an array of Part  Texts, Numbers, Sizes, Flags  Plain the base of embedded
//   objects  Names a list of QNames, with an attribute of that type  Nil a nillable string  Any
//   mixed content of any kind
//
//   Item(L"P", L"a", L"<Name>x</Name>")   an instance
//   RefTo(L"Q", L"b")                     a reference in the field Ref;  RefsTo, PartRefTo alike
//   Document(L"a", {...})                 a stand-alone document about an instance
//   Alone(L"a", fields)                   the same about one of P, with nothing beside it
//   Sample                                a folder with the schema and a store over given instances
#pragma once

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "cfgex/cfgex.h"
#include "tests/support/support.h"

namespace test {

extern const std::string kSampleSchema;
std::string SchemaText(const std::string& file);  // of tests/data/schemas
// The sample schema with a constraint on the whole document, which only the whole store shows.
std::string SampleSchemaWith(const std::string& constraint);
// Such constraints: no two instances have one Name; every Ref has the id of an instance.
extern const std::string kNamesDiffer;
extern const std::string kReferencesLeadSomewhere;

using Target = std::pair<std::wstring, std::wstring>;  // category and id

std::wstring Item(const std::wstring& category, const std::wstring& id,
                  const std::wstring& fields = L"");
std::wstring RefTo(const std::wstring& category, const std::wstring& id);
std::wstring RefsTo(const std::vector<Target>& targets);
std::wstring PartRefTo(const std::wstring& category, const std::wstring& id);
// Every group is the content of one `Category`.
std::wstring Configuration(const std::vector<std::wstring>& groups);
std::wstring Document(const std::wstring& id, const std::vector<std::wstring>& groups);
std::wstring EveryField();  // of an instance P:a, to which its references lead
std::wstring Alone(const std::wstring& id, const std::wstring& fields = L"");

class Sample {
 public:
  // A loaded store over these groups. The schema can be another one.
  explicit Sample(const std::vector<std::wstring>& groups,
                  const std::string& schema = kSampleSchema,
                  Folder::Place place = Folder::Place::kDisk);

  // The text of a stored instance with all it reaches; L"" if there is none.
  std::wstring Get(const std::wstring& id);
  CCfgInstance Read(const std::wstring& id) { return CCfgInstance(Get(id).c_str(), option); }
  // Writes a document, or that of an instance.
  bool Set(const std::wstring& xml, std::vector<OS::x_wstring>* changed = nullptr);
  bool Set(const CCfgInstance& instance);
  // What the file holds: the categories and ids in order, as "[P:a P:b][Q:c]".
  std::string Layout() const;
  // The same of what a stand-alone document holds.
  static std::string Layout(const std::wstring& xml);
  // Drops the store and opens the file anew.
  void Reopen();

  Folder folder;
  CCfgOption option;
  std::wstring schemaFile;
  std::wstring configFile;
  std::unique_ptr<CCfgConfigurationEx> store;
};

// The text of a field, and of the whole document; "none" and L"" when there is none.
std::string TextOf(const CCfgObject& object, const wchar_t* field);
std::wstring XmlOf(const CCfgInstance& instance);

using Ids = std::vector<OS::x_wstring>;
std::string Join(const Ids& ids);  // "a b c"

}  // namespace test
