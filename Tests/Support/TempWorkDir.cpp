#include "TempWorkDir.h"

#include <atomic>
#include <chrono>
#include <fstream>
#include <random>

namespace quboid3d::test {
namespace fs = std::filesystem;

namespace {

fs::path uniqueDirectory() {
    static std::atomic<unsigned> counter{0};
    std::random_device seed;
    const auto stamp = std::chrono::steady_clock::now().time_since_epoch().count();
    for (;;) {
        const std::string name = "quboid3d-test-" + std::to_string(seed()) + "-" + std::to_string(stamp) +
                                 "-" + std::to_string(counter++);
        fs::path candidate = fs::temp_directory_path() / name;
        if (fs::create_directory(candidate))
            return candidate;
    }
}

} // namespace

ScopedTempWorkDir::ScopedTempWorkDir() : previous_(fs::current_path()), path_(uniqueDirectory()) {
    fs::current_path(path_);
}

ScopedTempWorkDir::~ScopedTempWorkDir() {
    std::error_code ignored;
    fs::current_path(previous_, ignored);
    fs::remove_all(path_, ignored);
}

fs::path ScopedTempWorkDir::writeFile(const std::string& relative, const std::string& content) const {
    const fs::path full = path_ / relative;
    fs::create_directories(full.parent_path());
    std::ofstream out(full, std::ios::binary);
    out << content;
    return full;
}

} // namespace quboid3d::test
