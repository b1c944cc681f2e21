#include "OvpLogger.h"

#include <cinttypes>
#include <cstdlib>
#include <fstream>
#include <regex>
#include <sstream>
#include <stdexcept>
#include <thread>

#include <gtest/gtest.h>

#include "Environment.h"
#include "LogCapture.h"
#include "TempWorkDir.h"

namespace quboid3d::test {
namespace {

const OvpLogLocation kHere{"Tests/OvpLoggerTest.cpp", "someFunction", 42};

TEST(OvpLoggerHandler, ReceivesLevelChannelLocationAndExactText) {
    LogCapture log;
    logDebugEx("ChanD", &kHere, "d %d\n", 1);
    logInfoEx("ChanI", &kHere, "i %s", "two");
    logWarnEx("ChanW", &kHere, "w %.1f\n", 3.25);
    logErrorEx("ChanE", &kHere, "e %c", 'x');

    const auto lines = log.lines();
    ASSERT_EQ(lines.size(), 4u);
    EXPECT_EQ(lines[0].level, OVP_LOG_DEBUG);
    EXPECT_EQ(lines[0].channel, "ChanD");
    EXPECT_EQ(lines[0].text, "d 1\n");
    EXPECT_EQ(lines[1].level, OVP_LOG_INFO);
    EXPECT_EQ(lines[1].text, "i two");
    EXPECT_EQ(lines[2].level, OVP_LOG_WARN);
    EXPECT_EQ(lines[2].text, "w 3.2\n");
    EXPECT_EQ(lines[3].level, OVP_LOG_ERROR);
    EXPECT_EQ(lines[3].channel, "ChanE");
    EXPECT_EQ(lines[3].file, "Tests/OvpLoggerTest.cpp");
    EXPECT_EQ(lines[3].function, "someFunction");
    EXPECT_EQ(lines[3].line, 42);
}

TEST(OvpLoggerHandler, DebugLinesReachTheHandlerWhateverTheLevelSetting) {
    LogCapture log;
    logDebugEx("C", &kHere, "quiet");
    EXPECT_EQ(log.withText("quiet").size(), 1u);
}

TEST(OvpLoggerFormat, MsvcI64ModifierPrintsSixtyFourBits) {
    LogCapture log;
    logInfoEx("C", &kHere, "%I64u|%I64d|%I64x|%I64X", UINT64_C(18446744073709551615), INT64_C(-9000000000),
              UINT64_C(0x123456789abcdef0), UINT64_C(0xABCDEF0123));
    ASSERT_EQ(log.lines().size(), 1u);
    EXPECT_EQ(log.lines()[0].text, "18446744073709551615|-9000000000|123456789abcdef0|ABCDEF0123");
}

TEST(OvpLoggerFormat, I64WorksWithFlagsWidthAndNeighbours) {
    LogCapture log;
    logInfoEx("C", &kHere, "objEnterTime: %I64u, %5d, %-8I64d|, 100%%, %s", UINT64_C(5000000000), 7,
              INT64_C(-3), "I64u");
    EXPECT_EQ(log.lines().at(0).text, "objEnterTime: 5000000000,     7, -3      |, 100%, I64u");
}

TEST(OvpLoggerFormat, LongTextIsNotCut) {
    LogCapture log;
    const std::string big(5000, 'a');
    logInfoEx("C", &kHere, "<%s>", big.c_str());
    EXPECT_EQ(log.lines().at(0).text, "<" + big + ">");
}

TEST(OvpLoggerFormat, NullChannelLocationAndFormatAreHarmless) {
    LogCapture log;
    logInfoEx(nullptr, nullptr, "no location");
    logInfoEx("C", &kHere, nullptr);
    ASSERT_EQ(log.lines().size(), 1u);
    EXPECT_EQ(log.lines()[0].text, "no location");
    EXPECT_EQ(log.lines()[0].channel, "");
}

void throwingHandler(void*, int, const char*, const OvpLogLocation*, const char*) {
    throw std::runtime_error("handler failed");
}

TEST(OvpLoggerHandler, AThrowingHandlerDoesNotReachTheCaller) {
    ovpLogSetHandler(&throwingHandler, nullptr);
    EXPECT_NO_THROW(logErrorEx("C", &kHere, "boom"));
    ovpLogSetHandler(nullptr, nullptr);
}

TEST(OvpLoggerThreads, EveryLineFromManyThreadsArrivesWhole) {
    LogCapture log;
    constexpr int kThreads = 8;
    constexpr int kLines = 200;
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t)
        threads.emplace_back([t] {
            for (int i = 0; i < kLines; ++i)
                logInfoEx("T", &kHere, "thread %d line %d\n", t, i);
        });
    for (auto& thread : threads)
        thread.join();
    const auto lines = log.lines();
    ASSERT_EQ(lines.size(), static_cast<size_t>(kThreads * kLines));
    std::vector<int> perThread(kThreads, 0);
    for (const auto& line : lines) {
        int t = -1, i = -1;
        ASSERT_EQ(std::sscanf(line.text.c_str(), "thread %d line %d\n", &t, &i), 2) << line.text;
        ASSERT_EQ(line.text, "thread " + std::to_string(t) + " line " + std::to_string(i) + "\n");
        ++perThread.at(static_cast<size_t>(t));
    }
    for (int count : perThread)
        EXPECT_EQ(count, kLines);
}

// The default sinks read the environment when they are (re)built, which ovpLogSetHandler(NULL)
// asks for.
class OvpLoggerDefaultSink : public ::testing::Test {
protected:
    void SetUp() override {
        saveVariable("OVP_LOG_FILE", savedFile_);
        saveVariable("OVP_LOG_LEVEL", savedLevel_);
    }
    void TearDown() override {
        restoreVariable("OVP_LOG_FILE", savedFile_);
        restoreVariable("OVP_LOG_LEVEL", savedLevel_);
        ovpLogSetHandler(nullptr, nullptr);
    }
    static void setVariable(const char* name, const std::string& value) {
        setEnvironment(name, value.c_str());
    }
    static void unsetVariable(const char* name) { unsetEnvironment(name); }
    static std::string readFile(const std::filesystem::path& path) {
        std::ifstream in(path, std::ios::binary);
        std::stringstream content;
        content << in.rdbuf();
        return content.str();
    }
    void useDefaults(const std::string& file, const std::string& level) {
        setVariable("OVP_LOG_FILE", file);
        setVariable("OVP_LOG_LEVEL", level);
        ovpLogSetHandler(nullptr, nullptr);
    }

