#include "Engine/core/platform/ErrorCodeDescription.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <string>
#include <system_error>

TEST(ErrorCodeDescriptionTest, descriptionIsTheOperatingSystems) {
    for (const int errorCode : {EPERM, ENOENT, EIO, EACCES, ENOMEM, ENOSPC}) {
        std::string text;
        appendErrorCodeDescription(text, errorCode);
        EXPECT_EQ(std::generic_category().message(errorCode), text);
    }
}

TEST(ErrorCodeDescriptionTest, descriptionIsAppended) {
    std::string text = "because: ";
    appendErrorCodeDescription(text, ENOENT);
    EXPECT_EQ("because: No such file or directory", text);
}

TEST(ErrorCodeDescriptionTest, unknownCodesAreDescribedToo) {
    for (const int errorCode : {-1, 99999}) {
        std::string text;
        appendErrorCodeDescription(text, errorCode);
        EXPECT_EQ(std::generic_category().message(errorCode), text);
        EXPECT_NE(std::string::npos, text.find(std::to_string(errorCode)));
    }
}
