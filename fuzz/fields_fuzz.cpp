// Fields of an instance by any name, with values of every kind, objects and references from this
// document and another one. The first byte chooses how the object checks types. Then operations:
// one byte for the kind, the field's name up to a null character, and the value.
//
// Holds after each operation:
// 1. A refused write, and every read, leave the document as it was; a refused read its variable.
//    Only a refused reference may have brought what its target reaches.
// 2. What was written under a plain name is what is read back.
// 3. The document's text loads again, to the same text, whatever was moved, copied or cut out.

#include <algorithm>
#include <concepts>
#include <cstring>
#include <tuple>

#include "fuzz/support.h"
#include "platform/dom/create_object.h"
#include "platform/dom/dom.h"
#include "tests/support/sample.h"

using namespace fuzz;
using namespace test;

namespace {

constexpr int kOperations = 12;
constexpr std::size_t kLongestName = 36;  // predicates within predicates are bounded, but slow

class Trial {
 public:
  explicit Trial(std::size_t way)
      : m_Instance(Kit::For('s').option), m_Other(Kit::For('s').option), m_Object(m_Instance) {
    CHECK(m_Instance.Initialize(Alone(L"a", EveryField()).c_str()), "the instance");
    CHECK(m_Other.Initialize(
              Document(L"b", {Item(L"Q", L"b", RefTo(L"P", L"a")), Item(L"P", L"a", EveryField())})
                  .c_str()),
          "the other instance");
    // The same element, without checks of types or as an object of its own.
    m_Object = CCfgObject(Kit::For('s').option);
    CHECK(m_Object.Initialize(m_Instance.GetRawInterface(), way % 2 == 0), "the object");
    m_Xml = XmlOf(m_Instance);
  }

  void Do(Choices& choices) {
    const std::size_t kind = choices.Below(24);
    const std::wstring name = Text(choices.Piece()).substr(0, kLongestName);
    m_IsPlain = std::all_of(name.begin(), name.end(), [](wchar_t c) {
      return (c >= L'A' && c <= L'Z') || (c >= L'a' && c <= L'z') || c == L'/';
    });
    m_Name = name.c_str();
    switch (kind) {
      case 0:
        return Write(static_cast<int>(choices.Number()));
      case 1:
        return Write(static_cast<unsigned int>(choices.Number()));
      case 2:
        return WriteLong<long>(choices);
      case 3:
        return WriteLong<unsigned long>(choices);
      case 4:
        return Write(choices.Below(2) == 1);
      case 6:
        return WriteDate(choices);
      case 7:
        return WriteVariant(choices);
      case 8:
        return WriteArrays(choices);
      case 9:
        return ReadAll();
      case 10:
        return ReadArrays();
      case 11:
        return Convert(choices);
      case 12:
        return SetId(Text(choices.Piece()));
      case 13:
        return Embed(choices);
      case 14:
        return Refer(choices.Below(2) == 0 ? m_Instance : m_Other);
      case 15:
        return ReferToAll(choices);
      case 16:  // from now on the object is what is in the field
        m_Object.GetFieldValue(m_Name, m_Object);
        return Done(false);
      default:
        return Write(OS::x_wstring(Text(choices.Piece())));
    }
  }

 private:
  std::string Report() const { return "field " + Show(m_Name) + "\n" + Show(XmlOf(m_Instance)); }

  // After an operation that gave `done`; one that writes may have changed the document.
  void Done(bool done) {
    if (!done) CHECK(XmlOf(m_Instance) == m_Xml, Report());
    CheckLoads();
  }
  void CheckLoads() {
    const std::wstring xml = XmlOf(m_Instance);
    if (xml == m_Xml) return;
    m_Xml = xml;
    const auto document = CreateObject<IXMLDOMDocument2>(L"MSXML2.DOMDocument.6.0");
    CHECK(document->loadXML(xml), Report());
    CHECK(document->get_documentElement()->get_xml() == xml,
          Report() + "\n" + Show(document->get_documentElement()->get_xml()));
  }

