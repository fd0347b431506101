#pragma once

#include "Engine/core/data-store/DictionaryHistory.h"
#include "Engine/core/data-store/DictionaryIdentity.h"
#include "Engine/core/data-store/sharded/ShardLayout.h"
#include "Engine/core/platform/Export.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

class InputStream;
class OutputStream;

/// The contents of a sharded dictionary's folder: a file that is replaced last and atomically, so the folder is always
/// in one of the states that were saved. docs/formats/dictionary-folder.md describes the bytes.
///
/// The name of a shard's file contains the identity of its state. So a new state never overwrites an old one, and
/// unchanged shards need not be written again. Files that the manifest does not name are remains.
///
/// Ownership  Owns its contents.
/// Threads    One at a time.
struct MELNAR_EXPORT ShardManifest {
    /// The name of the manifest within the folder.
    static constexpr const char* FILE_NAME = "manifest";

    /// The terms of a datatype in a shard.
    struct Terms {
        /// Compares all figures.
        bool operator==(const Terms&) const = default;

        uint64_t m_number = 0;    ///< of the terms
        uint64_t m_formBytes = 0; ///< of their lexical forms
    };

    /// The file of a shard. A shard without resources has no file, and 0 in all these members.
    struct Shard {
        /// Compares all figures and the identities.
        bool operator==(const Shard&) const = default;

        uint64_t m_numberOfResources = 0; ///< that exist in the shard
        uint64_t m_fileBytes = 0;         ///< the size of the file
        DictionaryIdentity m_identity{};  ///< of the state that the file holds

        /// By datatype ID; their numbers add up to the number of resources.
        std::map<uint8_t, Terms> m_terms{};
    };

    /// An input file whose statements have been loaded.
    struct Input {
        /// Compares names and figures.
        bool operator==(const Input&) const = default;

        std::string m_name;                ///< as it was given
        uint64_t m_numberOfStatements = 0; ///< that were taken in
        bool m_isWhole = true;             ///< otherwise there may be more statements
    };

    /// The largest size of an input's name, in bytes.
    static constexpr size_t LONGEST_INPUT_NAME = size_t(1) << 16;

    /// The largest size of the work, in bytes.
    static constexpr size_t LONGEST_WORK = size_t(1) << 24;

    /// Returns how many resources all shards have.
    uint64_t getNumberOfResources() const noexcept;

    /// Returns the identity of the folder's state if that is a whole one.
    std::optional<DictionaryIdentity> getIdentityOfWholeState() const noexcept;

    /// Returns the name of a shard's file within the folder.
    std::string getFileName(const uint32_t shard) const { return getFileName(shard, m_shards[shard].m_identity); }

    /// Returns the name of a shard's file with this identity.
    static std::string getFileName(uint32_t shard, const DictionaryIdentity& identity);

    /// Returns the name of a shard's file while it is being written.
    static std::string getTemporaryFileName(uint32_t shard);

    /// Returns whether a file name can be that of a shard, complete or not.
    static bool isNameOfShard(std::string_view fileName) noexcept;

    /// Returns whether a stream starts like a manifest, sound or not and of any version.
    static bool isBeginningOf(InputStream& input);

    /// Throws MelnarException for an input's name or work that read would refuse as too long; and what the stream
    /// throws.
    void write(OutputStream& output) const;

    /// Throws MelnarException, which names file, section and finding, for everything that is not a complete and sound
    /// manifest; std::bad_alloc; and what the stream throws.
    static ShardManifest read(InputStream& input);

    std::array<Shard, ShardLayout::NUMBER_OF_SHARDS> m_shards{}; ///< by their numbers
    uint64_t m_maximumNumberOfResourcesOfShard = 0;              ///< of each, at most that of ShardedDictionary
    uint64_t m_nextDocument = 1;                                 ///< the number of the next input, for its blank nodes
    std::vector<Input> m_inputs;                                 ///< in the order in which they were loaded
    DictionaryHistory::Contents m_history;                       ///< of the folder's whole states

    /// What the user needs to resume work that was interrupted, in the user's own format; empty if there is none.
    std::string m_work;
};
