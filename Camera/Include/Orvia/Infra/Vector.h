// The camera library's vector: contiguous, growable, owns its elements.
#pragma once

#include <vector>

namespace Orvia::Infra {

template <class T>
using TVector = std::vector<T>;

} // namespace Orvia::Infra
