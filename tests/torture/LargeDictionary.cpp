#include "tests/torture/LargeDictionary.h"

#include "Engine/core/data-store/Dictionary.h"
#include "Engine/core/data-store/DictionaryThread.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <iostream>
#include <memory>
#include <stdexcept>
#include <string_view>

namespace {

constexpr size_t GIBIBYTE = size_t(1) << 30;
constexpr uint64_t LARGEST_NARROW_OFFSET = 0xFFFFFFFF;
constexpr uint64_t MAXIMUM_NUMBER_OF_RESOURCES = 10000000;
constexpr size_t LARGE_LITERAL = size_t(1) << 20;

// The number of short literals between two large ones.
constexpr uint64_t SHORT_LITERALS = 63;

/// Makes the literal of each resource ID, in one buffer.
class Literals {
public:
    Literals() : m_buffer(LARGE_LITERAL, 'x') {}

    /// Valid until the next call.
    std::string_view get(const uint64_t resourceID) {
        const std::string begin = "literal " + std::to_string(resourceID) + ' ';
        const std::string end = getDatatypeID(resourceID) == D_XSD_STRING ? "" : "@en";
        const size_t size = resourceID % (SHORT_LITERALS + 1) == 1 ? LARGE_LITERAL : begin.size() + end.size();
        begin.copy(m_buffer.data(), begin.size());
        // Overwrites the rest of the last literal.
        std::memset(m_buffer.data() + begin.size(), 'x', std::min<size_t>(64, LARGE_LITERAL - begin.size()));
        std::memset(m_buffer.data() + LARGE_LITERAL - 64, 'x', 64);
        end.copy(m_buffer.data() + size - end.size(), end.size());
        return {m_buffer.data(), size};
    }

    static uint8_t getDatatypeID(const uint64_t resourceID) {
        return resourceID % 2 == 0 ? D_XSD_STRING : D_RDF_PLAIN_LITERAL;
    }

private:
    std::string m_buffer;
};

void require(const bool isTrue, const std::string& claim) {
    if (!isTrue)
        throw std::runtime_error("a large dictionary: not true that " + claim);
}

/// Returns how many resources there are.
uint64_t fill(Dictionary& dictionary, const size_t dataPoolBytes) {
    Literals literals;
    DictionaryThread thread(dictionary);
    size_t bytes = 0;
    uint64_t resourceID = 0;
    while (bytes <= dataPoolBytes) {
        const std::string_view literal = literals.get(++resourceID);
        require(dictionary.resolveResource(thread, literal, Literals::getDatatypeID(resourceID)) == resourceID,
                "IDs count from 1");
        bytes += literal.size();
    }
    dictionary.commit();
    return resourceID;
}

/// Returns how many resources are at offsets beyond 32 bits.
uint64_t check(const Dictionary& dictionary, const uint64_t numberOfResources) {
    require(dictionary.getNextResourceID() == numberOfResources + 1, "no resource is missing");
    require(dictionary.getCommitPoint().m_resourceID == numberOfResources + 1, "all are committed");
    Literals literals;
    ResourceValue value;
    dictionary.getResource(1, value);
    const uint8_t* const begin = value.m_data;
    uint64_t beyond = 0;
    for (uint64_t resourceID = 1; resourceID <= numberOfResources; ++resourceID) {
        const std::string_view literal = literals.get(resourceID);
        dictionary.getResource(resourceID, value);
        require(value.m_datatypeID == Literals::getDatatypeID(resourceID) && value.m_dataSize == literal.size() + 1 &&
                    std::memcmp(value.m_data, literal.data(), literal.size()) == 0,
                "resource " + std::to_string(resourceID) + " is as it was");
        beyond += static_cast<uint64_t>(value.m_data - begin) > LARGEST_NARROW_OFFSET;
    }
    dictionary.verify(); // looks each of them up
    return beyond;
}

} // namespace

void checkLargeDictionary(const size_t gibibytes, const std::string& folder) {
    const std::string fileName = folder + "/large.dict";
    const size_t memoryLimit = (gibibytes + 1) * GIBIBYTE;
    auto dictionary = std::make_unique<Dictionary>(
        DictionaryOptions{.m_memoryLimit = memoryLimit, .m_maximumNumberOfResources = MAXIMUM_NUMBER_OF_RESOURCES});
    const uint64_t numberOfResources = fill(*dictionary, gibibytes * GIBIBYTE);
    dictionary->save(fileName);
    dictionary.reset();
    const uint64_t fileBytes = std::filesystem::file_size(fileName);

    dictionary = Dictionary::open(fileName, {.m_memoryLimit = memoryLimit});
    std::filesystem::remove(fileName);
    const uint64_t beyond = check(*dictionary, numberOfResources);
    require(beyond != 0, "some resources lie beyond 4 GiB");
    {
        DictionaryThread thread(*dictionary);
        const uint64_t added = dictionary->resolveResource(thread, "added", D_XSD_STRING);
        std::string lexicalForm;
        require(added == numberOfResources + 1 && dictionary->getResource(added, lexicalForm) == D_XSD_STRING &&
                    lexicalForm == "added",
                "there can be more");
    }
    std::cout << "A file of " << fileBytes << " bytes saved, opened and verified: " << numberOfResources
              << " resources, " << beyond << " of them beyond 4 GiB of the data pool\n";
}
