#pragma once

#include <array>
#include <compare>
#include <cstddef>
#include <cstdint>
#include <string>

/// What a dictionary with a few terms may answer, as a sequential object; see LinearizabilityChecker. Terms are given
/// by their numbers.
///
/// A batch is as many operations as it has entries, all with its invocation and its response, since it promises no more
/// than that each answer was right at some moment of the call. A rollback is a sequence of steps in any order, since it
/// withdraws one resource after the other: for each term, lookups miss it (WITHDRAW), and then reading its ID is an
/// error (FORGET). All these steps have the rollback's invocation and response, too.
struct SequentialDictionary {
    static constexpr size_t NUMBER_OF_TERMS = 4;
    static constexpr size_t NO_TERM = NUMBER_OF_TERMS;

    enum class Kind : uint8_t {
        RESOLVE,           // a term: its ID
        LOOK_UP,           // a term, as of a commit point: its ID or 0
        READ,              // an ID: its term or NO_TERM
        READ_COMMIT_POINT, // the commit point
        COMMIT,            // the commit point
        START_ROLLBACK,    // the next ID
        WITHDRAW,          // a term
        FORGET,            // a term
    };

    struct Operation {
        Kind m_kind;
        size_t m_term;         // argument, or result of READ
        uint64_t m_resourceID; // result, or argument of READ
        uint64_t m_point;      // the argument of LOOK_UP
        size_t m_thread = 0;
        uint64_t m_invocation = 0;
        uint64_t m_response = 0;
    };

    struct State {
        std::array<uint64_t, NUMBER_OF_TERMS> m_found{};    // by term: the ID that lookups find, or 0
        std::array<uint64_t, NUMBER_OF_TERMS> m_readable{}; // by term: a withdrawn ID that can still be read, or 0
        uint64_t m_commitPoint = 1;
        uint64_t m_firstNewID = 1; // the next ID after the last commit or rollback

        auto operator<=>(const State&) const = default;
    };

    static bool apply(State& state, const Operation& operation);

    /// Returns an operation as a line of text; a step of a rollback as the rollback.
    static std::string describe(const Operation& operation);
};
