#pragma once

#include "tools/melnar-dict/load/LoadCheckpoint.h"
#include "tools/melnar-dict/load/LoadOptions.h"
#include "tools/melnar-dict/load/LoadReport.h"

#include "Engine/core/data-store/sharded/ShardManifest.h"

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

/// What loads of shards have in common, by one process or by several.
///
/// Threads  One at a time.

/// By what an input is known again, instead of its bytes.
struct InputStamp {
    uint64_t m_bytes = 0;
    int64_t m_time = 0; // when it was written last, in the clock of the file system
    std::string m_name; // or the IRI that its relative IRIs refer to
};

/// The base is that of the command line, if there is one.
InputStamp stampInput(const std::string& fileName, const std::string& base);
std::vector<InputStamp> stampInputs(const LoadOptions& options);

/// All that the outcome of a load depends on. What has been taken in had no errors, or they were skipped: so a load that an
/// error has ended goes on when errors are to be skipped.
std::string describeTask(const LoadOptions& options, const ShardManifest& manifest, std::span<const InputStamp> inputs);

/// What a folder has of an unfinished load; with --force, one that cannot be read is none. If the folder has another
/// dictionary by now, the load was done, and only what tells of it was not removed any more.
std::optional<LoadCheckpoint::Unfinished> readUnfinished(const LoadOptions& options, const std::string& folderName,
                                                         const std::string& folderState);

/// Hours of work are not given up because of a slip, or of a disk that is not mounted. Says how to go on with what a folder
/// has, to one process or to several.
[[noreturn]] void refuseToGiveUp(const std::string& folderName, const LoadWork& unfinished, bool isForRanks);

/// Adds what is in the dictionary, as its manifest tells.
void addDictionary(const ShardManifest& manifest, LoadReport& report);

/// Adds the inputs of a load to those of the dictionary.
void addInputs(const LoadOptions& options, std::span<const uint64_t> numbersOfStatements, ShardManifest& manifest);
