#pragma once

#include "tests/support/TemporaryDirectory.h"
#include "tools/melnar-dict/load/FileLoader.h"
#include "tools/melnar-dict/load/LoadWork.h"
#include "tools/melnar-dict/load/ShardResolver.h"
#include "tools/melnar-dict/load/ShardSpill.h"
#include "tools/melnar-dict/pieces/StatementCounts.h"
#include "tools/melnar-dict/shell/ExitCode.h"

#include "Engine/core/data-store/sharded/ShardedDictionary.h"

#include <array>
#include <string>
#include <utility>
#include <vector>

/// The results of a load into shards.
struct ShardedOutcome {
    bool operator==(const ShardedOutcome&) const = default;

    ExitCode m_exitCode = ExitCode::DONE;
    std::string m_errorOutput{};
    StatementCounts m_counts{};

    /// Datatype IDs and forms of each shard, in the order of their local IDs.
    std::array<std::vector<std::pair<uint8_t, std::string>>, ShardLayout::NUMBER_OF_SHARDS> m_terms{};

    std::vector<uint64_t> m_rows{}; // four IDs each
};

/// The settings of a ShardedTestLoad.
struct ShardedHow {
    size_t m_numberOfThreads = 1;
    size_t m_blockSize = 700;
    ShardResolver::Settings m_resolver{.m_numberOfColumns = 4};
};

/// Loads small files into shards like the tool.
class ShardedTestLoad {
public:
    static constexpr size_t MEMORY_LIMIT = size_t(256) << 20;
    static constexpr uint64_t TERMS_OF_A_SHARD = 20000;

    explicit ShardedTestLoad(const std::vector<std::string>& texts, RdfFormat format = RdfFormat::N_QUADS);

    /// Loads into a new dictionary. If that succeeds, resolves the spilled terms.
    ShardedOutcome load(const ShardedHow& how);

    /// Continues with a dictionary and its spilled terms.
    ShardedOutcome load(const ShardedHow& how, ShardedDictionary& dictionary, ShardSpill& spill, const LoadWork& work);

    /// Returns whether the latest load has spilled terms.
    bool hasSpilled() const noexcept { return m_hasSpilled; }

    /// Returns the memory in use when the shards are empty, and at the end of the latest load.
    size_t getEmptyMemory() const noexcept { return m_emptyMemory; }
    size_t getMemory() const noexcept { return m_memory; }

    /// Returns the results of a model: a plain load of the same files, whose terms are distributed to shards in order.
    ShardedOutcome getModel(const ShardedHow& how) const;

    /// Returns a folder for saved shards and spilled terms.
    std::string getFolder() const { return m_directory.getPathOf("folder"); }

private:
    const TemporaryDirectory m_directory;
    const RdfFormat m_format;
    std::vector<std::string> m_fileNames;
    bool m_hasSpilled = false;
    size_t m_emptyMemory = 0;
    size_t m_memory = 0;
};
