// The site settings are built once per process, so every case builds them in a child process
// of its own (a death test that exits with kChecksPassed when every expectation held). The child
// works in <temp>/station, so that "../Quboid3DAdvCfg" is a file of the test's own directory.
#include "AdvancedConfig.h"

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "TempWorkDir.h"

namespace quboid3d::test {
namespace {

namespace fs = std::filesystem;
using Orvia::VisionSystem::AdvancedConfig;

constexpr int kChecksPassed = 42;
constexpr const char* kStation = "station";
constexpr const char* kChannel = "AdvancedConfig";
constexpr const char* kFunction = "AdvancedConfig::AdvancedConfig";
constexpr const char* kSourceFile = "Src/AdvancedConfig.cpp";
constexpr const char* kParserChannel = "KeyValParser";
constexpr const char* kGetValFn = "Orvia::VisionSystem::CKeyValueCfgParser::getVal";
constexpr const char* kParseFileFn = "Orvia::VisionSystem::CKeyValueCfgParser::parseKeyValueCfg";

std::string joined(const std::vector<std::string>& lines) {
    std::string text;
    for (const std::string& line : lines)
        text += "  [" + line + "]\n";
    return text;
}

// Expectations of a child process, reported on its standard error, which the death test shows.
class ChildExpectations {
public:
    template <typename Actual, typename Expected>
    void equal(const Actual& actual, const Expected& expected, const std::string& what) {
        if (actual == expected)
            return;
        std::ostringstream out;
        out << what << ": expected [" << expected << "], got [" << actual << "]\n";
        failures += out.str();
    }

    void equalLines(const std::vector<std::string>& actual, const std::vector<std::string>& expected,
                    const std::string& what) {
        if (actual != expected)
            failures += what + ": expected\n" + joined(expected) + "got\n" + joined(actual);
    }

    bool passed() const { return failures.empty(); }
    const std::string& report() const { return failures; }

private:
    std::string failures;
};

// The nine fields, defaults first.
struct Fields {
    int EncoderLineInput = 1;
    int FrameBufferCount = 16;
    bool UseLocalCalibData = false;
    std::string ModelPatternGige;
    std::string ModelPatternAI;
    std::string OutputPlugin;
    bool EnableCameraReconnect = true;
    int CameraReconnectTimeout = 30000;
    int DropFrameCountExp = 0;
};

// What the log lines print; the reconnection line prints the shared temporary, not the field.
struct Printed {
    int EncoderLineInput = 1;
    int FrameBufferCount = 16;
    std::string ModelPatternGige;
    std::string ModelPatternAI;
    int UseLocalCalibData = 0;
    std::string OutputPlugin;
    int EnableCameraReconnect = 0;
    int CameraReconnectTimeout = 30000;
    int DropFrameCountExp = 0;
};

std::vector<std::string> settingsLines(const Printed& p) {
    return {
        "EncoderLineInput=" + std::to_string(p.EncoderLineInput),
        "FrameBufferCount=" + std::to_string(p.FrameBufferCount),
        "ModelPatternGige=" + p.ModelPatternGige,
        "ModelPatternAI=" + p.ModelPatternAI,
        "UseLocalCalibData=" + std::to_string(p.UseLocalCalibData),
        "OutputPlugin=" + p.OutputPlugin,
        "OutputPlugin=" + p.OutputPlugin,
        "EnableCameraReconnect=" + std::to_string(p.EnableCameraReconnect),
        "CameraReconnectTimeout=" + std::to_string(p.CameraReconnectTimeout),
        "DropFrameCountExp=" + std::to_string(p.DropFrameCountExp),
    };
}

void expectFields(ChildExpectations& expect, const AdvancedConfig& config, const Fields& want) {
    expect.equal(config.EncoderLineInput, want.EncoderLineInput, "EncoderLineInput");
    expect.equal(config.FrameBufferCount, want.FrameBufferCount, "FrameBufferCount");
    expect.equal(config.UseLocalCalibData, want.UseLocalCalibData, "UseLocalCalibData");
    expect.equal(config.ModelPatternGige, want.ModelPatternGige, "ModelPatternGige");
    expect.equal(config.ModelPatternAI, want.ModelPatternAI, "ModelPatternAI");
    expect.equal(config.OutputPlugin, want.OutputPlugin, "OutputPlugin");
    expect.equal(config.EnableCameraReconnect, want.EnableCameraReconnect, "EnableCameraReconnect");
    expect.equal(config.CameraReconnectTimeout, want.CameraReconnectTimeout, "CameraReconnectTimeout");
    expect.equal(config.DropFrameCountExp, want.DropFrameCountExp, "DropFrameCountExp");
}

std::string missingKeyText(const std::string& key) {
    return "Can't find key[" + key + "], value is null!\n";
}

class AdvancedConfigTest : public TempWorkDirTest {
protected:
    using Check = std::function<void(ChildExpectations&, const AdvancedConfig&)>;

