#include "Engine/core/platform/ComponentInfo.h"
#include "Engine/core/platform/stream/MemoryOutputStream.h"
#include "tests/support/FailureLoop.h"

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>

using namespace melnar;

namespace {

using Metric = ComponentInfo::Metric;

const std::string LONG_NAME(100, 'n');

std::string getText(const ComponentInfo& componentInfo) {
    MemoryOutputStream output;
    componentInfo.printText(output);
    return output.getBytes();
}

/// Performs `action` on a node with every allocation failing in turn, and expects each time that the node is unchanged.
/// Returns how many failed.
size_t countFailuresThatChangeNothing(const std::function<void(ComponentInfo&)>& action) {
    return failEach(ofAllocations(),
                    [&action](FailureRound& round) {
                        ComponentInfo componentInfo("Node");
                        const std::string textBefore = getText(componentInfo);
                        round.attempt([&] { action(componentInfo); });
                        EXPECT_EQ(round.hasFailed(), round.hasThrown());
                        EXPECT_EQ(round.hasFailed(), textBefore == getText(componentInfo));
                    })
        .m_throws;
}

} // namespace

TEST(ComponentInfoFailureTest, failedAllocationAddsNoNumericProperty) {
    EXPECT_LT(2u, countFailuresThatChangeNothing([](ComponentInfo& componentInfo) {
                  componentInfo.addNumericProperty(Metric::MEMORY_CONSUMED, LONG_NAME, 5, 0);
              }));
}

TEST(ComponentInfoFailureTest, failedAllocationAddsNoDoubleProperty) {
    EXPECT_LT(2u, countFailuresThatChangeNothing([](ComponentInfo& componentInfo) {
                  componentInfo.addDoubleProperty(Metric::LOAD_FACTOR, LONG_NAME, 5.0);
              }));
}

TEST(ComponentInfoFailureTest, failedAllocationAddsNoChild) {
    EXPECT_LT(2u, countFailuresThatChangeNothing([](ComponentInfo& componentInfo) {
                  componentInfo.addChild(std::make_unique<ComponentInfo>(std::string(LONG_NAME)));
              }));
}
