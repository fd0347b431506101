#include "Engine/core/platform/ComponentInfo.h"
#include "Engine/core/platform/stream/MemoryOutputStream.h"
#include "tests/support/AllocationFaults.h"

#include <gtest/gtest.h>

#include <new>

using namespace melnar;

namespace {

using Metric = ComponentInfo::Metric;

const std::string LONG_NAME(100, 'n');

std::string getText(const ComponentInfo& componentInfo) {
    MemoryOutputStream output;
    componentInfo.printText(output);
    return output.getBytes();
}

/// Runs `action` on a node with every allocation failing in turn, and expects each time that the node is unchanged.
/// Returns how many allocations there were.
template<class Action>
size_t countFailuresThatChangeNothing(const Action& action) {
    for (size_t allowed = 0;; ++allowed) {
        ComponentInfo componentInfo("Node");
        const std::string textBefore = getText(componentInfo);
        bool isOutOfMemory = false;
        bool hasFailed = false;
        {
            const AllocationFaults faults = AllocationFaults::failAfter(allowed);
            try {
                action(componentInfo);
            } catch (const std::bad_alloc&) {
                isOutOfMemory = true;
            }
            hasFailed = faults.hasFailed();
        }
        EXPECT_EQ(hasFailed, isOutOfMemory) << "allocation " << allowed + 1;
        EXPECT_EQ(hasFailed, textBefore == getText(componentInfo)) << "allocation " << allowed + 1;
        if (!hasFailed)
            return allowed;
    }
}

} // namespace

TEST(ComponentInfoFailureTest, failedAllocationAddsNoNumericProperty) {
    EXPECT_LT(1u, countFailuresThatChangeNothing([](ComponentInfo& componentInfo) {
                  componentInfo.addNumericProperty(Metric::MEMORY_CONSUMED, LONG_NAME, 5, 0);
              }));
}

TEST(ComponentInfoFailureTest, failedAllocationAddsNoDoubleProperty) {
    EXPECT_LT(1u, countFailuresThatChangeNothing([](ComponentInfo& componentInfo) {
                  componentInfo.addDoubleProperty(Metric::LOAD_FACTOR, LONG_NAME, 5.0);
              }));
}

TEST(ComponentInfoFailureTest, failedAllocationAddsNoChild) {
    EXPECT_LT(1u, countFailuresThatChangeNothing([](ComponentInfo& componentInfo) {
                  componentInfo.addChild(std::make_unique<ComponentInfo>(std::string(LONG_NAME)));
              }));
}
