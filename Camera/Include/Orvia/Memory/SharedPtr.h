// Shared ownership as the camera library offers it: atomic strong and weak counts, and a weak
// self reference that is set when an object is first wrapped in its shared pointer.
#pragma once

#include <memory>

namespace Orvia::Memory {

template <class T>
using TSharedPtr = std::shared_ptr<T>;

template <class T>
using TWeakPtr = std::weak_ptr<T>;

template <class T>
using TEnableSharedFromThis = std::enable_shared_from_this<T>;

} // namespace Orvia::Memory
