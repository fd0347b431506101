#include "Engine/core/data-store/DictionaryThread.h"

#include "Engine/core/data-store/dictionary/ArrowStrings.h"
#include "Engine/core/data-store/dictionary/BatchEntry.h"
#include "Engine/core/data-store/terms/TermFamily.h"
#include "Engine/core/platform/MelnarException.h"
#include "tests/Engine/core/data-store/ForgedDictionaryFile.h"
#include "tests/support/CaughtException.h"

#include <gtest/gtest.h>

#include <functional>
#include <latch>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

namespace {

constexpr DictionaryOptions OPTIONS{.m_memoryLimit = TEST_MEMORY_LIMIT, .m_maximumNumberOfResources = NARROW};

class DictionaryThreadTest : public testing::Test {
protected:
    /// Expects that every operation that creates resources is refused, and creates nothing.
    static void expectRefused(Dictionary& dictionary, DictionaryThread& thread, const std::string& cause) {
        const uint64_t nextResourceID = dictionary.getNextResourceID();
        std::vector<BatchFailure> failures;
        const std::vector<Term> terms{{.m_kind = Term::Kind::LITERAL, .m_text = "text"}};
        std::vector<uint64_t> resourceIDs{4711};
        const std::vector<std::string_view> texts{"text"};
        const std::vector<int32_t> offsets{0, 4};
        const ArrowStrings<int32_t> arrowTexts{texts[0].data(), offsets};
        std::vector<BatchEntry> strings{{"text", 0, D_XSD_STRING}};
        std::vector<BatchEntry> mixed{{"text", 0, D_XSD_STRING}, {"iri", 0, D_IRI}, {"b", 0, 77}};
        const std::vector<BatchEntry> untouched = mixed;
        const std::function<void()> operations[] = {
            [&] { dictionary.resolveResource(thread, "text", D_XSD_STRING); },
            [&] { dictionary.resolveTerm(thread, terms[0]); },
            [&] { dictionary.resolveTerms(thread, terms, resourceIDs, failures); },
            [&] { dictionary.resolveResources(thread, strings, failures); },
            [&] { dictionary.resolveResources(thread, mixed, failures); },
            [&] { dictionary.resolveResources(thread, {}, failures); },
            [&] { dictionary.resolveTerms(thread, {}, {}, failures); },
            [&] { dictionary.resolveLangString(thread, "text", "en"); },
            [&] { dictionary.encode(thread, texts, resourceIDs); },
            [&] { dictionary.encode(thread, texts, resourceIDs, "en"); },
            [&] { dictionary.encode(thread, arrowTexts, resourceIDs); },
            [&] { dictionary.encode(thread, std::span<const std::string_view>(), {}); },
        };
        for (const std::function<void()>& operation : operations) {
            const auto exception = catchException<MelnarException>(operation);
            EXPECT_EQ(FailureKind::MISUSE, exception.getKind());
            EXPECT_EQ(cause, exception.getMessage());
        }
        EXPECT_TRUE(failures.empty());
        EXPECT_EQ(4711u, resourceIDs[0]);
        for (size_t index = 0; index < mixed.size(); ++index)
            EXPECT_EQ(untouched[index].m_resourceID, mixed[index].m_resourceID);
        EXPECT_EQ(nextResourceID, dictionary.getNextResourceID());
    }

    static constexpr const char* OTHER_DICTIONARY =
        "A DictionaryThread was used with a dictionary other than the one it was made for.";
    static constexpr const char* OTHER_THREAD =
        "A DictionaryThread was used by a thread that neither made it nor has it on loan.";

