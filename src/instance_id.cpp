#include "src/instance_id.h"

#include <array>
#include <cstdint>

#include "cfgex/os_string.h"
#include "platform/os/system.h"

namespace cfgex::internal {

std::wstring MakeInstanceId(const std::function<bool(const std::wstring&)>& isTaken) {
  OS::GUID guid;
  std::array<wchar_t, 512> text;
  if (OS::CoCreateGuid(guid) &&
      OS::StringFromGUID2(guid, text.data(), static_cast<int>(text.size())) != 0)
    return text.data();

  OS::x_wstring id;
  std::uint32_t number = OS::GetTickCount();
  do {
    id.Format(L"%8d", number++);
  } while (isTaken(id.str()));
  return id.str();
}

}  // namespace cfgex::internal
