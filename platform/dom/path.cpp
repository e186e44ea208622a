#include "platform/dom/path.h"

#include <libxml/parserInternals.h>
#include <libxml/xpath.h>
#include <libxml/xpathInternals.h>

#include <algorithm>
#include <cassert>
#include <memory>
#include <new>
#include <optional>
#include <string>

#include "cfgex/com_error.h"
#include "platform/dom/dom_document.h"
#include "platform/dom/keyed_index.h"
#include "platform/os/encoding.h"
#include "platform/tree/engine.h"
#include "platform/tree/namespaces.h"

namespace cfgex::internal {
namespace {

enum class Wanted { kFirst, kAll };
using Nodes = std::vector<xmlNode*>;

// --- The forms

struct Predicate {
  std::string key;
  std::string value;
};

// /root/group/step, /root/group/step[...], and the latter with //[* /]tail or //[* /]tail[...]
// after.
struct IndexedPath {
  std::string root, group, step;
  std::optional<Predicate> predicate;
  std::string tail;  // empty for none
  bool tailBelowChild = false;
  std::optional<Predicate> tailPredicate;
};

class Scanner {
 public:
  explicit Scanner(std::string_view text) : m_Rest(text) {}

  bool AtEnd() const { return m_Rest.empty(); }
  bool Take(std::string_view token) {
    if (!m_Rest.starts_with(token)) return false;
    m_Rest.remove_prefix(token.size());
    return true;
  }
  // By XPath's own rule for names.
  bool TakeName(std::string& name) {
    const std::size_t size = std::min(m_Rest.find_first_of("/[="), m_Rest.size());
    const std::string candidate(m_Rest.substr(0, size));
    // The engine has something to report of other characters alone, and a scope costs more than it.
    const auto isAscii = [](char c) { return static_cast<unsigned char>(c) < 0x80; };
    std::optional<EngineScope> scope;
    if (!std::all_of(candidate.begin(), candidate.end(), isAscii)) scope.emplace();
    if (xmlValidateNCName(XmlChars(candidate.c_str()), 0) != 0) return false;
    m_Rest.remove_prefix(size);
    name = candidate;
    return true;
  }
  bool TakeStep(std::string& step) {
    if (!Take("*")) return TakeName(step);
    step = "*";
    return true;
  }
  bool TakePredicate(Predicate& predicate) {
    if (!Take("[") || !TakeName(predicate.key) || !Take("='")) return false;
    const std::size_t size = m_Rest.find('\'');
    if (size == m_Rest.npos) return false;
    predicate.value = m_Rest.substr(0, size);
    for (const char c : predicate.value)  // XPath finds no end of such a literal
      if (static_cast<unsigned char>(c) < ' ' && c != '\t' && c != '\n' && c != '\r') return false;
    m_Rest.remove_prefix(size);
    return Take("']");
  }