    Dictionary m_dictionary{OPTIONS};
    DictionaryThread m_thread{m_dictionary};
};

TEST_F(DictionaryThreadTest, isRefusedByAnotherDictionary) {
    Dictionary other(OPTIONS);
    DictionaryThread own(other);
    EXPECT_EQ(1u, other.resolveResource(own, "mine", D_XSD_STRING));
    expectRefused(other, m_thread, OTHER_DICTIONARY);
    EXPECT_EQ(1u, m_dictionary.resolveResource(m_thread, "text", D_XSD_STRING));
    EXPECT_EQ(2u, other.resolveResource(own, "text", D_XSD_STRING));
}

TEST_F(DictionaryThreadTest, isRefusedInAnotherThread) {
    std::thread([&] {
        expectRefused(m_dictionary, m_thread, OTHER_THREAD);
        DictionaryThread own(m_dictionary);
        expectRefused(m_dictionary, m_thread, OTHER_THREAD);
        EXPECT_EQ(1u, m_dictionary.resolveResource(own, "text", D_XSD_STRING));
    }).join();
    EXPECT_EQ(1u, m_dictionary.resolveResource(m_thread, "text", D_XSD_STRING));
}

TEST_F(DictionaryThreadTest, isRefusedAlsoWhereNothingIsMissing) {
    m_dictionary.resolveResource(m_thread, "text", D_XSD_STRING);
    m_dictionary.resolveTerm(m_thread, {.m_kind = Term::Kind::IRI, .m_text = "iri"});
    std::thread([&] { expectRefused(m_dictionary, m_thread, OTHER_THREAD); }).join();
}

TEST_F(DictionaryThreadTest, isRefusedInAThreadThatComesAfterItsMaker) {
    std::unique_ptr<DictionaryThread> left;
    std::thread([&] {
        left = std::make_unique<DictionaryThread>(m_dictionary);
        EXPECT_EQ(1u, m_dictionary.resolveResource(*left, "text", D_XSD_STRING));
    }).join();
    std::thread([&] { expectRefused(m_dictionary, *left, OTHER_THREAD); }).join();
}

TEST_F(DictionaryThreadTest, isDestroyedByAnyThread) {
    auto thread = std::make_unique<DictionaryThread>(m_dictionary);
    m_dictionary.resolveResource(*thread, "text", D_XSD_STRING);
    std::thread([&] { thread.reset(); }).join();
    EXPECT_EQ(2u, m_dictionary.resolveResource(m_thread, "more", D_XSD_STRING));
    EXPECT_NO_THROW(m_dictionary.verify());
}

TEST_F(DictionaryThreadTest, onLoanIsTheBorrowers) {
    std::thread([&] {
        {
            const DictionaryThread::Loan loan(m_thread);
            EXPECT_EQ(1u, m_dictionary.resolveResource(m_thread, "text", D_XSD_STRING));
            {
                const DictionaryThread::Loan again(m_thread);
                EXPECT_EQ(2u, m_dictionary.resolveResource(m_thread, "more", D_XSD_STRING));
            }
            EXPECT_EQ(3u, m_dictionary.resolveResource(m_thread, "still", D_XSD_STRING));
            std::thread([&] {
                EXPECT_EQ("A DictionaryThread was lent to two threads at the same time.",
                          catchException<MelnarException>([&] {
                              const DictionaryThread::Loan second(m_thread);
                          }).getMessage());
                expectRefused(m_dictionary, m_thread, OTHER_THREAD);
            }).join();
        }
        expectRefused(m_dictionary, m_thread, OTHER_THREAD);
    }).join();
    EXPECT_EQ(4u, m_dictionary.resolveResource(m_thread, "back", D_XSD_STRING));
    {
        const DictionaryThread::Loan ofOnesOwn(m_thread);
        EXPECT_EQ(5u, m_dictionary.resolveResource(m_thread, "own", D_XSD_STRING));
    }
    EXPECT_EQ(6u, m_dictionary.resolveResource(m_thread, "at last", D_XSD_STRING));
}

TEST_F(DictionaryThreadTest, theLenderDoesNotUseItDuringTheLoan) {
    std::latch lent(1);
    std::latch seen(1);
    std::jthread borrower([&] {
        const DictionaryThread::Loan loan(m_thread);
        lent.count_down();
        seen.wait();
    });
    lent.wait();
    expectRefused(m_dictionary, m_thread, OTHER_THREAD);
    seen.count_down();
}

TEST_F(DictionaryThreadTest, lookupsAndReadsNeedNone) {
    m_dictionary.resolveResource(m_thread, "text", D_XSD_STRING);
    const DictionaryCommitPoint commitPoint = m_dictionary.commit();
    std::thread([&] {
        EXPECT_EQ(1u, m_dictionary.tryResolveResource(commitPoint, "text", D_XSD_STRING));
        EXPECT_NE(0u, getCurrentThreadContextIndex()) << "that of the thread that resolved";
    }).join();
}

} // namespace
