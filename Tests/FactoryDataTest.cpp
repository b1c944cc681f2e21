// Factory data: stage lookup, the overlay onto existing key-value files, the value texts, and
// every way of finding nothing. Each case works in <temp>/station, so that "../FactoryData.json"
// is a file of the test's own directory.
#include "FactoryData.h"

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <unistd.h>

#include <gtest/gtest.h>

#include "KeyValueCfgParser.h"
#include "TempWorkDir.h"

namespace quboid3d::test {
namespace {

namespace fs = std::filesystem;
using Orvia::VisionSystem::CKeyValueCfgParser;
using Orvia::VisionSystem::FactoryData;
using Orvia::VisionSystem::Json;

constexpr const char* kChannel = "Default";
constexpr const char* kParseFileFn = "FactoryData::parseFile";
constexpr const char* kReadConfigFn = "FactoryData::readConfig";
constexpr const char* kWriteFn = "FactoryData::write";
constexpr const char* kParserChannel = "KeyValParser";
constexpr const char* kParseCfgFn = "Orvia::VisionSystem::CKeyValueCfgParser::parseKeyValueCfg";

// Read as text, as key-value files are written: on Windows their lines end in CR LF on disk.
std::string contentOf(const fs::path& path) {
    std::ifstream in(path);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

class FactoryDataTest : public TempWorkDirTest {
protected:
    void SetUp() override {
        fs::create_directories(workDir.path() / "station" / "cfg");
        fs::current_path(workDir.path() / "station");
    }
    fs::path writeHere(const std::string& relative, const std::string& content) {
        return workDir.writeFile("station/" + relative, content);
    }
    // The calibration section's stage ScanOut with `files` as its members.
    void writeScanOut(const std::string& files) {
        writeHere("FactoryData.json", R"({"CalibData": {"ScanOut": {)" + files + "}}}");
    }
    std::string cfg(const std::string& name) { return contentOf(workDir.path() / "station" / "cfg" / name); }

    FactoryData& data = FactoryData::instance();
};

TEST_F(FactoryDataTest, StageNamesByNumberAndNoneForOthers) {
    EXPECT_STREQ(data.getTypeName(0), "CalibIn");
    EXPECT_STREQ(data.getTypeName(1), "CalibOut");
    EXPECT_STREQ(data.getTypeName(2), "ScanIn");
    EXPECT_STREQ(data.getTypeName(3), "ScanOut");
    EXPECT_EQ(data.getTypeName(4), nullptr);
    EXPECT_EQ(data.getTypeName(-1), nullptr);
    EXPECT_STREQ(data.calibSection, "CalibData");
    EXPECT_STREQ(data.uiSection, "UiData");
    EXPECT_STREQ(data.fileName, "FactoryData.json");
}

TEST_F(FactoryDataTest, NoFileAnywhereLogsBothPathsAndWritesNothing) {
    writeHere("cfg/a.cfg", "# kept\nk = 1\n");
    EXPECT_EQ(data.write(FactoryData::ScanOut, "cfg"), 0);
    EXPECT_TRUE(log.has(OVP_LOG_WARN, kChannel, kParseFileFn, "open file error. FactoryData.json"));
    EXPECT_TRUE(log.has(OVP_LOG_WARN, kChannel, kParseFileFn, "open file error. ../FactoryData.json"));
    EXPECT_TRUE(log.has(OVP_LOG_WARN, kChannel, kWriteFn, "read factory data file error."));
    EXPECT_EQ(log.lines().size(), 3u);
    EXPECT_EQ(cfg("a.cfg"), "# kept\nk = 1\n");
}

TEST_F(FactoryDataTest, AMalformedFileHereGivesWayToTheParentsFile) {
    writeHere("FactoryData.json", "{\"CalibData\": ");
    workDir.writeFile("FactoryData.json", R"({"CalibData": {"ScanOut": {"a.cfg": {"k": "v"}}}})");
    writeHere("cfg/a.cfg", "k = 1\n");
    EXPECT_EQ(data.write(FactoryData::ScanOut, "cfg"), 1);
    EXPECT_TRUE(log.has(OVP_LOG_WARN, kChannel, kParseFileFn,
                        "factory data parse error. Invalid value. (offset 14)"));
    EXPECT_EQ(log.lines().size(), 1u);
    EXPECT_EQ(cfg("a.cfg"), "k = v\n");
}

TEST_F(FactoryDataTest, ARootThatIsNoObjectIsAFormatError) {
    writeHere("FactoryData.json", "[1]");
    Json root;
    EXPECT_FALSE(data.parseFile("FactoryData.json", root));
    EXPECT_TRUE(log.has(OVP_LOG_WARN, kChannel, kParseFileFn, "factory data format error. FactoryData.json"));
}

TEST_F(FactoryDataTest, MissingStageIsNullButTheFileWasRead) {
    writeScanOut(R"("a.cfg": {"k": 1})");
    Json stage(7);
    EXPECT_TRUE(data.readConfig("CalibData", FactoryData::ScanIn, stage));
    EXPECT_TRUE(stage.is_null());
    EXPECT_TRUE(data.readConfig("UiData", FactoryData::ScanOut, stage));
    EXPECT_TRUE(stage.is_null());
    EXPECT_TRUE(log.lines().empty());
}

TEST_F(FactoryDataTest, AbsentStageGivesTheNoFactoryDataLineWithItsNumber) {
    writeHere("FactoryData.json", R"({"CalibData": {"ScanIn": {}}})");
    EXPECT_EQ(data.write(FactoryData::ScanOut, "cfg"), 0);
    EXPECT_TRUE(log.has(OVP_LOG_WARN, kChannel, kWriteFn, "no factory data [3] found."));
}

TEST_F(FactoryDataTest, UnknownTypeIsATypeErrorAndThenAReadError) {
    writeScanOut(R"("a.cfg": {"k": 1})");
    EXPECT_EQ(data.write(4, "cfg"), 0);
    const auto lines = log.lines();
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_TRUE(log.has(OVP_LOG_WARN, kChannel, kReadConfigFn, "factory data type error: 4"));
    EXPECT_EQ(lines[1].function, kWriteFn);
    EXPECT_EQ(lines[1].text, "read factory data file error.");
}

TEST_F(FactoryDataTest, AFileThatDoesNotExistIsSkippedAndLeftUncreated) {
    writeScanOut(R"("a.cfg": {"k": 1, "n": 2}, "missing.cfg": {"k": 1}, "z.cfg": {"m": "x"})");
    writeHere("cfg/a.cfg", "k = 0\n");
    writeHere("cfg/z.cfg", "");
    EXPECT_EQ(data.write(FactoryData::ScanOut, "cfg"), 3);
    EXPECT_FALSE(fs::exists("cfg/missing.cfg"));
    EXPECT_TRUE(log.has(OVP_LOG_ERROR, kParserChannel, kParseCfgFn,
                        "Read cfg failed, not found[cfg/missing.cfg]!\n"));
    EXPECT_EQ(cfg("a.cfg"), "k = 1\nn = 2\n");
    EXPECT_EQ(cfg("z.cfg"), "m = x\n");
}

TEST_F(FactoryDataTest, AnEmptyObjectForAFileLeavesItUnread) {
    writeScanOut(R"("a.cfg": {}, "b.cfg": "not an object")");
    writeHere("cfg/a.cfg", "# comment\nk   =   1\n\n");
    writeHere("cfg/b.cfg", "# comment\n");
    EXPECT_EQ(data.write(FactoryData::ScanOut, "cfg"), 0);
    EXPECT_EQ(cfg("a.cfg"), "# comment\nk   =   1\n\n");
    EXPECT_EQ(cfg("b.cfg"), "# comment\n");
    EXPECT_TRUE(log.lines().empty());
}

TEST_F(FactoryDataTest, IntegersAndOtherNumbersAndBooleansAndNullTurnIntoTheirTexts) {
    writeScanOut(R"("a.cfg": {"three": 3, "threePointZero": 3.0, "half": 0.5, "big": 2147483648,
                              "yes": true, "no": false, "nothing": null, "list": [1], "text": "a b"})");
    writeHere("cfg/a.cfg", "nothing = 5\n# gone\n");
    EXPECT_EQ(data.write(FactoryData::ScanOut, "cfg"), 9);
    EXPECT_EQ(cfg("a.cfg"), "big = 2147483648.000000\nhalf = 0.500000\nlist = \nno = 0\nnothing = \n"
                            "text = a b\nthree = 3\nthreePointZero = 3.000000\nyes = 1\n");
    CKeyValueCfgParser reread;
    ASSERT_TRUE(reread.parseKeyValueCfg("cfg/a.cfg", true));
    int out = 77;
    EXPECT_FALSE(reread.getVal("nothing", out));
    EXPECT_EQ(out, 77);
    EXPECT_EQ(reread.getVal("text"), "ab");
}

TEST_F(FactoryDataTest, ValueTextsFollowTheTable) {
    using Orvia::VisionSystem::factoryValueText;
    EXPECT_EQ(factoryValueText(Json(-7)), "-7");
    EXPECT_EQ(factoryValueText(Json(-7.25)), "-7.250000");
    EXPECT_EQ(factoryValueText(Json(Json::object{{"a", Json(1)}})), "");
}

TEST_F(FactoryDataTest, ANullDirectoryMeansTheRootOfTheDrive) {
    const std::string name = "quboid3d-factory-" + std::to_string(::getpid()) + ".cfg";
    ASSERT_FALSE(fs::exists("/" + name));
    writeScanOut("\"" + name + R"(": {"k": 1})");
    EXPECT_EQ(data.write(FactoryData::ScanOut, nullptr), 0);
    EXPECT_TRUE(
        log.has(OVP_LOG_ERROR, kParserChannel, kParseCfgFn, "Read cfg failed, not found[/" + name + "]!\n"));
}

TEST_F(FactoryDataTest, TheStageIsTakenFromTheCalibrationSectionOnly) {
    writeHere("FactoryData.json", R"({"UiData": {"ScanIn": {"a.cfg": {"k": 9}}},
                                      "CalibData": {"ScanIn": {"a.cfg": {"k": 2}}}})");
    writeHere("cfg/a.cfg", "k = 0\n");
    EXPECT_EQ(data.write(FactoryData::ScanIn, "cfg"), 1);
    EXPECT_EQ(cfg("a.cfg"), "k = 2\n");
}

} // namespace
} // namespace quboid3d::test