  template <class T>
  void Write(const T& value) {
    const bool done = m_Object.SetFieldValue(m_Name, value);
    Done(done);
    if (!done || !m_IsPlain) return;
    T read{};
    CHECK(m_Object.GetFieldValue(m_Name, read), Report());
    CHECK(read == value, Report());
  }

  template <class T>
  void WriteLong(Choices& choices) {
    const auto value =
        static_cast<T>((static_cast<std::uint64_t>(choices.Number()) << (choices.Below(2) * 32)) |
                       choices.Number());
    Write(value);
    using Narrow = std::conditional_t<std::is_signed_v<T>, int, unsigned>;
    if (value != static_cast<T>(static_cast<Narrow>(value)))
      CHECK(!m_Object.SetFieldValue(m_Name, value), Report());
  }

  void WriteDate(Choices& choices) {
    tm date{};
    const bool isWild = choices.Below(4) == 0;
    for (int* field :
         {&date.tm_year, &date.tm_mon, &date.tm_mday, &date.tm_hour, &date.tm_min, &date.tm_sec})
      *field = isWild ? static_cast<int>(choices.Number()) : static_cast<int>(choices.Below(60));
    date.tm_mon %= 12;
    const bool done = choices.Below(2) == 0 ? m_Object.SetFieldValue(m_Name, date)
                                            : m_Object.SetFieldValue(m_Name, OS::CTime(date));
    Done(done);
    tm read{};
    OS::CTime time;
    if (!done || isWild || !m_IsPlain || !m_Object.GetFieldValue(m_Name, read)) return;
    CHECK(m_Object.GetFieldValue(m_Name, time), Report());
    const auto fields = [](const tm& t) {
      return std::tuple(t.tm_year, t.tm_mon, t.tm_mday, t.tm_hour, t.tm_min, t.tm_sec);
    };
    CHECK(fields(read) == fields(date) && fields(time.GetTm()) == fields(date), Report());
  }

  static CVar AnyVariant(Choices& choices, const std::wstring& text, const std::string& bytes) {
    switch (choices.Below(16)) {
      case 0:
        return static_cast<short>(choices.Number());
      case 1:
        return static_cast<unsigned short>(choices.Number());
      case 2:
        return static_cast<int>(choices.Number());
      case 3:
        return choices.Number();
      case 4:
        return choices.Below(2) == 1;
      case 5:
        return static_cast<signed char>(choices.Number());
      case 6:
        return static_cast<unsigned char>(choices.Number());
      case 7:
        return static_cast<long long>(choices.Number()) << choices.Below(33);
      case 8:
        return static_cast<unsigned long long>(choices.Number()) << choices.Below(33);
      case 9:
        return static_cast<double>(choices.Number()) / static_cast<double>(choices.Number());
      case 10: {
        VARIANT date;
        date.vt = VT_DATE;
        const auto days = static_cast<std::int32_t>(choices.Number());
        date.date = static_cast<double>(days) / static_cast<double>(1 + choices.Below(200));
        return date;
      }
      case 11:
        return CVar::Shared(bytes.c_str());
      case 12:
        return CVar::Shared(text.c_str());
      case 13:
        return CVar();
      default:
        return text.c_str();
    }
  }

  void WriteVariant(Choices& choices) {
    const std::string bytes(choices.Piece());
    const std::wstring text = Text(bytes);
    const CVar value = AnyVariant(choices, text, bytes);
    bool done = false;
    try {
      done = m_Object.SetFieldValue(m_Name, value);
    } catch (const _com_error&) {
      CHECK(value.GetKind() == VT_LPSTR || value.GetKind() == VT_LPWSTR, Report());
    }
    Done(done);
    CVar read;
    CHECK(m_Object.GetFieldValue(m_Name, read) == (read.GetKind() != VT_EMPTY), Report());
    Done(false);
  }

