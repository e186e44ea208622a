// What is kept between questions (the index, verdicts, text) never shows: a document answers as one
// that was just loaded from its own text, and finds its members as XPath does.

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <random>
#include <sstream>
#include <vector>

#include "platform/schema/schema_model.h"
#include "tests/support/dom.h"
#include "tests/support/sample.h"

namespace {

using namespace test;

constexpr MemberNames kNames{"Configuration", "Category", "InstanceId"};
// A few of these fill a part of the text that is kept.
constexpr std::size_t kLongText = 20000;

// A document in random motion. Members come, go, are replaced and moved, texts change at all
// levels, groups and the root move.
class RandomDocument {
 public:
  RandomDocument(DocumentPtr document, unsigned seed)
      : m_Document(std::move(document)), m_Random(seed) {}

  std::wstring Name() {
    return OneOf({L"P", L"Q", L"R", L"S", L"Category", L"InstanceId", L"Wrong"});
  }
  std::wstring Value() { return OneOf({L"", L" ", L"1", L"2", L"12", L"bad"}); }

  void Step() {
    const ElementPtr root = m_Document->get_documentElement();
    const ElementPtr group = Any(L"/*/*");
    const ElementPtr member = Any(L"/*/*/*");
    const ElementPtr part = Any(L"/*/*/*/*");
    const Node some =
        Any(OneOf({L"/*/*", L"/*/*", L"/*/*/*", L"/*/*/*", L"/*/*/*", L"/*/*/*/*", L"/*//*"}));
    switch (Below(14)) {
      case 0:
      case 1:
      case 2:
        if (group) group->appendChild(Make(1));
        break;
      case 3:
      case 4:
      case 5:
        if (some) m_Kept = some->get_parentNode()->removeChild(some);
        break;
      case 6:
        if (some) some->get_parentNode()->replaceChild(Make(1), some);
        break;
      case 7:
      case 8:
        if (part) part->put_text(Value());
        break;
      case 9:
        if (member) member->appendChild(m_Document->createElement(Rarely() ? L"Wrong" : L"Plain"));
        break;
      case 10:
        AddGroup();
        break;
      case 11:
        if (const Node target = Rarely() ? Any(L"//*") : group; target && m_Kept)
          target->appendChild(std::exchange(m_Kept, nullptr));
        break;
      case 12:
        if (const Node target = Rarely() ? Any(L"//*") : group; some && !IsWithin(target, some))
          target->appendChild(some);
        break;
      default:
        if (Rarely()) ReplaceRoot();
        if (Rarely()) root->put_text(Value());
        if (const ElementPtr target = Rarely() ? root : member; target && Rarely())
          target->setAttribute(OneOf({L"instance_id", L"wrong", L"xml:space"}),
                               Below(2) == 0 ? L"preserve" : Value());
    }
  }

 private:
  std::size_t Below(std::size_t end) { return m_Random() % end; }
  bool Rarely() { return Below(8) == 0; }
  const wchar_t* OneOf(const std::vector<const wchar_t*>& words) {
    return words[Below(words.size())];
  }
  ElementPtr Any(std::wstring_view path) {
    const std::vector<Node> all = Select(m_Document, path);
    return all.empty() ? nullptr : As<IXMLDOMElement>(all[Below(all.size())]);
  }
  static bool IsWithin(Node node, const Node& top) {
    while (node && !(node == top)) node = node->get_parentNode();
    return static_cast<bool>(node);
  }

  // A member, valid as a rule. Others have keys of several pieces and in a namespace, and members.
  Node Make(int level) {
    const bool isOdd = level > 1 || Rarely();
    const std::wstring name = isOdd ? Name() : OneOf({L"P", L"Q", L"R"});
    std::wstring content = L"<InstanceId>" + Value() + L"</InstanceId>";
    if (isOdd)
      content += L"<InstanceId>" + Value() + L"<!--c--><i>" + Value() +
                 L"</i></InstanceId><InstanceId xmlns='u'>" + Value() + L"</InstanceId>";
    else
      content += L"<Name>" + std::wstring(Rarely() ? 1 : kLongText, L'1') + L"</Name>";
    const wchar_t* const end = isOdd && Rarely() ? L" xmlns='u'>" : L">";
    const Node made =
        Load(L"<" + name + end + content + L"</" + name + L">")->get_documentElement();
    while (isOdd && level < 4 && Below(2) == 0) made->appendChild(Make(level + 1));
    return made;
  }
  void AddGroup() {
    const ElementPtr group = m_Document->createElement(Rarely() ? L"Wrong" : L"Category");
    if (!Rarely()) group->appendChild(Make(1));
    if (Rarely()) group->setAttribute(L"a", L"b");
    if (Rarely()) group->put_text(L"text");
    m_Document->get_documentElement()->appendChild(group);
  }
  void ReplaceRoot() {
    const Node old = m_Document->get_documentElement();
    const Node other = m_Document->createElement(L"Configuration");
    m_Document->replaceChild(other, old);
    m_Document->replaceChild(old, other);
  }

