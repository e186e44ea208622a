// The vocabulary of the tests.
//
//   Folder       a fresh directory, gone with the object: folder.Path(L"a.xml") names a file in it.
//                One that holds no disk to account can be in memory, where flushing costs nothing
//   ReadBytes, WriteBytes, FileExists   on a wide path, as bytes
//   Setting      a number that an environment variable may set
//   DoneAs       does something as another user, in a process of its own
//   Captured     takes what the process says on standard output and error meanwhile
//   PrintTo      makes GoogleTest show wide texts
#pragma once

#include <sys/types.h>

#include <filesystem>
#include <functional>
#include <iosfwd>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "cfgex/os_string.h"
#include "tests/support/mishap.h"

namespace cfgex::internal {}
using namespace cfgex::internal;

namespace test {

std::string Narrow(std::wstring_view text);  // UTF-8
std::wstring Wide(std::string_view text);

using Files = std::map<std::string, std::string>;  // the bytes of each, by its name

class Folder {
 public:
  enum class Place { kDisk, kMemory };  // where there is no memory for files, the disk
  explicit Folder(Place place = Place::kDisk);
  ~Folder();
  Folder(const Folder&) = delete;
  Folder& operator=(const Folder&) = delete;

  std::wstring Path(std::wstring_view name) const;
  const std::filesystem::path& Root() const { return m_Root; }
  // The names of the files in it, sorted.
  std::vector<std::string> Names() const;
  // The files in it and below, without links.
  Files Read() const { return ReadBelow(m_Root); }
  static Files ReadBelow(const std::filesystem::path& root);

 private:
  std::filesystem::path m_Root;
};

std::string ReadBytes(const std::wstring& path);  // "" when there is no such file
void WriteBytes(const std::wstring& path, std::string_view bytes);
bool FileExists(const std::wstring& path);

// How many nodes of the engine, documents included, this thread has made and not given back since
// it first asked: for tests that hold the library to giving back what it took.
long LiveNodes();

std::size_t Setting(const char* name, std::size_t otherwise);

// Whether `body` returns true in a child that has these rights and no others, if this process is
// root.
bool DoneAs(uid_t user, gid_t group, const std::function<bool()>& body);

class Captured {
 public:
  Captured();
  ~Captured();
  Captured(const Captured&) = delete;
  Captured& operator=(const Captured&) = delete;
  std::string Text() const;

 private:
  Folder m_Folder;
  int m_Saved[2];
};

}  // namespace test

namespace OS {
void PrintTo(const x_wstring& text, std::ostream* out);
}
