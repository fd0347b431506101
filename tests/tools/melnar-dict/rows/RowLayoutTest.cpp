#include "tools/melnar-dict/rows/RowLayout.h"

#include "tests/support/CaughtException.h"
#include "tools/melnar-dict/shell/ToolFailure.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

TEST(RowLayoutTest, idsAreLittleEndianInEitherWidth) {
    std::string bytes = "before";
    appendIDs(std::vector<uint64_t>{1, 0x04030201}, RowLayout::NARROW, bytes);
    EXPECT_EQ(std::string("before\1\0\0\0\1\2\3\4", 14), bytes);
    bytes.clear();
    appendIDs(std::vector<uint64_t>{0x0807060504030201}, RowLayout::WIDE, bytes);
    EXPECT_EQ("\1\2\3\4\5\6\7\10", bytes);
}

TEST(RowLayoutTest, idsComeBack) {
    const std::vector<uint64_t> ids = {0, 1, 0xFFFFFFFF, 17, 0x80000000, 3};
    for (const size_t width : {RowLayout::NARROW, RowLayout::WIDE}) {
        std::string bytes;
        appendIDs(ids, width, bytes);
        std::vector<uint64_t> read(100);
        takeIDs(bytes, width, read);
        EXPECT_EQ(ids, read);
    }
}

TEST(RowLayoutTest, anIDThatDoesNotFitIsNamedAndNothingIsAppended) {
    std::string bytes = "before";
    const auto failure = catchException<ToolFailure>([&] {
        appendIDs(std::vector<uint64_t>{1, uint64_t(1) << 32}, RowLayout::NARROW, bytes);
    });
    EXPECT_EQ(ExitCode::FAILURE, failure.getExitCode());
    EXPECT_STREQ("the ID 4294967296 does not fit into 4 bytes; use --id-width 8", failure.what());
    EXPECT_EQ("before", bytes);
}

} // namespace