  template <class Array, class T>
  void WriteArray(Choices& choices, T (*make)(Choices&)) {
    Array array;
    for (std::size_t n = choices.Below(5); n > 0; --n) array.AddItem(make(choices));
    const bool done = m_Object.SetFieldValue(m_Name, array);
    Done(done);
    if (!done || !m_IsPlain) return;
    Array read;
    CHECK(m_Object.GetFieldValue(m_Name, read), Report());
    CHECK(read.GetItemCount() == array.GetItemCount(), Report());
    for (std::size_t i = 0; i < array.GetItemCount(); ++i)
      CHECK(read.GetItem(i) == array.GetItem(i), Report());
  }

  void WriteArrays(Choices& choices) {
    switch (choices.Below(5)) {
      case 0:
        return WriteArray<CCfgIntegerArray, long>(
            choices, [](Choices& c) -> long { return static_cast<int>(c.Number()); });
      case 1:
        return WriteArray<CCfgUnsignedIntegerArray, unsigned long>(
            choices, [](Choices& c) -> unsigned long { return c.Number(); });
      case 2:
        return WriteArray<CCfgBooleanArray, bool>(choices,
                                                  [](Choices& c) { return c.Below(2) == 1; });
      case 3:
        return WriteArray<CCfgStringArray, OS::x_wstring>(
            choices, [](Choices& c) { return OS::x_wstring(Text(c.Piece())); });
      default: {
        std::vector<OS::x_wstring> texts;
        for (std::size_t n = choices.Below(5); n > 0; --n)
          texts.emplace_back(Text(choices.Piece()));
        const bool done = m_Object.SetFieldValue(m_Name, texts);
        Done(done);
        std::vector<OS::x_wstring> read = {L"before"};
        const bool isRead = m_Object.GetFieldValue(m_Name, read);
        CHECK(read[0] == L"before" && (isRead || read.size() == 1), Report());
        if (done && m_IsPlain)
          CHECK(isRead && std::equal(texts.begin(), texts.end(), read.begin() + 1, read.end()),
                Report());
      }
    }
  }

  // Reads into a value that tells whether it was read.
  template <class T>
  void Read(T value) {
    const T unread = value;
    const bool done = m_Object.GetFieldValue(m_Name, value);
    if constexpr (requires { value.GetItemCount(); }) {
      CHECK(done || value.GetItemCount() == 0, Report());
    } else if constexpr (requires { value.GetRawInterface(); }) {
      CHECK(done == (value.GetRawInterface() != nullptr), Report());
    } else if constexpr (std::equality_comparable<T>) {
      CHECK(done || value == unread, Report());
    }
    Done(false);
  }

  void ReadAll() {
    Read(-77);
    Read(77U);
    Read(-78L);
    Read(78UL);
    Read(true);
    Read(false);
    Read(OS::x_wstring(L"unread"));
    Read(tm{});
    Read(OS::CTime());
    OS::CTime().Format(m_Name);
    Read(CCfgObject(Kit::For('s').option));
    Read(CCfgInstance(Kit::For('s').option));
    Read(CVar(-3));
  }

  void ReadArrays() {
    try {
      Read(CCfgIntegerArray());
    } catch (const _com_error&) {  // an item that is no number
    }
    try {
      Read(CCfgUnsignedIntegerArray());
    } catch (const _com_error&) {
    }
    Read(CCfgBooleanArray());
    Read(CCfgStringArray());
    Read(CCfgObjectArray());
    Read(CCfgInstanceArray());
  }

