#include "tests/support/support.h"

#include <fcntl.h>
#include <grp.h>
#include <libxml/tree.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <ostream>
#include <stdexcept>

#include "platform/os/encoding.h"

namespace test {
std::string Narrow(std::wstring_view text) { return ToUtf8(text); }
std::wstring Wide(std::string_view text) { return FromUtf8(text); }

Folder::Folder(Place place) {
  const std::filesystem::path memory = "/dev/shm";
  const bool inMemory = place == Place::kMemory && ::access(memory.c_str(), W_OK) == 0;
  std::string pattern =
      ((inMemory ? memory : std::filesystem::temp_directory_path()) / "cfgex-XXXXXX").string();
  if (mkdtemp(pattern.data()) == nullptr) throw std::runtime_error("mkdtemp " + pattern);
  m_Root = pattern;
}

Folder::~Folder() {
  std::error_code ignored;
  std::filesystem::remove_all(m_Root, ignored);
}

std::wstring Folder::Path(std::wstring_view name) const {
  return Wide(m_Root.string()) + L"/" + std::wstring(name);
}

std::vector<std::string> Folder::Names() const {
  std::vector<std::string> names;
  for (const auto& entry : std::filesystem::directory_iterator(m_Root))
    names.push_back(entry.path().filename().string());
  std::sort(names.begin(), names.end());
  return names;
}

Files Folder::ReadBelow(const std::filesystem::path& root) {
  Files files;
  for (const auto& entry : std::filesystem::recursive_directory_iterator(root)) {
    if (entry.is_symlink() || !entry.is_regular_file()) continue;
    const std::string name = std::filesystem::relative(entry.path(), root).string();
    files[name] = ReadBytes(Wide(entry.path().string()));
  }
  return files;
}

long LiveNodes() {
  static thread_local long count = 0;
  xmlRegisterNodeDefault([](xmlNode*) { ++count; });
  xmlDeregisterNodeDefault([](xmlNode*) { --count; });
  return count;
}

std::string ReadBytes(const std::wstring& path) {
  std::ifstream file(Narrow(path), std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

void WriteBytes(const std::wstring& path, std::string_view bytes) {
  std::ofstream file(Narrow(path), std::ios::binary | std::ios::trunc);
  file.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  if (!file.flush()) throw std::runtime_error("cannot write " + Narrow(path));
}

bool FileExists(const std::wstring& path) { return std::filesystem::exists(Narrow(path)); }

std::size_t Setting(const char* name, std::size_t otherwise) {
  const char* text = std::getenv(name);
  return text != nullptr ? std::strtoul(text, nullptr, 10) : otherwise;
}

bool DoneAs(uid_t user, gid_t group, const std::function<bool()>& body) {
  const pid_t child = ::fork();
  if (child == 0) {
    if (::geteuid() == 0 &&
        (::setgroups(0, nullptr) != 0 || ::setgid(group) != 0 || ::setuid(user) != 0))
      ::_exit(2);
    ::_exit(body() ? 0 : 1);
  }
  int status = -1;
  ::waitpid(child, &status, 0);
  return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

Captured::Captured() {
  std::fflush(nullptr);
  const int file = ::open((m_Folder.Root() / "out").c_str(), O_CREAT | O_WRONLY | O_APPEND, 0600);
  for (const int number : {1, 2}) {
    m_Saved[number - 1] = ::dup(number);
    ::dup2(file, number);
  }
  ::close(file);
}
Captured::~Captured() {
  std::fflush(nullptr);
  for (const int number : {1, 2}) {
    ::dup2(m_Saved[number - 1], number);
    ::close(m_Saved[number - 1]);
  }
}
std::string Captured::Text() const {
  std::fflush(nullptr);
  return ReadBytes(m_Folder.Path(L"out"));
}

}  // namespace test

namespace OS {
void PrintTo(const x_wstring& text, std::ostream* out) {
  *out << '"' << test::Narrow(text.str()) << '"';
}
}  // namespace OS
