#include "platform/os/encoding.h"

#include <gtest/gtest.h>

#include "cfgex/com_error.h"
#include "tests/support/support.h"

namespace {

using namespace std::string_literals;

std::wstring One(unsigned code) { return std::wstring(1, static_cast<wchar_t>(code)); }

TEST(EncodingTest, CharactersSurviveBothWaysAtEveryLength) {
  const struct {
    unsigned code;
    std::string utf8, utf16;
  } kCases[] = {
      {0x00, "\0"s, "\0\0"s},
      {0x7F, "\x7F", "\x7F\0"s},
      {0x80, "\xC2\x80", "\x80\0"s},
      {0x7FF, "\xDF\xBF", "\xFF\x07"},
      {0x800, "\xE0\xA0\x80", "\0\x08"s},
      {0xD7FF, "\xED\x9F\xBF", "\xFF\xD7"},
      {0xE000, "\xEE\x80\x80", "\0\xE0"s},
      {0xFFFF, "\xEF\xBF\xBF", "\xFF\xFF"},
      {0x10000, "\xF0\x90\x80\x80", "\0\xD8\0\xDC"s},
      {0x10FFFF, "\xF4\x8F\xBF\xBF", "\xFF\xDB\xFF\xDF"},
  };
  for (const auto& c : kCases) {
    SCOPED_TRACE(c.code);
    const std::wstring wide = L"<" + One(c.code) + L">";
    EXPECT_EQ(ToUtf8(wide), "<" + c.utf8 + ">");
    EXPECT_EQ(FromUtf8("<" + c.utf8 + ">"), wide);
    EXPECT_EQ(ToUtf16Le(One(c.code)), c.utf16);
  }
  EXPECT_EQ(ToUtf8(L""), "");
  EXPECT_EQ(FromUtf8(""), L"");
}

TEST(EncodingTest, MalformedInputIsRefusedWhereverItStands) {
  for (const unsigned code : {0xD800u, 0xDBFFu, 0xDC00u, 0xDFFFu, 0x110000u, 0xFFFFFFFFu}) {
    SCOPED_TRACE(code);
    EXPECT_THROW(ToUtf8(L"abc" + One(code)), _com_error);
    EXPECT_THROW(ToUtf16Le(One(code) + L"abc"), _com_error);
  }
  for (const char* bytes :
       {"\x80", "\xBF", "\xC0\x80", "\xC1\xBF", "\xC2", "\xC2\x41", "\xE0\x9F\xBF", "\xE0\xA0",
        "\xED\xA0\x80", "\xED\xBF\xBF", "\xF0\x8F\xBF\xBF", "\xF0\x90\x80", "\xF4\x90\x80\x80",
        "\xF5\x80\x80\x80", "\xF8\x88\x80\x80\x80", "\xFE", "\xFF"}) {
    SCOPED_TRACE(testing::PrintToString(bytes));
    EXPECT_THROW(FromUtf8(bytes), _com_error);
    EXPECT_THROW(FromUtf8("ok" + std::string(bytes)), _com_error);
    EXPECT_THROW(FromUtf8(std::string(bytes) + "ok"), _com_error);
  }
}

TEST(EncodingTest, XmlTextIsWhatXmlCanCarry) {
  for (const unsigned good : {0x09u, 0x0Au, 0x0Du, 0x20u, 0x7Fu, 0x85u, 0xD7FFu, 0xE000u, 0xFFFDu,
                              0x10000u, 0x1FFFEu, 0x10FFFFu}) {
    EXPECT_TRUE(IsXmlText(L"a" + One(good))) << good;
  }
  for (const unsigned bad : {0x00u, 0x01u, 0x08u, 0x0Bu, 0x0Cu, 0x0Eu, 0x1Fu, 0xD800u, 0xDFFFu,
                             0xFFFEu, 0xFFFFu, 0x110000u, 0x80000000u}) {
    EXPECT_FALSE(IsXmlText(L"a" + One(bad))) << bad;
  }
  EXPECT_TRUE(IsXmlText(L""));
}

TEST(EncodingTest, NamesHaveNoColonAndStartWithNoDigit) {
  for (const wchar_t* good :
       {L"a", L"Z", L"_", L"a-b.c_9", L"Größe", L"名前", L"a\u00B7", L"\U00010000"}) {
    EXPECT_TRUE(IsNCName(good)) << test::Narrow(good);
  }
  for (const wchar_t* bad :
       {L"", L"9a", L"-a", L".a", L"a:b", L":a", L"a b", L"a<", L"[a", L"`a", L"{a", L"@a", L"a/",
        L"\u00B7", L"a\u00D7", L"a\u037E", L"\U000F0000"}) {
    EXPECT_FALSE(IsNCName(bad)) << test::Narrow(bad);
  }
}

}  // namespace
