// What is kept between validations and saves never shows: a document answers as one that was just
// loaded from its own text.

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <sstream>
#include <vector>

#include "platform/dom/create_object.h"
#include "platform/dom/dom.h"
#include "platform/schema/schema_model.h"
#include "tests/support/sample.h"

namespace {

using namespace test;

using Document2 = ComPtr<IXMLDOMDocument2>;
using Element = ComPtr<IXMLDOMElement>;

// A few of these fill a part of the text that is kept.
constexpr std::size_t kLongText = 20000;

class KeptTextTest : public testing::Test {
 protected:
  Document2 Empty(bool bound = true) const {
    auto document = CreateObject<IXMLDOMDocument2>(L"MSXML2.DOMDocument.6.0");
    if (bound) document->putref_schemas(m_Schemas);
    return document;
  }
  Document2 Load(const std::wstring& text) const {
    const Document2 document = Empty();
    EXPECT_TRUE(document->loadXML(text)) << Narrow(text);
    return document;
  }
  void Compile(const std::string& schema) {
    WriteBytes(m_Folder.Path(L"s.xsd"), schema);
    const Document2 document = Empty(false);
    ASSERT_TRUE(document->load(m_Folder.Path(L"s.xsd")));
    m_Schemas = CreateObject<IXMLDOMSchemaCollection2>(L"MSXML2.XMLSchemaCache.6.0");
    m_Schemas->add(L"", document);
  }
  // The document's verdict and file are those of its own text, read anew.
  void Compare(const Document2& document, const std::string& what, bool files) {
    const Document2 fresh = Load(document->get_xml());
    const ComPtr<IXMLDOMParseError> expected = fresh->validate();
    const ComPtr<IXMLDOMParseError> outcome = document->validate();
    ASSERT_EQ(outcome->get_errorCode(), expected->get_errorCode()) << what;
    ASSERT_EQ(outcome->get_reason(), expected->get_reason()) << what;
    if (!files) return;
    document->save(m_Folder.Path(L"a.xml"));
    fresh->save(m_Folder.Path(L"b.xml"));
    ASSERT_EQ(ReadBytes(m_Folder.Path(L"a.xml")), ReadBytes(m_Folder.Path(L"b.xml"))) << what;
  }

  static std::vector<ComPtr<IXMLDOMNode>> Children(const ComPtr<IXMLDOMNode>& node,
                                                   const wchar_t* path) {
    const ComPtr<IXMLDOMNodeList> found = node->selectNodes(path);
    std::vector<ComPtr<IXMLDOMNode>> children;
    for (long i = 0; i < found->get_length(); ++i) children.push_back(found->get_item(i));
    return children;
  }

