#pragma once

#include "Engine/core/data-store/Dictionary.h"
#include "Engine/core/data-store/DictionaryFile.h"
#include "Engine/core/data-store/DictionaryThread.h"
#include "Engine/core/data-store/SectionInputStream.h"
#include "Engine/core/data-store/SectionOutputStream.h"
#include "Engine/core/platform/stream/MemoryInputStream.h"
#include "Engine/core/platform/stream/MemoryOutputStream.h"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

/// The largest numbers of resources with which the tests select each bucket width.
constexpr uint64_t NARROW = 100000;
constexpr uint64_t WIDE = uint64_t(1) << 33;

constexpr size_t TEST_MEMORY_LIMIT = size_t(64) << 20;

inline std::string writeToMemory(const Dictionary& dictionary) {
    melnar::MemoryOutputStream output;
    melnar::DictionaryFile::write(dictionary, output);
    return output.getBytes();
}

inline std::unique_ptr<Dictionary>
readFromMemory(const std::string& bytes, const size_t memoryLimit = TEST_MEMORY_LIMIT, DictionaryOptions options = {}) {
    melnar::MemoryInputStream input(bytes);
    options.m_memoryLimit = memoryLimit;
    return melnar::DictionaryFile::read(input, options);
}

/// Makes a dictionary with six IDs: strings and plain literals, two of them withdrawn, the last one not committed.
inline std::unique_ptr<Dictionary> makeSampleDictionary(const uint64_t maximumNumberOfResources) {
    auto dictionary = std::make_unique<Dictionary>(
        DictionaryOptions{.m_memoryLimit = TEST_MEMORY_LIMIT, .m_maximumNumberOfResources = maximumNumberOfResources});
    {
        DictionaryThread thread(*dictionary);
        dictionary->resolveResource(thread, "abc", D_XSD_STRING);
        dictionary->resolveResource(thread, "abc@en", D_RDF_PLAIN_LITERAL);
        dictionary->resolveResource(thread, "", D_XSD_STRING);
        dictionary->commit();
        dictionary->resolveResource(thread, "gone", D_XSD_STRING);
        dictionary->resolveResource(thread, "gone@de", D_RDF_PLAIN_LITERAL);
        dictionary->rollback();
        dictionary->resolveResource(thread, "def", D_XSD_STRING);
    } // The thread's block is returned to the pool, so the file is small.
    return dictionary;
}

/// A dictionary file, or another file of sections, divided into its fields. Fields can be changed, and the file is
/// reassembled with checksums that are correct for its new contents.
class ForgedDictionaryFile {
public:
    /// The sections of a dictionary with only the string datatypes. Sections of other datatypes come before or after
    /// theirs.
    enum Section : size_t { HEADER, DATA_OFFSETS, DATATYPE_BYTES, DATA_POOL, STRINGS, HISTORY, NUMBER_OF_SECTIONS };

    // Fields of the header, by offset.
    static constexpr size_t BUCKET_WIDTH = 0;
    static constexpr size_t NUMBER_OF_DATATYPES = 4;
    static constexpr size_t MAXIMUM = 8;
    static constexpr size_t NEXT_RESOURCE_ID = 16;
    static constexpr size_t COMMIT_POINT = 24;
    static constexpr size_t DATA_POOL_BYTES = 32;

    // Fields of the history, by offset.
    static constexpr size_t GENERATION = 0;
    static constexpr size_t NUMBER_OF_ENTRIES = 8;
    static constexpr size_t FIRST_ENTRY = 16;
    static constexpr size_t ENTRY_SIZE = 24;

    // Fields of a table, by offset.
    static constexpr size_t TABLE_MARKER = 8;
    static constexpr size_t NUMBER_OF_BUCKETS = 25;
    static constexpr size_t THRESHOLD = 33;
    static constexpr size_t USED_BUCKETS = 41;
    static constexpr size_t DELETED_BUCKETS = 49;
    static constexpr size_t QUOTAS = 57;
    static constexpr size_t REGION_CAPACITY = QUOTAS + 256 * 4;
    static constexpr size_t REGION_END = REGION_CAPACITY + 8;
    static constexpr size_t BUCKETS = REGION_END + 8;

    /// The datatypes with their names, and the start of the stream itself.
    static constexpr size_t DATATYPE_STREAM = 122;
    static constexpr size_t FIRST_TABLE = DATATYPE_STREAM + 30;

    explicit ForgedDictionaryFile(const Dictionary& dictionary) : ForgedDictionaryFile(writeToMemory(dictionary)) {}

