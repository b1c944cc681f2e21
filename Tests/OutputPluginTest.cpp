// The output plug-in host of a measuring object: the setting, loading, the record and the
// finish-once rule. The site settings object is shared by the process, so each test sets its
// OutputPlugin field directly and clears it afterwards.
#include "CalcQuboid3DMgr.h"

#include <cctype>
#include <fstream>
#include <sstream>

#include <gtest/gtest.h>

#include "AdvancedConfig.h"
#include "CalibFiles.h"
#include "DynamicLibrary.h"
#include "ICalcVolumeSink.h"
#include "ImageFiles.h"
#include "LocalStation.h"
#include "Lpmc.h"
#include "LpmcStub.h"
#include "Quboid3DSdk.h"
#include "TempWorkDir.h"

namespace quboid3d::test {
namespace {

using Orvia::VisionSystem::AdvancedConfig;
using Orvia::VisionSystem::BoxDims;
using Orvia::VisionSystem::CCalcQuboid3DMgr;
using Orvia::VisionSystem::ICalcVolumeSink;
namespace stub = lpmc_stub;

constexpr const char* kPluginFn = "Orvia::VisionSystem::CCalcQuboid3DMgr::initOutputPlugin";

// A library's file name on this platform: ".so" or ".dll" after its name.
std::string libraryFile(const std::string& name) {
    return name + Orvia::VisionSystem::dynamicLibrarySuffix();
}

std::string upperCase(std::string text) {
    for (char& c : text)
        c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    return text;
}

// Keeps a test plug-in loaded for the whole test, so that its record of calls survives the
// measuring object's unloading, and reads that record.
class PluginRecord {
public:
    explicit PluginRecord(const std::string& library)
        : handle_(Orvia::VisionSystem::loadDynamicLibrary(library.c_str())) {
        if (handle_ != nullptr)
            reinterpret_cast<void (*)()>(symbol("testPluginReset"))();
    }
    ~PluginRecord() {
        if (handle_ != nullptr)
            Orvia::VisionSystem::unloadDynamicLibrary(handle_);
    }
    bool loaded() const { return handle_ != nullptr; }
    std::vector<std::string> calls() const {
        const char* text = reinterpret_cast<const char* (*)()>(symbol("testPluginLog"))();
        std::vector<std::string> lines;
        std::istringstream in(text);
        for (std::string line; std::getline(in, line);)
            lines.push_back(line);
        return lines;
    }

private:
    void* symbol(const char* name) const { return Orvia::VisionSystem::findLibrarySymbol(handle_, name); }
    void* handle_;
};

class CountingSink : public ICalcVolumeSink {
public:
    void onVolumeResult(const std::vector<BoxDims>&, const LpmcResult*, int) override { ++calls; }
    std::atomic<int> calls{0};
};

class OutputPluginTest : public TempWorkDirTest {
protected:
    void SetUp() override {
        stub::reset();
        writeLocalStation();
        ASSERT_TRUE(recording.loaded());
        ASSERT_TRUE(nullContext.loaded());
        ASSERT_TRUE(failingInit.loaded());
    }
    void TearDown() override { setting() = ""; }

    static std::string& setting() { return AdvancedConfig::instance().OutputPlugin; }
    bool initialize(const std::string& value, int* error = nullptr) {
        setting() = value;
        return manager.initialize(true, "cfg/", error);
    }
    bool hasError(const std::string& text) const { return log.has(OVP_LOG_ERROR, "Volume", kPluginFn, text); }

