#pragma once

#include "Engine/core/data-store/dictionary/BatchEntry.h"
#include "Engine/core/data-store/dictionary/BatchFailure.h"
#include "Engine/core/platform/Unmovable.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

class ComponentInfo;
class Dictionary;
class DictionaryHistory;

/// The interface of the verbs to a saved dictionary: a file, or a folder of shards, of which only requested ones are
/// brought into memory, and stay there. IDs are those of the whole dictionary.
///
/// Addresses  Memory that entries point to does not move.
/// Threads    Any threads concurrently.
/// Errors     Those of Dictionary::open, when the dictionary is opened; of a folder, when a shard is first needed.
class SavedDictionary : private Unmovable {
public:
    /// A part of the terms, with its own IDs: all of a file, or a shard.
    struct Part {
        uint64_t toIDOfWhole(const uint64_t resourceID) const noexcept {
            return m_firstID + (resourceID - 1) * m_distance;
        }

        const Dictionary& m_dictionary;
        uint64_t m_firstID = 1;
        uint64_t m_distance = 1;
    };

    /// Opens a file or a folder, to which nothing will be added. A folder without a manifest is a ToolFailure.
    static std::unique_ptr<SavedDictionary> open(const std::string& name, size_t memoryLimit);

    virtual ~SavedDictionary() = default;

    /// Like those of Dictionary; in a file, committed resources are found.
    virtual void tryResolveResources(std::span<BatchEntry> entries, std::vector<BatchFailure>& failures) const = 0;
    virtual void getResources(std::span<BatchEntry> entries) const = 0;
    virtual std::string_view getAffix(const BatchEntry& entry) const noexcept = 0;
    virtual void appendLexicalForm(const BatchEntry& entry, std::string& output) const = 0;

    /// Returns the history, with which files of IDs identify the dictionary.
    virtual const DictionaryHistory& getHistory() const noexcept = 0;

    /// Throws ToolFailure if the dictionary contains more than the last state in its history, so that files of its IDs
    /// cannot identify it.
    virtual void requireWholeState() const = 0;

    virtual uint64_t getLargestResourceID() const noexcept = 0;

    /// Calls `visitor` for each part that has terms. A shard that is not needed otherwise is in memory only until the
    /// visitor returns.
    virtual void forEachPart(const std::function<void(const Part& part)>& visitor) const = 0;

    /// Checks a part like Dictionary::verify, and that its terms belong there.
    virtual void verify(const Part& part) const = 0;

    /// Like Dictionary::getDetailedComponentInfo; for a folder, figures are those of all shards together.
    virtual std::unique_ptr<ComponentInfo> getDetailedComponentInfo() const = 0;
};
