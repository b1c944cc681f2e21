// File name patterns with * (any run of characters) and ? (any one character).
#pragma once

#include <string_view>

namespace Orvia::Infra {

bool wildcardMatch(std::string_view pattern, std::string_view name);

} // namespace Orvia::Infra
