// Which lines count as dropped.
#include <gtest/gtest.h>

#include "ConfigLib.h"
#include "DroppedLines.h"

namespace {

// Of a node with cameras 1 to 4 and sensor 2.
std::vector<std::string> DroppedOf(const std::string& present, const std::string& written) {
    ConfigLib_Init(0);
    std::vector<DroppedLine> lines;
    FindDroppedLines(FILE_LOCAL, present, written, {std::make_pair(1U, 4U), std::make_pair(2U, 2U)}, lines);
    ConfigLib_DeInit();
    std::vector<std::string> texts;
    for (const DroppedLine& line : lines) {
        EXPECT_EQ(line.file, FILE_LOCAL);
        texts.push_back(std::to_string(line.line) + " " + line.text);
    }
    return texts;
}

using Texts = std::vector<std::string>;

TEST(DroppedLines, AreNeitherBlankLinesNorComments) {
    EXPECT_EQ(DroppedOf("\n \t\n# Tag = 1\n  ; note\r\n", ""), Texts{});
}

TEST(DroppedLines, AreThoseWhoseTagStandsNowhereInTheWrittenFile) {
    EXPECT_EQ(DroppedOf("NodeID = 1\nOther = 2\nplain words", "NodeID = 7\n"), (Texts{"2 Other = 2", "3 plain words"}));
}

TEST(DroppedLines, AreFoundWhateverTheCaseAndTheBlanksOfTheTag) {
    EXPECT_EQ(DroppedOf(" node id=1\nNODEID = 3\n", "NodeID = 1\n"), Texts{});
}

TEST(DroppedLines, HaveNoLineEndOfEitherKind) {
    EXPECT_EQ(DroppedOf("Other = 2\r\nLast = 3", ""), (Texts{"1 Other = 2", "2 Last = 3"}));
}

TEST(DroppedLines, AreHeadersThatDoNotComeBack) {
    EXPECT_EQ(DroppedOf("[Camera 1-2]\n[Foo 1]\n", "[Camera 1]\n"), (Texts{"1 [Camera 1-2]", "2 [Foo 1]"}));
}

TEST(DroppedLines, AreNoHeadersThatComeBackWithNumbers) {
    EXPECT_EQ(DroppedOf("[Camera]\n[sensor] here\n[Camera 07 - 7]\n", "[Camera 1-4]\n[Sensor 2]\n[Camera 7]\n"),
              Texts{});
    EXPECT_EQ(DroppedOf("[Camera]\n[Sensor]\n", "[Camera 1-4]\n"), Texts{"2 [Sensor]"});
}

TEST(DroppedLines, AreNoHeadersThatNameTheSameSectionInAnotherWay) {
    EXPECT_EQ(DroppedOf("[Camera\" 1-4\"]\n[Camera 4-+4]\n[Sensor\" 1-2\"]\n[CAMERA 2 ] x\n",
                        "[Camera 1-4]\n[Camera 4]\n[Sensor 1-2]\n[Camera 2]\n"),
              Texts{});
}

TEST(DroppedLines, AreHeadersWithoutNumbersOfWhichOnlyAnotherSectionComesBack) {
    EXPECT_EQ(DroppedOf("[Camera]\n[Camera 2-2]\n[Sensor]\n[Sensor 1]\n", "[Camera 2]\n[Sensor 1]\n"),
              (Texts{"1 [Camera]", "3 [Sensor]"}));
}

TEST(DroppedLines, AreHeadersWithoutNumbersWhereTheNodeHasNoDevices) {
    ConfigLib_Init(0);
    std::vector<DroppedLine> lines;
    FindDroppedLines(FILE_LOCAL, "[Camera]\n[Sensor]\n", "[Camera 1-0]\n", {std::make_pair(1U, 0U), std::nullopt},
                     lines);
    ConfigLib_DeInit();
    ASSERT_EQ(lines.size(), 1U);
    EXPECT_EQ(lines[0].text, "[Sensor]");
}

TEST(DroppedLines, AreFoundByTheTagAndNotByTheValue) {
    EXPECT_EQ(DroppedOf("RecordingStorage2 = \"/a\"\n", "RecordingStorage1 = \"/a\"\n"),
              Texts{"1 RecordingStorage2 = \"/a\""});
}

}  // namespace
