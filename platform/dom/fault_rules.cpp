#include "platform/dom/fault_rules.h"

#include <algorithm>
#include <string_view>

#include "cfgex/com_error.h"
#include "platform/os/encoding.h"

namespace cfgex::internal {
namespace {

struct NamedRule {
  int code;
  const char* name;
};

// What a text must be before a schema is asked.
constexpr NamedRule kTextRules[] = {
    {XML_ERR_DOCUMENT_EMPTY, "no XML"},
    {XML_ERR_INVALID_CHARREF, "character"},
    {XML_ERR_INVALID_CHAR, "character"},
    {XML_ERR_UNDECLARED_ENTITY, "entity"},
    {XML_ERR_UNKNOWN_ENCODING, "encoding"},
    {XML_ERR_UNSUPPORTED_ENCODING, "encoding"},
    {XML_ERR_ATTRIBUTE_REDEFINED, "attribute twice"},
    {XML_ERR_TAG_NAME_MISMATCH, "end tag"},
    {XML_ERR_TAG_NOT_FINISHED, "end tag"},
    {XML_ERR_INVALID_ENCODING, "encoding"},
};

constexpr NamedRule kSchemaRules[] = {
    {XML_SCHEMAV_CVC_DATATYPE_VALID_1_2_1, "type"},
    {XML_SCHEMAV_CVC_DATATYPE_VALID_1_2_2, "type"},
    {XML_SCHEMAV_CVC_DATATYPE_VALID_1_2_3, "type"},
    {XML_SCHEMAV_CVC_TYPE_3_1_1, "attribute not allowed"},
    {XML_SCHEMAV_CVC_TYPE_3_1_2, "child not allowed"},
    {XML_SCHEMAV_CVC_LENGTH_VALID, "length"},
    {XML_SCHEMAV_CVC_MINLENGTH_VALID, "minLength"},
    {XML_SCHEMAV_CVC_MAXLENGTH_VALID, "maxLength"},
    {XML_SCHEMAV_CVC_MININCLUSIVE_VALID, "minInclusive"},
    {XML_SCHEMAV_CVC_MAXINCLUSIVE_VALID, "maxInclusive"},
    {XML_SCHEMAV_CVC_MINEXCLUSIVE_VALID, "minExclusive"},
    {XML_SCHEMAV_CVC_MAXEXCLUSIVE_VALID, "maxExclusive"},
    {XML_SCHEMAV_CVC_TOTALDIGITS_VALID, "totalDigits"},
    {XML_SCHEMAV_CVC_FRACTIONDIGITS_VALID, "fractionDigits"},
    {XML_SCHEMAV_CVC_PATTERN_VALID, "pattern"},
    {XML_SCHEMAV_CVC_ENUMERATION_VALID, "enumeration"},
    {XML_SCHEMAV_CVC_COMPLEX_TYPE_2_1, "content not allowed"},
    {XML_SCHEMAV_CVC_COMPLEX_TYPE_2_2, "child not allowed"},
    {XML_SCHEMAV_CVC_COMPLEX_TYPE_2_3, "text not allowed"},
    {XML_SCHEMAV_CVC_ELT_1, "unknown element"},
    {XML_SCHEMAV_CVC_ELT_2, "abstract"},
    {XML_SCHEMAV_CVC_ELT_3_1, "nil"},
    {XML_SCHEMAV_CVC_ELT_3_2_1, "nil"},
    {XML_SCHEMAV_CVC_ELT_3_2_2, "nil"},
    {XML_SCHEMAV_CVC_ELT_4_1, "xsi:type"},
    {XML_SCHEMAV_CVC_ELT_4_2, "xsi:type"},
    {XML_SCHEMAV_CVC_ELT_4_3, "xsi:type"},
    {XML_SCHEMAV_CVC_ELT_5_1_1, "default"},
    {XML_SCHEMAV_CVC_ELT_5_1_2, "default"},
    {XML_SCHEMAV_CVC_ELT_5_2_2_1, "fixed"},
    {XML_SCHEMAV_CVC_ELT_5_2_2_2_1, "fixed"},
    {XML_SCHEMAV_CVC_ELT_5_2_2_2_2, "fixed"},
    {XML_SCHEMAV_CVC_COMPLEX_TYPE_3_1, "fixed"},
    {XML_SCHEMAV_CVC_COMPLEX_TYPE_3_2_1, "attribute not allowed"},
    {XML_SCHEMAV_CVC_COMPLEX_TYPE_3_2_2, "attribute not allowed"},
    {XML_SCHEMAV_CVC_COMPLEX_TYPE_4, "missing attribute"},
    {XML_SCHEMAV_CVC_AU, "fixed"},
    {XML_SCHEMAV_CVC_TYPE_1, "type"},
    {XML_SCHEMAV_CVC_TYPE_2, "abstract"},
    {XML_SCHEMAV_CVC_IDC, "uniqueness"},
    {XML_SCHEMAV_CVC_WILDCARD, "unknown element"},
};

template <std::size_t N>
const char* Find(const NamedRule (&rules)[N], int code) {
  const auto* found =
      std::find_if(rules, rules + N, [code](const NamedRule& rule) { return rule.code == code; });
  return found != rules + N ? found->name : nullptr;
}

bool Says(const xmlError& error, std::string_view part) {
  return error.message != nullptr && std::string_view(error.message).find(part) != part.npos;
}

void ReplaceAll(std::string& text, std::string_view from, std::string_view to) {
  for (std::size_t at = 0; (at = text.find(from, at)) != std::string::npos; at += to.size())
    text.replace(at, from.size(), to);
}

// The longest message that is shown: values and lists of what was expected come in whole.
constexpr std::size_t kLongestMessage = 600;

}  // namespace

std::string RuleOf(const xmlError& error) {
  if (error.code == XML_SCHEMAV_ELEMENT_CONTENT)
    return Says(error, "Missing child") ? "missing element" : "element not expected";
  if (error.domain == XML_FROM_SCHEMASV) {
    const char* name = Find(kSchemaRules, error.code);
    return name != nullptr ? name : "schema";
  }
  if (error.domain == XML_FROM_SCHEMASP) return "schema";
  if (error.domain == XML_FROM_NAMESPACE) return "namespace";
  if (error.domain == XML_FROM_I18N || Says(error, "not proper UTF-8")) return "encoding";
  const char* name = Find(kTextRules, error.code);
  return name != nullptr ? name : "well-formed";
}

std::wstring LenientText(const char* text) {
  if (text == nullptr) return {};
  try {
    return FromUtf8(text);
  } catch (const _com_error&) {
    std::wstring result;
    for (const char* byte = text; *byte != '\0'; ++byte)
      result += static_cast<unsigned char>(*byte) < 0x80 ? static_cast<wchar_t>(*byte) : L'?';
    return result;
  }
}

std::wstring MessageOf(const xmlError& error) {
  std::string text = error.message != nullptr ? error.message : "";
  if (error.domain == XML_FROM_SCHEMASV && text.starts_with("Element '")) {
    const std::size_t end = text.find("': ");
    if (end != std::string::npos) text.erase(0, end + 3);
    if (text.starts_with("[facet '")) text.erase(0, text.find("] ") + 2);
  }
  ReplaceAll(text, "{http://www.w3.org/2001/XMLSchema}", "xs:");
  while (!text.empty() && (text.back() == '\n' || text.back() == ' ')) text.pop_back();
  std::replace(text.begin(), text.end(), '\n', ' ');
  std::wstring message = LenientText(text.c_str());
  if (message.size() > kLongestMessage) {
    message.resize(kLongestMessage);
    message += L"...";
  }
  return message;
}

Fault FaultOf(ParseRefusal refusal) {
  switch (refusal) {
    case ParseRefusal::kEmpty:
      return {.rule = "empty", .message = L"The file is empty."};
    case ParseRefusal::kTooLong:
      return {.rule = "size", .message = L"The file has 2 GiB or more."};
    case ParseRefusal::kNullCharacter:
      return {.rule = "character", .message = L"A null character is no character of XML."};
    case ParseRefusal::kPartOfCharacter:
      return {.rule = "character", .message = L"The file ends in the midst of a character."};
    case ParseRefusal::kDocumentType:
      return {.rule = "document type",
              .message = L"A document type declaration (<!DOCTYPE) is refused."};
    case ParseRefusal::kTooDeep:
      return {.rule = "nesting", .message = L"Elements nest deeper than 1000."};
    case ParseRefusal::kTooManyAttributes:
      return {.rule = "attributes",
              .message = L"An element has more than 1000 attributes or namespaces."};
  }
  return {};
}

bool RepeatsFacet(int code, int previousCode) noexcept {
  return code >= XML_SCHEMAV_CVC_DATATYPE_VALID_1_2_1 &&
         code <= XML_SCHEMAV_CVC_DATATYPE_VALID_1_2_3 &&
         previousCode >= XML_SCHEMAV_CVC_FACET_VALID &&
         previousCode <= XML_SCHEMAV_CVC_ENUMERATION_VALID;
}

}  // namespace cfgex::internal
