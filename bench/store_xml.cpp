// Stores and instances as XML, and look-ups in them.
#include <algorithm>
#include <cstdlib>

#include "bench/store_data.h"

namespace bench {
namespace {

void Open(std::string& xml, std::size_t depth, const std::string& name) {
  xml.append(2 * depth, ' ').append("<").append(name).append(">");
}
void Close(std::string& xml, const std::string& name) {
  xml.append("</").append(name).append(">\n");
}

void WriteText(std::string& xml, std::size_t depth, const std::string& name,
               const std::string& text) {
  if (text.empty()) {
    xml.append(2 * depth, ' ').append("<").append(name).append("/>\n");
    return;
  }
  Open(xml, depth, name);
  xml += Escaped(text);
  Close(xml, name);
}

void WriteField(std::string& xml, std::size_t depth, const Field& field) {
  const bool reference = field.kind == Kind::kReference;
  if (field.kind < Kind::kReference || (!reference && field.children.empty()))
    return WriteText(xml, depth, field.name, field.text);
  Open(xml, depth, field.name);
  xml += "\n";
  if (reference) {
    WriteText(xml, depth + 1, "Category", field.category);
    WriteText(xml, depth + 1, "InstanceId", field.text);
  }
  for (const Field& child : field.children) WriteField(xml, depth + 1, child);
  xml.append(2 * depth, ' ');
  Close(xml, field.name);
}

void WriteInstance(std::string& xml, const Instance& instance) {
  Open(xml, 2, instance.category);
  xml += "\n";
  WriteText(xml, 3, "InstanceId", instance.id);
  for (const Field& field : instance.fields) WriteField(xml, 3, field);
  xml.append(4, ' ');
  Close(xml, instance.category);
}

void Collect(const std::vector<Field>& fields, std::vector<const Field*>& found) {
  for (const Field& field : fields) {
    if (field.kind == Kind::kReference && !field.text.empty()) found.push_back(&field);
    Collect(field.children, found);
  }
}

}  // namespace

std::string ToXml(const StoreData& store) {
  std::string xml = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<Configuration>\n";
  const std::string* category = nullptr;
  for (const Instance& instance : store.instances) {
    if (category == nullptr || *category != instance.category)
      xml += category == nullptr ? "  <Category>\n" : "  </Category>\n  <Category>\n";
    category = &instance.category;
    WriteInstance(xml, instance);
  }
  return xml + "  </Category>\n</Configuration>\n";
}

std::string RuleDocument(const StoreData& store, std::size_t index, std::string_view message) {
  Instance rule = store.instances[index];
  for (Field& field : rule.fields) {
    if (field.name == "Message") field.text = message;
  }
  std::string xml = "<Configuration instance_id=\"" + rule.id +
                    "\" major_version=\"1\" minor_version=\"4\" revision=\"2\">\n  <Category>\n";
  WriteInstance(xml, rule);
  std::vector<std::string> written;
  for (const Field* reference : References(rule)) {
    if (std::find(written.begin(), written.end(), reference->text) != written.end()) continue;
    written.push_back(reference->text);
    xml += "  </Category>\n  <Category>\n";
    WriteInstance(xml, Find(store, reference->category, reference->text));
  }
  return xml + "  </Category>\n</Configuration>\n";
}

const Instance& Find(const StoreData& store, std::string_view category, std::string_view id) {
  for (const Instance& instance : store.instances) {
    if (instance.id == id && instance.category == category) return instance;
  }
  std::abort();
}

std::vector<const Field*> References(const Instance& instance) {
  std::vector<const Field*> found;
  Collect(instance.fields, found);
  return found;
}

std::string Escaped(std::string_view text) {
  std::string result;
  for (const char character : text) {
    switch (character) {
      case '&':
        result += "&amp;";
        break;
      case '<':
        result += "&lt;";
        break;
      case '>':
        result += "&gt;";
        break;
      default:
        result += character;
    }
  }
  return result;
}

}  // namespace bench
