#pragma once

#include "tools/melnar-dict/load/LoadCheckpoint.h"
#include "tools/melnar-dict/load/LoadOptions.h"
#include "tools/melnar-dict/load/LoadReport.h"

#include "Engine/core/data-store/sharded/ShardManifest.h"
#include "Engine/core/platform/MelnarException.h"

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

/// The common steps of loads of shards, by one process or by several.
///
/// Threads  One at a time.

/// Identifies an input by its properties, not by its bytes.
struct InputStamp {
    uint64_t m_bytes = 0;
    int64_t m_time = 0; // of the last modification, in the clock of the file system
    std::string m_name; // or the IRI that its relative IRIs refer to
};

/// The base is that of the command line, if there is one.
InputStamp stampInput(const std::string& fileName, const std::string& base);
std::vector<InputStamp> stampInputs(const LoadOptions& options);

/// Describes everything that the result of a load depends on. Input that has been loaded had no errors, or they were
/// skipped: so a load that an error has ended can be resumed with --lenient.
std::string describeTask(const LoadOptions& options, const ShardManifest& manifest, std::span<const InputStamp> inputs);

/// Returns the unfinished load of a folder; with --force, one that cannot be read is ignored. If the folder has another
/// dictionary by now, the load was done, and only its record was not removed any more.
std::optional<LoadCheckpoint::Unfinished> readUnfinished(const LoadOptions& options, const std::string& folderName,
                                                         const std::string& folderState);

/// Reports, while an exception says that a file is damaged, that the unfinished load of the folder cannot be resumed,
/// and how it starts anew. The next load would fail in the same way, but nothing is removed that took hours.
[[noreturn]] void refuseToResume(const std::string& folderName, const MelnarException& damage);

/// Refuses to discard hours of work because of a mistake, or of a disk that is not mounted. The message says how one
/// process or several can resume the unfinished load of the folder.
[[noreturn]] void refuseToGiveUp(const std::string& folderName, const LoadWork& unfinished, bool isForRanks);

/// Adds the contents of the dictionary, according to its manifest.
void addDictionary(const ShardManifest& manifest, LoadReport& report);

/// Adds the inputs of a load to those of the dictionary.
void addInputs(const LoadOptions& options, std::span<const uint64_t> numbersOfStatements, ShardManifest& manifest);
