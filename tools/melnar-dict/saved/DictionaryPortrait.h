#pragma once

#include "Engine/core/data-store/dictionary/TableProfile.h"

#include <cstdint>
#include <string>
#include <vector>

class Dictionary;

/// The figures of a dictionary, or of all shards of one together, that its page shows.
///
/// Units  Memory and lengths count bytes. A term's length is that of its lexical form, with '@' and language tag.
struct DictionaryPortrait {
    /// The number of segments of each table.
    static constexpr size_t NUMBER_OF_SEGMENTS = 256;

    static constexpr size_t NUMBER_OF_STRING_DATATYPES = 2;

    /// A part of the dictionary that takes memory.
    struct Part {
        std::string m_name;
        uint64_t m_bytes = 0;
    };

    /// The terms of one datatype.
    struct Lengths {
        std::string m_datatypeName;
        uint64_t m_numberOfTerms = 0;
        uint64_t m_bytes = 0;
        uint64_t m_shortest = 0; // 0 if there are no terms, like the longest
        uint64_t m_longest = 0;
        std::vector<uint64_t> m_terms; // element n counts those whose length has n binary digits, 0 having none
    };

    struct Language {
        std::string m_tag;
        uint64_t m_numberOfStrings = 0;
    };

    /// Describes a dictionary that no thread changes in the meantime; walks it several times. std::bad_alloc.
    static DictionaryPortrait of(const Dictionary& dictionary, std::string name);

    /// Adds the figures of a shard.
    void addShard(const DictionaryPortrait& shard);

    /// Returns whether there are terms other than strings, or have been.
    bool hasOtherTerms() const { return m_tables.size() > NUMBER_OF_STRING_DATATYPES; }

    uint64_t getNumberOfTerms() const;
    uint64_t getMemoryBytes() const;
    uint64_t getTextBytes() const;

    std::string m_name; // any bytes
    std::vector<Part> m_parts;
    std::vector<TableProfile> m_tables;
    std::vector<Lengths> m_lengths;    // of the string datatypes, and of the others of which there are terms
    std::vector<Language> m_languages; // most frequent first
    uint64_t m_poolBytes = 0;          // the part of the memory where texts are
    uint64_t m_unusedPoolBytes = 0;
    uint64_t m_numberOfIDs = 0;    // that were assigned, including withdrawn ones
    uint64_t m_numberOfShards = 0; // that were added
};
