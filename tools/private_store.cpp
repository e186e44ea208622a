#include "tools/private_store.h"

#include "platform/os/file.h"
#include "src/config_file_set.h"

namespace cfgexctl {
namespace {

constexpr const wchar_t* kFileName = L"configuration.xml";

}  // namespace

PrivateStore::PrivateStore(const LoadedFile& file) : PrivateStore(file.Option(), file.Bytes()) {}

PrivateStore::PrivateStore(CCfgOption option, std::string_view bytes)
    : m_Option(option), m_Store(m_Option) {
  Open(bytes);
}

void PrivateStore::Open(std::string_view bytes) {
  const std::wstring path = m_Folder.Path(kFileName);
  ReplaceFile(path, bytes);
  if (!m_Store.Initialize(path.c_str())) throw Stop(kInvalid, L"the library refuses the file");
}

std::string PrivateStore::Bytes() const { return ReadFileBytes(m_Folder.Path(kFileName)); }

std::optional<std::wstring> PrivateStore::CloseAndTakeInvalid() {
  m_Store = CCfgConfigurationEx(m_Option);
  CConfigFileSet names;
  names.DeriveFileNames(m_Folder.Path(kFileName).c_str());
  const std::vector<std::wstring> bad = names.FindBadFiles();
  return bad.empty() ? std::nullopt : DecodeUtf16(ReadFileBytes(bad.front()));
}

std::optional<std::wstring> DecodeUtf16(std::string_view bytes) {
  if (bytes.size() % 2 != 0 || bytes.size() < 2) return std::nullopt;
  const auto unit = [bytes](std::size_t index) {
    const auto low = static_cast<unsigned char>(bytes[index]);
    const auto high = static_cast<unsigned char>(bytes[index + 1]);
    return static_cast<std::uint32_t>(low) | static_cast<std::uint32_t>(high) << 8U;
  };
  constexpr std::uint32_t kMark = 0xFEFF;
  const std::size_t begin = unit(0) == kMark ? 2 : 0;
  if (begin == bytes.size() || unit(begin) != L'<') return std::nullopt;
  std::wstring text;
  for (std::size_t index = begin; index < bytes.size(); index += 2) {
    std::uint32_t code = unit(index);
    if (code >= 0xD800 && code < 0xDC00 && index + 2 < bytes.size()) {
      const std::uint32_t second = unit(index + 2);
      if (second < 0xDC00 || second > 0xDFFF) return std::nullopt;
      code = 0x10000 + ((code - 0xD800) << 10U) + (second - 0xDC00);
      index += 2;
    } else if (code >= 0xD800 && code < 0xE000) {
      return std::nullopt;
    }
    text += static_cast<wchar_t>(code);
  }
  return text;
}

}  // namespace cfgexctl
