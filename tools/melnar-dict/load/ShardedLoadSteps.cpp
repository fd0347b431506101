#include "tools/melnar-dict/load/ShardedLoadSteps.h"

#include "tools/melnar-dict/input/FileIri.h"
#include "tools/melnar-dict/pieces/EngineTerm.h"
#include "tools/melnar-dict/shell/PrintableText.h"
#include "tools/melnar-dict/shell/ToolFailure.h"

#include "Engine/core/data-store/Checksum.h"
#include "Engine/core/platform/MelnarException.h"

#include <algorithm>
#include <exception>
#include <filesystem>
#include <system_error>

using namespace melnar;

namespace {

constexpr const char* const SOURCE_FILE = "tools/melnar-dict/load/ShardedLoadSteps";
constexpr long LINE_CANNOT_RESUME = 81;

} // namespace

InputStamp stampInput(const std::string& fileName, const std::string& base) {
    std::error_code error; // A missing file is reported when it is read.
    InputStamp stamp;
    stamp.m_bytes = std::filesystem::file_size(fileName, error);
    stamp.m_time = std::filesystem::last_write_time(fileName, error).time_since_epoch().count();
    stamp.m_name = base.empty() ? iriOfFile(fileName) : fileName;
    return stamp;
}

std::vector<InputStamp> stampInputs(const LoadOptions& options) {
    std::vector<InputStamp> stamps;
    for (const auto& [fileName, format] : options.m_files)
        stamps.push_back(stampInput(fileName, options.m_base));
    return stamps;
}

std::string describeTask(const LoadOptions& options, const ShardManifest& manifest,
                         const std::span<const InputStamp> inputs) {
    std::string task =
        "rows " + std::to_string(options.m_idsName.empty() ? 0 : options.m_rows.getNumberOfColumns(options.m_files));
    task += " version " + std::to_string(static_cast<int>(options.m_version));
    task += " line " + std::to_string(options.m_maximumLine);
    task += " shared " + std::to_string(options.m_blankNodes.m_mode == BlankNodeScope::Mode::SHARED);
    task += " document " + std::to_string(manifest.m_nextDocument);
    task += " base " + options.m_base + '\n';
    if (!manifest.m_history.m_entries.empty())
        task += "into " + manifest.m_history.m_entries.back().m_identity.toString() + '\n';
    for (size_t index = 0; index < inputs.size(); ++index)
        task += std::to_string(static_cast<int>(options.m_files[index].second)) + ' ' +
                std::to_string(inputs[index].m_bytes) + ' ' + std::to_string(inputs[index].m_time) + ' ' +
                inputs[index].m_name + '\n';
    constexpr size_t LONGEST_TASK = size_t(1) << 20;
    if (task.size() <= LONGEST_TASK)
        return task;
    Checksum checksum;
    checksum.update(task.data(), task.size());
    return std::to_string(task.size()) + " bytes " + std::to_string(checksum.getValue());
}

std::optional<LoadCheckpoint::Unfinished> readUnfinished(const LoadOptions& options, const std::string& folderName,
                                                         const std::string& folderState) {
    try {
        std::optional<LoadCheckpoint::Unfinished> unfinished = LoadCheckpoint::read(folderName);
        if (unfinished && unfinished->m_work.m_folderState != folderState)
            return std::nullopt;
        return unfinished;
    } catch (const MelnarException& exception) {
        if (options.m_output.m_isForced)
            return std::nullopt;
        if (exception.getKind() != FailureKind::DAMAGED_FILE)
            throw;
        refuseToResume(folderName, exception);
    }
}

void refuseToResume(const std::string& folderName, const MelnarException& damage) {
    throw MelnarException(FailureKind::DAMAGED_FILE, SOURCE_FILE, LINE_CANNOT_RESUME, {std::current_exception()},
                          damage.getMessage(), " This program cannot resume the interrupted load. If '",
                          LoadCheckpoint::getFileName(folderName), "' is removed, the same command starts anew.");
}

void refuseToGiveUp(const std::string& folderName, const LoadWork& unfinished, const bool isForRanks) {
    if (unfinished.isOfRanks() != isForRanks)
        throw ToolFailure(ExitCode::USAGE, "the folder '" + toPrintable(folderName) + "' has an unfinished load by " +
                                               (isForRanks ? "one process; melnar-dict load"
                                                           : "several processes; melnar-dict-mpi load with --resume") +
                                               " resumes it, and --force discards it");
    throw ToolFailure(ExitCode::USAGE,
                      "the folder '" + toPrintable(folderName) +
                          "' has an unfinished load of other files, of files that have changed or no longer exist, "
                          "or with other options; the same command resumes it, and --force discards it");
}

void addDictionary(const ShardManifest& manifest, LoadReport& report) {
    for (const ShardManifest::Shard& shard : manifest.m_shards)
        for (const auto& [datatypeID, terms] : shard.m_terms) {
            report.m_distinct[datatypeID] += terms.m_number;
            (isOfStrings(datatypeID) ? report.m_textBytes : report.m_otherTextBytes) += terms.m_formBytes;
        }
}

void addInputs(const LoadOptions& options, const std::span<const uint64_t> numbersOfStatements,
               ShardManifest& manifest) {
    for (size_t index = 0; index < options.m_files.size(); ++index)
        manifest.m_inputs.push_back({options.m_files[index].first, numbersOfStatements[index], true});
    if (options.m_blankNodes.m_mode == BlankNodeScope::Mode::DOCUMENTS)
        manifest.m_nextDocument += options.m_files.size();
    else
        manifest.m_nextDocument = // shared by all of them
            std::max(manifest.m_nextDocument, options.m_blankNodes.getDocument(0) + 1);
}