  DocumentPtr m_Document;
  std::mt19937 m_Random;
  Node m_Kept;
};

// What a list holds is what XPath selects by the path, asked so that no short cut takes it.
void ExpectLikeXPath(const ComPtr<IXMLDOMNodeList>& fast, const Node& node,
                     const std::wstring& path) {
  const auto plain = node->selectNodes(path[0] == L'/' ? path : L"child::" + path);
  ASSERT_EQ(fast->get_length(), plain->get_length()) << Narrow(path);
  for (long i = 0; i < fast->get_length(); ++i)
    ASSERT_EQ(fast->get_item(i), plain->get_item(i)) << Narrow(path) << " item " << i;
}

// All that is found without XPath, for a name of members and a value of their keys.
void ExpectLikeXPath(const DocumentPtr& document, const std::wstring& name,
                     const std::wstring& value) {
  const Node root = document->get_documentElement();
  const std::wstring member = L"/Configuration/Category/" + name;
  const std::wstring keyed = member + L"[InstanceId='" + value + L"']";
  if (name != L"*") {
    ASSERT_EQ(document->FirstMember(kNames, name), root->selectSingleNode(member));
    for (const std::wstring& path :
         {name, L"Category/" + name, L"Category/" + name + L"/InstanceId"}) {
      ASSERT_NO_FATAL_FAILURE(ExpectLikeXPath(root->selectNodes(path), root, path));
      ASSERT_EQ(root->selectSingleNode(path), root->selectSingleNode(L"child::" + path));
    }
  }
  ASSERT_EQ(document->MemberWithKey(kNames, name, value), root->selectSingleNode(keyed));
  ASSERT_NO_FATAL_FAILURE(
      ExpectLikeXPath(document->KeysInMember(kNames, name, value), root, keyed + L"//InstanceId"));
}

class KeptTextTest : public testing::Test {
 protected:
  DocumentPtr LoadBound(std::wstring_view text) const {
    const DocumentPtr document = Load(text);
    document->putref_schemas(m_Schemas);
    return document;
  }
  void Compile(const std::string& schema) {
    m_Schemas = CreateObject<IXMLDOMSchemaCollection2>(L"MSXML2.XMLSchemaCache.6.0");
    m_Schemas->add(L"", Load(Wide(schema)));
  }
  // The document's verdict and file are those of its own text, read anew.
  void Compare(const DocumentPtr& document, const std::string& what, bool files = true) {
    const DocumentPtr fresh = LoadBound(document->get_xml());
    const auto expected = fresh->validate();
    const auto outcome = document->validate();
    ASSERT_EQ(outcome->get_errorCode(), expected->get_errorCode()) << what;
    ASSERT_EQ(outcome->get_reason(), expected->get_reason()) << what;
    if (!files) return;
    document->save(m_Folder.Path(L"a.xml"));
    fresh->save(m_Folder.Path(L"b.xml"));
    ASSERT_EQ(ReadBytes(m_Folder.Path(L"a.xml")), ReadBytes(m_Folder.Path(L"b.xml"))) << what;
  }

