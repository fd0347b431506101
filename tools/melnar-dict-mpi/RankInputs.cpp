#include "tools/melnar-dict-mpi/RankInputs.h"

#include "tools/melnar-dict-mpi/Bytes.h"

#include "tools/melnar-dict/input/InputFile.h"
#include "tools/melnar-dict/shell/NumberText.h"
#include "tools/melnar-dict/shell/StandardStream.h"
#include "tools/melnar-dict/shell/ToolFailure.h"

#include <filesystem>
#include <limits>
#include <optional>
#include <string_view>
#include <system_error>

void RankInputs::assign(const InputFiles& named, const bool areOfRanks) {
    for (const auto& [name, format] : named) {
        const size_t colon = areOfRanks ? name.find(':') : std::string::npos;
        // The name follows the colon; without a colon, it is the whole text, as npos + 1 is 0.
        if (name.substr(colon + 1) == STANDARD_STREAM)
            throw ToolFailure(ExitCode::USAGE, "several processes cannot read standard input");
        if (!areOfRanks) {
            m_files.emplace_back(name, format);
            m_ranks.push_back(SlicePlan::ANY_RANK);
            continue;
        }
        const std::optional<uint64_t> rank = parseNumber(std::string_view(name).substr(0, colon));
        if (colon == std::string::npos || colon + 1 == name.size() || !rank || *rank >= std::numeric_limits<int>::max())
            throw ToolFailure(ExitCode::USAGE, "with --inputs-of-rank a file has the number of a rank before its name, "
                                               "such as 3:/scratch/part-3.nt; '" +
                                                   name + "' has none");
        m_files.emplace_back(name.substr(colon + 1), format);
        m_ranks.push_back(static_cast<uint32_t>(*rank));
    }
}

void RankInputs::agree(const Ranks& ranks, const std::string& base) {
    std::string bytes;
    for (size_t index = 0; index < m_files.size(); ++index) {
        appendText(m_files[index].first, bytes);
        appendValue(m_files[index].second, bytes);
        appendValue(m_ranks[index], bytes);
    }
    bytes = ranks.broadcast(std::move(bytes));
    m_files.clear();
    m_ranks.clear();
    for (std::string_view rest = bytes; !rest.empty();) {
        std::string name(takeText(rest));
        m_files.emplace_back(std::move(name), takeValue<RdfFormat>(rest));
        m_ranks.push_back(takeValue<uint32_t>(rest));
    }
    std::string known; // to this rank
    ranks.perform([&] {
        for (size_t index = 0; index < m_files.size(); ++index) {
            const auto& [name, format] = m_files[index];
            if (m_ranks[index] != SlicePlan::ANY_RANK && m_ranks[index] >= ranks.getNumber())
                throw ToolFailure(ExitCode::USAGE, "'" + name + "' is of rank " + std::to_string(m_ranks[index]) +
                                                       ", and the ranks are 0 to " +
                                                       std::to_string(ranks.getNumber() - 1));
            if ((m_ranks[index] == SlicePlan::ANY_RANK ? 0 : m_ranks[index]) != ranks.getRank())
                continue;
            try {
                std::error_code error;
                if (!std::filesystem::is_regular_file(name, error))
                    throw ToolFailure(ExitCode::FAILURE,
                                      error ? error.message() : "several processes can read only regular files");
                const bool isCut = isPlainFile(name) && isLineFormat(format);
                const InputStamp stamp = stampInput(name, base);
                appendValue(index, known);
                appendValue(stamp.m_bytes, known);
                appendValue(stamp.m_time, known);
                appendText(stamp.m_name, known);
                appendValue(isCut, known);
            } catch (const ToolFailure& failure) {
                throw ToolFailure(failure.getExitCode(), name + ": " + failure.what());
            }
        }
    });
    m_inputs.assign(m_files.size(), {});
    m_stamps.assign(m_files.size(), {});
    for (uint32_t rank = 0; rank < ranks.getNumber(); ++rank) {
        const std::string ofRank = ranks.broadcast(rank == ranks.getRank() ? known : std::string(), rank);
        for (std::string_view rest = ofRank; !rest.empty();) {
            const auto index = takeValue<size_t>(rest);
            InputStamp& stamp = m_stamps[index];
            stamp.m_bytes = takeValue<uint64_t>(rest);
            stamp.m_time = takeValue<int64_t>(rest);
            stamp.m_name = takeText(rest);
            const bool isCut = takeValue<bool>(rest);
            m_inputs[index] = {m_files[index].first, m_files[index].second, stamp.m_bytes, isCut, m_ranks[index]};
        }
    }
}

uint64_t getTotalBytesOf(const std::span<const SlicePlan::Input> inputs) noexcept {
    uint64_t total = 0;
    for (const SlicePlan::Input& input : inputs)
        total += input.m_bytes;
    return total;
}

void addInputsOfRank(VerbDescription& verb, bool& variable) {
    verb.addFlag("--inputs-of-rank",
                 "each FILE is on the machine of one rank, whose number precedes it: 3:/scratch/part-3.nt; "
                 "without this, all ranks must be able to read all files",
                 variable);
}
