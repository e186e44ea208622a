// Invariants:
// 1. An entry that is trusted holds the model of the content that its files had while all of them
//    were as `files` says.
// 2. There is at most one entry per path, the one used last in front.
// The files of a schema are known only once it was read. So an entry is trusted when the same files
// were looked at before and after the reading and no difference was seen; of a schema of several
// files this is the second reading.
#include <sys/stat.h>

#include <algorithm>
#include <filesystem>
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
  std::vector<SeenFile> files;  // the first is the schema's own
  bool is_trusted = false;
  ComPtr<SchemaModel> model{};

  const std::string& Path() const { return files.front().path; }
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
    const auto found = std::find_if(m_Entries.begin(), m_Entries.end(),
                                    [&](const Entry& entry) { return entry.Path() == path; });
    if (found == m_Entries.end()) return {.files = {{path}}};
    std::rotate(m_Entries.begin(), found, found + 1);
    return m_Entries.front();
  }

  void Put(const Entry& made) {
    std::vector<Entry> before;  // what goes is freed outside of the lock
    const std::lock_guard lock(m_Mutex);
    before = m_Entries;
    std::erase_if(m_Entries, [&](const Entry& entry) { return entry.Path() == made.Path(); });
    m_Entries.insert(m_Entries.begin(), made);
    if (m_Entries.size() > kKeptSchemaFiles) m_Entries.pop_back();
  }

 private:
  std::mutex m_Mutex;
  std::vector<Entry> m_Entries;
};

std::string Absolute(const std::wstring& path) {
  const std::filesystem::path given(ToUtf8(path));
  std::error_code error;
  const std::filesystem::path absolute = std::filesystem::absolute(given, error);
  return error ? given.string() : absolute.string();
}

// The entry of a schema that is read now, without the identities of its files.
Entry Read(const std::string& path) {
  const EngineScope scope;
  const auto refuse = [&path](const char* why) {
    throw _com_error(_com_error::kFail, "schema '" + path + "': " + why);
  };
  std::string bytes;
  if (ReadWholeFile(FromUtf8(path), bytes) != Reading::kDone) refuse("cannot be read");
  const XmlDocPtr doc = ParseXml(bytes, TextEncoding::kDeclared, path);
  if (doc == nullptr) refuse("not well-formed");
  const SchemaDocuments documents(doc.get());
  if (!IsXsdElement(documents.Main().Root(), "schema")) refuse("not a schema");
  Entry entry;
  entry.model = ReadSchema(documents);
  for (const SchemaDocument& document : documents.All()) entry.files.push_back({document.path});
  entry.files.front().path = path;
  return entry;
}

}  // namespace

ComPtr<SchemaModel> OpenSchemaFile(const std::wstring& path) {
  // Never destroyed: a store may outlive everything else that is static.
  static KeptSchemas& kept = *new KeptSchemas;
  Entry entry = kept.Find(Absolute(path));
  const std::vector<SeenFile> before = Look(entry.files);
  if (entry.is_trusted && entry.files == before) return entry.model;

  const timespec start = file_calls::FileTime();
  entry = Read(before.front().path);
  entry.files = Look(std::move(entry.files));
  entry.is_trusted =
      entry.files == before && std::all_of(before.begin(), before.end(), [&](const SeenFile& file) {
        return file_calls::IsOlder(file.identity, start);
      });
  kept.Put(entry);
  return entry.model;
}

}  // namespace cfgex::internal
