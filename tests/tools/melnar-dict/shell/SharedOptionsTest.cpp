#include "tools/melnar-dict/shell/SharedOptions.h"

#include <gtest/gtest.h>

#include <sstream>

namespace {

TEST(SharedOptionsTest, aQuietVerbReportsOnlyTheErrorThatEndsItsWork) {
    std::ostringstream errorOutput;
    FeedbackOptions feedback;
    feedback.getNoteOutput(errorOutput) << "first" << std::endl;
    feedback.m_isQuiet = true;
    feedback.getNoteOutput(errorOutput) << "second" << std::endl;
    EXPECT_EQ("first\n", errorOutput.str());
}

TEST(SharedOptionsTest, whatGoesToStandardOutputIsNotMixedWithProgress) {
    FeedbackOptions feedback;
    feedback.m_asksForProgress = true;
    EXPECT_NE(ProgressMode::NONE, feedback.getProgressMode());
    EXPECT_NE(ProgressMode::NONE, feedback.getProgressMode(OutputOptions{"file"}));
    EXPECT_EQ(ProgressMode::NONE, feedback.getProgressMode(OutputOptions{"-"}));
}

} // namespace
