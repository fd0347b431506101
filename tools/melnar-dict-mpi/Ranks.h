#pragma once

#include "tools/melnar-dict/pieces/InputError.h"
#include "tools/melnar-dict/shell/ExitCode.h"

#include "Engine/core/platform/Unmovable.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <type_traits>
#include <vector>

/// Ends the work of a rank, together with that of all others; all messages have been printed.
struct RankEnd {
    ExitCode m_exitCode;
    std::string m_cause; // on the first rank, of the first one that ends with this exit code
};

/// The processes of a run, which are called ranks, and their communication. Only this class and RankExchange use MPI.
///
/// All operations but the first ones are joint: all ranks call them, in the same order. A rank that waits for others
/// sleeps, as its own threads, and other ranks on the machine, may need the processor.
///
/// Ownership  The only one of its process.
/// Threads    The one that created it.
/// Errors     std::bad_alloc. A failure of the communication ends the run: MPI reports it.
class Ranks : private Unmovable {
public:
    Ranks(int& argumentCount, char**& arguments);
    ~Ranks();

    uint32_t getRank() const noexcept { return m_rank; }
    uint32_t getNumber() const noexcept { return m_number; }
    bool isFirst() const noexcept { return m_rank == 0; }

    /// Returns the rank that owns the shard, or part of the work, with this number: one rank after the other.
    uint32_t getOwner(const uint64_t number) const noexcept { return static_cast<uint32_t>(number % m_number); }
    bool isMine(const uint64_t number) const noexcept { return getOwner(number) == m_rank; }

    /// Returns the name of this rank in messages: its number and its machine.
    const std::string& getName() const noexcept { return m_name; }

    /// Returns the number of ranks on this machine.
    uint32_t getNumberOnThisMachine() const noexcept { return m_numberOnThisMachine; }

    /// Sends the value of one rank to all ranks.
    std::string broadcast(std::string bytes, uint32_t from = 0) const;

    /// Sends the values of all ranks to the first rank, in the order of their numbers; the others get nothing.
    std::vector<std::string> gather(const std::string& bytes) const;

    /// Sends the values of all ranks to all ranks.
    template<class Value>
    std::vector<Value> gatherAll(const Value& value) const {
        static_assert(std::is_trivially_copyable_v<Value>);
        std::vector<Value> values(m_number);
        gatherAll(&value, values.data(), sizeof(Value));
        return values;
    }

    /// Performs an action that may fail on any rank, and is the same step on each. If it has failed on some, the first
    /// rank reports why, and a reason that several share only once; then throws RankEnd on all. The action has no joint
    /// operations.
    void perform(const std::function<void()>& action) const;

    /// Reports why this rank fails, with its name: the current exception. Returns the exit code of the run. Without
    /// memory for the message it reports that, and never throws: other ranks wait until the run is ended.
    ExitCode tellCurrentException() const noexcept;

    /// Ends the whole run immediately, without cleanup on the other ranks.
    [[noreturn]] static void abort(ExitCode exitCode);

private:
    void gatherAll(const void* value, void* values, size_t numberOfBytes) const;
    std::string nameRankIn(const InputError& error) const;

    uint32_t m_rank = 0;
    uint32_t m_number = 1;
    uint32_t m_numberOnThisMachine = 1;
    std::string m_name;
};
