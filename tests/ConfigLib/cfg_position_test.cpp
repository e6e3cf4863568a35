// Where the running load stands in its file, as a function that Log points to finds it.
#include "ConfigLib/ConfigTest.h"

namespace {

std::vector<long long> g_positions;

__attribute__((format(printf, 2, 3))) void NotePosition(LOG_LEVEL /*level*/, const char* /*format*/, ...) {
    g_positions.push_back(ConfigFile_Utils_GetReadPosition());
}

class ReadPosition : public ConfigTest {
public:
    ReadPosition() {
        g_positions.clear();
        Log = NotePosition;  // the recorder of the fixture puts back what was there before it
    }
};

using Positions = std::vector<long long>;

TEST_F(ReadPosition, IsTheEndOfTheLineThatAMessageIsAbout) {
    LoadGlobal("ClusterName = a\nNodeCount = 1\n# note\n\nCamerasConnectedToNode2 = 1\nLogLevelNode = 1\n");
    EXPECT_EQ(g_positions, (Positions{66}));
}

TEST_F(ReadPosition, IsTheEndOfTheFileForALastLineWithoutALineEnd) {
    LoadGlobal("ClusterName = a\nNodeCount = 65");
    EXPECT_EQ(g_positions, (Positions{30}));
}

TEST_F(ReadPosition, IsInsideALineThatIsLongerThanTheBuffer) {
    const std::string begin = std::string(1183 - 14, '#');
    LoadGlobal(begin + "nodecount = 70" + "nodecount = 70\n");
    EXPECT_EQ(g_positions, (Positions{1183 + 15}));
}

TEST_F(ReadPosition, IsNoneForMessagesBehindTheLastLine) {
    LoadGlobal("NodeCount = 1\n");
    EXPECT_EQ(g_positions, (Positions{-1}));
}

TEST_F(ReadPosition, IsNoneForAFileThatCannotBeOpened) {
    ConfigLib_Load_Global();
    EXPECT_EQ(g_positions, (Positions{-1}));
}

TEST_F(ReadPosition, IsNoneOutsideOfALoadThatFailedHalfway) {
    LoadGlobal("NodeCount = 2\nNodeCount = 2\nClusterName = a\n");
    EXPECT_EQ(g_positions, (Positions{28}));
    EXPECT_EQ(ConfigFile_Utils_GetReadPosition(), -1);
}

TEST_F(ReadPosition, IsThatOfLocalCfgWhileThatIsLoaded) {
    LoadGlobal("ClusterName = a\nNodeCount = 1\n");
    LoadLocal("NodeID = 1\nRecordingStorage16 = /a\n[Sensor 1]\n");
    EXPECT_EQ(g_positions, (Positions{35, 46}));
}

}  // namespace
