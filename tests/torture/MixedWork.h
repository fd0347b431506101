#pragma once

#include "Engine/core/data-store/Dictionary.h"
#include "Engine/core/data-store/DictionaryThread.h"
#include "Engine/core/data-store/terms/TermColumn.h"
#include "tests/torture/Findings.h"
#include "tests/torture/IdentityModel.h"
#include "tests/torture/NumberedTerms.h"

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <random>
#include <shared_mutex>
#include <span>
#include <string>
#include <string_view>
#include <vector>

/// How often threads have done what.
class MixedCounts {
public:
    enum class Kind : uint8_t {
        RESOLVED,
        RESOLVED_IN_BATCHES,
        RESOLVED_IN_COLUMNS,
        LOOKED_UP,
        LOOKED_UP_IN_BATCHES,
        LOOKED_UP_IN_COLUMNS,
        READ,
        READ_IN_BATCHES,
        READ_IN_COLUMNS,
        ITERATED,
        STATISTICS,
        VERIFIED,
        COMMITTED,
        ROLLED_BACK,
        REFUSED_FOR_FORM,
        REFUSED_FOR_SPACE,
    };

    void add(const Kind kind, const size_t number = 1) noexcept { m_counts[size_t(kind)] += number; }
    void add(const MixedCounts& other) noexcept;

    [[nodiscard]] uint64_t sumUp() const noexcept;

    /// Returns whether there has been something of each kind.
    [[nodiscard]] bool hasAll() const noexcept;

    /// Returns all counts as a list.
    [[nodiscard]] std::string describe() const;

private:
    std::array<uint64_t, size_t(Kind::REFUSED_FOR_SPACE) + 1> m_counts{};
};

/// Returns another ID for the one under which a lookup has found a numbered term, as a faulty dictionary would.
using ChangeFoundID = std::function<uint64_t(uint32_t number, uint64_t resourceID)>;

/// What the threads of mixed work share: a dictionary of numbered terms and its model.
struct MixedSubject : private Unmovable {
    MixedSubject(const DictionaryOptions& options, const uint32_t numberOfTerms, const uint64_t largestResourceID,
                 Findings& findings, const ChangeFoundID& changeFoundID)
        : m_dictionary(options), m_model(numberOfTerms, largestResourceID), m_findings(findings),
          m_changeFoundID(changeFoundID) {}

    Dictionary m_dictionary;
    IdentityModel m_model;
    Findings& m_findings;
    const ChangeFoundID& m_changeFoundID; // may be null

    // Shared by threads that resolve, held alone for a commit, a rollback or what excludes both.
    std::shared_mutex m_changes;
    std::atomic<size_t> m_numberOfWaiting{0}; // for holding it alone; meanwhile no thread starts to resolve
};

/// The mixed work of one thread: everything that the contract allows beside the work of other threads. It checks what
/// must hold in any interleaving: what is resolved agrees with the model, what is committed is found under its ID, and
/// each ID that is found or read gives exactly the term, unless it was rolled back meanwhile. A thread that resolves is
/// refused when memory ends, or the largest number of resources is reached.
///
/// Threads  One at a time.
class MixedWork : private Unmovable {
public:
    MixedWork(MixedSubject& subject, uint64_t seed);

    /// Performs a few operations of one kind.
    void takeTurn();

    [[nodiscard]] const MixedCounts& getCounts() const noexcept { return m_counts; }

private:
    using Kind = MixedCounts::Kind;

    static constexpr size_t ONE_BY_ONE = 16;
    static constexpr size_t LARGEST_BATCH = 400;
    static constexpr size_t LARGEST_ITERATION = 500;

    void resolve();
    void resolveBatch();
    void resolveTermColumn();
    void resolveStringColumn();
    void resolveRefused();
    void lookUp();
    void lookUpBatch();
    void lookUpColumn();
    void read();
    void readBatch();
    void readColumn();
    void iterate();
    void collectStatistics();
    void collectDetailedStatistics();
    void require(bool isTrue, const char* claim);
    void commitOrRollBack();

    size_t draw(const size_t end) { return m_random() % end; }
    void drawNumbers(size_t size, bool areStrings = false);
    void makeTerms();
    void rememberKnownIDs();
    DictionaryCommitPoint drawCommitPoint();

    void checkResolved(uint32_t number, uint64_t resourceID);
    void checkFound(size_t index, DictionaryCommitPoint commitPoint, uint64_t foundID);
    void checkRead(uint32_t number, uint64_t resourceID, uint8_t datatypeID, std::string_view form);
    void checkFailures(std::span<const BatchFailure> failures, size_t numberWithoutID);
    void countRefusal(const MelnarException& exception);
    void add(uint32_t number, const std::string& finding);

    MixedSubject& m_subject;
    Dictionary& m_dictionary;
    IdentityModel& m_model;
    DictionaryThread m_thread;
    std::mt19937_64 m_random;
    MixedCounts m_counts;

    // Of the current turn, members only to keep their memory.
    DictionaryCommitPoint m_committed{}; // before the lookup or read
    std::vector<uint32_t> m_numbers;
    std::vector<uint64_t> m_knownIDs; // by index, before the operation
    std::vector<uint64_t> m_resourceIDs;
    std::vector<std::string> m_forms;
    std::vector<Term> m_terms;
    std::vector<BatchFailure> m_failures;
    NumberedBatch m_batch;
    NumberedTerm m_term;
    TermColumn m_column;
    std::string m_form;
};