  // A number that came out of a text goes into a text that gives the same number.
  void Convert(Choices& choices) {
    const std::string bytes(choices.Piece());
    const std::wstring text = Text(bytes);
    const CVar value = AnyVariant(choices, text, bytes);
    for (VARTYPE kind = 0; kind < 33; ++kind) {
      VARIANT number, asText, again;
      if (OS::VariantChangeType(number, value.GetVariant(), 0, kind) < 0) {
        CHECK(number.vt == VT_EMPTY, Report());
        continue;
      }
      CHECK(number.vt == kind, Report());
      if (kind == VT_DATE) CheckDate(number.date);
      if (kind != VT_LPSTR && kind != VT_LPWSTR &&
          OS::VariantChangeType(asText, number, 0, VT_BSTR) >= 0 && kind != VT_BSTR) {
        CHECK(OS::VariantChangeType(again, asText, 0, kind) >= 0, Show(asText.bstrVal));
        CHECK(std::wstring(CVar(again)) == asText.bstrVal, Show(asText.bstrVal));
      }
      OS::VariantClear(asText);
      OS::VariantClear(number);
      OS::VariantClear(again);
    }
  }

  static void CheckDate(DATE date) {
    SYSTEMTIME time{}, again{};
    if (!OS::VariantTimeToSystemTime(date, time)) return;
    DATE back = 0;
    CHECK(OS::SystemTimeToVariantTime(time, back), std::to_string(date));
    CHECK(OS::VariantTimeToSystemTime(back, again), std::to_string(date));
    CHECK(std::memcmp(&time, &again, sizeof time) == 0, std::to_string(date));
  }

  static std::wstring ElementOf(const CCfgObject& object) {
    const auto element = As<IXMLDOMElement>(object.GetRawInterface());
    return element ? element->get_xml() : L"";
  }

  void Embed(Choices& choices) {
    const CCfgInstance& from = choices.Below(2) == 0 ? m_Instance : m_Other;
    CCfgObject part(Kit::For('s').option), back(Kit::For('s').option);
    // The other instance's own parts are those of what it refers to.
    CCfgInstance target(Kit::For('s').option);
    const CCfgObject& holder = from.GetFieldValue(L"Ref", target) ? target : from;
    if (!holder.GetFieldValue(choices.Below(2) == 0 ? L"Part" : L"Part/Part", part)) return;
    const std::wstring xml = ElementOf(part);
    const bool done = m_Object.SetFieldValue(m_Name, part);
    Done(done);
    // Elsewhere the field has another name now.
    if (!done || (m_Name != std::wstring(L"Part") && m_Name != std::wstring(L"Part/Part"))) return;
    CHECK(m_Object.GetFieldValue(m_Name, back) && ElementOf(back) == xml, Report());
  }

  void Refer(const CCfgInstance& value) {
    const std::wstring id = value.GetInstanceId().str();
    OS::x_wstring oldId;
    const bool isSame = m_Object.GetFieldValue(L"Ref/InstanceId", oldId) && oldId == id.c_str();
    const bool done = m_Object.SetFieldValue(m_Name, value);
    CheckLoads();
    CCfgInstance back(Kit::For('s').option);
    if (!done || m_Name != std::wstring(L"Ref") || !m_Object.GetFieldValue(m_Name, back)) return;
    CHECK(back.GetInstanceId() == id.c_str(), Report());
    // A reference whose id stays keeps its category.
    CHECK(isSame || back.GetCategory() == value.GetCategory().c_str(), Report());
  }

  void ReferToAll(Choices& choices) {
    CCfgInstanceArray all;
    for (std::size_t n = choices.Below(4); n > 0; --n)
      all.AddItem(choices.Below(2) == 0 ? m_Instance : m_Other);
    m_Object.SetFieldValue(m_Name, all);
    CheckLoads();
  }

  void SetId(const std::wstring& id) {
    const bool done = m_Instance.SetInstanceId(id.c_str());
    Done(done);
    if (done) CHECK(m_Instance.GetInstanceId() == id.c_str(), Report());
  }

  CCfgInstance m_Instance;
  CCfgInstance m_Other;
  CCfgObject m_Object;
  const wchar_t* m_Name = L"";
  bool m_IsPlain = false;
  std::wstring m_Xml;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
  Choices choices({reinterpret_cast<const char*>(data), size});
  Trial trial(choices.Below(256));
  for (int n = 0; n < kOperations && !choices.AtEnd(); ++n) trial.Do(choices);
  return 0;
}
