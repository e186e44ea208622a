// Which instance refers to which: show --tree, referrers, graph.

#include <map>
#include <set>

#include "tools/commands.h"

namespace cfgexctl {
namespace {

InstanceName KeyOf(const Element& instance) { return {instance->get_tagName(), IdOf(instance)}; }

// One line of the tree, still to be written.
struct Branch {
  InstanceName name;
  std::wstring field;  // through which it was reached; empty for the root
  std::size_t depth = 0;
};

}  // namespace

// A stack of its own: chains may be as long as the file.
void ReportTree(const LoadedFile& file, const Element& instance, Report& report) {
  std::set<InstanceName> seen;
  std::vector<Branch> open = {{KeyOf(instance), {}, 0}};
  Json nodes = Json::array();
  while (!open.empty()) {
    const Branch branch = std::move(open.back());
    open.pop_back();
    const auto& [category, id] = branch.name;
    const Element target = branch.depth == 0 ? instance : file.Target(branch.name);
    const bool repeated = !seen.insert(branch.name).second;

    constexpr std::size_t kDeepest = 50;  // the indentation of a long chain would grow with it
    std::wstring line(2 * std::min(branch.depth, kDeepest), L' ');
    if (branch.depth > kDeepest) line += L"(" + std::to_wstring(branch.depth) + L") ";
    if (!branch.field.empty()) line += OnOneLine(branch.field) + L" -> ";
    line += OnOneLine(category) + L" " + Quoted(id);
    if (!target) line += L" (not there)";
    if (target && repeated) line += L" (see above)";
    report.Line(line);

    Json node = JsonName(category, id);
    node["depth"] = branch.depth;
    if (!branch.field.empty()) node["field"] = Narrow(branch.field);
    if (!target) node["missing"] = true;
    if (target && repeated) node["repeated"] = true;
    nodes.push_back(std::move(node));
    if (!target || repeated) continue;
    const std::vector<Edge> edges = ReferencesOf(target);
    for (auto edge = edges.rbegin(); edge != edges.rend(); ++edge)
      open.push_back({edge->target, edge->field, branch.depth + 1});
  }
  report.data["tree"] = std::move(nodes);
}

void Referrers(const Arguments& arguments, Report& report) {
  const LoadedFile file = arguments.Open();
  const Progress progress("following the references of " + arguments.file);
  // A removed instance may still be referred to.
  const std::wstring name = Wide(arguments.instance);
  const Element instance = file.TryFind(name);
  const InstanceName wanted = instance ? KeyOf(instance) : ParseName(name);
  std::size_t count = 0;
  report.data.update(JsonName(wanted.category, wanted.id));
  report.data["exists"] = static_cast<bool>(instance);
  Json referrers = Json::array();
  file.ForEachInstance([&](const Element& from) {
    for (const Edge& edge : ReferencesOf(from)) {
      if (edge.target.id != wanted.id) continue;
      if (!wanted.category.empty() && edge.target.category != wanted.category) continue;
      ++count;
      const long line = file.PlaceOf(edge.element).line;
      report.Line(OnOneLine(file.Path()) + L":" + std::to_wstring(line) + L": " + NameOf(from) +
                  L", field " + OnOneLine(edge.field));
      Json json = JsonName(from);
      json["field"] = Narrow(edge.field);
      json["line"] = line;
      referrers.push_back(std::move(json));
    }
  });
  report.data["referrers"] = std::move(referrers);
  if (!instance && count == 0) file.Find(name);  // stops
  if (!instance) report.Note(Quoted(name) + L" is not there: these references lead nowhere");
  if (instance && count == 0) report.Note(L"nothing refers to " + NameOf(instance));
}

namespace {

// A text between double quotes of Graphviz, where a backslash is written twice.
std::wstring Escaped(std::wstring_view text) {
  std::wstring result;
  for (const wchar_t character : OnOneLine(text)) {
    if (character == L'"' || character == L'\\') result += L'\\';
    result += character;
  }
  return result;
}

std::wstring Dot(const std::wstring& text) { return L"\"" + Escaped(text) + L"\""; }
std::wstring Dot(const InstanceName& name) { return Dot(name.category + L":" + name.id); }
std::wstring Label(const InstanceName& name) {
  return L"\"" + Escaped(name.category) + L"\\n" + Escaped(name.id) + L"\"";
}

class DotGraph {
 public:
  void AddNode(const InstanceName& name, bool exists) {
    if (!m_Nodes.emplace(name, exists).second) return;
    m_Json["nodes"].push_back(JsonName(name.category, name.id));
    if (!exists) m_Json["nodes"].back()["missing"] = true;
    m_Text += "  " + Narrow(Dot(name)) + " [label=" + Narrow(Label(name)) +
              (exists ? "];\n" : ", style=dashed, color=red];\n");
  }
  void AddEdge(const InstanceName& from, const Edge& edge) {
    const InstanceName to = edge.target;
    m_Text += "  " + Narrow(Dot(from)) + " -> " + Narrow(Dot(to)) +
              " [label=" + Narrow(Dot(edge.field)) + "];\n";
    m_Json["edges"].push_back({{"from", JsonName(from.category, from.id)},
                               {"to", JsonName(to.category, to.id)},
                               {"field", Narrow(edge.field)}});
  }
  std::string Text() const {
    return "digraph configuration {\n  rankdir=LR;\n  node [shape=box];\n" + m_Text + "}\n";
  }
  const Json& Data() const { return m_Json; }

 private:
  std::map<InstanceName, bool> m_Nodes;
  std::string m_Text;
  Json m_Json = {{"nodes", Json::array()}, {"edges", Json::array()}};
};

void AddInstance(const LoadedFile& file, const Element& instance, DotGraph& graph,
                 std::vector<Element>* found) {
  const InstanceName name = KeyOf(instance);
  graph.AddNode(name, true);
  for (const Edge& edge : ReferencesOf(instance)) {
    const Element target = file.Target(edge.target);
    graph.AddNode(edge.target, static_cast<bool>(target));
    graph.AddEdge(name, edge);
    if (target && found != nullptr) found->push_back(target);
  }
}

}  // namespace

void Graph(const Arguments& arguments, Report& report) {
  const LoadedFile file = arguments.Open();
  const Progress progress("following the references of " + arguments.file);
  DotGraph graph;
  if (arguments.instance.empty()) {
    file.ForEachInstance(
        [&](const Element& instance) { AddInstance(file, instance, graph, nullptr); });
  } else {
    std::set<InstanceName> seen;
    std::vector<Element> open = {file.Find(Wide(arguments.instance))};
    while (!open.empty()) {
      const Element instance = open.back();
      open.pop_back();
      if (seen.insert(KeyOf(instance)).second) AddInstance(file, instance, graph, &open);
    }
  }
  report.data.update(graph.Data());
  Deliver(arguments.output, graph.Text(), report);
}

}  // namespace cfgexctl