    void writeSiteFile(const std::string& content) const {
        workDir.writeFile(std::string(kStation) + "/Quboid3DAdvCfg", content);
    }
    void writeParentSiteFile(const std::string& content) const {
        workDir.writeFile("Quboid3DAdvCfg", content);
    }

    // Runs in the child: builds the settings from the station directory, runs `check`, removes
    // the child's own working directory (its fixture is never torn down) and exits.
    [[noreturn]] void buildAndCheck(const Check& check) {
        fs::create_directories(workDir.path() / kStation);
        fs::current_path(workDir.path() / kStation);
        ChildExpectations expect;
        const AdvancedConfig& config = AdvancedConfig::instance();
        expectLinesWellFormed(expect);
        check(expect, config);
        std::fputs(expect.report().c_str(), stderr);
        fs::current_path(workDir.path().parent_path());
        fs::remove_all(workDir.path());
        std::_Exit(expect.passed() ? kChecksPassed : 1);
    }

    // Texts of the lines on the settings' channel, in order.
    std::vector<std::string> settingsLog() const {
        std::vector<std::string> texts;
        for (const LogLine& line : log.lines())
            if (line.channel == kChannel)
                texts.push_back(line.text);
        return texts;
    }

    // Every line on the settings' channel is at info level and names the constructor.
    void expectLinesWellFormed(ChildExpectations& expect) const {
        for (const LogLine& line : log.lines()) {
            if (line.channel != kChannel)
                continue;
            expect.equal(line.level, OVP_LOG_INFO, "level of " + line.text);
            expect.equal(line.function, kFunction, "function of " + line.text);
            expect.equal(line.file, kSourceFile, "source of " + line.text);
        }
    }