    /// Divides a sound file into its fields.
    explicit ForgedDictionaryFile(const std::string& bytes,
                                  const melnar::SectionFormat& format = melnar::SectionFormat::DICTIONARY)
        : ForgedDictionaryFile(repair(bytes, format)) {
        if (getBytes() != bytes)
            throw std::logic_error("The file cannot be taken to pieces.");
    }

    /// Divides any bytes into sections, as far as they look like such a file. Everything but the contents of the
    /// sections, and a version that can be read, is then as in a sound file.
    static ForgedDictionaryFile repair(const std::string_view bytes,
                                       const melnar::SectionFormat& format = melnar::SectionFormat::DICTIONARY) {
        ForgedDictionaryFile file(format);
        std::string_view rest = bytes;
        const auto take = [&rest](const size_t size) {
            const std::string_view taken = rest.substr(0, size);
            rest.remove_prefix(taken.size());
            return taken;
        };
        take(format.m_magic.size());
        uint32_t version = 0;
        take(sizeof(version)).copy(reinterpret_cast<char*>(&version), sizeof(version));
        if (version != 0 && version < format.m_version)
            file.m_format.m_version = version;
        for (bool isLast = true; rest.size() > 2 * sizeof(uint64_t);) {
            if (isLast)
                file.m_sections.emplace_back();
            uint32_t header[2]{};
            take(sizeof(header)).copy(reinterpret_cast<char*>(header), sizeof(header));
            isLast = (header[1] & melnar::SectionOutputStream::LAST_BLOCK) != 0;
            file.m_sections.back() += take(header[1] & ~melnar::SectionOutputStream::LAST_BLOCK);
            take(sizeof(uint64_t));
        }
        return file;
    }

    std::string getBytes() const {
        melnar::MemoryOutputStream file;
        melnar::SectionOutputStream output(file, m_format);
        for (const std::string& section : m_sections) {
            output.write(section.data(), section.size());
            output.endSection();
        }
        output.endFile();
        return file.getBytes();
    }

    template<class T>
    T get(const size_t section, const size_t position) const {
        T value;
        std::memcpy(&value, m_sections.at(section).substr(position, sizeof(T)).data(), sizeof(T));
        return value;
    }

    template<class T>
    void set(const size_t section, const size_t position, const T value) {
        const std::string bytes(reinterpret_cast<const char*>(&value), sizeof(T));
        m_sections.at(section).replace(position, sizeof(T), bytes);
    }

    size_t getBucketWidth() const { return get<uint32_t>(HEADER, BUCKET_WIDTH); }

    /// Returns where a table starts: 0 for the strings, 1 for the plain literals.
    size_t getTable(const size_t table) const {
        return table == 0 ? FIRST_TABLE
                          : FIRST_TABLE + BUCKETS + get<uint64_t>(STRINGS, FIRST_TABLE + REGION_END) * getBucketWidth();
    }

    uint64_t getField(const size_t table, const size_t field) const {
        return get<uint64_t>(STRINGS, getTable(table) + field);
    }

    void setField(const size_t table, const size_t field, const uint64_t value) {
        set<uint64_t>(STRINGS, getTable(table) + field, value);
    }

    uint64_t getBucket(const size_t table, const size_t bucket) const {
        const size_t position = getTable(table) + BUCKETS + bucket * getBucketWidth();
        return getBucketWidth() == 4 ? get<uint32_t>(STRINGS, position) : get<uint64_t>(STRINGS, position);
    }

    void setBucket(const size_t table, const size_t bucket, const uint64_t value) {
        const size_t position = getTable(table) + BUCKETS + bucket * getBucketWidth();
        if (getBucketWidth() == 4)
            set<uint32_t>(STRINGS, position, static_cast<uint32_t>(value));
        else
            set<uint64_t>(STRINGS, position, value);
    }

    /// Returns the first bucket with `value`.
    size_t findBucket(const size_t table, const uint64_t value) const {
        size_t bucket = 0;
        while (getBucket(table, bucket) != value)
            ++bucket;
        return bucket;
    }

    uint64_t getBucketDeleted() const { return getBucketWidth() == 4 ? 0xFFFFFFFF : 0x7FFFFFFFFFFFFFFF; }

    std::vector<std::string> m_sections;

private:
    explicit ForgedDictionaryFile(const melnar::SectionFormat& format) : m_format(format) {}

    melnar::SectionFormat m_format;
};
