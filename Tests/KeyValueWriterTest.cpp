// The one writer of key-value files: the comment line, the order of the pairs as given, the
// file replaced, and the two ways it can fail.
#include <fstream>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "Orvia/ConfigFormat/CalibFiles.h"
#include "Orvia/ConfigFormat/KeyValueWriter.h"
#include "TempWorkDir.h"

namespace {

using namespace quboid3d::test;
namespace Format = Orvia::VisionSystem::ConfigFormat;
using Pairs = std::vector<std::pair<std::string, std::string>>;

// Read as text, as the writer writes it: on Windows its lines end in CR LF on disk.
std::string contentOf(const char* path) {
    std::ifstream in(path);
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

class KeyValueWriterTest : public TempWorkDirTest {};

TEST_F(KeyValueWriterTest, WritesTheCommentThenThePairsInTheirOwnOrder) {
    const Pairs pairs{{"zeta", "1"}, {"alpha", "[1,2]"}, {"PlaneA", "-0.5"}};
    ASSERT_EQ(Format::writeKeyValueFile("out.cfg", pairs, "made here"), Format::KeyValueWrite::Written);
    EXPECT_EQ(contentOf("out.cfg"), "# made here\nzeta = 1\nalpha = [1,2]\nPlaneA = -0.5\n");
}

TEST_F(KeyValueWriterTest, WithoutACommentThereIsNoCommentLineAndNoPairsGiveAnEmptyFile) {
    ASSERT_EQ(Format::writeKeyValueFile("out.cfg", Pairs{{"k", "v"}}), Format::KeyValueWrite::Written);
    EXPECT_EQ(contentOf("out.cfg"), "k = v\n");
    ASSERT_EQ(Format::writeKeyValueFile("out.cfg", Pairs{}), Format::KeyValueWrite::Written);
    EXPECT_EQ(contentOf("out.cfg"), "");
}

TEST_F(KeyValueWriterTest, TheTextHasTheLinesOfTheFileEndingInLineFeeds) {
    const Pairs pairs{{"zeta", "1"}, {"alpha", std::string("[1,2]\0tail", 10)}};
    EXPECT_EQ(Format::keyValueText(pairs, "made here"), "# made here\nzeta = 1\nalpha = [1,2]\n");
    EXPECT_EQ(Format::keyValueText(pairs), "zeta = 1\nalpha = [1,2]\n");
    EXPECT_EQ(Format::keyValueText(Pairs{}), "");
}

TEST_F(KeyValueWriterTest, AFileThatCantBeCreatedIsReportedAsNotCreated) {
    EXPECT_EQ(Format::writeKeyValueFile("no-such-dir/out.cfg", Pairs{{"k", "v"}}),
              Format::KeyValueWrite::NotCreated);
}

TEST_F(KeyValueWriterTest, AFailedWriteIsReportedAsNotWritten) {
    // The full device takes the open and refuses the data when it is flushed.
    if (!std::ifstream("/dev/full")) {
        GTEST_SKIP() << "no /dev/full on this platform";
    }
    EXPECT_EQ(Format::writeKeyValueFile("/dev/full", Pairs{{"k", "v"}}), Format::KeyValueWrite::NotWritten);
}

TEST(ConfigFormatTest, TheCameraFilesAreNumberedFromZero) {
    EXPECT_EQ(Format::intrinsicsFile(0), "CamInstrinsic0.data");
    EXPECT_EQ(Format::extrinsicsFile(1), "CamExtrinsic1.data");
}

} // namespace