  Folder m_Folder;
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
    std::mt19937 random(seed);
    const auto below = [&random](std::size_t n) { return static_cast<long>(random() % n); };
    const Document2 document =
        Load(L"<!--before-->" +
             Configuration({Item(L"P", L"a", L"<Name>1</Name><Level>5</Level>") + L"<!--inside-->" +
                                Item(L"Q", L"b"),
                            Item(L"R", L"c")}) +
             L"<!--after-->");
    Compare(document, "at the start", true);
    for (int step = 0; step < 60; ++step) {
      const auto pick = [&](const wchar_t* path) {
        const ComPtr<IXMLDOMNodeList> nodes = document->selectNodes(path);
        const long count = nodes->get_length();
        return As<IXMLDOMElement>(
            count > 0 ? nodes->get_item(below(static_cast<std::size_t>(count))) : nullptr);
      };
      const Element root = document->get_documentElement();
      const Element group = pick(L"/Configuration/*");
      const Element member = pick(L"/Configuration/*/*");
      const Element inner = pick(L"/Configuration/*/*/*");
      const long action = below(14);
      const std::string what = "seed " + std::to_string(seed) + ", step " + std::to_string(step) +
                               ", action " + std::to_string(action);
      const wchar_t* const names[] = {L"P", L"Q", L"R", L"S", L"Category", L"Wrong"};
      const auto made = [&] {
        const Element element = document->createElement(names[below(6)]);
        element->appendChild(document->createElement(L"InstanceId"));
        element->appendChild(document->createElement(L"Name"))
            ->put_text(std::wstring(below(3) == 0 ? 1 : kLongText, L'1'));
        return element;
      };
      if (action < 3 && group) {
        group->appendChild(made());
      } else if (action < 5 && member) {
        member->get_parentNode()->removeChild(member);
      } else if (action == 5 && member) {
        member->get_parentNode()->replaceChild(made(), member);
      } else if (action < 8 && inner) {
        inner->put_text(below(3) == 0 ? L"bad" : std::to_wstring(below(9) + 1));
      } else if (action == 8 && member) {
        member->appendChild(document->createElement(below(4) == 0 ? L"Wrong" : L"Plain"));
      } else if (action == 9 && inner) {
        inner->get_parentNode()->removeChild(inner);
      } else if (action == 10) {
        const Element added = document->createElement(below(5) == 0 ? L"Wrong" : L"Category");
        if (below(2) == 0) added->appendChild(made());
        if (below(8) == 0) added->setAttribute(L"a", L"b");
        if (below(8) == 0) added->put_text(L"text");
        root->appendChild(added);
      } else if (action == 11 && group) {
        root->removeChild(group);
      } else if (action == 12 && below(4) == 0) {
        const Element target = below(2) == 0 ? root : member;
        const wchar_t* const attributes[] = {L"instance_id", L"wrong", L"xml:space"};
        if (target) target->setAttribute(attributes[below(3)], L"preserve");
      } else if (action == 13 && group && below(3) == 0) {
        const auto others = document->selectNodes(L"/Configuration/*/comment()");
        if (others->get_length() > 0) group->appendChild(others->get_item(0));
      } else if (group && member) {
        group->appendChild(member);
      }
      Compare(document, what, step % 5 == 4);
      if (HasFatalFailure()) return;
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
  const long count = Load(text)->selectNodes(items)->get_length();
  ASSERT_EQ(count, 14);
  constexpr long kFirstGroup = 4;  // itself and what is in it
  for (long i = 0; i < count + kFirstGroup; ++i) {
    const bool withCompany = i >= count;  // all that is beside it goes, too
    const Document2 document = Load(text);
    const auto compare = [&](const char* what) {
      Compare(document, what + std::to_string(i), true);
      return !HasFatalFailure();
    };
    ASSERT_TRUE(compare("at the start "));
    const ComPtr<IXMLDOMNode> gone = document->selectNodes(items)->get_item(i % count);
    const ComPtr<IXMLDOMNode> parent = gone->get_parentNode();
    for (const auto& company : withCompany ? Children(parent, L"*") : std::vector{gone})
      parent->removeChild(company);
    if (i % 2 == 0) {
      ASSERT_TRUE(compare("gone "));
    }
    for (const auto& changed : Children(document, L"/Configuration/*/*/Name")) {
      changed->put_text(changed->get_text() + L"y");
      ASSERT_TRUE(compare("changed "));
    }
    std::vector<ComPtr<IXMLDOMNode>> groups = Children(document, L"/Configuration/*");
    std::reverse(groups.begin(), groups.end());
    for (const auto& group : groups) {
      for (int added = 0; added < 4; ++added) {
        const ComPtr<IXMLDOMNode> like = Children(Load(text), L"/Configuration/*/*").front();
        group->appendChild(like->cloneNode(true));
      }
      ASSERT_TRUE(compare("added "));
    }
    for (const auto& group : groups) {
      Children(group, L"*").back()->appendChild(document->createElement(L"Plain"));
      ASSERT_TRUE(compare("changed after it was added "));
    }
  }
}

// Whether a group with attributes is valid shows only in the whole.
TEST_F(KeptTextTest, FollowsGroupsWithAttributes) {
  std::string schema = kSampleSchema;
  const std::string end = "</xs:choice>";
  schema.insert(schema.find(end) + end.size(), "<xs:attribute name='a' type='xs:int'/>");
  Compile(schema);
  for (const wchar_t* value : {L"1", L"wrong"}) {
    const Document2 document = Load(Configuration({Item(L"P", L"a")}));
    Compare(document, "at the start", true);
    const Element group = document->createElement(L"Category");
    group->setAttribute(L"a", value);
    document->get_documentElement()->appendChild(group);
    Compare(document, Narrow(value), true);
    document->selectSingleNode(L"/Configuration/Category/P/InstanceId")->put_text(L"b");
    Compare(document, Narrow(value), true);
  }
}

// A member that was written with its children on lines of their own may have to be written without.
TEST_F(KeptTextTest, FollowsHowAMemberIsLaidOut) {
  Compile(kSampleSchema);
  const struct {
    const char* what;
    void (*change)(const Element& member);
  } kChanges[] = {
      {"text for elements", [](const Element& member) { member->put_text(L"text"); }},
      {"only a comment is left",
       [](const Element& member) { member->removeChild(member->selectSingleNode(L"*")); }},
      {"space is preserved",
       [](const Element& member) { member->setAttribute(L"xml:space", L"preserve"); }},
  };
  for (const auto& [what, change] : kChanges) {
    const Document2 document = Load(Configuration({Item(L"P", L"a") + L"<Q><!--c--><Name/></Q>"}));
    Compare(document, what, true);
    change(As<IXMLDOMElement>(document->selectSingleNode(L"/Configuration/Category/Q")));
    Compare(document, what, true);
  }
}

INSTANTIATE_TEST_SUITE_P(Schemas, MemberChangesTest,
                         testing::Range(std::size_t{0}, Variants().size()),
                         [](const auto& variant) {
                           return "Variant" + std::to_string(variant.index);
                         });

}  // namespace