    ScopedTempWorkDir workDir;

private:
    static void saveVariable(const char* name, std::pair<bool, std::string>& saved) {
        const char* value = std::getenv(name);
        saved = {value != nullptr, value != nullptr ? value : ""};
    }
    static void restoreVariable(const char* name, const std::pair<bool, std::string>& saved) {
        if (saved.first)
            setVariable(name, saved.second);
        else
            unsetVariable(name);
    }
    std::pair<bool, std::string> savedFile_;
    std::pair<bool, std::string> savedLevel_;
};

// Log files end their lines as text files do on the platform.
#if defined(_WIN32)
constexpr const char* kFileLineEnd = "\\r\\n";
#else
constexpr const char* kFileLineEnd = "\\n";
#endif

TEST_F(OvpLoggerDefaultSink, FileLineHasTimeLevelChannelTextAndLocation) {
    useDefaults((workDir.path() / "x.log").string(), "info");
    logInfoEx("Volume", &kHere, "Initialize 3D volume success!\n");
    ovpLogFlush();
    const std::string content = readFile(workDir.path() / "x.log");
    const std::regex line(R"(^\d{4}-\d\d-\d\d \d\d:\d\d:\d\d\.\d{3} info +\[Volume\] Initialize 3D volume )"
                          R"(success!  Tests/OvpLoggerTest\.cpp:42 someFunction)" +
                          std::string(kFileLineEnd) + "$");
    EXPECT_TRUE(std::regex_match(content, line)) << content;
}

TEST_F(OvpLoggerDefaultSink, TrailingNewlineIsNotDoubledAndOneLineIsOneLine) {
    useDefaults((workDir.path() / "x.log").string(), "debug");
    logDebugEx("C", &kHere, "with newline\n");
    logDebugEx("C", &kHere, "without newline");
    ovpLogFlush();
    const std::string content = readFile(workDir.path() / "x.log");
    EXPECT_EQ(std::count(content.begin(), content.end(), '\n'), 2) << content;
    EXPECT_NE(content.find("with newline  Tests"), std::string::npos);
    EXPECT_NE(content.find("without newline  Tests"), std::string::npos);
}

TEST_F(OvpLoggerDefaultSink, LevelSettingDropsLowerLevels) {
    useDefaults((workDir.path() / "x.log").string(), "warn");
    logInfoEx("C", &kHere, "info line");
    logWarnEx("C", &kHere, "warn line");
    logErrorEx("C", &kHere, "error line");
    ovpLogFlush();
    const std::string content = readFile(workDir.path() / "x.log");
    EXPECT_EQ(content.find("info line"), std::string::npos);
    EXPECT_NE(content.find("warn line"), std::string::npos);
    EXPECT_NE(content.find("error line"), std::string::npos);
}

TEST_F(OvpLoggerDefaultSink, LevelOffWritesNothing) {
    useDefaults((workDir.path() / "x.log").string(), "off");
    logErrorEx("C", &kHere, "error line");
    ovpLogFlush();
    EXPECT_EQ(readFile(workDir.path() / "x.log"), "");
}

TEST_F(OvpLoggerDefaultSink, DefaultPathIsLogFolderOfTheWorkingDirectory) {
    unsetVariable("OVP_LOG_FILE");
    setVariable("OVP_LOG_LEVEL", "info");
    ovpLogSetHandler(nullptr, nullptr);
    logInfoEx("C", &kHere, "to the default file");
    ovpLogFlush();
    const auto path = workDir.path() / "Log" / "Quboid3D.log";
    EXPECT_NE(readFile(path).find("to the default file"), std::string::npos);
    ovpLogSetHandler(nullptr, nullptr); // let go of the file before the folder is removed
}

TEST_F(OvpLoggerDefaultSink, StderrValueWritesToStandardError) {
    useDefaults("stderr", "info");
    ::testing::internal::CaptureStderr();
    logWarnEx("Chan", &kHere, "on stderr %d\n", 5);
    ovpLogFlush();
    const std::string err = ::testing::internal::GetCapturedStderr();
    EXPECT_NE(err.find("[Chan] on stderr 5  Tests/OvpLoggerTest.cpp:42 someFunction\n"), std::string::npos)
        << err;
}

TEST_F(OvpLoggerDefaultSink, UnopenableFileFallsBackToStandardError) {
    workDir.writeFile("blocker", "a file where a folder should be");
    useDefaults((workDir.path() / "blocker" / "x.log").string(), "info");
    ::testing::internal::CaptureStderr();
    logErrorEx("Chan", &kHere, "still visible");
    ovpLogFlush();
    const std::string err = ::testing::internal::GetCapturedStderr();
    EXPECT_NE(err.find("still visible"), std::string::npos) << err;
}

TEST_F(OvpLoggerDefaultSink, SettingAHandlerTakesLinesAwayFromTheFile) {
    useDefaults((workDir.path() / "x.log").string(), "info");
    {
        LogCapture log;
        logInfoEx("C", &kHere, "to the handler");
        EXPECT_EQ(log.withText("to the handler").size(), 1u);
    }
    logInfoEx("C", &kHere, "to the file");
    ovpLogFlush();
    const std::string content = readFile(workDir.path() / "x.log");
    EXPECT_EQ(content.find("to the handler"), std::string::npos);
    EXPECT_NE(content.find("to the file"), std::string::npos);
}

} // namespace
} // namespace quboid3d::test
