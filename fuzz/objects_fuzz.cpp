// XML into objects: two stand-alone documents, and what is done with the instances, embedded
// objects and arrays in them. Parts: the letter of the schema, the first document, the second, and
// a script of operations, three bytes or more each. A document that is refused gives way to a fixed
// one.
//
// Holds:
// 1. A text is taken exactly when the engine finds it valid and its instance is in it.
// 2. After each operation every document's text loads again, to the same text, whatever was
//    replaced, moved or cut out. A refused operation that has no steps on the way changes none.
// 3. What was embedded is what stands in the field; what was referred to is what a read finds.
// 4. A new instance that a category makes is valid. A file that was saved holds the document.

#include <algorithm>
#include <array>

#include "fuzz/support.h"
#include "platform/dom/create_object.h"
#include "platform/dom/dom.h"
#include "tests/support/sample.h"

using namespace fuzz;
using namespace test;

namespace {

constexpr int kOperations = 24;
constexpr std::size_t kLargest = 100'000;  // of a document's text; what embeds itself doubles

std::wstring ElementOf(const CCfgObject& object) {
  const auto element = As<IXMLDOMElement>(object.GetRawInterface());
  return element ? element->get_xml() : L"";
}

std::wstring DocumentOf(const CCfgObject& object) {
  const auto element = As<IXMLDOMElement>(object.GetRawInterface());
  if (!element) return L"";
  const auto root = element->get_ownerDocument()->get_documentElement();
  return root ? root->get_xml() : L"";
}

class Trial {
 public:
  Trial(Kit& kit, const std::wstring& first, const std::wstring& second)
      : m_Kit(kit),
        m_Instances{CCfgInstance(kit.option), CCfgInstance(kit.option), CCfgInstance(kit.option)},
        m_Objects{CCfgObject(kit.option), CCfgObject(kit.option), CCfgObject(kit.option)} {
    Load(m_Instances[0], first);
    Load(m_Instances[1], second);
    m_Texts = Texts();
  }

  // False when nothing more is to be done.
  bool Do(Choices& choices) {
    const std::size_t kind = choices.Below(17);
    const std::size_t target = choices.Below(6);
    // The same bytes choose a source and a field.
    const std::size_t source = choices.Below(6);
    const wchar_t* name = Name(choices);
    bool mayChange = false;
    const bool done = Act(kind, target, source, name, choices, mayChange);
    const std::vector<std::wstring> texts = Texts();
    if (!done && !mayChange) CHECK(texts == m_Texts, "changed by a refused operation");
    for (const std::wstring& text : texts) {
      if (text.size() > kLargest) return false;
      if (std::find(m_Texts.begin(), m_Texts.end(), text) == m_Texts.end()) CheckLoads(text);
    }
    m_Texts = texts;
    return true;
  }

 private:
  static const wchar_t* Name(Choices& choices) {
    static const std::array kNames = {
        L"InstanceId", L"Name",  L"Text",       L"Part",         L"Part/Part", L"Parts",
        L"Parts/Item", L"Ref",   L"Link",       L"Refs",         L"Refs/Item", L"Part/Ref",
        L"Texts",      L"Tags",  L"Numbers",    L"Flags",        L"Plain",     L".",
        L"..",         L"../..", L"*[last()]",  L"Raw",          L"*[2]",      L"Part//Ref",
        L"../*[2]",    L"Label", L"../../*[2]", L"//InstanceId", L"//Part",    L"Missing"};
    return kNames[choices.Below(kNames.size())];
  }

  CCfgObject& Any(std::size_t n) {
    return n < 3 ? static_cast<CCfgObject&>(m_Instances[n]) : m_Objects[n - 3];
  }

  void Load(CCfgInstance& instance, const std::wstring& text) {
    const bool taken = instance.Initialize(text.c_str());
    if (taken) {
      CHECK(m_Kit.IsValidText(text), Show(text));
      CHECK(instance.GetRawInterface() != nullptr, Show(text));
      return;
    }
    static const std::wstring kFixed = Document(
        L"a",
        {Item(L"P", L"a",
              RefTo(L"Q", L"b") + L"<Part><Label>l</Label><Part><Label>m</Label></Part></Part>"),
         Item(L"Q", L"b", RefTo(L"P", L"a"))});
    instance.Initialize(kFixed.c_str());
  }

