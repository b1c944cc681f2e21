#include "KeyValueCfgParser.h"

#include <fstream>
#include <iterator>
#include <sstream>
#include <string>

#include <gtest/gtest.h>

#include "TempWorkDir.h"

namespace quboid3d::test {
namespace {

using Orvia::VisionSystem::CKeyValueCfgParser;
using namespace std::string_literals;

constexpr const char* kChannel = "KeyValParser";
constexpr const char* kLogFile = "Include/KeyValueCfgParser.h";
constexpr const char* kParseFileFn = "Orvia::VisionSystem::CKeyValueCfgParser::parseKeyValueCfg";
constexpr const char* kParseFn = "Orvia::VisionSystem::CKeyValueCfgParser::parse";
constexpr const char* kGetValFn = "Orvia::VisionSystem::CKeyValueCfgParser::getVal";
constexpr const char* kSaveFn = "Orvia::VisionSystem::CKeyValueCfgParser::saveKeyValueCfg";
constexpr const char* kFile = "test.cfg";

std::string missingKeyText(const std::string& key) {
    return "Can't find key[" + key + "], value is null!\n";
}

std::string formatErrorText(const std::string& line) {
    return "Cfg has format error[" + line + "]!\n";
}

class KeyValueCfgParserTest : public TempWorkDirTest {
protected:
    bool parseFile(const std::string& content, bool requireEntries = false) {
        workDir.writeFile(kFile, content);
        return parser.parseKeyValueCfg(kFile, requireEntries);
    }

    // Read as text, as the parser writes it: on Windows its lines end in CR LF on disk.
    std::string readFile(const std::string& name) const {
        std::ifstream in(workDir.path() / name);
        return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
    }

    // Lines of the parser with this level, function and exact text, written from its header.
    int logged(int level, const char* function, const std::string& text) const {
        int n = 0;
        for (const LogLine& line : log.lines())
            if (line.level == level && line.channel == kChannel && line.function == function &&
                line.file == kLogFile && line.text == text)
                ++n;
        return n;
    }

    // A lookup of an absent key logs a warning; a stored key, even with an empty value, does not.
    bool isStored(const std::string& key) {
        const int before = logged(OVP_LOG_WARN, kGetValFn, missingKeyText(key));
        parser.getVal(key);
        return logged(OVP_LOG_WARN, kGetValFn, missingKeyText(key)) == before;
    }

