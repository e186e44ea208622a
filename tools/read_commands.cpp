// list, show, get, export: what is in a file.

#include <map>

#include "platform/os/file.h"
#include "tools/commands.h"
#include "tools/field.h"
#include "tools/private_store.h"

namespace cfgexctl {

LoadedFile Arguments::Open() const {
  LoadedFile loaded(OpenSchema(Wide(schema)), Wide(file));
  if (!unchecked)
    loaded.RequireValid(L"\"check\" lists them all, \"--unchecked\" reads the file nevertheless");
  return loaded;
}

LoadedFile Arguments::OpenValid() const {
  LoadedFile loaded(OpenSchema(Wide(schema)), Wide(file));
  loaded.RequireValid(L"\"check\" lists them all, \"restore\" the copies that are left");
  return loaded;
}

void Deliver(const std::string& path, const std::string& content, Report& report) {
  if (path.empty()) {
    report.Raw(content);
    return;
  }
  ReplaceFile(Wide(path), content);
  report.data["output"] = path;
}

namespace {

// A readable label for an instance: the first text field in it.
std::wstring LabelOf(const Element& instance) {
  for (const Element& child : ChildElements(instance)) {
    if (child->get_tagName() == L"InstanceId") continue;
    if (CheckFieldType(child, FieldType::kString)) return child->get_text();
  }
  return {};
}

void ListCategories(const LoadedFile& file, Report& report) {
  std::map<std::wstring, std::size_t> counts;
  std::vector<std::wstring> order;
  file.ForEachInstance([&](const Element& instance) {
    const std::wstring category = instance->get_tagName();
    if (counts[category]++ == 0) order.push_back(category);
  });
  report.data["categories"] = Json::array();
  for (const std::wstring& category : order) {
    report.Line(category + L": " + Counted(counts[category], L"instance", L"instances"));
    report.data["categories"].push_back(
        {{"category", Narrow(category)}, {"instances", counts[category]}});
  }
}

void ListInstances(const LoadedFile& file, const std::wstring& category, Report& report) {
  Json instances = Json::array();
  file.ForEachInstance([&](const Element& instance) {
    if (category != L"*" && instance->get_tagName() != category) return;
    const std::wstring label = LabelOf(instance);
    std::wstring line = category == L"*" ? instance->get_tagName() + L":" : std::wstring();
    line += OnOneLine(IdOf(instance));
    report.Line(label.empty() ? line : line + L"\t" + OnOneLine(label));
    Json json = JsonName(instance);
    json["label"] = Narrow(label);
    json["line"] = file.PlaceOf(instance).line;
    instances.push_back(std::move(json));
  });
  if (instances.empty() && category != L"*")
    throw Stop(kMissing, L"there is no instance of the category " + Quoted(category) + L" in " +
                             OnOneLine(file.Path()));
  report.data["instances"] = std::move(instances);
}

}  // namespace

void List(const Arguments& arguments, Report& report) {
  const LoadedFile file = arguments.Open();
  if (arguments.category.empty()) {
    ListCategories(file, report);
  } else {
    ListInstances(file, Wide(arguments.category), report);
  }
}

void Show(const Arguments& arguments, Report& report) {
  const LoadedFile file = arguments.Open();
  const Element instance = file.Find(Wide(arguments.instance));
  if (arguments.tree) {
    ReportTree(file, instance, report);
    return;
  }
  const long line = file.PlaceOf(instance).line;
  report.Line(NameOf(instance) + L", line " + std::to_wstring(line));
  PrintFields(instance, 2, report);
  report.data.update(JsonName(instance));
  report.data["line"] = line;
  report.data["fields"] = ValueOf(instance);
}

void Get(const Arguments& arguments, Report& report) {
  const LoadedFile file = arguments.Open();
  const Element instance = file.Find(Wide(arguments.instance));
  const Field field = FindField(instance, Wide(arguments.field));
  report.Raw(Narrow(TextOf(field.element)) + "\n");
  report.data.update(JsonName(instance));
  report.data["field"] = arguments.field;
  report.data["line"] = file.PlaceOf(field.element).line;
  report.data["value"] = ValueOf(field.element);
}

// The text is the one that an application gets from a store, so a store is opened on a copy.
void Export(const Arguments& arguments, Report& report) {
  const LoadedFile file = arguments.Open();
  const Element instance = file.Find(Wide(arguments.instance));
  const std::wstring id = IdOf(instance);
  PrivateStore store(file);
  OS::x_wstring xml;
  if (!store.Store().GetConfiguration(id.c_str(), instance->get_tagName().c_str(), xml))
    throw Stop(kInvalid, L"the document of " + NameOf(instance) + L" is not valid; \"check " +
                             L"--warnings\" may tell why");
  const std::string content =
      "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n" + Narrow(xml.str()) + "\n";
  report.data.update(JsonName(instance));
  if (arguments.output.empty()) report.data["document"] = Narrow(xml.str());
  Deliver(arguments.output, content, report);
}

}  // namespace cfgexctl
