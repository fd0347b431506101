#pragma once

#include "Engine/core/data-store/Dictionary.h"
#include "Engine/core/data-store/DictionaryThread.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

/// What the golden dictionary files hold: every length of size header up to 4 bytes at its bounds, both datatypes,
/// withdrawn resources, and some that are not committed. Changing anything here takes new files under new names.
class GoldenDictionary {
public:
    GoldenDictionary() = delete;

    static constexpr size_t MEMORY_LIMIT = size_t(16) << 20;
    static constexpr uint64_t NARROW_MAXIMUM = 1000000;
    static constexpr uint64_t WIDE_MAXIMUM = uint64_t(1) << 33;

    /// Datatype ID and lexical form by ID - 1. Datatype ID 0: withdrawn, with the form that it had.
    static std::vector<std::pair<uint8_t, std::string>> getResources() {
        using namespace std::string_literals;
        return {
            {D_XSD_STRING, ""},
            {D_XSD_STRING, "abc"},
            {D_RDF_PLAIN_LITERAL, "abc@en"},
            {D_RDF_PLAIN_LITERAL, "@de-DE-1996"},
            {D_XSD_STRING, "abc@en"},
            {D_XSD_STRING, "zero\0inside"s},
            {D_XSD_STRING, "Gr\xC3\xBC\xC3\x9F"
                           "e \xE6\x97\xA5\xE6\x9C\xAC \xF0\x9F\x98\x80"},
            {D_XSD_STRING, std::string(126, 'a')},   // the longest with a header of 1 byte
            {D_XSD_STRING, std::string(127, 'b')},   // the shortest with 2
            {D_XSD_STRING, std::string(16382, 'c')}, // the longest with 2
            {D_XSD_STRING, std::string(16383, 'd')}, // the shortest with 4
            {D_INVALID, "withdrawn"},
            {D_INVALID, "withdrawn too"},
            {D_XSD_STRING, "withdrawn"},
            {D_RDF_PLAIN_LITERAL, "not committed@x-private"},
        };
    }

    /// The ID of the first resource that is not committed.
    static constexpr uint64_t COMMIT_POINT = 15;

    static std::unique_ptr<Dictionary> make(const uint64_t maximumNumberOfResources) {
        auto dictionary = std::make_unique<Dictionary>(MEMORY_LIMIT, maximumNumberOfResources);
        DictionaryThread thread(*dictionary);
        bool isWithdrawing = false;
        for (const auto& [datatypeID, lexicalForm] : getResources()) {
            if (datatypeID == D_INVALID && !isWithdrawing)
                dictionary->commit();
            if (datatypeID != D_INVALID && isWithdrawing)
                dictionary->rollback();
            isWithdrawing = datatypeID == D_INVALID;
            if (dictionary->getNextResourceID() == COMMIT_POINT)
                dictionary->commit();
            dictionary->resolveResource(thread, lexicalForm, isWithdrawing ? D_XSD_STRING : datatypeID);
        }
        return dictionary;
    }
};
