#include "tests/store_model.h"

#include <libxml/parser.h>

#include <algorithm>
#include <cctype>
#include <utility>

#include "platform/tree/namespaces.h"
#include "platform/tree/parser.h"
#include "tests/support/sample.h"

namespace test::model {

const wchar_t* const kNoCategory = L"(none)";

namespace {

using Closure = std::map<std::wstring, IdList>;

bool IsName(const std::wstring& category) {
  const auto isLetter = [](wchar_t c) { return (c >= L'A' && c <= L'Z') || c == L'_'; };
  return !category.empty() && std::all_of(category.begin(), category.end(), isLetter);
}

bool Matches(const Instance& instance, const std::wstring& id, const std::wstring& category) {
  return (category == L"*" || instance.category == category) && instance.id == id &&
         id.find(L'\'') == id.npos;
}

bool Holds(const IdList& ids, const std::wstring& id) {
  return std::find(ids.begin(), ids.end(), id) != ids.end();
}

void Walk(const Picture& picture, const std::wstring& id, const std::wstring& category,
          Closure& closure) {
  for (const Group& group : picture)
    for (const Instance& instance : group) {
      if (!Matches(instance, id, category)) continue;
      for (const Reference& reference : instance.references) {
        if (reference.category == kNoCategory || reference.id.empty()) continue;
        IdList& ids = closure[reference.category];
        if (Holds(ids, reference.id)) continue;
        ids.push_back(reference.id);
        if (IsName(reference.category)) Walk(picture, reference.id, reference.category, closure);
      }
    }
}

Closure Reached(const Picture& picture, const std::wstring& id, const std::wstring& category) {
  Closure closure;
  Walk(picture, id, category, closure);
  return closure;
}

bool Holds(const Closure& closure, const Pair& pair) {
  const auto found = closure.find(pair.first);
  return found != closure.end() && Holds(found->second, pair.second);
}

void Erase(Closure& closure, const Pair& pair) {
  const auto found = closure.find(pair.first);
  if (found == closure.end()) return;
  std::erase(found->second, pair.second);
  if (found->second.empty()) closure.erase(found);
}

void Merge(const Closure& closure, IdList& changed) {
  for (const auto& [category, ids] : closure)
    for (const std::wstring& id : ids)
      if (!Holds(changed, id)) changed.push_back(id);
}

Instance* Find(Picture& picture, const std::wstring& id, const std::wstring& category) {
  return const_cast<Instance*>(Find(std::as_const(picture), id, category));
}

void RemoveFirst(Picture& picture, const std::wstring& id, const std::wstring& category) {
  const Instance* found = Find(picture, id, category);
  for (Group& group : picture)
    for (size_t i = 0; i < group.size(); ++i)
      if (&group[i] == found) {
        group.erase(group.begin() + static_cast<ptrdiff_t>(i));
        return;
      }
}

void RemoveAll(Picture& picture, const Closure& closure) {
  for (const auto& [category, ids] : closure)
    for (const std::wstring& id : ids)
      if (IsName(category)) RemoveFirst(picture, id, category);
}

// The group with the first instance of the category, or a new one at the end.
Group& GroupFor(Picture& picture, const std::wstring& category) {
  for (Group& group : picture)
    for (const Instance& instance : group)
      if (instance.category == category) return group;
  return picture.emplace_back();
}

// All but `spared`; a category has a group to go into also if nothing of it can be copied.
void CopyAll(Picture& target, const Picture& source, const Closure& closure,
             const std::vector<Pair>& spared) {
  for (const auto& [category, ids] : closure) {
    if (!IsName(category)) continue;
    Group& group = GroupFor(target, category);
    for (const std::wstring& id : ids) {
      const Instance* from = Find(source, id, category);
      const bool isSpared =
          std::find(spared.begin(), spared.end(), Pair(category, id)) != spared.end();
      if (from == nullptr || isSpared) continue;
      if (Instance* to = Find(target, id, category))
        *to = *from;
      else
        group.push_back(*from);
    }
  }
}

// Gives all that the first instance of `document` reaches new ids, and that instance `target`.
void Deepen(Picture& document, const std::wstring& target) {
  const Instance source = document[0][0];
  std::map<Pair, std::wstring> names = {{{source.category, source.id}, target}};
  for (const auto& [category, ids] : Reached(document, source.id, source.category))
    for (const std::wstring& id : ids) {
      if (category != L"P" && category != L"Q" && category != L"R") continue;  // none can be made
      if (!names.emplace(Pair(category, id), L"?" + std::to_wstring(names.size())).second) continue;
      if (Find(document, id, category) == nullptr) document.push_back({{category, id, L"", {}}});
    }
  const auto rename = [&names](const std::wstring& category, std::wstring& id) {
    if (const auto found = names.find({category, id}); found != names.end()) id = found->second;
  };
  for (Group& group : document)
    for (Instance& instance : group) {
      rename(instance.category, instance.id);
      for (Reference& reference : instance.references) rename(reference.category, reference.id);
    }
}

}  // namespace

const Instance* Find(const Picture& picture, const std::wstring& id, const std::wstring& category) {
  for (const Group& group : picture)
    for (const Instance& instance : group)
      if (Matches(instance, id, category)) return &instance;
  return nullptr;
}

std::optional<Picture> Read(const Picture& store, const std::wstring& id,
                            const std::wstring& category) {
  const Instance* source = Find(store, id, category);
  if (source == nullptr || id.find_first_of(L"\"&<") != id.npos) return std::nullopt;
  Picture document = {{*source}};
  for (const auto& [key, ids] : Reached(store, id, source->category)) {
    Group group;
    for (const std::wstring& each : ids) {
      const Instance* found = IsName(key) ? Find(store, each, key) : nullptr;
      if (found != nullptr && found != source) group.push_back(*found);
    }
    if (!group.empty()) document.push_back(group);
  }
  return document;
}

bool Write(Picture& store, const Picture& document, const std::wstring& id, IdList& changed) {
  const Instance* primary = Find(document, id, L"*");
  if (primary == nullptr) return false;
  changed.push_back(id);
  const Instance* stored = Find(store, id, L"*");
  const std::wstring category = stored != nullptr ? stored->category : L"*";
  if (stored != nullptr) {
    Closure gone = Reached(store, id, category);
    Merge(gone, changed);
    Erase(gone, {category, id});
    RemoveAll(store, gone);
  }
  const Closure come = Reached(document, id, category);
  Merge(come, changed);
  const std::vector<Pair> spared = {{category, id}, {primary->category, id}};
  if (stored != nullptr) {
    // Marked, since what comes in may bear the same id under another category, and stand before it.
    Find(store, id, category)->name = L"?primary";
    CopyAll(store, document, come, spared);
    for (Group& group : store)
      for (Instance& instance : group)
        if (instance.name == L"?primary") instance = *primary;
  } else {
    CopyAll(store, document, come, spared);
    GroupFor(store, primary->category).push_back(*primary);
  }
  return true;
}

bool Remove(Picture& store, const Picture& document, const std::wstring& id, IdList& changed) {
  const Instance* stored = Find(store, id, L"*");
  if (Find(document, id, L"*") == nullptr || stored == nullptr) return false;
  const std::wstring category = stored->category;
  Closure gone = Reached(store, id, category);
  changed.push_back(id);
  Merge(gone, changed);
  Erase(gone, {category, id});
  RemoveAll(store, gone);
  RemoveFirst(store, id, category);
  return true;
}

bool Copy(Picture& store, const std::wstring& source, const std::wstring& target, bool deep,
          IdList& changed) {
  std::optional<Picture> document = Read(store, source);
  const std::optional<Picture> old = Read(store, target);
  if (!document || !old) return false;
  const std::wstring category = (*document)[0][0].category;
  if (category != (*old)[0][0].category) return false;

  Closure gone = Reached(store, target, category);
  if (source != target && (deep || Holds(gone, {category, source}))) {
    Erase(gone, {category, source});
    for (const auto& [key, ids] : Reached(store, source, category))
      for (const std::wstring& id : ids) Erase(gone, {key, id});
  }
  Erase(gone, {category, target});
  RemoveAll(store, gone);
  RemoveFirst(store, target, category);

  if (deep) {
    Deepen(*document, target);
  } else {
    Instance copy = (*document)[0][0];
    document->erase(document->begin());
    RemoveFirst(*document, target, category);  // the old form is not kept
    copy.id = target;
    document->insert(document->begin(), {copy});
  }
  return Write(store, *document, target, changed);
}

void Rename(Picture& store, IdList& changed, const std::map<std::wstring, std::wstring>& names) {
  const auto rename = [&names](std::wstring& id) {
    if (const auto found = names.find(id); found != names.end()) id = found->second;
  };
  std::for_each(changed.begin(), changed.end(), rename);
  for (Group& group : store)
    for (Instance& instance : group) {
      rename(instance.id);
      for (Reference& reference : instance.references) rename(reference.id);
    }
}

void Arrange(Instance& instance) {
  std::vector<Reference>& all = instance.references;
  std::stable_sort(all.begin(), all.end(),
                   [](const Reference& a, const Reference& b) { return a.where < b.where; });
  for (const Where once : {Where::kRef, Where::kLink}) {
    bool seen = false;
    std::erase_if(all,
                  [&](const Reference& r) { return r.where == once && std::exchange(seen, true); });
  }
}

namespace {

std::wstring Escaped(const std::wstring& text) {
  std::wstring escaped;
  for (const wchar_t c : text)
    escaped += c == L'&' ? L"&amp;" : c == L'<' ? L"&lt;" : std::wstring(1, c);
  return escaped;
}

std::wstring Tagged(const std::wstring& tag, const std::wstring& content) {
  return content.empty() ? L"<" + tag + L"/>" : L"<" + tag + L">" + content + L"</" + tag + L">";
}

// The id of an embedded object is no reference, whatever stands in it.
std::wstring EmbeddedObject(const std::wstring& content) {
  return L"<Label>l</Label><InstanceId>a</InstanceId>" + content;
}

// "p" stands for a prefix that is declared further up, "U" for its namespace.
const wchar_t* const kTable[] = {
    L"",
    L"<Names of='p:a'>p:a  p:b c</Names>",
    L"<Names><![CDATA[p]]>:a<!--x--> p:b</Names>",
    L"<Nil xsi:nil='true'/>",
    L"<Plain xsi:type='PartType'><!--in it--><Label><![CDATA[l]]></Label></Plain>",
    (L"<Any>text <p:b p:c='p:d'> <q:e xmlns:q='U'>q:a</q:e></p:b> &#13;&#9;"
     L"<![CDATA[a]]]]><![CDATA[>&<]]>!<!-- c --><?pi x?></Any>"),
    (L"<Any><island xmlns='urn:island' xmlns:p='urn:inner'>p:x <Name p:y='&#10;'/> "
     L"</island>p:x</Any>"),
    L"<Any xml:space='preserve'> <b xml:lang='de'/> <![CDATA[]]></Any>",
    L"<?pi?><!----><Nil>&#13;&#10; </Nil><Any> </Any>",
    L"<Any>(p:a/q:b) 12:30 http://p:80<c xmlns:p='urn:other' a='p:a'/></Any>",
};

std::wstring Dressed(const Dress& dress) {
  std::wstring text = kTable[dress.kind];
  for (size_t at = 0; (at = text.find(L"'U'", at)) != text.npos;)
    text.replace(at + 1, 1, dress.uri);
  return text;
}

std::wstring Render(const Instance& instance, const std::wstring& uri) {
  static const wchar_t* const kTags[] = {L"Ref", L"Link", L"Item", L"Part", L"Item"};
  std::map<Where, std::wstring> content;
  for (auto reference = instance.references.rbegin(); reference != instance.references.rend();
       ++reference) {
    const Where where = reference->where;
    std::wstring& all = content[where];
    std::wstring target = Tagged(L"InstanceId", Escaped(reference->id));
    if (reference->category != kNoCategory)
      target.insert(0, Tagged(L"Category", reference->category));
    if (where == Where::kPart || where == Where::kParts)
      target = EmbeddedObject(Tagged(L"Ref", target));
    // Each Part holds those after it.
    if (where == Where::kPart) target += std::exchange(all, L"");
    all.insert(0, Tagged(kTags[static_cast<int>(where)], target));
  }
  const Dress& dress = instance.dress;
  std::wstring text =
      Tagged(L"InstanceId",
             dress.kind % 2 == 0 ? Escaped(instance.id) : L"<![CDATA[" + instance.id + L"]]>");
  if (!instance.name.empty()) text += Tagged(L"Name", Escaped(instance.name));
  text += content[Where::kRef] + content[Where::kLink];
  if (content.contains(Where::kRefs)) text += Tagged(L"Refs", content[Where::kRefs]);
  text += content[Where::kPart];
  if (content.contains(Where::kParts)) text += Tagged(L"Parts", content[Where::kParts]);
  text = Tagged(instance.category, text + Dressed(dress));
  if (dress.kind != 0 && dress.uri != uri)
    text.insert(1 + instance.category.size(), L" xmlns:p='" + dress.uri + L"'");
  return text;
}

std::string NameOf(const xmlNode* node) {
  return (node->ns != nullptr ? "{" + std::string(Chars(node->ns->href)) + "}" : "") +
         Chars(node->name);
}

std::string Content(const xmlNode* node) {
  return node->content != nullptr ? Chars(node->content) : "";
}

// The text with the namespace for each prefix that is declared.
std::string Resolved(const std::string& text, const xmlNode* element) {
  std::string resolved;
  for (const char c : text) {
    if (c == ':') {
      size_t start = resolved.size();
      while (start > 0 && std::isalpha(static_cast<unsigned char>(resolved[start - 1])) != 0)
        --start;
      const std::string prefix = resolved.substr(start);
      const xmlNs* ns =
          xmlSearchNs(element->doc, const_cast<xmlNode*>(element), XmlChars(prefix.c_str()));
      if (ns != nullptr)
        resolved.replace(start, prefix.size(), "{" + std::string(Chars(ns->href)) + "}");
    }
    resolved += c;
  }
  return resolved;
}

void Canonise(const xmlNode* node, int depth, std::string& out, std::string& frame) {
  out += "<" + NameOf(node);
  std::map<std::string, std::string> attributes;
  for (const xmlAttr* attr = node->properties; attr != nullptr; attr = attr->next) {
    const auto* attrNode = reinterpret_cast<const xmlNode*>(attr);
    xmlChar* value = xmlNodeGetContent(const_cast<xmlNode*>(attrNode));
    attributes[NameOf(attrNode)] = Resolved(Chars(value), node);
    xmlFree(value);
  }
  for (const auto& [name, value] : attributes)
    out.append(" ").append(name).append("='").append(value).append("'");
  out += ">";
  std::string text;
  std::string others;  // comments and instructions, each with its place in the text
  const auto flush = [&] {
    out += Resolved(text, node) + others;
    text.clear();
    others.clear();
  };
  for (const xmlNode* child = node->children; child != nullptr; child = child->next) {
    if (child->type == XML_ELEMENT_NODE) {
      flush();
      Canonise(child, depth + 1, out, frame);
    } else if (child->type == XML_TEXT_NODE) {
      text += Content(child);
    } else {
      (depth < 2 ? frame : others) +=
          "<!" + std::to_string(text.size()) + Chars(child->name) + " " + Content(child) + ">";
    }
  }
  flush();
  out += "</" + NameOf(node) + ">";
}

}  // namespace

const size_t kDresses = std::size(kTable);

std::vector<std::wstring> Render(const Picture& picture, const std::wstring& uri) {
  std::vector<std::wstring> groups;
  for (const Group& group : picture) {
    std::wstring& text = groups.emplace_back();
    for (const Instance& instance : group) text += Render(instance, uri);
  }
  return groups;
}

std::wstring Canonical(const std::wstring& xml) {
  const std::string bytes = Narrow(xml);
  constexpr int kOptions =
      XML_PARSE_NOBLANKS | XML_PARSE_NOCDATA | XML_PARSE_HUGE | XML_PARSE_NOERROR;
  const XmlDocPtr document(
      xmlReadMemory(bytes.data(), static_cast<int>(bytes.size()), nullptr, nullptr, kOptions));
  if (document == nullptr) return L"not well-formed: " + xml.substr(0, 1000);
  std::string out;
  std::string frame;
  for (const xmlNode* node = document->children; node != nullptr; node = node->next) {
    if (node->type == XML_ELEMENT_NODE)
      Canonise(node, 0, out, frame);
    else
      frame += "<!" + std::string(Chars(node->name)) + " " + Content(node) + ">";
  }
  return Wide(out + "\n" + frame);
}

std::string Show(const Picture& picture) {
  std::wstring text;
  for (const std::wstring& group : Render(picture)) text += L"[" + group + L"]";
  return Narrow(text);
}

}  // namespace test::model