    PluginRecord recording{libraryFile("RecordingPlugin")};
    PluginRecord nullContext{libraryFile("NullContextPlugin")};
    PluginRecord failingInit{libraryFile("FailingInitPlugin")};
    CCalcQuboid3DMgr manager;
};

TEST_F(OutputPluginTest, NameAndArgumentsAreSplitAtTheAmpersandAndTheSuffixIsAdded) {
    ASSERT_TRUE(initialize("RecordingPlugin&bar"));
    EXPECT_EQ(recording.calls(), std::vector<std::string>{"init [bar] context null"});
    manager.finalize();
}

TEST_F(OutputPluginTest, NameWithItsSuffixAndEmptyArgumentsStillInitialises) {
    ASSERT_TRUE(initialize(libraryFile("RecordingPlugin") + "&"));
    EXPECT_EQ(recording.calls(), std::vector<std::string>{"init [] context null"});
    manager.finalize();
}

TEST_F(OutputPluginTest, EmptyNameBecomesTheBareSuffixAndFailsToLoad) {
    int error = 0;
    EXPECT_FALSE(initialize("&x", &error));
    EXPECT_EQ(error, VSLB_ERR_OUTPUT_PLUGIN);
    EXPECT_TRUE(hasError("load output plugin error: " + libraryFile("")));
}

TEST_F(OutputPluginTest, SettingWithoutAmpersandIsAConfigError) {
    int error = 0;
    EXPECT_FALSE(initialize("RecordingPlugin", &error));
    EXPECT_EQ(error, VSLB_ERR_OUTPUT_PLUGIN);
    EXPECT_TRUE(hasError("output plugin config error: RecordingPlugin"));
    EXPECT_TRUE(recording.calls().empty());
}

TEST_F(OutputPluginTest, FurtherAmpersandsBelongToTheArguments) {
    ASSERT_TRUE(initialize("RecordingPlugin&b&c"));
    EXPECT_EQ(recording.calls(), std::vector<std::string>{"init [b&c] context null"});
    manager.finalize();
}

TEST_F(OutputPluginTest, BlanksAroundNameAndArgumentsAreTrimmed) {
    ASSERT_TRUE(initialize(" \tRecordingPlugin \t&  some args \t"));
    EXPECT_EQ(recording.calls(), std::vector<std::string>{"init [some args] context null"});
    manager.finalize();
}

TEST_F(OutputPluginTest, SuffixComparisonIsCaseSensitive) {
    const std::string upperSuffix = upperCase(libraryFile(""));
    EXPECT_FALSE(initialize("Foo" + upperSuffix + "&x"));
    EXPECT_TRUE(hasError("load output plugin error: " + libraryFile("Foo" + upperSuffix)));
}

TEST_F(OutputPluginTest, EmptySettingLoadsNothingAndCostsNothing) {
    int error = 0;
    ASSERT_TRUE(initialize("", &error));
    for (const auto& line : log.lines())
        EXPECT_EQ(line.function == kPluginFn, false) << line.text;
}

TEST_F(OutputPluginTest, MissingLibraryFails) {
    EXPECT_FALSE(initialize("NoSuchPlugin&x"));
    EXPECT_TRUE(hasError("load output plugin error: " + libraryFile("NoSuchPlugin")));
}

TEST_F(OutputPluginTest, MissingSymbolFailsAndNothingIsCalled) {
    PluginRecord missing(libraryFile("MissingProcPlugin"));
    int error = 0;
    EXPECT_FALSE(initialize("MissingProcPlugin&x", &error));
    EXPECT_EQ(error, VSLB_ERR_OUTPUT_PLUGIN);
    EXPECT_TRUE(hasError("load output plugin error: " + libraryFile("MissingProcPlugin")));
    manager.finalize();
    EXPECT_TRUE(missing.calls().empty());
}

TEST_F(OutputPluginTest, FailingInitKeepsTheObjectFromStartingAndIsNeverFinished) {
    int error = 0;
    EXPECT_FALSE(initialize("FailingInitPlugin&args here", &error));
    EXPECT_EQ(error, VSLB_ERR_OUTPUT_PLUGIN);
    EXPECT_TRUE(hasError("output plugin init error: args here"));
    EXPECT_EQ(stub::received().createCalls, 0) << "the plug-in comes before the calculator";
    manager.finalize();
    EXPECT_EQ(failingInit.calls(), std::vector<std::string>{"init [args here] context null"});
}

TEST_F(OutputPluginTest, NullContextCountsAsInitialisedButIsNeverCalledAgain) {
    ASSERT_TRUE(initialize("NullContextPlugin&x"));
    stub::script([](stub::Script& s) { s.results.push_back({0, 1, {boxOf(300, 200, 100)}, {}, -1}); });
    CountingSink sink;
    ASSERT_TRUE(manager.run(&sink));
    while (sink.calls < 1)
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    manager.stop();
    manager.finalize();
    EXPECT_EQ(nullContext.calls(), std::vector<std::string>{"init [x] context null"});
}

TEST_F(OutputPluginTest, EachMeasuredBoxReachesThePluginAsA560ByteRecord) {
    ASSERT_TRUE(initialize("RecordingPlugin&x"));
    stub::script([](stub::Script& s) {
        s.results.push_back({0, 2, {boxOf(9, 9, 9)}, {}, -1});
        s.results.push_back({0, 1, {boxOf(300, 200, 100), boxOf(50, 40, 30)}, {}, -1});
    });
    CountingSink sink;
    ASSERT_TRUE(manager.run(&sink));
    while (sink.calls < 2)
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    manager.stop();
    manager.finalize();
    EXPECT_EQ(
        recording.calls(),
        (std::vector<std::string>{"init [x] context null",
                                  "proc size 560 field 560 context ours L 300.0 W 200.0 H 100.0 V 6000000.0",
                                  "proc size 560 field 560 context ours L 50.0 W 40.0 H 30.0 V 60000.0",
                                  "fini context ours"}));
}

TEST_F(OutputPluginTest, FinalizeThenDestructionFinishesOnce) {
    {
        CCalcQuboid3DMgr object;
        setting() = "RecordingPlugin&x";
        ASSERT_TRUE(object.initialize(true, "cfg/", nullptr));
        object.finalize();
    }
    EXPECT_EQ(recording.calls(), (std::vector<std::string>{"init [x] context null", "fini context ours"}));
}

TEST_F(OutputPluginTest, DestructionAloneFinishesTheActivePlugin) {
    {
        CCalcQuboid3DMgr object;
        setting() = "RecordingPlugin&x";
        ASSERT_TRUE(object.initialize(true, "cfg/", nullptr));
    }
    EXPECT_EQ(recording.calls(), (std::vector<std::string>{"init [x] context null", "fini context ours"}));
}

// Through the C interface: Fini finalises, and Destroy finalises a second time, which must find
// the plug-in finished already.
TEST_F(OutputPluginTest, FiniThenDestroyThroughTheCInterfaceFinishesThePluginOnce) {
    workDir.writeFile("LocalMode.dat");
    setting() = "RecordingPlugin&x";
    const VslbHandle handle = vslbQuboid3DCreate();
    ASSERT_EQ(vslbQuboid3DInit(handle, "cfg/"), VSLB_OK);
    ASSERT_EQ(vslbQuboid3DFini(handle), VSLB_OK);
    EXPECT_EQ(recording.calls(), (std::vector<std::string>{"init [x] context null", "fini context ours"}));
    vslbQuboid3DDestroy(handle);
    EXPECT_EQ(recording.calls(), (std::vector<std::string>{"init [x] context null", "fini context ours"}));
    EXPECT_EQ(log.count(OVP_LOG_INFO, "Volume", "Orvia::VisionSystem::CCalcQuboid3DMgr::finalize",
                        "Finalize 3D volume success!\n"),
              2);
    EXPECT_EQ(vslbQuboid3DFini(handle), VSLB_ERR_BAD_HANDLE) << "Destroy forgot the handle";
}

TEST_F(OutputPluginTest, RunAfterAFailedPluginInitFindsNoCalculatorAndStopSucceeds) {
    workDir.writeFile("LocalMode.dat");
    setting() = "FailingInitPlugin&x";
    const VslbHandle handle = vslbQuboid3DCreate();
    ASSERT_EQ(vslbQuboid3DInit(handle, "cfg/"), VSLB_ERR_OUTPUT_PLUGIN);
    log.clear();
    ASSERT_EQ(vslbQuboid3DRun(handle, nullptr), VSLB_OK);
    EXPECT_EQ(vslbQuboid3DStop(handle), VSLB_OK);
    EXPECT_TRUE(log.has(OVP_LOG_ERROR, "Volume", "Orvia::VisionSystem::CCalcQuboid3DMgr::threadCalcQuboid3D",
                        "Can't start calc3DProc thread, calc3DVolume obj is null!\n"));
    EXPECT_TRUE(log.withText("Start 3D volume proc thread success.\n").empty());
    EXPECT_EQ(stub::received().processCalls, 0);
    vslbQuboid3DDestroy(handle);
}

TEST_F(OutputPluginTest, SecondInitializeFinishesTheFirstPluginAndLoadsAnother) {
    ASSERT_TRUE(initialize("RecordingPlugin&first"));
    ASSERT_TRUE(initialize("RecordingPlugin&second"));
    manager.finalize();
    EXPECT_EQ(recording.calls(),
              (std::vector<std::string>{"init [first] context null", "fini context ours",
                                        "init [second] context null", "fini context ours"}));
}

TEST_F(OutputPluginTest, PluginStaysThroughRunsAndStops) {
    ASSERT_TRUE(initialize("RecordingPlugin&x"));
    for (int i = 0; i < 2; ++i) {
        ASSERT_TRUE(manager.run(nullptr));
        ASSERT_TRUE(manager.stop());
    }
    EXPECT_EQ(recording.calls(), std::vector<std::string>{"init [x] context null"});
    manager.finalize();
}

// The CSV plug-in that sites use.
class CsvOutputTest : public OutputPluginTest {
protected:
    std::vector<std::string> rows(const std::string& path) {
        std::ifstream in(path);
        std::vector<std::string> lines;
        for (std::string line; std::getline(in, line);)
            lines.push_back(line);
        return lines;
    }
};

TEST_F(CsvOutputTest, WritesAHeaderAndOneFlushedRowPerBox) {
    ASSERT_TRUE(initialize("CsvOutput&boxes.csv"));
    stub::script([](stub::Script& s) { s.results.push_back({0, 1, {boxOf(300, 200, 100)}, {}, -1}); });
    CountingSink sink;
    ASSERT_TRUE(manager.run(&sink));
    while (sink.calls < 1)
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    const auto written = rows("boxes.csv"); // before stop: each row is on disk at once
    manager.stop();
    manager.finalize();
    ASSERT_EQ(written.size(), 2u);
    EXPECT_EQ(written[0], "time,length_mm,width_mm,height_mm,volume_mm3");
    EXPECT_TRUE(written[1].ends_with(",300.00,200.00,100.00,6000000.0")) << written[1];
    EXPECT_EQ(written[1].size(), std::string("2026-11-22 01:07:10.123").size() + 31);
}

TEST_F(CsvOutputTest, AppendsToAnExistingFileWithoutASecondHeader) {
    workDir.writeFile("boxes.csv", "time,length_mm,width_mm,height_mm,volume_mm3\nold row\n");
    ASSERT_TRUE(initialize("CsvOutput&boxes.csv"));
    manager.finalize();
    EXPECT_EQ(rows("boxes.csv"),
              (std::vector<std::string>{"time,length_mm,width_mm,height_mm,volume_mm3", "old row"}));
}

TEST_F(CsvOutputTest, UnopenableFileFailsInitialisation) {
    int error = 0;
    EXPECT_FALSE(initialize("CsvOutput&no/such/dir/boxes.csv", &error));
    EXPECT_EQ(error, VSLB_ERR_OUTPUT_PLUGIN);
    EXPECT_TRUE(hasError("output plugin init error: no/such/dir/boxes.csv"));
}

TEST_F(CsvOutputTest, TwoObjectsWritingOneFileNeverMixTheirRows) {
    CCalcQuboid3DMgr other;
    ASSERT_TRUE(initialize("CsvOutput&shared.csv"));
    ASSERT_TRUE(other.initialize(true, "cfg/", nullptr));
    stub::script([](stub::Script& s) {
        for (int i = 0; i < 200; ++i)
            s.results.push_back({0, 1, {boxOf(100.0f + i, 50, 25)}, {}, -1});
    });
    CountingSink sinkA, sinkB;
    ASSERT_TRUE(manager.run(&sinkA));
    ASSERT_TRUE(other.run(&sinkB));
    while (sinkA.calls + sinkB.calls < 200)
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    manager.stop();
    other.stop();
    manager.finalize();
    other.finalize();
    const auto written = rows("shared.csv");
    ASSERT_EQ(written.size(), 201u);
    for (std::size_t i = 1; i < written.size(); ++i)
        EXPECT_TRUE(written[i].ends_with(",50.00,25.00,") ||
                    written[i].find(",50.00,25.00,") != std::string::npos)
            << written[i];
}

} // namespace
} // namespace quboid3d::test
