// The table of explanations against the library's sources.
#include "Explanations.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <regex>
#include <set>
#include <string>

#include "support/Files.h"

namespace {

std::set<std::string> FormatsInSources() {
    std::set<std::string> formats;
    const std::regex literal("\"(Config: [^\"\\n]*)\"");
    for (const auto& entry : std::filesystem::directory_iterator(CONFIG_LIB_SOURCES)) {
        if (entry.path().extension() != ".cpp" && entry.path().extension() != ".h") {
            continue;
        }
        std::string text = test_support::ReadFile(entry.path().string());
        text = std::regex_replace(text, std::regex("//[^\\n]*"), "");
        for (std::sregex_iterator hit(text.begin(), text.end(), literal), end; hit != end; ++hit) {
            formats.insert((*hit)[1]);
        }
    }
    return formats;
}

std::set<std::string> FormatsInTable() {
    std::set<std::string> formats;
    std::size_t count = 0;
    const Explanation* rows = Explanations(count);
    for (std::size_t i = 0; i < count; ++i) {
        EXPECT_TRUE(formats.insert(rows[i].format).second) << "two rows for " << rows[i].format;
    }
    return formats;
}

TEST(Explanations, HaveARowForEachMessageOfTheLibraryAndNoOther) {
    const std::set<std::string> formats = FormatsInSources();
    EXPECT_GE(formats.size(), 33U);
    EXPECT_EQ(FormatsInTable(), formats);
}

TEST(Explanations, AreSentences) {
    std::size_t count = 0;
    const Explanation* rows = Explanations(count);
    for (std::size_t i = 0; i < count; ++i) {
        const std::string text = rows[i].text;
        EXPECT_GT(text.size(), 40U) << rows[i].format;
        EXPECT_EQ(text.back(), '.') << rows[i].format;
        EXPECT_EQ(ExplanationOf(rows[i].format), text);
    }
}

TEST(Explanations, SayOfAMessageWithoutARowThatItIsNotKnown) {
    EXPECT_EQ(ExplanationOf("Config: new"), "a message that this checker does not know.");
}

}  // namespace
