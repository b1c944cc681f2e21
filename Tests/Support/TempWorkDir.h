// Runs a test in a fresh, empty temporary working directory, and removes it afterwards. The
// system reads ./LocalMode.dat, ./LocalImages/ and its site files relative to the working
// directory, so every test that touches them starts from nothing.
#pragma once

#include <filesystem>
#include <string>

#include <gtest/gtest.h>

#include "LogCapture.h"

namespace quboid3d::test {

class ScopedTempWorkDir {
public:
    ScopedTempWorkDir();
    ~ScopedTempWorkDir();
    ScopedTempWorkDir(const ScopedTempWorkDir&) = delete;
    ScopedTempWorkDir& operator=(const ScopedTempWorkDir&) = delete;

    const std::filesystem::path& path() const { return path_; }
    // Writes `content` to `relative` (parent directories created) and returns its full path.
    std::filesystem::path writeFile(const std::string& relative, const std::string& content = "") const;

private:
    std::filesystem::path previous_;
    std::filesystem::path path_;
};

// A test fixture: a fresh working directory and a log capture for every test.
class TempWorkDirTest : public ::testing::Test {
protected:
    ScopedTempWorkDir workDir;
    LogCapture log;
};

} // namespace quboid3d::test