  Folder m_Folder{Folder::Place::kMemory};
  ComPtr<IXMLDOMSchemaCollection2> m_Schemas;
};

class MemberChangesTest : public KeptTextTest, public testing::WithParamInterface<std::size_t> {};

// The sample schema and its variants in data/schemas/variants.txt, which tells their form.
std::vector<std::string> Variants() {
  std::vector<std::string> variants = {SchemaText("sample.xsd")};
  std::istringstream file(SchemaText("variants.txt"));
  std::string found;
  for (std::string line; std::getline(file, line);) {
    if (line.starts_with("- ")) found = line.substr(2);
    if (!line.starts_with("+ ")) continue;
    std::string& schema = variants.emplace_back(variants.front());
    schema.replace(schema.find(found), found.size(), line.substr(2));
  }
  return variants;
}

TEST_P(MemberChangesTest, AnswersLikeAFreshDocument) {
  Compile(Variants().at(GetParam()));
  for (unsigned seed = 0; seed < 4; ++seed) {
    const DocumentPtr document =
        LoadBound(L"<!--before-->" +
                  Configuration({Item(L"P", L"a", L"<Name>1</Name><Level>5</Level>") +
                                     L"<!--inside-->" + Item(L"Q", L"b"),
                                 Item(L"R", L"c")}) +
                  L"<!--after-->");
    RandomDocument random(document, seed);
    for (int step = 0; step < 60; ++step) {
      SCOPED_TRACE("seed " + std::to_string(seed) + ", step " + std::to_string(step));
      ASSERT_NO_FATAL_FAILURE(Compare(document, "", step % 5 == 0));
      for (const std::wstring& name : {random.Name(), std::wstring(L"*")})
        ASSERT_NO_FATAL_FAILURE(ExpectLikeXPath(document, name, random.Value()));
      random.Step();
    }
  }
}

// Each item in turn goes, and what is left changes and grows: so every item comes to be the first
// of a part of the kept text, the last, or the one that is cut off.
TEST_F(KeptTextTest, FollowsEveryItem) {
  Compile(kSampleSchema);
  const std::wstring name = L"<Name>" + std::wstring(kLongText, L'x') + L"</Name>";
  const std::wstring members =
      Item(L"P", L"a", name) + Item(L"Q", L"b", name) + Item(L"R", L"c", name);
  std::wstring text = Configuration({members, members, members, Item(L"P", L"d") + L"<!--left-->"});
  text.replace(text.rfind(L"<Category>"), 9, L"<Category xml:space='preserve'");
  // A comment longer than a part: first in the file, in the root, in a group, between items, last.
  const std::wstring comment = L"<!--" + std::wstring(2 * kLongText, L'c') + L"-->";
  text.replace(text.find(L"<Category>"), 10, comment + L"<Category>" + comment);
  text = comment + text.insert(text.find(L"<Q>"), comment) + comment;
  const wchar_t* const items = L"/Configuration/* | /Configuration/*/*";
  constexpr std::size_t kItems = 14;
  constexpr std::size_t kFirstGroup = 4;  // itself and what is in it
  for (std::size_t i = 0; i < kItems + kFirstGroup; ++i) {
    const DocumentPtr document = LoadBound(text);
    const auto compare = [&](const char* what) {
      ASSERT_NO_FATAL_FAILURE(Compare(document, what + std::to_string(i)));
    };
    ASSERT_NO_FATAL_FAILURE(compare("at the start "));
    const std::vector<Node> all = Select(document, items);
    ASSERT_EQ(all.size(), kItems);
    const Node gone = all[i % kItems];
    const Node parent = gone->get_parentNode();
    // In the end all that is beside it goes, too.
    for (const Node& each : i >= kItems ? Select(parent, L"*") : std::vector{gone})
      parent->removeChild(each);
    if (i % 2 == 0) {
      ASSERT_NO_FATAL_FAILURE(compare("gone "));
    }
    for (const Node& changed : Select(document, L"/Configuration/*/*/Name")) {
      changed->put_text(changed->get_text() + L"y");
      ASSERT_NO_FATAL_FAILURE(compare("changed "));
    }
    std::vector<Node> groups = Select(document, L"/Configuration/*");
    std::reverse(groups.begin(), groups.end());
    for (const Node& group : groups) {
      for (int added = 0; added < 4; ++added)
        group->appendChild(Load(members.substr(0, members.find(L"<Q>")))->get_documentElement());
      ASSERT_NO_FATAL_FAILURE(compare("added "));
    }
    for (const Node& group : groups) {
      group->selectSingleNode(L"*[last()]")->appendChild(document->createElement(L"Plain"));
      ASSERT_NO_FATAL_FAILURE(compare("changed after it was added "));
    }
  }
}

// Whether a group with attributes is valid shows only in the whole. A member that was written with
// its children on lines of their own may have to be written without.
TEST_F(KeptTextTest, FollowsEachChangeOfItsForm) {
  std::string schema = kSampleSchema;
  const std::string end = "</xs:choice>";
  schema.insert(schema.find(end) + end.size(), "<xs:attribute name='a' type='xs:int'/>");
  Compile(schema);
  const auto add_group = [](const DocumentPtr& document, const wchar_t* value) {
    const ElementPtr group = document->createElement(L"Category");
    group->setAttribute(L"a", value);
    document->get_documentElement()->appendChild(group);
  };
  const struct {
    const char* what;
    std::function<void(const DocumentPtr& document, const ElementPtr& member)> change;
  } kChanges[] = {
      {"a group", [&](auto& document, auto&) { add_group(document, L"1"); }},
      {"an invalid group", [&](auto& document, auto&) { add_group(document, L"wrong"); }},
      {"text for elements", [](auto&, auto& member) { member->put_text(L"text"); }},
      {"only a comment is left",
       [](auto&, auto& member) { member->removeChild(member->selectSingleNode(L"*")); }},
      {"space is preserved",
       [](auto&, auto& member) { member->setAttribute(L"xml:space", L"preserve"); }},
      {"space is preserved no longer",
       [&](auto& document, auto& member) {
         member->setAttribute(L"xml:space", L"preserve");
         Compare(document, "space is preserved");
         member->setAttribute(L"xml:space", L"default");
       }},
  };
  for (const auto& [what, change] : kChanges) {
    const DocumentPtr document =
        LoadBound(Configuration({Item(L"P", L"a") + L"<Q><!--c--><Name/></Q>"}));
    Compare(document, what);
    change(document, As<IXMLDOMElement>(document->selectSingleNode(L"/Configuration/Category/Q")));
    Compare(document, what);
    document->selectSingleNode(L"/Configuration/Category/P/InstanceId")->put_text(L"b");
    Compare(document, what);
  }
}

TEST(MemberIndexTest, ManyElementsUnderOneKeyKeepTheirOrder) {
  std::vector<std::wstring> groups;
  for (int i = 0; i < 200; ++i)
    groups.push_back((i % 2 ? L"<P/>" : Item(L"P", L"1")) +
                     Item(L"Q", L"1", L"<InstanceId>1</InstanceId>"));
  const DocumentPtr document = Load(Configuration(groups));
  for (int i = 0; i < 290; ++i) {
    for (const wchar_t* name : {L"*", L"P", L"Q"}) {
      if (i % 10 != 0 && i < 270) continue;
      ASSERT_NO_FATAL_FAILURE(ExpectLikeXPath(document, name, L"1"));
    }
    const Node first = document->MemberWithKey(kNames, L"*", L"1");
    first->get_parentNode()->removeChild(first);
  }
}

// Would not end in any bearable time if a lookup, a removal or an insertion cost in proportion to
// the document.
TEST(MemberIndexTest, AHundredThousandElementsAreFoundMovedAndRemoved) {
  constexpr int kCount = 100000;
  std::wstring members;
  for (int i = 0; i < kCount; ++i) members += Item(L"P", std::to_wstring(i));
  const DocumentPtr document = Load(Configuration({members}));
  const Node group = document->selectSingleNode(L"/*/*");
  for (int i = 0; i < kCount; ++i) {
    const Node found = document->MemberWithKey(kNames, L"P", std::to_wstring(i));
    ASSERT_EQ(document->FirstMember(kNames, L"P"), found);
    group->appendChild(found);
  }
  for (int i = 0; i < kCount; ++i) {
    const Node found = document->FirstMember(kNames, L"P");
    ASSERT_EQ(found->get_text(), std::to_wstring(i));
    group->removeChild(found);
  }
  EXPECT_FALSE(document->FirstMember(kNames, L"P"));
}

INSTANTIATE_TEST_SUITE_P(Schemas, MemberChangesTest,
                         testing::Range(std::size_t{0}, Variants().size()),
                         [](const auto& variant) {
                           return "Variant" + std::to_string(variant.index);
                         });

}  // namespace