 private:
  std::string_view m_Rest;
};

std::optional<IndexedPath> ParseIndexed(std::string_view text) {
  Scanner scan(text);
  IndexedPath path;
  if (!scan.Take("/") || !scan.TakeName(path.root) || !scan.Take("/") ||
      !scan.TakeName(path.group) || !scan.Take("/") || !scan.TakeStep(path.step))
    return std::nullopt;
  if (scan.AtEnd()) return path.step == "*" ? std::nullopt : std::optional(path);

  if (!scan.TakePredicate(path.predicate.emplace())) return std::nullopt;
  if (scan.AtEnd()) return path;

  if (!scan.Take("//")) return std::nullopt;
  path.tailBelowChild = scan.Take("*/");
  if (!scan.TakeStep(path.tail)) return std::nullopt;
  if (scan.AtEnd()) return path;
  if (!scan.TakePredicate(path.tailPredicate.emplace()) || !scan.AtEnd()) return std::nullopt;
  return path;
}

// NAME/NAME...; empty for any other path.
std::vector<std::string> ParseChildPath(std::string_view text) {
  constexpr std::size_t kMaxSteps = 8;  // the walk below goes one call deeper per step
  Scanner scan(text);
  std::vector<std::string> steps;
  do {
    if (steps.size() == kMaxSteps || !scan.TakeName(steps.emplace_back())) return {};
  } while (scan.Take("/"));
  return scan.AtEnd() ? steps : std::vector<std::string>();
}

// --- Their answers

void WalkChildren(xmlNode* c_node, const std::vector<std::string>& steps, std::size_t step,
                  Wanted wanted, Nodes& found) {
  if (!HoldsChildren(c_node)) return;
  for (xmlNode* c_child = c_node->children; c_child != nullptr; c_child = c_child->next) {
    if (!IsNamed(c_child, steps[step])) continue;
    if (step + 1 == steps.size())
      found.push_back(c_child);
    else
      WalkChildren(c_child, steps, step + 1, wanted, found);
    if (wanted == Wanted::kFirst && !found.empty()) return;
  }
}

bool MatchesTail(const xmlNode* c_node, const xmlNode* c_top, const IndexedPath& path) {
  if (!MatchesStep(c_node, path.tail)) return false;
  if (path.tailBelowChild && c_node->parent == c_top) return false;
  const auto& predicate = path.tailPredicate;
  return !predicate || HasKey(c_node, predicate->key, predicate->value);
}

// Nothing where the index does not serve.
std::optional<Nodes> AskIndex(Document& document, const IndexedPath& path, Wanted wanted) {
  KeyedIndexes& index = document.Changes().Index();
  xmlDoc* c_document = document.Tree();
  if (!path.predicate) {
    if (wanted == Wanted::kAll) return std::nullopt;
    const auto first = index.First(c_document, path.root, path.group, path.step);
    if (!first) return std::nullopt;
    return *first != nullptr ? Nodes{*first} : Nodes{};
  }
  std::optional<Nodes> tops = index.WithKey(c_document, path.root, path.group, path.step,
                                            path.predicate->key, path.predicate->value);
  if (!tops || path.tail.empty()) return tops;

  Nodes found;
  for (xmlNode* c_top : *tops) {
    for (xmlNode* c_node = NextInTree(c_top, c_top); c_node != nullptr;
         c_node = NextInTree(c_node, c_top)) {
      if (!MatchesTail(c_node, c_top, path)) continue;
      found.push_back(c_node);
      if (wanted == Wanted::kFirst) return found;
    }
  }
  return found;
}

// --- XPath

struct FreeXPath {
  void operator()(xmlXPathContext* c_context) const noexcept { xmlXPathFreeContext(c_context); }
  void operator()(xmlXPathObject* c_object) const noexcept { xmlXPathFreeObject(c_object); }
};

// Predicates within predicates multiply. Within this limit an expression ends in seconds, and one
// that goes over the largest document a few times stays far below it.
constexpr unsigned long kMaxPathSteps = 500'000'000;

void TakeError(void* /*context*/, EngineError* error) { EngineScope::Note(error); }

using XPathObject = std::unique_ptr<xmlXPathObject, FreeXPath>;

XPathObject EvaluateOnce(xmlDoc* c_document, xmlNode* c_context, const std::string& path) {
  const std::unique_ptr<xmlXPathContext, FreeXPath> context(xmlXPathNewContext(c_document));
  if (context == nullptr) throw std::bad_alloc();
  context->node = c_context;
  context->opLimit = kMaxPathSteps;
  context->error = TakeError;
  return XPathObject(xmlXPathEval(XmlChars(path.c_str()), context.get()));
}

Nodes EvaluateXPath(xmlDoc* c_document, xmlNode* c_context, const std::string& path) {
  const XPathObject result = AskEngine([&] { return EvaluateOnce(c_document, c_context, path); });
  if (result == nullptr) throw _com_error(_com_error::kFail, "bad path: " + path);
  if (result->type != XPATH_NODESET)
    throw _com_error(_com_error::kFail, "a path that yields no nodes: " + path);

  Nodes nodes;
  if (result->nodesetval == nullptr) return nodes;
  for (int i = 0; i < result->nodesetval->nodeNr; ++i) {
    xmlNode* c_node = result->nodesetval->nodeTab[i];
    if (c_node->type != XML_NAMESPACE_DECL) nodes.push_back(c_node);
  }
  // They come in order as a rule, and comparing takes time where they are far apart. The engine's
  // own sort ends the process when it lacks memory.
  const auto isBefore = [](xmlNode* c_a, xmlNode* c_b) { return xmlXPathCmpNodes(c_a, c_b) == 1; };
  if (!std::is_sorted(nodes.begin(), nodes.end(), isBefore))
    std::sort(nodes.begin(), nodes.end(), isBefore);
  return nodes;
}

// What debug builds hold the index against: the plain way, as long as the document is so small that
// looking through all of it costs little, and the path so short that XPath takes its names.
[[maybe_unused]] bool IsAsXPathAnswers(const Nodes& found, xmlDoc* c_document, xmlNode* c_context,
                                       const std::string& path, Wanted wanted) {
  if (path.size() > XML_MAX_NAME_LENGTH) return true;
  int budget = 300;
  const auto* c_top = reinterpret_cast<xmlNode*>(c_document);
  for (const xmlNode* c_node = c_top->children; c_node != nullptr;
       c_node = NextInTree(c_node, c_top))
    if (--budget == 0) return true;
  const Nodes expected = EvaluateXPath(c_document, c_context, path);
  const auto first = [](const Nodes& nodes) { return nodes.empty() ? nullptr : nodes.front(); };
  return wanted == Wanted::kFirst ? first(found) == first(expected) : found == expected;
}

Nodes Find(xmlNode* c_context, std::wstring_view widePath, Wanted wanted) {
  const std::string path = ToUtf8(widePath);
  if (path.find('\0') != path.npos) throw _com_error(_com_error::kFail, "bad path: null character");

  if (const auto steps = ParseChildPath(path); !steps.empty()) {
    Nodes found;
    WalkChildren(c_context, steps, 0, wanted, found);
    return found;
  }
  Document& document = DocumentOf(c_context);
  if (const auto indexed = ParseIndexed(path))
    if (auto found = AskIndex(document, *indexed, wanted)) {
      assert(IsAsXPathAnswers(*found, document.Tree(), c_context, path, wanted));
      return *std::move(found);
    }
  return EvaluateXPath(document.Tree(), c_context, path);
}

}  // namespace

Nodes FindAll(xmlNode* c_context, std::wstring_view path) {
  return Find(c_context, path, Wanted::kAll);
}

xmlNode* FindFirst(xmlNode* c_context, std::wstring_view path) {
  const Nodes found = Find(c_context, path, Wanted::kFirst);
  return found.empty() ? nullptr : found.front();
}

}  // namespace cfgex::internal
