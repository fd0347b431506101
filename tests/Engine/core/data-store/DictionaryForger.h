#pragma once

#include "Engine/core/data-store/terms/TermFamily.h"
#include "tests/Engine/core/data-store/ForgedDictionaryFile.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <random>
#include <string>
#include <vector>

/// Makes a dictionary of a few hundred literals with tombstones.
inline std::unique_ptr<Dictionary> makeMediumDictionary() {
    auto dictionary = std::make_unique<Dictionary>(
        DictionaryOptions{.m_memoryLimit = TEST_MEMORY_LIMIT, .m_maximumNumberOfResources = NARROW});
    DictionaryThread thread(*dictionary);
    for (size_t number = 0; number < 600; ++number) {
        dictionary->resolveResource(thread, std::to_string(number), D_XSD_STRING);
        if (number == 200)
            dictionary->commit();
        if (number == 400)
            dictionary->rollback();
    }
    return dictionary;
}

/// Makes a dictionary with terms of all families, some of which share texts.
inline std::unique_ptr<Dictionary> makeDictionaryOfTerms() {
    auto dictionary = std::make_unique<Dictionary>(
        DictionaryOptions{.m_memoryLimit = TEST_MEMORY_LIMIT, .m_maximumNumberOfResources = NARROW});
    DictionaryThread thread(*dictionary);
    for (uint32_t number = 0; number < 400; ++number) {
        const std::string text = std::to_string(number);
        dictionary->resolveResource(thread, text, D_XSD_STRING);
        dictionary->resolveResource(thread, "http://example.org/" + std::to_string(number % 5) + '#' + text, D_IRI);
        dictionary->resolveResource(thread, "doc2-b" + text, D_BLANK_NODE);
        dictionary->resolveResource(thread, text + "^^http://example.org/" + std::to_string(number % 3),
                                    D_TYPED_LITERAL);
        dictionary->resolveResource(thread, text + "@en--ltr", D_DIRECTIONAL_STRING);
        dictionary->resolveResource(thread, "<<( _:b <p> \"" + text + "\" )>>", D_TRIPLE_TERM);
        if (number == 200)
            dictionary->commit();
    }
    return dictionary;
}

/// Changes files like an attacker who knows the format, and computes correct checksums.
class DictionaryForger {
public:
    using Forged = ForgedDictionaryFile;

    explicit DictionaryForger(const uint32_t seed) : m_random(seed) {}

    std::string forge(const Forged& sound) {
        Forged file = sound;
        for (size_t count = choose(3) + 1; count != 0; --count)
            change(file);
        return file.getBytes();
    }

private:
    size_t choose(const size_t end) { return m_random() % end; }

    /// Chooses a number that might cause an error.
    uint64_t chooseNumber(const uint64_t present) {
        constexpr std::array<uint64_t, 12> NUMBERS = {0,    1,    2,          255,        512,        1024,
                                                      2048, 4096, 0x7FFFFFFF, 0xFFFFFFFF, 0xFFFFFFFE, ~uint64_t(0)};
        switch (choose(5)) {
        case 0:
            return NUMBERS[choose(NUMBERS.size())];
        case 1:
            return present + choose(5) - 2;
        case 2:
            return present << choose(8);
        case 3:
            return uint64_t(1) << choose(64);
        default:
            return uint64_t(m_random()) << choose(33);
        }
    }

    void changeNumber(Forged& file, const Forged::Section section, const size_t position) {
        if (position + 8 <= file.m_sections[section].size())
            file.set<uint64_t>(section, position, chooseNumber(file.get<uint64_t>(section, position)));
    }

    void changeByte(Forged& file, const Forged::Section section) {
        std::string& bytes = file.m_sections[section];
        if (!bytes.empty())
            bytes[choose(bytes.size())] = static_cast<char>(m_random());
    }

    uint64_t getNumberOfResources(const Forged& file) const { return file.m_sections[Forged::DATATYPE_BYTES].size(); }

    /// Returns whether the fields of the tables are still where they belong, which changes of tables require.
    bool hasTables(const Forged& file) const {
        if (file.m_sections[Forged::HEADER].size() < 40 || (file.getBucketWidth() != 4 && file.getBucketWidth() != 8))
            return false;
        const size_t size = file.m_sections[Forged::STRINGS].size();
        for (size_t table = 0; table < 2; ++table) {
            if (file.getTable(table) > size || size - file.getTable(table) < Forged::BUCKETS)
                return false;
            const uint64_t buckets = file.getField(table, Forged::REGION_END);
            if (buckets < 1024 || buckets > (size_t(1) << 20) ||
                size - file.getTable(table) - Forged::BUCKETS < buckets * file.getBucketWidth())
                return false;
        }
        return true;
    }

    /// Sections of terms come after that of the strings; the last one is the history.
    void changeTerms(Forged& file) {
        const auto chooseSection = [&] {
            return static_cast<Forged::Section>(Forged::STRINGS + 1 +
                                                choose(file.m_sections.size() - Forged::NUMBER_OF_SECTIONS));
        };
        const Forged::Section section = chooseSection();
        const size_t size = file.m_sections[section].size();
        switch (choose(6)) {
        case 0:
            changeNumber(file, section, choose(200));
            break;
        case 1: // the shared texts and their lengths
            changeNumber(file, section, size - std::min<size_t>(choose(200) + 8, size));
            break;
        case 2:
            changeByte(file, section);
            break;
        case 3:
            if (getNumberOfResources(file) != 0)
                file.m_sections[Forged::DATATYPE_BYTES][choose(getNumberOfResources(file))] =
                    static_cast<char>(249 + choose(7));
            break;
        case 4:
            std::swap(file.m_sections[section], file.m_sections[chooseSection()]);
            break;
        default:
            if (size != 0)
                file.m_sections[section].resize(choose(size));
        }
    }

