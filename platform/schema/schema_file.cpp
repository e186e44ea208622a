// Invariants:
// 1. An entry that is trusted holds the model of the content that its files had while all of them
//    were as `files` says.
// 2. There is at most one entry per path, the one used last in front.
// The files of a schema are known only once it was read. So an entry is trusted when the same files
// were looked at before and after the reading and no difference was seen; of a schema of several
// files this is the second reading.
#include "platform/schema/schema_file.h"

#include <sys/stat.h>

#include <algorithm>
#include <filesystem>
#include <list>
#include <mutex>
#include <vector>

#include "cfgex/com_error.h"
#include "platform/os/encoding.h"
#include "platform/os/file.h"
#include "platform/os/file_calls.h"
#include "platform/schema/schema_documents.h"
#include "platform/schema/schema_reader.h"
#include "platform/tree/engine.h"

namespace cfgex::internal {
namespace {

struct SeenFile {
  std::string path;
  FileIdentity identity{};
  bool operator==(const SeenFile&) const = default;
};

struct Entry {
  std::string path;
  std::vector<SeenFile> files;  // the first is the schema's own
  bool is_trusted = false;
  ComPtr<SchemaFile> schema;
};

FileIdentity IdentityOf(const std::string& path) noexcept {
  struct stat now {};
  return ::stat(path.c_str(), &now) == 0 ? file_calls::IdentityOf(now) : FileIdentity{};
}

std::vector<SeenFile> Look(std::vector<SeenFile> files) {
  for (SeenFile& file : files) file.identity = IdentityOf(file.path);
  return files;
}

class KeptSchemas {
 public:
  Entry Find(const std::string& path) {
    const std::lock_guard lock(m_Mutex);
    const auto found = Place(path);
    if (found == m_Entries.end()) return {path, {{path}}, false, nullptr};
    m_Entries.splice(m_Entries.begin(), m_Entries, found);
    return *found;
  }

  void Put(Entry entry) {
    std::list<Entry> made;
    made.push_back(std::move(entry));
    std::list<Entry> old;  // is freed outside of the lock
    const std::lock_guard lock(m_Mutex);
    const auto found = Place(made.front().path);
    if (found != m_Entries.end()) old.splice(old.begin(), m_Entries, found);
    m_Entries.splice(m_Entries.begin(), made);
    if (m_Entries.size() > kKeptSchemaFiles)
      old.splice(old.begin(), m_Entries, std::prev(m_Entries.end()));
  }

 private:
  std::list<Entry>::iterator Place(const std::string& path) {
    return std::find_if(m_Entries.begin(), m_Entries.end(),
                        [&](const Entry& entry) { return entry.path == path; });
  }

  std::mutex m_Mutex;
  std::list<Entry> m_Entries;
};

std::string Absolute(const std::wstring& path) {
  const std::filesystem::path given(ToUtf8(path));
  std::error_code error;
  const std::filesystem::path absolute = std::filesystem::absolute(given, error);
  return error ? given.string() : absolute.string();
}

// Reads the schema and names its files in `entry`, without their identities.
void Read(Entry& entry) {
  const EngineScope scope;
  std::string bytes;
  if (ReadWholeFile(FromUtf8(entry.path), bytes) != Reading::kDone)
    throw _com_error(_com_error::kFail, "schema '" + entry.path + "': cannot be read");
  const XmlDocPtr doc = ParseXml(bytes, TextEncoding::kDeclared, entry.path);
  if (doc == nullptr)
    throw _com_error(_com_error::kFail, "schema '" + entry.path + "': not well-formed");
  const SchemaDocuments documents(doc.get());
  if (!IsXsdElement(documents.Main().Root(), "schema"))
    throw _com_error(_com_error::kFail, "schema '" + entry.path + "': not a schema");
  entry.schema = MakeCounted<SchemaFile>();
  ReadSchema(documents, entry.schema->model);
  entry.files.assign(1, {entry.path});
  for (const std::string& path : documents.LinkedPaths()) entry.files.push_back({path});
}

}  // namespace

ComPtr<SchemaFile> OpenSchemaFile(const std::wstring& path) {
  // Never destroyed: a store may outlive everything else that is static.
  static KeptSchemas& kept = *new KeptSchemas;
  Entry entry = kept.Find(Absolute(path));
  const std::vector<SeenFile> before = Look(entry.files);
  if (entry.is_trusted && entry.files == before) return entry.schema;

  const timespec start = file_calls::FileTime();
  Read(entry);
  entry.files = Look(std::move(entry.files));
  entry.is_trusted =
      entry.files == before && std::all_of(before.begin(), before.end(), [&](const SeenFile& file) {
        return file_calls::IsOlder(file.identity, start);
      });
  kept.Put(entry);
  return entry.schema;
}

}  // namespace cfgex::internal
