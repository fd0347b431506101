#include "melnar.h"
#include "tests/support/AllocationFaults.h"
#include "tests/support/FailureLoop.h"
#include "tests/support/SystemCallFaults.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace {

constexpr melnar_options OPTIONS = {size_t(64) << 20, 100000};

/// Makes each allocation of an operation fail. Expects MELNAR_MEMORY each time, unless the operation does without, and
/// MELNAR_OK at the end.
void failEachAllocation(const std::function<melnar_code(melnar_error&)>& operation) {
    size_t failures = 0;
    failEach(ofAllocations(), [&](FailureRound& round) {
        melnar_error error;
        melnar_code code = MELNAR_OK;
        EXPECT_TRUE(round.attempt([&] { code = operation(error); })) << "an exception went through C";
        EXPECT_EQ(code, error.code);
        EXPECT_TRUE(code == MELNAR_OK || (code == MELNAR_MEMORY && round.hasFailed())) << error.message;
        failures += code != MELNAR_OK;
    });
    EXPECT_LT(1u, failures);
}

class MelnarFailureTest : public testing::Test {
protected:
    MelnarFailureTest() {
        EXPECT_EQ(MELNAR_OK, melnar_create(&OPTIONS, &m_dictionary, nullptr));
        m_ids.resize(m_texts.size());
    }

    ~MelnarFailureTest() override { melnar_close(m_dictionary); }

    melnar_code encode(const char* const language, melnar_error& error) {
        return melnar_encode(m_dictionary, m_texts.data(), nullptr, m_texts.size(), language, m_ids.data(), &error);
    }

    melnar_dictionary* m_dictionary = nullptr;
    const std::vector<const char*> m_texts{"one text", "another text", "one that is longer than a short string"};
    std::vector<uint64_t> m_ids;
};

} // namespace

TEST_F(MelnarFailureTest, makingReportsEachAllocationThatFails) {
    failEachAllocation([](melnar_error& error) {
        melnar_dictionary* dictionary;
        const melnar_code code = melnar_create(&OPTIONS, &dictionary, &error);
        EXPECT_EQ(code == MELNAR_OK, dictionary != nullptr);
        melnar_close(dictionary);
        return code;
    });
}

TEST_F(MelnarFailureTest, encodingAndDecodingReportEachAllocationThatFails) {
    failEachAllocation([this](melnar_error& error) { return encode("en-GB-a-long-enough-tag", error); });
    EXPECT_EQ(m_ids[0] + 1, m_ids[1]);
    failEachAllocation([this](melnar_error& error) {
        melnar_column column;
        const melnar_code code = melnar_decode(m_dictionary, m_ids.data(), m_ids.size(), &column, &error);
        EXPECT_EQ(code == MELNAR_OK, column.bytes != nullptr);
        melnar_column_free(&column);
        return code;
    });
    failEachAllocation([this](melnar_error& error) {
        melnar_term term;
        const melnar_code code = melnar_get(m_dictionary, m_ids[2], &term, &error);
        EXPECT_EQ(code == MELNAR_OK, term.text != nullptr);
        melnar_term_free(&term);
        return code;
    });
}

TEST_F(MelnarFailureTest, refusalsReportEachAllocationThatFails) {
    for (size_t allowed = 0; allowed < 4; ++allowed) {
        melnar_error error;
        const AllocationFaults faults = AllocationFaults::failAfter(allowed);
        const melnar_code code = encode("a tag that is none, and longer than short strings", error);
        EXPECT_TRUE(code == MELNAR_REFUSED || code == MELNAR_MEMORY) << code;
    }
}

TEST_F(MelnarFailureTest, savingAndOpeningReportEachAllocationThatFails) {
    const TemporaryDirectory directory;
    const std::string fileName = directory.getPathOf("a dictionary with a name that is no short string");
    melnar_error error;
    ASSERT_EQ(MELNAR_OK, encode("en", error));
    ASSERT_EQ(MELNAR_OK, melnar_save(m_dictionary, fileName.c_str(), &error)); // which adds the state to the history
    failEachAllocation([&](melnar_error& ofSave) { return melnar_save(m_dictionary, fileName.c_str(), &ofSave); });
    failEachAllocation([&](melnar_error& ofOpen) {
        melnar_dictionary* dictionary;
        const melnar_code code = melnar_open(fileName.c_str(), &OPTIONS, &dictionary, &ofOpen);
        EXPECT_EQ(code == MELNAR_OK, dictionary != nullptr);
        melnar_close(dictionary);
        return code;
    });
}

TEST_F(MelnarFailureTest, systemCallsThatFailAreReported) {
    const TemporaryDirectory directory;
    const std::string fileName = directory.getPathOf("dictionary");
    SystemCallFaults writes(SystemCallFaults::Call::WRITE);
    writes.failAfter(0, ENOSPC, SystemCallFaults::Duration::FOR_GOOD);
    melnar_error error;
    EXPECT_EQ(MELNAR_SYSTEM, melnar_save(m_dictionary, fileName.c_str(), &error));
    EXPECT_NE(std::string::npos, std::string(error.message).find("No space left")) << error.message;
}

TEST_F(MelnarFailureTest, lackOfSystemMemoryIsReported) {
    SystemCallFaults protections(SystemCallFaults::Call::MPROTECT);
    protections.failAfter(0, ENOMEM, SystemCallFaults::Duration::FOR_GOOD);
    melnar_error error;
    EXPECT_EQ(MELNAR_SYSTEM, encode(nullptr, error));
    EXPECT_EQ(0u, error.index);
    EXPECT_EQ(0u, m_ids[0]);
}