  bool Act(std::size_t kind, std::size_t target, std::size_t source, const wchar_t* name,
           Choices& choices, bool& mayChange) {
    CCfgObject& object = Any(target);
    CCfgInstance& instance = m_Instances[target % 3];
    CCfgInstance& other = m_Instances[source % 3];
    switch (kind) {
      case 0:
        mayChange = true;  // the target is another one
        return object.GetFieldValue(name, Any(source));
      case 1:
        return Embed(object, name, Any(source));
      case 2:
        mayChange = true;
        return Refer(object, name, other);
      case 3:
        mayChange = true;
        return object.GetFieldValue(name, other);
      case 4: {
        mayChange = true;
        CCfgInstanceArray all;
        for (std::size_t n = choices.Below(4); n > 0; --n)
          all.AddItem(m_Instances[choices.Below(3)]);
        return object.SetFieldValue(name, all);
      }
      case 5: {
        CCfgInstanceArray all;
        if (!object.GetFieldValue(name, all)) return false;
        if (all.GetItemCount() > 0) all.GetItem(choices.Below(all.GetItemCount()), other);
        return true;
      }
      case 6: {
        CCfgObjectArray all;
        if (!object.GetFieldValue(name, all)) return false;
        CHECK(!object.SetFieldValue(name, all), "an array of objects was written");
        if (all.GetItemCount() > 0)
          all.GetItem(choices.Below(all.GetItemCount()), m_Objects[source % 3]);
        return true;
      }
      case 7:
        static const std::array kIds = {L"a", L"b", L"c", L"", L"it's", L"x\"&<\n", L"\x01"};
        return instance.SetInstanceId(kIds[choices.Below(kIds.size())]);
      case 8: {
        const std::vector<OS::x_wstring> texts(choices.Below(4), L"x");
        return object.SetFieldValue(name, texts);
      }
      case 9:
        return object.SetFieldValue(name, L"text");
      case 10:
        m_Objects[target % 3] = Any(source);
        return true;
      case 11:
        mayChange = true;
        return object.Initialize(Any(source).GetRawInterface(), choices.Below(2) == 0);
      case 12:
        mayChange = true;
        return Make(instance, other);
      case 13:
        return Save(other);
      case 14: {
        OS::x_wstring xml;
        mayChange = true;
        if (other.GetXml(xml)) Load(instance, xml.str());
        return true;
      }
      case 15:
        mayChange = true;
        return CCfgCategory(instance.GetCategory().c_str(), m_Kit.option)
            .CreateObject(name, m_Objects[source % 3]);
      default:
        m_Instances[target % 3] = other;
        return true;
    }
  }

  bool Embed(CCfgObject& object, const wchar_t* name, const CCfgObject& value) {
    const std::wstring xml = ElementOf(value);
    if (!object.SetFieldValue(name, value)) return false;
    static const std::wstring kPlain[] = {L"Part", L"Part/Part", L"Plain"};
    const bool isPlain = std::find(std::begin(kPlain), std::end(kPlain), name) != std::end(kPlain);
    CCfgObject back(m_Kit.option);
    // The field has the name of what was put there.
    if (isPlain && object.GetFieldValue(name, back) && xml.starts_with(L"<Part"))
      CHECK(std::wstring(name) == L"Plain" || ElementOf(back) == xml,
            Show(xml + L"\n" + ElementOf(back)));
    return true;
  }

  bool Refer(CCfgObject& object, const wchar_t* name, const CCfgInstance& value) {
    const std::wstring id = value.GetInstanceId().str();
    const std::wstring category = value.GetCategory().str();
    OS::x_wstring oldId;
    const bool isSame = object.GetFieldValue(L"Ref/InstanceId", oldId) &&
                        oldId == id.c_str();  // keeps its category
    if (!object.SetFieldValue(name, value)) return false;
    if (name != std::wstring(L"Ref") || id.empty() || id.find(L'\'') != id.npos) return true;
    CCfgInstance back(m_Kit.option);
    if (object.GetFieldValue(name, back)) {
      CHECK(back.GetInstanceId() == id.c_str(), Show(id + L" " + back.GetInstanceId().str()));
      CHECK(isSame || back.GetCategory() == category.c_str(),
            Show(ElementOf(object) + L"\n" + DocumentOf(back)));
    }
    return true;
  }

  bool Make(CCfgInstance& instance, const CCfgInstance& other) {
    if (!CCfgCategory(other.GetCategory().c_str(), m_Kit.option).CreateInstance(instance))
      return false;
    OS::x_wstring xml;
    CHECK(instance.GetXml(xml) && m_Kit.IsValidText(xml.str()), Show(xml.str()));
    return true;
  }

  bool Save(const CCfgInstance& instance) {
    const std::wstring path = m_Kit.Path(L"saved.xml");
    if (!instance.SaveToFile(path.c_str())) return false;
    const auto document = CreateObject<IXMLDOMDocument2>(L"MSXML2.DOMDocument.6.0");
    CHECK(document->load(path), ReadBytes(path));
    const std::wstring text = document->get_documentElement()->get_xml();
    CHECK(text == DocumentOf(instance), Show(text) + "\n" + Show(DocumentOf(instance)));
    return true;
  }

  std::vector<std::wstring> Texts() {
    std::vector<std::wstring> texts;
    for (std::size_t n = 0; n < 6; ++n) {
      texts.push_back(DocumentOf(Any(n)));
      texts.push_back(ElementOf(Any(n)));
    }
    return texts;
  }

  static void CheckLoads(const std::wstring& text) {
    if (text.empty()) return;
    const auto document = CreateObject<IXMLDOMDocument2>(L"MSXML2.DOMDocument.6.0");
    CHECK(document->loadXML(text), Show(text));
    const std::wstring again = document->get_documentElement()->get_xml();
    CHECK(again == text, Show(text) + "\n" + Show(again));
  }

  Kit& m_Kit;
  std::array<CCfgInstance, 3> m_Instances;
  std::array<CCfgObject, 3> m_Objects;
  std::vector<std::wstring> m_Texts;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
  std::vector<std::string> parts = Split({reinterpret_cast<const char*>(data), size});
  parts.resize(4);
  Kit& kit = Kit::For(parts[0].empty() ? 's' : parts[0][0]);
  kit.Clear();
  Trial trial(kit, Text(parts[1]), Text(parts[2]));
  Choices choices(parts[3]);
  for (int n = 0; n < kOperations && !choices.AtEnd(); ++n)
    if (!trial.Do(choices)) break;
  return 0;
}
