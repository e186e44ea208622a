// Strings, times, variants, CVar, exceptions, and the small services of the operating system.
#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <cstring>
#include <iomanip>
#include <limits>
#include <set>
#include <sstream>
#include <thread>
#include <type_traits>

#include "cfgex/cfg_exception.h"
#include "cfgex/cslock.h"
#include "cfgex/cvar.h"
#include "platform/os/system.h"
#include "tests/support/support.h"

namespace {

HRESULT Code(_com_error::Code code) { return static_cast<HRESULT>(code); }

TEST(StringTest, NullIsEmptyAndTextsCompareAsTexts) {
  OS::x_wstring text(nullptr);
  EXPECT_TRUE(text.empty());
  EXPECT_TRUE(text == nullptr);
  wchar_t buffer[] = L"abc";
  text = buffer;
  buffer[0] = L'x';
  EXPECT_TRUE(text == L"abc");
  EXPECT_FALSE(text == L"ABC");
  text = text.c_str() + 1;  // part of itself
  EXPECT_EQ(text, OS::x_wstring(L"bc"));
  // By content, though the class converts to a pointer.
  EXPECT_TRUE(OS::x_wstring(L"b") < OS::x_wstring(L"c"));
  EXPECT_TRUE(L"a" < text && text < L"bd");
  EXPECT_EQ((std::set<OS::x_wstring>{L"a", L"b", L"a"}).size(), 2u);
  text = nullptr;
  EXPECT_TRUE(text.empty());
}

TEST(StringTest, GoesWhereTheStandardTextsGoAndBack) {
  const std::wstring standard = L"a\u4E2D";
  const std::wstring_view view = std::wstring_view(L"a\u4E2Dz").substr(0, 2);
  OS::x_wstring text = standard;
  EXPECT_TRUE(text == standard && view == text);
  text = view.substr(1);
  EXPECT_EQ(text.str(), L"\u4E2D");
  const auto length = [](const OS::x_wstring& taken) { return taken.size(); };
  EXPECT_EQ(length(standard) + length(view) + length(L"abc") + length(nullptr), 7u);
  std::wostringstream out;
  out << std::setw(3) << text << '|' << text.c_str();
  EXPECT_EQ(out.str(), L"  \u4E2D|\u4E2D");
}

TEST(StringTest, FormatTakesWideTextsAtAnyLength) {
  OS::x_wstring text(L"old");
  text.Format(L"%s-%d-%8d-%c-%%s-%-4s|%.2s|%ls|%hs|%*s", L"wide\u4E2D", -5, 42, L'ß', L"ab", L"xyz",
              L"l", "n", 3, L"r");
  EXPECT_EQ(text.str(), L"wide\u4E2D--5-      42-ß-%s-ab  |xy|l|n|  r");
  text.Format(L"%2$s%1$s", L"b", L"a");
  EXPECT_EQ(text.str(), L"ab");
  text.Format(L"<%s|%s>", text.c_str(), text.c_str());
  EXPECT_EQ(text.str(), L"<ab|ab>");
  for (const std::size_t length : {511u, 512u, 513u, 300000u}) {
    const std::wstring longText(length, L'\u4E2D');
    text.Format(L"%s", longText.c_str());
    EXPECT_EQ(text.str(), longText) << length;
  }
  text.Format(L"ends in %");
  text.Format(nullptr);
  EXPECT_TRUE(text.empty());
}

TEST(TimeTest, FieldsAreCopiedAndFormattedAsTheyAre) {
  constexpr const wchar_t* kIso = L"%Y-%m-%dT%H:%M:%SZ";
  EXPECT_EQ(OS::CTime(2006, 1, 2, 3, 4, 5).Format(kIso).str(), L"2006-01-02T03:04:05Z");
  EXPECT_EQ(OS::CTime(7, 1, 2, 3, 4, 5).Format(kIso).str(), L"0007-01-02T03:04:05Z");
  EXPECT_EQ(OS::CTime(-7, 13, 45, 30, 99, 61).Format(kIso).str(), L"-0007-13-45T30:99:61Z");
  EXPECT_EQ(OS::CTime(123456, 1, 1, 0, 0, 0).Format(L"%Y").str(), L"123456");

  tm fields{};
  fields.tm_sec = 1, fields.tm_min = 2, fields.tm_hour = 3, fields.tm_mday = 4, fields.tm_mon = 5;
  fields.tm_year = 6, fields.tm_wday = 1, fields.tm_yday = 8, fields.tm_isdst = 9;
  const tm copy = OS::CTime(fields).GetTm();
  EXPECT_EQ(copy.tm_wday, 1);
  EXPECT_EQ(copy.tm_yday, 8);
  EXPECT_EQ(copy.tm_isdst, 9);
  EXPECT_EQ(OS::CTime(fields).Format(L"%A %B %j %%Y %e%p").str(), L"Monday June 009 %Y  4AM");
  EXPECT_EQ(OS::CTime(fields).Format(nullptr).str(), L"");
  EXPECT_EQ(OS::CTime(fields).Format(L"100%").str(), L"100%");
  EXPECT_EQ(OS::CTime(fields).Format(L"%Z%Z").size(), OS::CTime(fields).Format(L"%Z").size() * 2);
  const std::wstring filler(100000, L'x');
  EXPECT_EQ(OS::CTime(fields).Format((filler + L"%1000d%m").c_str()).size(), 101002u);
}

TEST(TimeTest, FieldsOutOfRangeAreHarmless) {
  for (const int value : {INT_MIN, -1, 12, 45, 99, INT_MAX}) {
    tm fields = OS::CTime(value, value, value, value, value, value).GetTm();
    EXPECT_EQ(fields.tm_sec, value);
    fields.tm_year = fields.tm_mon = fields.tm_wday = fields.tm_yday = fields.tm_isdst = value;
    fields.tm_zone = reinterpret_cast<const char*>(8);  // a zone's name that is gone
    const OS::x_wstring text = OS::CTime(fields).Format(
        L"%a %A %b %B %c %C %D %e %g %G %I %j %p %U %u %V %w %W %x %y %Y %Z %z");
    EXPECT_FALSE(text.empty()) << value;
  }
  EXPECT_EQ(OS::CTime(INT_MIN, INT_MIN, 1, 1, 1, 1).GetTm().tm_year, INT_MIN);
}

// The text after it was made a value of that kind, and a text again; or why it cannot be one.
std::wstring Through(const wchar_t* text, VARTYPE kind) {
  VARIANT value;
  value.vt = VT_BSTR;
  value.bstrVal = OS::SysAllocString(text);
  const HRESULT result = OS::VariantChangeType(value, value, 0, kind);  // in place
  EXPECT_EQ(value.vt, result == 0 ? kind : VARTYPE{VT_BSTR});
  EXPECT_EQ(OS::VariantChangeType(value, value, 0, VT_BSTR), 0);
  std::wstring back = value.bstrVal;
  OS::VariantClear(value);
  if (result == 0) return back;
  EXPECT_EQ(back, text) << "a failure leaves the value";
  return result == Code(_com_error::kTypeMismatch) ? L"mismatch"
         : result == Code(_com_error::kOverflow)   ? L"overflow"
                                                   : L"bad type";
}

TEST(VariantTest, NumbersReachFromTheLeastToTheGreatestOfTheirKind) {
  const struct {
    VARTYPE kind;
    const wchar_t *below, *least, *greatest, *above;
  } rows[] = {
      {VT_I1, L"-129", L"-128", L"127", L"128"},
      {VT_UI1, L"-1", L"0", L"255", L"256"},
      {VT_I2, L"-32769", L"-32768", L"32767", L"32768"},
      {VT_UI2, L"-1", L"0", L"65535", L"65536"},
      {VT_I4, L"-2147483649", L"-2147483648", L"2147483647", L"2147483648"},
      {VT_INT, L"-2147483649", L"-2147483648", L"2147483647", L"99999999999"},
      {VT_UI4, L"-1", L"0", L"4294967295", L"4294967296"},
      {VT_UINT, L"-1", L"0", L"4294967295", L"99999999999"},
      {VT_I8, L"-9223372036854775809", L"-9223372036854775808", L"9223372036854775807",
       L"9223372036854775808"},
      {VT_UI8, L"-1", L"0", L"18446744073709551615", L"99999999999999999999999999999"},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(Through(row.below, row.kind), L"overflow") << row.kind;
    EXPECT_EQ(Through(row.least, row.kind), row.least) << row.kind;
    EXPECT_EQ(Through(row.greatest, row.kind), row.greatest) << row.kind;
    EXPECT_EQ(Through(row.above, row.kind), L"overflow") << row.kind;
  }
}

TEST(VariantTest, TextsBecomeNumbersAndBooleansOrAreRefused) {
  const struct {
    const wchar_t* text;
    VARTYPE kind;
    const wchar_t* result;
  } rows[] = {
      {L" \t\r\n12 ", VT_I4, L"12"},  {L"+5", VT_UI4, L"5"},
      {L"-0", VT_UI4, L"0"},          {L"000000000000000000000000000007", VT_I4, L"7"},
      {L"true", VT_BOOL, L"True"},    {L" FALSE\n", VT_BOOL, L"False"},
      {L"1", VT_BOOL, L"True"},       {L"0", VT_BOOL, L"False"},
      {L"yes", VT_BOOL, L"mismatch"}, {L"", VT_BOOL, L"mismatch"},
      {L"1", VT_R8, L"bad type"},
  };
  for (const auto& row : rows)
    EXPECT_EQ(Through(row.text, row.kind), row.result) << test::Narrow(row.text);
  for (const wchar_t* text :
       {L"", L"-", L"+-1", L"1e3", L"0x10", L"1,000", L"1 2", L"1.0", L"\u0661", L"99999999999x"})
    EXPECT_EQ(Through(text, VT_I4), L"mismatch") << test::Narrow(text);
}

TEST(VariantTest, ValuesBecomeTexts) {
  const auto text = [](const CVar& value) {
    return std::wstring(static_cast<const wchar_t*>(value));
  };
  EXPECT_EQ(text(L""), L"");
  EXPECT_EQ(text(CVar::Shared("gr\xC3\xBC\xC3\x9F")), L"grüß");
  EXPECT_EQ(text(CVar::Shared(L"wide")), L"wide");
  const CVar refused[] = {CVar(),
                          CVar(1.5),
                          CVar(1.5f),
                          CVar::FromInt(1, VT_ERROR),
                          CVar(OS::CTime(2020, 1, 1, 0, 0, 0)),
                          CVar::Shared(static_cast<const char*>(nullptr)),
                          CVar::Shared("\xFF"),
                          CVar::Shared(static_cast<const wchar_t*>(nullptr))};
  for (const CVar& value : refused) EXPECT_THROW(text(value), _com_error) << value.GetKind();
  EXPECT_THROW((void)static_cast<int>(CVar::Shared("1")), _com_error);
}

TEST(CVarTest, KindFollowsTheTypeAndTheValueComesBack) {
  static_assert(!std::is_constructible_v<CVar, const char*> &&
                !std::is_constructible_v<CVar, int*>);
  EXPECT_EQ(CVar().GetKind(), VT_EMPTY);
  EXPECT_EQ(CVar(short{1}).GetKind(), VT_I2);
  EXPECT_EQ(CVar(1L).GetKind(), VT_I4);
  EXPECT_EQ(CVar(1UL << 31).GetKind(), VT_UI4);
  EXPECT_EQ(CVar(1L << 40).GetKind(), VT_I8);
  EXPECT_EQ(CVar(nullptr).GetKind(), VT_BSTR);
  EXPECT_EQ(static_cast<short>(CVar(short{-3})), -3);
  EXPECT_EQ(static_cast<unsigned short>(CVar(static_cast<unsigned short>(65535))), 65535);
  EXPECT_EQ(static_cast<int>(CVar(L" 17 ")), 17);
  EXPECT_EQ(static_cast<unsigned int>(CVar(true)), UINT_MAX);
  EXPECT_TRUE(static_cast<bool>(CVar(7)));
  EXPECT_THROW((void)static_cast<unsigned int>(CVar(-1)), _com_error);
  EXPECT_THROW((void)static_cast<tm>(CVar(1)), _com_error);
  EXPECT_EQ(static_cast<int>(CVar::FromInt(-4, VT_INT)), -4);
  EXPECT_EQ(CVar::FromInt(-4, VT_ERROR).GetVariant().scode, -4);
  EXPECT_THROW(CVar::FromInt(40000, VT_I2), _com_error);
  EXPECT_THROW(CVar::FromInt(-4, VT_UINT), _com_error);
  EXPECT_THROW(CVar::FromInt(1, VT_BSTR), _com_error);
  EXPECT_THROW(CVar::FromInt(1, VT_R8), _com_error);

  const OS::CTime time(2006, 1, 2, 3, 4, 5);
  const tm back = CVar(time);
  EXPECT_EQ(OS::CTime(back).Format(L"%Y%m%d%H%M%S").str(), L"20060102030405");
  EXPECT_EQ(back.tm_isdst, -1);
  const OS::CTime noDates[] = {
      {99, 1, 1, 0, 0, 0},           {2021, 2, 29, 0, 0, 0},  {2020, 1, 1, 24, 0, 0},
      {65536 + 2020, 1, 1, 0, 0, 0}, {2020, 257, 1, 0, 0, 0}, {2020, 0, 1, 0, 0, 0},
      {2020, 1, 1, 0, -1, 0},        {2020, 1, 1, 0, 0, 60},  {10000, 1, 1, 0, 0, 0}};
  for (const OS::CTime& bad : noDates) EXPECT_EQ(CVar(bad).GetVariant().date, 0.0);
}

TEST(CVarTest, CopiesAreIndependentAndAssignmentTakesItsOwnText) {
  CVar a(L"first");
  const CVar b(a);
  a = static_cast<const wchar_t*>(a) + 2;
  EXPECT_STREQ(a, L"rst");
  EXPECT_STREQ(b, L"first");
  a = 12;
  const wchar_t* cached = a;
  EXPECT_STREQ(cached, L"12");
  a = *&a;
  EXPECT_STREQ(a, L"12");
  CVar moved(std::move(a));
  EXPECT_EQ(static_cast<int>(moved), 12);
  moved.Clear();
  EXPECT_EQ(moved.GetKind(), VT_EMPTY);
  const test::FailCall fail(FaultPoint::kSysAllocString, 1);
  EXPECT_THROW(CVar{b}, std::bad_alloc);
}

TEST(DateTest, DaysCountFromTheEndOf1899BothWays) {
  const struct {
    SYSTEMTIME time;
    double date;
  } kCases[] = {
      {{1899, 12, 6, 30, 0, 0, 0, 0}, 0.0},
      {{1899, 12, 0, 31, 6, 0, 0, 0}, 1.25},
      {{1899, 12, 5, 29, 6, 0, 0, 0}, -1.25},
      {{1900, 2, 3, 28, 0, 0, 0, 0}, 60.0},
      {{1900, 3, 4, 1, 0, 0, 0, 0}, 61.0},
      {{2000, 2, 2, 29, 12, 0, 0, 0}, 36585.5},
      {{2024, 12, 2, 31, 23, 59, 59, 0}, 45657 + 86399.0 / 86400},
      {{100, 1, 5, 1, 0, 0, 0, 0}, -657434.0},
      {{9999, 12, 5, 31, 0, 0, 0, 0}, 2958465.0},
      {{100, 1, 5, 1, 18, 0, 0, 0}, -657434.75},
  };
  for (const auto& c : kCases) {
    SCOPED_TRACE(c.date);
    double date = 0;
    ASSERT_TRUE(OS::SystemTimeToVariantTime(c.time, date));
    EXPECT_DOUBLE_EQ(date, c.date);
    SYSTEMTIME time{};
    ASSERT_TRUE(OS::VariantTimeToSystemTime(c.date, time));
    EXPECT_EQ(std::memcmp(&time, &c.time, sizeof time), 0);
  }
}

TEST(DateTest, TimesRoundToTheSecondAndWhatIsOutOfRangeIsRefused) {
  SYSTEMTIME time{};
  ASSERT_TRUE(OS::VariantTimeToSystemTime(1 + 86399.9999 / 86400, time));
  EXPECT_EQ(time.wYear, 1900);
  EXPECT_EQ(time.wDay, 1);
  EXPECT_EQ(time.wHour, 0);
  ASSERT_TRUE(OS::VariantTimeToSystemTime(-2 - 86399.9999 / 86400, time));
  EXPECT_EQ(time.wDay, 29);  // of 1899-12-28, rounded up
  const SYSTEMTIME before = time;
  for (const double bad : {-657435.0, 2958466.0, 2958465 + 86399.9999 / 86400, 1e300,
                           static_cast<double>(NAN), static_cast<double>(-INFINITY)}) {
    EXPECT_FALSE(OS::VariantTimeToSystemTime(bad, time)) << bad;
  }
  EXPECT_EQ(std::memcmp(&time, &before, sizeof time), 0);
  double date = 7;
  EXPECT_FALSE(OS::SystemTimeToVariantTime({1900, 2, 0, 29, 0, 0, 0, 0}, date));
  EXPECT_FALSE(OS::SystemTimeToVariantTime({2020, 1, 0, 1, 0, 0, 0, 1000}, date));
  EXPECT_EQ(date, 7);
}

TEST(ExceptionTest, MessagesNameTheCodeAndThePlace) {
  const CCfgExException raised(CFGEX_ERROR_INDEX_OUT_OF_RANGE, L"cfg_StringArray", 17);
  try {
    throw CCfgExException(raised);
  } catch (const OS::CException& error) {
    EXPECT_EQ(error.GetErrorCode(), -92003);
    EXPECT_NE(error.GetErrorMsg().str().find(L"index"), std::wstring::npos);
    EXPECT_NE(error.GetErrorMsgEx().str().find(L"(error -92003, cfg_StringArray, line 17)"),
              std::wstring::npos);
  }
  const std::wstring longName = std::wstring(500, L'x') + L"/end";
  EXPECT_NE(OS::CException(1, longName.c_str(), 1).GetErrorMsgEx().str().find(L"/end,"),
            std::wstring::npos);
  EXPECT_FALSE(OS::CException(1, nullptr, 1).GetErrorMsg().empty());
}

TEST(LockTest, TheHolderTakesItAgainAndOthersWait) {
  CSLock lock;
  int count = 0;
  const auto work = [&] {
    for (int i = 0; i < 20000; ++i) {
      const Guard<CSLock> outer(lock);
      const Guard<CSLock> inner(lock);
      ++count;
    }
  };
  std::thread other(work);
  work();
  other.join();
  EXPECT_EQ(count, 40000);
}

TEST(SystemTest, GuidsAreRandomAndHaveTheirTextForm) {
  OS::GUID guid{}, second{};
  ASSERT_TRUE(OS::CoCreateGuid(guid) && OS::CoCreateGuid(second));
  EXPECT_NE(guid.bytes, second.bytes);
  EXPECT_EQ(guid.bytes[6] >> 4, 4);
  EXPECT_EQ(guid.bytes[8] >> 6, 2);
  for (std::size_t i = 0; i < 16; ++i) guid.bytes[i] = static_cast<std::uint8_t>(i * 0x11);
  wchar_t text[40];
  EXPECT_EQ(OS::StringFromGUID2(guid, text, 38), 0);
  EXPECT_EQ(OS::StringFromGUID2(guid, text, 39), 39);
  EXPECT_STREQ(text, L"{00112233-4455-6677-8899-AABBCCDDEEFF}");
  const test::FailCall fail(FaultPoint::kGetrandom, 1);
  EXPECT_FALSE(OS::CoCreateGuid(guid));
  EXPECT_EQ(guid.bytes[1], 0x11);
}

TEST(SystemTest, LeadingNumberOfATextIsTakenModulo32Bits) {
  EXPECT_EQ(OS::_wtoi(L" \t12abc"), 12u);
  EXPECT_EQ(OS::_wtoi(L"+3"), 3u);
  EXPECT_EQ(OS::_wtoi(L"-1"), 4294967295u);
  EXPECT_EQ(OS::_wtoi(L"4294967297"), 1u);
  for (const wchar_t* none : {L"", L"x1", L"- 1", L"--1", L"."}) EXPECT_EQ(OS::_wtoi(none), 0u);
  EXPECT_EQ(OS::_wtoi(nullptr), 0u);
}

}  // namespace
