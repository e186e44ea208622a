// Types and attributes.
#include "platform/os/encoding.h"
#include "platform/schema/schema_reader_parts.h"
#include "platform/tree/namespaces.h"

namespace cfgex::internal {
namespace {

// How many parts of a pattern may be left out; characters that only look like it are counted too.
double OptionalParts(std::string_view pattern) {
  double count = 0;
  char before = '(';
  for (const char c : pattern) {
    const bool isEmpty = (before == '(' || before == '|') && (c == '|' || c == ')');
    if (c == '?' || c == '*' || c == '{' || isEmpty) ++count;
    before = c;
  }
  return before == '|' ? count + 1 : count;
}

}  // namespace

void SchemaReader::ReadFacets(SimpleType& type, const xmlNode* c_restriction) {
  for (const xmlNode* c_facet = c_restriction->children; c_facet; c_facet = c_facet->next) {
    if (IsXsdElement(c_facet, "enumeration")) ++type.enumeration;
    if (IsXsdElement(c_facet, "pattern"))
      m_Budget.SpendOnContent(0, OptionalParts(RawAttribute(c_facet, "value")));
    if (IsXsdElement(c_facet, "whiteSpace")) {
      const std::string value = TokenAttribute(c_facet, "value");
      type.blanks = value == "preserve"  ? Blanks::kPreserve
                    : value == "replace" ? Blanks::kReplace
                                         : Blanks::kCollapse;
    }
  }
}

ISchemaType* SchemaReader::TypeByName(const ReadingScope& scope, const xmlNode* c_node,
                                      const std::string& name) {
  ISchemaType* found = Find(scope, m_Model.global_types, c_node, name);
  return found == nullptr ? m_Model.any_type : found;
}

SimpleType* SchemaReader::SimpleTypeByName(const ReadingScope& scope, const xmlNode* c_node,
                                           const std::string& name) {
  SimpleType* found = TypeByName(scope, c_node, name)->simple;
  return found == nullptr ? m_Model.any_simple_type : found;
}

SimpleType& SchemaReader::NewSimpleType(const ReadingScope& scope, const xmlNode* c_node) {
  SimpleType& type = m_Model.simple_types.emplace_back(m_Model);
  type.schema = scope.context->target;
  FillSimpleType(type, c_node, scope);
  return type;
}

SimpleType* SchemaReader::InlineSimpleType(const ReadingScope& scope, const xmlNode* c_parent) {
  const xmlNode* c_type = XsdChild(c_parent, "simpleType");
  return c_type == nullptr ? nullptr : &NewSimpleType(scope, c_type);
}

void SchemaReader::FillSimpleType(SimpleType& type, const xmlNode* c_node,
                                  const ReadingScope& definition) {
  const ReadingScope scope{definition.context};
  type.base = m_Model.any_simple_type;
  if (const xmlNode* c_restriction = XsdChild(c_node, "restriction")) {
    SimpleType* base = InlineSimpleType(scope, c_restriction);
    type.base = base != nullptr ? base
                                : SimpleTypeByName(definition, c_restriction,
                                                   TokenAttribute(c_restriction, "base"));
    ReadFacets(type, c_restriction);
  } else if (const xmlNode* c_list = XsdChild(c_node, "list")) {
    type.variety = Variety::kList;
    type.item_type = InlineSimpleType(scope, c_list);
    if (type.item_type == nullptr)
      type.item_type = SimpleTypeByName(scope, c_list, TokenAttribute(c_list, "itemType"));
  } else if (const xmlNode* c_union = XsdChild(c_node, "union")) {
    type.variety = Variety::kUnion;
    const std::string names = RawAttribute(c_union, "memberTypes");
    for (const std::string_view name : Words(names))
      type.members.push_back(SimpleTypeByName(scope, c_union, std::string(name)));
    for (const xmlNode* c_member = c_union->children; c_member; c_member = c_member->next)
      if (IsXsdElement(c_member, "simpleType"))
        type.members.push_back(&NewSimpleType(scope, c_member));
    for (SimpleType* member : type.members) type.base_types.Add(*member);
    return;
  }
  type.base_types.Add(*type.base);
}

void SchemaReader::FillComplexType(ISchemaComplexType& type, const xmlNode* c_node,
                                   const ReadingScope& definition) {
  const ReadingScope scope{definition.context};
  type.base = m_Model.any_type;
  type.is_abstract = BooleanAttribute(c_node, "abstract");
  type.is_mixed = BooleanAttribute(c_node, "mixed");

  const xmlNode* c_body = c_node;  // what holds the content model and the attributes
  const xmlNode* c_simple = XsdChild(c_node, "simpleContent");
  const xmlNode* c_complex = XsdChild(c_node, "complexContent");
  if (const xmlNode* c_content = c_simple != nullptr ? c_simple : c_complex) {
    if (xmlHasProp(c_content, XmlChars("mixed")))
      type.is_mixed = BooleanAttribute(c_content, "mixed");
    c_body = XsdChild(c_content, "restriction");
    if (const xmlNode* c_extension = XsdChild(c_content, "extension")) {
      c_body = c_extension;
      type.derivation = Derivation::kExtension;
    }
    if (c_body == nullptr) c_body = c_content;
    type.base = TypeByName(definition, c_body, TokenAttribute(c_body, "base"));
  }
  type.base_types.Add(*type.base);

  if (c_simple != nullptr)
    FillSimpleContent(type, c_body, scope);
  else
    type.particle = ReadContent(c_body, scope);
  ReadAttributes(type.attributes, c_body, scope);
}

void SchemaReader::FillSimpleContent(ISchemaComplexType& type, const xmlNode* c_body,
                                     const ReadingScope& scope) {
  type.has_simple_content = true;
  if (type.derivation == Derivation::kExtension) {
    type.simple_content = type.base->simple;  // none yet where the base is complex
    return;
  }
  // What the text is narrowed to is a type of its own. Its base is that of the base's text, unless
  // it is written here.
  SimpleType& text = m_Model.simple_types.emplace_back(m_Model);
  text.schema = scope.context->target;
  text.base = InlineSimpleType(scope, c_body);
  ReadFacets(text, c_body);
  type.simple_content = &text;
}

void SchemaReader::ReadAttributes(AttributeGroup& group, const xmlNode* c_parent,
                                  const ReadingScope& scope) {
  for (const xmlNode* c_child = c_parent->children; c_child; c_child = c_child->next) {
    if (IsXsdElement(c_child, "attribute")) {
      ReadAttribute(group, c_child, scope);
    } else if (IsXsdElement(c_child, "attributeGroup")) {
      const std::string ref = TokenAttribute(c_child, "ref");
      AttributeGroup* found = Find(scope, m_AttributeGroups, c_child, ref);
      if (found != nullptr) group.groups.push_back(found);
    }
  }
}

void SchemaReader::FillAttribute(AttributeUse& use, const xmlNode* c_node,
                                 const ReadingScope& scope) {
  use.default_value = FromUtf8(RawAttribute(c_node, "default"));
  use.fixed_value = FromUtf8(RawAttribute(c_node, "fixed"));
  const std::string type = TokenAttribute(c_node, "type");
  use.type = type.empty() ? InlineSimpleType(scope, c_node) : SimpleTypeByName(scope, c_node, type);
  if (use.type == nullptr) use.type = m_Model.any_simple_type;
}

void SchemaReader::ReadAttribute(AttributeGroup& group, const xmlNode* c_node,
                                 const ReadingScope& scope) {
  AttributeUse use;
  const std::string ref = TokenAttribute(c_node, "ref");
  if (!ref.empty()) {
    const AttributeUse* global = Find(scope, m_Attributes, c_node, ref);
    if (global == nullptr) return;
    use = *global;
    const std::wstring default_value = FromUtf8(RawAttribute(c_node, "default"));
    const std::wstring fixed_value = FromUtf8(RawAttribute(c_node, "fixed"));
    if (!default_value.empty()) use.default_value = default_value;
    if (!fixed_value.empty()) use.fixed_value = fixed_value;
  } else {
    const std::string form = TokenAttribute(c_node, "form");
    if (form.empty() ? scope.context->qualified_attributes : form == "qualified")
      use.ns = scope.context->target->uri;
    use.local_name = TokenAttribute(c_node, "name");
    use.name = FromUtf8(use.local_name);
    FillAttribute(use, c_node, scope);
  }
  const std::string kind = TokenAttribute(c_node, "use");
  if (kind == "required") use.use = AttributeUseKind::kRequired;
  if (kind == "prohibited") use.use = AttributeUseKind::kProhibited;
  group.attributes.push_back(std::move(use));
}

}  // namespace cfgex::internal
