#include "WildcardMatch.h"

namespace Orvia::Infra {

// Greedy matching with one backtrack point: the last '*' seen and where its run ended.
bool wildcardMatch(std::string_view pattern, std::string_view name) {
    std::size_t p = 0, n = 0;
    std::size_t starAt = std::string_view::npos, starMatchEnd = 0;
    while (n < name.size()) {
        if (p < pattern.size() && (pattern[p] == '?' || pattern[p] == name[n])) {
            ++p;
            ++n;
        } else if (p < pattern.size() && pattern[p] == '*') {
            starAt = p++;
            starMatchEnd = n;
        } else if (starAt != std::string_view::npos) {
            p = starAt + 1;
            n = ++starMatchEnd;
        } else {
            return false;
        }
    }
    while (p < pattern.size() && pattern[p] == '*')
        ++p;
    return p == pattern.size();
}

} // namespace Orvia::Infra
