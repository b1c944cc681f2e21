// Shared ownership as the camera library offers it: atomic strong and weak counts.
#pragma once

#include <memory>

namespace Orvia::Memory {

template <class T>
using TSharedPtr = std::shared_ptr<T>;

template <class T>
using TEnableSharedFromThis = std::enable_shared_from_this<T>;

} // namespace Orvia::Memory