    int parserLines(int level, const char* function, const std::string& text) const {
        return log.count(level, kParserChannel, function, text);
    }
};

#define EXPECT_SETTINGS(...)                                                                                 \
    EXPECT_EXIT(buildAndCheck(__VA_ARGS__), ::testing::ExitedWithCode(kChecksPassed), "")

const char* const kFullFile = "# site settings of line 3\n"
                              "EncoderLineInput = 2\n"
                              "FrameBufferCount = 24\n"
                              "UseLocalCalibData = 1\n"
                              "ModelPatternGige = ^LC-G.*\n"
                              "ModelPatternAI = ^LC-AI.*\n"
                              "// the plug-in that feeds the sorter\n"
                              "OutputPlugin = libSorterOutput.so\n"
                              "EnableCameraReconnect = 0\n"
                              "CameraReconnectTimeout = 45000\n"
                              "DropFrameCountExp = 3\n"
                              "UnknownKey = 99\n";

const Fields kFullFields{.EncoderLineInput = 2,
                         .FrameBufferCount = 24,
                         .UseLocalCalibData = true,
                         .ModelPatternGige = "^LC-G.*",
                         .ModelPatternAI = "^LC-AI.*",
                         .OutputPlugin = "libSorterOutput.so",
                         .EnableCameraReconnect = false,
                         .CameraReconnectTimeout = 45000,
                         .DropFrameCountExp = 3};

const Printed kFullPrinted{.EncoderLineInput = 2,
                           .FrameBufferCount = 24,
                           .ModelPatternGige = "^LC-G.*",
                           .ModelPatternAI = "^LC-AI.*",
                           .UseLocalCalibData = 1,
                           .OutputPlugin = "libSorterOutput.so",
                           .EnableCameraReconnect = 0,
                           .CameraReconnectTimeout = 45000,
                           .DropFrameCountExp = 3};

// --- Finding the file -------------------------------------------------------------------------

TEST_F(AdvancedConfigTest, NoFileAnywhereKeepsTheDefaultsAndLogsNothingOnItsChannel) {
    EXPECT_SETTINGS([this](ChildExpectations& expect, const AdvancedConfig& config) {
        expectFields(expect, config, Fields{});
        expect.equalLines(settingsLog(), {}, "settings log");
        expect.equal(
            parserLines(OVP_LOG_ERROR, kParseFileFn, "Read cfg failed, not found[Quboid3DAdvCfg]!\n"), 1,
            "error for the working directory's file");
        expect.equal(
            parserLines(OVP_LOG_ERROR, kParseFileFn, "Read cfg failed, not found[../Quboid3DAdvCfg]!\n"), 1,
            "error for the parent directory's file");
    });
}

TEST_F(AdvancedConfigTest, FileInTheWorkingDirectorySetsEveryFieldAndLogsInKeyOrder) {
    writeSiteFile(kFullFile);
    writeParentSiteFile("EncoderLineInput=5\n");
    EXPECT_SETTINGS([this](ChildExpectations& expect, const AdvancedConfig& config) {
        expectFields(expect, config, kFullFields);
        expect.equalLines(settingsLog(), settingsLines(kFullPrinted), "settings log");
        expect.equal(log.lines().size(), std::size_t{10}, "lines in all");
    });
}

TEST_F(AdvancedConfigTest, EmptyFileGivesWayToTheParentDirectory) {
    writeSiteFile("");
    writeParentSiteFile(kFullFile);
    EXPECT_SETTINGS([this](ChildExpectations& expect, const AdvancedConfig& config) {
        expectFields(expect, config, kFullFields);
        expect.equalLines(settingsLog(), settingsLines(kFullPrinted), "settings log");
    });
}

TEST_F(AdvancedConfigTest, FileOfCommentsAloneGivesWayToTheParentDirectory) {
    writeSiteFile("# nothing set here\n// nor here\n");
    writeParentSiteFile(kFullFile);
    EXPECT_SETTINGS([](ChildExpectations& expect, const AdvancedConfig& config) {
        expectFields(expect, config, kFullFields);
    });
}

TEST_F(AdvancedConfigTest, MissingFileGivesWayToTheParentDirectory) {
    writeParentSiteFile(kFullFile);
    EXPECT_SETTINGS([this](ChildExpectations& expect, const AdvancedConfig& config) {
        expectFields(expect, config, kFullFields);
        expect.equal(
            parserLines(OVP_LOG_ERROR, kParseFileFn, "Read cfg failed, not found[Quboid3DAdvCfg]!\n"), 1,
            "error for the working directory's file");
    });
}

TEST_F(AdvancedConfigTest, NeitherFileStoringAKeyKeepsTheDefaults) {
    writeSiteFile("# empty\n");
    writeParentSiteFile("no pairs in this file\n");
    EXPECT_SETTINGS([this](ChildExpectations& expect, const AdvancedConfig& config) {
        expectFields(expect, config, Fields{});
        expect.equalLines(settingsLog(), {}, "settings log");
    });
}

TEST_F(AdvancedConfigTest, IsBuiltOnceAndNotReadAgain) {
    writeSiteFile("FrameBufferCount=8\n");
    EXPECT_SETTINGS([this](ChildExpectations& expect, const AdvancedConfig& first) {
        writeSiteFile("FrameBufferCount=32\n");
        const AdvancedConfig& second = AdvancedConfig::instance();
        expect.equal(&second == &first, true, "same object");
        expect.equal(second.FrameBufferCount, 8, "FrameBufferCount");
        expect.equal(settingsLog().size(), std::size_t{10}, "settings lines");
    });
}

// --- Reading the keys -------------------------------------------------------------------------

TEST_F(AdvancedConfigTest, AbsentKeysKeepTheirDefaultsAndEachLookupIsWarnedBeforeItsLine) {
    writeSiteFile("OutputPlugin = libSorterOutput.so\n");
    EXPECT_SETTINGS([this](ChildExpectations& expect, const AdvancedConfig& config) {
        Fields want;
        want.OutputPlugin = "libSorterOutput.so";
        expectFields(expect, config, want);
        std::vector<std::string> sequence;
        for (const LogLine& line : log.lines())
            sequence.push_back(line.channel + " " + line.text);
        const std::string parser = std::string(kParserChannel) + " ";
        const std::string settings = std::string(kChannel) + " ";
        expect.equalLines(sequence,
                          {
                              parser + missingKeyText("EncoderLineInput"),
                              settings + "EncoderLineInput=1",
                              parser + missingKeyText("FrameBufferCount"),
                              settings + "FrameBufferCount=16",
                              parser + missingKeyText("ModelPatternGige"),
                              settings + "ModelPatternGige=",
                              parser + missingKeyText("ModelPatternAI"),
                              settings + "ModelPatternAI=",
                              parser + missingKeyText("UseLocalCalibData"),
                              settings + "UseLocalCalibData=0",
                              settings + "OutputPlugin=libSorterOutput.so",
                              settings + "OutputPlugin=libSorterOutput.so",
                              parser + missingKeyText("EnableCameraReconnect"),
                              settings + "EnableCameraReconnect=0",
                              parser + missingKeyText("CameraReconnectTimeout"),
                              settings + "CameraReconnectTimeout=30000",
                              parser + missingKeyText("DropFrameCountExp"),
                              settings + "DropFrameCountExp=0",
                          },
                          "whole log");
        expect.equal(parserLines(OVP_LOG_WARN, kGetValFn, missingKeyText("DropFrameCountExp")), 1,
                     "warning level and function of a missing key");
    });
}

TEST_F(AdvancedConfigTest, EmptyValuesKeepTheDefaults) {
    writeSiteFile("EncoderLineInput=\nFrameBufferCount=\nUseLocalCalibData=\nEnableCameraReconnect=\n"
                  "CameraReconnectTimeout=\nDropFrameCountExp=\nOutputPlugin=\n");
    EXPECT_SETTINGS([this](ChildExpectations& expect, const AdvancedConfig& config) {
        expectFields(expect, config, Fields{});
        expect.equalLines(settingsLog(), settingsLines(Printed{}), "settings log");
    });
}

TEST_F(AdvancedConfigTest, IntegerThatIsNoNumberReadsAsZeroAndNoRangeIsChecked) {
    writeSiteFile("EncoderLineInput=abc\nFrameBufferCount=0\nDropFrameCountExp=12x\n");
    EXPECT_SETTINGS([this](ChildExpectations& expect, const AdvancedConfig& config) {
        Fields want;
        want.EncoderLineInput = 0;
        want.FrameBufferCount = 0;
        want.DropFrameCountExp = 12;
        expectFields(expect, config, want);
        Printed printed;
        printed.EncoderLineInput = 0;
        printed.FrameBufferCount = 0;
        printed.DropFrameCountExp = 12;
        expect.equalLines(settingsLog(), settingsLines(printed), "settings log");
    });
}

TEST_F(AdvancedConfigTest, LineWithoutEqualsIsWarnedAndTheOthersAreRead) {
    writeSiteFile("FrameBufferCount 20\nEncoderLineInput=3\n");
    EXPECT_SETTINGS([this](ChildExpectations& expect, const AdvancedConfig& config) {
        Fields want;
        want.EncoderLineInput = 3;
        expectFields(expect, config, want);
        expect.equal(parserLines(OVP_LOG_WARN, kParseFileFn, "Cfg has format error[FrameBufferCount20]!\n"),
                     1, "format error");
    });
}

TEST_F(AdvancedConfigTest, PatternLosesItsBlanks) {
    writeSiteFile("ModelPatternGige=a b\nModelPatternAI = ^ LC AI .*\n");
    EXPECT_SETTINGS([this](ChildExpectations& expect, const AdvancedConfig& config) {
        expect.equal(config.ModelPatternGige, "ab", "ModelPatternGige");
        expect.equal(config.ModelPatternAI, "^LCAI.*", "ModelPatternAI");
        expect.equal(log.count(OVP_LOG_INFO, kChannel, kFunction, "ModelPatternGige=ab"), 1, "Gige line");
    });
}

TEST_F(AdvancedConfigTest, OutputPluginIsReadAndLoggedTwice) {
    writeSiteFile("OutputPlugin=x\n");
    EXPECT_SETTINGS([this](ChildExpectations& expect, const AdvancedConfig& config) {
        expect.equal(config.OutputPlugin, "x", "OutputPlugin");
        expect.equal(log.count(OVP_LOG_INFO, kChannel, kFunction, "OutputPlugin=x"), 2, "plug-in lines");
    });
}

TEST_F(AdvancedConfigTest, AbsentOutputPluginIsWarnedTwice) {
    writeSiteFile("EncoderLineInput=1\n");
    EXPECT_SETTINGS([this](ChildExpectations& expect, const AdvancedConfig& config) {
        expect.equal(config.OutputPlugin, "", "OutputPlugin");
        expect.equal(parserLines(OVP_LOG_WARN, kGetValFn, missingKeyText("OutputPlugin")), 2, "warnings");
        expect.equal(log.count(OVP_LOG_INFO, kChannel, kFunction, "OutputPlugin="), 2, "plug-in lines");
    });
}

// --- The two switches and their shared temporary ----------------------------------------------

struct SwitchCase {
    const char* name;
    const char* file;
    bool useLocalCalibData;
    bool enableCameraReconnect;
    int printedUseLocal;
    int printedReconnect;
};

void PrintTo(const SwitchCase& c, std::ostream* out) {
    *out << c.name;
}

class AdvancedConfigSwitchTest : public AdvancedConfigTest,
                                 public ::testing::WithParamInterface<SwitchCase> {};

TEST_P(AdvancedConfigSwitchTest, FieldsAndTheirLogLines) {
    const SwitchCase& c = GetParam();
    writeSiteFile(std::string("EncoderLineInput=1\n") + c.file);
    EXPECT_SETTINGS([this, &c](ChildExpectations& expect, const AdvancedConfig& config) {
        expect.equal(config.UseLocalCalibData, c.useLocalCalibData, "UseLocalCalibData");
        expect.equal(config.EnableCameraReconnect, c.enableCameraReconnect, "EnableCameraReconnect");
        expect.equal(log.count(OVP_LOG_INFO, kChannel, kFunction,
                               "UseLocalCalibData=" + std::to_string(c.printedUseLocal)),
                     1, "UseLocalCalibData line");
        expect.equal(log.count(OVP_LOG_INFO, kChannel, kFunction,
                               "EnableCameraReconnect=" + std::to_string(c.printedReconnect)),
                     1, "EnableCameraReconnect line");
    });
}

INSTANTIATE_TEST_SUITE_P(
    SharedTemporary, AdvancedConfigSwitchTest,
    ::testing::Values(
        SwitchCase{"ReconnectZeroIsOff", "EnableCameraReconnect=0\n", false, false, 0, 0},
        SwitchCase{"ReconnectAbsentStaysOnAndPrintsZero", "", false, true, 0, 0},
        SwitchCase{"ReconnectSevenIsOnAndPrintsSeven", "EnableCameraReconnect=7\n", false, true, 0, 7},
        SwitchCase{"ReconnectNoNumberIsOff", "EnableCameraReconnect=on\n", false, false, 0, 0},
        SwitchCase{"UseLocalTwoIsOnAndPrintsOne", "UseLocalCalibData=2\n", true, true, 1, 2},
        SwitchCase{"UseLocalZeroIsOff", "UseLocalCalibData=0\nEnableCameraReconnect=1\n", false, true, 0, 1},
        SwitchCase{"ReconnectAbsentPrintsWhatUseLocalLeft", "UseLocalCalibData=-3\n", true, true, 1, -3},
        SwitchCase{"ReconnectEmptyPrintsWhatUseLocalLeft", "UseLocalCalibData=5\nEnableCameraReconnect=\n",
                   true, true, 1, 5},
        SwitchCase{"ReconnectValueIsPrintedAsWritten", "UseLocalCalibData=5\nEnableCameraReconnect=-2\n",
                   true, true, 1, -2}),
    [](const ::testing::TestParamInfo<SwitchCase>& info) { return std::string(info.param.name); });

// --- The clamp of the reconnection time limit -------------------------------------------------

struct TimeoutCase {
    const char* name;
    const char* file;
    int expected;
};

void PrintTo(const TimeoutCase& c, std::ostream* out) {
    *out << c.name;
}

class AdvancedConfigTimeoutTest : public AdvancedConfigTest,
                                  public ::testing::WithParamInterface<TimeoutCase> {};

TEST_P(AdvancedConfigTimeoutTest, FieldAndItsLogLine) {
    const TimeoutCase& c = GetParam();
    writeSiteFile(std::string("EncoderLineInput=1\n") + c.file);
    EXPECT_SETTINGS([this, &c](ChildExpectations& expect, const AdvancedConfig& config) {
        expect.equal(config.CameraReconnectTimeout, c.expected, "CameraReconnectTimeout");
        expect.equal(log.count(OVP_LOG_INFO, kChannel, kFunction,
                               "CameraReconnectTimeout=" + std::to_string(c.expected)),
                     1, "CameraReconnectTimeout line");
    });
}

INSTANTIATE_TEST_SUITE_P(
    Clamp, AdvancedConfigTimeoutTest,
    ::testing::Values(TimeoutCase{"Below", "CameraReconnectTimeout=500\n", 1000},
                      TimeoutCase{"NoNumber", "CameraReconnectTimeout=abc\n", 1000},
                      TimeoutCase{"AtTheLimit", "CameraReconnectTimeout=1000\n", 1000},
                      TimeoutCase{"JustBelow", "CameraReconnectTimeout=999\n", 1000},
                      TimeoutCase{"JustAbove", "CameraReconnectTimeout=1001\n", 1001},
                      TimeoutCase{"Negative", "CameraReconnectTimeout=-20\n", 1000},
                      TimeoutCase{"NoUpperLimit", "CameraReconnectTimeout=250000\n", 250000},
                      TimeoutCase{"Absent", "", 30000},
                      TimeoutCase{"Empty", "CameraReconnectTimeout=\n", 30000}),
    [](const ::testing::TestParamInfo<TimeoutCase>& info) { return std::string(info.param.name); });

} // namespace
} // namespace quboid3d::test
