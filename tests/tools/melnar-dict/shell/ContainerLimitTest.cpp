#include "tools/melnar-dict/shell/ContainerLimit.h"

#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>

namespace {

class ContainerLimitTest : public testing::Test {
protected:
    void add(const std::string& path, const std::string& contents) const {
        const std::string file = m_root.getPathOf(path);
        std::filesystem::create_directories(std::filesystem::path(file).parent_path());
        m_root.addFile(path, contents);
    }

    std::optional<uint64_t> read() const { return readContainerLimit(m_root.getPathOf("")); }

    const TemporaryDirectory m_root;
};

TEST_F(ContainerLimitTest, thereMayBeNone) {
    EXPECT_EQ(std::nullopt, read());
    add("proc/self/cgroup", "0::/\n");
    EXPECT_EQ(std::nullopt, read());
    add("sys/fs/cgroup/memory.max", "max\n");
    EXPECT_EQ(std::nullopt, read());
}

TEST_F(ContainerLimitTest, theLeastOfAGroupAndThoseAroundItHolds) {
    add("proc/self/cgroup", "0::/a.slice/b.scope/c\n");
    add("sys/fs/cgroup/a.slice/b.scope/c/memory.max", "max\n");
    EXPECT_EQ(std::nullopt, read());
    add("sys/fs/cgroup/a.slice/memory.max", "3000\n");
    EXPECT_EQ(3000u, read());
    add("sys/fs/cgroup/a.slice/b.scope/memory.max", "4000\n");
    EXPECT_EQ(3000u, read());
    add("sys/fs/cgroup/a.slice/b.scope/c/memory.max", "2000\n");
    EXPECT_EQ(2000u, read());
    add("sys/fs/cgroup/a.slice/other/memory.max", "1\n");
    EXPECT_EQ(2000u, read());
}

TEST_F(ContainerLimitTest, aContainerThatSeesItsOwnGroupAtTheTopFindsItThere) {
    add("proc/self/cgroup", "0::/docker/0123\n");
    add("sys/fs/cgroup/memory.max", "5000\n");
    EXPECT_EQ(5000u, read());
    add("proc/self/cgroup", "0::/../elsewhere\n");
    add("sys/fs/elsewhere/memory.max", "1\n");
    EXPECT_EQ(5000u, read());
}

TEST_F(ContainerLimitTest, versionOneHasTheMemoryInAHierarchyOfItsOwn) {
    add("proc/self/cgroup", "12:cpu,cpuacct:/x\n5:hugetlb,memory:/docker/0123\n1:name=systemd:/x\n0::/x\nnonsense\n");
    add("sys/fs/cgroup/memory/memory.limit_in_bytes", "9223372036854771712\n");
    add("sys/fs/cgroup/memory/docker/0123/memory.limit_in_bytes", "7000\n");
    add("sys/fs/cgroup/memory/x/memory.limit_in_bytes", "1\n");
    EXPECT_EQ(7000u, read());
    add("sys/fs/cgroup/memory/docker/memory.limit_in_bytes", "6000\n");
    EXPECT_EQ(6000u, read());
    add("sys/fs/cgroup/unified/x/memory.max", "5000\n");
    EXPECT_EQ(5000u, read());
}

TEST_F(ContainerLimitTest, whatIsNoNumberIsNoLimit) {
    add("proc/self/cgroup", "0::/a\n");
    for (const char* const text : {"", "\n", "-1\n", "12x\n", "99999999999999999999\n"}) {
        add("sys/fs/cgroup/a/memory.max", text);
        EXPECT_EQ(std::nullopt, read()) << text;
    }
}

} // namespace
