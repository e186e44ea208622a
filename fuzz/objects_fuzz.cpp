// XML into objects: two stand-alone documents, and what is done with the instances, embedded
// objects, arrays and fields in them. Parts: the letter of the schema, the first document, the
// second, and a script of operations, four bytes or more each. A document that is refused gives way
// to a fixed one.
//
// Holds:
// 1. A text is taken exactly when the engine finds it valid and its instance is in it.
// 2. After each operation every document's text loads again, to the same text, whatever was
//    replaced, moved or cut out. A refused operation that has no steps on the way changes none; a
//    read changes none, and if it is refused, not its variable either.
// 3. What was embedded is what is in the field; what was referred to is what a read finds; a value
//    that was written under a plain name is what is read back.
// 4. A new instance that a category makes is valid. A file that was saved holds the document.

#include <algorithm>
#include <array>

#include "fuzz/support.h"
#include "tests/support/dom.h"
#include "tests/support/sample.h"

using namespace fuzz;
using namespace test;

namespace {

constexpr int kOperations = 24;
constexpr std::size_t kLargest = 100'000;  // of a document's text; what embeds itself doubles
constexpr std::size_t kLongestName = 36;   // predicates within predicates are bounded, but slow

std::wstring DocumentOf(const CCfgObject& object) {
  const auto element = As<IXMLDOMElement>(object.GetRawInterface());
  if (!element) return L"";
  const auto root = element->get_ownerDocument()->get_documentElement();
  return root ? root->get_xml() : L"";
}

bool IsPlain(const std::wstring& name) {
  return !name.empty() && std::all_of(name.begin(), name.end(), [](wchar_t c) {
    return (c >= L'A' && c <= L'Z') || (c >= L'a' && c <= L'z') || c == L'/';
  });
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
    const std::size_t source = choices.Below(6);
    m_Name = Name(choices);
    bool mayChange = false;
    const bool done = Act(kind, target, source, choices, mayChange);
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
  static std::wstring Name(Choices& choices) {
    static const std::array kNames = {
        L"InstanceId", L"Name",  L"Text",       L"Part",         L"Part/Part", L"Parts",
        L"Parts/Item", L"Ref",   L"Link",       L"Refs",         L"Refs/Item", L"Part/Ref",
        L"Texts",      L"Tags",  L"Numbers",    L"Flags",        L"Plain",     L".",
        L"..",         L"../..", L"*[last()]",  L"Raw",          L"*[2]",      L"Part//Ref",
        L"../*[2]",    L"Label", L"../../*[2]", L"//InstanceId", L"//Part"};
    const std::size_t number = choices.Below(kNames.size() + 1);
    return number < kNames.size() ? kNames[number] : Text(choices.Piece()).substr(0, kLongestName);
  }

  CCfgObject& Any(std::size_t n) {
    return n < 3 ? static_cast<CCfgObject&>(m_Instances[n]) : m_Objects[n - 3];
  }

  void Load(CCfgInstance& instance, const std::wstring& text) {
    if (instance.Initialize(text.c_str())) {
      CHECK(m_Kit.IsValidText(text), Show(text));
      CHECK(instance.GetRawInterface() != nullptr, Show(text));
      return;
    }
    static const std::wstring kFixed =
        Document(L"a", {Item(L"P", L"a", EveryField()), Item(L"Q", L"b", RefTo(L"P", L"a"))});
    instance.Initialize(kFixed.c_str());
  }

  bool Act(std::size_t kind, std::size_t target, std::size_t source, Choices& choices,
           bool& mayChange) {
    const wchar_t* name = m_Name.c_str();
    CCfgObject& object = Any(target);
    CCfgInstance& instance = m_Instances[target % 3];
    CCfgInstance& other = m_Instances[source % 3];
    switch (kind) {
      case 0:
        mayChange = true;  // the target is another one
        return object.GetFieldValue(name, Any(source));
      case 1:
        return Embed(object, Any(source));
      case 2:
        mayChange = true;
        return Refer(object, other);
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
      case 7: {
        const std::wstring id = Text(choices.Piece());
        const bool done = instance.SetInstanceId(id.c_str());
        if (done) CHECK(instance.GetInstanceId() == id.c_str(), Show(id));
        return done;
      }
      case 8:
        return WriteAny(object, choices);
      case 9:
        ReadAll(object);
        return false;
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

  bool WriteAny(CCfgObject& object, Choices& choices) {
    const std::wstring text = Text(choices.Piece());
    switch (choices.Below(7)) {
      case 0:
        return Write(object, static_cast<int>(choices.Number()));
      case 1:
        return Write(object, static_cast<unsigned int>(choices.Number()));
      case 2:
        return Write(object, static_cast<long>(choices.Number()) - (1L << 31));
      case 3:
        return Write(object, choices.Below(2) == 1);
      case 4:
        return Write(object, Ids(choices.Below(5), text.c_str()));
      case 5:
        return object.SetFieldValue(m_Name.c_str(), CVar(text.c_str()));
      default:
        return Write(object, OS::x_wstring(text));
    }
  }

  template <class T>
  bool Write(CCfgObject& object, const T& value) {
    if (!object.SetFieldValue(m_Name.c_str(), value)) return false;
    T read{};
    if (IsPlain(m_Name))
      CHECK(object.GetFieldValue(m_Name.c_str(), read) && read == value, Show(DocumentOf(object)));
    return true;
  }

  void ReadAll(const CCfgObject& object) {
    const auto read = [&](auto value) {
      const auto unread = value;
      CHECK(object.GetFieldValue(m_Name.c_str(), value) || value == unread, Show(m_Name));
    };
    read(-77);
    read(77U);
    read(-78L);
    read(78UL);
    read(true);
    read(false);
    read(OS::x_wstring(L"unread"));
    read(Ids{L"unread"});
    tm fields{};
    OS::CTime time;
    CVar any;
    object.GetFieldValue(m_Name.c_str(), fields);
    object.GetFieldValue(m_Name.c_str(), time);
    CHECK(object.GetFieldValue(m_Name.c_str(), any) == (any.GetKind() != VT_EMPTY), Show(m_Name));
    const auto read_array = [&](auto array) {
      try {
        CHECK(object.GetFieldValue(m_Name.c_str(), array) || array.GetItemCount() == 0,
              Show(m_Name));
      } catch (const _com_error&) {  // an item that is no number
      }
    };
    read_array(CCfgIntegerArray());
    read_array(CCfgUnsignedIntegerArray());
    read_array(CCfgBooleanArray());
    read_array(CCfgStringArray());
  }

  bool Embed(CCfgObject& object, const CCfgObject& value) {
    const std::wstring xml = ElementXml(value);
    if (!object.SetFieldValue(m_Name.c_str(), value)) return false;
    CCfgObject back(m_Kit.option);
    // The field has the name of what was put there.
    const bool keepsName = m_Name == L"Part" || m_Name == L"Part/Part";
    if (keepsName && xml.starts_with(L"<Part") && object.GetFieldValue(m_Name.c_str(), back))
      CHECK(ElementXml(back) == xml, Show(xml + L"\n" + ElementXml(back)));
    return true;
  }

  bool Refer(CCfgObject& object, const CCfgInstance& value) {
    const std::wstring id = value.GetInstanceId().str();
    const std::wstring category = value.GetCategory().str();
    OS::x_wstring oldId;
    const bool isSame = object.GetFieldValue(L"Ref/InstanceId", oldId) &&
                        oldId == id.c_str();  // keeps its category
    if (!object.SetFieldValue(m_Name.c_str(), value)) return false;
    if (m_Name != L"Ref" || id.empty() || id.find(L'\'') != id.npos) return true;
    CCfgInstance back(m_Kit.option);
    if (object.GetFieldValue(m_Name.c_str(), back)) {
      CHECK(back.GetInstanceId() == id.c_str(), Show(id + L" " + back.GetInstanceId().str()));
      CHECK(isSame || back.GetCategory() == category.c_str(),
            Show(ElementXml(object) + L"\n" + DocumentOf(back)));
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
    const DocumentPtr document = NewDocument();
    CHECK(document->load(path), ReadBytes(path));
    const std::wstring text = document->get_documentElement()->get_xml();
    CHECK(text == DocumentOf(instance), Show(text) + "\n" + Show(DocumentOf(instance)));
    return true;
  }

  std::vector<std::wstring> Texts() {
    std::vector<std::wstring> texts;
    for (std::size_t n = 0; n < 6; ++n) {
      texts.push_back(DocumentOf(Any(n)));
      texts.push_back(ElementXml(Any(n)));
    }
    return texts;
  }

  static void CheckLoads(const std::wstring& text) {
    if (text.empty()) return;
    const DocumentPtr document = NewDocument();
    CHECK(document->loadXML(text), Show(text));
    const std::wstring again = document->get_documentElement()->get_xml();
    CHECK(again == text, Show(text) + "\n" + Show(again));
  }

  Kit& m_Kit;
  std::array<CCfgInstance, 3> m_Instances;
  std::array<CCfgObject, 3> m_Objects;
  std::wstring m_Name;  // of the field that the operation is about
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
