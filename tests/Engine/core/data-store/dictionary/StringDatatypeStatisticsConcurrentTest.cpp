#include "Engine/core/data-store/dictionary/StringDatatype.h"
#include "Engine/core/platform/ComponentInfo.h"
#include "tests/Engine/core/data-store/dictionary/DatatypeTables.h"
#include "tests/Engine/core/platform/collections/ParallelHashTableTestPeer.h"
#include "tests/Engine/core/platform/collections/ScopedThreadContextIndex.h"
#include "tests/Engine/core/platform/collections/SlotThread.h"
#include "tests/Engine/core/platform/collections/WaitOrAbort.h"
#include "tests/support/DictionaryFixture.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <type_traits>
#include <vector>

namespace {

using TablePeer = ParallelHashTableTestPeer;

constexpr size_t LEADER_SLOT = 1;
constexpr size_t BUSY_SLOT = 9;

/// All figures and values that a datatype returns without a slot.
struct Findings {
    bool operator==(const Findings&) const = default;

    std::vector<size_t> m_figures{};
    std::string m_string{};
    std::string m_literal{};
    std::vector<std::string> m_batch{};
};

template<class T>
class StringDatatypeStatisticsConcurrentTest : public testing::Test {
protected:
    void SetUp() override {
        m_stringID = m_fixture.resolve("string");
        m_literalID = m_fixture.resolve("literal@en", D_RDF_PLAIN_LITERAL);
        m_fixture.m_datatype.deleteUncommittedResourceID(m_fixture.resolve("gone"), D_XSD_STRING);
    }

    Findings find() {
        Findings findings;
        const StringDatatype<T>& datatype = m_fixture.m_datatype;
        const std::unique_ptr<ComponentInfo> component = datatype.getComponentInfo();
        for (const ComponentInfo::Metric metric :
             {ComponentInfo::Metric::MEMORY_CONSUMED, ComponentInfo::Metric::NUMBER_OF_BUCKETS,
              ComponentInfo::Metric::NUMBER_OF_USED_BUCKETS, ComponentInfo::Metric::AGGREGATE_MEMORY_CONSUMED})
            findings.m_figures.push_back(component->getSumOverNumericMetric(metric, std::nullopt));
        for (const uint8_t datatypeID : {D_XSD_STRING, D_RDF_PLAIN_LITERAL}) {
            auto& table = getTable(m_fixture, datatypeID);
            findings.m_figures.push_back(table.getNumberOfBuckets());
            findings.m_figures.push_back(table.getNumberOfDeletedBuckets());
            findings.m_figures.push_back(table.getNumberOfNonEmptyBuckets());
            findings.m_figures.push_back(table.getCommittedBytes());
        }
        datatype.getResource(m_stringID, D_XSD_STRING, findings.m_string);
        ResourceValue value;
        datatype.getResource(m_literalID, D_RDF_PLAIN_LITERAL, value);
        findings.m_literal = reinterpret_cast<const char*>(value.m_data);
        std::vector<BatchEntry> entries{{{}, m_literalID, D_RDF_PLAIN_LITERAL}, {{}, m_stringID, D_XSD_STRING}};
        datatype.getResources(entries);
        for (const BatchEntry& entry : entries)
            findings.m_batch.emplace_back(entry.m_lexicalForm);
        return findings;
    }

    DictionaryFixture<T> m_fixture;
    uint64_t m_stringID = 0;
    uint64_t m_literalID = 0;
};

} // namespace

TYPED_TEST_SUITE(StringDatatypeStatisticsConcurrentTest, DatatypeWidths, DatatypeWidthNames);

// A reader that took a slot would wait until the test leaves its own, which it does only after it has the result.
TYPED_TEST(StringDatatypeStatisticsConcurrentTest, statisticsAndReadsDoNotWaitForALeaderWhateverTheirSlot) {
    for (const uint8_t datatypeID : {D_XSD_STRING, D_RDF_PLAIN_LITERAL}) {
        const Findings before = this->find();
        EXPECT_EQ("string", before.m_string);
        EXPECT_EQ("literal@en", before.m_literal);
        EXPECT_EQ((std::vector<std::string>{"literal@en", "string"}), before.m_batch);
        auto& table = getTable(this->m_fixture, datatypeID);
        using Table = std::remove_reference_t<decltype(table)>;
        auto& busySlot = TablePeer::getThreadContexts(table)[BUSY_SLOT];
        std::optional<SlotThread> leader;
        {
            const ScopedThreadContextIndex index(BUSY_SLOT);
            const typename Table::Operation operation(table);
            leader.emplace(LEADER_SLOT, [&table] {
                const typename Table::Operation leaderOperation(table);
                table.startHandleResize(leaderOperation.getThreadContext());
            });
            waitOrAbort("the leader", [&] { return busySlot.m_lockCount.load(std::memory_order_acquire) == 2; });
            // A slot that the leader has taken, its own, the busy one, and two that it has not taken yet.
            for (const size_t slot : {size_t(0), LEADER_SLOT, BUSY_SLOT, BUSY_SLOT + 1, size_t(255)}) {
                SCOPED_TRACE(testing::Message() << "slot " << slot);
                Findings findings;
                const SlotThread reader(slot, [&] { findings = this->find(); });
                reader.waitForEnd();
                EXPECT_TRUE(before == findings);
                EXPECT_EQ(Table::RESIZE_PREPARING, TablePeer::getResizeState(table).load(std::memory_order_acquire));
            }
            EXPECT_EQ(2, busySlot.m_lockCount.load(std::memory_order_acquire));
            EXPECT_EQ(1024u, table.getNumberOfBuckets());
        }
        leader->waitForEnd();
        EXPECT_EQ(2048u, table.getNumberOfBuckets());
    }
    expectSound(this->m_fixture);
}