    CKeyValueCfgParser parser;
};

// --- File route -------------------------------------------------------------------------------

TEST_F(KeyValueCfgParserTest, FileLineLongerThan255BytesContinuesAsALineOfItsOwn) {
    // 300 characters, the `=` behind the first 255.
    const std::string head(255, 'k');
    const std::string tail = std::string(25, 'k') + "=" + std::string(19, 'v');
    ASSERT_EQ((head + tail).size(), 300u);
    ASSERT_TRUE(parseFile(head + tail + "\n"));
    EXPECT_EQ(logged(OVP_LOG_WARN, kParseFileFn, formatErrorText(head)), 1);
    EXPECT_EQ(log.lines().size(), 1u);
    EXPECT_EQ(parser.getVal(std::string(25, 'k')), std::string(19, 'v'));
    EXPECT_FALSE(isStored(head + std::string(25, 'k')));
}

TEST_F(KeyValueCfgParserTest, FileValueIsCutAt255BytesAndItsRestIsALineOfItsOwn) {
    const std::string line = "a=" + std::string(298, 'v');
    ASSERT_TRUE(parseFile(line + "\nb=2\n"));
    EXPECT_EQ(parser.getVal("a"), std::string(253, 'v'));
    EXPECT_EQ(logged(OVP_LOG_WARN, kParseFileFn, formatErrorText(std::string(45, 'v'))), 1);
    EXPECT_EQ(parser.getVal("b"), "2");
}

TEST_F(KeyValueCfgParserTest, FileLineOfExactly255BytesLeavesOnlyAnEmptyLineBehind) {
    ASSERT_TRUE(parseFile("a=" + std::string(253, 'v') + "\nb=2\n"));
    EXPECT_EQ(parser.getVal("a"), std::string(253, 'v'));
    EXPECT_EQ(parser.getVal("b"), "2");
    EXPECT_TRUE(log.lines().empty());
}

TEST_F(KeyValueCfgParserTest, FileKeyWithoutValueIsStoredEmptyAndReadsAsNoNumber) {
    ASSERT_TRUE(parseFile("key=\n", true));
    EXPECT_TRUE(isStored("key"));
    EXPECT_EQ(parser.getVal("key"), "");
    int number = 7;
    EXPECT_FALSE(parser.getVal("key", number));
    EXPECT_EQ(number, 7);
    double real = 7.5;
    EXPECT_FALSE(parser.getVal("key", real));
    EXPECT_EQ(real, 7.5);
    double sentinel = 0.0;
    double* list = &sentinel;
    EXPECT_EQ(parser.getVal("key", list), 0);
    EXPECT_EQ(list, &sentinel);
    EXPECT_TRUE(log.lines().empty());
}

TEST_F(KeyValueCfgParserTest, FileCommentsOnlyStoreNothingAndLogNothing) {
    const std::string comments = "# site\n   # indented\n// slashes\n  //  indented\n\n   \n";
    EXPECT_FALSE(parseFile(comments, true));
    EXPECT_TRUE(parseFile(comments, false));
    EXPECT_TRUE(log.lines().empty());
}

TEST_F(KeyValueCfgParserTest, FileCommentIsOnlyEverAWholeLine) {
    ASSERT_TRUE(parseFile("a = 1 # note\nb=2//x\n#c=3\n//d=4\n", true));
    EXPECT_EQ(parser.getVal("a"), "1#note");
    EXPECT_EQ(parser.getVal("b"), "2//x");
    EXPECT_FALSE(isStored("#c"));
    EXPECT_FALSE(isStored("c"));
    EXPECT_FALSE(isStored("//d"));
}

TEST_F(KeyValueCfgParserTest, FileCommentMarkersAreFoundAfterBlanksAreRemoved) {
    // "/ / x=1" loses its blanks first and so begins with "//".
    ASSERT_TRUE(parseFile("/ / x=1\n/y=2\n/\n"));
    EXPECT_FALSE(isStored("x"));
    EXPECT_FALSE(isStored("//x"));
    EXPECT_EQ(parser.getVal("/y"), "2");
    EXPECT_EQ(logged(OVP_LOG_WARN, kParseFileFn, formatErrorText("/")), 1);
}

TEST_F(KeyValueCfgParserTest, FileLineIsCutAtItsFirstCrAndLf) {
    ASSERT_TRUE(parseFile("a=1\r\nb=2\rc=3\nd=4\r\r\n"));
    EXPECT_EQ(parser.getVal("a"), "1");
    EXPECT_EQ(parser.getVal("b"), "2");
    EXPECT_FALSE(isStored("c"));
    EXPECT_EQ(parser.getVal("d"), "4");
}

TEST_F(KeyValueCfgParserTest, FileLastLineWithoutLineEndIsRead) {
    ASSERT_TRUE(parseFile("a=1\nlast=9"));
    EXPECT_EQ(parser.getVal("last"), "9");
}

TEST_F(KeyValueCfgParserTest, FileEmptyAndBlankLinesAreSkippedSilently) {
    ASSERT_TRUE(parseFile("\n   \n\r\n \r\na=1\n\n"));
    EXPECT_EQ(parser.getVal("a"), "1");
    EXPECT_TRUE(log.lines().empty());
}

TEST_F(KeyValueCfgParserTest, FileLineWithoutEqualsIsLoggedAsItStandsWithoutBlanksAndSkipped) {
    ASSERT_TRUE(parseFile("a=1\nno equals here\nb=2\n", true));
    EXPECT_EQ(logged(OVP_LOG_WARN, kParseFileFn, formatErrorText("noequalshere")), 1);
    EXPECT_EQ(log.lines().size(), 1u);
    EXPECT_EQ(parser.getVal("a"), "1");
    EXPECT_EQ(parser.getVal("b"), "2");
}

TEST_F(KeyValueCfgParserTest, FileOfFormatErrorsAloneStoresNoEntry) {
    EXPECT_FALSE(parseFile("one\ntwo\n", true));
    EXPECT_EQ(logged(OVP_LOG_WARN, kParseFileFn, formatErrorText("one")), 1);
    EXPECT_EQ(logged(OVP_LOG_WARN, kParseFileFn, formatErrorText("two")), 1);
    EXPECT_TRUE(parseFile("one\ntwo\n", false));
}

TEST_F(KeyValueCfgParserTest, MissingFileFailsAndEmptiesTheValuesHeldBefore) {
    ASSERT_TRUE(parser.parse("x=1\n"));
    EXPECT_FALSE(parser.parseKeyValueCfg("missing.cfg", false));
    EXPECT_EQ(logged(OVP_LOG_ERROR, kParseFileFn, "Read cfg failed, not found[missing.cfg]!\n"), 1);
    EXPECT_FALSE(isStored("x"));

    ASSERT_TRUE(parser.parse("x=1\n"));
    EXPECT_FALSE(parser.parseKeyValueCfg("missing.cfg", true));
    EXPECT_FALSE(isStored("x"));
    EXPECT_EQ(logged(OVP_LOG_ERROR, kParseFileFn, "Read cfg failed, not found[missing.cfg]!\n"), 2);
}

TEST_F(KeyValueCfgParserTest, FileParseReplacesTheWholeContent) {
    ASSERT_TRUE(parseFile("a=1\n"));
    ASSERT_TRUE(parseFile("b=2\n"));
    EXPECT_FALSE(isStored("a"));
    EXPECT_EQ(parser.getVal("b"), "2");
}

// --- String route -----------------------------------------------------------------------------

TEST_F(KeyValueCfgParserTest, StringCrlfLeavesANulByteAtTheEndOfTheValue) {
    ASSERT_TRUE(parser.parse("key=\r\n"));
    EXPECT_EQ(parser.getVal("key"), "\0"s);
    EXPECT_EQ(parser.getVal("key").size(), 1u);
    int number = 7;
    EXPECT_TRUE(parser.getVal("key", number));
    EXPECT_EQ(number, 0);
}

TEST_F(KeyValueCfgParserTest, StringCrlfValuesStillReadAsNumbers) {
    ASSERT_TRUE(parser.parse("a = 12\r\nb = [1,2]\r\n"));
    EXPECT_EQ(parser.getVal("a"), "12\0"s);
    int number = 0;
    EXPECT_TRUE(parser.getVal("a", number));
    EXPECT_EQ(number, 12);
    double* list = nullptr;
    EXPECT_EQ(parser.getVal("b", list), 2);
    EXPECT_EQ(list[1], 2.0);
}

TEST_F(KeyValueCfgParserTest, StringCrInsideALineBecomesANulThatKeepsTheRest) {
    ASSERT_TRUE(parser.parse("a=1\rb=2\n"));
    EXPECT_EQ(parser.getVal("a"), "1\0b=2"s);
    EXPECT_FALSE(isStored("b"));
}

TEST_F(KeyValueCfgParserTest, StringKeepsNulBytes) {
    ASSERT_TRUE(parser.parse("a=x\0y\nk\0=1\n"s));
    EXPECT_EQ(parser.getVal("a"), "x\0y"s);
    EXPECT_EQ(parser.getVal("k\0"s), "1");
}

TEST_F(KeyValueCfgParserTest, StringLinesHaveNoLengthLimit) {
    const std::string key(300, 'k');
    const std::string value(400, 'v');
    ASSERT_TRUE(parser.parse(key + "=" + value + "\n"));
    EXPECT_EQ(parser.getVal(key), value);
    EXPECT_TRUE(log.lines().empty());
}

TEST_F(KeyValueCfgParserTest, StringEmptyAndBlankLinesAreFormatErrors) {
    ASSERT_TRUE(parser.parse("a=1\n\n   \nb=2\n"));
    EXPECT_EQ(logged(OVP_LOG_WARN, kParseFn, formatErrorText("")), 2);
    EXPECT_EQ(log.lines().size(), 2u);
    EXPECT_EQ(parser.getVal("b"), "2");
}

TEST_F(KeyValueCfgParserTest, StringKnowsNoComments) {
    ASSERT_TRUE(parser.parse("#a=1\n// b = 2\n# note\n"));
    EXPECT_EQ(parser.getVal("#a"), "1");
    EXPECT_EQ(parser.getVal("//b"), "2");
    EXPECT_EQ(logged(OVP_LOG_WARN, kParseFn, formatErrorText("#note")), 1);
}

TEST_F(KeyValueCfgParserTest, StringLastLineWithoutLineEndIsRead) {
    ASSERT_TRUE(parser.parse("a=1\nb=2"));
    EXPECT_EQ(parser.getVal("b"), "2");
    EXPECT_TRUE(log.lines().empty());
}

TEST_F(KeyValueCfgParserTest, StringParseIsAlwaysTrueAndReplacesTheWholeContent) {
    ASSERT_TRUE(parser.parse("a=1\n"));
    EXPECT_TRUE(parser.parse(""));
    EXPECT_TRUE(log.lines().empty());
    EXPECT_FALSE(isStored("a"));
    EXPECT_TRUE(parser.parse("no pairs at all"));
    EXPECT_EQ(logged(OVP_LOG_WARN, kParseFn, formatErrorText("nopairsatall")), 1);
}

// --- Syntax both routes share -----------------------------------------------------------------

enum class Route { File, String };

class KeyValueSyntaxTest : public KeyValueCfgParserTest, public ::testing::WithParamInterface<Route> {
protected:
    bool load(const std::string& text) {
        return GetParam() == Route::File ? parseFile(text) : parser.parse(text);
    }
    const char* parseFunction() const { return GetParam() == Route::File ? kParseFileFn : kParseFn; }
};

TEST_P(KeyValueSyntaxTest, BlanksAreRemovedEverywhereButTabsStay) {
    ASSERT_TRUE(load("a b = c d\n  x  =  1  \nt\t=\t2\n"));
    EXPECT_EQ(parser.getVal("ab"), "cd");
    EXPECT_EQ(parser.getVal("x"), "1");
    EXPECT_EQ(parser.getVal("t\t"), "\t2");
    EXPECT_FALSE(isStored("a b"));
}

TEST_P(KeyValueSyntaxTest, LineThatBeginsWithEqualsHasAnEmptyKey) {
    ASSERT_TRUE(load(" = 5\n"));
    EXPECT_EQ(parser.getVal(""), "5");
}

TEST_P(KeyValueSyntaxTest, KeyEndsAtTheFirstEquals) {
    ASSERT_TRUE(load("a=b=c\n"));
    EXPECT_EQ(parser.getVal("a"), "b=c");
}

TEST_P(KeyValueSyntaxTest, LastLineOfARepeatedKeyWins) {
    ASSERT_TRUE(load("a=1\na=2\n"));
    EXPECT_EQ(parser.getVal("a"), "2");
}

TEST_P(KeyValueSyntaxTest, KeysAreCaseSensitive) {
    ASSERT_TRUE(load("Key=1\n"));
    EXPECT_FALSE(isStored("key"));
    EXPECT_EQ(parser.getVal("Key"), "1");
}

TEST_P(KeyValueSyntaxTest, LineWithoutEqualsIsAWarningAndTheRestIsRead) {
    ASSERT_TRUE(load("a=1\nbroken line\nb=2\n"));
    EXPECT_EQ(logged(OVP_LOG_WARN, parseFunction(), formatErrorText("brokenline")), 1);
    EXPECT_EQ(parser.getVal("a"), "1");
    EXPECT_EQ(parser.getVal("b"), "2");
}

INSTANTIATE_TEST_SUITE_P(BothRoutes, KeyValueSyntaxTest, ::testing::Values(Route::File, Route::String),
                         [](const ::testing::TestParamInfo<Route>& info) {
                             return info.param == Route::File ? "File" : "String";
                         });

// --- Lookups ----------------------------------------------------------------------------------

TEST_F(KeyValueCfgParserTest, MissingKeyGivesTheOneProcessWideEmptyStringAndAWarning) {
    CKeyValueCfgParser other;
    const std::string& first = parser.getVal("x");
    const std::string& second = other.getVal("y");
    EXPECT_TRUE(first.empty());
    EXPECT_EQ(&first, &second);
    EXPECT_EQ(logged(OVP_LOG_WARN, kGetValFn, missingKeyText("x")), 1);
    EXPECT_EQ(logged(OVP_LOG_WARN, kGetValFn, missingKeyText("y")), 1);
}

TEST_F(KeyValueCfgParserTest, IntegerIsReadFromTheFrontOfTheValue) {
    ASSERT_TRUE(parser.parse("n=12abc\nt=abc\nneg=-4\nf=3.9\ntab=\t8\nspace=\t\n"));
    int number = 7;
    EXPECT_TRUE(parser.getVal("n", number));
    EXPECT_EQ(number, 12);
    number = 7;
    EXPECT_TRUE(parser.getVal("t", number));
    EXPECT_EQ(number, 0);
    EXPECT_TRUE(parser.getVal("neg", number));
    EXPECT_EQ(number, -4);
    EXPECT_TRUE(parser.getVal("f", number));
    EXPECT_EQ(number, 3);
    EXPECT_TRUE(parser.getVal("tab", number));
    EXPECT_EQ(number, 8);
    // A value of white space alone gives the stream nothing to extract; it still reads as 0.
    number = 7;
    EXPECT_TRUE(parser.getVal("space", number));
    EXPECT_EQ(number, 0);
    EXPECT_TRUE(log.lines().empty());
}

TEST_F(KeyValueCfgParserTest, NumberOfAMissingKeyIsFalseUntouchedAndWarned) {
    int number = 7;
    EXPECT_FALSE(parser.getVal("absent", number));
    EXPECT_EQ(number, 7);
    double real = 7.5;
    EXPECT_FALSE(parser.getVal("absent", real));
    EXPECT_EQ(real, 7.5);
    EXPECT_EQ(logged(OVP_LOG_WARN, kGetValFn, missingKeyText("absent")), 2);
}

TEST_F(KeyValueCfgParserTest, DoubleIsReadFromTheFrontOfTheValue) {
    ASSERT_TRUE(parser.parse("a=2.5x\nb=abc\nc=1e3\nd=-0.25\nspace=\t\n"));
    double real = 7.5;
    EXPECT_TRUE(parser.getVal("a", real));
    EXPECT_EQ(real, 2.5);
    real = 7.5;
    EXPECT_TRUE(parser.getVal("b", real));
    EXPECT_EQ(real, 0.0);
    real = 7.5;
    EXPECT_TRUE(parser.getVal("space", real));
    EXPECT_EQ(real, 0.0);
    EXPECT_TRUE(parser.getVal("c", real));
    EXPECT_EQ(real, 1000.0);
    EXPECT_TRUE(parser.getVal("d", real));
    EXPECT_EQ(real, -0.25);
}

// --- Lists ------------------------------------------------------------------------------------

TEST_F(KeyValueCfgParserTest, ListInBracketsFillsAClearedBufferOfAHundred) {
    ASSERT_TRUE(parser.parse("l = [1.0, 2.5, -3]\n"));
    double* list = nullptr;
    ASSERT_EQ(parser.getVal("l", list), 3);
    ASSERT_NE(list, nullptr);
    EXPECT_EQ(list[0], 1.0);
    EXPECT_EQ(list[1], 2.5);
    EXPECT_EQ(list[2], -3.0);
    for (int i = 3; i < CKeyValueCfgParser::kArrayCapacity; ++i)
        EXPECT_EQ(list[i], 0.0) << "element " << i;
}

TEST_F(KeyValueCfgParserTest, ListCountsTheItemAfterTheLastComma) {
    ASSERT_TRUE(parser.parse("l=1,2,\n"));
    double* list = nullptr;
    ASSERT_EQ(parser.getVal("l", list), 3);
    EXPECT_EQ(list[0], 1.0);
    EXPECT_EQ(list[1], 2.0);
    EXPECT_EQ(list[2], 0.0);
}

TEST_F(KeyValueCfgParserTest, EmptyBracketsAreOneElement) {
    ASSERT_TRUE(parser.parse("l=[]\n"));
    double* list = nullptr;
    ASSERT_EQ(parser.getVal("l", list), 1);
    EXPECT_EQ(list[0], 0.0);
}

TEST_F(KeyValueCfgParserTest, ListItemWithoutANumberCountsAsZero) {
    ASSERT_TRUE(parser.parse("l=[x,2,,4y]\n"));
    double* list = nullptr;
    ASSERT_EQ(parser.getVal("l", list), 4);
    EXPECT_EQ(list[0], 0.0);
    EXPECT_EQ(list[1], 2.0);
    EXPECT_EQ(list[2], 0.0);
    EXPECT_EQ(list[3], 4.0);
}

TEST_F(KeyValueCfgParserTest, ListDropsTextUpToTheFirstOpenAndFromTheFirstCloseBracket) {
    ASSERT_TRUE(parser.parse("a=pre[5,6]post,7\nb=7,8]9\nc=[1,[2]\n"));
    double* list = nullptr;
    ASSERT_EQ(parser.getVal("a", list), 2);
    EXPECT_EQ(list[0], 5.0);
    EXPECT_EQ(list[1], 6.0);
    ASSERT_EQ(parser.getVal("b", list), 2);
    EXPECT_EQ(list[0], 7.0);
    EXPECT_EQ(list[1], 8.0);
    ASSERT_EQ(parser.getVal("c", list), 2);
    EXPECT_EQ(list[0], 1.0);
    EXPECT_EQ(list[1], 0.0);
}

TEST_F(KeyValueCfgParserTest, ListOf150NumbersStopsAtAHundred) {
    std::ostringstream text;
    text << "l=[";
    for (int i = 1; i <= 150; ++i)
        text << i << (i < 150 ? "," : "]\n");
    ASSERT_TRUE(parser.parse(text.str()));
    double* list = nullptr;
    ASSERT_EQ(parser.getVal("l", list), 100);
    for (int i = 0; i < 100; ++i)
        EXPECT_EQ(list[i], i + 1.0) << "element " << i;
}

TEST_F(KeyValueCfgParserTest, SameListKeyTwiceGivesTheSameBufferClearedAndRefilled) {
    ASSERT_TRUE(parser.parse("l=[1,2,3]\n"));
    double* first = nullptr;
    ASSERT_EQ(parser.getVal("l", first), 3);
    parser.setVal("l", "[9]");
    double* second = nullptr;
    ASSERT_EQ(parser.getVal("l", second), 1);
    EXPECT_EQ(second, first);
    EXPECT_EQ(first[0], 9.0);
    EXPECT_EQ(first[1], 0.0);
    EXPECT_EQ(first[2], 0.0);
}

TEST_F(KeyValueCfgParserTest, ListBuffersOutliveALaterParse) {
    ASSERT_TRUE(parser.parse("l=[1,2]\n"));
    double* first = nullptr;
    ASSERT_EQ(parser.getVal("l", first), 2);
    ASSERT_TRUE(parser.parse("other=1\n"));
    EXPECT_EQ(first[1], 2.0);
    ASSERT_TRUE(parser.parse("l=[4]\n"));
    double* second = nullptr;
    ASSERT_EQ(parser.getVal("l", second), 1);
    EXPECT_EQ(second, first);
    EXPECT_EQ(first[0], 4.0);
    EXPECT_EQ(first[1], 0.0);
}

TEST_F(KeyValueCfgParserTest, ListOfAnEmptyOrMissingValueIsZeroAndLeavesThePointer) {
    ASSERT_TRUE(parser.parse("empty=\n"));
    double sentinel = 0.0;
    double* list = &sentinel;
    EXPECT_EQ(parser.getVal("empty", list), 0);
    EXPECT_EQ(list, &sentinel);
    EXPECT_EQ(parser.getVal("absent", list), 0);
    EXPECT_EQ(list, &sentinel);
    EXPECT_EQ(logged(OVP_LOG_WARN, kGetValFn, missingKeyText("absent")), 1);
}

// --- Writing ----------------------------------------------------------------------------------

TEST_F(KeyValueCfgParserTest, SetValCreatesAndOverwrites) {
    parser.setVal("a", "1");
    EXPECT_EQ(parser.getVal("a"), "1");
    parser.setVal("a", "two words");
    EXPECT_EQ(parser.getVal("a"), "two words");
}

TEST_F(KeyValueCfgParserTest, SaveAfterSetValWritesSortedPairsWithoutComments) {
    ASSERT_TRUE(parseFile("# header\nb = 2\n// middle\na=1\n", true));
    parser.setVal("c", "3");
    parser.setVal("a", "9");
    ASSERT_TRUE(parser.saveKeyValueCfg("out.cfg"));
    EXPECT_EQ(readFile("out.cfg"), "a = 9\nb = 2\nc = 3\n");
}

TEST_F(KeyValueCfgParserTest, SaveOrdersKeysByPlainByteComparison) {
    // Bytes compare unsigned: a key that begins with 0xE9 comes after every ASCII key.
    ASSERT_TRUE(parser.parse("\xE9=4\nab=3\na=2\nB=1\n=0\n"));
    ASSERT_TRUE(parser.saveKeyValueCfg("out.cfg"));
    EXPECT_EQ(readFile("out.cfg"), " = 0\nB = 1\na = 2\nab = 3\n\xE9 = 4\n");
}

TEST_F(KeyValueCfgParserTest, SaveEmptiesAnExistingFile) {
    workDir.writeFile("out.cfg", "old=1\nolder=2\n# kept?\n");
    parser.setVal("new", "3");
    ASSERT_TRUE(parser.saveKeyValueCfg("out.cfg"));
    EXPECT_EQ(readFile("out.cfg"), "new = 3\n");
}

TEST_F(KeyValueCfgParserTest, SaveWritesAValueOnlyUpToItsNulByte) {
    ASSERT_TRUE(parser.parse("k=v\r\n"));
    ASSERT_TRUE(parser.saveKeyValueCfg("out.cfg"));
    EXPECT_EQ(readFile("out.cfg"), "k = v\n");
}

TEST_F(KeyValueCfgParserTest, SavedFileReadsBackToTheSameValues) {
    parser.setVal("PlaneA", "0.25");
    parser.setVal("InstriCamParams", "[1,2,3]");
    ASSERT_TRUE(parser.saveKeyValueCfg("out.cfg"));
    CKeyValueCfgParser reread;
    ASSERT_TRUE(reread.parseKeyValueCfg("out.cfg", true));
    EXPECT_EQ(reread.getVal("PlaneA"), "0.25");
    EXPECT_EQ(reread.getVal("InstriCamParams"), "[1,2,3]");
}

TEST_F(KeyValueCfgParserTest, SaveFailsWhenTheFileCantBeCreatedAndKeepsTheValues) {
    parser.setVal("a", "1");
    EXPECT_FALSE(parser.saveKeyValueCfg("no-such-dir/out.cfg"));
    EXPECT_EQ(logged(OVP_LOG_ERROR, kSaveFn, "Create cfg failed, not found[no-such-dir/out.cfg]!\n"), 1);
    EXPECT_EQ(parser.getVal("a"), "1");
}

} // namespace
} // namespace quboid3d::test
