// Fields: which overload takes which, and what becomes of the values.

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>

#include "tests/support/sample.h"

namespace {

using namespace test;

class FieldsTest : public testing::Test {
 protected:
  FieldsTest() { EXPECT_NE(instance.GetRawInterface(), nullptr); }
  // The same element with types unchecked.
  CCfgObject Unchecked() const {
    CCfgObject object(option);
    object.Initialize(instance.GetRawInterface(), false);
    return object;
  }
  std::string TextOf(const wchar_t* field) const { return test::TextOf(Unchecked(), field); }

  Sample sample{{}};
  CCfgOption option = sample.option;
  CCfgInstance instance{Alone(L"a", EveryField()).c_str(), option};
};

// One row per overload: the fields that it takes, by name; all others are refused, both ways,
// and leave the document and the value as they were.
TEST_F(FieldsTest, EachOverloadTakesTheFieldsOfItsTypeAndNoOther) {
  const std::wstring all[] = {L"InstanceId", L"Name",  L"Short", L"Count", L"Size",    L"Rank",
                              L"On",         L"When",  L"Level", L"Far",   L"Ref",     L"Refs",
                              L"Part",       L"Parts", L"Texts", L"Tags",  L"Numbers", L"Sizes",
                              L"Flags",      L"Plain", L"None"};
  struct Row {
    const char* overload;
    std::wstring fields;  // each between blanks
    std::function<bool(CCfgObject&, const wchar_t*)> get, set;
  };
  const auto get = []<class T>(T) {
    return [](CCfgObject& object, const wchar_t* name) {
      T value{};
      return object.GetFieldValue(name, value);
    };
  };
  const auto set = []<class T>(T value) {
    return [value](CCfgObject& object, const wchar_t* name) {
      return object.SetFieldValue(name, value);
    };
  };
  const auto both = [&](const char* overload, const wchar_t* fields, auto value) {
    return Row{overload, fields, get(value), set(value)};
  };
  const wchar_t* const text = L"a";
  const OS::CTime time(2026, 1, 1, 0, 0, 0);
  const Row rows[] = {
      // "nonNegativeInteger" has "integer" as its direct base, and so has the range Level.
      both("int", L" Count Size Level ", 6),
      both("long", L" Count Size Level ", 6L),
      both("unsigned", L" Size Rank ", 6U),
      both("unsigned long", L" Size Rank ", 6UL),
      both("bool", L" On ", true),
      both("text", L" Name Short InstanceId ", OS::x_wstring(text)),
      {"pointer", L" Name Short InstanceId ", {}, set(text)},
      both("CTime", L" When ", time),
      both("tm", L" When ", time.GetTm()),
      {"CVar, by the type's own name", L" Name Count Size On When ", get(CVar()), {}},
      {"CVar number", L" Count Size Level ", {}, set(CVar(6))},
      {"CVar text", L" Name Short InstanceId ", {}, set(CVar(text))},
      {"CVar double", L" ", {}, set(CVar(1.5))},
      both("integers", L" Numbers ", CCfgIntegerArray()),
      both("unsigned integers", L" Sizes ", CCfgUnsignedIntegerArray()),
      both("booleans", L" Flags ", CCfgBooleanArray()),
      both("strings", L" Texts Tags ", CCfgStringArray()),
      both("vector", L" Texts Tags ", Ids()),
      {"object", L" Part ", get(CCfgObject(option)), {}},
      {"objects", L" Parts ", get(CCfgObjectArray()), {}},
      {"objects are never written", L" ", {}, set(CCfgObjectArray())},
      {"instance", L" Ref ", get(CCfgInstance(option)), {}},
      {"instances", L" Refs ", get(CCfgInstanceArray()), {}},
  };
  for (const Row& row : rows) {
    for (const std::wstring& field : all) {
      const bool taken = row.fields.find(L" " + field + L" ") != std::wstring::npos;
      CCfgInstance fresh(Alone(L"a", EveryField()).c_str(), option);
      const std::wstring before = XmlOf(fresh);
      if (row.get) {
        EXPECT_EQ(row.get(fresh, field.c_str()), taken)
            << row.overload << " reads " << Narrow(field);
        EXPECT_FALSE(row.get(fresh, nullptr)) << row.overload;
      }
      if (!row.set) continue;
      EXPECT_EQ(row.set(fresh, field.c_str()), taken)
          << row.overload << " writes " << Narrow(field);
      EXPECT_FALSE(row.set(fresh, nullptr)) << row.overload;
      EXPECT_TRUE(taken || XmlOf(fresh) == before) << row.overload << " " << Narrow(field);
    }
  }
}

TEST_F(FieldsTest, AFieldIsWhateverElementThePathSelectsFirst) {
  EXPECT_EQ(test::TextOf(instance, L"Part/Label"), "l");
  EXPECT_EQ(test::TextOf(instance, L"Parts/Item[1]/Label"), "1");
  EXPECT_EQ(test::TextOf(instance, L".//Label"), "l") << "the first in document order";
  OS::x_wstring text = L"l";
  for (const wchar_t* name : {L"", L"Name[", L"None", L"Name/text()", L"@x", L"count(Name)", L"'x'",
                              L"Name/@*", L"x:y", L"/..", L"//namespace::*", L"\x1"})
    EXPECT_FALSE(instance.GetFieldValue(name, text)) << Narrow(name);
  EXPECT_EQ(text, L"l");
}

TEST_F(FieldsTest, UncheckedObjectsReadAndWriteAnyElement) {
  CCfgObject object = Unchecked();
  EXPECT_TRUE(object.SetFieldValue(L"Far", L"x"));
  EXPECT_EQ(TextOf(L"Far"), "x");
  EXPECT_TRUE(object.SetFieldValue(L"Name", 12));
  unsigned number = 0;
  EXPECT_TRUE(object.GetFieldValue(L"Name", number));
  EXPECT_EQ(number, 12U);
  EXPECT_TRUE(object.SetFieldValue(L"Count", -1));
  EXPECT_FALSE(object.GetFieldValue(L"Count", number)) << "does not convert";
  EXPECT_EQ(number, 12U);
  CVar any;
  EXPECT_FALSE(object.GetFieldValue(L"Far", any)) << "a CVar asks the schema all the same";
  CCfgStringArray texts;
  texts.AddItem(L"i");
  EXPECT_TRUE(object.SetFieldValue(L"Name", texts));
  EXPECT_EQ(TextOf(L"Name/Item"), "i");
}

// A pointer is no truth value.
template <class Value>
concept Writable = requires(CCfgObject object, Value value) {
  object.SetFieldValue(L"Flag", value);
};
static_assert(!Writable<const char*> && !Writable<char*> && !Writable<CCfgObject*>);
static_assert(Writable<const wchar_t*> && Writable<wchar_t*> && Writable<std::nullptr_t>);

TEST_F(FieldsTest, NumbersAndBooleansKeepTheirRange) {
  int number = 1;
  unsigned int size = 1;
  bool truth = true;
  CCfgObject object = Unchecked();
  for (const wchar_t* text : {L"99999999999x", L"", L"1e3", L"yes"}) {
    ASSERT_TRUE(object.SetFieldValue(L"Count", text) && object.SetFieldValue(L"On", text));
    EXPECT_FALSE(instance.GetFieldValue(L"Count", number)) << Narrow(text);
    EXPECT_FALSE(instance.GetFieldValue(L"On", truth)) << Narrow(text);
  }
  EXPECT_TRUE(number == 1 && truth) << "as they were";
  ASSERT_TRUE(object.SetFieldValue(L"On", L"0") && instance.GetFieldValue(L"On", truth));
  EXPECT_FALSE(truth);
  EXPECT_TRUE(instance.SetFieldValue(L"Size", 4294967295U));
  EXPECT_EQ(TextOf(L"Size"), "4294967295");
  EXPECT_TRUE(instance.GetFieldValue(L"Size", size));
  EXPECT_EQ(size, 4294967295U);
  EXPECT_FALSE(instance.GetFieldValue(L"Size", number));
  EXPECT_FALSE(instance.SetFieldValue(L"Count", 2147483648L));
  EXPECT_FALSE(instance.SetFieldValue(L"Size", 4294967296UL));
  EXPECT_TRUE(instance.SetFieldValue(L"Size", -1)) << "for the next validation to refuse";
  EXPECT_EQ(TextOf(L"Size"), "-1");
}

// A text that could not be copied is not one that does not convert.
TEST_F(FieldsTest, WantOfMemoryIsNoAnswer) {
  int number = 0;
  bool truth = false;
  CVar any;
  CCfgIntegerArray numbers;
  numbers.AddItem(1);
  const std::function<void()> operations[] = {
      [&] { instance.GetFieldValue(L"Count", number); },
      [&] { instance.SetFieldValue(L"Count", number); },
      [&] { instance.GetFieldValue(L"On", truth); },
      [&] { instance.GetFieldValue(L"Name", any); },
      [&] { instance.SetFieldValue(L"Name", CVar::Shared("n")); },
      [&] { instance.SetFieldValue(L"Numbers", numbers); },
      [&] { instance.GetFieldValue(L"Numbers", numbers); }};
  for (std::size_t i = 0; i < std::size(operations); ++i) {
    const FailCall fail(FaultPoint::kSysAllocString, 1);
    EXPECT_THROW(operations[i](), std::bad_alloc) << i;
  }
}

TEST_F(FieldsTest, DatesAreReadWithoutAZoneAndWithoutRanges) {
  const struct {
    const wchar_t* text;
    bool read;
    int fields[6];  // year, month, day, hour, minute, second as they are in a tm
  } dates[] = {
      {L"2006-01-02T03:04:05Z", true, {106, 0, 2, 3, 4, 5}},
      {L"2006-01-02T03:04:05.250+09:00", true, {106, 0, 2, 3, 4, 5}},
      {L"1899-12-31T00:00:00Z", true, {1899, 11, 31, 0, 0, 0}},
      {L"2006-00-10T00:00:00Z", true, {106, 0, 10, 0, 0, 0}},
      {L"2006-13-45T25:61:61Z", true, {106, 12, 45, 25, 61, 61}},
      {L"2006-01-02T03:04Z", false, {2006, 1, 2, 3, 4, 0}},
      {L"", false, {0, 0, 0, 0, 0, 0}},
  };
  CCfgObject object = Unchecked();
  for (const auto& date : dates) {
    SCOPED_TRACE(Narrow(date.text));
    ASSERT_TRUE(object.SetFieldValue(L"When", date.text));
    tm read{};
    read.tm_wday = 9;
    EXPECT_EQ(instance.GetFieldValue(L"When", read), date.read);
    const int fields[] = {read.tm_year, read.tm_mon, read.tm_mday,
                          read.tm_hour, read.tm_min, read.tm_sec};
    EXPECT_TRUE(std::ranges::equal(fields, date.fields));
    EXPECT_EQ(read.tm_wday, 0);
    EXPECT_EQ(read.tm_isdst, date.read ? -1 : 0);
    OS::CTime time(1, 2, 3, 4, 5, 6);
    EXPECT_EQ(instance.GetFieldValue(L"When", time), date.read);
    EXPECT_EQ(time.GetTm().tm_min, date.read ? date.fields[4] : 5);
  }
  EXPECT_TRUE(instance.SetFieldValue(L"When", OS::CTime(987, 6, 5, 4, 3, 2)));
  EXPECT_EQ(TextOf(L"When"), "0987-06-05T04:03:02Z");
}

TEST_F(FieldsTest, ACVarGetsItsKindFromTheField) {
  struct Case {
    const wchar_t* field;
    CVar before;
    VARTYPE kind;
  };
  const Case cases[] = {
      {L"Name", CVar(5), VT_BSTR},
      {L"Count", CVar(L"x"), VT_I4},
      {L"Count", CVar::FromInt(1, VT_ERROR), VT_ERROR},
      {L"Count", CVar(false), VT_BOOL},
      {L"Count", CVar::FromInt(1, VT_INT), VT_I4},
      {L"Size", CVar(1), VT_UI4},
      {L"On", CVar(L"x"), VT_BOOL},
      {L"When", CVar(), VT_DATE},
  };
  for (const Case& c : cases) {
    CVar value = c.before;
    ASSERT_TRUE(instance.GetFieldValue(c.field, value)) << Narrow(c.field);
    EXPECT_EQ(value.GetKind(), c.kind) << Narrow(c.field);
    EXPECT_TRUE(c.kind == VT_ERROR || instance.SetFieldValue(c.field, value) || c.kind == VT_BOOL)
        << "goes back as it came";
  }
  EXPECT_EQ(TextOf(L"When"), "2006-01-02T03:04:05Z");
  CVar truth = false;
  ASSERT_TRUE(instance.GetFieldValue(L"Count", truth));
  EXPECT_EQ(truth.GetVariant().boolVal, VARIANT_TRUE);
  CVar kept = 5;
  EXPECT_FALSE(instance.GetFieldValue(L"Short", kept));
  EXPECT_EQ(static_cast<int>(kept), 5);

  VARIANT text;
  text.vt = VT_LPSTR;
  text.pcVal = "\xc3\xa9";
  EXPECT_TRUE(instance.SetFieldValue(L"Name", CVar(text)));
  EXPECT_EQ(TextOf(L"Name"), "\xc3\xa9");
  text.pcVal = "\xff";
  EXPECT_THROW(instance.SetFieldValue(L"Name", CVar(text)), _com_error);
  EXPECT_FALSE(instance.SetFieldValue(L"Count", CVar(L"12"))) << "the kind chooses, not the text";
}

TEST_F(FieldsTest, ArraysAreReplacedAsAWhole) {
  CCfgIntegerArray numbers;
  for (const long number : {5L, -2147483648L, 2147483647L}) numbers.AddItem(number);
  ASSERT_TRUE(instance.SetFieldValue(L"Numbers", numbers));
  CCfgIntegerArray read;
  read.AddItem(1);
  ASSERT_TRUE(instance.GetFieldValue(L"Numbers", read)) << "the new element is checked at once";
  ASSERT_EQ(read.GetItemCount(), 3U);
  EXPECT_EQ(read.GetItem(1), -2147483648L);

  Ids texts = {L"x", L"", L" y "};
  ASSERT_TRUE(instance.SetFieldValue(L"Texts", texts));
  ASSERT_TRUE(instance.GetFieldValue(L"Texts", texts)) << "a vector keeps what it holds";
  EXPECT_EQ(Join(texts), "x   y  x   y ");
  ASSERT_TRUE(instance.SetFieldValue(L"Texts", Ids()));
  EXPECT_NE(XmlOf(instance).find(L"<Texts/>"), std::wstring::npos);

  ASSERT_TRUE(Unchecked().SetFieldValue(L"Flags/Item", L"1"));
  CCfgBooleanArray flags;
  ASSERT_TRUE(instance.GetFieldValue(L"Flags", flags));
  EXPECT_FALSE(flags.GetItem(0)) << "an item is true only as \"true\"";

  ASSERT_TRUE(Unchecked().SetFieldValue(L"Numbers/Item[2]", L"99999999999"));
  EXPECT_THROW(instance.GetFieldValue(L"Numbers", read), _com_error);
  EXPECT_EQ(read.GetItemCount(), 1U);
  EXPECT_FALSE(instance.SetFieldValue(L"Texts", Ids{L"ok", L"\x1"}));
  EXPECT_NE(XmlOf(instance).find(L"<Texts/>"), std::wstring::npos);
}

TEST(ArrayTest, RaisesPastItsEndAndKeepsItsItems) {
  CCfgUnsignedIntegerArray array;
  try {
    array.GetItem(0);
    FAIL() << "no exception";
  } catch (const OS::CException& error) {
    EXPECT_EQ(error.GetErrorCode(), CFGEX_ERROR_INDEX_OUT_OF_RANGE);
    EXPECT_NE(error.GetErrorMsgEx().str().find(L"cfg_UnsignedIntegerArray"), std::wstring::npos);
  }
  array.AddItem(4294967295UL);
  EXPECT_THROW(array.AddItem(4294967296UL), std::out_of_range);
  EXPECT_THROW(CCfgIntegerArray().AddItem(2147483648L), std::out_of_range);
  EXPECT_EQ(array.GetItemCount(), 1U);
  EXPECT_EQ(array.GetItem(0), 4294967295UL);
  CCfgInstance item;
  EXPECT_THROW(CCfgInstanceArray().GetItem(0, item), CCfgExException);
}

}  // namespace
