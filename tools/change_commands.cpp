// set, new, import, copy, remove: the library's operations on one instance.

#include "tools/change.h"
#include "tools/field.h"

namespace cfgexctl {

namespace {

void Assign(Change& change, CCfgInstance& instance, const std::wstring& path,
            const std::wstring& value) {
  const auto element = As<IXMLDOMElement>(instance.GetRawInterface());
  const Field field = FindField(element, path);
  if (field.xpath == L"InstanceId")
    throw Stop(kUsage, L"an instance keeps its id; \"copy\" makes another");
  SetField(instance, field, value, change.File(), change.Store());
}

}  // namespace

void Set(const Arguments& arguments, Report& report) {
  Change change(arguments);
  const Element stored = change.File().Find(Wide(arguments.instance));
  CCfgInstance instance = change.Take(stored);
  Assign(change, instance, Wide(arguments.field), Wide(arguments.value));
  change.Put(instance);
  report.data.update(JsonName(stored));
  change.Finish({}, report);
}

namespace {

// What keeps a new instance of the category from being valid.
std::vector<Finding> WhyNoInstance(const std::wstring& category, CCfgOption option) {
  CCfgObject object(option);
  CCfgCategory maker(category.c_str(), option);
  if (!maker.CreateObject(category.c_str(), object)) return {};
  const auto element = As<IXMLDOMElement>(object.GetRawInterface());
  if (const Element id = ChildElement(element, L"InstanceId")) id->put_text(L"new");
  const std::wstring text =
      L"<Configuration><Category>" + element->get_xml() + L"</Category></Configuration>";
  const ExplainedDocument document = ExplainedDocument::FromText(text);
  if (document.Refusal()) return {};
  std::vector<Finding> findings = Explain(
      document.Validate(As<IXMLDOMSchemaCollection2>(option.GetSchemaCache()), kMostFindings), L"");
  for (Finding& finding : findings) {
    finding.place = {};
    finding.advice = L"the schema needs a default value for this field";
  }
  return findings;
}

CCfgInstance MakeInstance(const std::wstring& category, const std::wstring& id,
                          const LoadedFile& file) {
  CCfgInstance instance(file.Option());
  CCfgCategory maker(category.c_str(), file.Option());
  if (!maker.CreateInstance(instance)) {
    CCfgObject known(file.Option());
    if (!maker.CreateObject(category.c_str(), known))
      throw Stop(kMissing, L"the schema knows no category " + Quoted(category));
    throw Stop(kInvalid, L"the schema's defaults make no valid " + OnOneLine(category),
               WhyNoInstance(category, file.Option()));
  }
  if (id.empty()) return instance;
  if (FindInstanceElement(file.Root(), id.c_str(), L"*"))
    throw Stop(kFailed, L"there is an instance " + Quoted(id) + L" already");
  if (!instance.SetInstanceId(id.c_str())) throw Stop(kInvalid, Quoted(id) + L" is not a valid id");
  return instance;
}

}  // namespace

void New(const Arguments& arguments, Report& report) {
  Change change(arguments);
  const std::wstring category = Wide(arguments.category);
  CCfgInstance instance = MakeInstance(category, Wide(arguments.target), change.File());
  for (const std::string& assignment : arguments.assignments) {
    const std::size_t equals = assignment.find('=');
    if (equals == std::string::npos)
      throw Stop(kUsage, Quoted(Wide(assignment)) + L" is not of the form FIELD=VALUE");
    Assign(change, instance, Wide(assignment.substr(0, equals)),
           Wide(assignment.substr(equals + 1)));
  }
  change.Put(instance);
  report.data.update(JsonName(category, instance.GetInstanceId().str()));
  change.Finish({}, report);
}

void Import(const Arguments& arguments, Report& report) {
  Change change(arguments);
  const bool fromInput = arguments.document == "-";
  const std::wstring path = fromInput ? L"standard input" : Wide(arguments.document);
  const LoadedFile incoming = [&] {
    std::string bytes = fromInput ? ReadStandardInput() : ReadFileBytes(path);
    ExplainedDocument document = ExplainedDocument::FromBytes(bytes, path);
    if (!document.Document())
      throw Stop(kInvalid, OnOneLine(path) + L": this is no document of an instance",
                 {Explain(*document.Refusal(), path)});
    return LoadedFile(change.File().Option(), path, std::move(bytes), std::move(document));
  }();
  incoming.RequireValid(L"nothing was changed");
  const auto id = incoming.Root()->getAttribute(L"instance_id");
  if (!id)
    throw Stop(kInvalid, OnOneLine(path) +
                             L": its root has no instance_id: \"export\" makes what "
                             L"can be imported");
  const Element instance = FindInstanceElement(incoming.Root(), id->c_str(), L"*");
  if (!instance)
    throw Stop(kInvalid, OnOneLine(path) + L": its instance_id is " + Quoted(*id) +
                             L", and there is no such instance in it");
  const Element stored = FindInstanceElement(change.File().Root(), id->c_str(), L"*");
  if (stored && stored->get_tagName() != instance->get_tagName())
    throw Stop(kInvalid, L"the id belongs to " + NameOf(stored) + L", not to a " +
                             OnOneLine(instance->get_tagName()));
  report.data.update(JsonName(instance));
  change.Put(incoming.Root()->get_xml());
  change.Finish({}, report);
}

void CopyTo(const Arguments& arguments, Report& report) {
  Change change(arguments);
  const Element source = change.File().Find(Wide(arguments.instance));
  const std::wstring category = source->get_tagName();
  const std::wstring sourceId = IdOf(source);
  std::wstring targetId = Wide(arguments.target);
  if (const Element target = change.File().TryFind(targetId)) {
    if (target->get_tagName() != category)
      throw Stop(kUsage, NameOf(target) + L" is no " + OnOneLine(category));
    targetId = IdOf(target);
  } else {
    change.Put(MakeInstance(category, targetId, change.File()));
  }
  if (!change.Store().CopyConfiguration(sourceId.c_str(), targetId.c_str(), arguments.deep, nullptr,
                                        nullptr))
    change.StopRefused(L"the copy is refused");
  report.data.update(JsonName(category, targetId));
  change.Finish({}, report);
}

void Remove(const Arguments& arguments, Report& report) {
  Change change(arguments);
  const Element stored = change.File().Find(Wide(arguments.instance));
  const InstanceName name{stored->get_tagName(), IdOf(stored)};
  OS::x_wstring xml;
  change.Take(stored).GetXml(xml);
  if (!change.Store().RemoveConfiguration(xml, nullptr))
    change.StopRefused(L"the configuration would not be valid without it");
  std::size_t dangling = 0;
  change.File().ForEachInstance([&](const Element& from) {
    if (from == stored) return;
    for (const Edge& edge : ReferencesOf(from)) {
      if (edge.target == name) ++dangling;
    }
  });
  report.data.update(JsonName(name.category, name.id));
  change.Finish({name}, report);
  if (dangling > 0)
    report.Note(Counted(dangling, L"reference leads", L"references lead") +
                L" nowhere now; \"referrers\" lists them");
}

}  // namespace cfgexctl
