// What a call of Log puts into the ring.
#include <cstring>
#include <string>

#include "Faults.h"
#include "LogFixture.h"

namespace {

TEST(LogPointer, IsLogFuncFromTheStart) {
    EXPECT_EQ(Log, LogFunc);
}

TEST_F(LogTest, LogBeforeOpenLogAndAfterCloseLogHasNoEffectAndDoesNotCrash) {
    Log(LOG_LEVEL_ERROR, "before %d", 1);
    EXPECT_EQ(g_pBuf, nullptr);
    EXPECT_EQ(Console(), "");
    EXPECT_FALSE(test_support::Exists(PresentPath()));

    ASSERT_EQ(Open(), 1);
    CloseLog();
    Log(LOG_LEVEL_ERROR, "after %d", 1);
    EXPECT_EQ(Present(), kBanner);
    EXPECT_EQ(Console(), "");
}

TEST_F(LogTest, ALineReachesFileAndStandardOutput) {
    ASSERT_EQ(Open(), 1);
    Log(LOG_LEVEL_ERROR, "Cannot %s %u of %c%d%%", "load", 3U, '-', 4);
    Log(kPlain, "plain");
    CloseLog();
    EXPECT_EQ(Present(), std::string(kBanner) + "ERROR: Cannot load 3 of -4%\nplain\n");
    EXPECT_EQ(Console(), "ERROR: Cannot load 3 of -4%\nplain\n");
}

TEST_F(RingTest, OnlyTheErrorLevelHasAPrefix) {
    LogFunc(static_cast<LOG_LEVEL>(0), "zero");
    LogFunc(static_cast<LOG_LEVEL>(2), "two");
    LogFunc(static_cast<LOG_LEVEL>(3), "three");
    LogFunc(static_cast<LOG_LEVEL>(4), "four");
    EXPECT_EQ(Contents(), "zero\ntwo\nERROR: three\nfour\n");
}

TEST_F(RingTest, AMessageBelowTheLevelIsDropped) {
    g_LogLevel = static_cast<LOG_LEVEL>(3);
    LogFunc(static_cast<LOG_LEVEL>(2), "below");
    LogFunc(static_cast<LOG_LEVEL>(3), "at");
    LogFunc(static_cast<LOG_LEVEL>(4), "above");
    EXPECT_EQ(Contents(), "ERROR: at\nabove\n");
}

TEST_F(RingTest, LevelsAreComparedAsSignedNumbers) {
    LogFunc(static_cast<LOG_LEVEL>(-1), "below zero");
    EXPECT_EQ(Contents(), "");
    g_LogLevel = static_cast<LOG_LEVEL>(-1);
    LogFunc(static_cast<LOG_LEVEL>(-1), "at minus one");
    EXPECT_EQ(Contents(), "at minus one\n");
}

TEST_F(RingTest, ATextWithALineFeedOfItsOwnKeepsItAndMakesTwoLines) {
    LogFunc(LOG_LEVEL_ERROR, "one\ntwo");
    EXPECT_EQ(Contents(), "ERROR: one\ntwo\n");
}

TEST_F(RingTest, ATextWithALineFeedAtItsEndMakesAnEmptyLine) {
    LogFunc(kPlain, "one\n");
    EXPECT_EQ(Contents(), "one\n\n");
}

TEST_F(RingTest, AnEmptyMessageYieldsAnEmptyLine) {
    LogFunc(kPlain, "%s", "");
    LogFunc(LOG_LEVEL_ERROR, "%s", "");
    EXPECT_EQ(Contents(), "\nERROR: \n");
}

TEST_F(RingTest, BytesOf128AndAboveAreKept) {
    LogFunc(kPlain, "%s", "\x80\xC3\xA9\xFF");
    EXPECT_EQ(Contents(), "\x80\xC3\xA9\xFF\n");
}

// A wide character that the locale has no bytes for.
TEST_F(RingTest, ATextThatCannotBeFormattedYieldsThePrefixAlone) {
    const wchar_t wide[] = {static_cast<wchar_t>(0x7FFFFFFF), L'\0'};
    LogFunc(LOG_LEVEL_ERROR, "%ls", wide);
    LogFunc(kPlain, "%ls", wide);
    EXPECT_EQ(Contents(), "ERROR: \n\n");
}

struct Length {
    LOG_LEVEL level;
    std::size_t given;
    std::size_t kept;  // of the caller's text
};

class MessageLength : public RingTest, public testing::WithParamInterface<Length> {};

TEST_P(MessageLength, PrefixAndTextTogetherAreAtMost1023Characters) {
    std::string text;
    while (text.size() < GetParam().given) {
        text += static_cast<char>('a' + text.size() % 26);
    }
    LogFunc(GetParam().level, "%s", text.c_str());
    const std::string prefix = GetParam().level == LOG_LEVEL_ERROR ? "ERROR: " : "";
    EXPECT_EQ(Contents(), prefix + text.substr(0, GetParam().kept) + "\n");
}

INSTANTIATE_TEST_SUITE_P(Plain, MessageLength,
                         testing::Values(Length{kPlain, 1022, 1022}, Length{kPlain, 1023, 1023},
                                         Length{kPlain, 1024, 1023}, Length{kPlain, 1025, 1023},
                                         Length{kPlain, 20000, 1023}));
INSTANTIATE_TEST_SUITE_P(Error, MessageLength,
                         testing::Values(Length{LOG_LEVEL_ERROR, 1015, 1015}, Length{LOG_LEVEL_ERROR, 1016, 1016},
                                         Length{LOG_LEVEL_ERROR, 1017, 1016}, Length{LOG_LEVEL_ERROR, 1023, 1016},
                                         Length{LOG_LEVEL_ERROR, 1024, 1016}, Length{LOG_LEVEL_ERROR, 20000, 1016}));

struct Space {
    std::uint64_t bytes;
    const char* text;
    const char* put;
};

class FreeSpace : public RingTest, public testing::WithParamInterface<Space> {};

TEST_P(FreeSpace, DecidesWhatIsPutIntoTheRing) {
    FillUpTo(GetParam().bytes);
    const std::string before = Contents();
    LogFunc(kPlain, "%s", GetParam().text);
    EXPECT_EQ(Contents(), before + GetParam().put);
    Drain();
    EXPECT_EQ(Present(), before + GetParam().put);
}

TEST_P(FreeSpace, IsTheSameAtAnyPositionOfTheRing) {
    FillUpTo(GetParam().bytes, 7 * kRingSize + 16380);
    const std::string before = Contents();
    LogFunc(kPlain, "%s", GetParam().text);
    EXPECT_EQ(Contents(), before + GetParam().put);
}

INSTANTIATE_TEST_SUITE_P(None, FreeSpace, testing::Values(Space{0, "abcdefghijkl", ""}, Space{0, "", ""}));
INSTANTIATE_TEST_SUITE_P(RoomForTheLineFeedAlone, FreeSpace,
                         testing::Values(Space{1, "abcdefghijkl", "\n"}, Space{2, "abcdefghijkl", "\n"},
                                         Space{1, "", "\n"}, Space{2, "a", "\n"}));
INSTANTIATE_TEST_SUITE_P(Cut, FreeSpace,
                         testing::Values(Space{3, "abcdefghijkl", "a\n"}, Space{4, "abcdefghijkl", "ab\n"},
                                         Space{9, "abcdefghijkl", "abcdefg\n"}, Space{10, "abcdefghijkl", "abcdefgh\n"},
                                         Space{10, "abcdefghi", "abcdefgh\n"},
                                         Space{13, "abcdefghijkl", "abcdefghijk\n"}));
INSTANTIATE_TEST_SUITE_P(Enough, FreeSpace,
                         testing::Values(Space{3, "a", "a\n"}, Space{10, "abcdefgh", "abcdefgh\n"},
                                         Space{14, "abcdefghijkl", "abcdefghijkl\n"}));

TEST_F(RingTest, TheFreeSpaceAheadOfTheLockDecidesAlthoughMoreIsFreeBehindIt) {
    FillUpTo(10);
    {
        const AheadOfSections drained([] { g_ullLogBufRd = g_ullLogBufWr.load(); });
        LogFunc(kPlain, "abcdefghijkl");
    }
    EXPECT_EQ(Contents(), "abcdefgh\n");
}

TEST_F(RingTest, ThePrefixCountsTowardTheFreeSpace) {
    FillUpTo(10);
    LogFunc(LOG_LEVEL_ERROR, "abc");
    EXPECT_EQ(Contents().substr(kRingSize - 10), "ERROR: a\n");
}

TEST_F(RingTest, AFullRingDropsMessagesUntilItIsDrained) {
    FillUpTo(1);
    LogFunc(kPlain, "cut to a line feed");
    EXPECT_EQ(Contents().size(), kRingSize);
    LogFunc(kPlain, "dropped");
    EXPECT_EQ(Contents(), std::string(kRingSize - 1, '.') + "\n");
    Drain();
    LogFunc(kPlain, "kept");
    EXPECT_EQ(Contents(), "kept\n");
}

TEST_F(RingTest, AMessageAcrossTheEndOfTheRingGoesOnAtItsStart) {
    FillUpTo(kRingSize, 3 * kRingSize - 4);
    LogFunc(kPlain, "abcdefgh");
    EXPECT_EQ(std::string(g_pBuf + kRingSize - 4, 4), "abcd");
    EXPECT_EQ(std::string(g_pBuf, 5), "efgh\n");
    EXPECT_EQ(g_ullLogBufWr, 3 * kRingSize + 5);
}

}  // namespace