    void change(Forged& file) {
        if (file.m_sections.size() > Forged::NUMBER_OF_SECTIONS && choose(2) == 0) {
            changeTerms(file);
            return;
        }
        const size_t table = choose(2);
        switch (const size_t kind = choose(15)) {
        case 0:
            changeNumber(file, Forged::HEADER, choose(5) * 8);
            break;
        case 1:
            changeNumber(file, Forged::DATA_OFFSETS, choose(getNumberOfResources(file) + 1) * 8);
            break;
        case 2:
            if (getNumberOfResources(file) != 0)
                file.m_sections[Forged::DATATYPE_BYTES][choose(getNumberOfResources(file))] =
                    static_cast<char>(std::array{0, 5, 6, 7, 255}[choose(5)]);
            break;
        case 3:
            changeByte(file, Forged::DATA_POOL);
            break;
        case 4:
            for (size_t count = choose(50); count != 0; --count)
                changeByte(file, Forged::DATA_POOL);
            break;
        case 5: {
            std::string& bytes = file.m_sections[choose(Forged::NUMBER_OF_SECTIONS)];
            bytes.resize(choose(2) == 0 ? choose(bytes.size() + 1) : bytes.size() + choose(5000));
            break;
        }
        case 6:
            changeByte(file, Forged::STRINGS);
            break;
        case 7: // a literal twice
            if (const uint64_t resources = getNumberOfResources(file);
                resources != 0 && file.m_sections[Forged::DATA_OFFSETS].size() >= resources * 8)
                file.set<uint64_t>(Forged::DATA_OFFSETS, choose(resources) * 8,
                                   file.get<uint64_t>(Forged::DATA_OFFSETS, choose(resources) * 8));
            break;
        case 14:
            changeNumber(file, Forged::HISTORY, choose(5) * 8);
            break;
        default:
            if (hasTables(file))
                changeTable(file, table, kind);
        }
    }

    void changeTable(Forged& file, const size_t table, const size_t kind) {
        constexpr std::array FIELDS = {Forged::NUMBER_OF_BUCKETS, Forged::THRESHOLD,       Forged::USED_BUCKETS,
                                       Forged::DELETED_BUCKETS,   Forged::REGION_CAPACITY, Forged::REGION_END};
        const size_t buckets = file.getField(table, Forged::REGION_END);
        switch (kind) {
        case 8: {
            const size_t field = FIELDS[choose(FIELDS.size())];
            file.setField(table, field, chooseNumber(file.getField(table, field)));
            break;
        }
        case 9:
            file.set<uint32_t>(Forged::STRINGS, file.getTable(table) + Forged::QUOTAS + 4 * choose(256),
                               static_cast<uint32_t>(chooseNumber(100)));
            break;
        case 10: // any value in any bucket
            file.setBucket(table, choose(buckets),
                           choose(2) == 0 ? file.getBucketDeleted() - choose(3)
                                          : choose(getNumberOfResources(file) + 2));
            break;
        case 11: { // entries in wrong buckets, but the same number
            for (size_t count = choose(20) + 1; count != 0; --count) {
                const size_t first = choose(buckets);
                const size_t second = choose(buckets);
                const uint64_t value = file.getBucket(table, first);
                file.setBucket(table, first, file.getBucket(table, second));
                file.setBucket(table, second, value);
            }
            break;
        }
        case 12: { // an entry twice, another one not at all: the counters agree
            std::vector<size_t> live;
            for (size_t bucket = 0; bucket < buckets; ++bucket)
                if (const uint64_t value = file.getBucket(table, bucket);
                    value != 0 && value != file.getBucketDeleted())
                    live.push_back(bucket);
            if (!live.empty())
                file.setBucket(table, live[choose(live.size())], file.getBucket(table, live[choose(live.size())]));
            break;
        }
        default: { // as many tombstones as the threshold allows, with consistent counters
            size_t free = file.getField(table, Forged::THRESHOLD);
            if (free >= buckets)
                break;
            uint64_t deleted = 0;
            for (size_t bucket = 0; bucket < buckets; ++bucket) {
                const uint64_t value = file.getBucket(table, bucket);
                deleted += value == file.getBucketDeleted();
                free -= value != 0 && free != 0;
            }
            for (size_t bucket = 0; bucket < buckets && free != 0; ++bucket)
                if (file.getBucket(table, bucket) == 0) {
                    file.setBucket(table, bucket, file.getBucketDeleted());
                    ++deleted;
                    --free;
                }
            for (size_t slot = 0; slot < 256; ++slot)
                file.set<uint32_t>(Forged::STRINGS, file.getTable(table) + Forged::QUOTAS + 4 * slot, 0);
            file.setField(table, Forged::USED_BUCKETS, file.getField(table, Forged::THRESHOLD));
            file.setField(table, Forged::DELETED_BUCKETS, deleted);
        }
        }
    }

    std::mt19937 m_random;
};
