#pragma once

#include "Engine/core/data-store/SectionFormat.h"
#include "Engine/core/platform/stream/FileDescriptor.h"
#include "tests/support/TemporaryDirectory.h"
#include "tools/melnar-dict/load/LoadOptions.h"

#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// A load of two small files into shards that was interrupted: once after the first file, when its terms and rows had
/// been spilled, and once when a shard had resolved them. Its files can be replaced before it is resumed.
///
/// Everything is in a temporary folder, the current one of the process during each operation: relative names make the
/// files the same in every process.
class UnfinishedLoad {
public:
    /// Of the manifest.
    static constexpr melnar::SectionFormat MANIFEST_FORMAT{"MELNARDF", 1, "", ""};

    /// The files of the load without those of shards, by their names.
    using Files = std::map<std::string, std::string>;

    /// Makes the sound files.
    UnfinishedLoad();

    /// Returns the files of both interruptions.
    const std::vector<Files>& getSoundFiles() const noexcept { return m_soundFiles; }

    /// Writes all files as one text, and divides any text into files. Those whose names no sound file has are ignored.
    std::string join(const Files& files) const;
    Files divide(std::string_view text) const;

    /// Returns the files with correct lengths and checksums in the manifest.
    static Files repair(const Files& files);

    /// Returns the files with the sizes and checksums of the others in the manifest's record of the load, and correct
    /// checksums of the manifest.
    static Files correctRecord(const Files& files);

    /// Returns whether the manifest is that of an interruption, or missing: then the record of the other files is
    /// right, or there is nothing to resume.
    bool hasSoundManifest(const Files& files) const;

    /// Resumes the load with these files. Returns the bytes of its rows, or nothing if it was refused.
    std::optional<std::string> resume(const Files& files) const;

    /// Returns the rows of a load that was not interrupted.
    std::string load() const { return resume({}).value(); }

private:
    void save(bool isResolving);
    void writeFolder(const Files& files) const;
    bool hasSoundShards(const Files& files) const;
    void checkResult(const std::string& rows, bool areShardsSound) const;

    const TemporaryDirectory m_directory;
    const melnar::FileDescriptor m_nullDevice;
    LoadOptions m_options;
    std::vector<Files> m_soundFiles;
    std::vector<std::string> m_names; // of the files, in the order of join
    Files m_shards;                   // the sound files of shards
};
