#include "Engine/core/platform/Version.h"

#include <gtest/gtest.h>

#include <string>

TEST(VersionTest, allMacrosTellTheVersionOfTheProject) {
    EXPECT_STREQ(MELNAR_PROJECT_VERSION, MELNAR_VERSION_STRING);
    EXPECT_EQ(MELNAR_VERSION_STRING, std::to_string(MELNAR_VERSION_MAJOR) + '.' + std::to_string(MELNAR_VERSION_MINOR) +
                                         '.' + std::to_string(MELNAR_VERSION_PATCH));
}

TEST(VersionTest, theNumberAscendsWithTheVersions) {
    EXPECT_EQ(MELNAR_VERSION_PATCH, MELNAR_VERSION % 100);
    EXPECT_EQ(MELNAR_VERSION_MINOR, MELNAR_VERSION / 100 % 100);
    EXPECT_EQ(MELNAR_VERSION_MAJOR, MELNAR_VERSION / 10000);
}

#if MELNAR_VERSION < 100
#error "The preprocessor must be able to compare versions."
#endif
